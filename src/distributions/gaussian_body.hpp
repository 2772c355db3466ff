// The Gaussian family, written once for both precisions over a set of vector
// kernels: the univariate generator with its three methods, the multivariate
// generator on a Cholesky factor, and the lognormal generator.
//
// Box-Muller (method 0): x = sqrt(-2 ln u1) sin(2 pi u2), one result per pair
// of uniforms, the cosine half thrown away; blocks of 1024 results.
// Box-Muller2 (method 1): both halves, R sin(theta) then R cos(theta); a pair
// whose second half did not fit in a call is kept with the stream (chunk) and
// finishes the next call, so the numbers don't depend on how a total is split
// over calls. Inverse distribution function (method 2): x = sqrt(2) erfinv(v)
// for v uniform on (-1, 1), one uniform per result.
//
// Every result is (transformed value) * sigma + a, in that order of
// operations. The logarithm and the inverse error function can meet their
// poles (u1 = 0, v = -1 exactly); the Gaussian hook installed by the guard
// turns those into finite values. The logarithm is therefore never taken in
// place: the reporter reads the argument back from the argument array after
// the result is stored, and in place it would see -infinity instead of 0.
#pragma once

#include <cstdint>

#include "distributions/frame.hpp"
#include "distributions/transform.hpp"
#include "distributions/uniform.hpp"
#include "service/services.hpp"
#include "service/trmm.hpp"

namespace nex::dist {

// The vector kernels a Gaussian generator calls, by role.
template <class T>
struct GaussianKernels {
  using One = void (*)(int n, const T* a, T* r);
  using Two = void (*)(int n, const T* a, T* r1, T* r2);
  One bm_sin, bm_ln, bm_sqrt;              // Box-Muller
  Two bm2_sincos;                          // Box-Muller2 on blocks
  One bm2_sin, bm2_cos, bm2_ln, bm2_sqrt;  // Box-Muller2 (also single elements)
  One erfinv;                              // inverse distribution function
  One exp;                                 // lognormal
};

template <class T>
struct GaussianConstants;
template <>
struct GaussianConstants<double> {
  static constexpr double kTwoPi = std::bit_cast<double>(0x401921FB54442D18ull);
  static constexpr double kSqrt2 = std::bit_cast<double>(0x3FF6A09E667F3BCDull);
  static constexpr int32_t kPairChunk = VRS_CHUNK_GAUSSIAN_PAIR_D;
};
template <>
struct GaussianConstants<float> {
  static constexpr float kTwoPi = std::bit_cast<float>(0x40C90FDBu);
  static constexpr float kSqrt2 = std::bit_cast<float>(0x3FB504F3u);
  static constexpr int32_t kPairChunk = VRS_CHUNK_GAUSSIAN_PAIR_S;
};

inline constexpr int32_t kGaussianBlock = 1024;
inline constexpr int kGaussianMethods = 3;
// Orders up to this use the service library's small-triangle multiply.
inline constexpr int32_t kSmallFactorOrder = 10;

// x := x * scale + shift over n results.
template <class T>
inline void ScaleShift(T* r, int32_t n, T scale, T shift) {
  Transform(
      r, n,
      [=](auto x) {
        using X = decltype(x);
        return x * Splat<X>(scale) + Splat<X>(shift);
      },
      static_cast<const T*>(r));
}

// -2y for each logarithm y, as (y + y) negated; on the generators' own
// aligned stack buffers, so a plain loop.
template <class T>
inline void MinusTwice(T* y, int32_t n) {
  for (int32_t i = 0; i < n; ++i) y[i] = -(y[i] + y[i]);
}

// ---- Method 0: Box-Muller ------------------------------------------------------

template <class T>
int32_t BoxMuller(const GaussianKernels<T>& k, VrsStream* stream, int32_t n, T* r, T a, T sigma) {
  if (n <= 0) return VRS_STATUS_OK;
  // u: the 2m uniforms. The u1 halves are compacted in place to u[0, m) and
  // their logarithms go to the upper half, free by then; the angles 2 pi u2
  // go to `angle`. 3 x 1024 elements on the stack.
  alignas(16) T u[2 * kGaussianBlock];
  alignas(16) T angle[kGaussianBlock];
  T* root = u + kGaussianBlock;
  int32_t status = VRS_STATUS_OK;
  for (int32_t done = 0; done < n;) {
    const int32_t m = n - done < kGaussianBlock ? n - done : kGaussianBlock;
    status = RealUniform<T>(0, stream, 2 * m, u, T(0), T(1));
    if (status < 0) return status;
    for (int32_t i = 0; i < m; ++i) {
      angle[i] = u[2 * i + 1] * GaussianConstants<T>::kTwoPi;
      u[i] = u[2 * i];
    }
    VrsVectorCall(k.bm_sin, m, angle, angle);
    VrsVectorCall(k.bm_ln, m, u, root);
    MinusTwice(root, m);
    VrsVectorCall(k.bm_sqrt, m, root, root);
    Transform(
        r + done, m,
        [=](auto root_i, auto sine_i) {
          using X = decltype(root_i);
          return (root_i * Splat<X>(sigma)) * sine_i + Splat<X>(a);
        },
        static_cast<const T*>(root), static_cast<const T*>(angle));
    done += m;
  }
  return status;
}

// ---- Method 1: Box-Muller2 -----------------------------------------------------

// The pair chunk: u1 == -1 means that nothing is pending.
template <class T>
struct PendingPair {
  T u1, u2;
};

template <class T>
int32_t FindOrAddPairChunk(VrsStream* stream, PendingPair<T>** out) {
  constexpr int32_t id = GaussianConstants<T>::kPairChunk;
  auto* pair = static_cast<PendingPair<T>*>(__vrsSearchChunk(stream, id));
  if (pair == nullptr) {
    pair = static_cast<PendingPair<T>*>(nex::service::allocate(sizeof(PendingPair<T>)));
    if (pair == nullptr) return VRS_ERROR_NO_MEMORY;
    pair->u1 = T(-1);
    pair->u2 = T(-1);
    const int32_t status =
        __vrsAddChunk(stream, id, nullptr, pair, static_cast<int32_t>(sizeof(PendingPair<T>)));
    if (status < 0) {
      nex::service::deallocate(pair);
      return status;
    }
  }
  *out = pair;
  return VRS_STATUS_OK;
}

// R = sqrt(-2 ln u1) for one element, with the single-element kernels;
// `u1_in` and `out` are different places (see the file comment).
template <class T>
inline void OneRoot(const GaussianKernels<T>& k, const T* u1_in, T* out) {
  VrsVectorCall(k.bm2_ln, 1, u1_in, out);
  MinusTwice(out, 1);
  VrsVectorCall(k.bm2_sqrt, 1, out, out);
}

// p pairs (at most 512) from the 2p uniforms in `u` (1024 elements), written
// as R sin, R cos to r[0, 2p). The u1 halves are compacted in place to
// u[0, p), their logarithms go to u[512, 512 + p), and after that the cosines
// to u[0, p); the angles and their sines stay in `angle`.
template <class T>
void PairBlock(const GaussianKernels<T>& k, T* u, int32_t p, T* r) {
  constexpr int32_t kHalf = kGaussianBlock / 2;
  alignas(16) T angle[kHalf];
  for (int32_t i = 0; i < p; ++i) {
    angle[i] = u[2 * i + 1] * GaussianConstants<T>::kTwoPi;
    u[i] = u[2 * i];
  }
  T* root = u + kHalf;  // free once the u1 halves are compacted
  VrsVectorCall(k.bm2_ln, p, static_cast<const T*>(u), root);
  MinusTwice(root, p);
  VrsVectorCall(k.bm2_sqrt, p, root, root);
  VrsVectorCall(k.bm2_sincos, p, angle, angle, u);
  for (int32_t i = 0; i < p; ++i) {
    r[2 * i] = root[i] * angle[i];
    r[2 * i + 1] = root[i] * u[i];
  }
}

template <class T>
int32_t BoxMuller2(const GaussianKernels<T>& k, VrsStream* stream, int32_t n, T* r, T a, T sigma) {
  PendingPair<T>* pair = nullptr;
  const int32_t found = FindOrAddPairChunk(stream, &pair);
  if (found < 0) return found;
  if (n <= 0) return VRS_STATUS_OK;  // nothing to write, the pair stays pending

  T* out = r;
  int32_t left = n;
  if (pair->u1 != T(-1)) {
    // The second half of the pending pair, transformed inside the chunk.
    pair->u2 = pair->u2 * GaussianConstants<T>::kTwoPi;
    VrsVectorCall(k.bm2_cos, 1, &pair->u2, &pair->u2);
    const T u1 = pair->u1;
    OneRoot(k, &u1, &pair->u1);
    *out++ = pair->u1 * pair->u2;
    --left;
  }

  alignas(16) T u[kGaussianBlock];
  int32_t status = VRS_STATUS_OK;
  for (int32_t blocks = left >> 10; blocks > 0; --blocks) {
    status = RealUniform<T>(0, stream, kGaussianBlock, u, T(0), T(1));
    if (status < 0) return status;
    PairBlock(k, u, kGaussianBlock / 2, out);
    out += kGaussianBlock;
  }
  const int32_t rest = left & (kGaussianBlock - 1);
  const int32_t p = rest >> 1;
  if (p > 0) {
    status = RealUniform<T>(0, stream, 2 * p, u, T(0), T(1));
    if (status < 0) return status;
    PairBlock(k, u, p, out);
    out += 2 * p;
  }
  if (rest & 1) {
    T fresh[2];
    status = RealUniform<T>(0, stream, 2, fresh, T(0), T(1));
    if (status < 0) return status;
    pair->u1 = fresh[0];
    pair->u2 = fresh[1];
    T angle = fresh[1] * GaussianConstants<T>::kTwoPi, root;
    VrsVectorCall(k.bm2_sin, 1, &angle, &angle);
    OneRoot(k, &fresh[0], &root);
    *out = root * angle;
  } else {
    pair->u1 = T(-1);
    pair->u2 = T(-1);
  }
  ScaleShift(r, n, sigma, a);
  return status;
}

// ---- Method 2: inverse distribution function -------------------------------------

template <class T>
int32_t GaussianIcdf(const GaussianKernels<T>& k, VrsStream* stream, int32_t n, T* r, T a,
                     T sigma) {
  const int32_t status = RealUniform<T>(0, stream, n, r, T(-1), T(1));
  // The count goes to the generator as it stands; kernels never see n <= 0.
  if (status < 0 || n <= 0) return status;
  // In place: at v = -1 or 1 the stored result is an infinity of v's sign,
  // which the hook reads back as the argument and caps with the same sign.
  VrsVectorCall(k.erfinv, n, r, r);
  ScaleShift(r, n, GaussianConstants<T>::kSqrt2 * sigma, a);
  return status;
}

// ---- Entries ----------------------------------------------------------------------

template <class T>
int32_t Gaussian(const GaussianKernels<T>& k, int32_t method, VrsStream* stream, int32_t n, T* r,
                 T a, T sigma) {
  using Body = int32_t (*)(const GaussianKernels<T>&, VrsStream*, int32_t, T*, T, T);
  static constexpr Body kBodies[kGaussianMethods] = {BoxMuller<T>, BoxMuller2<T>, GaussianIcdf<T>};
  // The caller's layer checks the method; an unknown one is refused here
  // rather than read past the table.
  if (method < 0 || method >= kGaussianMethods) return VRS_ERROR_UNKNOWN_METHOD;
  return Guarded(VrsGaussianHook<T>, [&] { return kBodies[method](k, stream, n, r, a, sigma); });
}

// n vectors of `dimen` normals with mean `a` and factor `t` in storage
// `mstorage`: full (the upper triangle U, covariance U^T U), packed (the lower
// triangle L packed by columns, covariance L L^T) or diagonal.
template <class T>
int32_t GaussianMV(const GaussianKernels<T>& k, int32_t method, VrsStream* stream, int32_t n, T* r,
                   int32_t dimen, int32_t mstorage, const T* a, const T* t) {
  if (dimen == 1) return Gaussian(k, method, stream, n, r, a[0], t[0]);
  // The count is a plain 32-bit product; it wraps as such.
  const int32_t count =
      static_cast<int32_t>(static_cast<uint32_t>(n) * static_cast<uint32_t>(dimen));
  const int32_t status = Gaussian(k, method, stream, count, r, T(0), T(1));
  if (status < 0) return status;
  const T one = T(1);
  auto add_mean = [&] {
    for (int32_t v = 0; v < n; ++v)
      for (int32_t j = 0; j < dimen; ++j) r[int64_t(v) * dimen + j] += a[j];
  };
  switch (mstorage) {
    case VRS_MATRIX_STORAGE_FULL:
      if (dimen <= kSmallFactorOrder)
        nex::service::trmm::small("L", "U", "T", "N", &dimen, &n, &one, t, &dimen, r, &dimen);
      else
        nex::service::trmm::full("L", "U", "T", "N", &dimen, &n, &one, t, &dimen, r, &dimen);
      add_mean();
      break;
    case VRS_MATRIX_STORAGE_PACKED:
      nex::service::trmm::packed("L", "L", "N", "N", &dimen, &n, &one, t, r, &dimen);
      add_mean();
      break;
    case VRS_MATRIX_STORAGE_DIAGONAL:
      for (int32_t v = 0; v < n; ++v) {
        T* x = r + int64_t(v) * dimen;
        Transform(
            x, dimen, [](auto xj, auto tj, auto aj) { return xj * tj + aj; },
            static_cast<const T*>(x), t, a);
      }
      break;
    default:
      break;  // unit normals stay as they are
  }
  return status;
}

// exp of a Gaussian, scaled and displaced; never below b.
template <class T>
int32_t Lognormal(const GaussianKernels<T>& k, int32_t method, VrsStream* stream, int32_t n, T* r,
                  T a, T sigma, T b, T beta) {
  const int32_t gaussian_method =
      method == 0 ? VRS_METHOD_GAUSSIAN_BOXMULLER2 : VRS_METHOD_GAUSSIAN_ICDF;
  const int32_t status = Gaussian(k, gaussian_method, stream, n, r, a, sigma);
  if (status < 0 || n <= 0) return status;
  VrsVectorCall(k.exp, n, r, r);
  // max(b, y) in that order: a NaN y stays NaN.
  Transform(
      r, n,
      [=](auto x) {
        using X = decltype(x);
        return MaxOr2nd(Splat<X>(b), x * Splat<X>(beta) + Splat<X>(b));
      },
      static_cast<const T*>(r));
  return status;
}

}  // namespace nex::dist
