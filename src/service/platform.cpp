// Linux implementations of the slot and heap services.
#include "service/platform.hpp"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace nex::platform {
namespace {

std::atomic<int> g_fail[4];

bool should_fail(FailPoint p) {
  std::atomic<int>& c = g_fail[static_cast<int>(p)];
  int v = c.load(std::memory_order_relaxed);
  while (v > 0) {
    if (c.compare_exchange_weak(v, v - 1, std::memory_order_relaxed)) return true;
  }
  return false;
}

// Each heap block is preceded by this header; the heap keeps a doubly linked
// list so that heap_destroy can free what is left.
struct alignas(16) BlockHeader {
  BlockHeader* prev;
  BlockHeader* next;
};

}  // namespace

struct Heap {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  BlockHeader head{&head, &head};
};

SlotIndex slot_alloc(void (*on_thread_exit)(void*)) {
  if (should_fail(FailPoint::kSlotAlloc)) return kNoSlot;
  pthread_key_t key;
  if (pthread_key_create(&key, on_thread_exit) != 0) return kNoSlot;
  return static_cast<SlotIndex>(key);
}

void* slot_get(SlotIndex index) { return pthread_getspecific(static_cast<pthread_key_t>(index)); }

bool slot_set(SlotIndex index, void* value) {
  if (should_fail(FailPoint::kSlotSet)) return false;
  return pthread_setspecific(static_cast<pthread_key_t>(index), value) == 0;
}

void slot_free(SlotIndex index) { pthread_key_delete(static_cast<pthread_key_t>(index)); }

Heap* heap_create(size_t /*initial_size*/) {
  if (should_fail(FailPoint::kHeapCreate)) return nullptr;
  void* mem = std::calloc(1, sizeof(Heap));
  if (mem == nullptr) return nullptr;
  return new (mem) Heap();
}

void* heap_alloc(Heap* heap, size_t size) {
  if (heap == nullptr || should_fail(FailPoint::kHeapAlloc)) return nullptr;
  auto* h = static_cast<BlockHeader*>(std::calloc(1, sizeof(BlockHeader) + size));
  if (h == nullptr) return nullptr;
  pthread_mutex_lock(&heap->mutex);
  h->next = heap->head.next;
  h->prev = &heap->head;
  heap->head.next->prev = h;
  heap->head.next = h;
  pthread_mutex_unlock(&heap->mutex);
  return h + 1;
}

void heap_free(Heap* heap, void* block) {
  if (heap == nullptr || block == nullptr) return;
  BlockHeader* h = static_cast<BlockHeader*>(block) - 1;
  pthread_mutex_lock(&heap->mutex);
  h->prev->next = h->next;
  h->next->prev = h->prev;
  pthread_mutex_unlock(&heap->mutex);
  std::free(h);
}

void heap_destroy(Heap* heap) {
  if (heap == nullptr) return;
  for (BlockHeader* h = heap->head.next; h != &heap->head;) {
    BlockHeader* next = h->next;
    std::free(h);
    h = next;
  }
  pthread_mutex_destroy(&heap->mutex);
  heap->~Heap();
  std::free(heap);
}

void inject_failures(FailPoint which, int count) {
  g_fail[static_cast<int>(which)].store(count, std::memory_order_relaxed);
}

}  // namespace nex::platform
