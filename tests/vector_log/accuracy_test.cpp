// Accuracy of the logarithms against MPFR (correct rounding as the
// reference) on a fixed sample: special and boundary values, log-uniform
// arguments over the whole domain, dense samples where the methods change
// (around 1, where a table row starts, near the denormal border), with the
// status of every element checked through the error callback.
//
// NEX_ACCURACY_EXHAUSTIVE=1 adds a run over every single-precision argument
// (minutes; not for CI).
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "nex_vtm.h"
#include "support/accuracy.hpp"
#include "support/status_probe.hpp"

namespace {

namespace acc = nex::accuracy;

// MPFR has no logb; the exact value is the unbiased exponent.
int MpfrLogb(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x)) return mpfr_set_nan(r), 0;
  if (mpfr_inf_p(x)) return mpfr_set_inf(r, 1), 0;
  if (mpfr_zero_p(x)) return mpfr_set_inf(r, -1), 0;
  return mpfr_set_si(r, static_cast<long>(mpfr_get_exp(x)) - 1, rnd);
}

// Ln, Log10, Log2: a pole at zero, a domain error below it.
template <class T>
int LogStatus(T a, mpfr_srcptr) {
  if (a == 0) return VTM_STATUS_SINGULARITY;
  if (a < 0) return VTM_STATUS_DOMAIN;
  return 0;
}
template <class T>
int Log1pStatus(T a, mpfr_srcptr) {
  if (a == -1) return VTM_STATUS_SINGULARITY;
  if (a < -1) return VTM_STATUS_DOMAIN;
  return 0;
}
template <class T>
int LogbStatus(T a, mpfr_srcptr) {
  return a == 0 ? VTM_STATUS_DOMAIN : 0;
}

template <class T>
struct Case {
  const char* name;
  void (*kernel)(int, const T*, T*);
  acc::MpfrUnary reference;
  acc::ExpectedStatus1<T> status;
  bool shifted;  // the argument is 1 + x (Log1p)
  double bound;  // ulp allowed on the CI sample
};

template <class T>
void PrintTo(const Case<T>& c, std::ostream* os) {
  *os << c.name;
}

template <class T>
std::vector<T> Arguments(bool shifted) {
  using L = std::numeric_limits<T>;
  const T tiny = L::denorm_min(), big = L::max();
  std::vector<T> near_one, row_starts;
  // Every 1/256 row boundary of [1, 2) and their neighbours, scaled to a
  // few binades.
  for (int j = 0; j <= 256; ++j) {
    for (T scale : {T(0.5), T(1), T(2), T(1024)}) {
      const T x = (T(1) + T(j) / T(256)) * scale;
      for (T v : {x, std::nextafter(x, T(0)), std::nextafter(x, T(4096))})
        row_starts.push_back(shifted ? v - T(1) : v);
    }
  }
  // Within a few thousand steps of 1 on either side, then uniform near 1.
  T up = T(1), down = T(1);
  for (int k = 0; k < 3000; ++k) {
    up = std::nextafter(up, T(2));
    down = std::nextafter(down, T(0));
    near_one.push_back(shifted ? up - T(1) : up);
    near_one.push_back(shifted ? down - T(1) : down);
  }
  const auto around = acc::Uniform<T>(T(0.9), T(1.1), 40000, 11);
  std::vector<T> around_shifted;
  for (T v : around) around_shifted.push_back(shifted ? v - T(1) : v);
  return acc::Concat<T>({acc::SpecialValues<T>(), row_starts, near_one, around_shifted,
                         acc::LogUniform<T>(tiny, big, 200000, 12, 1),
                         acc::LogUniform<T>(tiny, big, 20000, 13, -1),
                         acc::LogUniform<T>(tiny, L::min() * T(4), 10000, 14, 1),
                         shifted ? acc::LogUniform<T>(tiny, T(1), 60000, 15, -1)
                                 : acc::LogUniform<T>(T(0.5), T(2), 60000, 15, 1)});
}

template <class T>
void Check(const Case<T>& c) {
  const auto args = Arguments<T>(c.shifted);
  const auto rep =
      acc::MeasureUnary<T>(c.kernel, c.reference, args, acc::CallbackProbe(), c.status);
  std::printf("%s\n", rep.Describe(c.name).c_str());
  EXPECT_LE(rep.max_ulp, c.bound) << rep.Describe(c.name);
  EXPECT_EQ(rep.special_mismatches, 0u) << rep.Describe(c.name);
  EXPECT_EQ(rep.status_mismatches, 0u) << rep.Describe(c.name);
}

class LogAccuracySingle : public ::testing::TestWithParam<Case<float>> {};
class LogAccuracyDouble : public ::testing::TestWithParam<Case<double>> {};

TEST_P(LogAccuracySingle, WithinBoundOnTheSample) {
  Check(GetParam());
}
TEST_P(LogAccuracyDouble, WithinBoundOnTheSample) {
  Check(GetParam());
}

// Bounds are the full-domain maxima (docs/accuracy_log.md) with a margin.
INSTANTIATE_TEST_SUITE_P(
    Log, LogAccuracySingle,
    ::testing::Values(Case<float>{"vsLn", _vtmsLn, mpfr_log, LogStatus<float>, false, 0.75},
                      Case<float>{"vsLog10", _vtmsLog10, mpfr_log10, LogStatus<float>, false, 0.75},
                      Case<float>{"vsLog2", _vtmsLog2, mpfr_log2, LogStatus<float>, false, 0.501},
                      Case<float>{"vsLog1p", _vtmsLog1p, mpfr_log1p, Log1pStatus<float>, true,
                                  0.501},
                      Case<float>{"vsLogb", _vtmsLogb, MpfrLogb, LogbStatus<float>, false, 0.0}),
    [](const auto& info) { return std::string(info.param.name + 2); });

INSTANTIATE_TEST_SUITE_P(
    Log, LogAccuracyDouble,
    ::testing::Values(
        Case<double>{"vdLn", _vtmdLn, mpfr_log, LogStatus<double>, false, 0.51},
        Case<double>{"vdLog10", _vtmdLog10, mpfr_log10, LogStatus<double>, false, 0.51},
        Case<double>{"vdLog2", _vtmdLog2, mpfr_log2, LogStatus<double>, false, 0.51},
        Case<double>{"vdLog1p", _vtmdLog1p, mpfr_log1p, Log1pStatus<double>, true, 0.51},
        Case<double>{"vdLogb", _vtmdLogb, MpfrLogb, LogbStatus<double>, false, 0.0}),
    [](const auto& info) { return std::string(info.param.name + 2); });

// Every float, on request: the figures of the accuracy table.
TEST_P(LogAccuracySingle, EveryFloatOnRequest) {
  if (!acc::ExhaustiveRequested()) GTEST_SKIP() << "set NEX_ACCURACY_EXHAUSTIVE=1";
  const Case<float>& c = GetParam();
  acc::Report<float> total;
  acc::ForEveryFloat(1 << 20, [&](const std::vector<float>& v) {
    const auto rep = acc::MeasureUnary<float>(c.kernel, c.reference, v);
    total.count += rep.count;
    total.not_correctly_rounded += rep.not_correctly_rounded;
    total.special_mismatches += rep.special_mismatches;
    if (rep.max_ulp > total.max_ulp) {
      total.max_ulp = rep.max_ulp;
      total.worst_a = rep.worst_a;
      total.worst_got = rep.worst_got;
      total.worst_want = rep.worst_want;
    }
  });
  std::printf("%s\n", total.Describe(c.name).c_str());
  EXPECT_LE(total.max_ulp, 1.0) << total.Describe(c.name);
  EXPECT_EQ(total.special_mismatches, 0u) << total.Describe(c.name);
}

}  // namespace
