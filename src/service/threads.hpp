// Thread services for the ready-made statistics threaders. The kernels never
// start threads themselves; only the threaders built on this do.
#pragma once

namespace nex::service {

// Number of online processors, at least 1.
int online_processors();

// Calls body(t, context) for t = 0 .. threads-1, t = 0 on the calling thread
// and the others on threads started for this call, and joins them all before
// returning. A thread that cannot be started (or whose handle cannot be
// allocated) has its body run on the calling thread instead, so every body
// runs exactly once whatever the system refuses.
void run_threads(int threads, void (*body)(int t, void* context), void* context);

}  // namespace nex::service
