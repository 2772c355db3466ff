// Exported entries of the Gaussian family, bound to the vector entries they
// call. Built when the library has the logarithm, exponential, sine, cosine,
// sine-and-cosine, square root and inverse error function kernels (CMake
// option NEX_WITH_GAUSSIAN).
#if defined(NEX_WITH_GAUSSIAN)

#include "distributions/gaussian_body.hpp"
#include "nex_rng_dist.h"
#include "nex_vtm.h"
#include "service/export.hpp"

namespace {

using nex::dist::GaussianKernels;

// Box-Muller on the fixed low-accuracy entries, Box-Muller2 on the default
// ones in double precision, and the fixed single-precision entries.
constexpr GaussianKernels<double> kDouble = {_vtmdSin_26, _vtmdLn_26, _vtmdSqrt_26, _vtmdSinCos,
                                             _vtmdSin,    _vtmdCos,   _vtmdLn,      _vtmdSqrt,
                                             _vtmdErfInv, _vtmdExp_26};
constexpr GaussianKernels<float> kSingle = {
    _vtmsSin_21, _vtmsLn_21, _vtmsSqrt_21, _vtmsSinCos_21, _vtmsSin_21,
    _vtmsCos_21, _vtmsLn_21, _vtmsSqrt_21, _vtmsErfInv_21, _vtmsExp_21};

}  // namespace

NEX_EXPORT int32_t _vrsdRngGaussian(int32_t method, VrsStream* stream, int32_t n, double* r,
                                    double a, double sigma) {
  return nex::dist::Gaussian(kDouble, method, stream, n, r, a, sigma);
}
NEX_EXPORT int32_t _vrssRngGaussian(int32_t method, VrsStream* stream, int32_t n, float* r, float a,
                                    float sigma) {
  return nex::dist::Gaussian(kSingle, method, stream, n, r, a, sigma);
}
NEX_EXPORT int32_t _vrsdRngGaussianMV(int32_t method, VrsStream* stream, int32_t n, double* r,
                                      int32_t dimen, int32_t mstorage, const double* a,
                                      const double* t) {
  return nex::dist::GaussianMV(kDouble, method, stream, n, r, dimen, mstorage, a, t);
}
NEX_EXPORT int32_t _vrssRngGaussianMV(int32_t method, VrsStream* stream, int32_t n, float* r,
                                      int32_t dimen, int32_t mstorage, const float* a,
                                      const float* t) {
  return nex::dist::GaussianMV(kSingle, method, stream, n, r, dimen, mstorage, a, t);
}
NEX_EXPORT int32_t _vrsdRngLognormal(int32_t method, VrsStream* stream, int32_t n, double* r,
                                     double a, double sigma, double b, double beta) {
  return nex::dist::Lognormal(kDouble, method, stream, n, r, a, sigma, b, beta);
}
NEX_EXPORT int32_t _vrssRngLognormal(int32_t method, VrsStream* stream, int32_t n, float* r,
                                     float a, float sigma, float b, float beta) {
  return nex::dist::Lognormal(kSingle, method, stream, n, r, a, sigma, b, beta);
}

#endif  // NEX_WITH_GAUSSIAN
