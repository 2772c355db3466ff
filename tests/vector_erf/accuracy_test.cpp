// Every error function kernel against MPFR on a fixed sample: special
// values, arguments log-uniform over the whole line, uniform over the range
// of ordinary results, and dense around the underflow limits of Erfc and
// CdfNorm. The status of each element is checked through the error
// callback. The promise is 1 ulp; each kernel is held to a bound just above
// its measured figure so that a regression shows.
//
// NEX_ACCURACY_SCALE=k runs a sample k times larger; NEX_ACCURACY_EXHAUSTIVE=1
// adds a run over every single-precision argument (long; not for CI).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "erf_support.hpp"
#include "support/status_probe.hpp"

namespace {

namespace acc = nex::accuracy;
using nex::test::ErfFunction;
using nex::test::ErfFunctions;

constexpr double kBound = 0.51;

size_t Scale() {
  const char* e = std::getenv("NEX_ACCURACY_SCALE");
  const long k = e ? std::atol(e) : 1;
  return k > 0 ? static_cast<size_t>(k) : 1;
}

template <class T>
std::vector<T> Sample(const ErfFunction<T>& f, uint32_t seed) {
  using L = std::numeric_limits<T>;
  const size_t k = Scale();
  const T far = f.lo < -f.hi ? -f.lo : f.hi;
  const T edge = f.reports ? (f.hi > -f.lo ? f.hi : f.lo) : T(1);
  const T e0 = edge * T(0.96), e1 = edge * T(1.005);
  return acc::Concat<T>({acc::SpecialValues<T>(),
                         acc::LogUniform<T>(L::denorm_min(), far * 2, 15000 * k, seed, 0),
                         acc::Uniform<T>(f.lo, f.hi, 20000 * k, seed + 1),
                         acc::Uniform<T>(T(-2), T(2), 8000 * k, seed + 2),
                         acc::Uniform<T>(std::min(e0, e1), std::max(e0, e1), 5000 * k, seed + 3)});
}

template <class T>
class ErfAccuracy : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ErfAccuracy, Types);

TYPED_TEST(ErfAccuracy, WithinBoundWithExactSpecialsAndStatuses) {
  using T = TypeParam;
  uint32_t seed = 7001;
  for (const ErfFunction<T>& f : ErfFunctions<T>()) {
    const auto args = Sample(f, seed += 10);
    const auto rep = acc::MeasureUnary<T>(f.kernel, f.reference, args, acc::CallbackProbe(),
                                          nex::test::ExpectedFor(f));
    std::printf("%s\n", rep.Describe(f.name).c_str());
    EXPECT_LE(rep.max_ulp, kBound) << rep.Describe(f.name);
    EXPECT_EQ(rep.special_mismatches, 0u) << rep.Describe(f.name);
    EXPECT_EQ(rep.status_mismatches, 0u) << rep.Describe(f.name);
  }
}

TEST(ErfAccuracyExhaustive, EverySingleArgument) {
  if (!acc::ExhaustiveRequested()) GTEST_SKIP() << "set NEX_ACCURACY_EXHAUSTIVE=1";
  for (const ErfFunction<float>& f : ErfFunctions<float>()) {
    acc::Report<float> total;
    acc::ForEveryFloat(1 << 20, [&](const std::vector<float>& chunk) {
      const auto rep = acc::MeasureUnary<float>(f.kernel, f.reference, chunk, acc::CallbackProbe(),
                                                nex::test::ExpectedFor(f));
      total.Merge(rep);
    });
    std::printf("%s\n", total.Describe(f.name).c_str());
    EXPECT_LE(total.max_ulp, 1.0) << total.Describe(f.name);
    EXPECT_EQ(total.special_mismatches, 0u) << total.Describe(f.name);
    EXPECT_EQ(total.status_mismatches, 0u) << total.Describe(f.name);
  }
}

}  // namespace
