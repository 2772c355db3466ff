// Edge cases of the error function kernels: the exact limits at the
// infinities, NaN and signed zeros, the underflow limits of Erfc and CdfNorm
// with the status and the name they report, symmetry properties that hold
// exactly, empty and negative counts, results written over their arguments,
// and a callback replacing a reported result.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "erf_support.hpp"
#include "support/status_probe.hpp"

namespace {

namespace acc = nex::accuracy;
using nex::test::Kernel1;

template <class T>
bool SameBits(T a, T b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// One element through a kernel, with the status it reported (0 for none).
template <class T>
std::pair<T, int> One(Kernel1<T> k, T x) {
  T r = T(-7);
  const auto seen = acc::ProbeStatuses([&] { k(1, &x, &r); });
  return {r, seen.empty() ? 0 : seen.back().status};
}

template <class T>
struct Kernels;
template <>
struct Kernels<float> {
  static constexpr Kernel1<float> erf = nex_vtm_k_sErf, erfc = nex_vtm_k_sErfc,
                                  cdf = nex_vtm_k_sCdfNorm;
  // First arguments with a subnormal and a zero result, and the last ones
  // with a normal and a nonzero result.
  static constexpr float erfc_normal = 9.19f, erfc_sub = 9.2f, erfc_zero = 10.06f;
  static constexpr float cdf_normal = -12.94f, cdf_sub = -12.96f, cdf_zero = -14.18f;
};
template <>
struct Kernels<double> {
  static constexpr Kernel1<double> erf = nex_vtm_k_dErf, erfc = nex_vtm_k_dErfc,
                                   cdf = nex_vtm_k_dCdfNorm;
  static constexpr double erfc_normal = 26.543, erfc_sub = 26.544, erfc_zero = 27.227;
  static constexpr double cdf_normal = -37.519, cdf_sub = -37.52, cdf_zero = -38.49;
};

template <class T>
class ErfEdges : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ErfEdges, Types);

TYPED_TEST(ErfEdges, InfinitiesNanAndZeros) {
  using T = TypeParam;
  using K = Kernels<T>;
  const T inf = std::numeric_limits<T>::infinity();
  const T nan = std::numeric_limits<T>::quiet_NaN();
  struct Case {
    Kernel1<T> k;
    T x, want;
  };
  for (const Case& c :
       {Case{K::erf, inf, T(1)}, Case{K::erf, -inf, T(-1)}, Case{K::erf, T(0), T(0)},
        Case{K::erf, T(-0.0), T(-0.0)}, Case{K::erfc, inf, T(0)}, Case{K::erfc, -inf, T(2)},
        Case{K::erfc, T(-0.0), T(1)}, Case{K::cdf, inf, T(1)}, Case{K::cdf, -inf, T(0)},
        Case{K::cdf, T(0), T(0.5)}}) {
    const auto [y, s] = One<T>(c.k, c.x);
    EXPECT_TRUE(SameBits(y, c.want)) << c.x << " -> " << y;
    EXPECT_EQ(s, 0) << c.x;
  }
  for (Kernel1<T> k : {K::erf, K::erfc, K::cdf}) {
    const auto [y, s] = One<T>(k, nan);
    EXPECT_TRUE(std::isnan(y));
    EXPECT_EQ(s, 0);
  }
}

TYPED_TEST(ErfEdges, UnderflowLimitsAndTheirStatus) {
  using T = TypeParam;
  using K = Kernels<T>;
  using L = std::numeric_limits<T>;
  struct Case {
    Kernel1<T> k;
    T normal, sub, zero;
  };
  for (const Case& c : {Case{K::erfc, K::erfc_normal, K::erfc_sub, K::erfc_zero},
                        Case{K::cdf, K::cdf_normal, K::cdf_sub, K::cdf_zero}}) {
    const auto [y0, s0] = One<T>(c.k, c.normal);
    EXPECT_GE(y0, L::min()) << c.normal;
    EXPECT_EQ(s0, 0) << c.normal;
    const auto [y1, s1] = One<T>(c.k, c.sub);
    EXPECT_GT(y1, T(0)) << c.sub;
    EXPECT_LT(y1, L::min()) << c.sub;
    EXPECT_EQ(s1, VTM_STATUS_UNDERFLOW) << c.sub;
    const auto [y2, s2] = One<T>(c.k, c.zero);
    EXPECT_TRUE(SameBits(y2, T(0))) << c.zero;
    EXPECT_EQ(s2, VTM_STATUS_UNDERFLOW) << c.zero;
    const auto [y3, s3] = One<T>(c.k, c.zero * 100);
    EXPECT_TRUE(SameBits(y3, T(0)));
    EXPECT_EQ(s3, VTM_STATUS_UNDERFLOW);
  }
}

// erf is odd, erf(x) + erfc(x) = 1 and CdfNorm(x) + CdfNorm(-x) = 1 hold
// exactly in the rounded results where they are exact in the format:
// oddness always, the others for |x| small enough that the results carry
// no bits below the ulp of 1.
TYPED_TEST(ErfEdges, SymmetriesOnAGrid) {
  using T = TypeParam;
  using K = Kernels<T>;
  std::vector<T> x;
  for (int i = -600; i <= 600; ++i) x.push_back(T(i) / 64);
  std::vector<T> nx(x.size()), e(x.size()), ne(x.size());
  for (size_t i = 0; i < x.size(); ++i) nx[i] = -x[i];
  const int n = static_cast<int>(x.size());
  K::erf(n, x.data(), e.data());
  K::erf(n, nx.data(), ne.data());
  for (size_t i = 0; i < x.size(); ++i) EXPECT_TRUE(SameBits(e[i], T(-ne[i]))) << x[i];
  K::cdf(n, x.data(), e.data());
  K::cdf(n, nx.data(), ne.data());
  for (size_t i = 0; i < x.size(); ++i) {
    if (std::fabs(x[i]) < T(0.5)) continue;  // both in [1/4, 3/4): sums round
    const T hi = std::max(e[i], ne[i]), lo = std::min(e[i], ne[i]);
    EXPECT_LE(std::fabs((hi + lo) - T(1)), std::numeric_limits<T>::epsilon()) << x[i];
  }
}

TYPED_TEST(ErfEdges, EmptyCountsInPlaceAndBlockEdges) {
  using T = TypeParam;
  using K = Kernels<T>;
  for (Kernel1<T> k : {K::erf, K::erfc, K::cdf}) {
    T a = T(0.25), r = T(-7);
    k(0, &a, &r);
    k(-5, &a, &r);
    EXPECT_EQ(r, T(-7));
    std::vector<T> v(37), want(37);
    for (size_t i = 0; i < v.size(); ++i) v[i] = T(i) / 4 - T(4);
    for (size_t i = 0; i < v.size(); ++i) want[i] = One<T>(k, v[i]).first;
    k(static_cast<int>(v.size()), v.data(), v.data());
    for (size_t i = 0; i < v.size(); ++i) EXPECT_TRUE(SameBits(v[i], want[i])) << i;
  }
}

int32_t Put42(VtmErrorRecord* rec) {
  rec->r1 = 42.0;
  return 0;
}
std::string g_name;
int32_t KeepName(VtmErrorRecord* rec) {
  g_name.assign(rec->name, rec->name_len);
  return 1;
}

TYPED_TEST(ErfEdges, CallbackReplacesTheReportedResultUnderItsName) {
  using T = TypeParam;
  using K = Kernels<T>;
  const char* type = sizeof(T) == 4 ? "vs" : "vd";
  const uint32_t old_mode = _vtmSetMode(VTM_ERRMODE_CALLBACK);
  struct Case {
    Kernel1<T> k;
    T bad;
    const char* name;
  };
  for (const Case& c :
       {Case{K::erfc, K::erfc_zero, "Erfc"}, Case{K::cdf, K::cdf_zero, "CdfNorm"}}) {
    std::vector<T> a(13, T(0.5));
    a[9] = c.bad;
    std::vector<T> r(13);
    const VtmErrorCallBack old = _vtmSetErrorCallBack(Put42);
    c.k(13, a.data(), r.data());
    EXPECT_EQ(r[9], T(42)) << c.name;
    EXPECT_EQ(r[8], One<T>(c.k, T(0.5)).first) << c.name;
    _vtmSetErrorCallBack(KeepName);
    c.k(13, a.data(), r.data());
    EXPECT_EQ(r[9], T(0));
    EXPECT_EQ(g_name, std::string(type) + c.name);
    _vtmSetErrorCallBack(old);
  }
  _vtmSetMode(old_mode);
}

}  // namespace
