// MCG59: x(n+1) = 13^13 x(n) mod 2^59 (multiplier 302875106592253). The state
// holds the next output and the multiplier in force.
#include "generators/common.hpp"
#include "service/export.hpp"

namespace {

constexpr uint64_t kMask = 0x07FFFFFFFFFFFFFFull;
constexpr uint64_t kMultiplier = 302875106592253ull;
constexpr double kUnit = 1.0 / 576460752303423488.0;  // 2^-59

struct State {
  uint64_t x;
  uint64_t a;
};

inline uint64_t mulmod(uint64_t a, uint64_t x) {
  return (a * x) & kMask;
}

template <class Sink>
void generate(VrsStream* stream, int32_t n, Sink sink) {
  State& st = *nex::streams::state_of<State>(stream);
  const uint64_t a = st.a;
  uint64_t x = st.x;
  int32_t i = 0;
  // Four lanes stepping by a^4 over the n & -4 part, then one by one.
  const int32_t body = n & ~3;
  if (body > 0) {
    const uint64_t a4 = mulmod(mulmod(a, a), mulmod(a, a));
    uint64_t lane[4] = {x, mulmod(a, x), 0, 0};
    lane[2] = mulmod(a, lane[1]);
    lane[3] = mulmod(a, lane[2]);
    for (; i < body; i += 4)
      for (int k = 0; k < 4; ++k) {
        sink(i + k, lane[k]);
        lane[k] = mulmod(a4, lane[k]);
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

NEX_EXPORT int32_t __vrsBRngMCG59InitStream(int32_t method, VrsStream* stream, int32_t n,
                                            const uint32_t* params) {
  State& st = *nex::streams::state_of<State>(stream);
  switch (method) {
    case VRS_INIT_METHOD_STANDARD: {
      uint64_t x = 0;
      if (n > 0) {
        // The high word is masked to its 27 bits first, so a seed that is a
        // multiple of 2^59 becomes 0 and then 1. Even seeds are kept.
        const uint64_t hi = n >= 2 ? (params[1] & 0x7FFFFFFu) : 0;
        x = (hi << 32) | params[0];
      }
      st.x = x == 0 ? 1 : x;
      st.a = kMultiplier;
      return VRS_STATUS_OK;
    }
    case VRS_INIT_METHOD_LEAPFROG:
      st.x = mulmod(__vrsiPowMod2P59(st.a, static_cast<uint64_t>(params[0])), st.x);
      st.a = __vrsiPowMod2P59(st.a, static_cast<uint64_t>(static_cast<uint32_t>(n)));
      return VRS_STATUS_OK;
    case VRS_INIT_METHOD_SKIPAHEAD:
      st.x = mulmod(__vrsiPowMod2P59(st.a, nex::generators::skip_count(params)), st.x);
      return VRS_STATUS_OK;
    default:
      return VRS_ERROR_UNKNOWN_METHOD;
  }
}

NEX_DEFINE_BRNG_OUTPUTS(MCG59, uint64_t, nex::generators::u59_to_double, true)
