// Payne-Hanek reduction of any finite argument by pi/2^b (see the header).
#include "vector_real/trig_reduce.hpp"

#include <cstring>

#include "vector_real/trig_data.hpp"

namespace nex::vtm::trig {
namespace {

constexpr int kWords = 7;           // words of 1/pi used: 224 bits
constexpr int kLimbs = kWords + 2;  // product limbs: 53 + 224 bits fit in 288

// Adds v at limb `at` of a little-endian multi-word integer.
void AddAt(uint32_t* p, int at, uint64_t v) {
  for (int i = at; v != 0 && i < kLimbs; ++i) {
    const uint64_t s = uint64_t{p[i]} + (v & 0xFFFFFFFFu);
    p[i] = static_cast<uint32_t>(s);
    v = (v >> 32) + (s >> 32);
  }
}

uint32_t Bit(const uint32_t* p, int i) {
  if (i < 0 || i >= 32 * kLimbs) return 0;
  return (p[i >> 5] >> (i & 31)) & 1u;
}

// `count` <= 53 bits of p starting at bit `lo` (bits below 0 read as zero).
uint64_t Bits(const uint32_t* p, int lo, int count) {
  uint64_t v = 0;
  for (int i = count - 1; i >= 0; --i) v = (v << 1) | Bit(p, lo + i);
  return v;
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

  uint32_t p[kLimbs] = {};
  const uint64_t m_lo = m & 0xFFFFFFFFu, m_hi = m >> 32;
  for (int l = 0; l < kWords; ++l) {
    const uint64_t w = kRecipPi[k0 + kWords - 1 - l];
    AddAt(p, l, m_lo * w);
    AddAt(p, l + 1, m_hi * w);
  }
  // x/pi = p 2^(s - 224) modulo 2: bit `point` of p has the weight 1, and
  // bit `point - b` the weight of one step pi/2^b.
  const int point = 32 * kWords - s;
  const int unit = point - b;
  uint32_t n = static_cast<uint32_t>(Bits(p, unit, b + 1));
  const bool up = Bit(p, unit - 1) != 0;

  // The fraction below `unit`, as a magnitude: 2^unit - f when rounding up.
  uint32_t f[kLimbs];
  for (int i = 0; i < kLimbs; ++i) {
    const int lo = 32 * i;
    uint32_t keep = lo + 32 <= unit ? 0xFFFFFFFFu : (lo >= unit ? 0u : (1u << (unit - lo)) - 1u);
    f[i] = p[i] & keep;
  }
  if (up) {
    n = (n + 1) & ((2u << b) - 1u);
    uint64_t carry = 1;
    for (int i = 0; i < kLimbs; ++i) {
      const uint64_t v = uint64_t{static_cast<uint32_t>(~f[i])} + carry;
      f[i] = static_cast<uint32_t>(v);
      carry = v >> 32;
      const int lo = 32 * i;
      f[i] &= lo + 32 <= unit ? 0xFFFFFFFFu : (lo >= unit ? 0u : (1u << (unit - lo)) - 1u);
    }
  }
  int top = unit - 1;
  while (top >= 0 && Bit(f, top) == 0) --top;
  if (top < 0) {
    *r_hi = *r_lo = 0.0;
  } else {
    // f 2^-unit as a double pair: the leading 53 bits and the next 53.
    const double a = static_cast<double>(Bits(f, top - 52, 53)) * Pow2(top - 52 - unit);
    const double c = static_cast<double>(Bits(f, top - 105, 53)) * Pow2(top - 105 - unit);
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
