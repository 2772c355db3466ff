// Every single-precision argument of the single exponential kernels, against
// the C library's double-precision function as the reference: its error, below
// one double ulp, is under 2^-28 of a single ulp, far below the figures
// measured. Covers every float with |x| from 2^-30 to the argument whose result
// overflows or vanishes (outside it the results are 1, 0, -1 or infinity,
// which the tests check exactly). Prints max ulp, where, and the count of
// results that differ from the reference rounded to single.
//
// Build and run (from the source tree, after building build/):
//   g++ -O2 -std=c++20 -Iinclude -Isrc tools/exp_single_scan.cpp build/libnex_kernel.a \
//       build/libnex_core.a -lm -lpthread -o /tmp/exp_single_scan && /tmp/exp_single_scan
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "nex_vtm.h"

namespace {

double UlpOfFloat(double y) {
  const double a = std::fabs(y);
  int e;
  std::frexp(a, &e);  // a = f * 2^e, f in [0.5, 1)
  if (e - 1 < -126) return std::ldexp(1.0, -149);
  if (e - 1 > 127) e = 128;
  return std::ldexp(1.0, e - 1 - 23);
}

struct Scan {
  const char* name;
  void (*kernel)(int, const float*, float*);
  double (*reference)(double);
  float lo, hi;  // the arguments scanned: lo <= x <= hi
};

double Exp10(double x) {
  return std::pow(10.0, x);
}

void Run(const Scan& s) {
  double worst = 0;
  float worst_x = 0;
  uint64_t count = 0, differ = 0;
  std::vector<float> xs, ys;
  auto flush = [&] {
    ys.resize(xs.size());
    s.kernel(static_cast<int>(xs.size()), xs.data(), ys.data());
    for (size_t i = 0; i < xs.size(); ++i) {
      const double ref = s.reference(xs[i]);
      const float cr = static_cast<float>(ref);
      ++count;
      if (ys[i] != cr) ++differ;
      if (std::isinf(cr) && ys[i] == cr) continue;
      const double err = std::fabs(static_cast<double>(ys[i]) - ref) / UlpOfFloat(ref);
      if (err > worst) {
        worst = err;
        worst_x = xs[i];
      }
    }
    xs.clear();
  };
  for (int sign = 0; sign < 2; ++sign) {
    for (uint32_t b = 0x30800000u; b < 0x7F800000u; ++b) {  // |x| from 2^-30
      float x;
      const uint32_t bits = b | (sign ? 0x80000000u : 0);
      std::memcpy(&x, &bits, 4);
      if (x < s.lo || x > s.hi) {
        if (std::fabs(x) > std::fmax(-s.lo, s.hi)) break;
        continue;
      }
      xs.push_back(x);
      if (xs.size() == 1 << 16) flush();
    }
    flush();
  }
  std::printf(
      "%-7s %llu arguments, max %.4f ulp at x = %.9g (%a), %llu differ from the rounded "
      "reference\n",
      s.name, static_cast<unsigned long long>(count), worst, worst_x, worst_x,
      static_cast<unsigned long long>(differ));
}

}  // namespace

int main() {
  _vtmSetMode(VTM_ERRMODE_IGNORE);
  const Scan scans[] = {
      {"sExp", _vtmsExp, static_cast<double (*)(double)>(std::exp), -104.0f, 88.8f},
      {"sExp2", _vtmsExp2, static_cast<double (*)(double)>(std::exp2), -150.0f, 128.0f},
      {"sExp10", _vtmsExp10, Exp10, -45.2f, 38.6f},
      {"sExpm1", _vtmsExpm1, static_cast<double (*)(double)>(std::expm1), -40.0f, 88.8f},
  };
  for (const Scan& s : scans) Run(s);
  return 0;
}
