// Sin, Cos, Tan and SinCos against MPFR at 192 bits: random arguments over the
// whole finite range, arguments next to multiples of pi/2 (where the
// reduction loses the most), the borders of the packed paths, and huge
// arguments up to the largest finite value. Also the statuses, signs of zero,
// the walk over arrays, and the exact reduction on its own. Seeds are fixed.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "nex_vtm.h"
#include "support/accuracy.hpp"
#include "support/status_probe.hpp"
#include "vector_real/trig_reduce.hpp"

namespace {

namespace acc = nex::accuracy;

template <class T>
using Kernel1 = void (*)(int, const T*, T*);
template <class T>
using Kernel2Out = void (*)(int, const T*, T*, T*);

template <class T>
struct Trig;
template <>
struct Trig<float> {
  static constexpr Kernel1<float> kSin = _vtmsSin, kCos = _vtmsCos, kTan = _vtmsTan;
  static constexpr Kernel2Out<float> kSinCos = _vtmsSinCos;
  static constexpr float kModerate = 10000.0f;  // border of the packed path
  // Accepted maxima (ulp), a little above the measured ones. The degree-9
  // sine polynomial of the packed path is itself off by up to 0.116 ulp near
  // pi/2.
  static constexpr double kSinBound = 0.62, kCosBound = 0.62, kTanBound = 0.51;
};
template <>
struct Trig<double> {
  static constexpr Kernel1<double> kSin = _vtmdSin, kCos = _vtmdCos, kTan = _vtmdTan;
  static constexpr Kernel2Out<double> kSinCos = _vtmdSinCos;
  static constexpr double kModerate = 524288.0;  // 2^19
  static constexpr double kSinBound = 0.53, kCosBound = 0.53, kTanBound = 0.53;
};

// SinCos seen as two one-result kernels.
template <class T>
void SinOfSinCos(int n, const T* a, T* r) {
  std::vector<T> c(n > 0 ? n : 1);
  Trig<T>::kSinCos(n, a, r, c.data());
}
template <class T>
void CosOfSinCos(int n, const T* a, T* r) {
  std::vector<T> s(n > 0 ? n : 1);
  Trig<T>::kSinCos(n, a, s.data(), r);
}

// The representable values on both sides of k pi/2 for the given k, found
// with MPFR: the arguments whose reduced value is smallest.
template <class T>
void AddNearHalfPiMultiple(std::vector<T>& v, double k) {
  acc::Big x;
  mpfr_const_pi(x.get(), MPFR_RNDN);
  mpfr_mul_d(x.get(), x.get(), k / 2, MPFR_RNDN);
  T near;
  if constexpr (sizeof(T) == 4) {
    near = mpfr_get_flt(x.get(), MPFR_RNDN);
  } else {
    near = mpfr_get_d(x.get(), MPFR_RNDN);
  }
  if (!std::isfinite(near)) return;
  const T inf = std::numeric_limits<T>::infinity();
  for (T y : {near, std::nextafter(near, inf), std::nextafter(near, -inf)}) {
    v.push_back(y);
    v.push_back(-y);
  }
}

// NEX_TRIG_SAMPLE_SCALE=k multiplies the random samples by k (long runs for
// the documented figures; CI uses 1).
size_t Scale() {
  const char* s = std::getenv("NEX_TRIG_SAMPLE_SCALE");
  const long k = s != nullptr ? std::atol(s) : 1;
  return k > 1 ? static_cast<size_t>(k) : 1;
}

template <class T>
std::vector<T> Arguments() {
  using L = std::numeric_limits<T>;
  const T m = Trig<T>::kModerate;
  const size_t k = Scale();
  std::vector<T> v = acc::Concat<T>({
      acc::SpecialValues<T>(),
      acc::LogUniform<T>(L::denorm_min(), L::max(), 40000 * k, 11, 0),  // the whole range
      acc::LogUniform<T>(T(1e-3), m, 40000 * k, 12, 0),                 // the packed path
      acc::LogUniform<T>(m, L::max(), 15000 * k, 13, 0),                // huge arguments
      acc::Uniform<T>(-T(7), T(7), 10000 * k, 14),
  });
  for (T y : {T(1e22), T(1e30), T(3e38), L::max(), m, std::nextafter(m, L::max()),
              std::nextafter(m, T(0)), T(10001), T(0.5), T(1), T(2), T(3), T(1e6), T(1e15)}) {
    if (!std::isfinite(y)) continue;
    v.push_back(y);
    v.push_back(-y);
  }
  if constexpr (sizeof(T) == 8) {
    for (double y : {1.7e308, 0x1.6ac5b262ca1ffp+849 /* near a multiple of pi/2 */,
                     6381956970095103.0 * 0x1p797 /* the double closest to one */})
      v.push_back(y);
  }
  // Every multiple of pi/2 below the packed border and a spread above it.
  const double kmax = 2 * static_cast<double>(m) / M_PI;
  for (double k = 1; k <= kmax + 1; k += (sizeof(T) == 4 ? 1 : 37)) AddNearHalfPiMultiple(v, k);
  for (double k = 2; k < 1e300; k *= 1.37) AddNearHalfPiMultiple(v, std::floor(k));
  return v;
}

template <class T>
int StatusOf(T a, mpfr_srcptr) {
  return std::isinf(a) ? VTM_STATUS_DOMAIN : 0;
}

template <class T>
class TrigAccuracy : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(TrigAccuracy, Types);

TYPED_TEST(TrigAccuracy, SinCosTanWithinTheirBoundsOverTheWholeRange) {
  using T = TypeParam;
  using K = Trig<T>;
  const auto args = Arguments<T>();
  struct Case {
    const char* name;
    Kernel1<T> kernel;
    acc::MpfrUnary reference;
    double bound;
  } cases[] = {
      {"Sin", K::kSin, mpfr_sin, K::kSinBound},
      {"Cos", K::kCos, mpfr_cos, K::kCosBound},
      {"Tan", K::kTan, mpfr_tan, K::kTanBound},
      {"SinCos.sin", SinOfSinCos<T>, mpfr_sin, K::kSinBound},
      {"SinCos.cos", CosOfSinCos<T>, mpfr_cos, K::kCosBound},
  };
  for (const Case& c : cases) {
    const auto rep =
        acc::MeasureUnary<T>(c.kernel, c.reference, args, acc::CallbackProbe(), StatusOf<T>);
    EXPECT_LE(rep.max_ulp, c.bound) << rep.Describe(c.name);
    EXPECT_EQ(rep.special_mismatches, 0u) << rep.Describe(c.name);
    EXPECT_EQ(rep.status_mismatches, 0u) << rep.Describe(c.name);
    std::printf("%s%s: %s\n", sizeof(T) == 4 ? "s" : "d", c.name, rep.Describe(c.name).c_str());
  }
}

// Beyond the packed border every argument goes through the exact reduction
// and the double table code, up to the largest finite value: single results
// come from double ones and are nearly always correctly rounded.
TYPED_TEST(TrigAccuracy, HugeArgumentsAreReducedExactly) {
  using T = TypeParam;
  using K = Trig<T>;
  using L = std::numeric_limits<T>;
  std::vector<T> args = acc::LogUniform<T>(K::kModerate, L::max(), 20000 * Scale(), 41, 0);
  for (double k = 1e6; k < 1e300; k *= 1.37) AddNearHalfPiMultiple(args, std::floor(k));
  for (T y : {T(1e22), T(1e30), T(3e38), L::max()}) {
    if (std::isfinite(y)) args.push_back(y);
  }
  struct Case {
    const char* name;
    Kernel1<T> kernel;
    acc::MpfrUnary reference;
  } cases[] = {{"Sin", K::kSin, mpfr_sin},
               {"Cos", K::kCos, mpfr_cos},
               {"Tan", K::kTan, mpfr_tan},
               {"SinCos.cos", CosOfSinCos<T>, mpfr_cos}};
  for (const Case& c : cases) {
    const auto rep = acc::MeasureUnary<T>(c.kernel, c.reference, args);
    EXPECT_LE(rep.max_ulp, sizeof(T) == 4 ? 0.501 : 0.53) << rep.Describe(c.name);
    std::printf("huge %s%s: %s\n", sizeof(T) == 4 ? "s" : "d", c.name,
                rep.Describe(c.name).c_str());
  }
}

TEST(TrigAccuracyExhaustive, EverySingleArgument) {
  if (!acc::ExhaustiveRequested()) GTEST_SKIP() << "set NEX_ACCURACY_EXHAUSTIVE=1";
  struct Case {
    const char* name;
    Kernel1<float> kernel;
    acc::MpfrUnary reference;
  } cases[] = {
      {"sSin", _vtmsSin, mpfr_sin}, {"sCos", _vtmsCos, mpfr_cos}, {"sTan", _vtmsTan, mpfr_tan}};
  for (const Case& c : cases) {
    double worst = 0;
    acc::ForEveryFloat(1 << 20, [&](const std::vector<float>& chunk) {
      const auto rep = acc::MeasureUnary<float>(c.kernel, c.reference, chunk);
      if (rep.max_ulp > worst) {
        worst = rep.max_ulp;
        std::printf("%s: %s\n", c.name, rep.Describe(c.name).c_str());
      }
      EXPECT_EQ(rep.special_mismatches, 0u) << rep.Describe(c.name);
    });
    EXPECT_LE(worst, 1.0) << c.name;
  }
}

// ---- Values, statuses and the walk ----------------------------------------------------

template <class T>
class TrigValues : public ::testing::Test {};
TYPED_TEST_SUITE(TrigValues, Types);

template <class T>
bool SameBits(T a, T b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

TYPED_TEST(TrigValues, ZerosKeepTheirSignAndCosineOfZeroIsOne) {
  using T = TypeParam;
  using K = Trig<T>;
  const T in[2] = {T(0), -T(0)};
  T s[2], c[2], t[2], sc_s[2], sc_c[2];
  K::kSin(2, in, s);
  K::kCos(2, in, c);
  K::kTan(2, in, t);
  K::kSinCos(2, in, sc_s, sc_c);
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(SameBits(s[i], in[i])) << i;
    EXPECT_TRUE(SameBits(t[i], in[i])) << i;
    EXPECT_TRUE(SameBits(sc_s[i], in[i])) << i;
    EXPECT_EQ(c[i], T(1));
    EXPECT_EQ(sc_c[i], T(1));
  }
}

TYPED_TEST(TrigValues, InfinityIsADomainErrorAndNaNPassesQuietly) {
  using T = TypeParam;
  using K = Trig<T>;
  using L = std::numeric_limits<T>;
  std::vector<T> in = {T(1), L::infinity(), T(2), L::quiet_NaN(), -L::infinity(), T(3), T(4), T(5),
                       T(6), T(7),          T(8)};
  for (Kernel1<T> k : {K::kSin, K::kCos, K::kTan}) {
    std::vector<T> out(in.size());
    const auto seen =
        acc::ProbeStatuses([&] { k(static_cast<int>(in.size()), in.data(), out.data()); });
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].index, 1);
    EXPECT_EQ(seen[1].index, 4);
    for (const auto& s : seen) EXPECT_EQ(s.status, VTM_STATUS_DOMAIN);
    EXPECT_TRUE(std::isnan(out[1]) && std::isnan(out[3]) && std::isnan(out[4]));
    EXPECT_FALSE(std::isnan(out[0]) || std::isnan(out[2]));
  }
}

// One report per element for SinCos, with both result arrays: the callback
// sees two NaNs and its replacements land in both arrays.
struct SinCosSeen {
  int count = 0;
  int index = -1;
  bool both_nan = false;
};
SinCosSeen g_seen;
int32_t RecordSinCos(VtmErrorRecord* rec) {
  ++g_seen.count;
  g_seen.index = rec->index;
  g_seen.both_nan = std::isnan(rec->r1) && std::isnan(rec->r2);
  rec->r1 = 5.0;
  rec->r2 = 6.0;
  return 0;
}

TYPED_TEST(TrigValues, SinCosReportsOncePerElementWithBothArrays) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  std::vector<T> in(13, T(0.25)), s(13), c(13);
  in[9] = -L::infinity();
  g_seen = {};
  const uint32_t old_mode = _vtmSetMode(VTM_ERRMODE_CALLBACK);
  const VtmErrorCallBack old_cb = _vtmSetErrorCallBack(RecordSinCos);
  _vtmSetInterfInputVectorPointer(nullptr);
  Trig<T>::kSinCos(13, in.data(), s.data(), c.data());
  _vtmSetErrorCallBack(old_cb);
  _vtmSetMode(old_mode);
  EXPECT_EQ(g_seen.count, 1);
  EXPECT_EQ(g_seen.index, 9);
  EXPECT_TRUE(g_seen.both_nan);
  EXPECT_EQ(s[9], T(5));
  EXPECT_EQ(c[9], T(6));
  EXPECT_EQ(s[8], s[10]);
}

// Every element gives the same result whatever its position, alignment,
// block or tail; in place too; and n <= 0 writes nothing.
TYPED_TEST(TrigValues, ResultsDoNotDependOnPositionAndInPlaceWorks) {
  using T = TypeParam;
  using K = Trig<T>;
  auto args =
      acc::Concat<T>({acc::LogUniform<T>(T(1e-5), std::numeric_limits<T>::max(), 300, 21, 0),
                      acc::SpecialValues<T>()});
  for (Kernel1<T> k : {K::kSin, K::kCos, K::kTan, SinOfSinCos<T>, CosOfSinCos<T>}) {
    std::vector<T> alone(args.size());
    for (size_t i = 0; i < args.size(); ++i) k(1, &args[i], &alone[i]);
    for (int offset = 0; offset < 4; ++offset) {
      std::vector<T> in(args.size() + 4), out(args.size() + 4, T(-7));
      std::copy(args.begin(), args.end(), in.begin() + offset);
      const int n = static_cast<int>(args.size()) - offset;
      k(n, in.data() + offset, out.data() + offset);
      for (int i = 0; i < n; ++i)
        EXPECT_TRUE(SameBits(out[offset + i], alone[i]) ||
                    (std::isnan(out[offset + i]) && std::isnan(alone[i])))
            << "offset " << offset << " element " << i << " x=" << args[i];
      k(n, in.data() + offset, in.data() + offset);  // in place
      for (int i = 0; i < n; ++i)
        EXPECT_TRUE(SameBits(in[offset + i], alone[i]) ||
                    (std::isnan(in[offset + i]) && std::isnan(alone[i])));
    }
  }
  T x = T(1), r = T(-7);
  K::kSin(0, &x, &r);
  K::kCos(-5, &x, &r);
  EXPECT_EQ(r, T(-7));
}

TYPED_TEST(TrigValues, CallerUnmaskedExceptionsDoNotTrapAndFlagsSurvive) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  uint32_t saved;
  __asm__ volatile("stmxcsr %0" : "=m"(saved));
  const uint32_t unmasked = (saved & ~0x1F80u & ~0x3Fu);  // invalid etc. unmasked
  __asm__ volatile("ldmxcsr %0" : : "m"(unmasked));
  const T in[3] = {T(1), L::infinity(), T(2)};
  T out[3];
  const uint32_t old_mode = _vtmSetMode(VTM_ERRMODE_IGNORE);
  Trig<T>::kSin(3, in, out);
  _vtmSetMode(old_mode);
  uint32_t after;
  __asm__ volatile("stmxcsr %0" : "=m"(after));
  __asm__ volatile("ldmxcsr %0" : : "m"(saved));
  EXPECT_EQ(after & 0xFFC0u, unmasked & 0xFFC0u);
  EXPECT_NE(after & 0x1u, 0u);  // invalid, from infinity * 0
  EXPECT_TRUE(std::isnan(out[1]));
}

// Huge finite arguments raise neither overflow nor invalid on the way.
TYPED_TEST(TrigValues, HugeFiniteArgumentsRaiseNoOverflowOrInvalid) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  using K = Trig<T>;
  std::vector<T> in = {L::max(), -L::max(), T(1e30), L::max() / T(2), T(3),
                       T(-1e20), T(7e37),   T(0.5),  L::max(),        T(1)};
  std::vector<T> r1(in.size()), r2(in.size());
  for (int f = 0; f < 4; ++f) {
    uint32_t saved, cleared, after;
    __asm__ volatile("stmxcsr %0" : "=m"(saved));
    cleared = saved & ~0x3Fu;
    __asm__ volatile("ldmxcsr %0" : : "m"(cleared));
    const int n = static_cast<int>(in.size());
    if (f == 0) K::kSin(n, in.data(), r1.data());
    if (f == 1) K::kCos(n, in.data(), r1.data());
    if (f == 2) K::kTan(n, in.data(), r1.data());
    if (f == 3) K::kSinCos(n, in.data(), r1.data(), r2.data());
    __asm__ volatile("stmxcsr %0" : "=m"(after));
    __asm__ volatile("ldmxcsr %0" : : "m"(saved));
    EXPECT_EQ(after & 0x9u, 0u) << "function " << f << ": flags " << (after & 0x3F);
  }
}

// ---- The exact reduction -----------------------------------------------------------

// x - n pi/2^b with n from the reduction, in MPFR at 2400 bits (enough to
// hold any double exactly beside pi's bits).
double RemainderByMpfr(double x, int b, uint32_t n, long* n_check) {
  mpfr_t pi, q, r;
  mpfr_inits2(2400, pi, q, r, static_cast<mpfr_ptr>(nullptr));
  mpfr_const_pi(pi, MPFR_RNDN);
  mpfr_set_d(q, x, MPFR_RNDN);
  mpfr_mul_2si(q, q, b, MPFR_RNDN);
  mpfr_div(q, q, pi, MPFR_RNDN);
  mpfr_rint(q, q, MPFR_RNDN);  // nearest step
  mpfr_t period;
  mpfr_init2(period, 2400);
  mpfr_set_ui_2exp(period, 1, b + 1, MPFR_RNDN);
  mpfr_fmod(r, q, period, MPFR_RNDN);
  if (mpfr_sgn(r) < 0) mpfr_add(r, r, period, MPFR_RNDN);
  *n_check = mpfr_get_si(r, MPFR_RNDN);
  mpfr_mul(q, q, pi, MPFR_RNDN);
  mpfr_div_2si(q, q, b, MPFR_RNDN);
  mpfr_set_d(r, x, MPFR_RNDN);
  mpfr_sub(r, r, q, MPFR_RNDN);
  const double out = mpfr_get_d(r, MPFR_RNDN);
  (void)n;
  mpfr_clears(pi, q, r, period, static_cast<mpfr_ptr>(nullptr));
  return out;
}

TEST(TrigReduction, ExactForHugeArgumentsAndAllSteps) {
  std::vector<double> xs =
      acc::LogUniform<double>(1.0, std::numeric_limits<double>::max(), 3000, 31, 0);
  xs.push_back(6381956970095103.0 * 0x1p797);
  xs.push_back(std::numeric_limits<double>::max());
  xs.push_back(1e22);
  for (int b : {1, 7, 8}) {
    for (double x : xs) {
      double hi, lo;
      const uint32_t n = nex::vtm::trig::ReduceByPi(x, b, &hi, &lo);
      long n_check;
      const double want = RemainderByMpfr(x, b, n, &n_check);
      ASSERT_EQ(static_cast<long>(n), n_check) << "x=" << x << " b=" << b;
      // r_hi is r rounded, and r_lo carries the rest to 2^-100 relative.
      EXPECT_EQ(hi, want) << "x=" << x << " b=" << b;
      EXPECT_LE(std::fabs(lo), std::fabs(hi) * 0x1p-52) << "x=" << x;
    }
  }
}

}  // namespace
