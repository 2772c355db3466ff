// Thread services on POSIX threads. Thread creation reports failure through a
// return code, so a refusal degrades to running the body on the caller rather
// than to an exception or an abort.
#include "service/threads.hpp"

#include <pthread.h>
#include <unistd.h>

#include "service/services.hpp"

namespace nex::service {

int online_processors() {
  long n = sysconf(_SC_NPROCESSORS_ONLN);
  return n < 1 ? 1 : (n > 1024 ? 1024 : static_cast<int>(n));
}

namespace {

struct Start {
  void (*body)(int, void*);
  void* context;
  int index;
};

void* trampoline(void* arg) {
  auto* s = static_cast<Start*>(arg);
  s->body(s->index, s->context);
  return nullptr;
}

}  // namespace

void run_threads(int threads, void (*body)(int, void*), void* context) {
  if (threads <= 1) {
    body(0, context);
    return;
  }
  const int extra = threads - 1;
  auto* handles = allocate_array<pthread_t>(static_cast<size_t>(extra));
  auto* starts = allocate_array<Start>(static_cast<size_t>(extra));
  auto* started = allocate_array<unsigned char>(static_cast<size_t>(extra));
  if (handles == nullptr || starts == nullptr || started == nullptr) {
    deallocate(started);
    deallocate(starts);
    deallocate(handles);
    for (int t = 0; t < threads; ++t) body(t, context);
    return;
  }
  for (int i = 0; i < extra; ++i) {
    starts[i] = Start{body, context, i + 1};
    started[i] = pthread_create(&handles[i], nullptr, trampoline, &starts[i]) == 0;
  }
  body(0, context);
  for (int i = 0; i < extra; ++i) {
    if (started[i])
      pthread_join(handles[i], nullptr);
    else
      body(i + 1, context);
  }
  deallocate(started);
  deallocate(starts);
  deallocate(handles);
}

}  // namespace nex::service
