// The service library: allocation and its failure hook, bounded copy,
// messages, environment and locks.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "nex_core.h"

namespace {

class AlignmentTest : public ::testing::TestWithParam<int> {};

TEST_P(AlignmentTest, BlocksAreAlignedUsableAndCounted) {
  const int align = GetParam();
  const long live = nex_serv_live_allocations();
  std::vector<void*> blocks;
  for (size_t size : {0u, 1u, 7u, 24u, 1000u, 65536u}) {
    void* p = nex_serv_allocate(size, align);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % static_cast<uintptr_t>(align < 8 ? 1 : align), 0u);
    std::memset(p, 0xAB, size);
    blocks.push_back(p);
  }
  EXPECT_EQ(nex_serv_live_allocations(), live + 6);
  for (void* p : blocks) nex_serv_deallocate(p);
  EXPECT_EQ(nex_serv_live_allocations(), live);
}

INSTANTIATE_TEST_SUITE_P(Alignments, AlignmentTest, ::testing::Values(1, 4, 8, 16, 64, 128, 4096));

TEST(Allocate, RefusesAlignmentThatIsNotAPowerOfTwo) {
  EXPECT_EQ(nex_serv_allocate(16, 48), nullptr);
  nex_serv_deallocate(nullptr);  // accepted
}

TEST(Allocate, FailureHookFailsExactlyTheKthAllocation) {
  nex_serv_set_allocation_failure(3);
  void* a = nex_serv_allocate(8, 128);
  void* b = nex_serv_allocate(8, 128);
  void* c = nex_serv_allocate(8, 128);
  void* d = nex_serv_allocate(8, 128);
  EXPECT_NE(a, nullptr);
  EXPECT_NE(b, nullptr);
  EXPECT_EQ(c, nullptr);
  EXPECT_NE(d, nullptr);
  for (void* p : {a, b, d}) nex_serv_deallocate(p);
  nex_serv_set_allocation_failure(0);
  void* e = nex_serv_allocate(8, 128);
  EXPECT_NE(e, nullptr);
  nex_serv_deallocate(e);
}

TEST(MemcpyS, CopiesWithinBoundsAndRefusesOverflow) {
  char dst[8] = "xxxxxxx";
  EXPECT_EQ(nex_serv_memcpy_s(dst, sizeof dst, "abcdefgh", 8), 0);
  EXPECT_EQ(std::memcmp(dst, "abcdefgh", 8), 0);
  EXPECT_EQ(nex_serv_memcpy_s(dst, 4, "12345", 5), 34);
  EXPECT_EQ(dst[0], 'a');  // nothing copied
  EXPECT_EQ(nex_serv_memcpy_s(nullptr, 4, "1", 1), 22);
  EXPECT_EQ(nex_serv_memcpy_s(nullptr, 0, nullptr, 0), 0);
}

TEST(Print, EveryMessageHasTextAndArgumentCountsAreChecked) {
  for (int m = 735; m <= 753; ++m) EXPECT_NE(nex_serv_message_text(m), nullptr) << m;
  EXPECT_NE(nex_serv_message_text(760), nullptr);
  EXPECT_EQ(nex_serv_message_text(754), nullptr);
  ::testing::internal::CaptureStderr();
  EXPECT_GT(nex_serv_print(1, 735, 2, "vsExp", 7), 0);
  EXPECT_GT(nex_serv_print(1, 742, 2, 3, 1.5), 0);
  EXPECT_GE(nex_serv_print(1, 760, 0), 0);
  EXPECT_EQ(nex_serv_print(1, 742, 1, 3), -1);
  EXPECT_EQ(nex_serv_print(1, 999, 0), -1);
  const std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("vsExp"), std::string::npos);
  EXPECT_NE(err.find("7"), std::string::npos);
  EXPECT_NE(err.find("a[3] = 1.5"), std::string::npos);
  EXPECT_NE(err.find("per-thread state"), std::string::npos);
}

TEST(Getenv, ReportsLengthAbsenceAndSmallBuffers) {
  setenv("NEX_CORE_TEST_VAR", "hello", 1);
  char buf[16];
  EXPECT_EQ(nex_serv_getenv("NEX_CORE_TEST_VAR", buf, sizeof buf), 5);
  EXPECT_STREQ(buf, "hello");
  EXPECT_EQ(nex_serv_getenv("NEX_CORE_TEST_VAR", buf, 5), -1);
  unsetenv("NEX_CORE_TEST_VAR");
  EXPECT_EQ(nex_serv_getenv("NEX_CORE_TEST_VAR", buf, sizeof buf), 0);
}

TEST(Lock, SerialisesIncrementsAcrossThreads) {
  volatile int lock = 0;
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        nex_serv_lock(&lock);
        ++counter;
        nex_serv_unlock(&lock);
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(counter, 80000);
  EXPECT_EQ(lock, 0);
}

TEST(Exit, EndsTheProcessWithTheCode) {
  EXPECT_EXIT(nex_serv_exit(3), ::testing::ExitedWithCode(3), "");
}

}  // namespace
