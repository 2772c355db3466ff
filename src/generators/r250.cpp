// R250: the generalised feedback shift register w(n) = w(n-250) XOR w(n-103)
// on 32-bit words, kept in a ring of 250 words with a write position i and a
// second read position j = i + 103 (mod 250).
#include "generators/common.hpp"
#include "service/export.hpp"

namespace {

constexpr int32_t kLag = 250;
constexpr int32_t kShort = 103;
constexpr int32_t kSplit = kLag - kShort;     // 147
constexpr double kUnit = 1.0 / 4294967296.0;  // 2^-32

struct State {
  uint32_t w[kLag];
  uint32_t i;
  uint32_t j;
};

// Elements of the caller's output seen as integers of the element's width:
// the long path runs the recurrence on them, with the word in the low 32
// bits. For doubles the high half starts at zero and the XORs keep it so.
typedef uint32_t AliasU32 __attribute__((may_alias));
typedef uint64_t AliasU64 __attribute__((may_alias));
template <class U>
struct AliasOf;
template <>
struct AliasOf<uint32_t> {
  using type = AliasU32;
};
template <>
struct AliasOf<uint64_t> {
  using type = AliasU64;
};
template <class U>
using Alias = typename AliasOf<U>::type;

// Short requests walk the ring one step at a time.
template <class Emit>
void walk(State& st, int32_t n, Emit emit) {
  uint32_t i = st.i, j = st.j;
  for (int32_t m = 0; m < n; ++m) {
    const uint32_t v = st.w[i] ^ st.w[j];
    st.w[i] = v;
    emit(m, v);
    i = i + 1 == kLag ? 0 : i + 1;
    j = j + 1 == kLag ? 0 : j + 1;
  }
  st.i = i;
  st.j = j;
}

// Long requests (n >= 250) leave the ring alone while they run: outputs 0 to
// 146 read two ring words, outputs 147 to 249 one ring word and one output,
// and the rest only earlier outputs. The last 250 outputs then become the
// ring, rotated so that i = 0 and j = 103. An output that no later output
// reads any more (250 back) is handed to `retire`, in order, so that the
// real forms convert it while it is still in cache.
template <class U, class Retire>
void long_path(State& st, int32_t n, Alias<U>* out, Retire retire) {
  const uint32_t i0 = st.i;
  auto ring = [&](int32_t m) {
    uint32_t k = i0 + static_cast<uint32_t>(m);
    return st.w[k >= static_cast<uint32_t>(kLag) ? k - kLag : k];
  };
  for (int32_t m = 0; m < kSplit; ++m) out[m] = static_cast<U>(ring(m) ^ ring(m + kShort));
  for (int32_t m = kSplit; m < kLag; ++m) out[m] = static_cast<U>(ring(m)) ^ out[m - kSplit];
  int32_t m = kLag;
  // Each run of 16 reads only outputs at least 147 back, and retires the 16
  // that the next run no longer reads.
  for (; m + 16 <= n; m += 16) {
    for (int32_t k = 0; k < 16; ++k) out[m + k] = out[m + k - kLag] ^ out[m + k - kSplit];
    retire(m - kLag, m - kLag + 16);
  }
  for (; m < n; ++m) {
    out[m] = out[m - kLag] ^ out[m - kSplit];
    retire(m - kLag, m - kLag + 1);
  }
  for (int32_t k = 0; k < kLag; ++k) st.w[k] = static_cast<uint32_t>(out[n - kLag + k]);
  retire(n - kLag, n);
  st.i = 0;
  st.j = kShort;
}

// Real forms: the walk for short requests; for long ones the recurrence runs
// inside r (one element-wide integer per element), and each element becomes
// its number once no later output needs its word.
template <class Real, class U>
void generate_real(VrsStream* stream, int32_t n, Real* r, double a, double b) {
  static_assert(sizeof(Real) == sizeof(U), "one integer per element");
  State& st = *nex::streams::state_of<State>(stream);
  const double scale = (b - a) * kUnit;
  if (n < kLag) {
    walk(st, n, [&](int32_t m, uint32_t v) {
      r[m] = static_cast<Real>(nex::generators::u32_to_double(v) * scale + a);
    });
    return;
  }
  auto* slots = reinterpret_cast<Alias<U>*>(r);
  long_path<U>(st, n, slots, [=](int32_t from, int32_t to) {
    for (int32_t m = from; m < to; ++m) {
      const uint64_t bits = 0x4330000000000000ull | static_cast<uint32_t>(slots[m]);
      double w;
      std::memcpy(&w, &bits, sizeof w);
      r[m] = static_cast<Real>((w - 4503599627370496.0) * scale + a);
    }
  });
}

}  // namespace

NEX_EXPORT int32_t __vrsBRngR250InitStream(int32_t method, VrsStream* stream, int32_t n,
                                           const uint32_t* params) {
  State& st = *nex::streams::state_of<State>(stream);
  switch (method) {
    case VRS_INIT_METHOD_STANDARD:
      if (n >= kLag) {
        // A full ring supplied by the caller is taken as it stands.
        for (int32_t k = 0; k < kLag; ++k) st.w[k] = params[k];
      } else {
        uint32_t seed = (n <= 0 || params[0] == 0) ? 1u : params[0];
        for (int32_t k = 0; k < kLag; ++k) {
          seed *= 69069u;
          st.w[k] = seed;
        }
        // Words 3, 10, ..., 220 get a triangular bit pattern: word t has bit
        // 31 - t set and the bits above it cleared, which makes the 32 words
        // linearly independent and so the ring a non-degenerate start.
        for (int t = 0; t < 32; ++t) {
          uint32_t& v = st.w[3 + 7 * t];
          v = (v & (0xFFFFFFFFu >> t)) | (0x80000000u >> t);
        }
      }
      st.i = 0;
      st.j = kShort;
      return VRS_STATUS_OK;
    case VRS_INIT_METHOD_LEAPFROG:
      return VRS_ERROR_LEAPFROG_UNSUPPORTED;
    case VRS_INIT_METHOD_SKIPAHEAD:
      return VRS_ERROR_SKIPAHEAD_UNSUPPORTED;
    default:
      return VRS_ERROR_UNKNOWN_METHOD;
  }
}

NEX_EXPORT int32_t __vrsiBRngR250(VrsStream* stream, int32_t n, void* r) {
  State& st = *nex::streams::state_of<State>(stream);
  auto* out = static_cast<uint32_t*>(r);
  if (n < kLag)
    walk(st, n, [out](int32_t m, uint32_t v) { out[m] = v; });
  else
    long_path<uint32_t>(st, n, static_cast<Alias<uint32_t>*>(r), [](int32_t, int32_t) {});
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrsdBRngR250(VrsStream* stream, int32_t n, double* r, double a, double b) {
  generate_real<double, uint64_t>(stream, n, r, a, b);
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrssBRngR250(VrsStream* stream, int32_t n, float* r, float a, float b) {
  generate_real<float, uint32_t>(stream, n, r, a, b);
  return VRS_STATUS_OK;
}
