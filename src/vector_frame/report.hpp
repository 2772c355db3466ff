// Reporting an exceptional element: the four reporters, one per element
// type, and the policy through which the walking plans call them.
//
// A kernel stores the default result first and then reports the element's
// status and position; the mode word decides what follows (status word,
// callback, errno, standard error, floating-point exception).
#pragma once

#include <cstddef>
#include <cstdint>

#include "nex_vtm.h"

namespace nex::vtm {

// status, index relative to the arrays passed, first and second arguments,
// first and second results (a function of one argument or one result passes
// the same array twice), and the function's name ("vsExp").
void ReportS(int32_t status, int32_t index, const float* a1, const float* a2, float* r1, float* r2,
             const char* name);
void ReportD(int32_t status, int32_t index, const double* a1, const double* a2, double* r1,
             double* r2, const char* name);
void ReportC(int32_t status, int32_t index, const VtmComplex8* a1, const VtmComplex8* a2,
             VtmComplex8* r1, VtmComplex8* r2, const char* name);
void ReportZ(int32_t status, int32_t index, const VtmComplex16* a1, const VtmComplex16* a2,
             VtmComplex16* r1, VtmComplex16* r2, const char* name);

// The reporter of an element type, by overload.
inline void Report(int32_t s, int32_t i, const float* a1, const float* a2, float* r1, float* r2,
                   const char* name) {
  ReportS(s, i, a1, a2, r1, r2, name);
}
inline void Report(int32_t s, int32_t i, const double* a1, const double* a2, double* r1, double* r2,
                   const char* name) {
  ReportD(s, i, a1, a2, r1, r2, name);
}
inline void Report(int32_t s, int32_t i, const VtmComplex8* a1, const VtmComplex8* a2,
                   VtmComplex8* r1, VtmComplex8* r2, const char* name) {
  ReportC(s, i, a1, a2, r1, r2, name);
}
inline void Report(int32_t s, int32_t i, const VtmComplex16* a1, const VtmComplex16* a2,
                   VtmComplex16* r1, VtmComplex16* r2, const char* name) {
  ReportZ(s, i, a1, a2, r1, r2, name);
}

// A string literal usable as a template argument: the kernel's name.
template <size_t N>
struct KernelName {
  char text[N];
  constexpr KernelName(const char (&s)[N]) {  // NOLINT: implicit on purpose
    for (size_t i = 0; i < N; ++i) text[i] = s[i];
  }
};

// Report policy of the plans: a kernel with `In` argument arrays and `Out`
// result arrays reports under `Name`. The plans call it with the true arrays
// after the lane's default result has been stored.
template <KernelName Name, int In, int Out>
struct ReportAs {
  template <class T>
  static void report(int status, ptrdiff_t index, const T* const* in, T* const* out) {
    Report(status, static_cast<int32_t>(index), in[0], in[In - 1], out[0], out[Out - 1], Name.text);
  }
};

}  // namespace nex::vtm
