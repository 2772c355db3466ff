// Special values, statuses and the walk over the arrays for the root
// kernels: each special argument with its result class and status, both
// precisions; every length and alignment of the packed plans, with an
// exceptional element moved through each position of the block.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include "nex_vtm.h"
#include "support/status_probe.hpp"

namespace {

namespace acc = nex::accuracy;

template <class T>
using Kernel1 = void (*)(int, const T*, T*);
template <class T>
using Kernel2 = void (*)(int, const T*, const T*, T*);

// An expected result: a NaN, or a value compared bit for bit (so the sign
// of zeros and infinities counts).
template <class T>
struct Want {
  T x, y;  // arguments (y only for Hypot)
  T result;
  int status;
};

template <class T>
bool Same(T got, T want) {
  if (std::isnan(want)) return std::isnan(got);
  return std::memcmp(&got, &want, sizeof(T)) == 0;
}

template <class T>
struct Statused {
  T result;
  int status;  // the status reported for the element, 0 if none
};

template <class T>
Statused<T> Call1(Kernel1<T> k, T x) {
  T r = T(-12345);
  const auto seen = acc::ProbeStatuses([&] { k(1, &x, &r); });
  return {r, seen.empty() ? 0 : seen.back().status};
}
template <class T>
Statused<T> Call2(Kernel2<T> k, T x, T y) {
  T r = T(-12345);
  const auto seen = acc::ProbeStatuses([&] { k(1, &x, &y, &r); });
  return {r, seen.empty() ? 0 : seen.back().status};
}

template <class T>
void CheckTable(const char* name, Kernel1<T> k, const std::vector<Want<T>>& table) {
  for (const Want<T>& w : table) {
    const auto got = Call1(k, w.x);
    EXPECT_TRUE(Same(got.result, w.result))
        << name << "(" << w.x << ") = " << got.result << ", want " << w.result;
    EXPECT_EQ(got.status, w.status) << name << "(" << w.x << ")";
  }
}

template <class T>
class RootsEdge : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(RootsEdge, Types);

template <class T>
struct K;
template <>
struct K<float> {
  static constexpr Kernel1<float> Sqrt = _vtmsSqrt, InvSqrt = _vtmsInvSqrt, Cbrt = _vtmsCbrt,
                                  InvCbrt = _vtmsInvCbrt, Pow2o3 = _vtmsPow2o3,
                                  Pow3o2 = _vtmsPow3o2;
  static constexpr Kernel2<float> Hypot = _vtmsHypot;
  static constexpr int kHypotOverflow = VTM_STATUS_OVERFLOW;
};
template <>
struct K<double> {
  static constexpr Kernel1<double> Sqrt = _vtmdSqrt, InvSqrt = _vtmdInvSqrt, Cbrt = _vtmdCbrt,
                                   InvCbrt = _vtmdInvCbrt, Pow2o3 = _vtmdPow2o3,
                                   Pow3o2 = _vtmdPow3o2;
  static constexpr Kernel2<double> Hypot = _vtmdHypot;
  static constexpr int kHypotOverflow = 0;  // dHypot has no report
};

constexpr int kDom = VTM_STATUS_DOMAIN, kPole = VTM_STATUS_SINGULARITY, kOver = VTM_STATUS_OVERFLOW;

TYPED_TEST(RootsEdge, SpecialValuesAndStatuses) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), nan = L::quiet_NaN(), dmin = L::denorm_min();
  CheckTable<T>("Sqrt", K<T>::Sqrt,
                {{T(-0.0), 0, T(-0.0), 0},
                 {T(0), 0, T(0), 0},
                 {T(-1), 0, nan, kDom},
                 {-dmin, 0, nan, kDom},
                 {-inf, 0, nan, kDom},
                 {inf, 0, inf, 0},
                 {nan, 0, nan, 0},
                 {T(4) * dmin, 0, T(2) * std::sqrt(dmin), 0},
                 {T(0.25), 0, T(0.5), 0}});
  CheckTable<T>("InvSqrt", K<T>::InvSqrt,
                {{T(0), 0, inf, kPole},
                 {T(-0.0), 0, inf, kPole},
                 {T(-4), 0, nan, kDom},
                 {-inf, 0, nan, kDom},
                 {inf, 0, T(0), 0},
                 {nan, 0, nan, 0},
                 {T(0.25), 0, T(2), 0}});
  CheckTable<T>("Cbrt", K<T>::Cbrt,
                {{T(-0.0), 0, T(-0.0), 0},
                 {T(0), 0, T(0), 0},
                 {-inf, 0, -inf, 0},
                 {inf, 0, inf, 0},
                 {nan, 0, nan, 0},
                 {T(-8), 0, T(-2), 0},
                 {T(27), 0, T(3), 0},
                 {T(0.125), 0, T(0.5), 0}});
  CheckTable<T>("InvCbrt", K<T>::InvCbrt,
                {{T(-0.0), 0, -inf, kPole},
                 {T(0), 0, inf, kPole},
                 {-inf, 0, T(-0.0), 0},
                 {inf, 0, T(0), 0},
                 {nan, 0, nan, 0},
                 {T(-8), 0, T(-0.5), 0},
                 {T(0.125), 0, T(2), 0}});
  CheckTable<T>(
      "Pow2o3", K<T>::Pow2o3,
      {{T(-0.0), 0, T(0), 0},
       {-inf, 0, inf, 0},
       {inf, 0, inf, 0},
       {nan, 0, nan, 0},
       {T(-8), 0, T(4), 0},
       {T(27), 0, T(9), 0},
       {L::max(), 0, static_cast<T>(std::cbrt(static_cast<long double>(L::max()) * L::max())), 0}});
  CheckTable<T>("Pow3o2", K<T>::Pow3o2,
                {{T(-0.0), 0, T(0), 0},
                 {T(-1), 0, nan, kDom},
                 {-dmin, 0, nan, kDom},
                 {-inf, 0, inf, 0},
                 {inf, 0, inf, 0},
                 {nan, 0, nan, 0},
                 {T(4), 0, T(8), 0},
                 {T(0.25), 0, T(0.125), 0},
                 {L::max(), 0, inf, kOver},
                 {dmin, 0, T(0), 0}});
}

TYPED_TEST(RootsEdge, NegativeArgumentsGiveTheDefaultNaN) {
  using T = TypeParam;
  volatile T zero = 0;
  const T quiet = zero / zero;  // the processor's default NaN
  for (Kernel1<T> k : {K<T>::Sqrt, K<T>::InvSqrt, K<T>::Pow3o2}) {
    const T got = Call1(k, T(-2)).result;
    EXPECT_TRUE(std::isnan(got));
    EXPECT_EQ(std::signbit(got), std::signbit(quiet));
  }
}

TYPED_TEST(RootsEdge, HypotSpecialValues) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), nan = L::quiet_NaN();
  const Want<T> table[] = {
      {inf, nan, inf, 0},
      {nan, -inf, inf, 0},
      {-inf, T(1), inf, 0},
      {nan, T(1), nan, 0},
      {T(-3), T(4), T(5), 0},
      {T(-0.0), T(-0.0), T(0), 0},
      {T(-7), T(0), T(7), 0},
      {L::max(), L::max(), inf, K<T>::kHypotOverflow},
      {L::max(), L::min(), L::max(), 0},
      {L::denorm_min() * 3, L::denorm_min() * 4, L::denorm_min() * 5, 0},
      {L::max() / 2, L::max() / 2, static_cast<T>(L::max() / std::sqrt(2.0L)), 0}};
  for (const Want<T>& w : table) {
    const auto got = Call2(K<T>::Hypot, w.x, w.y);
    EXPECT_TRUE(Same(got.result, w.result))
        << "Hypot(" << w.x << ", " << w.y << ") = " << got.result;
    EXPECT_EQ(got.status, w.status) << "Hypot(" << w.x << ", " << w.y << ")";
  }
}

// Every length up to three blocks at every alignment: each result equals the
// kernel's own one-element answer, nothing past the end is written, and an
// exceptional element put at each position is reported at its own index.
template <class T>
void CheckWalk(const char* name, Kernel1<T> k, T bad, int bad_status) {
  alignas(16) T in[40], out[40];
  for (int offset = 0; offset < 4; ++offset)
    for (int n = 0; n <= 27; ++n)
      for (int bad_at = -1; bad_at < n; ++bad_at) {
        for (int i = 0; i < 40; ++i) {
          in[i] = T(0.5) + T(i) * T(0.37);
          out[i] = T(-77);
        }
        if (bad_at >= 0) in[offset + bad_at] = bad;
        const auto seen = acc::ProbeStatuses([&] { k(n, in + offset, out + offset); });
        for (int i = 0; i < 40; ++i) {
          if (i < offset || i >= offset + n) {
            ASSERT_EQ(out[i], T(-77)) << name << " wrote outside, n=" << n << " offset=" << offset;
            continue;
          }
          T one;
          k(1, &in[i], &one);
          ASSERT_TRUE(Same(out[i], one))
              << name << " n=" << n << " offset=" << offset << " i=" << i;
        }
        if (bad_at >= 0 && bad_status != 0) {
          ASSERT_EQ(seen.size(), 1u) << name << " n=" << n << " offset=" << offset;
          EXPECT_EQ(seen[0].index, bad_at);
          EXPECT_EQ(seen[0].status, bad_status);
        } else {
          ASSERT_TRUE(seen.empty()) << name;
        }
      }
}

TYPED_TEST(RootsEdge, EveryLengthAndAlignment) {
  using T = TypeParam;
  CheckWalk<T>("Sqrt", K<T>::Sqrt, T(-1), kDom);
  CheckWalk<T>("InvSqrt", K<T>::InvSqrt, T(0), kPole);
  CheckWalk<T>("Cbrt", K<T>::Cbrt, T(-0.0), 0);
  CheckWalk<T>("InvCbrt", K<T>::InvCbrt, T(-0.0), kPole);
  CheckWalk<T>("Pow2o3", K<T>::Pow2o3, T(-8), 0);
  CheckWalk<T>("Pow3o2", K<T>::Pow3o2, T(-8), kDom);
}

TYPED_TEST(RootsEdge, HypotEveryLengthAndAlignment) {
  using T = TypeParam;
  alignas(16) T a[40], b[40], out[40];
  for (int offset = 0; offset < 4; ++offset)
    for (int n = 0; n <= 27; ++n) {
      for (int i = 0; i < 40; ++i) {
        a[i] = T(0.5) + T(i) * T(0.37);
        b[i] = T(3) - T(i) * T(0.11);
        out[i] = T(-77);
      }
      if (n > 0) a[offset + n - 1] = std::numeric_limits<T>::max();
      if (n > 0) b[offset + n - 1] = std::numeric_limits<T>::max();
      const auto seen =
          acc::ProbeStatuses([&] { K<T>::Hypot(n, a + offset, b + offset, out + offset); });
      for (int i = 0; i < 40; ++i) {
        if (i < offset || i >= offset + n) {
          ASSERT_EQ(out[i], T(-77));
          continue;
        }
        const long double x = a[i], y = b[i];
        const T want = static_cast<T>(std::sqrt(x * x + y * y));
        if (std::isinf(want)) {
          ASSERT_EQ(out[i], want);
        } else {
          ASSERT_NEAR(out[i], want, want * std::numeric_limits<T>::epsilon())
              << "n=" << n << " i=" << i;
        }
      }
      if (K<T>::kHypotOverflow != 0 && n > 0) {
        ASSERT_EQ(seen.size(), 1u);
        EXPECT_EQ(seen[0].index, n - 1);
      } else {
        EXPECT_TRUE(seen.empty());
      }
    }
}

// Nothing is read or written for an empty or negative count.
TYPED_TEST(RootsEdge, EmptyCountsTouchNothing) {
  using T = TypeParam;
  T r = T(5);
  for (Kernel1<T> k :
       {K<T>::Sqrt, K<T>::InvSqrt, K<T>::Cbrt, K<T>::InvCbrt, K<T>::Pow2o3, K<T>::Pow3o2}) {
    k(0, nullptr, &r);
    k(-5, nullptr, &r);
  }
  K<T>::Hypot(-5, nullptr, nullptr, &r);
  EXPECT_EQ(r, T(5));
}

// The result array may be the input array.
TYPED_TEST(RootsEdge, InPlace) {
  using T = TypeParam;
  std::vector<T> v(37), w(37);
  for (size_t i = 0; i < v.size(); ++i) v[i] = w[i] = T(1) + T(i) * T(3.25);
  for (Kernel1<T> k :
       {K<T>::Sqrt, K<T>::InvSqrt, K<T>::Cbrt, K<T>::InvCbrt, K<T>::Pow2o3, K<T>::Pow3o2}) {
    std::vector<T> x = v, want(v.size());
    k(static_cast<int>(x.size()), w.data(), want.data());
    k(static_cast<int>(x.size()), x.data(), x.data());
    for (size_t i = 0; i < x.size(); ++i) ASSERT_EQ(x[i], want[i]);
  }
}

}  // namespace

namespace {

// With flush-to-zero in the mode, the kernels whose frame follows the mode
// take a denormal argument for the zero it then is, scalar routines
// included; those that keep the caller's MXCSR do so when the caller sets
// denormals-are-zero itself.
TEST(RootsFlush, DenormalArgumentsAreZeros) {
  std::thread([] {
    _vtmSetMode(VTM_FLUSH_ZERO_ON);
    const float fd = std::numeric_limits<float>::denorm_min() * 5;
    const double dd = std::numeric_limits<double>::denorm_min() * 5;
    auto s1 = Call1<float>(_vtmsSqrt, fd);
    EXPECT_EQ(s1.result, 0.0f);
    EXPECT_EQ(s1.status, 0);
    auto s2 = Call1<float>(_vtmsInvSqrt, fd);
    EXPECT_EQ(s2.result, std::numeric_limits<float>::infinity());
    EXPECT_EQ(s2.status, kPole);
    auto d1 = Call1<double>(_vtmdSqrt, dd);
    EXPECT_EQ(d1.result, 0.0);
    auto d2 = Call1<double>(_vtmdInvSqrt, dd);
    EXPECT_EQ(d2.result, std::numeric_limits<double>::infinity());
    EXPECT_EQ(d2.status, kPole);
    EXPECT_EQ(Call1<float>(_vtmsPow2o3, fd).result, 0.0f);

    uint32_t mxcsr;
    __asm__ volatile("stmxcsr %0" : "=m"(mxcsr));
    const uint32_t daz = mxcsr | 0x8040;
    __asm__ volatile("ldmxcsr %0" : : "m"(daz));
    const auto c = Call1<float>(_vtmsCbrt, -fd);
    const auto ic = Call1<float>(_vtmsInvCbrt, -fd);
    __asm__ volatile("ldmxcsr %0" : : "m"(mxcsr));
    EXPECT_EQ(c.result, 0.0f);
    EXPECT_TRUE(std::signbit(c.result));
    EXPECT_EQ(ic.result, -std::numeric_limits<float>::infinity());
    EXPECT_EQ(ic.status, kPole);
  }).join();
}

}  // namespace
