// Payne-Hanek reduction of any finite argument by pi/2^b (see the header).
#include "vector_real/trig_reduce.hpp"

#include <cstring>

#include "vector_real/trig_data.hpp"

namespace nex::vtm::trig {
namespace {

constexpr int kWords = 7;           // words of 1/pi used: 224 bits
constexpr int kLimbs = kWords + 2;  // product limbs: 53 + 224 bits fit in 288

constexpr int kPad = 2;  // zero limbs below the product (and 3 above)

// Bits [lo, lo + 64) of the product held at p[kPad ..], for lo >= -32 * kPad
// and lo + 64 <= 32 * (kLimbs + 1): bits outside the product read as zero.
uint64_t Window(const uint32_t* p, int lo) {
  const int q = (lo + 32 * kPad) >> 5;
  const int sh = (lo + 32 * kPad) & 31;
  const uint64_t low = uint64_t{p[q]} | uint64_t{p[q + 1]} << 32;
  if (sh == 0) return low;
  return (low >> sh) | uint64_t{p[q + 2]} << (64 - sh);
}

double Pow2(int k) {  // 2^k for -1022 <= k <= 1023
  const uint64_t bits = static_cast<uint64_t>(k + 1023) << 52;
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

}  // namespace

uint32_t ReduceByPi(double x, int b, double* r_hi, double* r_lo) {
  uint64_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  const bool negative = (bits >> 63) != 0;
  const int biased = static_cast<int>((bits >> 52) & 0x7FF);
  const uint64_t m = (bits & 0x000FFFFFFFFFFFFFull) | 0x0010000000000000ull;
  const int e = biased - 1075;  // |x| = m 2^e, e >= -52 as |x| >= 1

  // Word i of 1/pi carries weights 2^(-32 i - 1) .. 2^(-32 i - 32); its
  // product with m 2^e is an even integer when e - 32 i - 32 >= 1.
  const int k0 = e >= 1 ? (e - 1) >> 5 : 0;
  const int s = e - 32 * k0;  // in [1, 32], or e itself when e < 1

  // p = m W, W the words k0 .. k0 + 6 as one integer, in two rows (the low
  // and the high half of m), each with its own carries, then summed.
  uint32_t w[kWords];
  for (int l = 0; l < kWords; ++l) w[l] = kRecipPi[k0 + kWords - 1 - l];
  const uint64_t m_lo = m & 0xFFFFFFFFu, m_hi = m >> 32;
  uint32_t row_lo[kLimbs] = {}, row_hi[kLimbs] = {};
  uint64_t c_lo = 0, c_hi = 0;
  for (int l = 0; l < kWords; ++l) {
    const uint64_t a = m_lo * w[l] + c_lo;
    const uint64_t h = m_hi * w[l] + c_hi;
    row_lo[l] = static_cast<uint32_t>(a);
    row_hi[l + 1] = static_cast<uint32_t>(h);
    c_lo = a >> 32;
    c_hi = h >> 32;
  }
  row_lo[kWords] = static_cast<uint32_t>(c_lo);
  row_hi[kWords + 1] = static_cast<uint32_t>(c_hi);
  uint32_t p[kPad + kLimbs + 3] = {};
  uint64_t carry = 0;
  for (int l = 0; l < kLimbs; ++l) {
    const uint64_t t = uint64_t{row_lo[l]} + row_hi[l] + carry;
    p[kPad + l] = static_cast<uint32_t>(t);
    carry = t >> 32;
  }

  // x/pi = p 2^(s - 224) modulo 2: bit `point` of p has the weight 1, and
  // bit `unit` the weight of one step pi/2^b.
  const int point = 32 * kWords - s;
  const int unit = point - b;
  uint32_t n = static_cast<uint32_t>(Window(p, unit)) & ((2u << b) - 1u);

  // The fraction below `unit` in 192 bits, f0 the leading word; as a
  // magnitude 1 - f when it is a half or more (then n steps up).
  uint64_t f0 = Window(p, unit - 64), f1 = Window(p, unit - 128), f2 = Window(p, unit - 192);
  const bool up = (f0 >> 63) != 0;
  if (up) {
    n = (n + 1) & ((2u << b) - 1u);
    f2 = ~f2 + 1;
    f1 = ~f1 + (f2 == 0 ? 1 : 0);
    f0 = ~f0 + (f2 == 0 && f1 == 0 ? 1 : 0);
  }
  // Normalize: no double lies within 2^-62 (relative) of a multiple of
  // pi/2^b, so the leading bit is within the first two words.
  int shift = 0;
  if (f0 == 0) {
    f0 = f1;
    f1 = f2;
    f2 = 0;
    shift = 64;
  }
  if (f0 == 0) {
    *r_hi = *r_lo = 0.0;
  } else {
    const int z = __builtin_clzll(f0);
    if (z != 0) {
      f0 = (f0 << z) | (f1 >> (64 - z));
      f1 = (f1 << z) | (f2 >> (64 - z));
    }
    shift += z;
    // f 2^-unit... as a double pair: the leading 53 bits and the next 53,
    // scaled so that f0's top bit has the weight 2^-(1 + shift).
    const double a = static_cast<double>(f0 >> 11) * Pow2(-64 - shift + 11);
    const uint64_t next = (f0 << 53) | (f1 >> 11);  // bits 53 .. 116
    const double c = static_cast<double>(next >> 11) * Pow2(-64 - shift - 53 + 11);
    // times pi (as two doubles), then times 2^-b.
    constexpr double kPiHi = 3.141592653589793116;       // 0x1.921fb54442d18p+1
    constexpr double kPiLo = 1.2246467991473532072e-16;  // pi - kPiHi
    double ph, pe;
    Exact::TwoProd(a, kPiHi, &ph, &pe);
    const double tail = pe + (a * kPiLo + c * kPiHi);
    const double hi = ph + tail;
    const double lo = tail - (hi - ph);
    const double scale = Pow2(-b);
    *r_hi = (up ? -hi : hi) * scale;
    *r_lo = (up ? -lo : lo) * scale;
  }
  if (negative) {
    n = (0u - n) & ((2u << b) - 1u);
    *r_hi = -*r_hi;
    *r_lo = -*r_lo;
  }
  return n;
}

}  // namespace nex::vtm::trig
