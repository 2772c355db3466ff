// Ready-made threaders for the statistics kernels: a serial one, and one that
// starts the threads of each call (through the service layer) and spreads
// parallel_for items over them in contiguous runs.
#include <atomic>

#include "nex_stats.h"
#include "service/export.hpp"
#include "service/threads.hpp"

namespace {

// ---- Serial --------------------------------------------------------------

void serial_for(int items, int, void* context, SSForBody body) {
  for (int i = 0; i < items; ++i) body(i, 0, 1, context);
}
// Runs the bodies of all `threads` in turn, so a kernel that sized its work
// for several threads still gets every part done.
void serial_region(int threads, void* context, SSRegionBody body) {
  if (threads < 1) threads = 1;
  for (int t = 0; t < threads; ++t) body(t, 0, threads, context);
}
int serial_max() {
  return 1;
}

constexpr SSThreader kSerial = {serial_for, serial_for, serial_region, nullptr, serial_max};

// ---- Parallel ------------------------------------------------------------

std::atomic<int> g_max_threads{0};

int parallel_max() {
  int m = g_max_threads.load(std::memory_order_relaxed);
  return m > 0 ? m : nex::service::online_processors();
}

int clamp_threads(int threads) {
  const int m = parallel_max();
  if (threads > m) threads = m;
  return threads < 1 ? 1 : threads;
}

struct ForJob {
  int items;
  int threads;
  void* context;
  SSForBody body;
};

void for_worker(int t, void* arg) {
  auto* job = static_cast<ForJob*>(arg);
  // Contiguous share of the items: [t*items/threads, (t+1)*items/threads).
  const long long lo = static_cast<long long>(t) * job->items / job->threads;
  const long long hi = static_cast<long long>(t + 1) * job->items / job->threads;
  for (long long i = lo; i < hi; ++i) job->body(static_cast<int>(i), t, job->threads, job->context);
}

void parallel_for(int items, int threads, void* context, SSForBody body) {
  if (items <= 0) return;
  threads = clamp_threads(threads);
  if (threads > items) threads = items;
  ForJob job{items, threads, context, body};
  nex::service::run_threads(threads, for_worker, &job);
}

struct RegionJob {
  int threads;
  void* context;
  SSRegionBody body;
};

void region_worker(int t, void* arg) {
  auto* job = static_cast<RegionJob*>(arg);
  job->body(t, 0, job->threads, job->context);
}

// A region always runs exactly `threads` bodies: the kernel sized its private
// buffers for that many, so the count is not clamped here.
void parallel_region(int threads, void* context, SSRegionBody body) {
  if (threads < 1) threads = 1;
  RegionJob job{threads, context, body};
  nex::service::run_threads(threads, region_worker, &job);
}

constexpr SSThreader kParallel = {parallel_for, parallel_for, parallel_region, nullptr,
                                  parallel_max};

}  // namespace

NEX_EXPORT const SSThreader* __vrsSSThreaderSerial(void) {
  return &kSerial;
}
NEX_EXPORT const SSThreader* __vrsSSThreaderParallel(void) {
  return &kParallel;
}
NEX_EXPORT int __vrsSSThreaderParallelSetMax(int threads) {
  const int old = parallel_max();
  g_max_threads.store(threads < 1 ? 1 : threads, std::memory_order_relaxed);
  return old;
}
