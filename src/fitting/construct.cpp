// Spline construction: one generic kernel per kind, instantiated over the
// precision, the storage of the function values and the partition form.
//
// Every cubic kind computes the breakpoint derivatives m[i] and then writes
// the cubic Hermite form of each cell in powers of u = t - x[i]:
//   c0 = y[i], c1 = m[i], c2 = (3 s[i] - 2 m[i] - m[i+1]) / h[i],
//   c3 = (m[i] + m[i+1] - 2 s[i]) / h[i]^2,
// with s[i] = (y[i+1] - y[i]) / h[i] the slope of the cell. The kinds differ
// only in how m is obtained:
//   Default, Natural  the C2 interpolant: a tridiagonal system in m
//   Hermite           m at inner breakpoints given by the caller (ic)
//   Bessel            m[i] = slope at x[i] of the parabola through i-1, i, i+1
//   Akima             Akima's weighted mean of neighbouring slopes
//   Hyman             Bessel's derivatives passed through Hyman's
//                     monotonicity filter
// End derivatives of the local kinds, by boundary class (n = nx - 1 cells):
//   not-a-knot     the third derivative is continuous at x[1] (x[n-1]):
//                  m0 = (h0/h1)^2 (m1 + m2 - 2 s1) - m1 + 2 s0
//   free end       S''(x0) = 0:  m0 = 1.5 s0 - 0.5 m1
//   1st derivative m0 = bc[0]
//   2nd derivative S''(x0) = bc[0]:  m0 = 1.5 s0 - 0.5 m1 - 0.25 h0 bc[0]
//   periodic       the rule applied across the seam, with s[-1] = s[n-1];
//                  Hermite takes m0 = m[n] = bc[0]
// and mirrored at the right end.
#include <cmath>

#include "nex_core_tridiag.h"
#include "fitting/task.hpp"
#include "service/export.hpp"
#include "service/services.hpp"

namespace nex::fit {
namespace {

enum class Kind { kDefault, kNatural, kHermite, kBessel, kHyman, kAkima };

// Boundary classes of the cubic kinds; -1 for an unknown bc_type.
enum BcClass {
  kNotAKnot = 0,
  kFreeEnd,
  kFirstFirst,
  kFirstSecond,
  kSecondFirst,
  kSecondSecond,
  kPeriodic
};

int boundary_class(int64_t bc_type) {
  switch (bc_type) {
    case FIT_BC_NOT_A_KNOT:
      return kNotAKnot;
    case FIT_BC_FREE_END:
      return kFreeEnd;
    case FIT_BC_1ST_LEFT_DER | FIT_BC_1ST_RIGHT_DER:
      return kFirstFirst;
    case FIT_BC_1ST_LEFT_DER | FIT_BC_2ND_RIGHT_DER:
      return kFirstSecond;
    case FIT_BC_2ND_LEFT_DER | FIT_BC_1ST_RIGHT_DER:
      return kSecondFirst;
    case FIT_BC_2ND_LEFT_DER | FIT_BC_2ND_RIGHT_DER:
      return kSecondSecond;
    case FIT_BC_PERIODIC:
      return kPeriodic;
    default:
      return -1;
  }
}

// Geometry of the partition, specialised so that a uniform partition uses
// one h and 1/h and never loads x beyond its two ends.
template <class T, bool kUniform>
struct Grid {
  const T* x;
  T step, inv_step;
  const T* inv_h = nullptr;  // 1 / h[i] of a general partition, when tabulated
  T h(int64_t i) const {
    if constexpr (kUniform) {
      (void)i;
      return step;
    } else {
      return x[i + 1] - x[i];
    }
  }
  T at(int64_t i) const {
    if constexpr (kUniform) {
      return x[0] + static_cast<T>(i) * step;
    } else {
      return x[i];
    }
  }
};

template <class T, bool kUniform>
Grid<T, kUniform> make_grid(const DfTask* t) {
  Grid<T, kUniform> g{static_cast<const T*>(t->x), T(0), T(0), nullptr};
  if constexpr (kUniform) {
    g.step = (g.x[1] - g.x[0]) / static_cast<T>(t->nx - 1);
    g.inv_step = T(1) / g.step;
  }
  return g;
}

// Values of one function, with the stride fixed at compile time for row
// storage.
template <class T, bool kCols>
struct Values {
  const T* p;
  int64_t stride;
  T operator[](int64_t i) const {
    if constexpr (kCols) {
      return p[i * stride];
    } else {
      return p[i];
    }
  }
};

template <class T, bool kCols>
Values<T, kCols> values(const DfTask* t, int64_t f) {
  const FunctionView<T> v = function_view<T>(t, f);
  return {v.base, v.stride};
}

// s[i] = (y[i+1] - y[i]) / h[i], eight cells at a time when possible.
template <class T, bool kCols, bool kUniform>
void slopes(const Values<T, kCols>& y, const Grid<T, kUniform>& g, int64_t n, T* s) {
  int64_t i = 0;
  if constexpr (kUniform) {
    const T r = g.inv_step;
    for (; i + 8 <= n; i += 8)
      for (int k = 0; k < 8; ++k) s[i + k] = (y[i + k + 1] - y[i + k]) * r;
    for (; i < n; ++i) s[i] = (y[i + 1] - y[i]) * r;
  } else if (g.inv_h != nullptr) {
    for (; i + 8 <= n; i += 8)
      for (int k = 0; k < 8; ++k) s[i + k] = (y[i + k + 1] - y[i + k]) * g.inv_h[i + k];
    for (; i < n; ++i) s[i] = (y[i + 1] - y[i]) * g.inv_h[i];
  } else {
    for (; i + 8 <= n; i += 8)
      for (int k = 0; k < 8; ++k) s[i + k] = (y[i + k + 1] - y[i + k]) / g.h(i + k);
    for (; i < n; ++i) s[i] = (y[i + 1] - y[i]) / g.h(i);
  }
}

// Tabulates 1 / h[i] of a general partition into `inv_h` (n entries), so
// that the kernels that visit every cell more than once divide once.
template <class T, bool kUniform>
void tabulate_inverse_lengths(Grid<T, kUniform>& g, int64_t n, T* inv_h) {
  if constexpr (!kUniform) {
    for (int64_t i = 0; i < n; ++i) inv_h[i] = T(1) / g.h(i);
    g.inv_h = inv_h;
  }
}

// Writes the Hermite-form coefficients of every cell; the slopes are
// recomputed from y (a subtraction and a multiply) rather than stored.
template <class T, bool kCols, bool kUniform>
void hermite_cells(const Values<T, kCols>& y, const Grid<T, kUniform>& g, int64_t n, const T* m,
                   T* c) {
  for (int64_t i = 0; i < n; ++i) {
    T r;
    if constexpr (kUniform) {
      r = g.inv_step;
    } else {
      r = g.inv_h != nullptr ? g.inv_h[i] : T(1) / g.h(i);
    }
    const T y0 = y[i], s = (y[i + 1] - y0) * r;
    c[4 * i] = y0;
    c[4 * i + 1] = m[i];
    c[4 * i + 2] = (T(3) * s - T(2) * m[i] - m[i + 1]) * r;
    c[4 * i + 3] = (m[i] + m[i + 1] - T(2) * s) * r * r;
  }
}

// One cell's Hermite form from its slope s and end derivatives ml, mr.
template <class T, bool kCols, bool kUniform>
inline void hermite_cell(const Values<T, kCols>& y, const Grid<T, kUniform>& g, int64_t i, T s,
                         T ml, T mr, T* c) {
  T r;
  if constexpr (kUniform) {
    r = g.inv_step;
  } else {
    r = g.inv_h[i];
  }
  T* q = c + 4 * i;
  q[0] = y[i];
  q[1] = ml;
  q[2] = (T(3) * s - T(2) * ml - mr) * r;
  q[3] = (ml + mr - T(2) * s) * r * r;
}

// The slopes together with the table of 1 / h[i] (general partition) in one
// pass: one division per cell.
template <class T, bool kCols, bool kUniform>
void slopes_and_inverse_lengths(const Values<T, kCols>& y, Grid<T, kUniform>& g, int64_t n, T* s,
                                T* inv_h) {
  if constexpr (kUniform) {
    (void)inv_h;
    slopes(y, g, n, s);
  } else {
    for (int64_t i = 0; i < n; ++i) {
      const T r = T(1) / g.h(i);
      inv_h[i] = r;
      s[i] = (y[i + 1] - y[i]) * r;
    }
    g.inv_h = inv_h;
  }
}

template <class T>
bool periodic_mismatch(T first, T last) {
  return !(first == last);
}

// RAII holder for kernel scratch from the service allocator.
template <class T>
struct Scratch {
  T* p = nullptr;
  explicit Scratch(size_t count) : p(service::allocate_array<T>(count ? count : 1)) {}
  ~Scratch() { service::deallocate(p); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
};

// One factorisation for all right-hand sides, in the fused sweep of the
// service library (factorisation and elimination overlap).
template <class T>
void tridiagonal_solve(int64_t n, int64_t nrhs, T* dl, T* d, T* du, T* b, int64_t ldb,
                       int64_t* info) {
  if constexpr (sizeof(T) == sizeof(double)) {
    ddtsvb_4dfl(&n, &nrhs, dl, d, du, b, &ldb, info);
  } else {
    sdtsvb_4dfl(&n, &nrhs, dl, d, du, b, &ldb, info);
  }
}

// ---- Linear ----------------------------------------------------------------

template <class T, bool kCols, bool kUniform>
int linear_kernel(const DfTask* t, int) {
  const Grid<T, kUniform> g = make_grid<T, kUniform>(t);
  const int64_t n = t->nx - 1;
  for (int64_t f = 0; f < t->ny; ++f) {
    const Values<T, kCols> y = values<T, kCols>(t, f);
    T* c = coefficients<T>(t, f);
    for (int64_t i = 0; i < n; ++i) {
      c[2 * i] = y[i];
      if constexpr (kUniform) {
        c[2 * i + 1] = (y[i + 1] - y[i]) * g.inv_step;
      } else {
        c[2 * i + 1] = (y[i + 1] - y[i]) / g.h(i);
      }
    }
  }
  return FIT_STATUS_OK;
}

// ---- Quadratic, knots at the breakpoints ------------------------------------
//
// A C1 quadratic through the data has d[i+1] = 2 s[i] - d[i] for its
// breakpoint derivatives, so one condition fixes it:
//   not-a-knot / none   S'' continuous at x[1]:
//                       d0 = (s0 h1 + (2 s0 - s1) h0) / (h0 + h1)  (nx >= 3)
//   free end            S''(x0) = 0: d0 = s0
//   bc_type 4 / 16      S'(x0) = bc[0] / S''(x0) = bc[0]
//   bc_type 8 / 32      the same at the right end, run backwards
//   bc_type 128         S((x0 + x1)/2) = bc[0]: d0 = 4 (bc[0] - y0)/h0 - s0
// Cell coefficients: c0 = y[i], c1 = d[i], c2 = (s[i] - d[i]) / h[i].

template <class T, bool kCols, bool kUniform>
int quadratic_kernel(const DfTask* t, int) {
  const Grid<T, kUniform> g = make_grid<T, kUniform>(t);
  const int64_t n = t->nx - 1;
  const T* bc = static_cast<const T*>(t->bc);
  Scratch<T> s(static_cast<size_t>(n));
  if (s.p == nullptr) return FIT_STATUS_MEM_FAILURE;
  for (int64_t f = 0; f < t->ny; ++f) {
    const Values<T, kCols> y = values<T, kCols>(t, f);
    T* c = coefficients<T>(t, f);
    slopes(y, g, n, s.p);
    const bool from_right =
        t->bc_type == FIT_BC_1ST_RIGHT_DER || t->bc_type == FIT_BC_2ND_RIGHT_DER;
    if (!from_right) {
      T d;
      const T h0 = g.h(0);
      switch (t->bc_type) {
        case FIT_BC_FREE_END:
          d = s.p[0];
          break;
        case FIT_BC_1ST_LEFT_DER:
          d = bc[0];
          break;
        case FIT_BC_2ND_LEFT_DER:
          d = s.p[0] - T(0.5) * h0 * bc[0];
          break;
        case FIT_BC_Q_VAL:
          d = T(4) * (bc[0] - y[0]) / h0 - s.p[0];
          break;
        default:
          if (n >= 2) {
            const T h1 = g.h(1);
            d = (s.p[0] * h1 + (T(2) * s.p[0] - s.p[1]) * h0) / (h0 + h1);
          } else {
            d = s.p[0];
          }
      }
      for (int64_t i = 0; i < n; ++i) {
        const T h = g.h(i);
        c[3 * i] = y[i];
        c[3 * i + 1] = d;
        c[3 * i + 2] = (s.p[i] - d) / h;
        d = T(2) * s.p[i] - d;
      }
    } else {
      // Right derivative d[n]; for a second derivative S''(x_n) = 2 c2 of
      // the last cell, so d[n-1] = s[n-1] - h bc / 2 and d[n] = 2 s - d[n-1].
      T d = t->bc_type == FIT_BC_1ST_RIGHT_DER
                ? bc[0]
                : T(2) * s.p[n - 1] - (s.p[n - 1] - T(0.5) * g.h(n - 1) * bc[0]);
      for (int64_t i = n - 1; i >= 0; --i) {
        const T left = T(2) * s.p[i] - d;
        c[3 * i] = y[i];
        c[3 * i + 1] = left;
        c[3 * i + 2] = (s.p[i] - left) / g.h(i);
        d = left;
      }
    }
  }
  return FIT_STATUS_OK;
}

// ---- Quadratic with additional knots ---------------------------------------
//
// Knots k[0] = x[0], k[j] = ic[j-1] (1 <= j <= nx-1), k[nx] = x[nx-1] bound
// nx cells. Inner cell j (1 <= j <= nx-2) holds breakpoint x[j] at
// a = x[j] - k[j] and is the parabola through (k[j], v[j]), (x[j], y[j]),
// (k[j+1], v[j+1]), with v the spline's values at the knots; the two end
// cells are straight (S'' = 0 there, the free-end condition). Continuity of
// S' at the inner knots gives a tridiagonal system for v[1..nx-1]. With
// b = h - a, the parabola's end slopes are
//   S'(k[j])   = -(a + h)/(a h) v[j] + h/(a b) y[j] - a/(h b) v[j+1]
//   S'(k[j+1]) =  b/(a h) v[j] - h/(a b) y[j] + (2h - a)/(h b) v[j+1].
// Cell j's coefficients are in powers of t - k[j].

template <class T, bool kCols, bool kUniform>
int knots_quadratic_kernel(const DfTask* t, int) {
  const Grid<T, kUniform> g = make_grid<T, kUniform>(t);
  const int64_t nx = t->nx, nv = nx - 1, ny = t->ny;
  const T* knot = static_cast<const T*>(t->ic);
  auto k = [&](int64_t j) -> T {
    return j == 0 ? g.at(0) : (j == nx ? g.at(nx - 1) : knot[j - 1]);
  };
  for (int64_t j = 1; j <= nx - 1; ++j)
    if (!(g.at(j - 1) < k(j) && k(j) < g.at(j))) return FIT_STATUS_BAD_IC;
  Scratch<T> work(static_cast<size_t>(3 * nv + nv * ny));
  if (work.p == nullptr) return FIT_STATUS_MEM_FAILURE;
  T *dl = work.p, *d = dl + nv, *du = d + nv, *rhs = du + nv;
  // Row j - 1 is the continuity of S' at knot j.
  for (int64_t j = 1; j <= nv; ++j) {
    const int64_t r = j - 1;
    T diag = 0;
    if (j - 1 == 0) {
      diag += T(1) / (k(1) - k(0));
    } else {  // inner cell j - 1 on the left of the knot
      const T h = k(j) - k(j - 1), a = g.at(j - 1) - k(j - 1), b = h - a;
      diag += (T(2) * h - a) / (h * b);
      dl[r - 1] = b / (a * h);
    }
    if (j == nx - 1) {
      diag += T(1) / (k(nx) - k(nx - 1));
    } else {
      const T h = k(j + 1) - k(j), a = g.at(j) - k(j), b = h - a;
      diag += (a + h) / (a * h);
      du[r] = a / (h * b);
    }
    d[r] = diag;
  }
  for (int64_t f = 0; f < ny; ++f) {
    const Values<T, kCols> y = values<T, kCols>(t, f);
    T* col = rhs + f * nv;
    for (int64_t j = 1; j <= nv; ++j) {
      T v = 0;
      if (j - 1 == 0) {
        v += y[0] / (k(1) - k(0));
      } else {
        const T h = k(j) - k(j - 1), a = g.at(j - 1) - k(j - 1), b = h - a;
        v += h / (a * b) * y[j - 1];
      }
      if (j == nx - 1) {
        v += y[nx - 1] / (k(nx) - k(nx - 1));
      } else {
        const T h = k(j + 1) - k(j), a = g.at(j) - k(j), b = h - a;
        v += h / (a * b) * y[j];
      }
      col[j - 1] = v;
    }
  }
  int64_t info = 0;
  tridiagonal_solve(nv, ny, dl, d, du, rhs, nv, &info);
  if (info != 0) return FIT_STATUS_SOLVER_FAILURE;
  for (int64_t f = 0; f < ny; ++f) {
    const Values<T, kCols> y = values<T, kCols>(t, f);
    const T* v = rhs + f * nv;  // v[j - 1] is the value at knot j
    auto value = [&](int64_t j) -> T { return j == 0 ? y[0] : (j == nx ? y[nx - 1] : v[j - 1]); };
    T* c = coefficients<T>(t, f);
    for (int64_t j = 0; j < nx; ++j) {
      const T h = k(j + 1) - k(j), v0 = value(j), v1 = value(j + 1);
      c[3 * j] = v0;
      if (j == 0 || j == nx - 1) {
        c[3 * j + 1] = (v1 - v0) / h;
        c[3 * j + 2] = 0;
      } else {
        const T a = g.at(j) - k(j), b = h - a;
        // c2 from the three points: (a (v1 - v0) - h (y - v0)) / (a h b).
        const T c2 = (a * (v1 - v0) - h * (y[j] - v0)) / (a * h * b);
        c[3 * j + 1] = (v1 - v0) / h - c2 * h;
        c[3 * j + 2] = c2;
      }
    }
  }
  return FIT_STATUS_OK;
}

// ---- C2 cubic (Default, Natural) -------------------------------------------
//
// Interior rows in m, 1 <= i <= n-1:
//   h[i] m[i-1] + 2 (h[i-1] + h[i]) m[i] + h[i-1] m[i+1] = 3 (h[i] s[i-1] + h[i-1] s[i])
// End rows:
//   not-a-knot  h1 m0 + (h0 + h1) m1 = ((3 h0 + 2 h1) h1 s0 + h0^2 s1) / (h0 + h1)
//               (the continuity of S''' at x1 with row 1 used to remove m2)
//   free end    2 m0 + m1 = 3 s0
//   1st der.    m0 = bc
//   2nd der.    2 m0 + m1 = 3 s0 - (h0 / 2) bc
// and mirrored on the right. The periodic system is cyclic in m[0..n-1]
// (m[n] = m[0]); it is solved as a tridiagonal system plus a rank-one
// correction (Sherman-Morrison), the correction vector riding along as one
// more right-hand side. With nx = 3 the two not-a-knot rows coincide; the
// spline is then the parabola through the three points.

// One function's C2 spline for the non-periodic classes in two passes, with
// the tridiagonal system never stored as such. The interior rows are scaled
// by 1 / (h[i-1] h[i]), which makes them symmetric in the inverse lengths
// g[i] = 1 / h[i]:
//   g[i-1] m[i-1] + 2 (g[i-1] + g[i]) m[i] + g[i] m[i+1]
//       = 3 (g[i-1] s[i-1] + g[i] s[i]),
// so a row costs one reciprocal for its new cell and one for its pivot.
// The first pass eliminates in the twisted order (downward through rows
// 0..k-1 and upward through rows n..k+1 in one loop, k = (n + 1) / 2): each
// chain waits on a division per row, and two independent chains overlap.
// It keeps, per row, the multiplier and the eliminated right side together
// with the cell's 1/h and slope, four reals side by side. The second pass
// solves for m at row k and substitutes outward along both chains, writing
// each cell's coefficients as soon as both of its end derivatives are known.
// Every row that opens a chain is an end row, so the not-a-knot rows (not
// diagonally dominant) are eliminated first, where their pivots are h1 and
// h[n-2] and the next pivots come out as 1/h0 + 1/h1 (mirrored): no
// cancellation. The other classes are diagonally dominant throughout.
// Returns false on a zero pivot (a degenerate partition).
template <class T, bool kCols, bool kUniform>
bool c2_fused(const Values<T, kCols>& y, const Grid<T, kUniform>& g, int64_t n, int cls,
              const T* bc, T* w, T* c) {
  auto cell = [&](int64_t i, T& inv, T& s) {
    if constexpr (kUniform) {
      inv = g.inv_step;
    } else {
      inv = T(1) / g.h(i);
    }
    s = (y[i + 1] - y[i]) * inv;
  };
  const int64_t k = (n + 1) / 2;
  bool zero_pivot = false;
  // Row 0 and row n by class: (diagonal, off-diagonal, right side).
  T g0, s0, g1 = 0, s1 = 0;
  cell(0, g0, s0);
  T b0, c0, r0;
  const bool left_first = cls == kFirstFirst || cls == kFirstSecond;
  const bool right_first = cls == kFirstFirst || cls == kSecondFirst;
  if (cls == kNotAKnot) {
    cell(1, g1, s1);
    const T h0 = g.h(0), h1 = g.h(1);
    b0 = h1;
    c0 = h0 + h1;
    r0 = ((T(3) * h0 + T(2) * h1) * h1 * s0 + h0 * h0 * s1) / (h0 + h1);
  } else if (left_first) {
    b0 = 1;
    c0 = 0;
    r0 = bc[0];
  } else {
    b0 = 2;
    c0 = 1;
    r0 = T(3) * s0 - (cls == kFreeEnd ? T(0) : T(0.5) * g.h(0) * bc[0]);
  }
  T gn, sn, gp = 0, sp = 0;
  cell(n - 1, gn, sn);
  T bn, an, rn;
  if (cls == kNotAKnot) {
    cell(n - 2, gp, sp);
    const T hl = g.h(n - 1), hp = g.h(n - 2);
    bn = hp;
    an = hp + hl;
    rn = (hl * hl * sp + (T(2) * hp + T(3) * hl) * hp * sn) / (hp + hl);
  } else if (right_first) {
    bn = 1;
    an = 0;
    rn = bc[1];
  } else {
    bn = 2;
    an = 1;
    rn = T(3) * sn + (cls == kFreeEnd ? T(0) : T(0.5) * g.h(n - 1) * bc[1]);
  }
  zero_pivot = b0 == T(0) || bn == T(0);
  // Downward chain: e = multiplier, f = eliminated right side; (gl, sl) is
  // the cell left of the next row.
  T e, f, gl = g0, sl = s0;
  {
    const T p = T(1) / b0;
    e = c0 * p;
    f = r0 * p;
    w[0] = e;
    w[1] = f;
    w[2] = g0;
    w[3] = s0;
  }
  // Upward chain: E, F likewise; (gr, sr) is the cell right of the next row.
  T E, F, gr = gn, sr = sn;
  {
    const T p = T(1) / bn;
    E = an * p;
    F = rn * p;
    w[4 * n] = E;
    w[4 * n + 1] = F;
  }
  auto down = [&](int64_t i) {  // row i, 1 <= i < k
    T gi, si;
    cell(i, gi, si);
    const T r = T(3) * (gl * sl + gi * si);
    const T u = T(2) * (gl + gi) - gl * e;
    zero_pivot |= u == T(0);
    const T p = T(1) / u;
    f = (r - gl * f) * p;
    e = gi * p;
    T* o = w + 4 * i;
    o[0] = e;
    o[1] = f;
    o[2] = gi;
    o[3] = si;
    gl = gi;
    sl = si;
  };
  auto up = [&](int64_t i) {  // row i, k < i < n
    T gi, si;                 // cell i - 1
    cell(i - 1, gi, si);
    const T r = T(3) * (gi * si + gr * sr);
    const T v = T(2) * (gi + gr) - gr * E;
    zero_pivot |= v == T(0);
    const T p = T(1) / v;
    F = (r - gr * F) * p;
    E = gi * p;
    T* o = w + 4 * i;
    o[0] = E;
    o[1] = F;
    o[2] = gr;
    o[3] = sr;
    gr = gi;
    sr = si;
  };
  const int64_t ndown = k - 1, nup = n - 1 - k, both = ndown < nup ? ndown : nup;
  for (int64_t j = 0; j < both; ++j) {
    down(1 + j);
    up(n - 1 - j);
  }
  for (int64_t j = both; j < ndown; ++j) down(1 + j);
  for (int64_t j = both; j < nup; ++j) up(n - 1 - j);
  // Row k meets both chains: (gl, sl) is cell k-1 and (gr, sr) cell k.
  const T rk = T(3) * (gl * sl + gr * sr);
  const T piv = T(2) * (gl + gr) - gl * e - gr * E;
  zero_pivot |= piv == T(0);
  const T mk = (rk - gl * f - gr * F) / piv;
  w[4 * k + 2] = gr;
  w[4 * k + 3] = sr;
  // Back substitution, both directions in one loop, writing cells.
  auto write = [&](int64_t i, T ml, T mr) {
    const T* o = w + 4 * i;
    const T inv = o[2], s = o[3];
    T* q = c + 4 * i;
    q[0] = y[i];
    q[1] = ml;
    q[2] = (T(3) * s - T(2) * ml - mr) * inv;
    q[3] = (ml + mr - T(2) * s) * inv * inv;
  };
  T mt = mk, mb = mk;
  int64_t it = k - 1, ib = k + 1;
  for (; it >= 0 && ib <= n; --it, ++ib) {
    const T m_top = w[4 * it + 1] - w[4 * it] * mt;
    const T m_bot = w[4 * ib + 1] - w[4 * ib] * mb;
    write(it, m_top, mt);
    write(ib - 1, mb, m_bot);
    mt = m_top;
    mb = m_bot;
  }
  for (; it >= 0; --it) {
    const T m_top = w[4 * it + 1] - w[4 * it] * mt;
    write(it, m_top, mt);
    mt = m_top;
  }
  for (; ib <= n; ++ib) {
    const T m_bot = w[4 * ib + 1] - w[4 * ib] * mb;
    write(ib - 1, mb, m_bot);
    mb = m_bot;
  }
  return !zero_pivot;
}

template <class T, bool kCols, bool kUniform>
int c2_kernel(const DfTask* t, int cls) {
  Grid<T, kUniform> g = make_grid<T, kUniform>(t);
  const int64_t nx = t->nx, n = nx - 1, ny = t->ny;
  const T* bc = static_cast<const T*>(t->bc);
  const bool periodic = cls == kPeriodic;
  if (!periodic && n >= (cls == kNotAKnot ? 3 : 2)) {
    Scratch<T> w(static_cast<size_t>(4 * (n + 1)));
    if (w.p == nullptr) return FIT_STATUS_MEM_FAILURE;
    for (int64_t f = 0; f < ny; ++f)
      if (!c2_fused(values<T, kCols>(t, f), g, n, cls, bc, w.p, coefficients<T>(t, f)))
        return FIT_STATUS_SOLVER_FAILURE;
    return FIT_STATUS_OK;
  }
  const int64_t rows = periodic ? n : nx;
  const int64_t cols = ny + (periodic ? 1 : 0);
  // Each column holds one more entry than the rows, for m[n] = m[0] of a
  // periodic spline. The blocks are separate: several moderate blocks are
  // recycled by the allocator where one huge block would be mapped afresh
  // (and faulted in) on every call.
  const int64_t ld = rows + 1;
  Scratch<T> inv(static_cast<size_t>(n)), tri(static_cast<size_t>(3 * rows)),
      rhs(static_cast<size_t>(ld * cols));
  if (inv.p == nullptr || tri.p == nullptr || rhs.p == nullptr) return FIT_STATUS_MEM_FAILURE;
  tabulate_inverse_lengths(g, n, inv.p);
  T *dl = tri.p, *d = dl + rows, *du = d + rows, *b = rhs.p;
  auto slope = [&](const Values<T, kCols>& y, int64_t i) -> T {
    if constexpr (kUniform) {
      return (y[i + 1] - y[i]) * g.inv_step;
    } else {
      return (y[i + 1] - y[i]) * g.inv_h[i];
    }
  };
  int status = FIT_STATUS_OK;
  for (int64_t f = 0; f < ny; ++f) {
    const Values<T, kCols> y = values<T, kCols>(t, f);
    if (periodic && periodic_mismatch(y[0], y[n])) status = FIT_STATUS_BAD_PERIODIC_VALUES;
  }
  // Derivatives m[0..n] of each function are column f of b when solved.
  auto finish = [&]() {
    for (int64_t f = 0; f < ny; ++f)
      hermite_cells(values<T, kCols>(t, f), g, n, b + f * ld, coefficients<T>(t, f));
    return status;
  };

  if ((cls == kNotAKnot && nx == 3) || (periodic && n <= 2)) {
    // nx 3 with not-a-knot: the parabola through the three points.
    // Periodic with one cell: m0 = m1 = s0; with two cells the 2x2 system
    // (h0 + h1) [[2, 1], [1, 2]] m = r has equal right sides, so
    // m0 = m1 = (h0 s1 + h1 s0) / (h0 + h1).
    for (int64_t f = 0; f < ny; ++f) {
      const Values<T, kCols> y = values<T, kCols>(t, f);
      T* m = b + f * ld;
      if (!periodic) {
        const T h0 = g.h(0), h1 = g.h(1), s0 = slope(y, 0), s1 = slope(y, 1);
        const T delta = (s1 - s0) / (h0 + h1);
        m[0] = s0 - delta * h0;
        m[1] = s0 + delta * h0;
        m[2] = s0 + delta * (h0 + T(2) * h1);
      } else {
        T v = slope(y, 0);
        if (n == 2) {
          const T h0 = g.h(0), h1 = g.h(1);
          v = (h0 * slope(y, 1) + h1 * v) / (h0 + h1);
        }
        for (int64_t i = 0; i <= n; ++i) m[i] = v;
      }
    }
    return finish();
  }

  // Interior rows, the same in every class: the matrix once, then each
  // function's right-hand side.
  for (int64_t i = 1; i <= n - 1; ++i) {
    const T hl = g.h(i - 1), hr = g.h(i);
    dl[i - 1] = hr;
    d[i] = T(2) * (hl + hr);
    du[i] = hl;
  }
  for (int64_t f = 0; f < ny; ++f) {
    const Values<T, kCols> y = values<T, kCols>(t, f);
    T* col = b + f * ld;
    T sl = slope(y, 0);
    for (int64_t i = 1; i <= n - 1; ++i) {
      const T sr = slope(y, i);
      col[i] = T(3) * (g.h(i) * sl + g.h(i - 1) * sr);
      sl = sr;
    }
  }
  T corner_top = 0, corner_bottom = 0;  // periodic: A[0][n-1], A[n-1][0]
  if (periodic) {
    const T hl = g.h(n - 1), hr = g.h(0);
    d[0] = T(2) * (hl + hr);
    du[0] = hl;
    corner_top = hr;
    corner_bottom = g.h(n - 2);
    for (int64_t f = 0; f < ny; ++f) {
      const Values<T, kCols> y = values<T, kCols>(t, f);
      b[f * ld] = T(3) * (hr * slope(y, n - 1) + hl * slope(y, 0));
    }
  } else {
    const T h0 = g.h(0), h1 = n >= 2 ? g.h(1) : h0;
    const T hl = g.h(n - 1), hp = n >= 2 ? g.h(n - 2) : hl;
    const bool left_first = cls == kFirstFirst || cls == kFirstSecond;
    const bool left_second = cls == kSecondFirst || cls == kSecondSecond;
    const bool right_first = cls == kFirstFirst || cls == kSecondFirst;
    const bool right_second = cls == kFirstSecond || cls == kSecondSecond;
    if (cls == kNotAKnot) {
      d[0] = h1;
      du[0] = h0 + h1;
      d[n] = hp;
      dl[n - 1] = hp + hl;
    } else {
      d[0] = left_first ? T(1) : T(2);
      du[0] = left_first ? T(0) : T(1);
      d[n] = right_first ? T(1) : T(2);
      dl[n - 1] = right_first ? T(0) : T(1);
    }
    for (int64_t f = 0; f < ny; ++f) {
      const Values<T, kCols> y = values<T, kCols>(t, f);
      T* col = b + f * ld;
      const T s0 = slope(y, 0), sn = slope(y, n - 1);
      if (cls == kNotAKnot) {
        const T s1 = slope(y, 1), sp = slope(y, n - 2);
        col[0] = ((T(3) * h0 + T(2) * h1) * h1 * s0 + h0 * h0 * s1) / (h0 + h1);
        col[n] = (hl * hl * sp + (T(2) * hp + T(3) * hl) * hp * sn) / (hp + hl);
      } else {
        col[0] = left_first ? bc[0] : T(3) * s0 - (left_second ? T(0.5) * h0 * bc[0] : T(0));
        col[n] = right_first ? bc[1] : T(3) * sn + (right_second ? T(0.5) * hl * bc[1] : T(0));
      }
    }
  }
  T gamma = 0;
  if (periodic) {
    // T' = A - u v^T with u = (gamma, 0, .., 0, corner_bottom)^T and
    // v = (1, 0, .., 0, corner_top / gamma)^T; u rides as the last column.
    gamma = -d[0];
    d[0] -= gamma;
    d[n - 1] -= corner_bottom * corner_top / gamma;
    T* u = b + ny * ld;
    for (int64_t i = 0; i < rows; ++i) u[i] = 0;
    u[0] = gamma;
    u[n - 1] = corner_bottom;
  }
  int64_t info = 0;
  tridiagonal_solve(rows, cols, dl, d, du, b, ld, &info);
  if (info != 0) return FIT_STATUS_SOLVER_FAILURE;
  if (periodic) {
    const T* z = b + ny * ld;
    const T vz = z[0] + corner_top / gamma * z[n - 1];
    for (int64_t f = 0; f < ny; ++f) {
      T* m = b + f * ld;
      const T factor = (m[0] + corner_top / gamma * m[n - 1]) / (T(1) + vz);
      for (int64_t i = 0; i < n; ++i) m[i] -= factor * z[i];
      m[n] = m[0];
    }
  }
  return finish();
}

// ---- Local cubic kinds -----------------------------------------------------

template <class T>
T bessel_derivative(T hl, T hr, T sl, T sr) {
  return (hr * sl + hl * sr) / (hl + hr);
}

// Akima's derivative from four consecutive slopes s[i-2], s[i-1], s[i], s[i+1].
template <class T>
T akima_derivative(T s_2, T s_1, T s0, T s1) {
  const T w1 = std::fabs(s1 - s0), w2 = std::fabs(s_1 - s_2);
  // Both weights vanish on locally straight data: fall back to equal weights.
  if (w1 + w2 < T(1e-10)) return T(0.5) * (s_1 + s0);
  return (w1 * s_1 + w2 * s0) / (w1 + w2);
}

// Hyman's filter: m keeps the sign of the data and at most three times the
// smaller neighbouring slope, which keeps every monotone cell monotone; at
// an extremum or a flat cell the derivative is 0. Plain comparisons, not the
// library's fmin/fmax: every operand here is a number.
template <class T>
T clamp_to(T v, T lo, T hi) {
  return v < lo ? lo : (v > hi ? hi : v);
}

template <class T>
T hyman_filter(T m, T sl, T sr) {
  if (!(sl * sr > T(0))) return T(0);
  const T al = sl < T(0) ? -sl : sl, ar = sr < T(0) ? -sr : sr;
  const T bound = T(3) * (al < ar ? al : ar);
  return sl > T(0) ? clamp_to(m, T(0), bound) : clamp_to(m, -bound, T(0));
}

template <class T>
T hyman_end_filter(T m, T s) {
  if (s == T(0)) return T(0);
  return s > T(0) ? clamp_to(m, T(0), T(3) * s) : clamp_to(m, T(3) * s, T(0));
}

template <Kind kKind, class T, bool kCols, bool kUniform>
int local_kernel(const DfTask* t, int cls) {
  Grid<T, kUniform> g = make_grid<T, kUniform>(t);
  const int64_t nx = t->nx, n = nx - 1;
  const T* bc = static_cast<const T*>(t->bc);
  const T* ic = static_cast<const T*>(t->ic);
  Scratch<T> work(static_cast<size_t>(3 * nx));
  if (work.p == nullptr) return FIT_STATUS_MEM_FAILURE;
  T *s = work.p, *m = s + nx;
  const bool periodic = cls == kPeriodic;
  int status = FIT_STATUS_OK;
  for (int64_t f = 0; f < t->ny; ++f) {
    const Values<T, kCols> y = values<T, kCols>(t, f);
    T* c = coefficients<T>(t, f);
    if (f == 0) {
      slopes_and_inverse_lengths(y, g, n, s, m + nx);
    } else {
      slopes(y, g, n, s);
    }
    if (periodic && periodic_mismatch(y[0], y[n])) status = FIT_STATUS_BAD_PERIODIC_VALUES;
    // Slope of cell i with i outside 0..n-1: wrapped for periodic data,
    // otherwise Akima's linear extrapolation s[-1] = 2 s0 - s1, ...
    auto slope = [&](int64_t i) -> T {
      if (i >= 0 && i < n) return s[i];
      if (periodic) return s[(i % n + n) % n];
      if (i == -1) return T(2) * s[0] - s[1];
      if (i == -2) return T(3) * s[0] - T(2) * s[1];
      if (i == n) return T(2) * s[n - 1] - s[n - 2];
      return T(3) * s[n - 1] - T(2) * s[n - 2];  // i == n + 1
    };
    auto rule = [&](int64_t i) -> T {  // derivative at breakpoint i, wrapped
      if constexpr (kKind == Kind::kAkima) {
        return akima_derivative(slope(i - 2), slope(i - 1), slope(i), slope(i + 1));
      } else if constexpr (kKind == Kind::kHermite) {
        return ic[i - 1];
      } else {
        const int64_t il = i == 0 ? n - 1 : i - 1, ir = i == n ? 0 : i;
        T v = bessel_derivative(g.h(il), g.h(ir), slope(i - 1), slope(i == n ? 0 : i));
        if constexpr (kKind == Kind::kHyman)
          v = hyman_filter(v, slope(i - 1), slope(i == n ? 0 : i));
        return v;
      }
    };
    // Breakpoints 2..n-2 read only slopes inside the partition and take the
    // direct path; each cell whose two ends are then known is written at
    // once, while its slope and 1/h are still in the first level cache. The
    // breakpoints next to each end go through the wrapping, and the cells
    // that touch them are written last.
    const int64_t lo = 2, hi = n - 2;
    T prev = 0;
    for (int64_t i = lo; i <= hi; ++i) {
      T v;
      if constexpr (kKind == Kind::kAkima) {
        v = akima_derivative(s[i - 2], s[i - 1], s[i], s[i + 1]);
      } else if constexpr (kKind == Kind::kHermite) {
        v = ic[i - 1];
      } else {
        v = bessel_derivative(g.h(i - 1), g.h(i), s[i - 1], s[i]);
        if constexpr (kKind == Kind::kHyman) v = hyman_filter(v, s[i - 1], s[i]);
      }
      m[i] = v;
      if (i > lo) hermite_cell(y, g, i - 1, s[i - 1], prev, v, c);
      prev = v;
    }
    m[1] = rule(1);
    if (n - 1 > 1) m[n - 1] = rule(n - 1);
    const T h0 = g.h(0), hl = g.h(n - 1);
    if (periodic) {
      m[0] = m[n] = kKind == Kind::kHermite ? bc[0] : rule(0);
    } else if (cls == kNotAKnot && kKind == Kind::kHermite && nx == 3) {
      // One cubic over both cells with the given m1: in u = t - x1,
      // p = y1 + m1 u + A u^2 + B u^3 through the three points.
      const T h1 = g.h(1);
      const T B = (s[1] - m[1] - (m[1] - s[0]) * h1 / h0) / (h1 * (h0 + h1));
      const T A = (m[1] - s[0]) / h0 + B * h0;
      m[0] = m[1] - T(2) * A * h0 + T(3) * B * h0 * h0;
      m[2] = m[1] + T(2) * A * h1 + T(3) * B * h1 * h1;
    } else {
      switch (cls) {
        case kNotAKnot: {
          const T r0 = h0 / g.h(1), rn = hl / g.h(n - 2);
          m[0] = r0 * r0 * (m[1] + m[2] - T(2) * s[1]) - m[1] + T(2) * s[0];
          m[n] = rn * rn * (m[n - 1] + m[n - 2] - T(2) * s[n - 2]) - m[n - 1] + T(2) * s[n - 1];
          break;
        }
        case kFreeEnd:
          m[0] = T(1.5) * s[0] - T(0.5) * m[1];
          m[n] = T(1.5) * s[n - 1] - T(0.5) * m[n - 1];
          break;
        default: {
          const bool lf = cls == kFirstFirst || cls == kFirstSecond;
          const bool rf = cls == kFirstFirst || cls == kSecondFirst;
          m[0] = lf ? bc[0] : T(1.5) * s[0] - T(0.5) * m[1] - T(0.25) * h0 * bc[0];
          m[n] = rf ? bc[1] : T(1.5) * s[n - 1] - T(0.5) * m[n - 1] + T(0.25) * hl * bc[1];
        }
      }
      if constexpr (kKind == Kind::kHyman) {
        m[0] = hyman_end_filter(m[0], s[0]);
        m[n] = hyman_end_filter(m[n], s[n - 1]);
      }
    }
    // Cells 0, 1, n-2 and n-1 (some the same when n is small).
    const int64_t ends[4] = {0, 1 < n ? 1 : 0, n - 2 > 0 ? n - 2 : 0, n - 1};
    for (const int64_t i : ends) hermite_cell(y, g, i, s[i], m[i], m[i + 1], c);
  }
  return status;
}

// ---- Kernel tables and entries ---------------------------------------------

using Kernel = int (*)(const DfTask*, int);

// One table per kind and precision: [storage][partition], storage 0 for
// column storage, partition 0 for uniform.
template <template <class, bool, bool> class K, class T>
struct Table {
  static constexpr Kernel k[2][2] = {{&K<T, true, true>::run, &K<T, true, false>::run},
                                     {&K<T, false, true>::run, &K<T, false, false>::run}};
};

#define NEX_FIT_KERNEL_ADAPTER(Name, fn)                                                \
  template <class T, bool kCols, bool kUniform>                                         \
  struct Name {                                                                         \
    static int run(const DfTask* t, int cls) { return fn<T, kCols, kUniform>(t, cls); } \
  };
NEX_FIT_KERNEL_ADAPTER(LinearK, linear_kernel)
NEX_FIT_KERNEL_ADAPTER(QuadraticK, quadratic_kernel)
NEX_FIT_KERNEL_ADAPTER(KnotsQuadraticK, knots_quadratic_kernel)
NEX_FIT_KERNEL_ADAPTER(C2K, c2_kernel)
#undef NEX_FIT_KERNEL_ADAPTER

template <Kind kKind>
struct LocalK {
  template <class T, bool kCols, bool kUniform>
  struct K {
    static int run(const DfTask* t, int cls) {
      return local_kernel<kKind, T, kCols, kUniform>(t, cls);
    }
  };
};

template <template <class, bool, bool> class K, class T>
int dispatch(const DfTask* t, int cls) {
  const int storage = t->yhint == FIT_MATRIX_STORAGE_COLS ? 0 : 1;
  const int part = uniform_partition(t) ? 0 : 1;
  return Table<K, T>::k[storage][part](t, cls);
}

// Tests shared by every entry once its own tests passed: the arrays that a
// kernel reads and writes, and the order its coefficient layout assumes.
int common_tests(const DfTask* t, int64_t order) {
  if (t->ny <= 0) return FIT_STATUS_BAD_NY;
  if (t->y == nullptr || t->y[0] == nullptr) return FIT_STATUS_BAD_Y;
  if (t->s_order != order) return FIT_STATUS_BAD_SPLINE_ORDER;
  if (t->scoeff == nullptr || t->scoeff[0] == nullptr) return FIT_STATUS_BAD_PP_COEFF;
  if (!(t->scoeffhint & FIT_MATRIX_STORAGE_FUNCS_SEPARATE_OFF))
    for (int64_t f = 0; f < t->ny; ++f)
      if (t->scoeff[f] == nullptr) return FIT_STATUS_BAD_PP_COEFF;
  if (t->yhint != FIT_MATRIX_STORAGE_COLS && t->yhint != FIT_MATRIX_STORAGE_FUNCS_SEPARATE_OFF)
    for (int64_t f = 0; f < t->ny; ++f)
      if (t->y[f] == nullptr) return FIT_STATUS_BAD_Y;
  return FIT_STATUS_OK;
}

template <class T>
int linear_entry(DfTask* t, int64_t method) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  if (method != 0) return FIT_STATUS_METHOD_NOT_SUPPORTED;
  if (t->nx < 2) return FIT_STATUS_BAD_NX;
  if (!valid_storage_hint(t->yhint)) return FIT_STATUS_BAD_Y_HINT;
  if (const int st = common_tests(t, FIT_PP_LINEAR)) return st;
  return dispatch<LinearK, T>(t, 0);
}

template <class T>
int quadratic_entry(DfTask* t, int64_t method) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  if (method != 0) return FIT_STATUS_METHOD_NOT_SUPPORTED;
  if (!valid_storage_hint(t->yhint)) return FIT_STATUS_BAD_Y_HINT;
  if (t->nx < 2) return FIT_STATUS_BAD_NX;
  if (t->s_type == FIT_PP_KNOTS_QUADRATIC) {
    if (!(t->ic_type & FIT_IC_Q_KNOT)) return FIT_STATUS_BAD_IC_TYPE;
    if (t->ic == nullptr) return FIT_STATUS_BAD_IC;
    if (const int st = common_tests(t, FIT_PP_QUADRATIC)) return st;
    return dispatch<KnotsQuadraticK, T>(t, 0);
  }
  if (t->s_type != FIT_PP_DEFAULT) return FIT_STATUS_BAD_SPLINE_TYPE;
  switch (t->bc_type) {
    case FIT_NO_BC:
    case FIT_BC_NOT_A_KNOT:
    case FIT_BC_FREE_END:
      break;
    case FIT_BC_1ST_LEFT_DER:
    case FIT_BC_1ST_RIGHT_DER:
    case FIT_BC_2ND_LEFT_DER:
    case FIT_BC_2ND_RIGHT_DER:
    case FIT_BC_Q_VAL:
      if (t->bc == nullptr) return FIT_STATUS_BAD_BC;
      break;
    default:
      return FIT_STATUS_BAD_BC_TYPE;
  }
  if (const int st = common_tests(t, FIT_PP_QUADRATIC)) return st;
  return dispatch<QuadraticK, T>(t, 0);
}

template <Kind kKind>
constexpr int64_t least_nx() {
  switch (kKind) {
    case Kind::kNatural:
      return 2;
    case Kind::kDefault:
    case Kind::kHermite:
      return 3;
    case Kind::kBessel:
    case Kind::kHyman:
      return 4;
    case Kind::kAkima:
      return 5;
  }
  return 0;
}

template <Kind kKind, class T>
int cubic_entry(DfTask* t, int64_t method) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  if (method != 0) return FIT_STATUS_METHOD_NOT_SUPPORTED;
  if (t->nx < least_nx<kKind>()) return FIT_STATUS_BAD_NX;
  if (kKind == Kind::kNatural && t->nx == 2 && t->bc_type == FIT_BC_NOT_A_KNOT)
    return FIT_STATUS_BAD_NX;
  if (!valid_storage_hint(t->yhint)) return FIT_STATUS_BAD_Y_HINT;
  const int cls = boundary_class(t->bc_type);
  if (cls < 0) return FIT_STATUS_BAD_BC_TYPE;
  if (cls >= kFirstFirst && cls <= kSecondSecond && t->bc == nullptr) return FIT_STATUS_BAD_BC;
  if (cls == kPeriodic && (t->s_type == FIT_PP_DEFAULT || t->s_type == FIT_PP_HERMITE) &&
      t->bc == nullptr)
    return FIT_STATUS_BAD_BC;
  if constexpr (kKind == Kind::kHermite) {
    if (t->nx > 2 && t->ic_type != FIT_IC_1ST_DER) return FIT_STATUS_BAD_IC_TYPE;
    if (t->ic == nullptr) return FIT_STATUS_BAD_IC;
    if (cls == kPeriodic && t->bc == nullptr) return FIT_STATUS_BAD_BC;
  }
  if (const int st = common_tests(t, FIT_PP_CUBIC)) return st;
  if constexpr (kKind == Kind::kDefault || kKind == Kind::kNatural) {
    return dispatch<C2K, T>(t, cls);
  } else {
    return dispatch<LocalK<kKind>::template K, T>(t, cls);
  }
}

struct LinearEntry {
  template <class T>
  static int entry(DfTask* t, int64_t method) {
    return linear_entry<T>(t, method);
  }
};
struct QuadraticEntry {
  template <class T>
  static int entry(DfTask* t, int64_t method) {
    return quadratic_entry<T>(t, method);
  }
};
template <Kind kKind>
struct CubicEntry {
  template <class T>
  static int entry(DfTask* t, int64_t method) {
    return cubic_entry<kKind, T>(t, method);
  }
};

}  // namespace
}  // namespace nex::fit

using namespace nex::fit;

// Entries by name; each holder's entry is instantiated for both precisions.
#define NEX_FIT_DEFINE_ENTRY(name, holder)                                      \
  NEX_EXPORT int nex_df_kernel_dDF##name(DfTask* task, int64_t method, void*) { \
    return holder::entry<double>(task, method);                                 \
  }                                                                             \
  NEX_EXPORT int nex_df_kernel_sDF##name(DfTask* task, int64_t method, void*) { \
    return holder::entry<float>(task, method);                                  \
  }
NEX_FIT_DEFINE_ENTRY(LinearSpline1D, LinearEntry)
NEX_FIT_DEFINE_ENTRY(QuadraticSpline1D, QuadraticEntry)
NEX_FIT_DEFINE_ENTRY(DefaultCubicSpline1D, CubicEntry<Kind::kDefault>)
NEX_FIT_DEFINE_ENTRY(NaturalCubicSpline1D, CubicEntry<Kind::kNatural>)
NEX_FIT_DEFINE_ENTRY(HermiteCubicSpline1D, CubicEntry<Kind::kHermite>)
NEX_FIT_DEFINE_ENTRY(BesselCubicSpline1D, CubicEntry<Kind::kBessel>)
NEX_FIT_DEFINE_ENTRY(HymanCubicSpline1D, CubicEntry<Kind::kHyman>)
NEX_FIT_DEFINE_ENTRY(AkimaCubicSpline1D, CubicEntry<Kind::kAkima>)
#undef NEX_FIT_DEFINE_ENTRY
