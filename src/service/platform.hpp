// The operating-system services of the vector-math state, mapped to Linux.
//
// Thread-local slot: a pthread key whose destructor is the thread-detach hook.
// Private heap: a small list-tracking allocator, so that destroying the heap
// releases the blocks of threads that never detached. Blocks come zeroed.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nex::platform {

using SlotIndex = uint32_t;
inline constexpr SlotIndex kNoSlot = 0xFFFFFFFFu;

// Allocates a slot; `on_thread_exit` runs for a thread leaving with a non-null
// value in it. Returns kNoSlot on failure.
SlotIndex slot_alloc(void (*on_thread_exit)(void*));
void* slot_get(SlotIndex index);
bool slot_set(SlotIndex index, void* value);
void slot_free(SlotIndex index);

struct Heap;
Heap* heap_create(size_t initial_size);
void* heap_alloc(Heap* heap, size_t size);
void heap_free(Heap* heap, void* block);
void heap_destroy(Heap* heap);

// Test hook: the next `count` calls of slot_alloc / heap_create / heap_alloc /
// slot_set (selected by `which`) fail.
enum class FailPoint { kSlotAlloc, kHeapCreate, kHeapAlloc, kSlotSet };
void inject_failures(FailPoint which, int count);

}  // namespace nex::platform
