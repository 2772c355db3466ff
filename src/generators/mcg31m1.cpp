// MCG31M1: x(n+1) = 1132489760 x(n) mod (2^31 - 1). The state holds the next
// output and the multiplier in force (leapfrog changes it).
#include "generators/common.hpp"
#include "service/export.hpp"

namespace {

constexpr uint32_t kModulus = 0x7FFFFFFFu;
constexpr uint32_t kMultiplier = 1132489760u;
// 1/(2^31 - 1), not 2^-31: the largest word maps just below 1.
constexpr double kUnit = 4.656612875245797e-10;

struct State {
  uint32_t x;
  uint32_t a;
};

// Product modulo 2^31 - 1 by folding: 2^31 = 1 modulo the modulus.
inline uint32_t mulmod(uint32_t a, uint32_t x) {
  const uint64_t p = static_cast<uint64_t>(a) * x;
  uint32_t s = static_cast<uint32_t>(p & kModulus) + static_cast<uint32_t>(p >> 31);
  return s >= kModulus ? s - kModulus : s;
}

// Output 0 is stored before n is looked at, and the state always moves on
// after the last output: a call with n <= 0 stores r[0] and advances by one.
template <class Sink>
void generate(VrsStream* stream, int32_t n, Sink sink) {
  State& st = *nex::streams::state_of<State>(stream);
  const uint32_t a = st.a;
  uint32_t x = st.x;
  sink(0, x);
  x = mulmod(a, x);
  int32_t i = 1;
  const int32_t head = n < 8 ? n : 8;
  for (; i < head; ++i) {
    sink(i, x);
    x = mulmod(a, x);
  }
  // Eight lanes, each stepping by a^8, over the rest of the n & -8 part.
  const int32_t body = n & ~7;
  if (i + 8 <= body) {
    const uint32_t a2 = mulmod(a, a), a4 = mulmod(a2, a2), a8 = mulmod(a4, a4);
    uint32_t lane[8];
    lane[0] = x;
    for (int k = 1; k < 8; ++k) lane[k] = mulmod(a, lane[k - 1]);
    for (; i + 8 <= body; i += 8)
      for (int k = 0; k < 8; ++k) {
        sink(i + k, lane[k]);
        lane[k] = mulmod(a8, lane[k]);
      }
    x = lane[0];
  }
  for (; i < n; ++i) {
    sink(i, x);
    x = mulmod(a, x);
  }
  st.x = x;
}

}  // namespace

NEX_EXPORT int32_t __vrsBRngMCG31M1InitStream(int32_t method, VrsStream* stream, int32_t n,
                                              const uint32_t* params) {
  State& st = *nex::streams::state_of<State>(stream);
  switch (method) {
    case VRS_INIT_METHOD_STANDARD: {
      uint32_t x = 1;
      if (n > 0) {
        x = params[0] % kModulus;
        if (x == 0) x = 1;
      }
      st.x = x;
      st.a = kMultiplier;
      return VRS_STATUS_OK;
    }
    case VRS_INIT_METHOD_LEAPFROG: {
      // Stream k of nstreams: start k steps on, then step by a^nstreams.
      st.x = mulmod(__vrsiPowMod2P31M1(st.a, params[0]), st.x);
      st.a = __vrsiPowMod2P31M1(st.a, static_cast<uint32_t>(n));
      return VRS_STATUS_OK;
    }
    case VRS_INIT_METHOD_SKIPAHEAD:
      st.x = mulmod(__vrsiPowMod2P31M1(st.a, nex::generators::skip_count(params)), st.x);
      return VRS_STATUS_OK;
    default:
      return VRS_ERROR_UNKNOWN_METHOD;
  }
}

NEX_DEFINE_BRNG_OUTPUTS(MCG31M1, uint32_t, nex::generators::u32_to_double)
