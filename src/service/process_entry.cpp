// The library's process entry on Linux.
//
// Attach is the shared object's constructor. Detach is its destructor, which
// runs both at dlclose and at process exit. At exit other threads may still
// be inside kernels, so detach must then do nothing; the two cases are told
// apart by an atexit handler: at exit() it runs before the destructors of the
// loaded objects, while at dlclose it runs only after this object's own
// destructors (the C runtime's finaliser stands first in .fini_array and so
// runs last).
#include <atomic>

#include "vector_frame/thread_state.hpp"

// Registered with this object's own handle, so that dlclose removes (and
// runs) it; a plain atexit may be registered without the handle and would
// then run after the object is gone.
extern "C" int __cxa_atexit(void (*fn)(void*), void* arg, void* dso_handle);
extern "C" void* __dso_handle;

namespace {

std::atomic<bool> g_process_terminating{false};

void MarkTerminating(void*) { g_process_terminating.store(true); }

__attribute__((constructor)) void LibraryAttach() {
  if (!nex::vtm::ProcessAttach()) {
    // A loader would refuse the library; a constructor cannot, so the state
    // stays unmade and is made (or fails fatally) on first use.
    return;
  }
  __cxa_atexit(MarkTerminating, nullptr, &__dso_handle);
}

__attribute__((destructor)) void LibraryDetach() { nex::vtm::ProcessDetach(g_process_terminating.load()); }

}  // namespace
