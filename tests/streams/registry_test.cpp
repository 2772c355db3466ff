// Registry, id decoding and the life of a stream record.
#include <cstring>

#include "streams/helpers.hpp"

namespace {

using nex_test::Stream;

struct DecodeCase {
  int32_t brng;
  bool legacy;
  int32_t index;
  int32_t sub;
};

class RngDecodeTest : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(RngDecodeTest, TableIndexAndSub) {
  const DecodeCase c = GetParam();
  int32_t index = -7, sub = -7;
  VrsBrngProperties* table = __vrsGetBrngBaseOffset(c.brng, &index, &sub);
  EXPECT_EQ(table, c.legacy ? __RegBrngs : __RegBrngsNew);
  EXPECT_EQ(index, c.index);
  EXPECT_EQ(sub, c.sub);
}

INSTANTIATE_TEST_SUITE_P(
    RngIds, RngDecodeTest,
    ::testing::Values(DecodeCase{0, true, 0, 0}, DecodeCase{3, true, 3, 0},
                      DecodeCase{4, true, 4, 0}, DecodeCase{276, true, 4, 272},
                      DecodeCase{277, true, 277, 0}, DecodeCase{281, true, 281, 0},
                      DecodeCase{0xFFFFF, true, 0xFFFFF, 0}, DecodeCase{0x100000, false, 0, 0},
                      DecodeCase{0x500000 + 272, false, 4, 272},
                      DecodeCase{0x900000 + 6023, false, 8, 6023},
                      DecodeCase{0x1000000, false, 15, 0}, DecodeCase{0x1100005, false, 16, 5}));

TEST(RngRegistry, RowsAsPublished) {
  struct Expect {
    int32_t brng, state, seeds, zero, word, bits;
  };
  const Expect rows[] = {{0x100000, 24, 1, 0, 4, 31},
                         {0x200000, 1024, 252, 1, 4, 32},
                         {0x300000, 40, 6, 1, 4, 32},
                         {0x400000, 32, 1, 0, 8, 59},
                         {0x500000, 48, 4, 1, 16, 24}};
  for (const Expect& e : rows) {
    SCOPED_TRACE(e.brng);
    VrsBrngProperties p{};
    ASSERT_EQ(__vrsGetBrngProperties(e.brng, &p), VRS_STATUS_OK);
    EXPECT_EQ(p.state_size, e.state);
    EXPECT_EQ(p.seed_count, e.seeds);
    EXPECT_EQ(p.includes_zero, e.zero);
    EXPECT_EQ(p.word_size, e.word);
    EXPECT_EQ(p.bit_count, e.bits);
    // The legacy row of the same generator is the same row.
    const int32_t legacy = (e.brng >> 20) - 1;
    VrsBrngProperties q{};
    ASSERT_EQ(__vrsGetBrngProperties(legacy, &q), VRS_STATUS_OK);
    EXPECT_EQ(std::memcmp(&p, &q, sizeof p), 0);
  }
  // All 273 legacy WH rows repeat the WH row; rows 279 to 511 are empty.
  for (int i = 4; i <= 276; ++i)
    EXPECT_EQ(std::memcmp(&__RegBrngs[i], &__RegBrngsNew[4], sizeof(VrsBrngProperties)), 0);
  const VrsBrngProperties zero{};
  for (int i = 279; i < VRS_REGISTRY_ROWS; ++i)
    EXPECT_EQ(std::memcmp(&__RegBrngs[i], &zero, sizeof zero), 0) << i;
}

TEST(RngRegistry, ValidityRules) {
  EXPECT_EQ(__vrsIsBrngValid(__RegBrngs, 280, 999), VRS_STATUS_OK);  // sub not read
  EXPECT_EQ(__vrsIsBrngValid(__RegBrngs, 279, 0), VRS_STATUS_OK);
  EXPECT_EQ(__vrsIsBrngValid(__RegBrngs, 281, 0), VRS_ERROR_INVALID_BRNG);
  EXPECT_EQ(__vrsIsBrngValid(__RegBrngsNew, 4, 272), VRS_STATUS_OK);
  EXPECT_EQ(__vrsIsBrngValid(__RegBrngsNew, 4, 273), VRS_ERROR_INVALID_BRNG);
  EXPECT_EQ(__vrsIsBrngValid(__RegBrngsNew, __vrsGetNumRegBrngs(), 0), VRS_ERROR_INVALID_BRNG);
  EXPECT_EQ(__vrsIsBrngValid(__RegBrngsNew, 0, -1), VRS_STATUS_OK);  // signed comparison
}

class RngRefusedIdTest : public ::testing::TestWithParam<int32_t> {};

// Every refusal leaves stream_out untouched and allocates nothing.
TEST_P(RngRefusedIdTest, NewStreamReturnsInvalidBrng) {
  const long live = nex_serv_live_allocations();
  VrsStream* sentinel = reinterpret_cast<VrsStream*>(uintptr_t{0x1234});
  VrsStream* s = sentinel;
  const uint32_t seed = 1;
  EXPECT_EQ(__vrsNewStreamEx(&s, GetParam(), 1, &seed), VRS_ERROR_INVALID_BRNG);
  EXPECT_EQ(s, sentinel);
  EXPECT_EQ(nex_serv_live_allocations(), live);
}

INSTANTIATE_TEST_SUITE_P(RngIds, RngRefusedIdTest,
                         ::testing::Values(0xA00000, 0xB00000, 0xC00000, 0xA00001,  // abstract rows
                                           0x500000 + 273, 0x900000 + 6024,  // past the sub count
                                           281, 279, 280, -1,
                                           0x7FF00000,            // out of range / empty rows
                                           0x600000, 0x800000));  // rows not built here

TEST(RngRegistry, LegacyAndFamilyIdsGiveTheSameStreams) {
  const std::vector<uint32_t> seed = {12345, 678, 9, 10, 11, 12};
  for (int32_t legacy : {0, 1, 2, 3, 4, 100, 276}) {
    const int32_t family = legacy >= 4 ? 0x500000 + (legacy - 4) : (legacy + 1) << 20;
    Stream a(legacy, seed), b(family, seed);
    ASSERT_NE(a.get(), nullptr);
    ASSERT_NE(b.get(), nullptr);
    EXPECT_EQ(__vrsGetStreamStateBrng(a.get()), legacy);  // the id as passed
    EXPECT_EQ(__vrsGetStreamStateBrng(b.get()), family);
    EXPECT_EQ(nex_test::words(a.get(), 37), nex_test::words(b.get(), 37)) << legacy;
  }
}

TEST(RngRegistry, NewStreamHead) {
  Stream s(VRS_BRNG_MCG59, {5});
  EXPECT_EQ(s->brng, VRS_BRNG_MCG59);
  EXPECT_EQ(s->stream_flag, 1);
  EXPECT_EQ(s->reserved_byte, 0);
  EXPECT_EQ(s->reserved_half, 0);
  EXPECT_EQ(s->chunks, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(s.get()) % 128, 0u);
}

TEST(RngRegistry, AllocateStreamChecksFirst) {
  VrsStream* s = nullptr;
  EXPECT_EQ(__vrsAllocateStream(&s, __RegBrngsNew, 0x500000 + 273, 4, 273), VRS_ERROR_INVALID_BRNG);
  EXPECT_EQ(s, nullptr);
  ASSERT_EQ(__vrsAllocateStream(&s, __RegBrngsNew, 0x500007, 4, 7), VRS_STATUS_OK);
  EXPECT_EQ(s->brng, 0x500007);
  EXPECT_EQ(s->stream_flag, 1);
  EXPECT_EQ(s->chunks, nullptr);
  __vrsDeleteStream(&s);
  EXPECT_EQ(s, nullptr);
}

TEST(RngRegistry, InitStreamRefusesUnknownMethods) {
  Stream s(VRS_BRNG_MCG31M1, {1});
  for (int32_t id :
       {VRS_BRNG_MCG31M1, VRS_BRNG_R250, VRS_BRNG_MRG32K3A, VRS_BRNG_MCG59, VRS_BRNG_WH}) {
    Stream t(id, {1});
    const uint32_t p[2] = {0, 0};
    EXPECT_EQ(nex_test::row(t.get()).init_stream(3, t.get(), 2, p), VRS_ERROR_UNKNOWN_METHOD);
    EXPECT_EQ(nex_test::row(t.get()).init_stream(-1, t.get(), 2, p), VRS_ERROR_UNKNOWN_METHOD);
  }
}

TEST(RngRegistry, CopyStreamContinuesIdentically) {
  for (int32_t id :
       {VRS_BRNG_MCG31M1, VRS_BRNG_R250, VRS_BRNG_MRG32K3A, VRS_BRNG_MCG59, VRS_BRNG_WH + 100, 7}) {
    Stream a(id, {99, 98, 97, 96});
    nex_test::words(a.get(), 11);
    Stream b;
    ASSERT_EQ(__vrsCopyStream(b.out(), a.get()), VRS_STATUS_OK);
    EXPECT_EQ(b->brng, id);
    EXPECT_EQ(nex_test::words(a.get(), 300), nex_test::words(b.get(), 300)) << id;
  }
}

TEST(RngRegistry, CopyStateMovesSeedWords) {
  Stream a(VRS_BRNG_MCG59, {1, 2}), b(VRS_BRNG_MCG59, {3});
  nex_test::words(a.get(), 5);
  ASSERT_EQ(__vrsCopyStreamState(b.get(), a.get()), VRS_STATUS_OK);
  // Only word_size x seed_count = 8 bytes move: the position, not the
  // multiplier. After a leapfrog of `a` that difference shows.
  EXPECT_EQ(nex_test::words(a.get(), 9), nex_test::words(b.get(), 9));

  // WH copies 64 bytes although its state area is 32: the record must hold it.
  Stream w1(VRS_BRNG_WH + 272, {5, 6, 7, 8}), w2(VRS_BRNG_WH + 272, {1});
  EXPECT_EQ(__vrsCopyStreamState(w2.get(), w1.get()), VRS_STATUS_OK);
  EXPECT_EQ(nex_test::words(w1.get(), 10), nex_test::words(w2.get(), 10));

  // The same pointer twice returns at once and keeps the chunks.
  auto* block = static_cast<int*>(nex_serv_allocate(sizeof(int), 128));
  ASSERT_EQ(__vrsAddChunk(a.get(), 42, nullptr, block, sizeof(int)), VRS_STATUS_OK);
  EXPECT_EQ(__vrsCopyStreamState(a.get(), a.get()), VRS_STATUS_OK);
  EXPECT_EQ(__vrsSearchChunk(a.get(), 42), block);
}

// A generator of the caller's own, for registration.
int32_t user_init(int32_t, VrsStream* s, int32_t, const uint32_t*) {
  *nex::streams::state_of<uint32_t>(s) = 7;
  return 0;
}
int32_t user_s(VrsStream*, int32_t, float*, float, float) {
  return 0;
}
int32_t user_d(VrsStream*, int32_t, double*, double, double) {
  return 0;
}
int32_t user_i(VrsStream* s, int32_t n, void* r) {
  for (int32_t i = 0; i < n; ++i)
    static_cast<uint32_t*>(r)[i] = (*nex::streams::state_of<uint32_t>(s))++;
  return 0;
}

TEST(RngRegistry, RegistrationOrderOfTestsAndIds) {
  VrsBrngProperties p{20, 1, 1, 4, 32, user_init, user_s, user_d, user_i};
  auto with = [&](auto edit) {
    VrsBrngProperties q = p;
    edit(q);
    return __vrsRegisterBrng(&q);
  };
  const int32_t before = __vrsGetNumRegBrngs();
  // Each test in its order: a failing earlier field hides a later one.
  EXPECT_EQ(with([](auto& q) {
              q.state_size = -1;
              q.word_size = 3;
            }),
            VRS_ERROR_BAD_STATE_SIZE);
  EXPECT_EQ(with([](auto& q) {
              q.word_size = 12;
              q.seed_count = 0;
              q.init_stream = nullptr;
              q.generate_s = nullptr;
              q.generate_d = nullptr;
              q.generate_i = nullptr;
            }),
            VRS_ERROR_BAD_WORD_SIZE);
  EXPECT_EQ(with([](auto& q) {
              q.seed_count = 0;
              q.bit_count = 0;
            }),
            VRS_ERROR_BAD_SEED_COUNT);
  EXPECT_EQ(with([](auto& q) {
              q.bit_count = 0;
              q.generate_d = nullptr;
            }),
            VRS_ERROR_BAD_BIT_COUNT);
  EXPECT_EQ(with([](auto& q) {
              q.bit_count = 1;
              q.generate_i = nullptr;
            }),
            VRS_ERROR_NULL_POINTER);
  EXPECT_EQ(with([](auto& q) { q.generate_s = nullptr; }), VRS_ERROR_NULL_POINTER);
  EXPECT_EQ(with([](auto& q) { q.init_stream = nullptr; }), VRS_ERROR_NULL_POINTER);
  EXPECT_EQ(__vrsGetNumRegBrngs(), before);

  const int32_t id = __vrsRegisterBrng(&p);
  EXPECT_EQ(id, (before << 20) + 0x100000);
  if (before == VRS_BUILTIN_ROWS) {
    EXPECT_EQ(id, VRS_BRNG_FIRST_USER);
  }
  EXPECT_EQ(__vrsGetNumRegBrngs(), before + 1);
  // The same properties again: a second, distinct generator.
  EXPECT_EQ(__vrsRegisterBrng(&p), id + 0x100000);

  VrsBrngProperties got{};
  ASSERT_EQ(__vrsGetBrngProperties(id, &got), VRS_STATUS_OK);
  EXPECT_EQ(std::memcmp(&got, &p, sizeof p), 0);
  EXPECT_EQ(__vrsGetBrngProperties(id + 1, &got), VRS_ERROR_INVALID_BRNG);  // sub count 1
  EXPECT_EQ(__vrsGetBrngProperties(id + 0x200000, &got), VRS_ERROR_INVALID_BRNG);

  // The new generator finds its state at byte 16 of its record.
  Stream s(id, {});
  ASSERT_NE(s.get(), nullptr);
  EXPECT_EQ((std::vector<uint32_t>{7, 8, 9}), nex_test::words(s.get(), 3));
}

TEST(RngRegistry, GetPropertiesRanges) {
  VrsBrngProperties p{};
  EXPECT_EQ(__vrsGetBrngProperties(280, &p), VRS_STATUS_OK);
  EXPECT_EQ(p.state_size, 0);
  EXPECT_EQ(__vrsGetBrngProperties(281, &p), VRS_ERROR_INVALID_BRNG);
  EXPECT_EQ(__vrsGetBrngProperties(0x500000 + 273, &p), VRS_ERROR_INVALID_BRNG);
  EXPECT_EQ(__vrsGetBrngProperties(0x500000 + 272, &p), VRS_STATUS_OK);
}

// Allocation failures: every failure point returns -4 and nothing leaks.
TEST(RngRegistry, AllocationFailures) {
  const long live = nex_serv_live_allocations();
  VrsStream* s = reinterpret_cast<VrsStream*>(uintptr_t{0x10});
  nex_serv_set_allocation_failure(1);
  const uint32_t seed = 3;
  EXPECT_EQ(__vrsNewStreamEx(&s, VRS_BRNG_R250, 1, &seed), VRS_ERROR_NO_MEMORY);
  EXPECT_EQ(s, nullptr);
  EXPECT_EQ(nex_serv_live_allocations(), live);

  Stream src(VRS_BRNG_MCG31M1, {3});
  for (int k = 1; k <= 3; ++k) {
    auto* b = nex_serv_allocate(64, 128);
    ASSERT_EQ(__vrsAddChunk(src.get(), k, nullptr, b, 64), VRS_STATUS_OK);
  }
  const long with_src = nex_serv_live_allocations();
  // Copy = record + 3 x (data + node): fail each of the 7 allocations.
  for (int k = 1; k <= 7; ++k) {
    VrsStream* copy = nullptr;
    nex_serv_set_allocation_failure(k);
    EXPECT_EQ(__vrsCopyStream(&copy, src.get()), VRS_ERROR_NO_MEMORY) << k;
    nex_serv_set_allocation_failure(0);
    if (k == 1) {
      EXPECT_EQ(copy, nullptr);
    } else {
      ASSERT_NE(copy, nullptr);
      EXPECT_EQ(__vrsGetNumChunks(copy), 0);
      __vrsDeleteStream(&copy);
    }
    EXPECT_EQ(nex_serv_live_allocations(), with_src) << k;
  }
  VrsStream* copy = nullptr;
  nex_serv_set_allocation_failure(8);
  EXPECT_EQ(__vrsCopyStream(&copy, src.get()), VRS_STATUS_OK);
  nex_serv_set_allocation_failure(0);
  EXPECT_EQ(__vrsGetNumChunks(copy), 3);
  __vrsDeleteStream(&copy);
  src.reset();
  EXPECT_EQ(nex_serv_live_allocations(), live);
}

}  // namespace
