// Basic estimates: means, raw and central moments and sums, kurtosis,
// skewness, variation, covariance, correlation and cross-product, over one
// block of observations that may continue earlier blocks.
//
// The state carried between blocks is the caller's arrays plus accum_weight
// (W, W2) and, under the user-mean method, the task's saved_mean. During the
// computation raw accumulators are moments and central ones are sums; the
// matrix accumulator C holds the sum of products of deviations in the lower
// triangle of its row-major view (the 'U' triangle of the column-major BLAS).
#include <cmath>
#include <cstdint>
#include <cstring>

#include "nex_stats.h"
#include "service/blas.hpp"
#include "service/export.hpp"
#include "service/services.hpp"
#include "statistics/basic_kernels.hpp"
#include "statistics/inv_sqrt.hpp"
#include "statistics/task.hpp"

namespace nex::stats {
namespace {

namespace blas = nex::service::blas;

// ---- Fields, in the order in which a missing one is reported -------------

enum Field : int {
  kMean,
  kRaw2,
  kRaw3,
  kRaw4,
  kC2,
  kC3,
  kC4,  // moment field k is accumulator k
  kCov,
  kCor,
  kKurt,
  kSkew,
  kVar,
  kSum,
  kRaw2S,
  kRaw3S,
  kRaw4S,
  kC2S,
  kC3S,
  kC4S,  // sum field kSum + k
  kCp,
  kFieldCount
};
using FieldSet = uint32_t;
constexpr FieldSet bit(int f) {
  return FieldSet{1} << f;
}
template <class... F>
constexpr FieldSet bits(F... f) {
  return (bit(f) | ...);
}

constexpr void* SSTask::*kMember[kFieldCount] = {
    &SSTask::mean,         &SSTask::raw2,         &SSTask::raw3,         &SSTask::raw4,
    &SSTask::central2,     &SSTask::central3,     &SSTask::central4,     &SSTask::cov,
    &SSTask::cor,          &SSTask::kurtosis,     &SSTask::skewness,     &SSTask::variation,
    &SSTask::sum,          &SSTask::raw2_sum,     &SSTask::raw3_sum,     &SSTask::raw4_sum,
    &SSTask::central2_sum, &SSTask::central3_sum, &SSTask::central4_sum, &SSTask::cp};

constexpr int kMissingStatus[kFieldCount] = {
    VRS_SS_ERROR_NO_MEAN,         VRS_SS_ERROR_NO_RAW2,
    VRS_SS_ERROR_NO_RAW3,         VRS_SS_ERROR_NO_RAW4,
    VRS_SS_ERROR_NO_CENTRAL2,     VRS_SS_ERROR_NO_CENTRAL3,
    VRS_SS_ERROR_NO_CENTRAL4,     VRS_SS_ERROR_NO_COV,
    VRS_SS_ERROR_NO_COR,          VRS_SS_ERROR_NO_KURTOSIS,
    VRS_SS_ERROR_NO_SKEWNESS,     VRS_SS_ERROR_NO_VARIATION,
    VRS_SS_ERROR_NO_SUM,          VRS_SS_ERROR_NO_RAW2_SUM,
    VRS_SS_ERROR_NO_RAW3_SUM,     VRS_SS_ERROR_NO_RAW4_SUM,
    VRS_SS_ERROR_NO_CENTRAL2_SUM, VRS_SS_ERROR_NO_CENTRAL3_SUM,
    VRS_SS_ERROR_NO_CENTRAL4_SUM, VRS_SS_ERROR_NO_CP};

// ---- Requirements --------------------------------------------------------
//
// What each estimate needs, which is also what gets computed and written:
// under one-pass and user mean, under raw, and from sums (0: refused).

struct Requirement {
  uint64_t estimate;
  FieldSet observed;
  FieldSet raw;
  FieldSet from_sums;
};

constexpr Requirement kRequirements[] = {
    {VRS_SS_EST_MEAN, bits(kMean), bits(kMean), bits(kMean, kSum)},
    {VRS_SS_EST_RAW2, bits(kRaw2), bits(kRaw2), bits(kRaw2, kRaw2S)},
    {VRS_SS_EST_RAW3, bits(kRaw3), bits(kRaw3), bits(kRaw3, kRaw3S)},
    {VRS_SS_EST_RAW4, bits(kRaw4), bits(kRaw4), bits(kRaw4, kRaw4S)},
    {VRS_SS_EST_CENTRAL2, bits(kMean, kRaw2, kC2), bits(kMean, kRaw2, kC2), bits(kC2, kC2S)},
    {VRS_SS_EST_CENTRAL3, bits(kMean, kRaw2, kRaw3, kC3), bits(kMean, kRaw2, kRaw3, kC3),
     bits(kC3, kC3S)},
    {VRS_SS_EST_CENTRAL4, bits(kMean, kRaw2, kRaw3, kRaw4, kC4),
     bits(kMean, kRaw2, kRaw3, kRaw4, kC4), bits(kC4, kC4S)},
    {VRS_SS_EST_COV, bits(kMean, kCov), bits(kMean, kCov), bits(kCov, kCp)},
    {VRS_SS_EST_COR, bits(kMean, kCor), bits(kMean, kCor), bits(kCor, kCp)},
    {VRS_SS_EST_KURTOSIS, bits(kMean, kRaw2, kRaw3, kRaw4, kC2, kC4, kKurt),
     bits(kMean, kRaw2, kRaw3, kRaw4, kC2, kC4, kKurt), bits(kMean, kC2, kC4, kKurt)},
    {VRS_SS_EST_SKEWNESS, bits(kMean, kRaw2, kRaw3, kC2, kC3, kSkew),
     bits(kMean, kRaw2, kRaw3, kC2, kC3, kSkew), bits(kMean, kC2, kC3, kSkew)},
    {VRS_SS_EST_VARIATION, bits(kMean, kRaw2, kC2, kVar), bits(kMean, kRaw2, kC2, kVar),
     bits(kMean, kC2, kVar)},
    {VRS_SS_EST_SUM, bits(kSum), bits(kSum), 0},
    {VRS_SS_EST_RAW2_SUM, bits(kRaw2S), bits(kRaw2S), 0},
    {VRS_SS_EST_RAW3_SUM, bits(kRaw3S), bits(kRaw3S), 0},
    {VRS_SS_EST_RAW4_SUM, bits(kRaw4S), bits(kRaw4S), 0},
    {VRS_SS_EST_CENTRAL2_SUM, bits(kC2S, kMean), bits(kC2S, kMean, kRaw2), 0},
    {VRS_SS_EST_CENTRAL3_SUM, bits(kC3S, kMean), bits(kC3S, kMean, kRaw2, kRaw3), 0},
    {VRS_SS_EST_CENTRAL4_SUM, bits(kC4S, kMean), bits(kC4S, kMean, kRaw2, kRaw3, kRaw4), 0},
    {VRS_SS_EST_CP, bits(kCp, kMean), bits(kCp, kMean), 0},
};

enum class Method { kRaw, kOnePass, kUserMean, kFromSums };

// One of the three observation methods alone, or a from-sums method alone.
bool decode_method(uint64_t word, Method* out) {
  const bool raw = word & VRS_SS_METHOD_RAW, one = word & VRS_SS_METHOD_ONE_PASS,
             user = word & VRS_SS_METHOD_USER_MEAN;
  const bool sums = word & (VRS_SS_METHOD_FROM_SUMS | VRS_SS_METHOD_FROM_SUMS_ALT);
  const int a = int(raw) + int(one) + int(user);
  if (a == 1 && !sums) {
    *out = raw ? Method::kRaw : (one ? Method::kOnePass : Method::kUserMean);
    return true;
  }
  if (a == 0 && sums) {
    *out = Method::kFromSums;
    return true;
  }
  return false;
}

// ---- Levels --------------------------------------------------------------

bool uses_acc(FieldSet u, int k) {
  return (u & (bit(k) | bit(kSum + k))) != 0;
}

int level_of(Method m, FieldSet u) {
  int level = 0;
  auto any = [u](std::initializer_list<int> ks) {
    for (int k : ks)
      if (uses_acc(u, k)) return true;
    return false;
  };
  switch (m) {
    case Method::kOnePass:
      if (any({4})) level = 1;
      if (any({1})) level = 2;
      if (any({2, 3, 5, 6})) level = 3;
      break;
    case Method::kUserMean:
      if (any({5})) level = 1;
      if (any({6})) level = 2;
      if (any({1, 2, 3})) level = 3;
      break;
    default:
      if (any({1})) level = 1;
      if (any({2})) level = 2;
      if (any({3})) level = 3;
      break;
  }
  return level;
}

struct AccCounts {
  int raw, central;
};
constexpr AccCounts kCounts[3][4] = {
    {{1, 0}, {2, 0}, {3, 0}, {4, 0}},  // raw
    {{1, 0}, {1, 1}, {2, 1}, {4, 3}},  // one-pass
    {{1, 1}, {1, 2}, {1, 3}, {4, 3}},  // user mean
};

// ---- Temporaries, released in reverse order of acquisition ---------------

struct Temporaries {
  void* block[24];
  int count = 0;
  template <class T>
  T* take(int64_t elements) {
    T* p = nex::service::allocate_array<T>(static_cast<size_t>(elements < 1 ? 1 : elements));
    if (p != nullptr) {
      std::memset(static_cast<void*>(p), 0, static_cast<size_t>(elements) * sizeof(T));
      block[count++] = p;
    }
    return p;
  }
  ~Temporaries() {
    while (count > 0) nex::service::deallocate(block[--count]);
  }
};

// ---- Symmetric matrix storage --------------------------------------------

enum class Storage { kFull, kLower, kUpper };
Storage matrix_storage(int64_t code) {
  if (code & 2) return Storage::kUpper;
  if (code & 1) return Storage::kLower;
  return Storage::kFull;
}

// Position of element (r, c), r >= c, in a stored matrix.
inline int64_t stored_index(Storage s, int64_t p, int64_t r, int64_t c) {
  switch (s) {
    case Storage::kLower:
      return r * (r + 1) / 2 + c;
    case Storage::kUpper:  // row c of the upper triangle holds columns c..p-1
      return c * (2 * p - c + 1) / 2 + (r - c);
    default:
      return r * p + c;
  }
}

template <class T>
void unpack(const T* src, Storage s, int64_t p, T* C) {
  for (int64_t r = 0; r < p; ++r)
    for (int64_t c = 0; c <= r; ++c) C[r * p + c] = C[c * p + r] = src[stored_index(s, p, r, c)];
}

// Writes value(r, c) for r >= c of included variables into dst, both
// halves in full storage. Reads of C through value() touch only r >= c,
// which lets dst be C itself.
template <class T, class Value>
void write_matrix(T* dst, Storage s, int64_t p, const SSTask* task, Value value) {
  for (int64_t r = 0; r < p; ++r) {
    if (task->indices && read_index(task, task->indices, r) == 0) continue;
    for (int64_t c = 0; c <= r; ++c) {
      if (task->indices && read_index(task, task->indices, c) == 0) continue;
      const T v = value(r, c);
      if (s == Storage::kFull) {
        dst[r * p + c] = v;
        dst[c * p + r] = v;
      } else {
        dst[stored_index(s, p, r, c)] = v;
      }
    }
  }
}

inline bool included(const SSTask* task, int64_t i) {
  return task->indices == nullptr || read_index(task, task->indices, i) != 0;
}

template <class T>
T* field(const SSTask* task, int f) {
  return static_cast<T*>(task->*kMember[f]);
}

// ---- Matrices and moments from the final accumulators --------------------

// Writes correlation, covariance and cross-product (in this order, since C
// may be the caller's covariance or cross-product array) from C in sum form.
// The correlation keeps the variances on its diagonal: a later block reads
// it back to rebuild C.
template <class T>
void write_matrices(SSTask* task, FieldSet u, int64_t p, T* C, T W, T W2, T* isq, bool write_cp) {
  const bool positive = W > T(0);
  const T s = positive ? T(1) / (W - W2 / W) : T(1);
  auto storage = [task](void* code) { return matrix_storage(read_int(task, code)); };
  if (u & bit(kCor)) {
    if (positive) {
      for (int64_t i = 0; i < p; ++i) isq[i] = C[i * p + i];
      inv_sqrt<T>(p, isq, isq);
    }
    write_matrix<T>(field<T>(task, kCor), storage(task->cor_storage), p, task,
                    [&](int64_t r, int64_t c) -> T {
                      if (!positive) return T(0);
                      return r == c ? s * C[r * p + r] : C[r * p + c] * isq[r] * isq[c];
                    });
  }
  if (u & bit(kCov))
    write_matrix<T>(field<T>(task, kCov), storage(task->cov_storage), p, task,
                    [&](int64_t r, int64_t c) { return positive ? s * C[r * p + c] : T(0); });
  if (write_cp && (u & bit(kCp)))
    write_matrix<T>(field<T>(task, kCp), storage(task->cp_storage), p, task,
                    [&](int64_t r, int64_t c) { return positive ? C[r * p + c] : T(0); });
}

// Central moments from central sums (already copied into the moment arrays),
// then kurtosis, skewness and variation. Only the second moment carries the
// unbiased factor W/(W^2 - W2).
template <class T>
void finish_moments(SSTask* task, FieldSet u, int64_t p, T W, T W2, bool from_raw) {
  T* m = field<T>(task, kMean);
  T* r2 = field<T>(task, kRaw2);
  T* r3 = field<T>(task, kRaw3);
  T* r4 = field<T>(task, kRaw4);
  T* c2 = field<T>(task, kC2);
  T* c3 = field<T>(task, kC3);
  T* c4 = field<T>(task, kC4);
  const T W2f = W * W - W2;
  for (int64_t i = 0; i < p; ++i) {
    if (!included(task, i)) continue;
    if (from_raw) {
      const T mi = u & bit(kMean) ? m[i] : T(0);
      const T mm = mi * mi;
      if (u & bit(kC2)) c2[i] = (r2[i] - mm) * (W * W / W2f);
      if (u & bit(kC3)) c3[i] = (T(2) * mm - T(3) * r2[i]) * mi + r3[i];
      if (u & bit(kC4)) c4[i] = ((T(6) * r2[i] - T(3) * mm) * mi - T(4) * r3[i]) * mi + r4[i];
    } else {
      if (u & bit(kC2)) c2[i] = c2[i] * W / W2f;
      if (u & bit(kC3)) c3[i] = c3[i] / W;
      if (u & bit(kC4)) c4[i] = c4[i] / W;
    }
    if (u & bit(kKurt)) field<T>(task, kKurt)[i] = c4[i] / (c2[i] * c2[i]) - T(3);
    if (u & bit(kSkew)) field<T>(task, kSkew)[i] = c3[i] / std::sqrt(c2[i] * c2[i] * c2[i]);
    if (u & bit(kVar)) field<T>(task, kVar)[i] = std::sqrt(c2[i]) / m[i];
  }
}

// ---- From sums -----------------------------------------------------------

template <class T>
int from_sums(SSTask* task, FieldSet u, int64_t p) {
  T W, W2;
  if (task->accum_weight != nullptr) {
    W = static_cast<const T*>(task->accum_weight)[0];
    W2 = static_cast<const T*>(task->accum_weight)[1];
  } else {
    W = W2 = static_cast<T>(read_int(task, task->n));
  }
  Temporaries tmp;
  const bool matrix = u & (bit(kCov) | bit(kCor));
  T* C = nullptr;
  T* isq = nullptr;
  if (matrix) {
    const Storage s = matrix_storage(read_int(task, task->cp_storage));
    if (task->indices == nullptr && s == Storage::kFull) {
      C = field<T>(task, kCp);
    } else {
      if ((C = tmp.take<T>(p * p)) == nullptr) return VRS_SS_ERROR_ALLOCATION;
      unpack(field<T>(task, kCp), s, p, C);
    }
    if ((u & bit(kCor)) && (isq = tmp.take<T>(p)) == nullptr) return VRS_SS_ERROR_ALLOCATION;
    write_matrices<T>(task, u, p, C, W, W2, isq, false);
  }
  for (int k = 0; k < 7; ++k) {
    if (!(u & bit(k))) continue;
    const T* s = field<T>(task, kSum + k);
    T* m = field<T>(task, k);
    if (s == nullptr) continue;  // the moment array is an input as it stands
    for (int64_t i = 0; i < p; ++i)
      if (included(task, i)) m[i] = k < 4 ? s[i] / W : s[i];
  }
  // Central moments copied from sums are converted; ones given as moments
  // (no sum array registered) are taken as they are.
  FieldSet convert = u;
  for (int k = 4; k < 7; ++k)
    if (field<T>(task, kSum + k) == nullptr) convert &= ~bit(k);
  finish_moments<T>(task, convert | (u & (bit(kKurt) | bit(kSkew) | bit(kVar) | bit(kMean))), p, W,
                    W2, false);
  return 0;
}

// ---- Observation methods -------------------------------------------------

template <class T>
struct ThreadView {
  T* acc[7];
  T* C;
  T* sc;
  T* d;     // one-pass scratch
  T* wbuf;  // weighted copy of a row block
};

template <class T>
struct Region {
  const SSTask* task;
  Method method;
  int level;
  int threads;
  int64_t n, p, block;
  bool cols, weighted, matrix, private_c;
  const T* x;
  const T* w;
  const T* prev_mean;  // mean used for this block's rank-one terms (null: acc 0)
  ThreadView<T>* view;
};

template <class T>
Kernel<T> pick_kernel(const Region<T>& g, bool with_matrix) {
  const int w = g.weighted, c = g.cols, L = g.level;
  switch (g.method) {
    case Method::kOnePass:
      return kOnePassTable<T>.k[2 * L + int(with_matrix) + 8 * w + 16 * c];
    case Method::kUserMean:
      return kUserMeanTable<T>.k[L + 4 * w + 8 * c];
    default:
      return kRawTable<T>.k[L + 4 * w + 8 * c];
  }
}

template <class T>
KernelArgs<T> args_for(const Region<T>& g, const ThreadView<T>& v, int64_t r0, int64_t r1) {
  return KernelArgs<T>{r0, r1, g.n, 0, g.p, g.p, g.x, g.w, v.sc, v.acc, v.C, v.d};
}

// X^T X (or X^T diag(w) X) of rows [r0, r1) added to C.
template <class T>
void add_products(const Region<T>& g, const ThreadView<T>& v, int64_t r0, int64_t r1) {
  const int p = static_cast<int>(g.p), k = static_cast<int>(r1 - r0);
  if (k <= 0) return;
  if (!g.weighted) {
    if (g.cols)
      blas::syrk('U', 'N', p, k, T(1), g.x + r0 * g.p, p, T(1), v.C, p);
    else
      blas::syrk('U', 'T', p, k, T(1), g.x + r0, static_cast<int>(g.n), T(1), v.C, p);
    return;
  }
  T* b = v.wbuf;
  if (g.cols) {
    for (int64_t j = 0; j < k; ++j) {
      const T wj = g.w[r0 + j];
      const T* xj = g.x + (r0 + j) * g.p;
      for (int64_t i = 0; i < g.p; ++i) b[j * g.p + i] = wj * xj[i];
    }
    blas::gemm('N', 'T', p, p, k, T(1), g.x + r0 * g.p, p, b, p, T(1), v.C, p);
  } else {
    for (int64_t i = 0; i < g.p; ++i)
      for (int64_t j = 0; j < k; ++j) b[i * k + j] = g.w[r0 + j] * g.x[i * g.n + r0 + j];
    blas::gemm('T', 'N', p, p, k, T(1), g.x + r0, static_cast<int>(g.n), b, k, T(1), v.C, p);
  }
}

template <class T>
void thread_body(int t, int, int threads, void* context) {
  const auto& g = *static_cast<const Region<T>*>(context);
  const ThreadView<T>& v = g.view[t];
  const int64_t share = g.n / threads;
  const int64_t r0 = t * share, r1 = t == threads - 1 ? g.n : r0 + share;
  if (g.method == Method::kOnePass) {
    pick_kernel(g, g.matrix)(args_for(g, v, r0, r1));
    return;
  }
  const Kernel<T> kernel = pick_kernel(g, false);
  if (!(g.matrix && (threads == 1 || g.private_c))) {
    kernel(args_for(g, v, r0, r1));
    return;
  }
  // C, in central form, goes to raw product form with the mean it was
  // formed around, receives the products of the rows, and comes back to
  // central form around the updated mean.
  const int p = static_cast<int>(g.p);
  const T* m_old = (t == 0 && g.prev_mean) ? g.prev_mean : v.acc[0];
  if (v.sc[0] != T(0)) blas::syr('U', p, v.sc[0], m_old, 1, v.C, p);
  for (int64_t r = r0; r < r1; r += g.block) {
    const int64_t e = r + g.block < r1 ? r + g.block : r1;
    kernel(args_for(g, v, r, e));
    add_products(g, v, r, e);
  }
  if (v.sc[0] != T(0)) blas::syr('U', p, -v.sc[0], v.acc[0], 1, v.C, p);
}

// Folds thread t into thread 0 (pairwise combination of weighted sets).
template <class T>
void merge(const Region<T>& g, const AccCounts& cnt, ThreadView<T>& a, const ThreadView<T>& b,
           T* d) {
  const T W0 = a.sc[0], Wt = b.sc[0];
  if (Wt == T(0)) return;
  const T W = W0 + Wt;
  const int64_t p = g.p;
  const bool user = g.method == Method::kUserMean;
  for (int64_t i = 0; i < p; ++i) d[i] = user ? T(0) : b.acc[0][i] - a.acc[0][i];
  if (g.private_c && g.matrix) {
    const T f = W0 == T(0) ? T(0) : W0 * Wt / W;
    for (int64_t r = 0; r < p; ++r)
      for (int64_t c = 0; c <= r; ++c) a.C[r * p + c] += b.C[r * p + c] + f * d[r] * d[c];
  }
  const T W_2 = W * W, W_3 = W_2 * W;
  for (int64_t i = 0; i < p; ++i) {
    const T di = d[i], d2 = di * di;
    if (cnt.central >= 3) {
      a.acc[6][i] += b.acc[6][i] + d2 * d2 * W0 * Wt * (W0 * W0 - W0 * Wt + Wt * Wt) / W_3 +
                     T(6) * d2 * (W0 * W0 * b.acc[4][i] + Wt * Wt * a.acc[4][i]) / W_2 +
                     T(4) * di * (W0 * b.acc[5][i] - Wt * a.acc[5][i]) / W;
    }
    if (cnt.central >= 2) {
      a.acc[5][i] += b.acc[5][i] + d2 * di * W0 * Wt * (W0 - Wt) / W_2 +
                     T(3) * di * (W0 * b.acc[4][i] - Wt * a.acc[4][i]) / W;
    }
    if (cnt.central >= 1) a.acc[4][i] += b.acc[4][i] + W0 * Wt * d2 / W;
    for (int k = user ? 1 : 0; k < cnt.raw; ++k)
      a.acc[k][i] = (W0 * a.acc[k][i] + Wt * b.acc[k][i]) / W;
  }
  for (int s = 0; s < 4; ++s) a.sc[s] += b.sc[s];
}

template <class T>
int observed(SSTask* task, FieldSet u, Method method, int64_t p, int64_t n, bool cols,
             const SSThreader* threader) {
  const bool matrix = u & (bit(kCov) | bit(kCor) | bit(kCp));
  const bool weighted = task->weights != nullptr;
  const bool user = method == Method::kUserMean;

  // Threads: at most one per 8192 units of work and per 16 observations.
  int64_t threads = threader && threader->max_threads ? threader->max_threads() : 1;
  const uint64_t work = static_cast<uint64_t>(n) * static_cast<uint64_t>(p) *
                        (matrix ? static_cast<uint64_t>(p) : 1u);
  if (static_cast<uint64_t>(threads) > (work >> 13)) threads = static_cast<int64_t>(work >> 13);
  if (threads > (n >> 4)) threads = n >> 4;
  if (threads < 1 || threader == nullptr || threader->parallel_region == nullptr) threads = 1;
  const int T_ = static_cast<int>(threads);

  const int level = level_of(method, u);
  const AccCounts cnt = kCounts[static_cast<int>(method)][level];
  auto used = [&](int k) { return k < cnt.raw || (k >= 4 && k < 4 + cnt.central); };

  // Private matrices for the threads after the first, unless the raw or
  // user-mean method without weights would give a thread fewer rows than
  // variables: then the products are added once over all of x after the merge.
  bool private_c = false;
  if (matrix && T_ > 1) {
    private_c = true;
    if ((method == Method::kRaw || user) && !weighted) {
      int64_t B = 262144 / (8 * p);
      if (B < 64) B = 64;
      const int64_t c = B < n / T_ ? B : n / T_;
      if (p > c) private_c = false;
    }
  }
  const int64_t h = weighted ? 1 : 0;
  int64_t block = 262144 / (8 * p * (1 + h));
  if (block < 64) block = 64;
  const bool needs_wbuf = matrix && weighted && method != Method::kOnePass;
  const bool needs_d = matrix && method == Method::kOnePass;

  // ---- All memory first: a failure leaves every caller array unchanged.
  Temporaries tmp;
  ThreadView<T> local_view[1];
  ThreadView<T>* view = local_view;
  T local_sc[4] = {};
  if (T_ > 1) {
    view = tmp.take<ThreadView<T>>(T_);
    if (view == nullptr) return VRS_SS_ERROR_ALLOCATION;
  }
  T* sc = T_ > 1 ? tmp.take<T>(4 * int64_t{T_}) : local_sc;
  if (sc == nullptr) return VRS_SS_ERROR_ALLOCATION;

  int source = -1;
  Storage source_storage = Storage::kFull;
  T* C = nullptr;
  bool C_is_temp = false;
  if (matrix) {
    source = (u & bit(kCp)) ? kCp : ((u & bit(kCov)) ? kCov : kCor);
    void* code =
        source == kCp ? task->cp_storage : (source == kCov ? task->cov_storage : task->cor_storage);
    source_storage = matrix_storage(read_int(task, code));
    if (task->indices == nullptr && source_storage == Storage::kFull) {
      C = field<T>(task, source);
    } else {
      if ((C = tmp.take<T>(p * p)) == nullptr) return VRS_SS_ERROR_ALLOCATION;
      C_is_temp = true;
    }
  }
  T* isq = nullptr;
  if ((u & bit(kCor)) && (isq = tmp.take<T>(p)) == nullptr) return VRS_SS_ERROR_ALLOCATION;

  // Per-thread private vectors and matrices for threads 1..T-1, one buffer.
  const int64_t vec_count = cnt.raw + cnt.central;
  const int64_t per_thread =
      vec_count * p + (private_c ? p * p : 0) + (needs_d ? p : 0) + (needs_wbuf ? block * p : 0);
  T* priv = nullptr;
  if (T_ > 1 && (priv = tmp.take<T>(per_thread * (T_ - 1))) == nullptr)
    return VRS_SS_ERROR_ALLOCATION;
  T* dmerge = nullptr;  // deviations of means while merging
  if (T_ > 1 && (dmerge = tmp.take<T>(p)) == nullptr) return VRS_SS_ERROR_ALLOCATION;
  T* own = nullptr;  // thread 0's scratch
  const int64_t own_size = (needs_d ? p : 0) + (needs_wbuf ? block * p : 0);
  if (own_size > 0 && (own = tmp.take<T>(own_size)) == nullptr) return VRS_SS_ERROR_ALLOCATION;

  // Accumulators: the requested sum array, else the moment array, used in
  // place when there is no indices; a zeroed temporary otherwise.
  T* acc[7] = {};
  bool convert[7] = {};
  for (int k = 0; k < 7; ++k) {
    if (!used(k)) continue;
    if (user && k == 0) {
      acc[0] = field<T>(task, kMean);
      continue;
    }
    T* sum = (u & bit(kSum + k)) ? field<T>(task, kSum + k) : nullptr;
    T* mom = (u & bit(k)) ? field<T>(task, k) : nullptr;
    T* src = sum ? sum : mom;
    convert[k] = src != nullptr && ((k < 4) == (src == sum));
    if (task->indices == nullptr && src != nullptr) {
      acc[k] = src;
    } else {
      if ((acc[k] = tmp.take<T>(p)) == nullptr) return VRS_SS_ERROR_ALLOCATION;
      if (src != nullptr) std::memcpy(acc[k], src, static_cast<size_t>(p) * sizeof(T));
    }
  }
  T* saved_mean = static_cast<T*>(task->saved_mean);
  T* new_saved = nullptr;
  if (user && saved_mean == nullptr) {
    new_saved = nex::service::allocate_array<T>(static_cast<size_t>(p));
    if (new_saved == nullptr) return VRS_SS_ERROR_ALLOCATION;
  }

  // ---- Preparation: bring the carried state into accumulator form.
  T W = T(0), W2 = T(0);
  if (task->accum_weight != nullptr) {
    W = static_cast<const T*>(task->accum_weight)[0];
    W2 = static_cast<const T*>(task->accum_weight)[1];
  }
  sc[0] = W;
  sc[1] = W2;
  if (matrix) {
    if (C_is_temp) unpack(field<T>(task, source), source_storage, p, C);
    if (source != kCp) {
      if (W > T(0)) {
        const T s = W - W2 / W;
        if (source == kCov) {
          for (int64_t e = 0; e < p * p; ++e) C[e] *= s;
        } else {
          // Off-diagonal correlations scale by s*sqrt(v_i v_j), with the
          // variances v read from the (unscaled) diagonal.
          for (int64_t r = 0; r < p; ++r)
            for (int64_t c = 0; c < r; ++c)
              C[r * p + c] *= s * std::sqrt(C[r * p + r] * C[c * p + c]);
          for (int64_t i = 0; i < p; ++i) C[i * p + i] *= s;
        }
      } else {
        std::memset(static_cast<void*>(C), 0, static_cast<size_t>(p * p) * sizeof(T));
      }
    }
  }
  if (W > T(0)) {
    for (int k = 0; k < 7; ++k) {
      if (!acc[k] || !convert[k]) continue;
      const T f = k < 4 ? T(1) / W : (k == 4 ? (W * W - W2) / W : W);
      for (int64_t i = 0; i < p; ++i) acc[k][i] *= f;
    }
  }
  if (W == T(0)) {
    for (int k = user ? 1 : 0; k < 7; ++k)
      if (acc[k]) std::memset(static_cast<void*>(acc[k]), 0, static_cast<size_t>(p) * sizeof(T));
    if (matrix) std::memset(static_cast<void*>(C), 0, static_cast<size_t>(p * p) * sizeof(T));
  }
  const T* prev_mean = user && saved_mean ? saved_mean : nullptr;
  if (matrix && method != Method::kOnePass && !private_c && T_ > 1 && W != T(0))
    blas::syr('U', static_cast<int>(p), W, prev_mean ? prev_mean : acc[0], 1, C,
              static_cast<int>(p));

  // ---- Views and the parallel region.
  T* own_next = own;
  auto carve = [](T*& next, int64_t count) {
    T* r = next;
    next += count;
    return r;
  };
  view[0] = ThreadView<T>{{acc[0], acc[1], acc[2], acc[3], acc[4], acc[5], acc[6]},
                          C,
                          sc,
                          needs_d ? carve(own_next, p) : nullptr,
                          needs_wbuf ? carve(own_next, block * p) : nullptr};
  for (int t = 1; t < T_; ++t) {
    T* next = priv + (t - 1) * per_thread;
    ThreadView<T>& v = view[t];
    v = ThreadView<T>{};
    for (int k = 0; k < 7; ++k)
      if (used(k)) v.acc[k] = (user && k == 0) ? acc[0] : carve(next, p);
    if (user) next += p;  // the shared fixed mean took no private space
    v.C = private_c ? carve(next, p * p) : nullptr;
    v.d = needs_d ? carve(next, p) : nullptr;
    v.wbuf = needs_wbuf ? carve(next, block * p) : nullptr;
    v.sc = sc + 4 * t;
  }
  Region<T> g{task,
              method,
              level,
              T_,
              n,
              p,
              block,
              cols,
              weighted,
              matrix,
              private_c,
              static_cast<const T*>(task->x),
              static_cast<const T*>(task->weights),
              prev_mean,
              view};
  if (T_ > 1)
    threader->parallel_region(T_, &g, &thread_body<T>);
  else
    thread_body<T>(0, 0, 1, &g);

  // ---- Merge, in thread order, on the calling thread.
  for (int t = 1; t < T_; ++t) merge(g, cnt, view[0], view[t], dmerge);
  W = sc[0];
  W2 = sc[1];
  if (matrix && method != Method::kOnePass && !private_c && T_ > 1) {
    const int pi = static_cast<int>(p);
    if (cols)
      blas::syrk('U', 'N', pi, static_cast<int>(n), T(1), g.x, pi, T(1), C, pi);
    else
      blas::syrk('U', 'T', pi, static_cast<int>(n), T(1), g.x, static_cast<int>(n), T(1), C, pi);
    if (W != T(0)) blas::syr('U', pi, -W, acc[0], 1, C, pi);
  }

  // ---- Results.
  if (matrix) write_matrices<T>(task, u, p, C, W, W2, isq, true);
  if (task->accum_weight != nullptr) {
    static_cast<T*>(task->accum_weight)[0] = W;
    static_cast<T*>(task->accum_weight)[1] = W2;
  }
  for (int k = 0; k < 7; ++k) {
    if (!acc[k]) continue;
    T* targets[2] = {(u & bit(k)) ? field<T>(task, k) : nullptr,
                     (u & bit(kSum + k)) ? field<T>(task, kSum + k) : nullptr};
    for (T* dst : targets)
      if (dst && dst != acc[k])
        for (int64_t i = 0; i < p; ++i)
          if (included(task, i)) dst[i] = acc[k][i];
  }
  // Under the raw method the central sums come from the raw moments (read
  // before the raw sum arrays, which may be the accumulators, are scaled).
  if (method == Method::kRaw) {
    const T* m = acc[0];
    const T* r2 = acc[1];
    const T* r3 = acc[2];
    const T* r4 = acc[3];
    T* c2s = (u & bit(kC2S)) ? field<T>(task, kC2S) : nullptr;
    T* c3s = (u & bit(kC3S)) ? field<T>(task, kC3S) : nullptr;
    T* c4s = (u & bit(kC4S)) ? field<T>(task, kC4S) : nullptr;
    for (int64_t i = 0; i < p; ++i) {
      if (!included(task, i)) continue;
      const T mi = m[i], mm = mi * mi;
      if (c2s) c2s[i] = (r2[i] - mm) * W;
      if (c3s) c3s[i] = ((T(2) * mm - T(3) * r2[i]) * mi + r3[i]) * W;
      if (c4s) c4s[i] = (((T(6) * r2[i] - T(3) * mm) * mi - T(4) * r3[i]) * mi + r4[i]) * W;
    }
  }
  for (int k = 0; k < 4; ++k) {
    if (!(u & bit(kSum + k))) continue;
    T* s = field<T>(task, kSum + k);
    for (int64_t i = 0; i < p; ++i)
      if (included(task, i)) s[i] *= W;
  }
  finish_moments<T>(task, u, p, W, W2, method == Method::kRaw);
  if (user) {
    if (new_saved != nullptr) task->saved_mean = saved_mean = new_saved;
    std::memcpy(saved_mean, acc[0], static_cast<size_t>(p) * sizeof(T));
  }
  return 0;
}

template <class T>
int basic(SSTask* task, uint64_t mask, uint64_t method_word, const SSThreader* threader) {
  if (task == nullptr) return VRS_SS_ERROR_NULL_TASK;
  Method method;
  if (!decode_method(method_word, &method)) return VRS_SS_ERROR_BAD_METHOD;

  FieldSet u = 0;
  for (const Requirement& r : kRequirements) {
    if (!(mask & r.estimate)) continue;
    const FieldSet need = method == Method::kFromSums ? r.from_sums
                          : method == Method::kRaw    ? r.raw
                                                      : r.observed;
    if (need == 0) return VRS_SS_ERROR_BAD_METHOD;
    u |= need;
  }
  if (u == 0) return 0;
  for (int f = 0; f < kFieldCount; ++f)
    if ((u & bit(f)) && task->*kMember[f] == nullptr) return kMissingStatus[f];
  // The user mean is read whatever is asked for.
  if (method == Method::kUserMean && task->mean == nullptr) return VRS_SS_ERROR_NO_MEAN;

  if (task->p == nullptr) return VRS_SS_ERROR_BAD_P;
  const int64_t p = read_int(task, task->p);
  if (p <= 0) return VRS_SS_ERROR_BAD_P;
  // Products of p stay within the BLAS's 32-bit integers.
  if (p > 46340) return VRS_SS_ERROR_BAD_P;

  int64_t n = 0;
  bool cols = false;
  if (method == Method::kFromSums) {
    if (task->accum_weight == nullptr && (task->n == nullptr || task->weights != nullptr))
      return VRS_SS_ERROR_NO_ACCUM_WEIGHT;
  } else {
    if (task->n == nullptr || (n = read_int(task, task->n)) <= 0) return VRS_SS_ERROR_BAD_N;
    if (n > INT32_MAX) return VRS_SS_ERROR_BAD_N;
    if (task->x == nullptr) return VRS_SS_ERROR_NO_X;
    if (task->x_storage == nullptr) return VRS_SS_ERROR_NO_STORAGE;
    const int64_t st = read_int(task, task->x_storage);
    if (st & VRS_SS_STORAGE_ROWS)
      cols = false;
    else if (st & VRS_SS_STORAGE_COLS)
      cols = true;
    else
      return VRS_SS_ERROR_BAD_STORAGE;
    if (p == 1) cols = false;  // one variable: both layouts are the same array
  }
  // Matrix storages that will be read.
  const bool wants[3] = {
      (u & bit(kCov)) != 0, (u & bit(kCor)) != 0,
      (u & bit(kCp)) != 0 || (method == Method::kFromSums && (u & (bit(kCov) | bit(kCor))) != 0)};
  void* codes[3] = {task->cov_storage, task->cor_storage, task->cp_storage};
  for (int i = 0; i < 3; ++i)
    if (wants[i] && codes[i] == nullptr) return VRS_SS_ERROR_NO_STORAGE;

  if (method == Method::kFromSums) return from_sums<T>(task, u, p);
  return observed<T>(task, u, method, p, n, cols, threader);
}

uint64_t join(uint32_t lo, uint32_t hi) {
  return (uint64_t{hi} << 32) | lo;
}

}  // namespace
}  // namespace nex::stats

NEX_EXPORT int vrsdSSBasic(SSTask* task, uint32_t mask_low, uint32_t mask_high, uint32_t method_low,
                           uint32_t method_high, const SSThreader* threader) {
  using namespace nex::stats;
  return basic<double>(task, join(mask_low, mask_high), join(method_low, method_high), threader);
}
NEX_EXPORT int vrssSSBasic(SSTask* task, uint32_t mask_low, uint32_t mask_high, uint32_t method_low,
                           uint32_t method_high, const SSThreader* threader) {
  using namespace nex::stats;
  return basic<float>(task, join(mask_low, mask_high), join(method_low, method_high), threader);
}
