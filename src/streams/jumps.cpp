// Leapfrog and skip-ahead entries, and the arithmetic behind the jumps:
// modular powers for the congruential generators, the 3 x 3 companion-matrix
// power for the combined recursive one, and the GF(2) polynomial jump for the
// linear generators over bits.
#include <cstring>

#include "service/export.hpp"
#include "service/services.hpp"
#include "streams/stream.hpp"

NEX_EXPORT int32_t __vrsLeapfrogStream(VrsStream* stream, int32_t k, int32_t nstreams) {
  // The count widened with sign and read unsigned stays below 0xFFFFFFFF for
  // every non-negative count and only for those.
  if (static_cast<uint64_t>(static_cast<int64_t>(nstreams)) >= 0xFFFFFFFFull)
    return VRS_ERROR_BAD_LEAPFROG_COUNT;
  const VrsBrngProperties& row = nex::streams::row_of(stream);
  const uint32_t index = static_cast<uint32_t>(k);
  return row.init_stream(VRS_INIT_METHOD_LEAPFROG, stream, nstreams, &index);
}

NEX_EXPORT int32_t __vrsSkipAheadStream(VrsStream* stream, uint64_t nskip) {
  const VrsBrngProperties& row = nex::streams::row_of(stream);
  // Passed as two 32-bit words, low word first.
  const uint32_t words[2] = {static_cast<uint32_t>(nskip), static_cast<uint32_t>(nskip >> 32)};
  return row.init_stream(VRS_INIT_METHOD_SKIPAHEAD, stream, 2, words);
}

// ---- Modular powers: right-to-left binary exponentiation ----------------

namespace {

template <class T, class MulMod>
T power(T base, uint64_t e, MulMod mulmod) {
  T result = 1;
  while (e != 0) {
    if (e & 1) result = mulmod(result, base);
    base = mulmod(base, base);
    e >>= 1;
  }
  return result;
}

// (a * b) mod (2^31 - 1) by folding: 2^31 = 1 modulo the modulus, so the high
// part of the product adds onto the low 31 bits; one subtraction finishes.
inline uint32_t mulmod_2p31m1(uint32_t a, uint32_t b) {
  const uint64_t p = static_cast<uint64_t>(a) * b;
  uint64_t s = (p & 0x7FFFFFFFu) + (p >> 31);
  if (s >= 0x7FFFFFFFu) s -= 0x7FFFFFFFu;
  return static_cast<uint32_t>(s);
}

inline uint32_t mulmod(uint32_t a, uint32_t b, uint32_t m) {
  return static_cast<uint32_t>(static_cast<uint64_t>(a) * b % m);
}

}  // namespace

NEX_EXPORT uint32_t __vrsiPowMod(uint32_t base, uint64_t exponent, uint32_t modulus) {
  if (exponent == 0) return 1;
  return power<uint32_t>(base, exponent,
                         [modulus](uint32_t a, uint32_t b) { return mulmod(a, b, modulus); });
}

NEX_EXPORT uint32_t __vrsiPowMod2P31M1(uint32_t base, uint64_t exponent) {
  if (exponent == 0) return 1;
  return power<uint32_t>(base, exponent, mulmod_2p31m1);
}

NEX_EXPORT uint64_t __vrsiPowMod2P59(uint64_t base, uint64_t exponent) {
  if (exponent == 0) return 1;
  // Products wrap at 2^64, which is a multiple of 2^59; the mask of the high
  // word (27 bits) then leaves the residue modulo 2^59.
  constexpr uint64_t kMask = 0x07FFFFFFFFFFFFFFull;
  return power<uint64_t>(base, exponent, [](uint64_t a, uint64_t b) { return (a * b) & kMask; });
}

namespace {

struct Mat3 {
  uint32_t a[3][3];
};

// Product of two matrices with entries below m: each 32 x 32 -> 64-bit
// product is reduced, and each running sum is kept below m by a conditional
// subtraction.
Mat3 mat_mul(const Mat3& x, const Mat3& y, uint32_t m) {
  Mat3 r;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      uint64_t s = 0;
      for (int k = 0; k < 3; ++k) {
        s += mulmod(x.a[i][k], y.a[k][j], m);
        if (s >= m) s -= m;
      }
      r.a[i][j] = static_cast<uint32_t>(s);
    }
  return r;
}

}  // namespace

NEX_EXPORT void __vrsiVect3PowMod(uint32_t* v, const uint32_t* last_row, uint32_t modulus,
                                  uint64_t exponent) {
  Mat3 result = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  // v is (oldest, middle, newest); the row lists the coefficients of the
  // newest, middle and oldest element, so it enters the matrix reversed.
  Mat3 p = {{{0, 1, 0}, {0, 0, 1}, {last_row[2], last_row[1], last_row[0]}}};
  while (exponent != 0) {
    if (exponent & 1) result = mat_mul(result, p, modulus);
    p = mat_mul(p, p, modulus);
    exponent >>= 1;
  }
  uint32_t out[3];
  for (int i = 0; i < 3; ++i) {
    uint64_t s = 0;
    for (int k = 0; k < 3; ++k) {
      s += mulmod(result.a[i][k], v[k], modulus);
      if (s >= modulus) s -= modulus;
    }
    out[i] = static_cast<uint32_t>(s);
  }
  v[0] = out[0];
  v[1] = out[1];
  v[2] = out[2];
}

// ---- GF(2) polynomial remainder -------------------------------------------

namespace {

// Spreads the 32 bits of x to the even positions of a 64-bit word: the square
// of a polynomial over GF(2) has the same bits at twice their exponents. Each
// 32-bit half is spread in four steps, moving 8-, 4-, 2- and 1-bit groups
// apart with the masks 0x00FF00FF, 0x0F0F0F0F, 0x33333333, 0x55555555.
inline uint64_t spread32(uint32_t x) {
  auto spread16 = [](uint32_t v) {
    v = (v | (v << 8)) & 0x00FF00FFu;
    v = (v | (v << 4)) & 0x0F0F0F0Fu;
    v = (v | (v << 2)) & 0x33333333u;
    v = (v | (v << 1)) & 0x55555555u;
    return v;
  };
  return static_cast<uint64_t>(spread16(x & 0xFFFFu)) |
         (static_cast<uint64_t>(spread16(x >> 16)) << 32);
}

inline uint64_t get_bits(const uint64_t* v, uint32_t pos, uint32_t width) {
  const uint32_t w = pos >> 6, b = pos & 63;
  uint64_t x = v[w] >> b;
  if (b != 0 && b + width > 64) x |= v[w + 1] << (64 - b);
  return width == 64 ? x : x & ((uint64_t{1} << width) - 1);
}

inline void xor_bits(uint64_t* v, uint32_t pos, uint64_t x) {
  const uint32_t w = pos >> 6, b = pos & 63;
  v[w] ^= x << b;
  if (b != 0) v[w + 1] ^= x >> (64 - b);
}

struct PolyModulus {
  uint32_t degree;
  uint32_t terms;        // non-zero terms below the top one
  const uint32_t* exps;  // their exponents, ascending
  uint32_t chunk;        // bits folded at once: at most the gap below the top
  uint32_t words;        // 64-bit words of a reduced polynomial
};

// Reduces v (bits below 2 x degree) modulo P in place. Bits at and above the
// degree are folded from the top down, `chunk` bits at a time: x^(p + d) is
// replaced by x^p times the lower terms of P. The chunk never exceeds the gap
// between the top term and the next one, so a fold lands strictly below the
// chunk it removes.
void reduce(uint64_t* v, uint32_t top_bit, const PolyModulus& m) {
  uint32_t hi = top_bit + 1;  // bits [deg, hi) remain to be folded
  while (hi > m.degree) {
    uint32_t width = hi - m.degree < m.chunk ? hi - m.degree : m.chunk;
    uint32_t pos = hi - width;
    uint64_t x = get_bits(v, pos, width);
    hi = pos;
    if (x == 0) continue;
    xor_bits(v, pos, x);  // clear the chunk
    const uint32_t base = pos - m.degree;
    for (uint32_t t = 0; t < m.terms; ++t) xor_bits(v, base + m.exps[t], x);
  }
}

}  // namespace

NEX_EXPORT int32_t __vrsPolyRem(uint64_t exponent, int32_t degree, int32_t term_count,
                                const uint32_t* exponents, int32_t word_count, uint64_t* result) {
  if (degree < 1 || term_count < 1 || word_count < 1) return VRS_ERROR_BAD_ARGUMENTS;
  const uint32_t deg = static_cast<uint32_t>(degree);
  const uint32_t words = (deg + 63) / 64;
  if (static_cast<uint32_t>(word_count) < words) return VRS_ERROR_BAD_ARGUMENTS;
  std::memset(result, 0, static_cast<size_t>(word_count) * sizeof(uint64_t));
  if (exponent < deg) {
    result[exponent >> 6] |= uint64_t{1} << (exponent & 63);
    return VRS_STATUS_OK;
  }
  // Work area: the current polynomial with room for its square (twice the
  // words, plus one for the straddling fold), and a copy for the squaring.
  const size_t unit = (deg + 64) / 64;
  auto* work = static_cast<uint64_t*>(nex::service::allocate(200 * unit));
  if (work == nullptr) return VRS_ERROR_NO_MEMORY;
  uint64_t* cur = work;                 // 2 * unit + 1 words
  uint64_t* tmp = work + 2 * unit + 2;  // unit words
  std::memset(work, 0, (3 * unit + 3) * sizeof(uint64_t));

  PolyModulus m{deg, static_cast<uint32_t>(term_count - 1), exponents, 64, words};
  if (term_count >= 2) {
    const uint32_t gap = deg - exponents[term_count - 2];
    if (gap < m.chunk) m.chunk = gap;
  }

  cur[0] = 2;  // x
  int top = 63;
  while (((exponent >> top) & 1) == 0) --top;
  for (int bit = top - 1; bit >= 0; --bit) {
    // Square: spread every 32-bit half word.
    std::memcpy(tmp, cur, words * sizeof(uint64_t));
    for (uint32_t w = 0; w < words; ++w) {
      cur[2 * w] = spread32(static_cast<uint32_t>(tmp[w]));
      cur[2 * w + 1] = spread32(static_cast<uint32_t>(tmp[w] >> 32));
    }
    reduce(cur, 2 * deg - 2, m);
    if ((exponent >> bit) & 1) {
      // Multiply by x: one shift.
      uint64_t carry = 0;
      for (uint32_t w = 0; w <= words; ++w) {
        const uint64_t next = cur[w] >> 63;
        cur[w] = (cur[w] << 1) | carry;
        carry = next;
      }
      reduce(cur, deg, m);
    }
    std::memset(cur + words, 0, (words + 1) * sizeof(uint64_t));
  }
  std::memcpy(result, cur, words * sizeof(uint64_t));
  nex::service::deallocate(work);
  return VRS_STATUS_OK;
}

// ---- Jumps of linear generators over GF(2) --------------------------------

namespace {

struct JumpOps {
  VrsJumpClearFn clear;
  VrsJumpAddFn add;
  VrsJumpCopyFn copy;
  VrsJumpNextFn next;
  VrsJumpFinishFn finish;
  VrsJumpPrepareFn prepare;
};

inline bool test_bit(const uint64_t* g, int32_t j) {
  return (g[j >> 6] >> (j & 63)) & 1;
}

int32_t top_bit(const uint64_t* g, int32_t words) {
  for (int32_t w = words - 1; w >= 0; --w)
    if (g[w] != 0) return w * 64 + 63 - __builtin_clzll(g[w]);
  return -1;
}

// Common set-up of both jumps: prepare, then g = x^s mod P. Returns 0 with
// *done set when nothing more is needed, a status on failure, and otherwise 0
// with the polynomial and the remaining word count filled in.
struct JumpPlan {
  uint64_t* g = nullptr;
  uint32_t rest = 0;
  bool done = false;
};

int32_t plan_jump(VrsStream* stream, const JumpOps& ops, uint64_t nskip, int32_t ring_size,
                  int32_t degree, int32_t term_count, const uint32_t* exponents, JumpPlan* plan) {
  plan->done = true;
  if (nskip == 0) return VRS_STATUS_OK;
  uint64_t s = nskip;
  if (ops.prepare(stream, &s, &plan->rest) == 0) return VRS_STATUS_OK;
  plan->done = false;
  plan->g = static_cast<uint64_t*>(nex::service::allocate(static_cast<size_t>(ring_size) * 8));
  if (plan->g == nullptr) return VRS_ERROR_NO_MEMORY;
  if (__vrsPolyRem(s, degree, term_count, exponents, ring_size, plan->g) != VRS_STATUS_OK) {
    nex::service::deallocate(plan->g);
    plan->g = nullptr;
    return VRS_ERROR_NO_MEMORY;
  }
  return VRS_STATUS_OK;
}

}  // namespace

NEX_EXPORT int32_t __vrs_SkipAheadHorner(VrsStream* stream, VrsJumpClearFn clear, VrsJumpAddFn add,
                                         VrsJumpCopyFn copy, VrsJumpNextFn next,
                                         VrsJumpFinishFn finish, VrsJumpPrepareFn prepare,
                                         uint64_t nskip, int32_t ring_size, int32_t degree,
                                         int32_t record_size, int32_t term_count,
                                         const uint32_t* exponents) {
  const JumpOps ops{clear, add, copy, next, finish, prepare};
  JumpPlan plan;
  int32_t status = plan_jump(stream, ops, nskip, ring_size, degree, term_count, exponents, &plan);
  if (status != VRS_STATUS_OK || plan.done) return status;
  void* work = nex::service::allocate(static_cast<size_t>(record_size));
  if (work == nullptr) {
    nex::service::deallocate(plan.g);
    return VRS_ERROR_NO_MEMORY;
  }
  // Horner's rule on g evaluated at the one-step map: from the top
  // coefficient down, step the accumulated state and add the stream where a
  // coefficient is set.
  const int32_t t = top_bit(plan.g, ring_size);
  copy(work, stream, 0);
  if (t > 0) {
    next(work);
    for (int32_t j = t - 1; j >= 1; --j) {
      if (test_bit(plan.g, j)) add(work, stream, 0);
      next(work);
    }
    if (test_bit(plan.g, 0)) add(work, stream, 0);
  }
  finish(stream, work, plan.rest);
  nex::service::deallocate(work);
  nex::service::deallocate(plan.g);
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrs_SkipAheadSWin(VrsStream* stream, VrsJumpClearFn clear, VrsJumpAddFn add,
                                       VrsJumpCopyFn copy, VrsJumpNextFn next,
                                       VrsJumpFinishFn finish, VrsJumpPrepareFn prepare,
                                       uint64_t nskip, int32_t ring_size, int32_t degree,
                                       int32_t record_size, int32_t term_count,
                                       const uint32_t* exponents) {
  const JumpOps ops{clear, add, copy, next, finish, prepare};
  JumpPlan plan;
  int32_t status = plan_jump(stream, ops, nskip, ring_size, degree, term_count, exponents, &plan);
  if (status != VRS_STATUS_OK || plan.done) return status;
  const size_t rec = static_cast<size_t>(record_size);
  auto* table = static_cast<unsigned char*>(nex::service::allocate(rec << 7));
  auto* acc = static_cast<unsigned char*>(nex::service::allocate(rec));
  auto* run = static_cast<unsigned char*>(nex::service::allocate(rec));
  if (table == nullptr || acc == nullptr || run == nullptr) {
    nex::service::deallocate(run);
    nex::service::deallocate(acc);
    nex::service::deallocate(table);
    nex::service::deallocate(plan.g);
    return VRS_ERROR_NO_MEMORY;
  }
  // A window of eight bits "1 c" (c the seven bits below a set bit) moves
  // the accumulator by T^8 and adds (T^7 + c(T)) of the stream, which is
  // table[c]. Entry 0 is T^7 of the stream; entries [2^b, 2^(b+1)) are the
  // entries 2^b below them plus T^b of the stream, so each costs one add.
  copy(run, stream, 0);
  for (int b = 0; b < 7; ++b) {
    const int lo = 1 << b;
    for (int c = lo; c < 2 * lo; ++c) copy(table + rec * c, run, 0);  // T^b S for now
    next(run);
  }
  copy(table, run, 0);  // T^7 S
  for (int b = 0; b < 7; ++b) {
    const int lo = 1 << b;
    for (int c = lo; c < 2 * lo; ++c) add(table + rec * c, table + rec * (c - lo), 0);
  }

  clear(acc);
  int32_t pos = top_bit(plan.g, ring_size);
  while (pos > 6) {
    if (!test_bit(plan.g, pos)) {
      next(acc);
      --pos;
      continue;
    }
    for (int i = 0; i < 8; ++i) next(acc);
    uint32_t index = 0;
    for (int i = 1; i <= 7; ++i) index = (index << 1) | (test_bit(plan.g, pos - i) ? 1u : 0u);
    add(acc, table + rec * index, 0);
    pos -= 8;
  }
  for (; pos >= 0; --pos) {
    next(acc);
    if (test_bit(plan.g, pos)) add(acc, stream, 0);
  }
  finish(stream, acc, plan.rest);
  nex::service::deallocate(run);
  nex::service::deallocate(acc);
  nex::service::deallocate(table);
  nex::service::deallocate(plan.g);
  return VRS_STATUS_OK;
}
