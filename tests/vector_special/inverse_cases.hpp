// Argument samples for the inverse error functions, by function and type.
#pragma once

#include <cmath>
#include <limits>
#include <vector>

#include "support/accuracy.hpp"

namespace nex::special_test {

enum class Fn { kErf, kErfc, kCdfNorm };

// The domain [lo, hi] of each function.
inline double DomainLo(Fn f) {
  return f == Fn::kErf ? -1.0 : 0.0;
}
inline double DomainHi(Fn f) {
  return f == Fn::kErfc ? 2.0 : 1.0;
}

// `count` representable values walking away from `from` toward `to`.
template <class T>
void Walk(std::vector<T>& v, T from, T to, int count) {
  T x = from;
  for (int i = 0; i < count; ++i) {
    x = std::nextafter(x, to);
    v.push_back(x);
  }
}

// The fixed sample of a function; `scale` multiplies the random counts.
template <class T>
std::vector<T> Arguments(Fn f, size_t scale = 1) {
  namespace acc = nex::accuracy;
  using L = std::numeric_limits<T>;
  const T lo = T(DomainLo(f)), hi = T(DomainHi(f)), mid = (lo + hi) / 2;
  const size_t n = 3000 * scale;
  std::vector<T> v = acc::SpecialValues<T>();
  for (T x :
       {lo, hi, mid, T(0.5), T(1.5), T(0.25), T(0.75), T(-0.5), T(0.6875), T(-0.6875), T(0.3125),
        T(1.6875), T(0.15625), T(0.84375), T(0.375), T(-0.375), T(0.625), T(1.375)}) {
    v.push_back(x);
    Walk(v, x, L::infinity(), 3);
    Walk(v, x, -L::infinity(), 3);
  }
  // Beyond the ends.
  for (T x : {lo - 1, hi + 1, lo - L::epsilon(), hi + 2 * L::epsilon(), T(-3), T(3)})
    v.push_back(x);
  // The last representable arguments before each end.
  Walk(v, lo, hi, 300);
  Walk(v, hi, lo, 300);
  if (f == Fn::kErfc) {  // both sides of the centre 1
    Walk(v, T(1), T(0), 100);
    Walk(v, T(1), T(2), 100);
  }
  // Uniform over the domain, and log-uniform distances from each end.
  for (T x : acc::Uniform<T>(lo, hi, n, 11)) v.push_back(x);
  const T tiny = lo == 0 ? L::denorm_min() : L::epsilon() / 2;
  for (T d : acc::LogUniform<T>(tiny, (hi - lo) / 2, n, 12)) v.push_back(lo + d);
  for (T d : acc::LogUniform<T>(L::epsilon() / 4, (hi - lo) / 2, n, 13)) v.push_back(hi - d);
  if (f == Fn::kErf)  // tiny arguments of either sign
    for (T x : acc::LogUniform<T>(L::denorm_min(), T(0.5), n, 14, 0)) v.push_back(x);
  if (f == Fn::kErfc)  // both sides of 1
    for (T d : acc::LogUniform<T>(L::epsilon() / 4, T(0.5), n, 15, 0)) v.push_back(T(1) + d);
  if (f == Fn::kCdfNorm)
    for (T d : acc::LogUniform<T>(L::epsilon() / 4, T(0.25), n, 16, 0)) v.push_back(T(0.5) + d);
  return v;
}

}  // namespace nex::special_test
