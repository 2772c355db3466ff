// Chunk lists of streams and the shared read-only table they can point into.
//
// A chunk with a zero key is private: it owns its data block. A chunk with a
// non-zero key found in the table shares the entry's block, and the entry
// counts its users; the last user to go frees the block and the entry.
#include <cstring>

#include "service/export.hpp"
#include "service/rng_platform.hpp"
#include "service/services.hpp"
#include "streams/chunks.hpp"
#include "streams/stream.hpp"

namespace {

// The table: unordered, looked up by linear scan, holes filled by the last
// entry. One spin word guards entries and count.
VrsGlobRODataEntry g_table[VRS_GLOB_RODATA_CAPACITY];
int32_t g_count = 0;
volatile int32_t g_lock = 0;

class TableLock {
 public:
  TableLock() { nex::service::spin_acquire(&g_lock); }
  ~TableLock() { nex::service::spin_release(&g_lock); }
  TableLock(const TableLock&) = delete;
  TableLock& operator=(const TableLock&) = delete;
};

bool key_is_zero(const uint64_t* key) {
  return key[0] == 0 && key[1] == 0;
}
bool key_equal(const uint64_t* a, const uint64_t* b) {
  return a[0] == b[0] && a[1] == b[1];
}

// Scan under the caller's lock.
VrsGlobRODataEntry* find_locked(const uint64_t* id) {
  for (int32_t i = 0; i < g_count; ++i)
    if (key_equal(g_table[i].id, id)) return &g_table[i];
  return nullptr;
}

// Drops one reference from every matching entry, under the caller's lock;
// the last reference frees the shared block and removes the entry.
void unregister_locked(const uint64_t* id) {
  for (int32_t i = 0; i < g_count;) {
    if (!key_equal(g_table[i].id, id)) {
      ++i;
      continue;
    }
    if (--g_table[i].ref_count == 0) {
      if (g_table[i].data != nullptr) nex::service::deallocate(g_table[i].data);
      --g_count;
      if (i != g_count) g_table[i] = g_table[g_count];
      continue;  // the moved entry now sits at i and is examined too
    }
    ++i;
  }
}

// Releases one node: a private one with its data, a shared one by dropping
// its reference. A keyed node whose entry is gone owns its data again.
void release_chunk(VrsChunk* chunk) {
  if (key_is_zero(chunk->key)) {
    if (chunk->data != nullptr) nex::service::deallocate(chunk->data);
  } else {
    bool shared;
    {
      TableLock lock;
      shared = find_locked(chunk->key) != nullptr;
    }
    if (!shared) {
      if (chunk->data != nullptr) nex::service::deallocate(chunk->data);
    } else {
      TableLock lock;
      unregister_locked(chunk->key);
    }
  }
  nex::service::deallocate(chunk);
}

// Fills a new node and settles its key against the table: an existing entry
// lends its block (one more reference), a new key becomes an entry while
// there is room, and with no room the chunk turns private.
void attach_key(VrsChunk* node, const uint64_t* key) {
  if (key == nullptr) {
    node->key[0] = node->key[1] = 0;
    return;
  }
  node->key[0] = key[0];
  node->key[1] = key[1];
  if (key_is_zero(node->key)) return;
  TableLock lock;
  if (VrsGlobRODataEntry* entry = find_locked(node->key)) {
    ++entry->ref_count;
    node->data = entry->data;
    return;
  }
  // One below the table's capacity, so that an entry made directly through
  // __vrsCreateGlobRODataTableEntry always finds a place.
  if (g_count < VRS_GLOB_RODATA_CHUNK_LIMIT) {
    VrsGlobRODataEntry& entry = g_table[g_count++];
    entry.id[0] = node->key[0];
    entry.id[1] = node->key[1];
    entry.ref_count = 1;
    entry.data = node->data;
  } else {
    node->key[0] = node->key[1] = 0;
  }
}

VrsChunk* new_node(int32_t id, int32_t size, void* data) {
  auto* node = static_cast<VrsChunk*>(nex::service::allocate(sizeof(VrsChunk)));
  if (node == nullptr) return nullptr;
  node->id = id;
  node->size = size;
  node->data = data;
  node->next = nullptr;
  return node;
}

}  // namespace

namespace nex::streams {

void release_all_chunks(VrsStream* stream) {
  VrsChunk* node = stream->chunks;
  while (node != nullptr) {
    VrsChunk* next = node->next;
    release_chunk(node);
    node = next;
  }
  clear_chunk_head(stream);
}

int32_t glob_table_count() {
  TableLock lock;
  return g_count;
}

bool glob_table_entry(int32_t i, VrsGlobRODataEntry* out) {
  TableLock lock;
  if (i < 0 || i >= g_count) return false;
  *out = g_table[i];
  return true;
}

}  // namespace nex::streams

NEX_EXPORT int32_t __vrsFindGlobRODataTableEntry(VrsGlobRODataEntry** entry, const uint64_t* id) {
  if (id == nullptr || key_is_zero(id)) return VRS_ERROR_GLOB_RODATA_NOT_FOUND;
  TableLock lock;
  VrsGlobRODataEntry* hit = find_locked(id);
  if (hit == nullptr) return VRS_ERROR_GLOB_RODATA_NOT_FOUND;
  *entry = hit;
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrsCreateGlobRODataTableEntry(VrsGlobRODataEntry** entry, const uint64_t* id,
                                                   void* data) {
  TableLock lock;
  if (g_count >= VRS_GLOB_RODATA_CAPACITY) return VRS_ERROR_GLOB_RODATA_TABLE_FULL;
  VrsGlobRODataEntry& e = g_table[g_count++];
  e.id[0] = id[0];
  e.id[1] = id[1];
  e.ref_count = 1;
  e.data = data;
  *entry = &e;
  return VRS_STATUS_OK;
}

NEX_EXPORT void __vrsRegisterGlobRODataReference(VrsChunk* chunk, const uint64_t* id) {
  TableLock lock;
  if (VrsGlobRODataEntry* entry = find_locked(id)) {
    ++entry->ref_count;
    chunk->data = entry->data;
  }
}

NEX_EXPORT void __vrsUnregisterGlobRODataReference(const uint64_t* id) {
  TableLock lock;
  unregister_locked(id);
}

NEX_EXPORT void __vrsGenerateNewGlobalRODataTableEntryId(uint64_t* id, const void* data) {
  uint64_t candidate[2] = {
      nex::service::timestamp(),
      static_cast<uint64_t>(static_cast<int64_t>(reinterpret_cast<intptr_t>(data)))};
  for (;;) {
    if (key_is_zero(candidate)) break;
    bool taken;
    {
      TableLock lock;
      taken = find_locked(candidate) != nullptr;
    }
    if (!taken) break;
    candidate[0] = nex::service::timestamp();
  }
  id[0] = candidate[0];
  id[1] = candidate[1];
}

NEX_EXPORT int32_t __vrsAddChunk(VrsStream* stream, int32_t id, const uint64_t* key, void* data,
                                 int32_t size) {
  VrsChunk* node = new_node(id, size, data);
  if (node == nullptr) return VRS_ERROR_NO_MEMORY;
  attach_key(node, key);
  node->next = stream->chunks;
  stream->chunks = node;
  return VRS_STATUS_OK;
}

NEX_EXPORT void* __vrsSearchChunk(const VrsStream* stream, int32_t id) {
  for (const VrsChunk* node = stream->chunks; node != nullptr; node = node->next)
    if (node->id == id) return node->data;
  return nullptr;
}

NEX_EXPORT int32_t __vrsGetNumChunks(const VrsStream* stream) {
  int32_t count = 0;
  for (const VrsChunk* node = stream->chunks; node != nullptr; node = node->next) ++count;
  return count;
}

NEX_EXPORT int32_t __vrsDeleteChunksById(VrsStream* stream, int32_t id) {
  VrsChunk** link = &stream->chunks;
  while (*link != nullptr) {
    VrsChunk* node = *link;
    if (node->id == id) {
      *link = node->next;
      release_chunk(node);
    } else {
      link = &node->next;
    }
  }
  if (stream->chunks == nullptr) nex::streams::clear_chunk_head(stream);
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrsDeleteChunks(VrsStream* stream) {
  nex::streams::release_all_chunks(stream);
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrsCopyChunks(VrsStream* dest, const VrsStream* source) {
  for (const VrsChunk* node = source->chunks; node != nullptr; node = node->next) {
    // A keyed chunk whose entry the table holds shares the entry's block
    // (attach_key below takes the reference); anything else is duplicated.
    bool shared = false;
    if (!key_is_zero(node->key)) {
      TableLock lock;
      shared = find_locked(node->key) != nullptr;
    }
    void* data = node->data;
    bool owned = false;
    if (!shared) {
      const size_t size = node->size > 0 ? static_cast<size_t>(node->size) : 0;
      data = nex::service::allocate(size);
      if (data == nullptr) {
        nex::streams::release_all_chunks(dest);
        return VRS_ERROR_NO_MEMORY;
      }
      if (size > 0) nex::service::copy(data, size, node->data, size);
      owned = true;
    }
    VrsChunk* copy = new_node(node->id, node->size, data);
    if (copy == nullptr) {
      if (owned) nex::service::deallocate(data);
      nex::streams::release_all_chunks(dest);
      return VRS_ERROR_NO_MEMORY;
    }
    attach_key(copy, shared ? node->key : nullptr);
    copy->next = dest->chunks;
    dest->chunks = copy;
  }
  return VRS_STATUS_OK;
}
