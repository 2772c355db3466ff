// Special values of Pow (every case of the C standard's annex for pow, with
// the library's statuses), Powr's own special values, the exponent classes
// of Powx and its zero-exponent path, and the reported index in blocks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "nex_vtm.h"
#include "support/status_probe.hpp"

namespace {

namespace acc = nex::accuracy;

template <class T>
using Kernel2 = void (*)(int, const T*, const T*, T*);

template <class T>
struct K;
template <>
struct K<float> {
  static constexpr Kernel2<float> Pow = _vtmsPow, Powr = _vtmsPowr;
  static constexpr void (*Powx)(int, const float*, float, float*) = _vtmsPowx;
};
template <>
struct K<double> {
  static constexpr Kernel2<double> Pow = _vtmdPow, Powr = _vtmdPowr;
  static constexpr void (*Powx)(int, const double*, double, double*) = _vtmdPowx;
};

template <class T>
bool Same(T got, T want) {
  if (std::isnan(want)) return std::isnan(got);
  return std::memcmp(&got, &want, sizeof(T)) == 0;
}

template <class T>
struct Want {
  T x, y, result;
  int status;
};

template <class T>
struct Statused {
  T result;
  int status;
};

template <class T>
Statused<T> Call(Kernel2<T> k, T x, T y) {
  T r = T(-12345);
  const auto seen = acc::ProbeStatuses([&] { k(1, &x, &y, &r); });
  return {r, seen.empty() ? 0 : seen.back().status};
}

template <class T>
void CheckTable(const char* name, Kernel2<T> k, const std::vector<Want<T>>& table) {
  for (const Want<T>& w : table) {
    const auto got = Call(k, w.x, w.y);
    EXPECT_TRUE(Same(got.result, w.result))
        << name << "(" << w.x << ", " << w.y << ") = " << got.result << ", want " << w.result;
    EXPECT_EQ(got.status, w.status) << name << "(" << w.x << ", " << w.y << ")";
  }
}

template <class T>
class PowEdge : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(PowEdge, Types);

TYPED_TEST(PowEdge, EveryAnnexCaseOfPow) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), nan = L::quiet_NaN(), snan = L::signaling_NaN();
  const T big = L::max(), tiny = L::denorm_min();
  // An even exponent below the subnormal range, and whether the exponent of
  // the least subnormal is odd.
  constexpr int kEvenBelow = ((L::min_exponent - L::digits) / 2) * 2 - 2;
  constexpr bool kOddSubnormal = (L::min_exponent - L::digits) % 2 != 0;
  const std::vector<Want<T>> table = {
      // pow(+-0, y), y a negative odd integer: +-infinity, pole (status 1).
      {T(0), T(-1), inf, 1},
      {T(-0.0), T(-1), -inf, 1},
      {T(-0.0), T(-3), -inf, 1},
      // pow(+-0, -infinity) and negative non-odd y: +infinity.
      {T(0), -inf, inf, 1},
      {T(-0.0), -inf, inf, 1},
      {T(-0.0), T(-2), inf, 1},
      {T(-0.0), T(-0.5), inf, 1},
      {T(0), -big, inf, 1},
      // pow(+-0, y), y a positive odd integer: +-0; otherwise +0.
      {T(0), T(3), T(0), 0},
      {T(-0.0), T(3), T(-0.0), 0},
      {T(-0.0), T(2), T(0), 0},
      {T(-0.0), T(0.5), T(0), 0},
      {T(-0.0), inf, T(0), 0},
      {T(-0.0), big, T(0), 0},
      // pow(-1, +-infinity) = 1.
      {T(-1), inf, T(1), 0},
      {T(-1), -inf, T(1), 0},
      // pow(+1, y) = 1 for every y, NaN included.
      {T(1), nan, T(1), 0},
      {T(1), snan, T(1), 0},
      {T(1), -inf, T(1), 0},
      {T(1), inf, T(1), 0},
      {T(1), T(-7.5), T(1), 0},
      // pow(x, +-0) = 1 for every x, NaN included.
      {nan, T(0), T(1), 0},
      {nan, T(-0.0), T(1), 0},
      {snan, T(0), T(1), 0},
      {-inf, T(0), T(1), 0},
      {T(-0.0), T(-0.0), T(1), 0},
      {T(-3), T(-0.0), T(1), 0},
      // A finite negative x to a finite non-integer power: NaN, domain.
      {T(-8), T(1) / T(3), nan, 1},
      {T(-2), T(0.5), nan, 1},
      {-tiny, T(-1.5), nan, 1},
      {-big, T(2.5), nan, 1},
      // pow(x, -infinity): +infinity for |x| < 1, +0 for |x| > 1.
      {T(0.5), -inf, inf, 0},
      {T(-0.5), -inf, inf, 0},
      {T(2), -inf, T(0), 0},
      {T(-2), -inf, T(0), 0},
      // pow(x, +infinity): +0 for |x| < 1, +infinity for |x| > 1.
      {T(0.5), inf, T(0), 0},
      {-tiny, inf, T(0), 0},
      {T(2), inf, inf, 0},
      {-big, inf, inf, 0},
      // pow(-infinity, y): -0 / +0 for negative odd / other y, -inf / +inf
      // for positive odd / other y.
      {-inf, T(-3), T(-0.0), 0},
      {-inf, T(-2), T(0), 0},
      {-inf, T(-0.5), T(0), 0},
      {-inf, T(3), -inf, 0},
      {-inf, T(2), inf, 0},
      {-inf, T(0.5), inf, 0},
      // pow(+infinity, y): +0 for y < 0, +infinity for y > 0.
      {inf, T(-1), T(0), 0},
      {inf, -tiny, T(0), 0},
      {inf, T(1), inf, 0},
      {inf, tiny, inf, 0},
      // NaN operands otherwise give a NaN with no status.
      {nan, T(1), nan, 0},
      {T(2), nan, nan, 0},
      {T(-1), nan, nan, 0},
      // Ordinary values, exact results and odd powers of negative bases.
      {T(-2), T(3), T(-8), 0},
      {T(-2), T(-3), T(-0.125), 0},
      {T(-1), T(5), T(-1), 0},
      {T(-1), T(4), T(1), 0},
      {T(4), T(0.5), T(2), 0},
      {T(2), T(-1), T(0.5), 0},
      // Overflow is reported, underflow is not.
      {T(2), T(L::max_exponent), inf, 3},
      {T(-2), T(L::max_exponent + 1), -inf, 3},
      {big, T(2), inf, 3},
      {T(0.5), T(-L::max_exponent), inf, 3},
      {T(2), T(L::min_exponent - L::digits - 1), T(0), 0},
      {T(-2), T(kEvenBelow), T(0), 0},
      {T(-2), T(kEvenBelow - 1), T(-0.0), 0},
      {T(2), T(L::min_exponent - L::digits), tiny, 0},
      {T(-0.5), T(-(L::min_exponent - L::digits)), kOddSubnormal ? -tiny : tiny, 0},
      {tiny, T(3), T(0), 0},
  };
  CheckTable<T>("Pow", K<T>::Pow, table);
  // The same cases through Powx, one exponent at a time.
  for (const Want<T>& w : table) {
    T r = T(-12345);
    const auto seen = acc::ProbeStatuses([&] { K<T>::Powx(1, &w.x, w.y, &r); });
    EXPECT_TRUE(Same(r, w.result)) << "Powx(" << w.x << ", " << w.y << ") = " << r;
    EXPECT_EQ(seen.empty() ? 0 : seen.back().status, w.status)
        << "Powx(" << w.x << ", " << w.y << ")";
  }
}

TYPED_TEST(PowEdge, ExponentClassesAtThePrecisionLimit) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  const T two_p = std::ldexp(T(1), L::digits);  // every value from here on is even
  const T odd = two_p - T(1);                   // the largest odd integer
  const std::vector<Want<T>> table = {
      {T(-1), odd, T(-1), 0},
      {T(-1), -odd, T(-1), 0},
      {T(-1), two_p, T(1), 0},
      {T(-1), odd - T(1), T(1), 0},
      {T(-1), T(1.5), std::numeric_limits<T>::quiet_NaN(), 1},
      {T(-1), T(0.75), std::numeric_limits<T>::quiet_NaN(), 1},
      {T(-0.0), odd, T(-0.0), 0},
      {T(-0.0), two_p, T(0), 0},
      {T(-0.0), -odd, -L::infinity(), 1},
      {-L::infinity(), T(1), -L::infinity(), 0},
      {-L::infinity(), odd, -L::infinity(), 0},
  };
  CheckTable<T>("Pow", K<T>::Pow, table);
}

TYPED_TEST(PowEdge, PowrSpecialValues) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), nan = L::quiet_NaN();
  const std::vector<Want<T>> table = {
      {T(-2), T(2), nan, 1},  {T(-1), inf, nan, 1},     {-inf, T(2), nan, 1},
      {T(0), T(0), nan, 1},   {T(-0.0), T(0), nan, 1},  {inf, T(0), nan, 1},
      {inf, T(-0.0), nan, 1}, {T(1), inf, nan, 1},      {T(1), -inf, nan, 1},
      {T(0), T(-1), inf, 2},  {T(-0.0), T(-3), inf, 2}, {T(0), -inf, inf, 2},
      {T(0), T(3), T(0), 0},  {T(-0.0), T(3), T(0), 0}, {T(0), inf, T(0), 0},
      {inf, T(2), inf, 0},    {inf, T(-2), T(0), 0},    {T(2), T(0), T(1), 0},
      {T(1), T(5), T(1), 0},  {T(0.5), inf, T(0), 0},   {T(0.5), -inf, inf, 0},
      {T(2), inf, inf, 0},    {T(2), -inf, T(0), 0},    {nan, T(0), nan, 0},
      {T(1), nan, nan, 0},    {T(4), T(0.5), T(2), 0},  {T(2), T(L::max_exponent), inf, 3},
  };
  CheckTable<T>("Powr", K<T>::Powr, table);
}

// A zero exponent gives 1 for every x, also where x is a NaN, with no status.
TYPED_TEST(PowEdge, PowxZeroExponentShortPath) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  const std::vector<T> x = {T(0),
                            T(-0.0),
                            L::infinity(),
                            -L::infinity(),
                            L::quiet_NaN(),
                            L::signaling_NaN(),
                            L::denorm_min(),
                            T(-3.5)};
  for (T zero : {T(0), T(-0.0)}) {
    std::vector<T> r(x.size(), T(-7));
    const auto seen = acc::ProbeStatuses(
        [&] { K<T>::Powx(static_cast<int>(x.size()), x.data(), zero, r.data()); });
    EXPECT_TRUE(seen.empty());
    for (T v : r) EXPECT_EQ(v, T(1));
  }
}

// Reported indices are those of the elements, in blocks of any length and
// both with results in place and apart; the record carries both arguments.
TYPED_TEST(PowEdge, StatusesReportTheirElements) {
  using T = TypeParam;
  for (int n : {1, 7, 16, 37}) {
    std::vector<T> x(n), y(n, T(2.5));
    for (int i = 0; i < n; ++i) x[i] = i % 5 == 3 ? T(-1.5) : T(1.25);
    std::vector<T> r(n);
    const auto seen = acc::ProbeStatuses([&] { K<T>::Pow(n, x.data(), y.data(), r.data()); });
    std::vector<int> want;
    for (int i = 0; i < n; ++i)
      if (i % 5 == 3) want.push_back(i);
    ASSERT_EQ(seen.size(), want.size()) << n;
    for (size_t k = 0; k < want.size(); ++k) {
      EXPECT_EQ(seen[k].index, want[k]);
      EXPECT_EQ(seen[k].status, VTM_STATUS_DOMAIN);
    }
    const auto seen_x = acc::ProbeStatuses([&] { K<T>::Powx(n, x.data(), T(2.5), x.data()); });
    EXPECT_EQ(seen_x.size(), want.size()) << n;
    for (int i = 0; i < n; ++i) EXPECT_EQ(std::isnan(x[i]), i % 5 == 3) << i;
  }
}

// Without a callback, the thread's status word keeps the domain error.
TYPED_TEST(PowEdge, StatusWordKeepsTheError) {
  using T = TypeParam;
  const T x[2] = {T(0), T(2)}, y[2] = {T(-1), T(3)};
  T r[2];
  _vtmClearErrStatus();
  K<T>::Pow(2, x, y, r);
  EXPECT_EQ(_vtmGetErrStatus(), VTM_STATUS_DOMAIN);
  EXPECT_EQ(r[1], T(8));
  _vtmClearErrStatus();
}

}  // namespace

namespace {

// A callback that leaves the x87 unit at 24-bit precision must not lower the
// accuracy of the elements computed after it.
int32_t LowerPrecision(VtmErrorRecord*) {
  uint16_t cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  cw = static_cast<uint16_t>(cw & ~0x0300u);  // precision control: 24 bits
  __asm__ volatile("fldcw %0" : : "m"(cw));
  return 1;
}

TEST(PowReport, CallbackCannotChangeTheArithmeticOfLaterElements) {
  const double x[3] = {0.0, 3.0, 1.0000001}, y[3] = {-1.0, 0.1, 12345.678};
  double clean[3], probed[3];
  _vtmdPow(3, x, y, clean);
  const uint32_t old_mode = _vtmSetMode(VTM_ERRMODE_CALLBACK);
  const VtmErrorCallBack old_callback = _vtmSetErrorCallBack(LowerPrecision);
  _vtmdPow(3, x, y, probed);
  _vtmSetErrorCallBack(old_callback);
  _vtmSetMode(old_mode);
  EXPECT_EQ(probed[1], clean[1]);
  EXPECT_EQ(probed[2], clean[2]);
}

}  // namespace
