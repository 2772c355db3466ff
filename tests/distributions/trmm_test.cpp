// Triangular multiplies of the service library against the GSL's CBLAS:
// trmm for both full forms, and the packed form column by column (or row by
// row) through tpmv on the same triangle packed. Entries are small integers,
// so every product and sum is exact and results must agree bit for bit.
#include <gtest/gtest.h>
#include <gsl/gsl_cblas.h>

#include <cstdint>
#include <random>
#include <vector>

#include "nex_core_trmm.h"

namespace {

template <class T>
struct Forms;
template <>
struct Forms<double> {
  static constexpr auto small = nex_blas_xdtrmm_4vtm;
  static constexpr auto full = nex_blas4vtm_dtrmm;
  static constexpr auto packed = nex_blas4vtm_dptrmm;
  static void oracle(CBLAS_SIDE s, CBLAS_UPLO u, CBLAS_TRANSPOSE t, CBLAS_DIAG d, int m, int n,
                     double alpha, const double* a, int lda, double* b, int ldb) {
    cblas_dtrmm(CblasColMajor, s, u, t, d, m, n, alpha, a, lda, b, ldb);
  }
  static void tpmv(CBLAS_UPLO u, CBLAS_TRANSPOSE t, CBLAS_DIAG d, int k, const double* ap,
                   double* x, int inc) {
    cblas_dtpmv(CblasColMajor, u, t, d, k, ap, x, inc);
  }
};
template <>
struct Forms<float> {
  static constexpr auto small = nex_blas_xstrmm_4vtm;
  static constexpr auto full = nex_blas4vtm_strmm;
  static constexpr auto packed = nex_blas4vtm_sptrmm;
  static void oracle(CBLAS_SIDE s, CBLAS_UPLO u, CBLAS_TRANSPOSE t, CBLAS_DIAG d, int m, int n,
                     float alpha, const float* a, int lda, float* b, int ldb) {
    cblas_strmm(CblasColMajor, s, u, t, d, m, n, alpha, a, lda, b, ldb);
  }
  static void tpmv(CBLAS_UPLO u, CBLAS_TRANSPOSE t, CBLAS_DIAG d, int k, const float* ap, float* x,
                   int inc) {
    cblas_stpmv(CblasColMajor, u, t, d, k, ap, x, inc);
  }
};

template <class T>
std::vector<T> SmallIntegers(size_t count, uint32_t seed) {
  std::mt19937 g(seed);
  std::uniform_int_distribution<int> d(-3, 3);
  std::vector<T> v(count);
  for (T& x : v) x = T(d(g));
  return v;
}

// Packs the triangle `uplo` of the k by k matrix a (leading dimension lda).
template <class T>
std::vector<T> Pack(const std::vector<T>& a, int k, int lda, char uplo) {
  std::vector<T> ap;
  for (int j = 0; j < k; ++j) {
    if (uplo == 'U')
      for (int i = 0; i <= j; ++i) ap.push_back(a[i + j * lda]);
    else
      for (int i = j; i < k; ++i) ap.push_back(a[i + j * lda]);
  }
  return ap;
}

struct Case {
  char side, uplo, trans, diag;
};

std::vector<Case> AllCases() {
  std::vector<Case> cases;
  for (char s : {'L', 'R'})
    for (char u : {'U', 'L'})
      for (char t : {'N', 'T'})
        for (char d : {'N', 'U'}) cases.push_back({s, u, t, d});
  return cases;
}

template <class T>
class DistTrmm : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(DistTrmm, Types);

TYPED_TEST(DistTrmm, EveryFormAgreesExactlyWithTheReferenceForEveryShape) {
  using T = TypeParam;
  using F = Forms<T>;
  uint32_t seed = 1;
  for (const Case& c : AllCases()) {
    for (auto [m, n] : {std::pair{1, 1}, {2, 3}, {5, 4}, {10, 7}, {11, 3}, {17, 12}, {3, 20}}) {
      const int k = c.side == 'L' ? m : n;
      const int lda = k + 2, ldb = m + 1;
      const std::vector<T> a = SmallIntegers<T>(size_t(lda) * k, seed++);
      const std::vector<T> b = SmallIntegers<T>(size_t(ldb) * n, seed++);
      for (T alpha : {T(1), T(-2)}) {
        std::vector<T> want = b;
        F::oracle(c.side == 'L' ? CblasLeft : CblasRight, c.uplo == 'U' ? CblasUpper : CblasLower,
                  c.trans == 'N' ? CblasNoTrans : CblasTrans,
                  c.diag == 'U' ? CblasUnit : CblasNonUnit, m, n, alpha, a.data(), lda, want.data(),
                  ldb);
        std::vector<T> small = b, full = b, packed = b;
        F::small(&c.side, &c.uplo, &c.trans, &c.diag, &m, &n, &alpha, a.data(), &lda, small.data(),
                 &ldb);
        F::full(&c.side, &c.uplo, &c.trans, &c.diag, &m, &n, &alpha, a.data(), &lda, full.data(),
                &ldb);
        const std::vector<T> ap = Pack(a, k, lda, c.uplo);
        F::packed(&c.side, &c.uplo, &c.trans, &c.diag, &m, &n, &alpha, ap.data(), packed.data(),
                  &ldb);
        const std::string where = std::string{c.side, c.uplo, c.trans, c.diag} + " m " +
                                  std::to_string(m) + " n " + std::to_string(n);
        EXPECT_EQ(small, want) << "small " << where;
        EXPECT_EQ(full, want) << "full " << where;
        EXPECT_EQ(packed, want) << "packed " << where;
      }
    }
  }
}

// The packed layout itself, against the reference's packed matrix-vector
// product on each vector of B (the multivariate Gaussian's use: side L,
// lower triangle, no transpose).
TYPED_TEST(DistTrmm, PackedLayoutMatchesTheReferencePackedProduct) {
  using T = TypeParam;
  using F = Forms<T>;
  for (int k : {1, 2, 7, 33}) {
    for (char uplo : {'L', 'U'}) {
      const int cols = 5, count = k * (k + 1) / 2;
      const std::vector<T> ap = SmallIntegers<T>(count, 40 + k);
      std::vector<T> b = SmallIntegers<T>(size_t(k) * cols, 80 + k), want = b;
      for (int j = 0; j < cols; ++j)
        F::tpmv(uplo == 'U' ? CblasUpper : CblasLower, CblasNoTrans, CblasNonUnit, k, ap.data(),
                want.data() + j * k, 1);
      const T one = 1;
      F::packed("L", &uplo, "N", "N", &k, &cols, &one, ap.data(), b.data(), &k);
      EXPECT_EQ(b, want) << uplo << " k " << k;
    }
  }
}

TYPED_TEST(DistTrmm, ZeroAlphaClearsBadLettersAndSizesLeaveBAlone) {
  using T = TypeParam;
  using F = Forms<T>;
  const int m = 3, n = 2, lda = 3, ldb = 3;
  const std::vector<T> a = SmallIntegers<T>(9, 7);
  std::vector<T> b(6, T(5));
  b[2] = std::numeric_limits<T>::quiet_NaN();
  const T zero = 0, one = 1;
  for (auto form : {F::small, F::full}) {
    std::vector<T> x = b;
    form("L", "U", "N", "N", &m, &n, &zero, a.data(), &lda, x.data(), &ldb);
    for (T v : x) EXPECT_EQ(v, T(0));
    for (const char* bad : {"X", "u", "n"}) {
      std::vector<T> y(6, T(5));
      form(bad, "U", "N", "N", &m, &n, &one, a.data(), &lda, y.data(), &ldb);
      form("L", "U", bad, "X", &m, &n, &one, a.data(), &lda, y.data(), &ldb);
      EXPECT_EQ(y, std::vector<T>(6, T(5))) << bad;
    }
    const int short_lda = 2, neg = -1, zero_n = 0;
    std::vector<T> y(6, T(5));
    form("L", "U", "N", "N", &m, &n, &one, a.data(), &short_lda, y.data(), &ldb);
    form("L", "U", "N", "N", &m, &n, &one, a.data(), &lda, y.data(), &short_lda);
    form("L", "U", "N", "N", &neg, &n, &one, a.data(), &lda, y.data(), &ldb);
    form("L", "U", "N", "N", &m, &zero_n, &one, a.data(), &lda, y.data(), &ldb);
    EXPECT_EQ(y, std::vector<T>(6, T(5)));
  }
  // Lower-case letters are the same letters.
  std::vector<T> upper = SmallIntegers<T>(6, 9), lower = upper;
  F::small("L", "U", "T", "N", &m, &n, &one, a.data(), &lda, upper.data(), &ldb);
  F::small("l", "u", "t", "n", &m, &n, &one, a.data(), &lda, lower.data(), &ldb);
  EXPECT_EQ(upper, lower);
}

}  // namespace
