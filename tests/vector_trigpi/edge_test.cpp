// Exact results, signs of zeros, poles and their statuses, exceptional
// inputs, the walk over heads and tails, and the floating-point frame of
// the half-turn and degree kernels, for all three slots of both precisions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "nex_vtm.h"
#include "support/status_probe.hpp"
#include "vector/vtm_test_util.hpp"

namespace {

using nex::test::Bits;

template <class T>
using Kernel = void (*)(int, const T*, T*);

enum Name { kSinpi, kCospi, kTanpi, kSind, kCosd, kTand };

template <class T>
struct Set;
#define NEX_SLOTS(t, la, ep, name) \
  { _vtm##t##name##la, _vtm##t##name##_HA, _vtm##t##name##ep }
#define NEX_SET(t, la, ep)                                                                 \
  {                                                                                        \
    NEX_SLOTS(t, la, ep, Sinpi), NEX_SLOTS(t, la, ep, Cospi), NEX_SLOTS(t, la, ep, Tanpi), \
        NEX_SLOTS(t, la, ep, Sind), NEX_SLOTS(t, la, ep, Cosd), NEX_SLOTS(t, la, ep, Tand) \
  }
template <>
struct Set<float> {
  static constexpr Kernel<float> k[6][3] = NEX_SET(s, _21, _11);
};
template <>
struct Set<double> {
  static constexpr Kernel<double> k[6][3] = NEX_SET(d, _50, _26);
};

// Runs kernel f of every slot on xs; returns results per slot with the
// statuses seen.
template <class T>
struct Run {
  std::vector<T> r;
  std::vector<nex::accuracy::ReportedStatus> seen;
};
template <class T>
Run<T> Call(Kernel<T> f, const std::vector<T>& xs) {
  Run<T> run;
  run.r.assign(xs.size(), T(-7));
  run.seen = nex::accuracy::ProbeStatuses(
      [&] { f(static_cast<int>(xs.size()), xs.data(), run.r.data()); });
  return run;
}

template <class T>
class TrigpiEdges : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(TrigpiEdges, Types);

// Integers, with huge ones beyond every packed path.
template <class T>
std::vector<T> Integers() {
  const T big = sizeof(T) == 4 ? T(16777218) : T(9007199254740994.0);
  return {T(0), T(1), T(2), T(3), T(7), T(4194305), big, T(1e30), std::numeric_limits<T>::max()};
}

TYPED_TEST(TrigpiEdges, SinpiIsAZeroOfTheArgumentsSignAtIntegers) {
  using T = TypeParam;
  std::vector<T> xs;
  for (T n : Integers<T>()) {
    xs.push_back(n);
    xs.push_back(-n);
  }
  for (int slot = 0; slot < 3; ++slot) {
    const auto run = Call<T>(Set<T>::k[kSinpi][slot], xs);
    for (size_t i = 0; i < xs.size(); ++i) {
      EXPECT_EQ(run.r[i], T(0)) << xs[i] << " slot " << slot;
      EXPECT_EQ(std::signbit(run.r[i]), std::signbit(xs[i])) << xs[i] << " slot " << slot;
    }
    EXPECT_TRUE(run.seen.empty());
  }
}

TYPED_TEST(TrigpiEdges, TanpiAtIntegersIsAZeroSignedByParity) {
  using T = TypeParam;
  const std::vector<T> xs = {T(0), T(-0.0), T(1), T(-1), T(2), T(-2), T(3), T(4194305), T(1e30)};
  for (int slot = 0; slot < 3; ++slot) {
    const auto run = Call<T>(Set<T>::k[kTanpi][slot], xs);
    for (size_t i = 0; i < xs.size(); ++i) {
      const double n = std::fabs(static_cast<double>(xs[i]));
      const bool odd = std::fmod(n, 2.0) == 1.0;
      EXPECT_EQ(run.r[i], T(0)) << xs[i];
      EXPECT_EQ(std::signbit(run.r[i]), std::signbit(xs[i]) != odd) << xs[i] << " slot " << slot;
    }
  }
}

TYPED_TEST(TrigpiEdges, CospiIsPositiveZeroAtHalfIntegers) {
  using T = TypeParam;
  const T big = sizeof(T) == 4 ? T(4194304.5) : T(1125899906842624.5);  // beyond the packed path
  std::vector<T> xs = {T(0.5), T(1.5), T(2.5), T(1000.5), big};
  const size_t half = xs.size();
  for (size_t i = 0; i < half; ++i) xs.push_back(-xs[i]);
  for (int slot = 0; slot < 3; ++slot) {
    const auto run = Call<T>(Set<T>::k[kCospi][slot], xs);
    for (size_t i = 0; i < xs.size(); ++i)
      EXPECT_EQ(Bits(run.r[i]), Bits(T(0))) << xs[i] << " slot " << slot;
  }
}

TYPED_TEST(TrigpiEdges, DegreesAreExactAtMultiplesOf180And90) {
  using T = TypeParam;
  const T top = sizeof(T) == 4 ? T(16777216) : T(4503599627370496.0);  // 2^24, 2^52
  std::vector<T> k180 = {T(0), T(180), T(360), T(540), T(180) * T(93207), T(180) * T(93208)};
  k180.push_back(T(180) * std::floor(top / T(180)));
  k180.push_back(T(180) * std::floor(top / T(45)));  // beyond the packed path
  k180.push_back(std::ldexp(T(45), std::numeric_limits<T>::max_exponent - 7));
  for (int slot = 0; slot < 3; ++slot) {
    for (T x : k180) {
      for (T s : {x, -x}) {
        T r;
        Set<T>::k[kSind][slot](1, &s, &r);
        EXPECT_EQ(Bits(r), Bits(s * T(0))) << "Sind " << s << " slot " << slot;
        const T c = std::fmod(std::fabs(s) / T(180), T(2)) == T(0) ? T(1) : T(-1);
        Set<T>::k[kCosd][slot](1, &s, &r);
        if (slot == 1) {
          EXPECT_EQ(r, c) << "Cosd " << s;
        }
        const T s90 = s + (s < 0 ? T(-90) : T(90));
        if (std::fabs(s90 - s) != T(90)) continue;  // s + 90 not representable
        Set<T>::k[kCosd][slot](1, &s90, &r);
        EXPECT_EQ(Bits(r), Bits(T(0))) << "Cosd " << s90 << " slot " << slot;
      }
    }
  }
}

// Poles: tanpi(n + 1/2) and tand(90 + 180 n) are +inf for even n and -inf
// for odd n (negated with the argument), reported with status 2.
TYPED_TEST(TrigpiEdges, TangentPolesAreSignedInfinitiesWithStatus2) {
  using T = TypeParam;
  const T inf = std::numeric_limits<T>::infinity();
  const T huge_deg =
      sizeof(T) == 4 ? T(16777350) : T(180) * std::floor(T(9007199254740992.0) / T(180)) + T(270);
  struct Case {
    Name f;
    T x, want;
  };
  const std::vector<Case> cases = {
      {kTanpi, T(0.5), inf},
      {kTanpi, T(1.5), -inf},
      {kTanpi, T(-0.5), -inf},
      {kTanpi, T(-1.5), inf},
      {kTanpi, T(2.5), inf},
      {kTanpi, T(4194304.5), inf},
      {kTanpi, T(4194305.5), -inf},
      {kTand, T(90), inf},
      {kTand, T(270), -inf},
      {kTand, T(-90), -inf},
      {kTand, T(450), inf},
      {kTand, T(90) + T(180) * T(1000), inf},
      {kTand, huge_deg, std::fmod((huge_deg - 90) / 180, T(2)) == 0 ? inf : -inf},
  };
  for (int slot = 0; slot < 3; ++slot) {
    for (const Case& c : cases) {
      // Element 3 of an array of 5, the others ordinary.
      std::vector<T> xs = {T(0.1), T(0.2), T(0.3), c.x, T(0.4)};
      const auto run = Call<T>(Set<T>::k[c.f][slot], xs);
      EXPECT_EQ(run.r[3], c.want) << c.x << " slot " << slot;
      ASSERT_EQ(run.seen.size(), 1u) << c.x << " slot " << slot;
      EXPECT_EQ(run.seen[0].index, 3);
      EXPECT_EQ(run.seen[0].status, VTM_STATUS_SINGULARITY);
    }
    // Next to a pole the result is large and finite, with no report.
    const T near = std::nextafter(T(0.5), T(0));
    const auto run = Call<T>(Set<T>::k[kTanpi][slot], {near});
    EXPECT_TRUE(std::isfinite(run.r[0]) && run.r[0] > T(1e6));
    EXPECT_TRUE(run.seen.empty());
  }
}

TYPED_TEST(TrigpiEdges, InfinityIsDomainErrorAndNanPassesQuietly) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  const std::vector<T> xs = {T(1), L::infinity(), L::quiet_NaN(), -L::infinity(),
                             nex::test::SignalingNan<T>()};
  for (int f = 0; f < 6; ++f) {
    for (int slot = 0; slot < 3; ++slot) {
      const auto run = Call<T>(Set<T>::k[f][slot], xs);
      for (size_t i = 1; i < xs.size(); ++i) EXPECT_TRUE(std::isnan(run.r[i])) << f << " " << i;
      ASSERT_EQ(run.seen.size(), 2u) << f << " slot " << slot;
      EXPECT_EQ(run.seen[0].index, 1);
      EXPECT_EQ(run.seen[1].index, 3);
      EXPECT_EQ(run.seen[0].status, VTM_STATUS_DOMAIN);
      EXPECT_EQ(run.seen[1].status, VTM_STATUS_DOMAIN);
    }
  }
}

// The three slots evaluate different polynomials: on a sample of arguments
// their results differ somewhere, and the HA slot is the closest.
TYPED_TEST(TrigpiEdges, SlotsDiffer) {
  using T = TypeParam;
  std::vector<T> xs;
  for (int i = 1; i < 200; ++i) xs.push_back(T(i) / T(401));
  for (int f = 0; f < 6; ++f) {
    const auto la = Call<T>(Set<T>::k[f][0], xs), ha = Call<T>(Set<T>::k[f][1], xs),
               ep = Call<T>(Set<T>::k[f][2], xs);
    EXPECT_NE(la.r, ha.r) << f;
    EXPECT_NE(ep.r, ha.r) << f;
    EXPECT_NE(la.r, ep.r) << f;
  }
}

// Every head and tail length and alignment, in place and out of place, with
// exceptional lanes among ordinary ones: each element equals the kernel's
// result for it alone, the statuses come in index order, and nothing
// outside the array is written.
TYPED_TEST(TrigpiEdges, BlocksHeadsAndTailsAgreeWithSingleElements) {
  using T = TypeParam;
  const auto values = nex::test::TestValues<T>(64, 21);
  for (int f = 0; f < 6; ++f) {
    for (int slot = 0; slot < 3; ++slot) {
      const Kernel<T> k = Set<T>::k[f][slot];
      std::vector<T> single(values.size());
      for (size_t i = 0; i < values.size(); ++i) k(1, &values[i], &single[i]);
      for (int offset = 0; offset < 4; ++offset) {
        for (int n : {0, 1, 3, 5, 8, 11, 17, 31}) {
          std::vector<T> in(n + 8), out(n + 8, T(-3));
          for (int i = 0; i < n; ++i) in[offset + i] = values[(i * 7 + offset) % values.size()];
          k(n, in.data() + offset, out.data() + offset);
          for (int i = 0; i < n + 8; ++i) {
            if (i < offset || i >= offset + n) {
              EXPECT_EQ(out[i], T(-3));
              continue;
            }
            const T want = single[((i - offset) * 7 + offset) % values.size()];
            EXPECT_TRUE(nex::test::SameResult(out[i], want) || (want != want && out[i] != out[i]))
                << f << " slot " << slot << " n " << n << " at " << i;
          }
          std::vector<T> inplace = in;
          k(n, inplace.data() + offset, inplace.data() + offset);
          for (int i = 0; i < n; ++i)
            EXPECT_EQ(Bits(inplace[offset + i]), Bits(out[offset + i])) << f << " in place " << i;
        }
      }
    }
  }
}

// A pole raises divide-by-zero inside the kernel; with that exception
// unmasked by the caller nothing traps, and the flag reaches the caller.
TEST(TrigpiFrame, UnmaskedCallerExceptionsDoNotTrapAndFlagsSurvive) {
  nex::test::FpStateGuard guard;
  const uint32_t old_mode = _vtmSetMode(VTM_ERRMODE_IGNORE);
  nex::test::WriteMxcsr(0x1F80 & ~0x0200u);  // divide-by-zero unmasked
  const double x[3] = {0.5, 0.25, 1e300};
  double r[3];
  _vtmdTanpi(3, x, r);
  const uint32_t after = nex::test::ReadMxcsr();
  nex::test::WriteMxcsr(0x1F80);
  _vtmSetMode(old_mode);
  EXPECT_EQ(r[0], std::numeric_limits<double>::infinity());
  EXPECT_EQ(after & 0x1F80u, 0x1F80u & ~0x0200u);  // the caller's masks are back
  EXPECT_NE(after & 0x0004u, 0u);                  // and the zero-divide flag is set
}

// A callback may replace the result at a pole.
TEST(TrigpiFrame, CallbackReplacesThePoleResult) {
  const uint32_t old_mode = _vtmSetMode(VTM_ERRMODE_CALLBACK);
  const VtmErrorCallBack old = _vtmSetErrorCallBack([](VtmErrorRecord* rec) -> int32_t {
    rec->r1 = 42.0;
    return 0;
  });
  const float x[2] = {90.0f, 45.0f};
  float r[2];
  _vtmsTand_HA(2, x, r);
  _vtmSetErrorCallBack(old);
  _vtmSetMode(old_mode);
  EXPECT_EQ(r[0], 42.0f);
  EXPECT_EQ(r[1], 1.0f);
}

}  // namespace
