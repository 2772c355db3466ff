// Shared pieces of the reporting tests: a fixture that gives each test a
// known error mode and clean status, and a callback that records reports.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nex_vtm.h"
#include "vector/vtm_test_util.hpp"

namespace nex::test {

struct Reported {
  int32_t code;
  int32_t index;
  double a1, a2, r1, r2;
  std::string name;
  int32_t name_len;
};

// Records every report; returns `answer`, optionally replacing r1 first.
struct Recorder {
  static inline std::vector<Reported> seen;
  static inline int32_t answer = 0;
  static inline bool replace = false;
  static inline double replacement = 0;
  static inline uint32_t mxcsr_inside = 0;
  static inline uint16_t x87_cw_inside = 0;

  static int32_t Callback(VtmErrorRecord* rec) {
    mxcsr_inside = ReadMxcsr();
    x87_cw_inside = ReadX87Cw();
    Reported r{rec->code, rec->index, 0, 0, 0, 0, std::string(rec->name), rec->name_len};
    if (rec->code != VTM_STATUS_BAD_ARGUMENT && rec->code != VTM_STATUS_BAD_MEMORY) {
      r.a1 = rec->a1;
      r.a2 = rec->a2;
      r.r1 = rec->r1;
      r.r2 = rec->r2;
    }
    seen.push_back(r);
    if (replace) rec->r1 = replacement;
    return answer;
  }
  static void Reset() {
    seen.clear();
    answer = 0;
    replace = false;
    replacement = 0;
  }
};

// Each test starts with error mode `kMode` (callback only by default), the
// recorder installed, status 0, no interface pointer; the thread's error
// mode and callback are put back afterwards. Trap bits are never set here:
// SetMode cannot clear them again, so trapping runs in child processes.
class ReportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    old_mode_ = _vtmGetMode();
    old_callback_ = _vtmGetErrorCallBack();
    Recorder::Reset();
    _vtmSetErrorCallBack(&Recorder::Callback);
    _vtmSetMode(VTM_ERRMODE_CALLBACK);
    _vtmClearErrStatus();
    _vtmSetInterfInputVectorPointer(nullptr);
  }
  void TearDown() override {
    _vtmSetInterfInputVectorPointer(nullptr);
    _vtmSetErrorCallBack(old_callback_);
    _vtmSetMode(old_mode_ & (VTM_ERRMODE_MASK | VTM_ACCURACY_MASK));
    _vtmClearErrStatus();
    __asm__ volatile("fnclex");
  }
  FpStateGuard guard_;
  uint32_t old_mode_ = 0;
  VtmErrorCallBack old_callback_ = nullptr;
};

}  // namespace nex::test
