// Failures while making a thread's state block: the first attempt reports
// message 760 and goes on, a second failure ends the process with code 3.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "nex_vtm.h"
#include "service/platform.hpp"
#include "vector_frame/thread_state.hpp"

namespace {

namespace pf = nex::platform;

std::string RunInFreshThread(pf::FailPoint point, int failures, uint32_t* mode) {
  _vtmGetMode();  // the slot and heap exist; only the new thread's block is made below
  ::testing::internal::CaptureStderr();
  std::thread([&] {
    pf::inject_failures(point, failures);
    *mode = _vtmGetMode();
    pf::inject_failures(point, 0);
  }).join();
  return ::testing::internal::GetCapturedStderr();
}

TEST(ThreadStateFailure, OneFailedBlockAllocationIsReportedAndRetried) {
  uint32_t mode = 0;
  const std::string err = RunInFreshThread(pf::FailPoint::kHeapAlloc, 1, &mode);
  EXPECT_EQ(mode, 0x1A02u);
  EXPECT_NE(err.find("per-thread state"), std::string::npos);
}

TEST(ThreadStateFailure, OneFailedSlotStoreFreesTheBlockAndRetries) {
  uint32_t mode = 0;
  const std::string err = RunInFreshThread(pf::FailPoint::kSlotSet, 1, &mode);
  EXPECT_EQ(mode, 0x1A02u);
  EXPECT_NE(err.find("per-thread state"), std::string::npos);
}

TEST(ThreadStateFailure, NoThreadBlockEndsTheProcessWithCode3) {
  EXPECT_EXIT(
      {
        _vtmGetMode();
        std::thread([] {
          pf::inject_failures(pf::FailPoint::kHeapAlloc, 2);
          _vtmGetMode();
        }).join();
      },
      ::testing::ExitedWithCode(3), "per-thread state");
}

TEST(ThreadStateFailure, ThreadsThatNeverCallHaveNoBlockAndDetachQuietly) {
  std::thread([] {}).join();  // no block made, nothing to free
  std::thread([] { nex::vtm::ThreadDetach(); }).join();
  uint32_t mode = 0;
  std::thread([&] {
    mode = _vtmGetMode();
    nex::vtm::ThreadDetach();  // frees the block; the next use makes a new one
    EXPECT_EQ(_vtmGetMode(), 0x1A02u);
  }).join();
  EXPECT_EQ(mode, 0x1A02u);
}

}  // namespace
