// Sinpi, Cospi, Tanpi, Sind, Cosd, Tand in both precisions and all three
// slots against MPFR at 192 bits, on a fixed sample: special values, the
// whole finite range, moderate arguments, the lattice of multiples of a
// quarter period and its neighbours (where exact zeros, ones and poles
// live), the limits of the packed reduction, and huge arguments. The
// degree references reduce modulo 360 exactly before dividing by 180, so
// that they hold for huge arguments too. Statuses are checked on every
// element through the error callback.
//
// NEX_ACCURACY_EXHAUSTIVE=1 adds every single-precision argument (long).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "nex_vtm.h"
#include "support/accuracy.hpp"
#include "support/status_probe.hpp"

namespace {

namespace acc = nex::accuracy;

// f(pi x / 180): x mod 360 is exact, the quotient by 180 is within 2^-190
// and exact at the multiples of 90 where the exact results lie.
template <int (*F)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t)>
int InDegrees(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  acc::Big t;
  mpfr_fmod_ui(t.get(), x, 360, MPFR_RNDN);
  mpfr_div_ui(t.get(), t.get(), 180, MPFR_RNDN);
  return F(y, t.get(), rnd);
}

// Status 1 for an infinity, 2 where a finite argument has an infinite
// result (the poles of the tangents), none otherwise.
template <class T>
int ExpectedStatus(T a, mpfr_srcptr exact) {
  if (std::isinf(a)) return VTM_STATUS_DOMAIN;
  if (std::isfinite(a) && mpfr_inf_p(exact)) return VTM_STATUS_SINGULARITY;
  return VTM_STATUS_OK;
}

template <class T>
using Kernel = void (*)(int, const T*, T*);

enum SlotIndex { kLa, kHa, kEp };
const char* const kSlotNames[3] = {"LA", "HA", "EP"};

template <class T>
struct Function {
  const char* name;
  Kernel<T> slot[3];
  acc::MpfrUnary reference;
  bool degrees;
};

#define NEX_ROW(t, la, ep, name, ref, deg) \
  { "v" #t #name, {_vtm##t##name##la, _vtm##t##name##_HA, _vtm##t##name##ep}, ref, deg }
#define NEX_ROWS(t, la, ep)                                                                   \
  NEX_ROW(t, la, ep, Sinpi, mpfr_sinpi, false), NEX_ROW(t, la, ep, Cospi, mpfr_cospi, false), \
      NEX_ROW(t, la, ep, Tanpi, mpfr_tanpi, false),                                           \
      NEX_ROW(t, la, ep, Sind, InDegrees<mpfr_sinpi>, true),                                  \
      NEX_ROW(t, la, ep, Cosd, InDegrees<mpfr_cospi>, true),                                  \
      NEX_ROW(t, la, ep, Tand, InDegrees<mpfr_tanpi>, true)

const Function<float> kSingle[] = {NEX_ROWS(s, _21, _11)};
const Function<double> kDouble[] = {NEX_ROWS(d, _50, _26)};

// The bound of each slot, in ulp: HA at most 1 (held here to what it
// reaches), LA 4, EP 11 correct bits in single and 26 in double.
template <class T>
double Bound(int slot) {
  constexpr bool single = sizeof(T) == 4;
  switch (slot) {
    case kHa:
      return single ? 0.51 : 0.55;
    case kLa:
      return 4.0;
    default:
      return single ? 4096.0 : 67108864.0;  // 2^(p-1-bits)
  }
}

size_t SampleScale() {
  const char* e = std::getenv("NEX_TRIGPI_SAMPLE");
  return e != nullptr ? static_cast<size_t>(std::atoi(e)) : 1;
}

// The lattice of multiples of `step` up to `count` steps, both signs, with
// neighbours a few ulps away.
template <class T>
std::vector<T> Lattice(T step, int count) {
  std::vector<T> v;
  for (int j = 0; j <= count; ++j) {
    T x = step * T(j);
    for (int s = 0; s < 2; ++s) {
      T up = x, down = x;
      v.push_back(x);
      for (int u = 0; u < 3; ++u) {
        up = std::nextafter(up, std::numeric_limits<T>::infinity());
        down = std::nextafter(down, -std::numeric_limits<T>::infinity());
        v.push_back(up);
        v.push_back(down);
      }
      x = -x;
    }
  }
  return v;
}

// Values a few ulps around each power of two from 2^lo to 2^hi.
template <class T>
std::vector<T> AroundPowers(int lo, int hi) {
  std::vector<T> v;
  for (int e = lo; e <= hi; ++e) {
    T x = std::ldexp(T(1), e);
    for (int u = 0; u < 4; ++u) {
      v.push_back(x);
      v.push_back(-x);
      x = std::nextafter(x, -std::numeric_limits<T>::infinity());
    }
  }
  return v;
}

template <class T>
std::vector<T> Arguments(bool degrees) {
  using L = std::numeric_limits<T>;
  const size_t k = SampleScale();
  const T quarter = degrees ? T(90) : T(0.25);
  const T limit = sizeof(T) == 4 ? T(16777306) : T(4503599627370496.0);  // the scalar routine's
  return acc::Concat<T>({
      acc::SpecialValues<T>(),
      {T(1e22), T(-1e22), T(1e30), T(3e38), L::max(), T(10000), T(10001), limit, -limit,
       std::nextafter(limit, T(0))},
      acc::LogUniform<T>(L::denorm_min(), L::max(), 12000 * k, 11, 0),
      acc::LogUniform<T>(T(1e-3), degrees ? T(1e5) : T(1e3), 20000 * k, 12, 0),
      acc::LogUniform<T>(T(1e20), L::max(), 4000 * k, 13, 0),
      acc::LogUniform<T>(T(1) / 16, T(4), 8000 * k, 14, 0),
      acc::LogUniform<T>(L::denorm_min(), T(1e-30), 2000 * k, 15, 0),
      Lattice<T>(quarter, 400),
      Lattice<T>(degrees ? T(15) : T(1) / 6, 200),
      AroundPowers<T>(-10, sizeof(T) == 4 ? 40 : 70),
  });
}

template <class T>
void CheckFunction(const Function<T>& f) {
  const auto args = Arguments<T>(f.degrees);
  for (int slot = 0; slot < 3; ++slot) {
    const auto rep = acc::MeasureUnary<T>(f.slot[slot], f.reference, args, acc::CallbackProbe(),
                                          ExpectedStatus<T>);
    const std::string label = std::string(f.name) + " " + kSlotNames[slot];
    std::printf("[ accuracy ] %s\n", rep.Describe(label).c_str());
    EXPECT_LE(rep.max_ulp, Bound<T>(slot)) << rep.Describe(label);
    EXPECT_EQ(rep.special_mismatches, 0u) << rep.Describe(label);
    EXPECT_EQ(rep.status_mismatches, 0u) << rep.Describe(label);
  }
}

class SingleAccuracy : public ::testing::TestWithParam<int> {};
class DoubleAccuracy : public ::testing::TestWithParam<int> {};

TEST_P(SingleAccuracy, AllSlotsWithinTheirBounds) {
  CheckFunction(kSingle[GetParam()]);
}
TEST_P(DoubleAccuracy, AllSlotsWithinTheirBounds) {
  CheckFunction(kDouble[GetParam()]);
}

std::string RowName(const ::testing::TestParamInfo<int>& info) {
  return std::string(kSingle[info.param].name + 2);
}
INSTANTIATE_TEST_SUITE_P(Trigpi, SingleAccuracy, ::testing::Range(0, 6), RowName);
INSTANTIATE_TEST_SUITE_P(Trigpi, DoubleAccuracy, ::testing::Range(0, 6), RowName);

// Every single-precision argument, on request only.
TEST(SingleAccuracyExhaustive, EveryFloat) {
  if (!acc::ExhaustiveRequested()) GTEST_SKIP() << "set NEX_ACCURACY_EXHAUSTIVE=1";
  for (const auto& f : kSingle) {
    for (int slot = 0; slot < 3; ++slot) {
      double worst = 0;
      float at = 0;
      acc::ForEveryFloat(1 << 16, [&](const std::vector<float>& v) {
        const auto rep = acc::MeasureUnary<float>(f.slot[slot], f.reference, v);
        EXPECT_EQ(rep.special_mismatches, 0u) << rep.Describe(f.name);
        if (rep.max_ulp > worst) {
          worst = rep.max_ulp;
          at = rep.worst_a;
        }
      });
      std::printf("[ exhaustive ] %s %s: max %.4f ulp at %.9g\n", f.name, kSlotNames[slot], worst,
                  at);
      EXPECT_LE(worst, Bound<float>(slot)) << f.name << " " << kSlotNames[slot];
    }
  }
}

}  // namespace
