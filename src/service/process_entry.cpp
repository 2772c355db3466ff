// The library's process entry on Linux.
//
// Attach is the shared object's constructor. Detach is its destructor, which
// runs both at dlclose and at process exit. At exit other threads may still
// be inside kernels, so detach must then do nothing; the two cases are told
// apart by an atexit handler: at exit() it runs before the destructors of the
// loaded objects, while at dlclose it runs only after this object's own
// destructors (the C runtime's finaliser stands first in .fini_array and so
// runs last).
#include <cstdlib>

#include "vector_frame/thread_state.hpp"

namespace {

volatile bool g_process_terminating = false;

void MarkTerminating() { g_process_terminating = true; }

__attribute__((constructor)) void LibraryAttach() {
  if (!nex::vtm::ProcessAttach()) {
    // A loader would refuse the library; a constructor cannot, so the state
    // stays unmade and is made (or fails fatally) on first use.
    return;
  }
  std::atexit(MarkTerminating);
}

__attribute__((destructor)) void LibraryDetach() { nex::vtm::ProcessDetach(g_process_terminating); }

}  // namespace
