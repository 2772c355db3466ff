// Test helpers: reproducible data and a long-double two-pass reference for
// the basic estimates.
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace stats_test {

// Uniform in [0,1) from the top 53 bits: the same numbers on every platform.
inline double uniform(std::mt19937_64& g) {
  return static_cast<double>(g() >> 11) * 0x1p-53;
}

// n observations of p variables, observation-major (x[j*p + i]), with
// variable i centred near `offset` + i and spread 1 + i/4; weights in
// (0.25, 1.25] when requested.
struct Data {
  int64_t p = 0, n = 0;
  std::vector<double> obs;  // x[j*p + i]
  std::vector<double> w;    // empty: unit weights
  double at(int64_t i, int64_t j) const { return obs[j * p + i]; }
  double weight(int64_t j) const { return w.empty() ? 1.0 : w[j]; }
};

inline Data make_data(int64_t p, int64_t n, bool weighted, uint64_t seed, double offset = 1.0) {
  std::mt19937_64 g(seed);
  Data d;
  d.p = p;
  d.n = n;
  d.obs.resize(p * n);
  // A common factor makes the variables correlated.
  for (int64_t j = 0; j < n; ++j) {
    const double f = uniform(g) - 0.5;
    for (int64_t i = 0; i < p; ++i)
      d.obs[j * p + i] = offset + i + (1 + i / 4.0) * (uniform(g) - 0.5 + 0.7 * f);
  }
  if (weighted) {
    d.w.resize(n);
    for (auto& v : d.w) v = 0.25 + uniform(g);
  }
  return d;
}

// Reference estimates, accumulated in long double around the exact
// (long double) mean: the second pass sees no cancellation.
struct Reference {
  int64_t p = 0;
  long double W = 0, W2 = 0;
  std::vector<long double> mean, raw2, raw3, raw4, c2s, c3s, c4s;  // central sums
  std::vector<long double> cp;                                     // p*p
  long double central2(int64_t i) const { return c2s[i] * W / (W * W - W2); }
  long double central3(int64_t i) const { return c3s[i] / W; }
  long double central4(int64_t i) const { return c4s[i] / W; }
  long double cov(int64_t i, int64_t k) const { return cp[i * p + k] / (W - W2 / W); }
  long double cor(int64_t i, int64_t k) const {
    if (i == k) return cov(i, i);
    return cp[i * p + k] / std::sqrt(cp[i * p + i] * cp[k * p + k]);
  }
  long double kurtosis(int64_t i) const { return central4(i) / (central2(i) * central2(i)) - 3; }
  long double skewness(int64_t i) const {
    return central3(i) / std::sqrt(central2(i) * central2(i) * central2(i));
  }
  long double variation(int64_t i) const { return std::sqrt(central2(i)) / mean[i]; }
};

inline Reference reference(const Data& d) {
  Reference r;
  const int64_t p = d.p;
  r.p = p;
  r.mean.assign(p, 0);
  r.raw2.assign(p, 0);
  r.raw3.assign(p, 0);
  r.raw4.assign(p, 0);
  r.c2s.assign(p, 0);
  r.c3s.assign(p, 0);
  r.c4s.assign(p, 0);
  r.cp.assign(p * p, 0);
  for (int64_t j = 0; j < d.n; ++j) {
    const long double w = d.weight(j);
    r.W += w;
    r.W2 += w * w;
    for (int64_t i = 0; i < p; ++i) {
      const long double x = d.at(i, j);
      r.mean[i] += w * x;
      r.raw2[i] += w * x * x;
      r.raw3[i] += w * x * x * x;
      r.raw4[i] += w * x * x * x * x;
    }
  }
  for (int64_t i = 0; i < p; ++i) {
    r.mean[i] /= r.W;
    r.raw2[i] /= r.W;
    r.raw3[i] /= r.W;
    r.raw4[i] /= r.W;
  }
  for (int64_t j = 0; j < d.n; ++j) {
    const long double w = d.weight(j);
    for (int64_t i = 0; i < p; ++i) {
      const long double di = d.at(i, j) - r.mean[i];
      r.c2s[i] += w * di * di;
      r.c3s[i] += w * di * di * di;
      r.c4s[i] += w * di * di * di * di;
      for (int64_t k = 0; k < p; ++k) r.cp[i * p + k] += w * di * (d.at(k, j) - r.mean[k]);
    }
  }
  return r;
}

}  // namespace stats_test
