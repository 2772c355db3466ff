/* Random streams, basic generators and distribution generators: codes,
 * records and the exported operations.
 *
 * Every operation returns a 32-bit signed status, 0 on success and negative
 * on failure, and writes its results through pointers. Streams are created
 * and deleted by the caller; one stream is used by one thread at a time. */
#ifndef NEX_RNG_H
#define NEX_RNG_H

#include <stdint.h>

#include "nex_api.h"

NEX_EXTERN_C_BEGIN

/* ---- Status codes ------------------------------------------------------ */

#define VRS_STATUS_OK 0
#define VRS_ERROR_UNKNOWN_METHOD (-2)
#define VRS_ERROR_BAD_ARGUMENTS (-3)
#define VRS_ERROR_NO_MEMORY (-4)
#define VRS_ERROR_NULL_POINTER (-5)
#define VRS_ERROR_INVALID_BRNG (-1000)
#define VRS_ERROR_LEAPFROG_UNSUPPORTED (-1002)
#define VRS_ERROR_SKIPAHEAD_UNSUPPORTED (-1003)
#define VRS_ERROR_BAD_STATE_SIZE (-1008)
#define VRS_ERROR_BAD_WORD_SIZE (-1009)
#define VRS_ERROR_BAD_SEED_COUNT (-1010)
#define VRS_ERROR_BAD_BIT_COUNT (-1011)
#define VRS_ERROR_QUASI_PERIOD_EXHAUSTED (-1012)
#define VRS_ERROR_BAD_LEAPFROG_COUNT (-1013)
#define VRS_ERROR_BRNG_NOT_SUPPORTED (-1014)
#define VRS_ERROR_FILE_CLOSE (-1100)
#define VRS_ERROR_FILE_OPEN (-1101)
#define VRS_ERROR_FILE_WRITE (-1102)
#define VRS_ERROR_FILE_READ (-1103)
#define VRS_ERROR_BAD_FILE_FORMAT (-1110)
#define VRS_ERROR_ABSTRACT_BAD_REFILL (-1120)
#define VRS_ERROR_ABSTRACT_EMPTY_REFILL (-1121)
#define VRS_ERROR_ABSTRACT_WRONG_FORM (-1122)
#define VRS_ERROR_NO_RDRAND (-1130)
#define VRS_ERROR_RDRAND_RETRIES (-1131)
#define VRS_ERROR_NO_AES (-1140)
#define VRS_ERROR_BAD_PROBABILITIES (-1150)
#define VRS_ERROR_BAD_MEMORY_FORMAT (-1200)
/* Only from the two table functions of the shared read-only data. */
#define VRS_ERROR_GLOB_RODATA_NOT_FOUND (-3000)
#define VRS_ERROR_GLOB_RODATA_TABLE_FULL (-3001)

/* ---- Generator ids ----------------------------------------------------- */

/* Family form: ((row + 1) << 20) + sub-generator. */
#define VRS_BRNG_INC 0x100000
#define VRS_BRNG_SUB_MASK 0xFFFFF
#define VRS_BRNG_MCG31M1 0x100000
#define VRS_BRNG_R250 0x200000
#define VRS_BRNG_MRG32K3A 0x300000
#define VRS_BRNG_MCG59 0x400000
#define VRS_BRNG_WH 0x500000
#define VRS_BRNG_SOBOL 0x600000
#define VRS_BRNG_NIEDERR 0x700000
#define VRS_BRNG_MT19937 0x800000
#define VRS_BRNG_MT2203 0x900000
#define VRS_BRNG_IABSTRACT 0xA00000
#define VRS_BRNG_DABSTRACT 0xB00000
#define VRS_BRNG_SABSTRACT 0xC00000
#define VRS_BRNG_SFMT19937 0xD00000
#define VRS_BRNG_TRNG 0xE00000
#define VRS_BRNG_ARS5 0xF00000
#define VRS_BRNG_PHILOX4X32X10 0x1000000
/* The id the first caller registration receives. */
#define VRS_BRNG_FIRST_USER 0x1100000

/* Number of sub-generators of the two multi-member families. */
#define VRS_WH_SET_COUNT 273
#define VRS_MT2203_SET_COUNT 6024

/* Legacy form: ids below VRS_BRNG_INC, read in the legacy table. */
#define VRS_LEGACY_MCG31M1 0
#define VRS_LEGACY_R250 1
#define VRS_LEGACY_MRG32K3A 2
#define VRS_LEGACY_MCG59 3
#define VRS_LEGACY_WH_FIRST 4
#define VRS_LEGACY_WH_LAST 276
#define VRS_LEGACY_SOBOL 277
#define VRS_LEGACY_NIEDERR 278
/* Legacy rows below this bound pass the validity test. */
#define VRS_LEGACY_ROW_LIMIT 281

#define VRS_REGISTRY_ROWS 512
#define VRS_BUILTIN_ROWS 16

/* ---- init_stream methods ----------------------------------------------- */

#define VRS_INIT_METHOD_STANDARD 0
#define VRS_INIT_METHOD_LEAPFROG 1
#define VRS_INIT_METHOD_SKIPAHEAD 2

/* ---- Quasi-random user-parameter forms (params[2] when params[1] is 1) -- */

#define VRS_QRNG_USER_FLAG 1
#define VRS_QRNG_OPTS_POLYNOMIALS 1
#define VRS_QRNG_OPTS_INITIAL_NUMBERS 2
#define VRS_QRNG_OPTS_POLYNOMIALS_AND_NUMBERS 3
#define VRS_QRNG_OPTS_DIRECTION_NUMBERS 4
#define VRS_QRNG_OPTS_ALL_POLYNOMIALS_AND_NUMBERS 11
#define VRS_SOBOL_MAX_DIMENSION 40
#define VRS_NIEDERR_MAX_DIMENSION 318
/* Leapfrog count that selects one coordinate of a quasi-random stream. */
#define VRS_QRNG_LEAPFROG_COORDINATE 0x7FFFFFFF

/* ---- Distribution method words ----------------------------------------- */

#define VRS_METHOD_ACCURATE 0x40000000
#define VRS_METHOD_GAUSSIAN_BOXMULLER 0
#define VRS_METHOD_GAUSSIAN_BOXMULLER2 1
#define VRS_METHOD_GAUSSIAN_ICDF 2
#define VRS_METHOD_POISSON_PTPE 0
#define VRS_METHOD_POISSON_POISNORM 1

/* Storage of the factor of the multivariate Gaussian. */
#define VRS_MATRIX_STORAGE_FULL 0
#define VRS_MATRIX_STORAGE_PACKED 1
#define VRS_MATRIX_STORAGE_DIAGONAL 2

/* ---- Chunk ids used by the library ------------------------------------- */

/* Box-Muller2 pending pair: the single form in id 1, the double form in 2. */
#define VRS_CHUNK_GAUSSIAN_PAIR_S 1
#define VRS_CHUNK_GAUSSIAN_PAIR_D 2
#define VRS_CHUNK_GAUSSIAN_PAIR VRS_CHUNK_GAUSSIAN_PAIR_D
#define VRS_CHUNK_NEGBINOMIAL 4
#define VRS_CHUNK_BINOMIAL 5
#define VRS_CHUNK_HYPERGEOMETRIC 6
/* Gamma spare candidate: the double form in id 7, the single form in 8. */
#define VRS_CHUNK_GAMMA_SPARE_D 7
#define VRS_CHUNK_GAMMA_SPARE_S 8
#define VRS_CHUNK_GAMMA_SPARE VRS_CHUNK_GAMMA_SPARE_D
#define VRS_CHUNK_SOBOL_DIRECTIONS 9
#define VRS_CHUNK_NIEDERR_DIRECTIONS 10
#define VRS_CHUNK_SOBOL_CURRENT 13

/* Size of the shared read-only table, and the lower limit that chunk
 * insertion applies to it. */
#define VRS_GLOB_RODATA_CAPACITY 128
#define VRS_GLOB_RODATA_CHUNK_LIMIT 127

/* ---- Records ----------------------------------------------------------- */

struct VrsChunk;

/* Head of every stream record; the generator's state follows at byte 16.
 * The record is one allocation of `state_size` bytes, aligned to 128. */
typedef struct VrsStream {
  int32_t brng;
  uint8_t stream_flag;
  uint8_t reserved_byte;
  uint16_t reserved_half;
  struct VrsChunk* chunks;
#if UINTPTR_MAX == 0xFFFFFFFFu
  uint32_t reserved_word;
#endif
} VrsStream;

#define VRS_STREAM_HEAD_SIZE 16

typedef int32_t (*VrsInitStreamFn)(int32_t method, VrsStream* stream, int32_t n,
                                   const uint32_t* params);
typedef int32_t (*VrsGenerateSFn)(VrsStream* stream, int32_t n, float* r, float a, float b);
typedef int32_t (*VrsGenerateDFn)(VrsStream* stream, int32_t n, double* r, double a, double b);
typedef int32_t (*VrsGenerateIFn)(VrsStream* stream, int32_t n, void* r);

/* One registry row. */
typedef struct VrsBrngProperties {
  int32_t state_size;
  int32_t seed_count;
  int32_t includes_zero;
  int32_t word_size;
  int32_t bit_count;
  VrsInitStreamFn init_stream;
  VrsGenerateSFn generate_s;
  VrsGenerateDFn generate_d;
  VrsGenerateIFn generate_i;
} VrsBrngProperties;

/* One node of a stream's chunk list. A zero key marks a private chunk. */
typedef struct VrsChunk {
  int32_t id;
  int32_t size;
  void* data;
  struct VrsChunk* next;
  uint64_t key[2];
} VrsChunk;

/* One entry of the shared read-only table. */
typedef struct VrsGlobRODataEntry {
  uint64_t id[2];
  int32_t ref_count;
  void* data;
} VrsGlobRODataEntry;

/* Refill callback of an abstract stream: writes numbers into `buffer` from
 * ring position *pos_ptr on, wrapping at *size_ptr, and returns how many. */
typedef int32_t (*VrsAbstractCallback)(VrsStream* stream, int32_t* size_ptr, void* buffer,
                                       int32_t* wanted_ptr, int32_t* capacity_ptr,
                                       int32_t* pos_ptr);

/* State operations of the polynomial jump (see __vrs_SkipAheadHorner). A
 * state is a whole stream record of `record size` bytes. */
typedef void (*VrsJumpClearFn)(void* state);
typedef void (*VrsJumpAddFn)(void* dest, const void* src, int32_t unused);
typedef void (*VrsJumpCopyFn)(void* dest, const void* src, int32_t unused);
typedef void (*VrsJumpNextFn)(void* state);
typedef void (*VrsJumpFinishFn)(VrsStream* stream, const void* work, uint32_t rest);
/* Uses up what needs no polynomial; 0 when the skip is then complete. */
typedef int32_t (*VrsJumpPrepareFn)(VrsStream* stream, uint64_t* s, uint32_t* rest);

/* ---- Registry ---------------------------------------------------------- */

NEX_API extern VrsBrngProperties __RegBrngs[VRS_REGISTRY_ROWS];
NEX_API extern VrsBrngProperties __RegBrngsNew[VRS_REGISTRY_ROWS];

NEX_API int32_t __vrsNewStreamEx(VrsStream** stream_out, int32_t brng, int32_t n,
                                 const uint32_t* params);
NEX_API int32_t __vrsDeleteStream(VrsStream** stream_out);
NEX_API int32_t __vrsCopyStream(VrsStream** stream_out, const VrsStream* source);
NEX_API int32_t __vrsCopyStreamState(VrsStream* dest, const VrsStream* source);
NEX_API int32_t __vrsAllocateStream(VrsStream** stream_out, const VrsBrngProperties* table,
                                    int32_t brng, int32_t index, int32_t sub);
NEX_API int32_t __vrsIsBrngValid(const VrsBrngProperties* table, int32_t index, int32_t sub);
NEX_API int32_t __vrsRegisterBrng(const VrsBrngProperties* properties);
NEX_API int32_t __vrsGetBrngProperties(int32_t brng, VrsBrngProperties* properties);
NEX_API int32_t __vrsGetNumRegBrngs(void);
NEX_API int32_t __vrsGetStreamStateBrng(const VrsStream* stream);
NEX_API VrsBrngProperties* __vrsGetBrngBaseOffset(int32_t brng, int32_t* index, int32_t* sub);

/* ---- Chunks and the shared read-only table ----------------------------- */

NEX_API int32_t __vrsAddChunk(VrsStream* stream, int32_t id, const uint64_t* key, void* data,
                              int32_t size);
NEX_API void* __vrsSearchChunk(const VrsStream* stream, int32_t id);
NEX_API int32_t __vrsGetNumChunks(const VrsStream* stream);
NEX_API int32_t __vrsDeleteChunksById(VrsStream* stream, int32_t id);
NEX_API int32_t __vrsDeleteChunks(VrsStream* stream);
NEX_API int32_t __vrsCopyChunks(VrsStream* dest, const VrsStream* source);
NEX_API int32_t __vrsFindGlobRODataTableEntry(VrsGlobRODataEntry** entry, const uint64_t* id);
NEX_API int32_t __vrsCreateGlobRODataTableEntry(VrsGlobRODataEntry** entry, const uint64_t* id,
                                                void* data);
NEX_API void __vrsRegisterGlobRODataReference(VrsChunk* chunk, const uint64_t* id);
NEX_API void __vrsUnregisterGlobRODataReference(const uint64_t* id);
NEX_API void __vrsGenerateNewGlobalRODataTableEntryId(uint64_t* id, const void* data);

/* ---- Leapfrog, skip-ahead and their arithmetic ------------------------- */

NEX_API int32_t __vrsLeapfrogStream(VrsStream* stream, int32_t k, int32_t nstreams);
NEX_API int32_t __vrsSkipAheadStream(VrsStream* stream, uint64_t nskip);
NEX_API uint32_t __vrsiPowMod(uint32_t base, uint64_t exponent, uint32_t modulus);
NEX_API uint32_t __vrsiPowMod2P31M1(uint32_t base, uint64_t exponent);
NEX_API uint64_t __vrsiPowMod2P59(uint64_t base, uint64_t exponent);
NEX_API void __vrsiVect3PowMod(uint32_t* v, const uint32_t* last_row, uint32_t modulus,
                               uint64_t exponent);
/* x^exponent modulo the GF(2) polynomial of the given degree whose non-zero
 * terms are `exponents[0..term_count)` (ascending, the last one the degree);
 * the result is `word_count` 64-bit words, low word first. */
NEX_API int32_t __vrsPolyRem(uint64_t exponent, int32_t degree, int32_t term_count,
                             const uint32_t* exponents, int32_t word_count, uint64_t* result);
NEX_API int32_t __vrs_SkipAheadHorner(VrsStream* stream, VrsJumpClearFn clear, VrsJumpAddFn add,
                                      VrsJumpCopyFn copy, VrsJumpNextFn next,
                                      VrsJumpFinishFn finish, VrsJumpPrepareFn prepare,
                                      uint64_t nskip, int32_t ring_size, int32_t degree,
                                      int32_t record_size, int32_t term_count,
                                      const uint32_t* exponents);
NEX_API int32_t __vrs_SkipAheadSWin(VrsStream* stream, VrsJumpClearFn clear, VrsJumpAddFn add,
                                    VrsJumpCopyFn copy, VrsJumpNextFn next, VrsJumpFinishFn finish,
                                    VrsJumpPrepareFn prepare, uint64_t nskip, int32_t ring_size,
                                    int32_t degree, int32_t record_size, int32_t term_count,
                                    const uint32_t* exponents);

/* ---- Basic generators: four slots each --------------------------------- */

#define NEX_RNG_DECLARE_BRNG(Name)                                                               \
  NEX_API int32_t __vrsBRng##Name##InitStream(int32_t method, VrsStream* stream, int32_t n,      \
                                              const uint32_t* params);                           \
  NEX_API int32_t __vrssBRng##Name(VrsStream* stream, int32_t n, float* r, float a, float b);    \
  NEX_API int32_t __vrsdBRng##Name(VrsStream* stream, int32_t n, double* r, double a, double b); \
  NEX_API int32_t __vrsiBRng##Name(VrsStream* stream, int32_t n, void* r);

NEX_RNG_DECLARE_BRNG(MCG31M1)
NEX_RNG_DECLARE_BRNG(MCG59)
NEX_RNG_DECLARE_BRNG(MRG32K3A)
NEX_RNG_DECLARE_BRNG(R250)
NEX_RNG_DECLARE_BRNG(WH)

NEX_EXTERN_C_END

#endif /* NEX_RNG_H */
