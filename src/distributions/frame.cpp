// The guard around distribution generators and the call-back exchange it uses.
#include "distributions/frame.hpp"

#include "vector_frame/thread_state.hpp"
#include "vector_real/frame.hpp"

namespace nex::dist {

VtmErrorCallBack SwapErrorCallBack(VtmErrorCallBack hook) {
  return nex_vtm_kernel_SetErrorCallBack(hook);
}

VrsFpGuard::VrsFpGuard(VtmErrorCallBack hook) {
  namespace fpu = nex::vtm::fpu;
  fpu::clear_x87_exceptions();
  x87_cw_ = fpu::read_x87_cw();
  const uint16_t cw_want = static_cast<uint16_t>(x87_cw_ | 0x3F);
  if (cw_want != x87_cw_) {
    fpu::load_x87_cw(cw_want);
    changed_ |= kX87Changed;
  }
  mxcsr_ = fpu::read_mxcsr();
  const uint32_t mxcsr_want = mxcsr_ | 0x1F80u;
  if (mxcsr_want != mxcsr_) {
    fpu::load_mxcsr(mxcsr_want);
    changed_ |= kMxcsrChanged;
  }
  mode_ = nex_vtm_kernel_SetMode(kGuardErrorMode);
  callback_ = SwapErrorCallBack(hook);
}

VrsFpGuard::~VrsFpGuard() {
  namespace fpu = nex::vtm::fpu;
  SwapErrorCallBack(callback_);
  nex_vtm_kernel_SetMode(mode_);
  fpu::clear_x87_exceptions();
  if (changed_ & kX87Changed) fpu::load_x87_cw(x87_cw_);
  if (changed_ & kMxcsrChanged) fpu::load_mxcsr(mxcsr_);
}

}  // namespace nex::dist
