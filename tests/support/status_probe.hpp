// A status probe for the accuracy tester: runs one kernel call with the
// error mode set to the callback alone and a callback that records each
// reported element's index and status and returns nonzero, so the results
// stay as the kernel stored them and no other route runs. The thread's mode
// and callback are restored afterwards.
#pragma once

#include <functional>
#include <vector>

#include "nex_vtm.h"
#include "support/accuracy.hpp"

namespace nex::accuracy {

inline std::vector<ReportedStatus>& ProbeLog() {
  thread_local std::vector<ReportedStatus> log;
  return log;
}

inline int32_t RecordStatus(VtmErrorRecord* record) {
  ProbeLog().push_back({record->index, record->code});
  return 1;
}

inline std::vector<ReportedStatus> ProbeStatuses(const std::function<void()>& call) {
  ProbeLog().clear();
  const uint32_t old_mode = _vtmSetMode(VTM_ERRMODE_CALLBACK);
  const VtmErrorCallBack old_callback = _vtmSetErrorCallBack(RecordStatus);
  _vtmSetInterfInputVectorPointer(nullptr);  // indices relative to the call's arrays
  call();
  _vtmSetErrorCallBack(old_callback);
  _vtmSetMode(old_mode);  // restores the error mode as a whole
  return ProbeLog();
}

// The probe in the form the Measure functions take.
inline StatusProbe CallbackProbe() { return ProbeStatuses; }

}  // namespace nex::accuracy
