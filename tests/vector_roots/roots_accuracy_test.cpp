// Accuracy of the root kernels against MPFR, with the status of every
// element checked by the callback probe. Arguments: the special values of
// each format and a fixed-seed sample log-uniform over the whole range of
// both signs, denormals included. Sqrt must be correctly rounded; the others
// are held to 0.51 ulp (single) and 0.55 ulp (double).
//
// NEX_ACCURACY_EXHAUSTIVE=1 adds the full-domain run (minutes, not for CI).
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "nex_vtm.h"
#include "support/accuracy.hpp"
#include "support/status_probe.hpp"

namespace {

namespace acc = nex::accuracy;

template <class T>
using Kernel1 = void (*)(int, const T*, T*);
template <class T>
using Kernel2 = void (*)(int, const T*, const T*, T*);

// ---- References ------------------------------------------------------------------

// |x|^(2/3) = cbrt(x^2); x^2 is exact at the reference precision.
int RefPow2o3(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  acc::Big sq;
  mpfr_sqr(sq.get(), x, MPFR_RNDN);
  return mpfr_cbrt(y, sq.get(), rnd);
}
// x^(3/2) with the exponent 1.5 exact, special values as pow.
int RefPow3o2(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  acc::Big e;
  mpfr_set_d(e.get(), 1.5, MPFR_RNDN);
  return mpfr_pow(y, x, e.get(), rnd);
}
int RefInvCbrt(mpfr_ptr y, mpfr_srcptr x, mpfr_rnd_t rnd) {
  return mpfr_rootn_si(y, x, -3, rnd);
}

// ---- Expected statuses -------------------------------------------------------------

template <class T>
int SqrtStatus(T a, mpfr_srcptr) {
  return a < 0 ? VTM_STATUS_DOMAIN : 0;
}
template <class T>
int InvSqrtStatus(T a, mpfr_srcptr) {
  if (a == 0) return VTM_STATUS_SINGULARITY;
  return a < 0 ? VTM_STATUS_DOMAIN : 0;
}
template <class T>
int NoStatus(T, mpfr_srcptr) {
  return 0;
}
template <class T>
int InvCbrtStatus(T a, mpfr_srcptr) {
  return a == 0 ? VTM_STATUS_SINGULARITY : 0;
}
template <class T>
int Pow3o2Status(T a, mpfr_srcptr exact) {
  if (!std::isfinite(a)) return 0;
  if (a < 0) return VTM_STATUS_DOMAIN;
  return std::isinf(acc::CorrectlyRounded<T>(exact)) ? VTM_STATUS_OVERFLOW : 0;
}
int SingleHypotStatus(float a, float b, mpfr_srcptr exact) {
  if (!std::isfinite(a) || !std::isfinite(b)) return 0;
  return std::isinf(acc::CorrectlyRounded<float>(exact)) ? VTM_STATUS_OVERFLOW : 0;
}
int DoubleHypotStatus(double, double, mpfr_srcptr) {
  return 0;
}

// ---- Kernels by type ------------------------------------------------------------------

template <class T>
struct K;
template <>
struct K<float> {
  static constexpr Kernel1<float> Sqrt = _vtmsSqrt, InvSqrt = _vtmsInvSqrt, Cbrt = _vtmsCbrt,
                                  InvCbrt = _vtmsInvCbrt, Pow2o3 = _vtmsPow2o3,
                                  Pow3o2 = _vtmsPow3o2;
  static constexpr Kernel2<float> Hypot = _vtmsHypot;
  static constexpr acc::ExpectedStatus2<float> HypotStatus = SingleHypotStatus;
  static constexpr double kBound = 0.51;
  static constexpr size_t kSample = 200000;
};
template <>
struct K<double> {
  static constexpr Kernel1<double> Sqrt = _vtmdSqrt, InvSqrt = _vtmdInvSqrt, Cbrt = _vtmdCbrt,
                                   InvCbrt = _vtmdInvCbrt, Pow2o3 = _vtmdPow2o3,
                                   Pow3o2 = _vtmdPow3o2;
  static constexpr Kernel2<double> Hypot = _vtmdHypot;
  static constexpr acc::ExpectedStatus2<double> HypotStatus = DoubleHypotStatus;
  static constexpr double kBound = 0.55;
  static constexpr size_t kSample = 150000;
};

template <class T>
std::vector<T> WholeRange(uint32_t seed) {
  using L = std::numeric_limits<T>;
  return acc::Concat<T>({acc::SpecialValues<T>(),
                         acc::LogUniform<T>(L::denorm_min(), L::max(), K<T>::kSample, seed, 0)});
}

template <class T>
void ExpectWithin(const acc::Report<T>& rep, double bound, const char* name) {
  EXPECT_LE(rep.max_ulp, bound) << rep.Describe(name);
  EXPECT_EQ(rep.special_mismatches, 0u) << rep.Describe(name);
  EXPECT_EQ(rep.status_mismatches, 0u) << rep.Describe(name);
  std::printf("    %s\n", rep.Describe(name).c_str());
}

template <class T>
class RootsAccuracy : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(RootsAccuracy, Types);

TYPED_TEST(RootsAccuracy, SqrtIsCorrectlyRounded) {
  using T = TypeParam;
  const auto rep = acc::MeasureUnary<T>(K<T>::Sqrt, mpfr_sqrt, WholeRange<T>(11),
                                        acc::CallbackProbe(), SqrtStatus<T>);
  ExpectWithin(rep, 0.5, "Sqrt");
  EXPECT_EQ(rep.not_correctly_rounded, 0u) << rep.Describe("Sqrt");
}

// Arguments next to the squares of midpoints between neighbouring results:
// there the rounding of the root is decided by less than 2^-60 of relative
// distance, which catches a wrong final rounding.
TYPED_TEST(RootsAccuracy, SqrtRoundsHardCasesCorrectly) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  std::vector<T> args;
  const auto roots = acc::LogUniform<T>(T(1e-15), T(1e15), 20000, 12);
  for (T r : roots) {
    const long double mid = (static_cast<long double>(r) + std::nextafter(r, L::infinity())) / 2;
    const T sq = static_cast<T>(mid * mid);
    args.push_back(std::nextafter(sq, T(0)));
    args.push_back(sq);
    args.push_back(std::nextafter(sq, L::infinity()));
    args.push_back(r * r);  // a square, sometimes exact
  }
  // Just below powers of two, where the root rounds up to a power of two and
  // the lower midpoint is only a quarter ulp away.
  for (int e = L::min_exponent - 1; e < L::max_exponent; ++e) {
    T x = std::ldexp(T(1), e);
    for (int k = 0; k < 4; ++k) args.push_back(x = std::nextafter(x, T(0)));
  }
  const auto rep = acc::MeasureUnary<T>(K<T>::Sqrt, mpfr_sqrt, args);
  ExpectWithin(rep, 0.5, "Sqrt hard cases");
  EXPECT_EQ(rep.not_correctly_rounded, 0u) << rep.Describe("Sqrt hard cases");
}

TYPED_TEST(RootsAccuracy, InvSqrt) {
  using T = TypeParam;
  ExpectWithin(acc::MeasureUnary<T>(K<T>::InvSqrt, mpfr_rec_sqrt, WholeRange<T>(21),
                                    acc::CallbackProbe(), InvSqrtStatus<T>),
               K<T>::kBound, "InvSqrt");
}

TYPED_TEST(RootsAccuracy, Cbrt) {
  using T = TypeParam;
  ExpectWithin(acc::MeasureUnary<T>(K<T>::Cbrt, mpfr_cbrt, WholeRange<T>(31), acc::CallbackProbe(),
                                    NoStatus<T>),
               K<T>::kBound, "Cbrt");
}

TYPED_TEST(RootsAccuracy, InvCbrt) {
  using T = TypeParam;
  ExpectWithin(acc::MeasureUnary<T>(K<T>::InvCbrt, RefInvCbrt, WholeRange<T>(41),
                                    acc::CallbackProbe(), InvCbrtStatus<T>),
               K<T>::kBound, "InvCbrt");
}

TYPED_TEST(RootsAccuracy, Pow2o3) {
  using T = TypeParam;
  ExpectWithin(acc::MeasureUnary<T>(K<T>::Pow2o3, RefPow2o3, WholeRange<T>(51),
                                    acc::CallbackProbe(), NoStatus<T>),
               K<T>::kBound, "Pow2o3");
}

TYPED_TEST(RootsAccuracy, Pow3o2) {
  using T = TypeParam;
  ExpectWithin(acc::MeasureUnary<T>(K<T>::Pow3o2, RefPow3o2, WholeRange<T>(61),
                                    acc::CallbackProbe(), Pow3o2Status<T>),
               K<T>::kBound, "Pow3o2");
}

// Hypot over independent log-uniform pairs (results from the least
// denormal to overflow), over pairs of close magnitude (where a^2 + b^2 is
// not dominated by one term), and over the special values crossed.
TYPED_TEST(RootsAccuracy, Hypot) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  auto a = acc::LogUniform<T>(L::denorm_min(), L::max(), K<T>::kSample, 71, 0);
  auto b = acc::LogUniform<T>(L::denorm_min(), L::max(), K<T>::kSample, 72, 0);
  const auto near_a = acc::LogUniform<T>(L::min(), L::max(), K<T>::kSample / 2, 73, 0);
  const auto ratio = acc::Uniform<T>(T(0.25), T(4), K<T>::kSample / 2, 74);
  for (size_t i = 0; i < near_a.size(); ++i) {
    a.push_back(near_a[i]);
    b.push_back(static_cast<T>(near_a[i] * ratio[i]));
  }
  const auto special = acc::SpecialValues<T>();
  for (T x : special)
    for (T y : special) {
      a.push_back(x);
      b.push_back(y);
    }
  ExpectWithin(
      acc::MeasureBinary<T>(K<T>::Hypot, mpfr_hypot, a, b, acc::CallbackProbe(), K<T>::HypotStatus),
      K<T>::kBound, "Hypot");
}

// The full-domain figures, on request (NEX_ACCURACY_EXHAUSTIVE=1; minutes).
// Each kernel computes a function of the mantissa times an exact power of
// two, so every float of a span of exponents that covers each residue of
// the exponent (mod 2 for square roots, mod 3 for cube roots) meets every
// distinct rounding; the denormals, the overflow and underflow edges and a
// sample of 2^22 over the whole range are added. Doubles: 2^22 random
// arguments over the whole range.
// Every float in [lo, hi), or every k-th one with NEX_ACCURACY_STRIDE=k.
std::vector<float> EveryFloatBetween(float lo, float hi) {
  const char* e = std::getenv("NEX_ACCURACY_STRIDE");
  const uint32_t stride =
      e != nullptr && std::atoi(e) > 0 ? static_cast<uint32_t>(std::atoi(e)) : 1;
  std::vector<float> v;
  for (uint32_t b = std::bit_cast<uint32_t>(lo); b < std::bit_cast<uint32_t>(hi); b += stride)
    v.push_back(std::bit_cast<float>(b));
  return v;
}

template <class T, class K1>
void FullDomainRun(const char* name, K1 kernel, acc::MpfrUnary ref, T lo, T hi, double bound,
                   acc::ExpectedStatus1<T> status) {
  using L = std::numeric_limits<T>;
  std::vector<T> args;
  if constexpr (sizeof(T) == 4) {
    args = EveryFloatBetween(lo, hi);
    const auto denormals = EveryFloatBetween(L::denorm_min(), L::min());
    args.insert(args.end(), denormals.begin(), denormals.end());
  }
  const auto sample = acc::LogUniform<T>(L::denorm_min(), L::max(), size_t{1} << 22, 99, 0);
  args.insert(args.end(), sample.begin(), sample.end());
  const auto rep = acc::MeasureUnary<T>(kernel, ref, args, acc::CallbackProbe(), status);
  ExpectWithin(rep, bound, name);
}

TEST(RootsFullDomain, Single) {
  if (!acc::ExhaustiveRequested()) GTEST_SKIP() << "set NEX_ACCURACY_EXHAUSTIVE=1";
  FullDomainRun<float>("sSqrt", _vtmsSqrt, mpfr_sqrt, 1.0f, 4.0f, 0.5, SqrtStatus<float>);
  FullDomainRun<float>("sInvSqrt", _vtmsInvSqrt, mpfr_rec_sqrt, 1.0f, 4.0f, 0.51,
                       InvSqrtStatus<float>);
  FullDomainRun<float>("sCbrt", _vtmsCbrt, mpfr_cbrt, 1.0f, 8.0f, 0.51, NoStatus<float>);
  FullDomainRun<float>("sInvCbrt", _vtmsInvCbrt, RefInvCbrt, 1.0f, 8.0f, 0.51,
                       InvCbrtStatus<float>);
  FullDomainRun<float>("sPow2o3", _vtmsPow2o3, RefPow2o3, 1.0f, 8.0f, 0.51, NoStatus<float>);
  FullDomainRun<float>("sPow3o2", _vtmsPow3o2, RefPow3o2, 1.0f, 4.0f, 0.51, Pow3o2Status<float>);
}

TEST(RootsFullDomain, Double) {
  if (!acc::ExhaustiveRequested()) GTEST_SKIP() << "set NEX_ACCURACY_EXHAUSTIVE=1";
  FullDomainRun<double>("dSqrt", _vtmdSqrt, mpfr_sqrt, 0.0, 0.0, 0.5, SqrtStatus<double>);
  FullDomainRun<double>("dInvSqrt", _vtmdInvSqrt, mpfr_rec_sqrt, 0.0, 0.0, 0.55,
                        InvSqrtStatus<double>);
  FullDomainRun<double>("dCbrt", _vtmdCbrt, mpfr_cbrt, 0.0, 0.0, 0.55, NoStatus<double>);
  FullDomainRun<double>("dInvCbrt", _vtmdInvCbrt, RefInvCbrt, 0.0, 0.0, 0.55,
                        InvCbrtStatus<double>);
  FullDomainRun<double>("dPow2o3", _vtmdPow2o3, RefPow2o3, 0.0, 0.0, 0.55, NoStatus<double>);
  FullDomainRun<double>("dPow3o2", _vtmdPow3o2, RefPow3o2, 0.0, 0.0, 0.55, Pow3o2Status<double>);
}

}  // namespace
