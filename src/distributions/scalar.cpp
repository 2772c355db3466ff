// Scalar services of the distribution generators: the natural logarithm and
// the square root of one number, correctly rounded or within the C library's
// error bound (below one ulp for the logarithm; exact rounding for the root,
// a single hardware instruction).
#include <cmath>

#include "nex_rng_dist.h"
#include "service/export.hpp"

NEX_EXPORT double __vrsdLn(double x) {
  return std::log(x);
}
NEX_EXPORT float __vrssLn(float x) {
  return std::log(x);
}
NEX_EXPORT double __vrsdSqrt(double x) {
  return std::sqrt(x);
}
