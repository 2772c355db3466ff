// Internal helpers of the random streams shared by the registry, the chunk
// list, the jumps and the generators.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "nex_rng.h"

static_assert(sizeof(VrsStream) == VRS_STREAM_HEAD_SIZE, "stream head must be 16 bytes");

extern "C" {
// Number of sub-generators of each row of the current table, and the number
// of rows in use.
extern int32_t VrsBrngSubCount[VRS_REGISTRY_ROWS];
extern int32_t VrsBrngRegisteredCount;
}

namespace nex::streams {

// The generator's state area, from byte 16 of the record.
template <class State>
inline State* state_of(VrsStream* stream) {
  return reinterpret_cast<State*>(reinterpret_cast<unsigned char*>(stream) + VRS_STREAM_HEAD_SIZE);
}
template <class State>
inline const State* state_of(const VrsStream* stream) {
  return reinterpret_cast<const State*>(reinterpret_cast<const unsigned char*>(stream) +
                                        VRS_STREAM_HEAD_SIZE);
}

// The row of a stream and its sub-generator, decoded with no validity test.
inline const VrsBrngProperties& row_of(const VrsStream* stream, int32_t* sub = nullptr) {
  int32_t index = 0, s = 0;
  const VrsBrngProperties* table = __vrsGetBrngBaseOffset(stream->brng, &index, &s);
  if (sub != nullptr) *sub = s;
  return table[index];
}

// Zeroes `chunks` and the word after it (the pointer and the reserved word
// together fill bytes 8 to 15 of the head in both builds).
inline void clear_chunk_head(VrsStream* stream) {
  std::memset(reinterpret_cast<unsigned char*>(stream) + 8, 0, 8);
}

// Bytes allocated for a record of this row. Besides `state_size`, the block
// must hold the seed_count x word_size bytes that a state copy moves, which
// for some rows (WH) is more than the state area.
inline size_t record_bytes(const VrsBrngProperties& row) {
  size_t size = row.state_size > 0 ? static_cast<size_t>(row.state_size) : 0;
  if (row.seed_count > 0 && row.word_size > 0) {
    size_t copied = VRS_STREAM_HEAD_SIZE +
                    static_cast<size_t>(row.seed_count) * static_cast<size_t>(row.word_size);
    if (copied > size) size = copied;
  }
  if (size < VRS_STREAM_HEAD_SIZE) size = VRS_STREAM_HEAD_SIZE;
  return size;
}

// Releases every chunk of the list and zeroes the head words (chunks.cpp).
void release_all_chunks(VrsStream* stream);

}  // namespace nex::streams
