// Integration of a task's splines between pairs of limits.
//
// A pair is put in ascending order first (sign -1 when swapped) and the sign
// applied last, so swapped limits give exactly the negated result. Within a
// piece the integral is F(u_b) - F(u_a) with F the antiderivative in powers
// of u = t - left end, so equal limits give exactly 0. Between the pieces of
// the two limits every whole piece adds F(h); whole pieces are summed two at
// a time. When a call's whole pieces add up to more than two sweeps of the
// partition, the running sums of whole-piece integrals are tabulated once,
// and a pair then costs O(log n) (the search) instead of O(cells between).
#include "fitting/evaluate.hpp"
#include "service/export.hpp"
#include "service/services.hpp"

namespace nex::fit {
namespace {

constexpr int64_t kBlock = 512;
// A pair spanning fewer whole pieces than this is walked even with a table:
// the walk is as fast and keeps full relative accuracy.
constexpr int64_t kWalkLimit = 32;

template <class T>
using IntegrCallBack = int (*)(int64_t, const T*, const T*, int64_t, T*, void*);

// The pieces of a spline: their count, left ends and lengths.
template <class T>
struct Pieces {
  bool knots;
  Partition<T> part;
  KnotSequence<T> seq;
  int64_t count;
  T left(int64_t i) const { return knots ? seq[i] : part.at(i); }
  T length(int64_t i) const {
    if (knots) return seq[i + 1] - seq[i];
    return part.uniform ? part.step : part.x[i + 1] - part.x[i];
  }
};

template <int P, class T>
struct Integrator {
  const Pieces<T>& pc;
  const T* coef;
  const T* prefix;  // running sums of whole pieces, or null
  T whole(int64_t i) const { return antiderivative<P>(coef + P * i, pc.length(i)); }
  T at(int64_t i, T s) const { return antiderivative<P>(coef + P * i, s - pc.left(i)); }
  // Integral from a to b (a <= b) with pieces pa <= pb.
  T integral(T a, T b, int64_t pa, int64_t pb) const {
    if (pa == pb) return at(pa, b) - at(pa, a);
    T sum = whole(pa) - at(pa, a);
    if (prefix != nullptr && pb - pa - 1 >= kWalkLimit) {
      sum += prefix[pb] - prefix[pa + 1];
    } else {
      int64_t i = pa + 1;
      for (; i + 1 < pb; i += 2) sum += whole(i) + whole(i + 1);
      if (i < pb) sum += whole(i);
    }
    return sum + at(pb, b);
  }
};

template <int P, class T>
void tabulate(const Pieces<T>& pc, const T* coef, T* prefix) {
  const Integrator<P, T> in{pc, coef, nullptr};
  prefix[0] = 0;
  for (int64_t i = 0; i < pc.count; ++i) prefix[i + 1] = prefix[i] + in.whole(i);
}

template <class T>
int integrate(DfTask* t, int64_t nlim, const T* llim, int64_t llimhint, const T* rlim,
              int64_t rlimhint, const double* ldatahint, const double* rdatahint, T* r,
              int64_t rhint, IntegrCallBack<T> le_cb, void* le_params, IntegrCallBack<T> re_cb,
              void* re_params, SearchCallBack<T> search_cb, void* search_params) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  const SplineCode code = spline_code(t);
  if (code == SplineCode::kBad || code == SplineCode::kSearchOnly)
    return FIT_STATUS_BAD_SPLINE_TYPE;
  if (!valid_rhint(rhint)) return FIT_STATUS_BAD_R_HINT;
  if (llim == nullptr || rlim == nullptr) return FIT_STATUS_BAD_INTEGR_LIMITS;
  if (r == nullptr) return FIT_STATUS_NULL_RESULT_POINTER;
  if (t->x == nullptr) return FIT_STATUS_BAD_X;
  if (t->ny <= 0) return FIT_STATUS_BAD_NY;
  if (t->scoeff == nullptr || t->scoeff[0] == nullptr) return FIT_STATUS_BAD_PP_COEFF;
  const bool knots = code == SplineCode::kKnotsQuadratic;
  if (knots && t->ic == nullptr) return FIT_STATUS_BAD_IC;
  const int64_t nx = t->nx, ny = t->ny;
  const int order = static_cast<int>(t->s_order);

  Pieces<T> pc{knots, partition<T>(t), {}, knots ? nx : nx - 1};
  pc.seq = {pc.part, static_cast<const T*>(t->ic)};
  const Layout layout{rhint == FIT_RESULT_SITES_FUNCS_DERS, ny, nlim, 1};

  SearchPlan<T> lplan, rplan;  // filled by make_plan
  int status = make_plan(t, llimhint, ldatahint, search_cb, search_params, &lplan);
  if (status == FIT_STATUS_OK)
    status = make_plan(t, rlimhint, rdatahint, search_cb, search_params, &rplan);
  if (status != FIT_STATUS_OK) return status;

  // Work: outside intervals and their results for the call-backs, and the
  // table of running sums once it pays.
  T* cb_a = nullptr;
  T* cb_b = nullptr;
  T* cb_r = nullptr;
  int32_t* cb_index = nullptr;
  T* prefix = nullptr;
  if (le_cb != nullptr || re_cb != nullptr) {
    cb_a = service::allocate_array<T>(kBlock);
    cb_b = service::allocate_array<T>(kBlock);
    cb_r = service::allocate_array<T>(static_cast<size_t>(kBlock * ny));
    cb_index = service::allocate_array<int32_t>(kBlock);
    if (!cb_a || !cb_b || !cb_r || !cb_index) status = FIT_STATUS_MEM_FAILURE;
  }

  const T first = pc.part.first(), last = pc.part.last();
  int64_t whole_pieces = 0;
  T lo[kBlock], hi[kBlock], sign[kBlock];
  int32_t lcell[kBlock], rcell[kBlock];
  int32_t pa[kBlock], pb[kBlock];
  for (int64_t j0 = 0; status == FIT_STATUS_OK && j0 < nlim; j0 += kBlock) {
    const int64_t n = nlim - j0 < kBlock ? nlim - j0 : kBlock;
    status = run_plan(lplan, n, llim + j0, lcell);
    if (status == FIT_STATUS_OK) status = run_plan(rplan, n, rlim + j0, rcell);
    if (status != FIT_STATUS_OK) break;
    for (int64_t j = 0; j < n; ++j) {
      T a = llim[j0 + j], b = rlim[j0 + j];
      int32_t ca = lcell[j], cb = rcell[j];
      sign[j] = T(1);
      if (a > b) {
        const T ta = a;
        a = b;
        b = ta;
        const int32_t tc = ca;
        ca = cb;
        cb = tc;
        sign[j] = T(-1);
      }
      // Parts outside the partition taken by a call-back are cut off here.
      if (le_cb != nullptr && a < first) {
        a = b < first ? b : first;
        ca = b < first ? 0 : 1;
      }
      if (re_cb != nullptr && b > last) {
        b = a > last ? a : last;
        cb = static_cast<int32_t>(a > last ? nx : nx - 1);
      }
      lo[j] = a;
      hi[j] = b;
      if (knots) {
        pa[j] = static_cast<int32_t>(knot_piece(pc.seq, a));
        pb[j] = static_cast<int32_t>(knot_piece(pc.seq, b));
      } else {
        pa[j] = static_cast<int32_t>(piece_of(ca, nx));
        pb[j] = static_cast<int32_t>(piece_of(cb, nx));
      }
      if (pb[j] - pa[j] > 1) whole_pieces += pb[j] - pa[j] - 1;
    }
    if (prefix == nullptr && whole_pieces > 2 * pc.count && pc.count > kWalkLimit) {
      prefix = service::allocate_array<T>(static_cast<size_t>((pc.count + 1) * ny));
      if (prefix == nullptr) {
        status = FIT_STATUS_MEM_FAILURE;
        break;
      }
      for (int64_t f = 0; f < ny; ++f) {
        const T* coef = coefficients<T>(t, f);
        T* pf = prefix + f * (pc.count + 1);
        switch (order) {
          case 2:
            tabulate<2>(pc, coef, pf);
            break;
          case 3:
            tabulate<3>(pc, coef, pf);
            break;
          default:
            tabulate<4>(pc, coef, pf);
            break;
        }
      }
    }
    for (int64_t f = 0; f < ny; ++f) {
      const T* coef = coefficients<T>(t, f);
      const T* pf = prefix ? prefix + f * (pc.count + 1) : nullptr;
      auto run = [&](auto in) {
        for (int64_t j = 0; j < n; ++j)
          r[layout.at(f, j0 + j, 0)] = in.integral(lo[j], hi[j], pa[j], pb[j]);
      };
      switch (order) {
        case 2:
          run(Integrator<2, T>{pc, coef, pf});
          break;
        case 3:
          run(Integrator<3, T>{pc, coef, pf});
          break;
        default:
          run(Integrator<4, T>{pc, coef, pf});
          break;
      }
    }
    // Outside parts: [min(a, b'), min(b', first)] on the left, mirrored on
    // the right, with the ascending limits.
    for (int side = 0; side < 2 && status == FIT_STATUS_OK; ++side) {
      IntegrCallBack<T> cb = side == 0 ? le_cb : re_cb;
      if (cb == nullptr) continue;
      int64_t m = 0;
      for (int64_t j = 0; j < n; ++j) {
        T a = llim[j0 + j], b = rlim[j0 + j];
        if (a > b) {
          const T ta = a;
          a = b;
          b = ta;
        }
        if (side == 0 && a < first) {
          cb_a[m] = a;
          cb_b[m] = b < first ? b : first;
          cb_index[m++] = static_cast<int32_t>(j);
        } else if (side == 1 && b > last) {
          cb_a[m] = a > last ? a : last;
          cb_b[m] = b;
          cb_index[m++] = static_cast<int32_t>(j);
        }
      }
      if (m == 0) continue;
      const int st = cb(m, cb_a, cb_b, ny, cb_r, side == 0 ? le_params : re_params);
      if (st < 0) {
        status = st;
        break;
      }
      for (int64_t k = 0; k < m; ++k)
        for (int64_t f = 0; f < ny; ++f) r[layout.at(f, j0 + cb_index[k], 0)] += cb_r[k * ny + f];
    }
    for (int64_t f = 0; f < ny; ++f)
      for (int64_t j = 0; j < n; ++j) r[layout.at(f, j0 + j, 0)] *= sign[j];
    (void)hi;
  }
  service::deallocate(prefix);
  service::deallocate(cb_index);
  service::deallocate(cb_r);
  service::deallocate(cb_b);
  service::deallocate(cb_a);
  return status;
}

}  // namespace
}  // namespace nex::fit

using namespace nex::fit;

NEX_EXPORT int nex_df_kernel_dDFIntegrate1D(DfTask* task, int64_t nlim, const double* llim,
                                            int64_t llimhint, const double* rlim, int64_t rlimhint,
                                            const double* ldatahint, const double* rdatahint,
                                            double* r, int64_t rhint, DfdIntegrCallBack le_cb,
                                            void* le_params, DfdIntegrCallBack re_cb,
                                            void* re_params, DfdSearchCallBack search_cb,
                                            void* search_params) {
  return integrate(task, nlim, llim, llimhint, rlim, rlimhint, ldatahint, rdatahint, r, rhint,
                   le_cb, le_params, re_cb, re_params, search_cb, search_params);
}
NEX_EXPORT int nex_df_kernel_sDFIntegrate1D(DfTask* task, int64_t nlim, const float* llim,
                                            int64_t llimhint, const float* rlim, int64_t rlimhint,
                                            const double* ldatahint, const double* rdatahint,
                                            float* r, int64_t rhint, DfsIntegrCallBack le_cb,
                                            void* le_params, DfsIntegrCallBack re_cb,
                                            void* re_params, DfsSearchCallBack search_cb,
                                            void* search_params) {
  return integrate(task, nlim, llim, llimhint, rlim, rlimhint, ldatahint, rdatahint, r, rhint,
                   le_cb, le_params, re_cb, re_params, search_cb, search_params);
}
