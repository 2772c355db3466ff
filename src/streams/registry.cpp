// The generator registry and the life of a stream record: id decoding,
// validity, creation, copy, deletion and registration of caller generators.
#include <cstring>

#include "service/export.hpp"
#include "service/services.hpp"
#include "streams/stream.hpp"

namespace {

// Registry row literal of a generator with the usual four slot names.
#define NEX_ROW(Name, state, seeds, zero, word, bits)                              \
  {                                                                                \
    state, seeds, zero, word, bits, __vrsBRng##Name##InitStream, __vrssBRng##Name, \
        __vrsdBRng##Name, __vrsiBRng##Name                                         \
  }
#define NEX_ROW_MCG31M1 NEX_ROW(MCG31M1, 24, 1, 0, 4, 31)
#define NEX_ROW_R250 NEX_ROW(R250, 1024, 252, 1, 4, 32)
#define NEX_ROW_MRG32K3A NEX_ROW(MRG32K3A, 40, 6, 1, 4, 32)
#define NEX_ROW_MCG59 NEX_ROW(MCG59, 32, 1, 0, 8, 59)
#define NEX_ROW_WH NEX_ROW(WH, 48, 4, 1, 16, 24)

// The legacy table repeats the WH row once for each of its 273 sets.
#define NEX_REP1(x) x,
#define NEX_REP2(x) NEX_REP1(x) NEX_REP1(x)
#define NEX_REP4(x) NEX_REP2(x) NEX_REP2(x)
#define NEX_REP8(x) NEX_REP4(x) NEX_REP4(x)
#define NEX_REP16(x) NEX_REP8(x) NEX_REP8(x)
#define NEX_REP32(x) NEX_REP16(x) NEX_REP16(x)
#define NEX_REP64(x) NEX_REP32(x) NEX_REP32(x)
#define NEX_REP128(x) NEX_REP64(x) NEX_REP64(x)
#define NEX_REP256(x) NEX_REP128(x) NEX_REP128(x)
#define NEX_REP273(x) NEX_REP256(x) NEX_REP16(x) NEX_REP1(x)

constexpr int32_t kFamilyBase = VRS_BRNG_INC;
constexpr VrsBrngProperties kWhRow = NEX_ROW_WH;

}  // namespace

// Rows of generators that are not part of this build stay zero; their ids are
// refused (sub count 0 in the current table, null slots in the legacy one).
#define NEX_EXPORT_DATA __attribute__((visibility("default")))
extern "C" {
NEX_EXPORT_DATA VrsBrngProperties __RegBrngs[VRS_REGISTRY_ROWS] = {
    NEX_ROW_MCG31M1, NEX_ROW_R250, NEX_ROW_MRG32K3A, NEX_ROW_MCG59, NEX_REP273(kWhRow)};

NEX_EXPORT_DATA VrsBrngProperties __RegBrngsNew[VRS_REGISTRY_ROWS] = {
    NEX_ROW_MCG31M1, NEX_ROW_R250, NEX_ROW_MRG32K3A, NEX_ROW_MCG59, NEX_ROW_WH};

int32_t VrsBrngSubCount[VRS_REGISTRY_ROWS] = {1, 1, 1, 1, VRS_WH_SET_COUNT};
int32_t VrsBrngRegisteredCount = VRS_BUILTIN_ROWS;
}

NEX_EXPORT VrsBrngProperties* __vrsGetBrngBaseOffset(int32_t brng, int32_t* index, int32_t* sub) {
  if (brng >= kFamilyBase) {
    *index = (brng >> 20) - 1;
    *sub = brng & VRS_BRNG_SUB_MASK;
    return __RegBrngsNew;
  }
  if (brng >= VRS_LEGACY_WH_FIRST && brng <= VRS_LEGACY_WH_LAST) {
    *index = VRS_LEGACY_WH_FIRST;
    *sub = brng - VRS_LEGACY_WH_FIRST;
  } else {
    *index = brng;
    *sub = 0;
  }
  return __RegBrngs;
}

NEX_EXPORT int32_t __vrsIsBrngValid(const VrsBrngProperties* table, int32_t index, int32_t sub) {
  if (table == __RegBrngs)
    return index < VRS_LEGACY_ROW_LIMIT ? VRS_STATUS_OK : VRS_ERROR_INVALID_BRNG;
  if (index >= VrsBrngRegisteredCount) return VRS_ERROR_INVALID_BRNG;
  return sub >= VrsBrngSubCount[index] ? VRS_ERROR_INVALID_BRNG : VRS_STATUS_OK;
}

namespace {

// A legacy id can decode to a negative index (negative ids), and the legacy
// table has empty rows that pass the validity test; neither may be followed
// into a slot call. Both are refused like any other invalid id.
bool row_usable(const VrsBrngProperties* table, int32_t index) {
  return index >= 0 && table[index].init_stream != nullptr;
}

void fill_head(VrsStream* stream, int32_t brng) {
  stream->brng = brng;
  stream->stream_flag = 1;
  stream->reserved_byte = 0;
  stream->reserved_half = 0;
  nex::streams::clear_chunk_head(stream);
}

}  // namespace

NEX_EXPORT int32_t __vrsAllocateStream(VrsStream** stream_out, const VrsBrngProperties* table,
                                       int32_t brng, int32_t index, int32_t sub) {
  int32_t status = __vrsIsBrngValid(table, index, sub);
  if (status != VRS_STATUS_OK) return status;
  if (index < 0) return VRS_ERROR_INVALID_BRNG;
  auto* stream =
      static_cast<VrsStream*>(nex::service::allocate(nex::streams::record_bytes(table[index])));
  *stream_out = stream;
  if (stream == nullptr) return VRS_ERROR_NO_MEMORY;
  fill_head(stream, brng);
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrsNewStreamEx(VrsStream** stream_out, int32_t brng, int32_t n,
                                    const uint32_t* params) {
  // The abstract rows (ids 0xA00000, 0xB00000 and 0xC00000) are created only
  // by their own operations.
  if ((brng & static_cast<int32_t>(0xFFEFFFFF)) == VRS_BRNG_IABSTRACT || brng == VRS_BRNG_SABSTRACT)
    return VRS_ERROR_INVALID_BRNG;
  int32_t index = 0, sub = 0;
  VrsBrngProperties* table = __vrsGetBrngBaseOffset(brng, &index, &sub);
  int32_t status = __vrsIsBrngValid(table, index, sub);
  if (status != VRS_STATUS_OK) return status;
  if (!row_usable(table, index)) return VRS_ERROR_INVALID_BRNG;
  status = __vrsAllocateStream(stream_out, table, brng, index, sub);
  if (status != VRS_STATUS_OK) return status;
  return table[index].init_stream(VRS_INIT_METHOD_STANDARD, *stream_out, n, params);
}

NEX_EXPORT int32_t __vrsDeleteStream(VrsStream** stream_out) {
  VrsStream* stream = *stream_out;
  nex::streams::release_all_chunks(stream);
  nex::service::deallocate(stream);
  *stream_out = nullptr;
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrsCopyStream(VrsStream** stream_out, const VrsStream* source) {
  int32_t index = 0, sub = 0;
  VrsBrngProperties* table = __vrsGetBrngBaseOffset(source->brng, &index, &sub);
  int32_t status = __vrsIsBrngValid(table, index, sub);
  if (status != VRS_STATUS_OK) return status;
  if (!row_usable(table, index)) return VRS_ERROR_INVALID_BRNG;
  const VrsBrngProperties& row = table[index];
  const size_t bytes = nex::streams::record_bytes(row);
  auto* copy = static_cast<VrsStream*>(nex::service::allocate(bytes));
  *stream_out = copy;
  if (copy == nullptr) return VRS_ERROR_NO_MEMORY;
  nex::service::copy(copy, bytes, source, bytes);
  fill_head(copy, source->brng);
  return __vrsCopyChunks(copy, source);
}

NEX_EXPORT int32_t __vrsCopyStreamState(VrsStream* dest, const VrsStream* source) {
  if (dest == source) return VRS_STATUS_OK;
  const VrsBrngProperties& row = nex::streams::row_of(source);
  // Deliberately word_size x seed_count bytes, not the state area: the saved
  // seed words are what a state copy moves. Records are allocated large
  // enough for this count (see record_bytes).
  if (row.seed_count > 0 && row.word_size > 0) {
    const size_t count = static_cast<size_t>(row.seed_count) * static_cast<size_t>(row.word_size);
    std::memmove(nex::streams::state_of<unsigned char>(dest),
                 nex::streams::state_of<unsigned char>(source), count);
  }
  nex::streams::release_all_chunks(dest);
  return __vrsCopyChunks(dest, source);
}

NEX_EXPORT int32_t __vrsRegisterBrng(const VrsBrngProperties* properties) {
  if (properties->state_size < 0) return VRS_ERROR_BAD_STATE_SIZE;
  const int32_t word = properties->word_size;
  if (word != 4 && word != 8 && word != 16) return VRS_ERROR_BAD_WORD_SIZE;
  if (properties->seed_count < 1) return VRS_ERROR_BAD_SEED_COUNT;
  if (properties->bit_count < 1) return VRS_ERROR_BAD_BIT_COUNT;
  if (properties->generate_d == nullptr || properties->generate_s == nullptr ||
      properties->generate_i == nullptr || properties->init_stream == nullptr)
    return VRS_ERROR_NULL_POINTER;
  // The table has a fixed number of rows; a registration past the last one
  // is refused rather than written beyond the table.
  const int32_t count = VrsBrngRegisteredCount;
  if (count >= VRS_REGISTRY_ROWS) return VRS_ERROR_INVALID_BRNG;
  __RegBrngsNew[count] = *properties;
  VrsBrngSubCount[count] = 1;
  VrsBrngRegisteredCount = count + 1;
  return (count << 20) + kFamilyBase;
}

NEX_EXPORT int32_t __vrsGetBrngProperties(int32_t brng, VrsBrngProperties* properties) {
  int32_t index = 0, sub = 0;
  VrsBrngProperties* table = __vrsGetBrngBaseOffset(brng, &index, &sub);
  if (table == __RegBrngs) {
    if (index >= VRS_LEGACY_ROW_LIMIT || index < 0) return VRS_ERROR_INVALID_BRNG;
  } else if (index >= VrsBrngRegisteredCount || sub >= VrsBrngSubCount[index]) {
    return VRS_ERROR_INVALID_BRNG;
  }
  *properties = table[index];
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrsGetNumRegBrngs(void) {
  return VrsBrngRegisteredCount;
}

NEX_EXPORT int32_t __vrsGetStreamStateBrng(const VrsStream* stream) {
  return stream->brng;
}
