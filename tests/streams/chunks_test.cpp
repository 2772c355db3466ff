// Chunk lists and the shared read-only table.
#include <atomic>
#include <thread>

#include "streams/chunks.hpp"
#include "streams/helpers.hpp"

namespace {

using nex_test::Stream;

void* block(size_t bytes, unsigned char fill = 0) {
  auto* p = static_cast<unsigned char*>(nex_serv_allocate(bytes, 128));
  for (size_t i = 0; i < bytes; ++i) p[i] = fill;
  return p;
}

int32_t ref_count_of(const uint64_t* key) {
  VrsGlobRODataEntry* e = nullptr;
  if (__vrsFindGlobRODataTableEntry(&e, key) != VRS_STATUS_OK) return 0;
  return e->ref_count;
}

// Every test leaves the shared table empty.
class RngChunks : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(nex::streams::glob_table_count(), 0); }
  void TearDown() override { EXPECT_EQ(nex::streams::glob_table_count(), 0); }
};

TEST_F(RngChunks, EmptyStream) {
  Stream s(VRS_BRNG_MCG31M1, {1});
  EXPECT_EQ(__vrsSearchChunk(s.get(), 1), nullptr);
  EXPECT_EQ(__vrsGetNumChunks(s.get()), 0);
  EXPECT_EQ(__vrsDeleteChunks(s.get()), VRS_STATUS_OK);
  EXPECT_EQ(__vrsDeleteChunksById(s.get(), 1), VRS_STATUS_OK);
}

TEST_F(RngChunks, ListOrderHidingAndDeleteById) {
  Stream s(VRS_BRNG_MCG31M1, {1});
  void *a = block(8), *b = block(8), *c = block(8);
  ASSERT_EQ(__vrsAddChunk(s.get(), 5, nullptr, a, 8), VRS_STATUS_OK);
  ASSERT_EQ(__vrsAddChunk(s.get(), 6, nullptr, b, 8), VRS_STATUS_OK);
  ASSERT_EQ(__vrsAddChunk(s.get(), 5, nullptr, c, 8), VRS_STATUS_OK);
  EXPECT_EQ(__vrsGetNumChunks(s.get()), 3);
  EXPECT_EQ(__vrsSearchChunk(s.get(), 5), c);  // the later one hides the earlier
  EXPECT_EQ(s->chunks->data, c);               // head insertion
  EXPECT_EQ(s->chunks->next->data, b);
  EXPECT_EQ(__vrsDeleteChunksById(s.get(), 5), VRS_STATUS_OK);
  EXPECT_EQ(__vrsGetNumChunks(s.get()), 1);
  EXPECT_EQ(__vrsSearchChunk(s.get(), 6), b);
  EXPECT_EQ(__vrsDeleteChunksById(s.get(), 6), VRS_STATUS_OK);
  EXPECT_EQ(s->chunks, nullptr);
}

TEST_F(RngChunks, CopyDuplicatesPrivateChunksInReverseOrder) {
  Stream s(VRS_BRNG_MCG31M1, {1});
  ASSERT_EQ(__vrsAddChunk(s.get(), 1, nullptr, block(16, 0x11), 16), VRS_STATUS_OK);
  ASSERT_EQ(__vrsAddChunk(s.get(), 2, nullptr, block(16, 0x22), 16), VRS_STATUS_OK);
  Stream t;
  ASSERT_EQ(__vrsCopyStream(t.out(), s.get()), VRS_STATUS_OK);
  ASSERT_EQ(__vrsGetNumChunks(t.get()), 2);
  EXPECT_EQ(t->chunks->id, 1);  // reversed relative to the source's list
  EXPECT_EQ(t->chunks->next->id, 2);
  for (int id : {1, 2}) {
    auto* p = static_cast<unsigned char*>(__vrsSearchChunk(t.get(), id));
    EXPECT_NE(p, __vrsSearchChunk(s.get(), id));
    EXPECT_EQ(p[15], id == 1 ? 0x11 : 0x22);
  }
}

TEST_F(RngChunks, SharedChunkReferenceCountsAcrossCopyAndDelete) {
  const long live = nex_serv_live_allocations();
  const uint64_t key[2] = {0xABCDEF, 1};
  {
    Stream s(VRS_BRNG_MCG31M1, {1});
    void* data = block(32, 7);
    ASSERT_EQ(__vrsAddChunk(s.get(), 9, key, data, 32), VRS_STATUS_OK);
    EXPECT_EQ(ref_count_of(key), 1);
    Stream t;
    ASSERT_EQ(__vrsCopyStream(t.out(), s.get()), VRS_STATUS_OK);
    EXPECT_EQ(ref_count_of(key), 2);
    EXPECT_EQ(__vrsSearchChunk(t.get(), 9), data);  // one block serves both
    Stream u(VRS_BRNG_MCG59, {1});
    ASSERT_EQ(__vrsCopyStreamState(u.get(), s.get()), VRS_STATUS_OK);
    EXPECT_EQ(ref_count_of(key), 3);
    u.reset();
    t.reset();
    EXPECT_EQ(ref_count_of(key), 1);
    EXPECT_EQ(nex::streams::glob_table_count(), 1);
  }
  // The last user freed the block and removed the entry.
  EXPECT_EQ(ref_count_of(key), 0);
  EXPECT_EQ(nex_serv_live_allocations(), live);
}

TEST_F(RngChunks, AddingUnderAnExistingKeyKeepsTheCallersBlock) {
  const uint64_t key[2] = {77, 0};
  Stream s(VRS_BRNG_MCG31M1, {1});
  void* shared = block(8, 1);
  void* mine = block(8, 2);
  ASSERT_EQ(__vrsAddChunk(s.get(), 3, key, shared, 8), VRS_STATUS_OK);
  ASSERT_EQ(__vrsAddChunk(s.get(), 4, key, mine, 8), VRS_STATUS_OK);
  EXPECT_EQ(__vrsSearchChunk(s.get(), 4), shared);
  EXPECT_EQ(ref_count_of(key), 2);
  nex_serv_deallocate(mine);  // still the caller's
}

TEST_F(RngChunks, TableFunctionsAndRemovalOrder) {
  VrsGlobRODataEntry* e = nullptr;
  const uint64_t zero[2] = {0, 0};
  EXPECT_EQ(__vrsFindGlobRODataTableEntry(&e, zero), VRS_ERROR_GLOB_RODATA_NOT_FOUND);
  EXPECT_EQ(__vrsFindGlobRODataTableEntry(&e, nullptr), VRS_ERROR_GLOB_RODATA_NOT_FOUND);
  const uint64_t k[3][2] = {{1, 1}, {2, 2}, {3, 3}};
  EXPECT_EQ(__vrsFindGlobRODataTableEntry(&e, k[0]), VRS_ERROR_GLOB_RODATA_NOT_FOUND);
  for (auto& key : k) ASSERT_EQ(__vrsCreateGlobRODataTableEntry(&e, key, block(4)), 0);
  ASSERT_EQ(__vrsFindGlobRODataTableEntry(&e, k[1]), VRS_STATUS_OK);
  EXPECT_EQ(e->ref_count, 1);

  VrsChunk node{};
  __vrsRegisterGlobRODataReference(&node, k[0]);
  VrsGlobRODataEntry first{};
  ASSERT_TRUE(nex::streams::glob_table_entry(0, &first));
  EXPECT_EQ(first.ref_count, 2);
  EXPECT_EQ(node.data, first.data);
  __vrsUnregisterGlobRODataReference(k[0]);
  __vrsUnregisterGlobRODataReference(k[0]);  // entry 0 goes: entry 2 moves into it
  VrsGlobRODataEntry moved{};
  ASSERT_TRUE(nex::streams::glob_table_entry(0, &moved));
  EXPECT_EQ(moved.id[0], 3u);
  EXPECT_EQ(nex::streams::glob_table_count(), 2);
  __vrsUnregisterGlobRODataReference(k[1]);
  __vrsUnregisterGlobRODataReference(k[2]);
}

TEST_F(RngChunks, TableFullAt127ForChunksAnd128ForEntries) {
  VrsGlobRODataEntry* e = nullptr;
  uint64_t key[2] = {0, 0x5000};
  for (int i = 0; i < 127; ++i) {
    key[0] = i + 1;
    ASSERT_EQ(__vrsCreateGlobRODataTableEntry(&e, key, nullptr), VRS_STATUS_OK);
  }
  // A chunk with a new key now stays private, with its key zeroed.
  Stream s(VRS_BRNG_MCG31M1, {1});
  const uint64_t fresh[2] = {999, 999};
  void* data = block(8);
  ASSERT_EQ(__vrsAddChunk(s.get(), 1, fresh, data, 8), VRS_STATUS_OK);
  EXPECT_EQ(s->chunks->key[0], 0u);
  EXPECT_EQ(s->chunks->key[1], 0u);
  EXPECT_EQ(s->chunks->data, data);
  EXPECT_EQ(nex::streams::glob_table_count(), 127);
  // The table function itself still has one place, then reports full.
  key[0] = 1000;
  EXPECT_EQ(__vrsCreateGlobRODataTableEntry(&e, key, nullptr), VRS_STATUS_OK);
  key[0] = 1001;
  EXPECT_EQ(__vrsCreateGlobRODataTableEntry(&e, key, nullptr), VRS_ERROR_GLOB_RODATA_TABLE_FULL);
  for (int i = 0; i < 127; ++i) {
    key[0] = i + 1;
    __vrsUnregisterGlobRODataReference(key);
  }
  key[0] = 1000;
  __vrsUnregisterGlobRODataReference(key);
}

TEST_F(RngChunks, GeneratedIdsAreNonZeroAndFree) {
  uint64_t a[2], b[2];
  int x = 0;
  __vrsGenerateNewGlobalRODataTableEntryId(a, &x);
  EXPECT_EQ(a[1], static_cast<uint64_t>(static_cast<int64_t>(reinterpret_cast<intptr_t>(&x))));
  VrsGlobRODataEntry* e = nullptr;
  ASSERT_EQ(__vrsCreateGlobRODataTableEntry(&e, a, nullptr), VRS_STATUS_OK);
  __vrsGenerateNewGlobalRODataTableEntryId(b, &x);
  EXPECT_FALSE(a[0] == b[0] && a[1] == b[1]);
  __vrsUnregisterGlobRODataReference(a);
}

TEST_F(RngChunks, AllocationFailuresLeakNothing) {
  const long live = nex_serv_live_allocations();
  Stream s(VRS_BRNG_MCG31M1, {1});
  void* data = block(8);
  nex_serv_set_allocation_failure(1);
  EXPECT_EQ(__vrsAddChunk(s.get(), 1, nullptr, data, 8), VRS_ERROR_NO_MEMORY);
  EXPECT_EQ(__vrsGetNumChunks(s.get()), 0);
  nex_serv_deallocate(data);  // the caller's after a failed add

  const uint64_t key[2] = {4242, 1};
  ASSERT_EQ(__vrsAddChunk(s.get(), 2, key, block(8), 8), VRS_STATUS_OK);
  ASSERT_EQ(__vrsAddChunk(s.get(), 3, nullptr, block(8), 8), VRS_STATUS_OK);
  Stream t(VRS_BRNG_MCG31M1, {1});
  // Copy order: the private chunk (data, node), then the shared one (node).
  for (int k = 1; k <= 3; ++k) {
    nex_serv_set_allocation_failure(k);
    EXPECT_EQ(__vrsCopyChunks(t.get(), s.get()), VRS_ERROR_NO_MEMORY) << k;
    nex_serv_set_allocation_failure(0);
    EXPECT_EQ(t->chunks, nullptr);
    EXPECT_EQ(ref_count_of(key), 1);
  }
  t.reset();
  s.reset();
  EXPECT_EQ(nex_serv_live_allocations(), live);
}

// Many threads create, copy and delete streams that share chunks; every
// reference count must come out exact (run under ThreadSanitizer in CI).
TEST_F(RngChunks, ConcurrentCopiesKeepReferenceCountsExact) {
  const long live = nex_serv_live_allocations();
  constexpr int kThreads = 8;
  constexpr int kRounds = 300;
  const uint64_t keys[2][2] = {{0x1111, 1}, {0x2222, 2}};
  Stream owner(VRS_BRNG_MCG31M1, {1});
  for (int k = 0; k < 2; ++k)
    ASSERT_EQ(__vrsAddChunk(owner.get(), k, keys[k], block(64), 64), VRS_STATUS_OK);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (int r = 0; r < kRounds; ++r) {
        VrsStream* a = nullptr;
        VrsStream* b = nullptr;
        const uint32_t seed = static_cast<uint32_t>(t * 1000 + r);
        if (__vrsNewStreamEx(&a, VRS_BRNG_MCG31M1, 1, &seed) != 0) ++failures;
        // Each thread's stream takes its own reference to both shared keys.
        for (int k = 0; k < 2; ++k)
          if (__vrsAddChunk(a, k, keys[k], nullptr, 64) != 0) ++failures;
        if (__vrsCopyStream(&b, a) != 0) ++failures;
        if (__vrsCopyStreamState(a, b) != 0) ++failures;
        __vrsDeleteStream(r % 2 ? &a : &b);
        __vrsDeleteStream(r % 2 ? &b : &a);
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(ref_count_of(keys[0]), 1);
  EXPECT_EQ(ref_count_of(keys[1]), 1);
  owner.reset();
  EXPECT_EQ(nex_serv_live_allocations(), live);
}

}  // namespace
