// A registered test generator that records every call, can be told to fail on
// a given call or to return a positive status, and can play a scripted list of
// uniform numbers; and a way to lend its slots (or a counting wrapper around a
// real generator's) to one of the built-in registry rows for one test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "nex_core.h"
#include "nex_rng.h"
#include "nex_rng_dist.h"

namespace dist_test {

struct Script {
  std::vector<int32_t> calls;  // n of every generate call, in order
  int fail_on_call = 0;        // 1-based call that fails; 0: none
  int32_t fail_status = VRS_ERROR_QUASI_PERIOD_EXHAUSTED;
  int32_t ok_status = VRS_STATUS_OK;  // what a successful call returns
  std::vector<double> uniforms;       // played in order before the counter's numbers
  size_t next_uniform = 0;

  void reset() { *this = Script{}; }
};

inline Script& script() {
  static Script s;
  return s;
}

// The counter's k-th uniform number, a multiple of 2^-32 in [0, 1).
inline uint32_t counter_word(uint64_t k) {
  return static_cast<uint32_t>((k * 0x9E3779B97F4A7C15ull) >> 32);
}

struct CounterState {
  uint64_t k;
};
inline CounterState* counter(VrsStream* s) {
  return reinterpret_cast<CounterState*>(reinterpret_cast<unsigned char*>(s) + 16);
}

// Records the call; returns true when the call is to fail.
inline bool record(int32_t n) {
  Script& sc = script();
  sc.calls.push_back(n);
  return sc.fail_on_call != 0 && static_cast<int>(sc.calls.size()) == sc.fail_on_call;
}
inline double next_uniform(VrsStream* s) {
  Script& sc = script();
  if (sc.next_uniform < sc.uniforms.size()) return sc.uniforms[sc.next_uniform++];
  return counter_word(counter(s)->k++) * 0x1p-32;
}

inline int32_t TestInit(int32_t, VrsStream* s, int32_t n, const uint32_t* params) {
  counter(s)->k = n > 0 ? params[0] : 0;
  return VRS_STATUS_OK;
}
template <class T>
int32_t TestGenerate(VrsStream* s, int32_t n, T* r, T a, T b) {
  if (record(n)) return script().fail_status;
  for (int32_t i = 0; i < n; ++i)
    r[i] = static_cast<T>(a + (b - a) * static_cast<T>(next_uniform(s)));
  return script().ok_status;
}
inline int32_t TestWords(VrsStream* s, int32_t n, void* r) {
  if (record(n)) return script().fail_status;
  uint32_t* w = static_cast<uint32_t*>(r);
  for (int32_t i = 0; i < n; ++i) w[i] = counter_word(counter(s)->k++);
  return script().ok_status;
}

inline VrsBrngProperties test_row() {
  return {16 + 8, 1, 1, 4, 32, TestInit, TestGenerate<float>, TestGenerate<double>, TestWords};
}

// The id of the test generator, registered once per process.
inline int32_t test_brng() {
  static const int32_t id = [] {
    const VrsBrngProperties row = test_row();
    return __vrsRegisterBrng(&row);
  }();
  return id;
}

// A stream of the test generator starting at counter k.
class TestStream {
 public:
  explicit TestStream(uint32_t k = 0) {
    EXPECT_EQ(__vrsNewStreamEx(&s_, test_brng(), 1, &k), VRS_STATUS_OK);
    script().reset();
  }
  ~TestStream() { __vrsDeleteStream(&s_); }
  VrsStream* get() const { return s_; }

 private:
  VrsStream* s_ = nullptr;
};

// Replaces one built-in row of the current table for the life of the object.
class LentRow {
 public:
  LentRow(int row, const VrsBrngProperties& props) : row_(row), saved_(__RegBrngsNew[row]) {
    __RegBrngsNew[row] = props;
  }
  ~LentRow() { __RegBrngsNew[row_] = saved_; }
  const VrsBrngProperties& saved() const { return saved_; }

 private:
  int row_;
  VrsBrngProperties saved_;
};

// A stream head with the test generator's state, for rows that have no
// generator of their own in this build; only the id is read by the entries.
struct FakeStream {
  alignas(16) VrsStream head{};
  CounterState state{};
  explicit FakeStream(int32_t brng) { head.brng = brng; }
  VrsStream* get() { return &head; }
};

}  // namespace dist_test
