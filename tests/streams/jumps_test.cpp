// The GF(2) polynomial jump, exercised on a small linear generator of the
// tests' own: the lagged XOR recurrence w(n) = w(n-89) ^ w(n-51), whose
// characteristic polynomial is x^89 + x^38 + 1.
#include <cstring>
#include <random>

#include "streams/helpers.hpp"

namespace {

constexpr int kLag = 89;
constexpr int kTap = 38;  // ring[idx + 38] is w(n - 51)
const uint32_t kTerms[] = {0, 38, 89};

struct Record {
  VrsStream head;
  uint32_t ring[kLag];
  uint32_t idx;
};

void t_clear(void* s) {
  std::memset(static_cast<Record*>(s)->ring, 0, sizeof(Record) - 16);
}
void t_add(void* d, const void* s, int32_t) {
  auto* dst = static_cast<Record*>(d);
  auto* src = static_cast<const Record*>(s);
  for (int m = 0; m < kLag; ++m)
    dst->ring[(dst->idx + m) % kLag] ^= src->ring[(src->idx + m) % kLag];
}
void t_copy(void* d, const void* s, int32_t) {
  std::memcpy(static_cast<Record*>(d)->ring, static_cast<const Record*>(s)->ring,
              sizeof(Record) - 16);
}
uint32_t t_step(Record* r) {
  const uint32_t v = r->ring[r->idx] ^ r->ring[(r->idx + kTap) % kLag];
  r->ring[r->idx] = v;
  r->idx = (r->idx + 1) % kLag;
  return v;
}
void t_next(void* s) {
  t_step(static_cast<Record*>(s));
}
void t_finish(VrsStream* stream, const void* work, uint32_t) {
  t_copy(stream, work, 0);
}
int32_t t_prepare(VrsStream*, uint64_t* s, uint32_t* rest) {
  *rest = 0;
  return *s != 0;
}

// A record with a fixed pseudo-random ring.
struct TestStream {
  Record* r;
  explicit TestStream(uint32_t seed) {
    r = static_cast<Record*>(nex_serv_allocate(sizeof(Record), 128));
    std::memset(r, 0, sizeof(Record));
    std::mt19937 g(seed);
    for (auto& w : r->ring) w = g();
  }
  ~TestStream() { nex_serv_deallocate(r); }
  VrsStream* s() { return &r->head; }
  std::vector<uint32_t> take(int n) {
    std::vector<uint32_t> out(n);
    for (auto& v : out) v = t_step(r);
    return out;
  }
};

using JumpFn = decltype(&__vrs_SkipAheadHorner);

int32_t jump(JumpFn fn, TestStream& t, uint64_t s) {
  return fn(t.s(), t_clear, t_add, t_copy, t_next, t_finish, t_prepare, s, 2, kLag, sizeof(Record),
            3, kTerms);
}

class RngPolyJump : public ::testing::TestWithParam<JumpFn> {};

TEST_P(RngPolyJump, EqualsWalking) {
  std::mt19937_64 pick(31337);
  std::vector<uint64_t> counts = {1, 2, 7, 8, 88, 89, 90, 127, 128, 255, 256, 1000};
  for (int i = 0; i < 10; ++i) counts.push_back(pick() % 200000);
  for (uint64_t s : counts) {
    TestStream walked(5), jumped(5);
    for (uint64_t i = 0; i < s; ++i) t_step(walked.r);
    ASSERT_EQ(jump(GetParam(), jumped, s), VRS_STATUS_OK);
    EXPECT_EQ(walked.take(200), jumped.take(200)) << s;
  }
}

TEST_P(RngPolyJump, HugeCountsCompose) {
  std::mt19937_64 pick(8080);
  for (int rep = 0; rep < 10; ++rep) {
    const uint64_t s1 = pick() >> 1, s2 = pick() >> 1;
    TestStream a(9), b(9), c(9);
    ASSERT_EQ(jump(GetParam(), a, s1), 0);
    ASSERT_EQ(jump(GetParam(), a, s2), 0);
    ASSERT_EQ(jump(GetParam(), b, s1 + s2), 0);
    // Horner and the window agree.
    ASSERT_EQ(
        jump(GetParam() == __vrs_SkipAheadHorner ? __vrs_SkipAheadSWin : __vrs_SkipAheadHorner, c,
             s1 + s2),
        0);
    const auto from_b = b.take(100);
    EXPECT_EQ(a.take(100), from_b);
    EXPECT_EQ(c.take(100), from_b);
  }
}

TEST_P(RngPolyJump, ZeroSkipAllocatesNothing) {
  TestStream t(1), u(1);
  const long live = nex_serv_live_allocations();
  nex_serv_set_allocation_failure(1);
  EXPECT_EQ(jump(GetParam(), t, 0), VRS_STATUS_OK);
  nex_serv_set_allocation_failure(0);
  EXPECT_EQ(nex_serv_live_allocations(), live);
  EXPECT_EQ(t.take(10), u.take(10));
}

TEST_P(RngPolyJump, AllocationFailuresLeaveTheStream) {
  const long live = nex_serv_live_allocations();
  // Horner makes 3 blocks (polynomial, work area, work state), the window 5.
  for (int k = 1; k <= 5; ++k) {
    TestStream t(3), u(3);
    nex_serv_set_allocation_failure(k);
    const int32_t status = jump(GetParam(), t, 123456789);
    nex_serv_set_allocation_failure(0);
    if (status == VRS_STATUS_OK) {
      EXPECT_GT(k, 3);
      continue;
    }
    EXPECT_EQ(status, VRS_ERROR_NO_MEMORY);
    EXPECT_EQ(t.take(10), u.take(10));
  }
  EXPECT_EQ(nex_serv_live_allocations(), live);
}

INSTANTIATE_TEST_SUITE_P(RngBoth, RngPolyJump,
                         ::testing::Values(&__vrs_SkipAheadHorner, &__vrs_SkipAheadSWin));

// x^e mod P by a plain bit-at-a-time method, for comparison.
std::vector<uint8_t> naive_rem(uint64_t e, const std::vector<uint32_t>& terms) {
  const uint32_t deg = terms.back();
  std::vector<uint8_t> r(deg, 0);
  auto mulx = [&](std::vector<uint8_t>& p) {
    const uint8_t top = p[deg - 1];
    for (uint32_t i = deg - 1; i > 0; --i) p[i] = p[i - 1];
    p[0] = 0;
    if (top)
      for (size_t t = 0; t + 1 < terms.size(); ++t) p[terms[t]] ^= 1;
  };
  auto mul = [&](const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    std::vector<uint8_t> acc(deg, 0), sh = a;
    for (uint32_t i = 0; i < deg; ++i) {
      if (b[i])
        for (uint32_t k = 0; k < deg; ++k) acc[k] ^= sh[k];
      mulx(sh);
    }
    return acc;
  };
  r[0] = 1;
  std::vector<uint8_t> base(deg, 0);
  base[1 % deg] = 1;
  for (; e != 0; e >>= 1) {
    if (e & 1) r = mul(r, base);
    base = mul(base, base);
  }
  return r;
}

TEST(RngPolyRem, AgainstPlainArithmetic) {
  const std::vector<std::vector<uint32_t>> polys = {
      {0, 38, 89}, {0, 1, 3, 4, 64}, {0, 1, 2, 7, 127}, {0, 103, 250}, {0, 5, 65}};
  std::mt19937_64 pick(1234);
  for (const auto& p : polys) {
    const uint32_t deg = p.back();
    const int32_t words = static_cast<int32_t>((deg + 63) / 64) + 1;
    std::vector<uint64_t> e_list = {0, 1, deg - 1, deg, deg + 1, 2 * deg, ~uint64_t{0}};
    for (int i = 0; i < 8; ++i) e_list.push_back(pick() >> (pick() % 60));
    for (uint64_t e : e_list) {
      std::vector<uint64_t> got(words, ~uint64_t{0});
      ASSERT_EQ(__vrsPolyRem(e, static_cast<int32_t>(deg), static_cast<int32_t>(p.size()), p.data(),
                             words, got.data()),
                0);
      const auto want = naive_rem(e, p);
      for (uint32_t b = 0; b < static_cast<uint32_t>(words) * 64; ++b) {
        const int bit = (got[b / 64] >> (b % 64)) & 1;
        ASSERT_EQ(bit, b < deg ? want[b] : 0) << "deg " << deg << " e " << e << " bit " << b;
      }
    }
  }
}

TEST(RngPolyRem, AllocationFailureAndBadShapes) {
  const long live = nex_serv_live_allocations();
  uint64_t out[4];
  nex_serv_set_allocation_failure(1);
  EXPECT_EQ(__vrsPolyRem(1000, 89, 3, kTerms, 2, out), VRS_ERROR_NO_MEMORY);
  nex_serv_set_allocation_failure(1);  // below the degree: no work area needed
  EXPECT_EQ(__vrsPolyRem(70, 89, 3, kTerms, 2, out), VRS_STATUS_OK);
  nex_serv_set_allocation_failure(0);
  EXPECT_EQ(out[1], uint64_t{1} << 6);
  EXPECT_EQ(__vrsPolyRem(70, 89, 3, kTerms, 1, out), VRS_ERROR_BAD_ARGUMENTS);
  EXPECT_EQ(nex_serv_live_allocations(), live);
}

TEST(RngVect3PowMod, ZeroAndOneStep) {
  const uint32_t m = 4294967087u;
  const uint32_t row[3] = {0, 1403580u, m - 810728u};  // newest, middle, oldest
  uint32_t v[3] = {1, 2, 3};
  __vrsiVect3PowMod(v, row, m, 0);
  EXPECT_EQ(v[0], 1u);
  EXPECT_EQ(v[2], 3u);
  __vrsiVect3PowMod(v, row, m, 1);
  EXPECT_EQ(v[0], 2u);
  EXPECT_EQ(v[1], 3u);
  EXPECT_EQ(v[2], static_cast<uint32_t>((1403580ull * 2 + (m - 810728ull) * 1) % m));
}

}  // namespace
