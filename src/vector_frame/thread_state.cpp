// Per-thread state block and mode word.
//
// The block is found through a thread-local slot and lives in a private heap.
// Both are created once, each under its own lock with a second test inside,
// and the two locks are never held together. An initialised thread reaches
// its block with one slot read and a test.
#include "vector_frame/thread_state.hpp"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "nex_core.h"
#include "service/export.hpp"
#include "service/platform.hpp"

namespace nex::vtm {
namespace {

namespace pf = nex::platform;

constexpr uint32_t kDefaultMode = VTM_DEFAULT_MODE;
constexpr uint64_t kNoSetting = ~uint64_t{0};
constexpr int kMessageNoState = 760;

// Read without a lock on every call, written once under a lock: atomics, so
// that the unlocked read is well defined (a plain load on x86).
std::atomic<pf::SlotIndex> g_tls_index{pf::kNoSlot};
std::atomic<pf::Heap*> g_state_heap{nullptr};
volatile int g_tls_lock = 0;
volatile int g_heap_lock = 0;

// The environment variable's name is kept scrambled (XOR 0x5A) so that it does
// not stand in the binary's strings as plain text; 12 characters.
constexpr unsigned char kScrambledName[] = {'N' ^ 0x5A, 'E' ^ 0x5A, 'X' ^ 0x5A, '_' ^ 0x5A,
                                            'V' ^ 0x5A, 'T' ^ 0x5A, 'M' ^ 0x5A, '_' ^ 0x5A,
                                            'M' ^ 0x5A, 'O' ^ 0x5A, 'D' ^ 0x5A, 'E' ^ 0x5A};
static_assert(sizeof(kScrambledName) == 12);

struct Keyword {
  const char* text;
  int length;
  uint64_t bits;
};

// Tried in this order; the first whose bytes match over its own length wins.
// The sixth is 16 letters, one short of the word it spells: the full spelling
// leaves a 'T' where a comma or the end must stand and voids the setting.
constexpr Keyword kKeywords[] = {
    {"LA", 2, 0x1},
    {"HA", 2, 0x2},
    {"EP", 2, 0x3},
    {"DEFAULT_PRECISION", 17, 0x0},
    {"FLOAT_CONSISTENT", 16, 0x10},
    {"DOUBLE_CONSISTEN", 16, 0x20},
    {"RESTORE", 7, 0x30},
    {"ERRMODE_IGNORE", 14, 0x100},
    {"ERRMODE_ERRNO", 13, 0x200},
    {"ERRMODE_STDERR", 14, 0x400},
    {"ERRMODE_EXCEPT", 14, 0x800},
    {"ERRMODE_CALLBACK", 16, 0x1000},
    {"ERRMODE_NOERR", 13, 0x2000},
    {"ERRMODE_DEFAULT", 15, 0x1A00},
    {"TRAP_INVALID", 12, 0x1000000},
    {"TRAP_DIVBYZERO", 14, 0x2000000},
    {"TRAP_OVERFLOW", 13, 0x4000000},
    {"TRAP_UNDERFLOW", 14, 0x8000000},
};
static_assert(sizeof(kKeywords) / sizeof(kKeywords[0]) == 18);

constexpr int kSettingBuffer = 256;

pf::SlotIndex TlsIndex() { return g_tls_index.load(std::memory_order_acquire); }
pf::Heap* StateHeap() { return g_state_heap.load(std::memory_order_acquire); }

void OnThreadExit(void* block) {
  // The key's destructor has already cleared the slot; free the block.
  pf::heap_free(StateHeap(), block);
}

bool EnsureHeap() {
  if (StateHeap() == nullptr) {
    nex_serv_lock(&g_heap_lock);
    if (StateHeap() == nullptr) {
      g_state_heap.store(pf::heap_create(sizeof(VtmThreadState)), std::memory_order_release);
    }
    nex_serv_unlock(&g_heap_lock);
  }
  return StateHeap() != nullptr;
}

// Allocates the slot once; returns it (kNoSlot when that failed).
pf::SlotIndex EnsureSlot() {
  nex_serv_lock(&g_tls_lock);
  if (TlsIndex() == pf::kNoSlot) g_tls_index.store(pf::slot_alloc(OnThreadExit), std::memory_order_release);
  nex_serv_unlock(&g_tls_lock);
  return TlsIndex();
}

// Makes the calling thread's block and stores it in the slot. The heap hands
// out zeroed memory; the five leading words are zeroed explicitly as well, and
// interf_input_vector is left as the heap gave it.
VtmThreadState* MakeBlock() {
  if (!EnsureHeap()) return nullptr;
  auto* block = static_cast<VtmThreadState*>(pf::heap_alloc(StateHeap(), sizeof(VtmThreadState)));
  if (block == nullptr) return nullptr;
  const pf::SlotIndex index = TlsIndex();
  if (index == pf::kNoSlot || !pf::slot_set(index, block)) {
    pf::heap_free(StateHeap(), block);
    return nullptr;
  }
  block->mode = 0;
  block->err_status = 0;
  block->err_callback = nullptr;
  block->reserved0 = 0;
  block->reserved1 = 0;
  return block;
}

void ReportNoState() { nex_serv_print(1, kMessageNoState, 0); }

}  // namespace

VtmThreadState* GetThreadState() {
  const pf::SlotIndex index = TlsIndex();
  if (index != pf::kNoSlot) {
    auto* block = static_cast<VtmThreadState*>(pf::slot_get(index));
    if (block != nullptr) return block;
  } else if (EnsureSlot() == pf::kNoSlot) {
    ReportNoState();
  }
  // First attempt: failures are reported and not fatal here.
  if (MakeBlock() == nullptr) ReportNoState();
  if (TlsIndex() != pf::kNoSlot) {
    auto* block = static_cast<VtmThreadState*>(pf::slot_get(TlsIndex()));
    if (block != nullptr) return block;
  }
  // Second attempt: a thread without a block cannot run the vector math.
  VtmThreadState* block = MakeBlock();
  if (block != nullptr) return block;
  ReportNoState();
  nex_serv_exit(3);
  return nullptr;
}

uint64_t ParseModeSetting(const char* value, int length) {
  uint64_t acc = 0;
  int pos = 0;
  for (;;) {
    if (pos + 4 > length || std::memcmp(value + pos, "VTM_", 4) != 0) return kNoSetting;
    const Keyword* match = nullptr;
    for (const Keyword& k : kKeywords) {
      if (pos + 4 + k.length >= kSettingBuffer) continue;
      if (pos + 4 + k.length <= length && std::memcmp(value + pos + 4, k.text, k.length) == 0) {
        match = &k;
        break;
      }
    }
    if (match == nullptr) return kNoSetting;
    pos += 4 + match->length;
    acc |= match->bits;
    if (pos == length) return acc;
    if (value[pos] != ',') return kNoSetting;
    ++pos;
  }
}

uint64_t ReadDefaultMode() {
  char name[sizeof(kScrambledName) + 1];
  for (size_t i = 0; i < sizeof(kScrambledName); ++i) {
    name[i] = static_cast<char>(kScrambledName[i] ^ 0x5A);
  }
  name[sizeof(kScrambledName)] = '\0';
  char buffer[kSettingBuffer];
  int length = nex_serv_getenv(name, buffer, kSettingBuffer);
  if (length <= 0) return kNoSetting;
  return ParseModeSetting(buffer, length);
}

uint32_t GetMode() {
  VtmThreadState* state = GetThreadState();
  if (state->mode != 0) return state->mode;
  uint64_t setting = ReadDefaultMode();
  uint32_t mode;
  if (setting == kNoSetting) {
    mode = kDefaultMode;
  } else {
    mode = static_cast<uint32_t>(setting);
    if ((mode & VTM_ACCURACY_MASK) == 0) mode |= VTM_HA;
    if ((mode & VTM_ERRMODE_MASK) == 0) mode |= VTM_ERRMODE_DEFAULT;
  }
  state->mode = mode;
  return mode;
}

uint32_t SetMode(uint32_t mode) {
  // A zero field of the new word leaves the old field alone; the consistency
  // field and bits outside the four masks are never written here.
  const uint32_t old = GetMode();
  uint32_t m = old;
  for (uint32_t mask : {VTM_ACCURACY_MASK, VTM_ERRMODE_MASK, VTM_DENORMAL_MASK, VTM_TRAP_MASK}) {
    if ((mode & mask) != 0) m = (m & ~mask) | (mode & mask);
  }
  GetThreadState()->mode = m;
  return old;
}

bool ProcessAttach() {
  // An index made already (by an earlier attach) means there is nothing to do.
  if (TlsIndex() != pf::kNoSlot) return true;
  if (EnsureSlot() == pf::kNoSlot || MakeBlock() == nullptr) {
    ReportNoState();
    return false;
  }
  return true;
}

void ThreadDetach() {
  const pf::SlotIndex index = TlsIndex();
  if (index == pf::kNoSlot) return;
  void* block = pf::slot_get(index);
  if (block != nullptr) pf::heap_free(StateHeap(), block);
  pf::slot_set(index, nullptr);
}

void ProcessDetach(bool terminating) {
  // At process exit other threads may still be running kernels: leave
  // everything in place then.
  if (terminating) return;
  ThreadDetach();
  const pf::SlotIndex old_index = g_tls_index.exchange(pf::kNoSlot);
  if (old_index != pf::kNoSlot) pf::slot_free(old_index);
  pf::heap_destroy(g_state_heap.exchange(nullptr));
}

}  // namespace nex::vtm

// ---- Exported operations ---------------------------------------------------

NEX_EXPORT uint32_t _vtmGetMode(void) { return nex::vtm::GetMode(); }
NEX_EXPORT uint32_t nex_vtm_kernel_GetMode(void) __attribute__((alias("_vtmGetMode")));
NEX_EXPORT uint32_t _vtmSetMode(uint32_t mode) { return nex::vtm::SetMode(mode); }
NEX_EXPORT uint32_t nex_vtm_kernel_SetMode(uint32_t) __attribute__((alias("_vtmSetMode")));
NEX_EXPORT int32_t nex_vtm_kernel_GetTTableIndex(void) {
  return nex::vtm::TTableIndexOf(nex::vtm::GetMode());
}
NEX_EXPORT int32_t nex_vtm_kernel_GetTTableIndexM(const void*, uint32_t mode) {
  return nex::vtm::TTableIndexOf(mode);
}
NEX_EXPORT const void* _vtmSetInterfInputVectorPointer(const void* p) {
  nex::vtm::GetThreadState()->interf_input_vector = p;
  return p;
}
NEX_EXPORT const void* nex_vtm_kernel_SetInterfInputVectorPointer(const void*)
    __attribute__((alias("_vtmSetInterfInputVectorPointer")));
NEX_EXPORT int32_t dll_cpu_version(void) { return 1; }
