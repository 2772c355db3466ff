// The status word and the error callback of the calling thread.
//
// Both live in the thread's block and are read and written without locks.
// Installing or removing a callback also sets or clears the callback flag of
// the error mode, through SetMode: when that flag was the only one set,
// removing the callback leaves the field as it was (SetMode does not empty a
// field), which is harmless since the reporter tests the pointer as well.
#include "nex_vtm.h"
#include "service/export.hpp"
#include "vector_frame/thread_state.hpp"

namespace nex::vtm {
namespace {

int32_t SetErrStatus(int32_t status) {
  VtmThreadState* state = GetThreadState();
  const int32_t old = state->err_status;
  state->err_status = status;
  return old;
}

VtmErrorCallBack SetErrorCallBack(VtmErrorCallBack callback) {
  VtmThreadState* state = GetThreadState();
  const VtmErrorCallBack old = state->err_callback;
  uint32_t mode = GetMode();
  if (callback != nullptr) {
    mode |= VTM_ERRMODE_CALLBACK;
  } else {
    mode &= ~VTM_ERRMODE_CALLBACK;
  }
  state->err_callback = callback;
  SetMode(mode);
  return old;
}

}  // namespace
}  // namespace nex::vtm

NEX_EXPORT int32_t _vtmSetErrStatus(int32_t status) {
  return nex::vtm::SetErrStatus(status);
}
NEX_EXPORT int32_t nex_vtm_kernel_SetErrStatus(int32_t) __attribute__((alias("_vtmSetErrStatus")));
NEX_EXPORT int32_t _vtmGetErrStatus(void) {
  return nex::vtm::GetThreadState()->err_status;
}
NEX_EXPORT int32_t nex_vtm_kernel_GetErrStatus(void) __attribute__((alias("_vtmGetErrStatus")));
NEX_EXPORT int32_t _vtmClearErrStatus(void) {
  return nex::vtm::SetErrStatus(0);
}
NEX_EXPORT int32_t nex_vtm_kernel_ClearErrStatus(void) __attribute__((alias("_vtmClearErrStatus")));

NEX_EXPORT VtmErrorCallBack _vtmSetErrorCallBack(VtmErrorCallBack callback) {
  return nex::vtm::SetErrorCallBack(callback);
}
NEX_EXPORT VtmErrorCallBack nex_vtm_kernel_SetErrorCallBack(VtmErrorCallBack)
    __attribute__((alias("_vtmSetErrorCallBack")));
NEX_EXPORT VtmErrorCallBack _vtmGetErrorCallBack(void) {
  return nex::vtm::GetThreadState()->err_callback;
}
NEX_EXPORT VtmErrorCallBack nex_vtm_kernel_GetErrorCallBack(void)
    __attribute__((alias("_vtmGetErrorCallBack")));
NEX_EXPORT VtmErrorCallBack _vtmClearErrorCallBack(void) {
  return nex::vtm::SetErrorCallBack(nullptr);
}
NEX_EXPORT VtmErrorCallBack nex_vtm_kernel_ClearErrorCallBack(void)
    __attribute__((alias("_vtmClearErrorCallBack")));
