// Shared test helpers for the stream and generator tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "nex_core.h"
#include "nex_rng.h"
#include "streams/stream.hpp"

namespace nex_test {

// Owns a stream for the length of a test.
class Stream {
 public:
  Stream() = default;
  Stream(int32_t brng, std::vector<uint32_t> seed) { create(brng, seed); }
  ~Stream() { reset(); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  int32_t create(int32_t brng, const std::vector<uint32_t>& seed) {
    reset();
    return __vrsNewStreamEx(&s_, brng, static_cast<int32_t>(seed.size()), seed.data());
  }
  void reset() {
    if (s_ != nullptr) __vrsDeleteStream(&s_);
  }
  VrsStream* get() const { return s_; }
  VrsStream** out() { return &s_; }
  VrsStream* operator->() const { return s_; }

 private:
  VrsStream* s_ = nullptr;
};

inline const VrsBrngProperties& row(const VrsStream* s) {
  return nex::streams::row_of(s);
}

// The three output forms as plain calls on a stream's own row.
inline std::vector<uint32_t> words(VrsStream* s, int32_t n) {
  const VrsBrngProperties& r = row(s);
  std::vector<uint32_t> out(static_cast<size_t>(n > 0 ? n : 1) * (r.word_size / 4));
  EXPECT_EQ(r.generate_i(s, n, out.data()), VRS_STATUS_OK);
  return out;
}
inline std::vector<double> doubles(VrsStream* s, int32_t n, double a = 0.0, double b = 1.0) {
  std::vector<double> out(static_cast<size_t>(n > 0 ? n : 1));
  EXPECT_EQ(row(s).generate_d(s, n, out.data(), a, b), VRS_STATUS_OK);
  return out;
}
inline std::vector<float> floats(VrsStream* s, int32_t n, float a = 0.0f, float b = 1.0f) {
  std::vector<float> out(static_cast<size_t>(n > 0 ? n : 1));
  EXPECT_EQ(row(s).generate_s(s, n, out.data(), a, b), VRS_STATUS_OK);
  return out;
}

// Generator state bytes (from byte 16) of a stream.
template <class T>
const T* state(const VrsStream* s) {
  return nex::streams::state_of<T>(s);
}

}  // namespace nex_test
