// Numbered messages of the library, printed to standard error.
//
// The vector-math error route prints a first line naming the function and the
// kind of error, then one line per argument and result value. The numbers are
// part of the interface between the kernels and this library; the texts are
// ours.
#include <cstdarg>
#include <cstdio>

#include "nex_core.h"

namespace {

enum class Args { kNone, kName, kNameIndex, kIndexValue };

struct Message {
  int number;
  Args args;
  const char* text;
};

constexpr Message kMessages[] = {
    {735, Args::kNameIndex, "%s: parameter %d is not valid\n"},
    {736, Args::kName, "%s: memory allocation failed\n"},
    {737, Args::kName, "%s: argument outside the domain of the function\n"},
    {738, Args::kName, "%s: singularity, the result is infinite for a finite argument\n"},
    {739, Args::kName, "%s: the result overflows\n"},
    {740, Args::kName, "%s: the result underflows\n"},
    {741, Args::kName, "%s: unknown error\n"},
    // One argument, one result.
    {742, Args::kIndexValue, "    a[%d] = %.17g\n"},
    {743, Args::kIndexValue, "    r[%d] = %.17g\n"},
    // One argument, two results.
    {744, Args::kIndexValue, "    a[%d] = %.17g\n"},
    {745, Args::kIndexValue, "    r1[%d] = %.17g\n"},
    {746, Args::kIndexValue, "    r2[%d] = %.17g\n"},
    // Two arguments, one result.
    {747, Args::kIndexValue, "    a[%d] = %.17g\n"},
    {748, Args::kIndexValue, "    b[%d] = %.17g\n"},
    {749, Args::kIndexValue, "    r[%d] = %.17g\n"},
    // Two arguments, two results.
    {750, Args::kIndexValue, "    a[%d] = %.17g\n"},
    {751, Args::kIndexValue, "    b[%d] = %.17g\n"},
    {752, Args::kIndexValue, "    r1[%d] = %.17g\n"},
    {753, Args::kIndexValue, "    r2[%d] = %.17g\n"},
    {760, Args::kNone, "vector math: cannot create the per-thread state\n"},
};

const Message* find(int number) {
  for (const Message& m : kMessages) {
    if (m.number == number) return &m;
  }
  return nullptr;
}

int expected_count(Args a) {
  switch (a) {
    case Args::kNone: return 0;
    case Args::kName: return 1;
    default: return 2;
  }
}

}  // namespace

extern "C" const char* nex_serv_message_text(int number) {
  const Message* m = find(number);
  return m ? m->text : nullptr;
}

extern "C" int nex_serv_print(int channel, int number, int count, ...) {
  const Message* m = find(number);
  if (m == nullptr || count != expected_count(m->args)) return -1;
  FILE* out = channel == 1 ? stderr : stdout;
  va_list ap;
  va_start(ap, count);
  int written = -1;
  switch (m->args) {
    case Args::kNone: written = std::fputs(m->text, out) >= 0 ? 0 : -1; break;
    case Args::kName: {
      const char* name = va_arg(ap, const char*);
      written = std::fprintf(out, m->text, name ? name : "");
      break;
    }
    case Args::kNameIndex: {
      const char* name = va_arg(ap, const char*);
      int index = va_arg(ap, int);
      written = std::fprintf(out, m->text, name ? name : "", index);
      break;
    }
    case Args::kIndexValue: {
      int index = va_arg(ap, int);
      double value = va_arg(ap, double);
      written = std::fprintf(out, m->text, index, value);
      break;
    }
  }
  va_end(ap);
  std::fflush(out);
  return written;
}
