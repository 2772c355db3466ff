// The checked-in characteristic polynomials of the two 19937-bit twisters,
// checked by jumping minimal ring walkers of the tests' own and comparing
// with walking.
#include <cstring>
#include <random>

#include "generators/jump_tables.hpp"
#include "streams/helpers.hpp"

namespace {

TEST(RngTwisterPolynomials, TellingExponents) {
  const uint32_t* mt = VrsMt19937JumpTable;
  EXPECT_EQ((std::vector<uint32_t>(mt, mt + 6)),
            (std::vector<uint32_t>{0, 1189, 1416, 1585, 1643, 1870}));
  EXPECT_EQ((std::vector<uint32_t>(mt + kMt19937JumpTerms - 5, mt + kMt19937JumpTerms)),
            (std::vector<uint32_t>{18691, 18860, 19087, 19314, 19937}));
  const uint32_t* sf = VrsSfmt19937JumpTable;
  EXPECT_EQ((std::vector<uint32_t>(sf, sf + 6)),
            (std::vector<uint32_t>{0, 1041, 1195, 1197, 1232, 1260}));
  EXPECT_EQ((std::vector<uint32_t>(sf + kSfmt19937JumpTerms - 5, sf + kSfmt19937JumpTerms)),
            (std::vector<uint32_t>{19358, 19380, 19393, 19437, 19968}));
  for (int i = 1; i < kSfmt19937JumpTerms; ++i) ASSERT_LT(sf[i - 1], sf[i]);
}

// Ring walkers: `Words` 32-bit words per step, ring of `Steps` steps.
template <int Steps, int Words>
struct Ring {
  VrsStream head;
  uint32_t w[Steps][Words];
  uint32_t idx;
};

using MtRing = Ring<624, 1>;
using SfRing = Ring<156, 4>;

void mt_next(void* p) {
  auto* r = static_cast<MtRing*>(p);
  const uint32_t i = r->idx;
  const uint32_t y = (r->w[i][0] & 0x80000000u) | (r->w[(i + 1) % 624][0] & 0x7FFFFFFFu);
  r->w[i][0] = r->w[(i + 397) % 624][0] ^ (y >> 1) ^ ((y & 1) ? 0x9908B0DFu : 0u);
  r->idx = (i + 1) % 624;
}

void sf_next(void* p) {
  auto* r = static_cast<SfRing*>(p);
  const uint32_t i = r->idx;
  const uint32_t* a = r->w[i];
  const uint32_t* b = r->w[(i + 122) % 156];
  const uint32_t* c = r->w[(i + 154) % 156];
  const uint32_t* d = r->w[(i + 155) % 156];
  static const uint32_t msk[4] = {0xDFFFFFEFu, 0xDDFECB7Fu, 0xBFFAFFFFu, 0xBFFFFFF6u};
  // 128-bit shifts by one byte, words low first.
  uint64_t alo = a[0] | (uint64_t{a[1]} << 32), ahi = a[2] | (uint64_t{a[3]} << 32);
  uint64_t clo = c[0] | (uint64_t{c[1]} << 32), chi = c[2] | (uint64_t{c[3]} << 32);
  const uint64_t xlo = alo << 8, xhi = (ahi << 8) | (alo >> 56);
  const uint64_t ylo = (clo >> 8) | (chi << 56), yhi = chi >> 8;
  const uint32_t x[4] = {uint32_t(xlo), uint32_t(xlo >> 32), uint32_t(xhi), uint32_t(xhi >> 32)};
  const uint32_t y[4] = {uint32_t(ylo), uint32_t(ylo >> 32), uint32_t(yhi), uint32_t(yhi >> 32)};
  uint32_t out[4];
  for (int k = 0; k < 4; ++k) out[k] = a[k] ^ x[k] ^ ((b[k] >> 11) & msk[k]) ^ y[k] ^ (d[k] << 18);
  std::memcpy(r->w[i], out, sizeof out);
  r->idx = (i + 1) % 156;
}

template <class R>
struct Ops {
  static void clear(void* p) {
    std::memset(static_cast<R*>(p)->w, 0, sizeof(R) - sizeof(VrsStream));
  }
  static void add(void* d, const void* s, int32_t) {
    auto* dst = static_cast<R*>(d);
    auto* src = static_cast<const R*>(s);
    constexpr int kSteps = sizeof(dst->w) / sizeof(dst->w[0]);
    constexpr int kWords = sizeof(dst->w[0]) / sizeof(uint32_t);
    for (int m = 0; m < kSteps; ++m)
      for (int k = 0; k < kWords; ++k)
        dst->w[(dst->idx + m) % kSteps][k] ^= src->w[(src->idx + m) % kSteps][k];
  }
  static void copy(void* d, const void* s, int32_t) {
    std::memcpy(static_cast<R*>(d)->w, static_cast<const R*>(s)->w, sizeof(R) - sizeof(VrsStream));
  }
  static void finish(VrsStream* s, const void* work, uint32_t) { copy(s, work, 0); }
  static int32_t prepare(VrsStream*, uint64_t* s, uint32_t* rest) {
    *rest = 0;
    return *s != 0;
  }
};

template <class R>
void check_jumps(VrsJumpNextFn next, int32_t degree, int32_t terms, const uint32_t* table) {
  auto make = [&] {
    auto* r = static_cast<R*>(nex_serv_allocate(sizeof(R), 128));
    std::memset(r, 0, sizeof(R));
    std::mt19937 g(4711);
    for (auto& step : r->w)
      for (auto& w : step) w = g();
    for (int i = 0; i < 2000; ++i) next(r);  // a window of generated words
    return r;
  };
  using O = Ops<R>;
  for (uint64_t s : {static_cast<uint64_t>(degree), uint64_t{0x200000}, uint64_t{1234567}}) {
    for (auto fn : {&__vrs_SkipAheadHorner, &__vrs_SkipAheadSWin}) {
      R* walked = make();
      R* jumped = make();
      for (uint64_t i = 0; i < s; ++i) next(walked);
      ASSERT_EQ(fn(&jumped->head, O::clear, O::add, O::copy, next, O::finish, O::prepare, s,
                   sizeof(R) / 8, degree, sizeof(R), terms, table),
                0);
      for (int i = 0; i < 700; ++i) {
        next(walked);
        next(jumped);
      }
      // After more steps than the ring holds, both rings hold only words
      // produced after the jump; compare them aligned by position.
      constexpr int kSteps = sizeof(walked->w) / sizeof(walked->w[0]);
      for (int m = 0; m < kSteps; ++m)
        ASSERT_EQ(std::memcmp(walked->w[(walked->idx + m) % kSteps],
                              jumped->w[(jumped->idx + m) % kSteps], sizeof(walked->w[0])),
                  0)
            << "skip " << s << " step " << m;
      nex_serv_deallocate(walked);
      nex_serv_deallocate(jumped);
    }
  }
}

TEST(RngTwisterPolynomials, Mt19937JumpEqualsWalking) {
  check_jumps<MtRing>(mt_next, kMt19937JumpDegree, kMt19937JumpTerms, VrsMt19937JumpTable);
}

TEST(RngTwisterPolynomials, Sfmt19937JumpEqualsWalking) {
  check_jumps<SfRing>(sf_next, kSfmt19937JumpDegree, kSfmt19937JumpTerms, VrsSfmt19937JumpTable);
}

}  // namespace
