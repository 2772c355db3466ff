// Glue from an operation, a frame row and a plan to a kernel's C signature.
#pragma once

#include "vector_frame/kernels.hpp"
#include "vector_real/frame.hpp"
#include "vector_real/plans.hpp"

namespace nex::vtm {

struct UsePlanA {
  template <class Op, class R = NoReport>
  static void run(int n, const typename Op::T* const* in, typename Op::T* const* out) {
    PlanA<Op, R>(n, in, out);
  }
};
struct UsePlanB {
  template <class Op, class R = NoReport>
  static void run(int n, const typename Op::T* const* in, typename Op::T* const* out) {
    PlanB<Op, R>(n, in, out);
  }
};
template <Anchor A>
struct UsePlanC {
  template <class Op, class R = NoReport>
  static void run(int n, const typename Op::T* const* in, typename Op::T* const* out) {
    PlanC<Op, A>(n, in, out);
  }
};
struct UsePlanD {
  template <class Op, class R = NoReport>
  static void run(int n, const typename Op::T* const* in, typename Op::T* const* out) {
    PlanD<Op, R>(n, in, out);
  }
};

// One input, one output.
template <class Op, X87Target X, MxcsrWay M, class Plan, class Report = NoReport,
          class T = typename Op::T>
inline void RunOne(int n, const T* a, T* r) {
  Frame<X, M> frame;
  const T* in[1] = {a};
  T* out[1] = {r};
  Plan::template run<Op, Report>(n, in, out);
}

// Two inputs, one output.
template <class Op, X87Target X, MxcsrWay M, class Plan, class Report = NoReport,
          class T = typename Op::T>
inline void RunTwo(int n, const T* a, const T* b, T* r) {
  Frame<X, M> frame;
  const T* in[2] = {a, b};
  T* out[1] = {r};
  Plan::template run<Op, Report>(n, in, out);
}

// One input, two outputs.
template <class Op, X87Target X, MxcsrWay M, class Plan, class Report = NoReport,
          class T = typename Op::T>
inline void RunTwoOut(int n, const T* a, T* r1, T* r2) {
  Frame<X, M> frame;
  const T* in[1] = {a};
  T* out[2] = {r1, r2};
  Plan::template run<Op, Report>(n, in, out);
}

}  // namespace nex::vtm
