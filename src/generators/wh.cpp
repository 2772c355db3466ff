// WH: 273 sets of four parallel congruential components
// x_j(n+1) = a_j x_j(n) mod m_j, with primes m_j just below 2^24. The
// integer output is the four words; the real output the fractional part of
// x1/m1 + x2/m2 + x3/m3 + x4/m4.
#include "generators/common.hpp"
#include "generators/wh_tables.hpp"
#include "service/export.hpp"

namespace {

struct State {
  uint32_t x[4];
  uint32_t a[4];
};

// 1.5 x 2^52: adding it rounds a double below 2^51 to an integer.
constexpr double kRound = 6755399441055744.0;

// a x mod m for a, x < 2^24: the product (below 2^48) is exact in double, the
// quotient estimate from the reciprocal is off by at most one, and one
// correction each way makes the remainder exact.
inline uint32_t mulmod(uint32_t a, uint32_t x, uint32_t m, double inv) {
  const double p = static_cast<double>(a) * static_cast<double>(x);
  const double q = (p * inv + kRound) - kRound;
  double r = p - q * static_cast<double>(m);
  if (r < 0) r += static_cast<double>(m);
  if (r >= static_cast<double>(m)) r -= static_cast<double>(m);
  return static_cast<uint32_t>(static_cast<int32_t>(r));
}

// Fractional part by rounding through 1.5 x 2^52 and stepping down when the
// rounding went up.
inline double frac(double s) {
  double t = (s + kRound) - kRound;
  if (s < t) t -= 1.0;
  return s - t;
}

// Four successive states at a time, each stepping by a_j^4; the tail of up
// to three outputs takes the first prepared states. `emit` receives the
// output index and the four component words.
template <class Emit>
void generate(VrsStream* stream, int32_t n, const double* inv, Emit emit) {
  int32_t sub = 0;
  nex::streams::row_of(stream, &sub);
  State& st = *nex::streams::state_of<State>(stream);
  const uint32_t* m = VrsWhModuli[sub];
  if (n <= 0) return;
  uint32_t lane[4][4];  // lane[k][j]: component j of output i + k
  uint32_t a4[4];
  for (int j = 0; j < 4; ++j) {
    const uint32_t a2 = mulmod(st.a[j], st.a[j], m[j], inv[j]);
    a4[j] = mulmod(a2, a2, m[j], inv[j]);
    lane[0][j] = st.x[j];
    for (int k = 1; k < 4; ++k) lane[k][j] = mulmod(st.a[j], lane[k - 1][j], m[j], inv[j]);
  }
  int32_t i = 0;
  const int32_t body = n & ~3;
  for (; i < body; i += 4)
    for (int k = 0; k < 4; ++k) {
      emit(i + k, lane[k]);
      for (int j = 0; j < 4; ++j) lane[k][j] = mulmod(a4[j], lane[k][j], m[j], inv[j]);
    }
  // lane[k] now holds outputs body + k; the tail uses the first n - body of
  // them and the state moves to the one after the last used.
  const int32_t tail = n - body;
  for (int k = 0; k < tail; ++k) emit(i + k, lane[k]);
  for (int j = 0; j < 4; ++j) st.x[j] = lane[tail][j];
}

template <class Real>
void generate_real(VrsStream* stream, int32_t n, Real* r, double a, double b) {
  int32_t sub = 0;
  nex::streams::row_of(stream, &sub);
  const double* inv = VrsWhInverseModuli[sub];
  const double width = b - a;
  generate(stream, n, inv, [&](int32_t i, const uint32_t* x) {
    const double s = static_cast<double>(x[0]) * inv[0] + static_cast<double>(x[1]) * inv[1] +
                     static_cast<double>(x[2]) * inv[2] + static_cast<double>(x[3]) * inv[3];
    r[i] = static_cast<Real>(frac(s) * width + a);
  });
}

}  // namespace

NEX_EXPORT int32_t __vrsBRngWHInitStream(int32_t method, VrsStream* stream, int32_t n,
                                         const uint32_t* params) {
  int32_t sub = 0;
  nex::streams::row_of(stream, &sub);
  State& st = *nex::streams::state_of<State>(stream);
  const uint32_t* m = VrsWhModuli[sub];
  switch (method) {
    case VRS_INIT_METHOD_STANDARD: {
      // n = 0 is the absence of a seed; a negative n reads all four words.
      const uint32_t count = n == 0 ? 0u : (n < 0 || n > 4 ? 4u : static_cast<uint32_t>(n));
      for (uint32_t j = 0; j < 4; ++j) {
        uint32_t x = j < count ? params[j] % m[j] : 0;
        st.x[j] = x == 0 ? 1 : x;
        st.a[j] = VrsWhMultipliers[sub][j];
      }
      return VRS_STATUS_OK;
    }
    case VRS_INIT_METHOD_LEAPFROG:
      for (int j = 0; j < 4; ++j) {
        const uint32_t ak = __vrsiPowMod(st.a[j], params[0], m[j]);
        st.x[j] = static_cast<uint32_t>(static_cast<uint64_t>(st.x[j]) * ak % m[j]);
        st.a[j] = __vrsiPowMod(st.a[j], static_cast<uint32_t>(n), m[j]);
      }
      return VRS_STATUS_OK;
    case VRS_INIT_METHOD_SKIPAHEAD: {
      const uint64_t s = nex::generators::skip_count(params);
      for (int j = 0; j < 4; ++j) {
        const uint32_t as = __vrsiPowMod(st.a[j], s, m[j]);
        st.x[j] = static_cast<uint32_t>(static_cast<uint64_t>(st.x[j]) * as % m[j]);
      }
      return VRS_STATUS_OK;
    }
    default:
      return VRS_ERROR_UNKNOWN_METHOD;
  }
}

NEX_EXPORT int32_t __vrsiBRngWH(VrsStream* stream, int32_t n, void* r) {
  int32_t sub = 0;
  nex::streams::row_of(stream, &sub);
  // The integer form divides once per call instead of reading the table.
  const uint32_t* m = VrsWhModuli[sub];
  const double inv[4] = {1.0 / m[0], 1.0 / m[1], 1.0 / m[2], 1.0 / m[3]};
  auto* out = static_cast<uint32_t*>(r);
  generate(stream, n, inv, [out](int32_t i, const uint32_t* x) {
    std::memcpy(out + 4 * static_cast<size_t>(i), x, 4 * sizeof(uint32_t));
  });
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrsdBRngWH(VrsStream* stream, int32_t n, double* r, double a, double b) {
  generate_real(stream, n, r, a, b);
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrssBRngWH(VrsStream* stream, int32_t n, float* r, float a, float b) {
  generate_real<float>(stream, n, r, a, b);
  return VRS_STATUS_OK;
}
