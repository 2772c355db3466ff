// Natural logarithm on the x87 unit for the scalar routines of the special
// functions: ln v = ln 2 * log2 v by one FYL2X, accurate to about one unit of
// the 64-bit significand for every positive finite v.
//
// Private stopgap: to be replaced by the shared logarithm core once that is
// in the tree. Callers run with the x87 unit at 64-bit precision and
// rounding to nearest.
#pragma once

namespace nex::vtm::special {

inline long double LogExtended(long double v) {
  // ln 2 rounded to the 64-bit significand (the value FLDLN2 loads).
  const long double ln2 = 0.6931471805599453094172321L;
  long double r;
  __asm__("fyl2x" : "=t"(r) : "0"(v), "u"(ln2) : "st(1)");
  return r;
}

}  // namespace nex::vtm::special
