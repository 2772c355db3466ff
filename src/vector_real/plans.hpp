// The four ways a kernel walks its arrays, written once for every kernel.
//
// An operation (Op) describes one function on one SSE2 register of lanes:
//   using T;                        element type
//   kIn, kOut                       number of input and output arrays (1 or 2)
//   packed(const V* in, V* out)     the fast path on one register
//   kHasSpecial, special(const V*)  movemask of lanes the fast path can't serve
//   scalar(const T* in, T* out)     the exact element routine; returns a status
// and a Reporter policy (below) receives nonzero statuses.
//
// Blocks are 8 elements (two float or four double registers). The only branch
// on values in the hot loops is the block test.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vector_real/simd.hpp"

namespace nex::vtm {

// The common part of an operation: element type, register type, arity, and
// no exceptional lanes unless the operation says otherwise.
template <class Ty, int In, int Out>
struct OpBase {
  using T = Ty;
  using S = Simd<T>;
  using V = typename S::V;
  static constexpr int kIn = In, kOut = Out;
  static constexpr bool kHasSpecial = false;
  static int special(const V*) { return 0; }
};

// A kernel that never reports uses NoReport; reporting kernels pass a policy
// with the same shape.
struct NoReport {
  template <class T>
  static void report(int, ptrdiff_t, const T* const*, T* const*) {}
};

template <class Op>
struct Lanes {
  using T = typename Op::T;
  using S = Simd<T>;
  using V = typename S::V;
  static constexpr int kL = S::kLanes;
  static constexpr int kBlock = 8;
  static constexpr int kRegs = kBlock / kL;
  static constexpr int kIn = Op::kIn;
  static constexpr int kOut = Op::kOut;
};

// The scalar routine on element i: read every input first (results may
// overwrite inputs), compute, store, and report a nonzero status.
template <class Op, class Report>
inline void ScalarAt(ptrdiff_t i, const typename Op::T* const* in, typename Op::T* const* out) {
  using L = Lanes<Op>;
  typename Op::T x[L::kIn], y[L::kOut];
  for (int k = 0; k < L::kIn; ++k) x[k] = in[k][i];
  const int status = Op::scalar(x, y);
  for (int k = 0; k < L::kOut; ++k) out[k][i] = y[k];
  if (status != 0) Report::template report<typename Op::T>(status, i, in, out);
}

template <class Op>
inline int SpecialMask(const typename Lanes<Op>::V (&x)[Lanes<Op>::kRegs][Lanes<Op>::kIn]) {
  using L = Lanes<Op>;
  int mask = 0;
  if constexpr (Op::kHasSpecial) {
    for (int r = 0; r < L::kRegs; ++r) mask |= Op::special(x[r]) << (r * L::kL);
  }
  return mask;
}

// Plan A: blocks of 8 from 0 to n & ~7; a block with any exceptional lane is
// done element by element; the tail is scalar.
template <class Op, class Report = NoReport>
void PlanA(int n, const typename Op::T* const* in, typename Op::T* const* out) {
  using L = Lanes<Op>;
  using S = typename L::S;
  if (n <= 0) return;
  const ptrdiff_t m = n & ~(L::kBlock - 1);
  for (ptrdiff_t i = 0; i < m; i += L::kBlock) {
    typename L::V x[L::kRegs][L::kIn];
    for (int r = 0; r < L::kRegs; ++r)
      for (int k = 0; k < L::kIn; ++k) x[r][k] = S::loadu(in[k] + i + r * L::kL);
    if (SpecialMask<Op>(x) != 0) {
      for (int j = 0; j < L::kBlock; ++j) ScalarAt<Op, Report>(i + j, in, out);
      continue;
    }
    for (int r = 0; r < L::kRegs; ++r) {
      typename L::V y[L::kOut];
      Op::packed(x[r], y);
      for (int k = 0; k < L::kOut; ++k) S::storeu(out[k] + i + r * L::kL, y[k]);
    }
  }
  for (ptrdiff_t i = m; i < n; ++i) ScalarAt<Op, Report>(i, in, out);
}

// Computes one local block of 8 whose lanes are all valid inputs and stores
// the first `valid` results at out[k] + base. Exceptional lanes among the
// valid ones go through the scalar routine in lane order.
template <class Op, class Report>
inline void LocalBlock(typename Op::T (&xin)[Lanes<Op>::kIn][8], int valid, ptrdiff_t base,
                       const typename Op::T* const* in, typename Op::T* const* out) {
  using L = Lanes<Op>;
  using S = typename L::S;
  using T = typename Op::T;
  typename L::V x[L::kRegs][L::kIn];
  for (int r = 0; r < L::kRegs; ++r)
    for (int k = 0; k < L::kIn; ++k) x[r][k] = S::loadu(&xin[k][r * L::kL]);
  alignas(16) T yout[L::kOut][8];
  for (int r = 0; r < L::kRegs; ++r) {
    typename L::V y[L::kOut];
    Op::packed(x[r], y);
    for (int k = 0; k < L::kOut; ++k) S::storeu(&yout[k][r * L::kL], y[k]);
  }
  int mask = SpecialMask<Op>(x) & ((1 << valid) - 1);
  while (mask != 0) {
    const int lane = __builtin_ctz(static_cast<unsigned>(mask));
    mask &= mask - 1;
    T xs[L::kIn], ys[L::kOut];
    for (int k = 0; k < L::kIn; ++k) xs[k] = xin[k][lane];
    const int status = Op::scalar(xs, ys);
    for (int k = 0; k < L::kOut; ++k) yout[k][lane] = ys[k];
    if (status != 0) {
      // Report against the true arrays, then take back what a callback left.
      for (int k = 0; k < L::kOut; ++k) out[k][base + lane] = ys[k];
      Report::template report<T>(status, base + lane, in, out);
      for (int k = 0; k < L::kOut; ++k) yout[k][lane] = out[k][base + lane];
    }
  }
  for (int k = 0; k < L::kOut; ++k)
    for (int j = 0; j < valid; ++j) out[k][base + j] = yout[k][j];
}

// Plan B: plan A, with the tail of fewer than 8 elements copied into a local
// block padded with the tail's first element.
template <class Op, class Report = NoReport>
void PlanB(int n, const typename Op::T* const* in, typename Op::T* const* out) {
  using L = Lanes<Op>;
  if (n <= 0) return;
  const ptrdiff_t m = n & ~(L::kBlock - 1);
  PlanA<Op, Report>(static_cast<int>(m), in, out);
  const int tail = static_cast<int>(n - m);
  if (tail == 0) return;
  typename Op::T xin[L::kIn][8];
  for (int k = 0; k < L::kIn; ++k)
    for (int j = 0; j < 8; ++j) xin[k][j] = in[k][m + (j < tail ? j : 0)];
  LocalBlock<Op, Report>(xin, tail, m, in, out);
}

// Plan C: aligned to one array (`Anchor`: the result, or the first input).
// Scalar when n < 8 or that array is not aligned to its element size;
// otherwise a scalar head to its next 16-byte boundary, aligned blocks of 8,
// and a scalar tail. Only for operations without exceptional lanes.
enum class Anchor { kResult, kInput };

template <class Op, Anchor A>
void PlanC(int n, const typename Op::T* const* in, typename Op::T* const* out) {
  using L = Lanes<Op>;
  using S = typename L::S;
  using T = typename Op::T;
  static_assert(!Op::kHasSpecial && L::kOut == 1);
  if (n <= 0) return;
  const uintptr_t addr = reinterpret_cast<uintptr_t>(A == Anchor::kResult ? out[0] : in[0]);
  if (n < 8 || addr % sizeof(T) != 0) {
    for (ptrdiff_t i = 0; i < n; ++i) ScalarAt<Op, NoReport>(i, in, out);
    return;
  }
  const ptrdiff_t head = static_cast<ptrdiff_t>(((16 - addr % 16) % 16) / sizeof(T));
  for (ptrdiff_t i = 0; i < head; ++i) ScalarAt<Op, NoReport>(i, in, out);
  const ptrdiff_t end = head + ((n - head) & ~ptrdiff_t{L::kBlock - 1});
  for (ptrdiff_t i = head; i < end; i += L::kBlock) {
    typename L::V x[L::kRegs][L::kIn];
    for (int r = 0; r < L::kRegs; ++r)
      for (int k = 0; k < L::kIn; ++k) {
        const T* p = in[k] + i + r * L::kL;
        x[r][k] = (A == Anchor::kInput && k == 0) ? S::load(p) : S::loadu(p);
      }
    for (int r = 0; r < L::kRegs; ++r) {
      typename L::V y[1];
      Op::packed(x[r], y);
      T* p = out[0] + i + r * L::kL;
      if constexpr (A == Anchor::kResult) {
        S::store(p, y[0]);
      } else {
        S::storeu(p, y[0]);
      }
    }
  }
  for (ptrdiff_t i = end; i < n; ++i) ScalarAt<Op, NoReport>(i, in, out);
}

// Plan D: aligned to the first input, with masked head and tail blocks whose
// idle lanes hold a harmless 0.75, so every element takes the packed path and
// the scalar routine runs only for exceptional lanes.
template <class Op, class Report = NoReport>
void PlanD(int n, const typename Op::T* const* in, typename Op::T* const* out) {
  using L = Lanes<Op>;
  using S = typename L::S;
  using T = typename Op::T;
  if (n <= 0) return;
  const uintptr_t addr = reinterpret_cast<uintptr_t>(in[0]);
  ptrdiff_t head = static_cast<ptrdiff_t>(((16 - addr % 16) % 16) / sizeof(T));
  if (head > n) head = n;
  const ptrdiff_t body_end = head + ((n - head) & ~ptrdiff_t{L::kBlock - 1});

  auto masked = [&](ptrdiff_t base, int count) {
    T xin[L::kIn][8];
    for (int k = 0; k < L::kIn; ++k)
      for (int j = 0; j < 8; ++j) xin[k][j] = j < count ? in[k][base + j] : T(0.75);
    LocalBlock<Op, Report>(xin, count, base, in, out);
  };

  if (head > 0) masked(0, static_cast<int>(head));
  for (ptrdiff_t i = head; i < body_end; i += L::kBlock) {
    typename L::V x[L::kRegs][L::kIn];
    for (int r = 0; r < L::kRegs; ++r)
      for (int k = 0; k < L::kIn; ++k) x[r][k] = S::loadu(in[k] + i + r * L::kL);
    typename L::V y[L::kRegs][L::kOut];
    for (int r = 0; r < L::kRegs; ++r) Op::packed(x[r], y[r]);
    int mask = SpecialMask<Op>(x);
    if (__builtin_expect(mask == 0, 1)) {
      for (int r = 0; r < L::kRegs; ++r)
        for (int k = 0; k < L::kOut; ++k) S::storeu(out[k] + i + r * L::kL, y[r][k]);
      continue;
    }
    T xin[L::kIn][8];
    for (int k = 0; k < L::kIn; ++k)
      for (int j = 0; j < 8; ++j) xin[k][j] = in[k][i + j];
    LocalBlock<Op, Report>(xin, 8, i, in, out);
  }
  if (body_end < n) masked(body_end, static_cast<int>(n - body_end));
}

}  // namespace nex::vtm
