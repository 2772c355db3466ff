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

// The ring's word m places on from the read position i0, for m in 0..249.
inline uint32_t ring(const uint32_t* w, uint32_t i0, int32_t m) {
  const uint32_t k = i0 + static_cast<uint32_t>(m);
  return w[k >= static_cast<uint32_t>(kLag) ? k - kLag : k];
}

// Long requests (n >= 250) leave the ring alone while they run: outputs 0 to
// 146 read two ring words, outputs 147 to 249 one ring word and one output,
// and the rest only earlier outputs. The last 250 outputs then become the
// ring, rotated so that i = 0 and j = 103.
void long_path(State& st, int32_t n, uint32_t* out) {
  // The read position is held locally: the stores to out may alias the state.
  const uint32_t i0 = st.i;
  for (int32_t m = 0; m < kSplit; ++m) out[m] = ring(st.w, i0, m) ^ ring(st.w, i0, m + kShort);
  for (int32_t m = kSplit; m < kLag; ++m) out[m] = ring(st.w, i0, m) ^ out[m - kSplit];
  int32_t m = kLag;
  // Each run of 16 reads only outputs at least 147 back.
  for (; m + 16 <= n; m += 16)
    for (int32_t k = 0; k < 16; ++k) out[m + k] = out[m + k - kLag] ^ out[m + k - kSplit];
  for (; m < n; ++m) out[m] = out[m - kLag] ^ out[m - kSplit];
  for (int32_t k = 0; k < kLag; ++k) st.w[k] = out[n - kLag + k];
  st.i = 0;
  st.j = kShort;
}

// Real forms of long requests. The ring, unrolled from the read position,
// heads a word buffer on the stack, and the recurrence continues it there:
// word 250 + m of the buffer is output m, w(m) = w(m - 250) XOR w(m - 147),
// so the buffer holds exactly the walk's words. Four words come out of each
// step as one SSE2 XOR and are converted at once, while in registers; only
// the words themselves are stored, at a quarter of the doubles' bytes. When
// the buffer fills, its last 250 words move to the front. The final 250
// words become the ring, as in long_path.
template <class Real>
void long_real(State& st, int32_t n, Real* r, double a, double scale) {
  // The history starts at word 2, so that the words written are 16-byte
  // aligned (250 + 2 is a multiple of 4).
  constexpr int32_t kBase = 2, kTop = kBase + kLag, kWords = 2048;
  alignas(16) uint32_t buf[kWords];
  const int32_t head = kLag - static_cast<int32_t>(st.i);  // words from i to the ring's end
  std::memcpy(buf + kBase, st.w + st.i, head * sizeof(uint32_t));
  std::memcpy(buf + kBase + head, st.w, st.i * sizeof(uint32_t));
  const nex::generators::PackedAffine affine(scale, a);
  int32_t top = kTop;
  // Room for k more words, moving the last 250 to the front when needed.
  auto make_room = [&](int32_t k) {
    if (top + k <= kWords) return;
    std::memmove(buf + kBase, buf + top - kLag, kLag * sizeof(uint32_t));
    top = kTop;
  };
  int32_t m = 0;
  while (n - m >= 4) {
    make_room(4);
    const int32_t quads = (n - m) / 4 < (kWords - top) / 4 ? (n - m) / 4 : (kWords - top) / 4;
    for (int32_t q = 0; q < quads; ++q, top += 4, m += 4) {
      const __m128i w =
          _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(buf + top - kLag)),
                        _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf + top - kSplit)));
      _mm_store_si128(reinterpret_cast<__m128i*>(buf + top), w);
      nex::generators::prefetch_output(r + m);
      __m128d d01, d23;
      nex::generators::u32x4_to_double(w, d01, d23);
      nex::generators::store_pair(r + m, affine(d01));
      nex::generators::store_pair(r + m + 2, affine(d23));
    }
  }
  // The last one to three words, one at a time.
  make_room(n - m);
  for (; m < n; ++m, ++top) {
    buf[top] = buf[top - kLag] ^ buf[top - kSplit];
    r[m] = static_cast<Real>(nex::generators::u32_to_double(buf[top]) * scale + a);
  }
  std::memcpy(st.w, buf + top - kLag, sizeof st.w);
  st.i = 0;
  st.j = kShort;
}

// Real forms: the walk for short requests, the buffered recurrence for long
// ones.
template <class Real>
void generate_real(VrsStream* stream, int32_t n, Real* r, double a, double b) {
  State& st = *nex::streams::state_of<State>(stream);
  const double scale = (b - a) * kUnit;
  if (n < kLag) {
    walk(st, n, [&](int32_t m, uint32_t v) {
      r[m] = static_cast<Real>(nex::generators::u32_to_double(v) * scale + a);
    });
    return;
  }
  long_real(st, n, r, a, scale);
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
    long_path(st, n, out);
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrsdBRngR250(VrsStream* stream, int32_t n, double* r, double a, double b) {
  generate_real<double>(stream, n, r, a, b);
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrssBRngR250(VrsStream* stream, int32_t n, float* r, float a, float b) {
  generate_real<float>(stream, n, r, a, b);
  return VRS_STATUS_OK;
}
