// The five basic generators: known answers, independent oracles (GMP powers,
// GSL's r250), split invariance, leapfrog and skip-ahead.
#include <gmp.h>

#include <cfenv>
#include <cmath>
#include <cstring>
#include <random>

#include "generators/wh_tables.hpp"
#include "streams/gsl_loader.hpp"
#include "streams/helpers.hpp"

namespace {

using nex_test::Stream;

constexpr uint32_t kM31 = 2147483647u;
constexpr uint32_t kM1 = 4294967087u;
constexpr uint32_t kM2 = 4294944443u;

// 64-bit values in and out of GMP integers, also where long has 32 bits.
void mpz_set_u64(mpz_t z, uint64_t v) {
  mpz_set_ui(z, static_cast<unsigned long>(v >> 32));
  mpz_mul_2exp(z, z, 32);
  mpz_add_ui(z, z, static_cast<unsigned long>(v & 0xFFFFFFFFu));
}
uint64_t mpz_get_u64(const mpz_t z) {
  mpz_t lo, hi;
  mpz_inits(lo, hi, nullptr);
  mpz_fdiv_r_2exp(lo, z, 32);
  mpz_fdiv_q_2exp(hi, z, 32);
  mpz_fdiv_r_2exp(hi, hi, 32);
  const uint64_t out = (static_cast<uint64_t>(mpz_get_ui(hi)) << 32) | mpz_get_ui(lo);
  mpz_clears(lo, hi, nullptr);
  return out;
}

// base^e mod m with GMP.
uint64_t gmp_powmod(uint64_t base, uint64_t e, uint64_t m) {
  mpz_t b, x, mm, r;
  mpz_inits(b, x, mm, r, nullptr);
  mpz_set_u64(b, base);
  mpz_set_u64(x, e);
  mpz_set_u64(mm, m);
  mpz_powm(r, b, x, mm);
  const uint64_t out = mpz_get_u64(r);
  mpz_clears(b, x, mm, r, nullptr);
  return out;
}

// ---- Known answers --------------------------------------------------------

TEST(RngKnownAnswers, Mcg31m1SeedOne) {
  Stream s(VRS_BRNG_MCG31M1, {1});
  const auto d = nex_test::doubles(s.get(), 3);
  EXPECT_EQ(d[0], 4.656612875245797e-10);
  EXPECT_EQ(d[1], 1132489760.0 * 4.656612875245797e-10);
}

TEST(RngKnownAnswers, Mrg32k3aPublishedOutputs) {
  Stream s(VRS_BRNG_MRG32K3A, {12345, 12345, 12345, 12345, 12345, 12345});
  EXPECT_EQ(nex_test::words(s.get(), 5),
            (std::vector<uint32_t>{545508589u, 1368065410u, 1327943761u, 3546985096u, 951893194u}));
}

TEST(RngKnownAnswers, R250SeedOneAndGslOracle) {
  Stream s(VRS_BRNG_R250, {1});
  const auto w = nex_test::words(s.get(), 5000);
  EXPECT_EQ(w[0], 985332332u);
  EXPECT_EQ(w[1], 2548108996u);
  EXPECT_EQ(w[2], 1634299164u);
  for (uint32_t seed : {1u, 12345u, 0xFFFFFFFFu}) {
    nex_test::GslRng g("gsl_rng_r250", seed);
    if (!g.ok()) GTEST_SKIP() << "GSL not loadable";
    Stream t(VRS_BRNG_R250, {seed});
    // Mixed short (ring walk) and long (buffer) requests.
    std::vector<uint32_t> got;
    for (int32_t n : {7, 300, 1, 249, 250, 1000}) {
      auto part = nex_test::words(t.get(), n);
      got.insert(got.end(), part.begin(), part.end());
    }
    for (size_t i = 0; i < got.size(); ++i)
      ASSERT_EQ(got[i], static_cast<uint32_t>(g.get())) << seed << " at " << i;
  }
}

TEST(RngKnownAnswers, CongruentialSequencesAgainstGmpPowers) {
  for (uint32_t seed : {1u, 2u, 123456789u, kM31 - 1}) {
    Stream s(VRS_BRNG_MCG31M1, {seed});
    const auto w = nex_test::words(s.get(), 1000);
    for (uint32_t i : {0u, 1u, 7u, 8u, 9u, 500u, 999u})
      EXPECT_EQ(w[i], gmp_powmod(1132489760u, i, kM31) * seed % kM31) << i;
  }
  const uint64_t m59 = uint64_t{1} << 59;
  for (uint64_t seed : {uint64_t{1}, uint64_t{0x12345678} | (uint64_t{0x7654321} << 32)}) {
    Stream s(VRS_BRNG_MCG59, {static_cast<uint32_t>(seed), static_cast<uint32_t>(seed >> 32)});
    std::vector<uint64_t> w(1000);
    ASSERT_EQ(__vrsiBRngMCG59(s.get(), 1000, w.data()), 0);
    for (uint32_t i : {0u, 1u, 3u, 4u, 5u, 998u, 999u}) {
      const uint64_t p = gmp_powmod(302875106592253ull, i, m59);
      EXPECT_EQ(w[i], (p * seed) & (m59 - 1)) << i;
    }
  }
}

TEST(RngKnownAnswers, WhComponentsAgainstGmpPowers) {
  for (int sub : {0, 1, 136, 272}) {
    Stream s(VRS_BRNG_WH + sub, {11, 22, 33, 44});
    const auto w = nex_test::words(s.get(), 203);
    for (uint32_t i : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 200u, 201u, 202u})
      for (int j = 0; j < 4; ++j) {
        const uint64_t m = VrsWhModuli[sub][j];
        EXPECT_EQ(w[4 * i + j], gmp_powmod(VrsWhMultipliers[sub][j], i, m) * (11u * (j + 1)) % m);
      }
  }
}

// ---- Seeding edge cases ---------------------------------------------------

TEST(RngSeeding, Mcg31m1ZeroAndModulusStartAtOne) {
  for (uint32_t seed : {0u, kM31, 2147483648u}) {
    Stream s(VRS_BRNG_MCG31M1, {seed});
    EXPECT_EQ(nex_test::words(s.get(), 1)[0], seed == 2147483648u ? 1u : 1u) << seed;
  }
  Stream none(VRS_BRNG_MCG31M1, {});
  EXPECT_EQ(nex_test::words(none.get(), 1)[0], 1u);
}

TEST(RngSeeding, Mcg31m1CountZeroStoresOneAndAdvances) {
  Stream s(VRS_BRNG_MCG31M1, {5}), t(VRS_BRNG_MCG31M1, {5});
  uint32_t r[2] = {0, 0};
  EXPECT_EQ(__vrsiBRngMCG31M1(s.get(), 0, r), 0);
  EXPECT_EQ(r[0], 5u);
  EXPECT_EQ(r[1], 0u);
  const auto ref = nex_test::words(t.get(), 2);
  EXPECT_EQ(nex_test::words(s.get(), 1)[0], ref[1]);
}

TEST(RngSeeding, Mcg59MasksTheHighWord) {
  Stream s(VRS_BRNG_MCG59, {0, 0x8000000});
  uint64_t r = 0;
  __vrsiBRngMCG59(s.get(), 1, &r);
  EXPECT_EQ(r, 1u);
  Stream even(VRS_BRNG_MCG59, {6});
  __vrsiBRngMCG59(even.get(), 1, &r);
  EXPECT_EQ(r, 6u);
}

TEST(RngSeeding, Mrg32k3aDefaultsAndReduction) {
  struct MrgState {
    uint32_t x[3], y[3];
  };
  Stream zeros(VRS_BRNG_MRG32K3A, {0, 0, 0, 0, 0, 0});
  auto* z = nex_test::state<MrgState>(zeros.get());
  EXPECT_EQ(z->x[0], 1u);
  EXPECT_EQ(z->x[1] | z->x[2], 0u);
  EXPECT_EQ(z->y[0], 1u);
  EXPECT_EQ(z->y[1] | z->y[2], 0u);
  Stream none(VRS_BRNG_MRG32K3A, {});
  auto* o = nex_test::state<MrgState>(none.get());
  for (int k = 0; k < 3; ++k) EXPECT_EQ(o->x[k] & o->y[k], 1u);
  Stream big(VRS_BRNG_MRG32K3A, {0xFFFFFFFFu, 0, 0, 0xFFFFFFFFu});
  auto* b = nex_test::state<MrgState>(big.get());
  EXPECT_EQ(b->x[0], 208u);
  EXPECT_EQ(b->y[0], 0xFFFFFFFFu - kM2);
  EXPECT_EQ(b->x[1], 0u);  // copied words stay; missing ones become 1
  EXPECT_EQ(b->y[1], 1u);
}

TEST(RngSeeding, R250SeedCountsAndPositions) {
  struct R250State {
    uint32_t w[250], i, j;
  };
  std::vector<uint32_t> seed(250);
  for (uint32_t k = 0; k < 250; ++k) seed[k] = k * 2654435761u;
  Stream full(VRS_BRNG_R250, seed);
  EXPECT_EQ(std::memcmp(nex_test::state<R250State>(full.get())->w, seed.data(), 1000), 0);
  seed.resize(249);
  Stream partial(VRS_BRNG_R250, seed), first(VRS_BRNG_R250, {seed[0]});
  EXPECT_EQ(std::memcmp(nex_test::state<R250State>(partial.get()),
                        nex_test::state<R250State>(first.get()), sizeof(R250State)),
            0);
  Stream a(VRS_BRNG_R250, {3});
  nex_test::words(a.get(), 249);
  EXPECT_EQ(nex_test::state<R250State>(a.get())->i, 249u);
  EXPECT_EQ(nex_test::state<R250State>(a.get())->j, 102u);
  Stream b(VRS_BRNG_R250, {3});
  nex_test::words(b.get(), 250);
  EXPECT_EQ(nex_test::state<R250State>(b.get())->i, 0u);
  EXPECT_EQ(nex_test::state<R250State>(b.get())->j, 103u);
}

TEST(RngSeeding, WhDefaultsAndModuli) {
  Stream s(VRS_BRNG_WH, {0});
  EXPECT_EQ(nex_test::words(s.get(), 1), (std::vector<uint32_t>{1, 1, 1, 1}));
  Stream t(VRS_BRNG_WH + 272, {16766363u, 0, 5});
  EXPECT_EQ(nex_test::words(t.get(), 1), (std::vector<uint32_t>{1, 1, 5, 1}));
  Stream legacy(276, {16766363u, 0, 5});
  EXPECT_EQ(nex_test::words(legacy.get(), 1), (std::vector<uint32_t>{1, 1, 5, 1}));
  // A negative count reads all four words.
  VrsStream* neg = nullptr;
  const uint32_t p[4] = {2, 3, 4, 5};
  ASSERT_EQ(__vrsNewStreamEx(&neg, VRS_BRNG_WH, -1, p), 0);
  EXPECT_EQ(nex_test::words(neg, 1), (std::vector<uint32_t>{2, 3, 4, 5}));
  __vrsDeleteStream(&neg);
}

// ---- Output forms ---------------------------------------------------------

struct GenCase {
  int32_t brng;
  double unit;  // c of word x c, or 0 for WH
  int words_per_elem;
};

class RngOutputForms : public ::testing::TestWithParam<GenCase> {};

double word_value(const GenCase& g, const uint32_t* w) {
  if (g.words_per_elem == 2) return static_cast<double>(w[0] | (uint64_t{w[1]} << 32));
  return static_cast<double>(w[0]);
}

// The real forms are word x ((b - a) x c) + a in double, narrowed at the store
// for floats; WH uses the fractional part of the sum of x_j / m_j.
TEST_P(RngOutputForms, RealFormsFollowTheWords) {
  const GenCase g = GetParam();
  const std::vector<uint32_t> seed = {2024, 7, 9, 11, 13, 17};
  const double a = -3.5, b = 12.25;
  // Lengths below, at and across the block sizes of the real forms' paths,
  // with partial blocks at the end.
  for (const int32_t n : {3, 20, 37, 700, 3001}) {
    const float fa = -2.0f, fb = 0.5f;
    Stream si(g.brng, seed), sd(g.brng, seed), ss(g.brng, seed);
    const auto w = nex_test::words(si.get(), n);
    const auto d = nex_test::doubles(sd.get(), n, a, b);
    const auto f = nex_test::floats(ss.get(), n, fa, fb);
    const int wp = g.brng >= VRS_BRNG_WH && g.brng < VRS_BRNG_WH + 273 ? 4 : g.words_per_elem;
    for (int32_t i = 0; i < n; ++i) {
      const uint32_t* e = &w[static_cast<size_t>(i) * wp];
      double ud, uf;
      if (g.unit == 0) {
        const double* inv = VrsWhInverseModuli[g.brng - VRS_BRNG_WH];
        double sum = e[0] * inv[0] + e[1] * inv[1] + e[2] * inv[2] + e[3] * inv[3];
        double u = sum - std::floor(sum);
        ud = u * (b - a) + a;
        uf = u * (double(fb) - double(fa)) + double(fa);
      } else {
        const double v = word_value(g, e);
        ud = v * ((b - a) * g.unit) + a;
        uf = v * ((double(fb) - double(fa)) * g.unit) + double(fa);
      }
      ASSERT_EQ(d[i], ud) << n << " " << i;
      ASSERT_EQ(f[i], static_cast<float>(uf)) << n << " " << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(RngGenerators, RngOutputForms,
                         ::testing::Values(GenCase{VRS_BRNG_MCG31M1, 4.656612875245797e-10, 1},
                                           GenCase{VRS_BRNG_MCG59, 1.0 / 576460752303423488.0, 2},
                                           GenCase{VRS_BRNG_MRG32K3A, 2.328306549837829e-10, 1},
                                           GenCase{VRS_BRNG_R250, 1.0 / 4294967296.0, 1},
                                           GenCase{VRS_BRNG_WH + 5, 0, 4}));

// The real forms round like the element-wise conversion in every rounding
// direction: the word's value exactly (a 59-bit word as (hi - 2^84) +
// (lo - 2^52), one rounding), then x scale + a, the scale formed in the
// same direction.
TEST(RngRealForms, EveryRoundingDirection) {
  volatile double va = -0.75, vb = 2.5;  // kept from compile-time folding
  auto bits = [](uint64_t u) {
    double d;
    std::memcpy(&d, &u, sizeof d);
    return d;
  };
  for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO, FE_TONEAREST}) {
    for (const int32_t brng : {VRS_BRNG_MCG59, VRS_BRNG_R250}) {
      const bool wide = brng == VRS_BRNG_MCG59;
      Stream si(brng, {31, 41}), sd(brng, {31, 41});
      const int32_t n = 2001;
      const auto w = nex_test::words(si.get(), n);
      std::vector<double> d(n);
      int mismatches = 0;
      ASSERT_EQ(std::fesetround(mode), 0);
      const double a = va, b = vb;
      ASSERT_EQ(nex_test::row(sd.get()).generate_d(sd.get(), n, d.data(), a, b), VRS_STATUS_OK);
      const double scale = (b - a) * (wide ? 0x1p-59 : 0x1p-32);
      for (int32_t i = 0; i < n; ++i) {
        double v;
        if (wide)
          v = (bits(0x4530000000000000ull | w[2 * i + 1]) - 0x1p84) +
              (bits(0x4330000000000000ull | w[2 * i]) - 0x1p52);
        else
          v = bits(0x4330000000000000ull | w[i]) - 0x1p52;
        mismatches += d[i] != v * scale + a;
      }
      std::fesetround(FE_TONEAREST);
      EXPECT_EQ(mismatches, 0) << "generator " << brng << ", rounding " << mode;
    }
  }
}

// Any split of a request into calls gives the same numbers, in all forms.
class RngSplitInvariance : public ::testing::TestWithParam<int32_t> {};

TEST_P(RngSplitInvariance, AllThreeForms) {
  const int32_t brng = GetParam();
  const std::vector<uint32_t> seed = {77, 88, 99, 111, 222, 333};
  constexpr int32_t kTotal = 5000;
  std::mt19937 pick(12345);  // fixed seed: the same splits every run
  const int32_t min_part = brng == VRS_BRNG_MCG31M1 ? 1 : 0;  // n = 0 moves MCG31M1 on
  const int32_t sizes[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 249, 250, 251, 520};
  for (int form = 0; form < 3; ++form) {
    Stream whole(brng, seed);
    Stream parts(brng, seed);
    const int wp = nex_test::row(whole.get()).word_size / 4;
    std::vector<uint32_t> wi, pi;
    std::vector<double> wd, pd;
    auto take = [&](VrsStream* s, int32_t n, std::vector<uint32_t>& iv, std::vector<double>& dv) {
      if (form == 0) {
        auto v = nex_test::words(s, n);
        iv.insert(iv.end(), v.begin(), v.begin() + static_cast<size_t>(n) * wp);
      } else if (form == 1) {
        auto v = nex_test::doubles(s, n, -1.0, 3.0);
        dv.insert(dv.end(), v.begin(), v.begin() + n);
      } else {
        auto v = nex_test::floats(s, n, -1.0f, 3.0f);
        dv.insert(dv.end(), v.begin(), v.begin() + n);
      }
    };
    take(whole.get(), kTotal, wi, wd);
    int32_t done = 0;
    while (done < kTotal) {
      int32_t n = sizes[pick() % (sizeof sizes / sizeof sizes[0])];
      if (n < min_part) n = min_part;
      if (n > kTotal - done) n = kTotal - done;
      take(parts.get(), n, pi, pd);
      done += n;
    }
    EXPECT_EQ(wi, pi) << "form " << form;
    EXPECT_EQ(wd, pd) << "form " << form;
    // And the states agree afterwards.
    EXPECT_EQ(nex_test::words(whole.get(), 3), nex_test::words(parts.get(), 3));
  }
}

INSTANTIATE_TEST_SUITE_P(RngGenerators, RngSplitInvariance,
                         ::testing::Values(VRS_BRNG_MCG31M1, VRS_BRNG_MCG59, VRS_BRNG_MRG32K3A,
                                           VRS_BRNG_R250, VRS_BRNG_WH, VRS_BRNG_WH + 272));

// ---- RngLeapfrog -------------------------------------------------------------

class RngLeapfrog : public ::testing::TestWithParam<int32_t> {};

TEST_P(RngLeapfrog, StreamsInterleaveToTheBaseSequence) {
  const int32_t brng = GetParam();
  const std::vector<uint32_t> seed = {4321, 8765, 1, 2};
  for (int32_t nstreams : {1, 2, 3, 7}) {
    Stream base(brng, seed);
    const int wp = nex_test::row(base.get()).word_size / 4;
    const int32_t per = 101;
    const auto ref = nex_test::words(base.get(), per * nstreams);
    for (int32_t k = 0; k < nstreams; ++k) {
      Stream s(brng, seed);
      ASSERT_EQ(__vrsLeapfrogStream(s.get(), k, nstreams), VRS_STATUS_OK);
      const auto got = nex_test::words(s.get(), per);
      for (int32_t i = 0; i < per; ++i)
        for (int j = 0; j < wp; ++j)
          ASSERT_EQ(got[i * wp + j], ref[(static_cast<size_t>(i) * nstreams + k) * wp + j])
              << nstreams << " " << k << " " << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(RngGenerators, RngLeapfrog,
                         ::testing::Values(VRS_BRNG_MCG31M1, VRS_BRNG_MCG59, VRS_BRNG_WH + 17));

TEST(RngLeapfrogStatus, NegativeCountAndUnsupported) {
  for (int32_t id :
       {VRS_BRNG_MCG31M1, VRS_BRNG_R250, VRS_BRNG_MRG32K3A, VRS_BRNG_MCG59, VRS_BRNG_WH}) {
    Stream s(id, {1});
    EXPECT_EQ(__vrsLeapfrogStream(s.get(), 0, -1), VRS_ERROR_BAD_LEAPFROG_COUNT);
    EXPECT_EQ(__vrsLeapfrogStream(s.get(), 0, INT32_MIN), VRS_ERROR_BAD_LEAPFROG_COUNT);
  }
  Stream mrg(VRS_BRNG_MRG32K3A, {1}), r250(VRS_BRNG_R250, {1});
  EXPECT_EQ(__vrsLeapfrogStream(mrg.get(), 0, 2), VRS_ERROR_LEAPFROG_UNSUPPORTED);
  EXPECT_EQ(__vrsLeapfrogStream(r250.get(), 0, 2), VRS_ERROR_LEAPFROG_UNSUPPORTED);
  EXPECT_EQ(__vrsSkipAheadStream(r250.get(), 5), VRS_ERROR_SKIPAHEAD_UNSUPPORTED);
}

TEST(RngLeapfrogStatus, Mcg59IdentityLeapfrog) {
  Stream s(VRS_BRNG_MCG59, {9, 9}), t(VRS_BRNG_MCG59, {9, 9});
  ASSERT_EQ(__vrsLeapfrogStream(s.get(), 0, 1), 0);
  EXPECT_EQ(std::memcmp(nex_test::state<char>(s.get()), nex_test::state<char>(t.get()), 16), 0);
}

// ---- Skip-ahead -----------------------------------------------------------

class RngSkipAhead : public ::testing::TestWithParam<int32_t> {};

// Skipping s equals generating and dropping s numbers, for random s up to 1e7.
TEST_P(RngSkipAhead, EqualsGenerateAndDrop) {
  const int32_t brng = GetParam();
  std::mt19937_64 pick(777);
  std::vector<uint64_t> counts = {0, 1, 15, 16, 17, 1000};
  for (int i = 0; i < 3; ++i) counts.push_back(pick() % 10000001);
  const std::vector<uint32_t> seed = {31, 41, 59, 26, 53, 58};
  for (uint64_t s : counts) {
    Stream walked(brng, seed), jumped(brng, seed);
    const int wp = nex_test::row(walked.get()).word_size / 4;
    std::vector<uint32_t> sink(static_cast<size_t>(1 << 16) * wp);
    for (uint64_t left = s; left > 0;) {
      const int32_t n = static_cast<int32_t>(left < (1u << 16) ? left : (1u << 16));
      ASSERT_EQ(nex_test::row(walked.get()).generate_i(walked.get(), n, sink.data()), 0);
      left -= n;
    }
    ASSERT_EQ(__vrsSkipAheadStream(jumped.get(), s), VRS_STATUS_OK);
    EXPECT_EQ(nex_test::words(walked.get(), 20), nex_test::words(jumped.get(), 20)) << s;
  }
}

INSTANTIATE_TEST_SUITE_P(RngGenerators, RngSkipAhead,
                         ::testing::Values(VRS_BRNG_MCG31M1, VRS_BRNG_MCG59, VRS_BRNG_MRG32K3A,
                                           VRS_BRNG_WH + 99));

// Huge counts against powers computed independently with GMP.
TEST(RngSkipAheadHuge, CongruentialAgainstGmp) {
  std::mt19937_64 pick(4242);
  for (int rep = 0; rep < 20; ++rep) {
    const uint64_t s = pick() | (uint64_t{1} << 63);
    Stream a(VRS_BRNG_MCG31M1, {12345});
    ASSERT_EQ(__vrsSkipAheadStream(a.get(), s), 0);
    EXPECT_EQ(nex_test::words(a.get(), 1)[0], gmp_powmod(1132489760u, s, kM31) * 12345 % kM31);
    Stream b(VRS_BRNG_MCG59, {12345});
    ASSERT_EQ(__vrsSkipAheadStream(b.get(), s), 0);
    uint64_t x = 0;
    __vrsiBRngMCG59(b.get(), 1, &x);
    EXPECT_EQ(x, (gmp_powmod(302875106592253ull, s, uint64_t{1} << 59) * 12345) &
                     ((uint64_t{1} << 59) - 1));
    Stream w(VRS_BRNG_WH + 200, {7, 7, 7, 7});
    ASSERT_EQ(__vrsSkipAheadStream(w.get(), s), 0);
    const auto ww = nex_test::words(w.get(), 1);
    for (int j = 0; j < 4; ++j)
      EXPECT_EQ(ww[j], gmp_powmod(VrsWhMultipliers[200][j], s, VrsWhModuli[200][j]) * 7 %
                           VrsWhModuli[200][j]);
  }
}

// MRG32K3A: the companion matrix power computed with GMP integers.
void mpz_matrix_skip(uint32_t* v, const uint64_t row[3], uint64_t m, uint64_t e) {
  // Matrix rows (0 1 0), (0 0 1), row; v oldest first.
  mpz_t M[9], R[9], T[9], mod;
  mpz_init(mod);
  mpz_set_u64(mod, m);
  const uint64_t init[9] = {0, 1, 0, 0, 0, 1, row[0], row[1], row[2]};
  for (int i = 0; i < 9; ++i) {
    mpz_init(M[i]);
    mpz_set_u64(M[i], init[i]);
    mpz_init_set_ui(R[i], i % 4 == 0 ? 1 : 0);
    mpz_init(T[i]);
  }
  auto mul = [&](mpz_t* X, mpz_t* Y) {  // X = X * Y
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) {
        mpz_set_ui(T[3 * i + j], 0);
        for (int k = 0; k < 3; ++k) mpz_addmul(T[3 * i + j], X[3 * i + k], Y[3 * k + j]);
        mpz_mod(T[3 * i + j], T[3 * i + j], mod);
      }
    for (int i = 0; i < 9; ++i) mpz_set(X[i], T[i]);
  };
  for (; e != 0; e >>= 1) {
    if (e & 1) mul(R, M);
    mul(M, M);
  }
  uint32_t out[3];
  for (int i = 0; i < 3; ++i) {
    mpz_t acc;
    mpz_init_set_ui(acc, 0);
    for (int k = 0; k < 3; ++k) mpz_addmul_ui(acc, R[3 * i + k], v[k]);
    mpz_mod(acc, acc, mod);
    out[i] = static_cast<uint32_t>(mpz_get_u64(acc));
    mpz_clear(acc);
  }
  std::memcpy(v, out, sizeof out);
  for (int i = 0; i < 9; ++i) mpz_clears(M[i], R[i], T[i], nullptr);
  mpz_clear(mod);
}

TEST(RngSkipAheadHuge, Mrg32k3aAgainstGmpMatrixPower) {
  struct MrgState {
    uint32_t x[3], y[3];
  };
  const uint64_t rx[3] = {kM1 - 810728u, 1403580u, 0};
  const uint64_t ry[3] = {kM2 - 1370589u, 0, 527612u};
  std::mt19937_64 pick(99);
  for (int rep = 0; rep < 10; ++rep) {
    const uint64_t s = pick();
    Stream a(VRS_BRNG_MRG32K3A, {1, 2, 3, 4, 5, 6});
    MrgState expect = *nex_test::state<MrgState>(a.get());
    mpz_matrix_skip(expect.x, rx, kM1, s);
    mpz_matrix_skip(expect.y, ry, kM2, s);
    ASSERT_EQ(__vrsSkipAheadStream(a.get(), s), 0);
    EXPECT_EQ(std::memcmp(nex_test::state<MrgState>(a.get()), &expect, sizeof expect), 0) << s;
  }
}

// ---- Modular powers -------------------------------------------------------

TEST(RngPowMod, AgainstGmp) {
  std::mt19937_64 pick(2718);
  EXPECT_EQ(__vrsiPowMod(12345, 0, 97), 1u);
  EXPECT_EQ(__vrsiPowMod2P31M1(12345, 0), 1u);
  EXPECT_EQ(__vrsiPowMod2P59(12345, 0), 1u);
  for (int i = 0; i < 2000; ++i) {
    const uint64_t e = pick() >> (pick() % 64);
    const uint32_t m = static_cast<uint32_t>(pick()) | 1u;
    const uint32_t base = static_cast<uint32_t>(pick()) % m;
    ASSERT_EQ(__vrsiPowMod(base, e, m), gmp_powmod(base, e, m)) << base << " " << e << " " << m;
    const uint32_t b31 = static_cast<uint32_t>(pick()) % kM31;
    ASSERT_EQ(__vrsiPowMod2P31M1(b31, e), gmp_powmod(b31, e, kM31));
    const uint64_t b59 = pick() & ((uint64_t{1} << 59) - 1);
    ASSERT_EQ(__vrsiPowMod2P59(b59, e), gmp_powmod(b59, e, uint64_t{1} << 59));
  }
}

}  // namespace
