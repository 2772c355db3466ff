// Full-domain accuracy figures of the logarithms (a long run, not CI).
//
// Single precision: every float of the binades where the methods are
// weakest (by their error analysis: [0.5, 2) for Ln and Log10, where the
// result is small and the table rows near 1 are used; the binades around 0
// and -1 for Log1p), and every 97th float elsewhere in the domain, against
// the long double logarithms of the C library (good to about 2^-63
// relative, so the ulp figures are good to about 2^-39 ulp). Any result that
// the quick reference puts above 0.5 ulp is measured again with MPFR, so the
// reported maximum and its argument are MPFR's.
// Double precision: a large log-uniform sample over the domain plus dense
// samples next to 1, measured with MPFR.
//
// Build and run (from the repository, after building the library):
//   g++ -O2 -std=c++20 -Iinclude -Itests tools/log_sweep.cpp build/libnex_kernel.a \
//       build/libnex_core.a -lmpfr -lgmp -lpthread -o /tmp/log_sweep && /tmp/log_sweep
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "nex_vtm.h"
#include "support/accuracy.hpp"

namespace acc = nex::accuracy;

namespace {

struct Single {
  const char* name;
  void (*kernel)(int, const float*, float*);
  long double (*quick)(long double);
  acc::MpfrUnary mpfr;
  uint32_t lo_bits, hi_bits;  // the bit patterns swept, inclusive
  uint32_t step;              // every step-th pattern
};

long double Log2l(long double x) {
  return std::log2(x);
}
long double Lnl(long double x) {
  return std::log(x);
}
long double Log10l(long double x) {
  return std::log10(x);
}
long double Log1pl(long double x) {
  return std::log1p(x);
}

double QuickUlp(float got, long double want) {
  if (std::isinf(want) || std::isnan(want))
    return (got == want || (got != got && want != want)) ? 0 : 1e9;
  int e;
  std::frexp(static_cast<double>(want), &e);  // 2^(e-1) <= |want| < 2^e
  if (e - 1 < -126) e = -125;
  return static_cast<double>(std::fabs(static_cast<long double>(got) - want) /
                             std::ldexp(1.0L, e - 24));
}

void SweepSingle(const Single& s) {
  constexpr size_t kChunk = 1 << 20;
  std::vector<float> in(kChunk), out(kChunk);
  double max_ulp = 0;
  float worst = 0;
  size_t count = 0, above_half = 0;
  acc::Big x, y;
  for (uint64_t b = s.lo_bits; b <= s.hi_bits;) {
    size_t n = 0;
    for (; n < kChunk && b <= s.hi_bits; ++n, b += s.step) {
      const uint32_t bits = static_cast<uint32_t>(b);
      std::memcpy(&in[n], &bits, 4);
    }
    s.kernel(static_cast<int>(n), in.data(), out.data());
    for (size_t i = 0; i < n; ++i) {
      ++count;
      if (QuickUlp(out[i], s.quick(in[i])) <= 0.5 - 1e-6) continue;
      acc::SetExact(x.get(), in[i]);
      s.mpfr(y.get(), x.get(), MPFR_RNDN);
      const double err = acc::UlpError<float>(out[i], y.get());
      above_half += err > 0.5;
      if (err > max_ulp) {
        max_ulp = err;
        worst = in[i];
      }
    }
  }
  std::printf("| %s | single | %.4f | %.9g | %s (%zu), %zu above 0.5 ulp |\n", s.name, max_ulp,
              worst, s.step == 1 ? "every float of the range" : "every 97th float", count,
              above_half);
  std::fflush(stdout);
}

void SampleDouble(const char* name, void (*kernel)(int, const double*, double*), acc::MpfrUnary f,
                  bool shifted) {
  using L = std::numeric_limits<double>;
  std::vector<double> near = acc::Uniform<double>(0.95, 1.05, 1000000, 21);
  if (shifted)
    for (double& v : near) v -= 1;
  const auto args =
      acc::Concat<double>({acc::LogUniform<double>(L::denorm_min(), L::max(), 3000000, 22, 1), near,
                           shifted ? acc::LogUniform<double>(L::denorm_min(), 1.0, 1000000, 23, -1)
                                   : acc::LogUniform<double>(0.5, 2.0, 1000000, 23, 1)});
  const auto rep = acc::MeasureUnary<double>(kernel, f, args);
  std::printf("| %s | double | %.4f | %.17g | random sample (%zu), %zu not correctly rounded |\n",
              name, rep.max_ulp, rep.worst_a, rep.count, rep.not_correctly_rounded);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const bool doubles = argc < 2 || std::strcmp(argv[1], "single") != 0;
  const bool singles = argc < 2 || std::strcmp(argv[1], "double") != 0;
  if (singles) {
    const Single cases[] = {
        {"Ln [0.5, 2)", _vtmsLn, Lnl, mpfr_log, 0x3F000000u, 0x3FFFFFFFu, 1},
        {"Ln", _vtmsLn, Lnl, mpfr_log, 0x00000001u, 0x7F7FFFFFu, 97},
        {"Log10 [0.5, 2)", _vtmsLog10, Log10l, mpfr_log10, 0x3F000000u, 0x3FFFFFFFu, 1},
        {"Log10", _vtmsLog10, Log10l, mpfr_log10, 0x00000001u, 0x7F7FFFFFu, 97},
        {"Log2 [0.5, 2)", _vtmsLog2, Log2l, mpfr_log2, 0x3F000000u, 0x3FFFFFFFu, 1},
        {"Log2", _vtmsLog2, Log2l, mpfr_log2, 0x00000001u, 0x7F7FFFFFu, 97},
        {"Log1p [2^-4, 2)", _vtmsLog1p, Log1pl, mpfr_log1p, 0x3D800000u, 0x3FFFFFFFu, 1},
        {"Log1p [-1, -2^-4]", _vtmsLog1p, Log1pl, mpfr_log1p, 0xBD800000u, 0xBF7FFFFFu, 1},
        {"Log1p x > 0", _vtmsLog1p, Log1pl, mpfr_log1p, 0x00000001u, 0x7F7FFFFFu, 97},
        {"Log1p -1 < x < 0", _vtmsLog1p, Log1pl, mpfr_log1p, 0x80000001u, 0xBF7FFFFFu, 97},
    };
    for (const Single& s : cases) SweepSingle(s);
  }
  if (doubles) {
    SampleDouble("Ln", _vtmdLn, mpfr_log, false);
    SampleDouble("Log10", _vtmdLog10, mpfr_log10, false);
    SampleDouble("Log2", _vtmdLog2, mpfr_log2, false);
    SampleDouble("Log1p", _vtmdLog1p, mpfr_log1p, true);
  }
  return 0;
}
