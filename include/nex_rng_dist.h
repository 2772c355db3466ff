/* Distribution generators: the uniform family and the scalar services.
 *
 * Every entry takes (method, stream, n, r) followed by the distribution's
 * parameters, writes n results to r (which need not be aligned) and returns
 * a 32-bit signed status: 0, a negative code of nex_rng.h, or a status passed
 * up unchanged from the stream's generator. The entries do not check their
 * arguments. Method words and matrix storage codes are in nex_rng.h. */
#ifndef NEX_RNG_DIST_H
#define NEX_RNG_DIST_H

#include <stdint.h>

#include "nex_api.h"
#include "nex_rng.h"

NEX_EXTERN_C_BEGIN

/* Uniform on [a, b) from the generator's real output. With
 * VRS_METHOD_ACCURATE in `method` each result is also held inside [a, b]. */
NEX_API int32_t _vrsdRngUniform(int32_t method, VrsStream* stream, int32_t n, double* r, double a,
                                double b);
NEX_API int32_t _vrssRngUniform(int32_t method, VrsStream* stream, int32_t n, float* r, float a,
                                float b);
/* Uniform integers floor(a + (b - a) u) on [a, b), computed in doubles. */
NEX_API int32_t _vrsiRngUniform(int32_t method, VrsStream* stream, int32_t n, int32_t* r,
                                int32_t a, int32_t b);
/* The generator's raw words: r receives n words of the generator's word size
 * (4 bytes, 8 for MCG59, 16 for WH). */
NEX_API int32_t _vrsiRngUniformBits(int32_t method, VrsStream* stream, int32_t n, uint32_t* r);
/* n uniformly distributed 32-bit or 64-bit integers; generators whose words
 * do not carry 32 full bits give VRS_ERROR_BRNG_NOT_SUPPORTED. */
NEX_API int32_t _vrsiRngUniformBits32(int32_t method, VrsStream* stream, int32_t n, uint32_t* r);
NEX_API int32_t _vrsiRngUniformBits64(int32_t method, VrsStream* stream, int32_t n, uint64_t* r);

/* Normal N(a, sigma^2); method VRS_METHOD_GAUSSIAN_BOXMULLER,
 * _BOXMULLER2 (keeps a pending pair with the stream) or _ICDF. */
NEX_API int32_t _vrsdRngGaussian(int32_t method, VrsStream* stream, int32_t n, double* r, double a,
                                 double sigma);
NEX_API int32_t _vrssRngGaussian(int32_t method, VrsStream* stream, int32_t n, float* r, float a,
                                 float sigma);
/* n vectors of dimen elements, mean a, Cholesky factor t stored as
 * VRS_MATRIX_STORAGE_FULL (upper triangle U, covariance U^T U, leading
 * dimension dimen), _PACKED (lower triangle L packed by columns, covariance
 * L L^T) or _DIAGONAL (dimen standard deviations). */
NEX_API int32_t _vrsdRngGaussianMV(int32_t method, VrsStream* stream, int32_t n, double* r,
                                   int32_t dimen, int32_t mstorage, const double* a,
                                   const double* t);
NEX_API int32_t _vrssRngGaussianMV(int32_t method, VrsStream* stream, int32_t n, float* r,
                                   int32_t dimen, int32_t mstorage, const float* a,
                                   const float* t);
/* max(b, beta exp(N(a, sigma^2)) + b); method 0 draws the normal by
 * Box-Muller2, any other value by the inverse distribution function. */
NEX_API int32_t _vrsdRngLognormal(int32_t method, VrsStream* stream, int32_t n, double* r, double a,
                                  double sigma, double b, double beta);
NEX_API int32_t _vrssRngLognormal(int32_t method, VrsStream* stream, int32_t n, float* r, float a,
                                  float sigma, float b, float beta);

/* Scalar services of the distribution generators: natural logarithm and
 * square root of one number. */
NEX_API double __vrsdLn(double x);
NEX_API float __vrssLn(float x);
NEX_API double __vrsdSqrt(double x);

NEX_EXTERN_C_END

#endif /* NEX_RNG_DIST_H */
