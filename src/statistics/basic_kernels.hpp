// Accumulation kernels of the basic estimates, generated from one template
// family and gathered in three tables (one-pass, raw, user mean).
//
// Accumulators: 0 mean, 1..3 raw moments of order 2..4 (held as moments,
// i.e. divided by the weight sum), 4..6 central sums of order 2..4 (sums of
// powers of deviations, not divided). Scalars: sc[0] = W (sum of weights),
// sc[1] = W2 (sum of squared weights).
#pragma once

#include <cstdint>
#include <utility>

namespace nex::stats {

template <class T>
struct KernelArgs {
  int64_t r0, r1;  // observation range
  int64_t n;
  int64_t c0, c1;  // variable range
  int64_t p;
  const T* x;
  const T* w;  // null: unit weights
  T* sc;
  T* const* acc;  // seven accumulators, as far as the level uses them
  T* C;           // p by p, lower triangle of the row-major view valid
  T* d;           // p scratch elements (one-pass with a matrix)
};

template <class T>
using Kernel = void (*)(const KernelArgs<T>&);

// Element of variable i, observation j.
template <bool Cols, class T>
inline T at(const KernelArgs<T>& a, int64_t i, int64_t j) {
  return Cols ? a.x[j * a.p + i] : a.x[i * a.n + j];
}

// First observation to process: a weighted kernel passes over leading
// observations whose weight compares equal to zero (a NaN stops the scan).
template <bool Weighted, class T>
inline int64_t first_observation(const KernelArgs<T>& a) {
  int64_t j = a.r0;
  if constexpr (Weighted)
    while (j < a.r1 && a.w[j] == T(0)) ++j;
  return j;
}

template <bool Weighted, class T>
inline T weight(const KernelArgs<T>& a, int64_t j) {
  if constexpr (Weighted)
    return a.w[j];
  else
    return T(1);
}

// ---- One-pass: online update of means and central sums -------------------
//
// For an observation x of weight w joining a set of weight W with mean m and
// central sums M2, M3, M4, with d = x - m, r = 1/(W+w):
//   M4 += d^4 w W (W^2 - W w + w^2) r^3 + 6 d^2 M2 (w r)^2 - 4 d M3 w r
//   M3 += d^3 W w (W - w) r^2 - 3 d M2 w r
//   M2 += d^2 W w r
//   m   = W r m + w r x   (and likewise each raw moment with x^k)
// Each line uses the central sums before their own update, hence the order.
// With unit weights w is the constant 1 and the products by it fold away.

template <class T>
struct Coefficients {
  T a, b, g, q3, q4, a2;
};

template <int L, class T>
inline Coefficients<T> one_pass_coefficients(T W, T w) {
  Coefficients<T> k;
  const T r = T(1) / (W + w);
  k.a = w * r;
  k.b = W * r;
  k.g = W * w * r;
  if constexpr (L == 3) {
    k.q4 = w * W * (W * W - W * w + w * w) * (r * r * r);
    k.q3 = W * w * (W - w) * (r * r);
    k.a2 = k.a * k.a;
  }
  return k;
}

// The running quantities of one variable: mean, raw moments 2..4, central
// sums 2..4.
template <class T>
struct Moments {
  T m, r2, r3, r4, c2, c3, c4;
};

template <int L, class T>
inline Moments<T> load(T* const* acc, int64_t i) {
  Moments<T> s{acc[0][i], 0, 0, 0, 0, 0, 0};
  if constexpr (L >= 1) s.c2 = acc[4][i];
  if constexpr (L >= 2) s.r2 = acc[1][i];
  if constexpr (L == 3) s = Moments<T>{s.m, s.r2, acc[2][i], acc[3][i], s.c2, acc[5][i], acc[6][i]};
  return s;
}

template <int L, class T>
inline void store(T* const* acc, int64_t i, const Moments<T>& s) {
  acc[0][i] = s.m;
  if constexpr (L >= 1) acc[4][i] = s.c2;
  if constexpr (L >= 2) acc[1][i] = s.r2;
  if constexpr (L == 3) {
    acc[2][i] = s.r3;
    acc[3][i] = s.r4;
    acc[5][i] = s.c3;
    acc[6][i] = s.c4;
  }
}

// Online update of one variable; returns the deviation from the old mean.
template <int L, class T>
inline T one_pass_update(Moments<T>& s, const Coefficients<T>& k, T x) {
  const T d = x - s.m;
  if constexpr (L == 3) {
    const T d2 = d * d;
    const T m2 = s.c2, m3 = s.c3;
    s.c4 += d2 * d2 * k.q4 + T(6) * d2 * m2 * k.a2 - T(4) * d * m3 * k.a;
    s.c3 += d2 * d * k.q3 - T(3) * d * m2 * k.a;
  }
  if constexpr (L >= 1) s.c2 += d * d * k.g;
  s.m = k.b * s.m + k.a * x;
  if constexpr (L >= 2) {
    const T x2 = x * x;
    s.r2 = k.b * s.r2 + k.a * x2;
    if constexpr (L == 3) {
      s.r3 = k.b * s.r3 + k.a * (x2 * x);
      s.r4 = k.b * s.r4 + k.a * (x2 * x2);
    }
  }
  return d;
}

// Rows layout without a matrix: the variables are independent and each one
// is contiguous. The coefficients depend only on the weights, so they are
// formed once per chunk of observations and replayed for every variable;
// four variables run side by side to overlap their dependency chains. The
// arithmetic per variable is exactly that of the observation-major order.
template <class T, int L, bool Weighted>
void one_pass_rows(const KernelArgs<T>& a, int64_t j0, T& W, T& W2) {
  constexpr int64_t kChunk = 256, kGroup = 4;
  Coefficients<T> k[kChunk];
  for (int64_t jb = j0; jb < a.r1; jb += kChunk) {
    const int64_t len = a.r1 - jb < kChunk ? a.r1 - jb : kChunk;
    for (int64_t j = 0; j < len; ++j) {
      const T w = weight<Weighted>(a, jb + j);
      k[j] = one_pass_coefficients<L>(W, w);
      W += w;
      W2 += w * w;
    }
    int64_t i = a.c0;
    for (; i + kGroup <= a.c1; i += kGroup) {
      Moments<T> s[kGroup];
      const T* x[kGroup];
      for (int64_t g = 0; g < kGroup; ++g) {
        s[g] = load<L>(a.acc, i + g);
        x[g] = a.x + (i + g) * a.n + jb;
      }
      for (int64_t j = 0; j < len; ++j)
        for (int64_t g = 0; g < kGroup; ++g) one_pass_update<L>(s[g], k[j], x[g][j]);
      for (int64_t g = 0; g < kGroup; ++g) store<L>(a.acc, i + g, s[g]);
    }
    for (; i < a.c1; ++i) {
      Moments<T> s = load<L>(a.acc, i);
      const T* x = a.x + i * a.n + jb;
      for (int64_t j = 0; j < len; ++j) one_pass_update<L>(s, k[j], x[j]);
      store<L>(a.acc, i, s);
    }
  }
}

template <class T, int L, bool Matrix, bool Weighted, bool Cols>
void one_pass_kernel(const KernelArgs<T>& a) {
  const int64_t j0 = first_observation<Weighted>(a);
  if (j0 >= a.r1) return;
  T W = a.sc[0], W2 = a.sc[1];
  if constexpr (!Matrix && !Cols) {
    one_pass_rows<T, L, Weighted>(a, j0, W, W2);
  } else {
    for (int64_t j = j0; j < a.r1; ++j) {
      const T w = weight<Weighted>(a, j);
      const auto k = one_pass_coefficients<L>(W, w);
      for (int64_t i = a.c0; i < a.c1; ++i) {
        Moments<T> s = load<L>(a.acc, i);
        const T d = one_pass_update<L>(s, k, at<Cols>(a, i, j));
        store<L>(a.acc, i, s);
        if constexpr (Matrix) a.d[i] = d;
      }
      if constexpr (Matrix) {
        // C += W w/(W+w) d d^T over the valid triangle.
        for (int64_t r = a.c0; r < a.c1; ++r) {
          const T gr = k.g * a.d[r];
          T* row = a.C + r * a.p;
          for (int64_t c = a.c0; c <= r; ++c) row[c] += gr * a.d[c];
        }
      }
      W += w;
      W2 += w * w;
    }
  }
  a.sc[0] = W;
  a.sc[1] = W2;
}

// ---- Raw and user-mean kernels -------------------------------------------
//
// Raw accumulators are turned back into sums (times W), receive w x^k, and
// are divided by the new W at the end. Under the user mean, accumulator 0 is
// the fixed mean, the raw ones are 1..3, and the central sums receive
// w (x - mean)^k without any scaling.

template <bool UserMean, int L>
struct Counts {
  static constexpr int raw = UserMean ? (L == 3 ? 4 : 1) : L + 1;
  static constexpr int central = UserMean ? (L == 0 ? 1 : (L == 1 ? 2 : 3)) : 0;
  static constexpr int raw_first = UserMean ? 1 : 0;
};

template <bool UserMean, int L, class T>
inline void add_powers(T* const* acc, int64_t i, T x, T w) {
  using K = Counts<UserMean, L>;
  const T x2 = x * x;
  if constexpr (K::raw_first == 0 && K::raw >= 1) acc[0][i] += w * x;
  if constexpr (K::raw >= 2) acc[1][i] += w * x2;
  if constexpr (K::raw >= 3) acc[2][i] += w * (x2 * x);
  if constexpr (K::raw >= 4) acc[3][i] += w * (x2 * x2);
  if constexpr (K::central >= 1) {
    const T d = x - acc[0][i];
    const T d2 = d * d;
    acc[4][i] += w * d2;
    if constexpr (K::central >= 2) acc[5][i] += w * (d2 * d);
    if constexpr (K::central >= 3) acc[6][i] += w * (d2 * d2);
  }
}

template <bool UserMean, int L, class T>
inline void scale_raw(const KernelArgs<T>& a, T f) {
  using K = Counts<UserMean, L>;
  for (int k = K::raw_first; k < K::raw; ++k)
    for (int64_t i = a.c0; i < a.c1; ++i) a.acc[k][i] *= f;
}

template <class T, int L, bool Weighted, bool Cols, bool UserMean>
void power_kernel(const KernelArgs<T>& a) {
  const int64_t j0 = first_observation<Weighted>(a);
  if (j0 >= a.r1) return;
  T W = a.sc[0], W2 = a.sc[1];
  if (W > T(0)) scale_raw<UserMean, L>(a, W);
  if constexpr (Cols) {
    for (int64_t j = j0; j < a.r1; ++j) {
      const T w = weight<Weighted>(a, j);
      const T* xj = a.x + j * a.p;
      for (int64_t i = a.c0; i < a.c1; ++i) add_powers<UserMean, L>(a.acc, i, xj[i], w);
    }
  } else {
    // Each variable is contiguous: keep its accumulators in locals.
    for (int64_t i = a.c0; i < a.c1; ++i) {
      T s[7];
      T* loc[7];
      for (int k = 0; k < 7; ++k) {
        s[k] = a.acc[k] != nullptr ? a.acc[k][i] : T(0);
        loc[k] = &s[k];
      }
      const T* xi = a.x + i * a.n;
      for (int64_t j = j0; j < a.r1; ++j)
        add_powers<UserMean, L>(loc, 0, xi[j], weight<Weighted>(a, j));
      using K = Counts<UserMean, L>;
      for (int k = K::raw_first; k < K::raw; ++k) a.acc[k][i] = s[k];
      for (int k = 4; k < 4 + K::central; ++k) a.acc[k][i] = s[k];
    }
  }
  for (int64_t j = j0; j < a.r1; ++j) {
    const T w = weight<Weighted>(a, j);
    W += w;
    W2 += w * w;
  }
  if (W > T(0)) scale_raw<UserMean, L>(a, T(1) / W);
  a.sc[0] = W;
  a.sc[1] = W2;
}

// ---- Tables --------------------------------------------------------------

template <class T, int N>
struct KernelTable {
  Kernel<T> k[N];
};

// One-pass index: 2L + m + 8w + 16c.
template <class T, size_t... I>
constexpr KernelTable<T, 32> make_one_pass_table(std::index_sequence<I...>) {
  return {{&one_pass_kernel<T, (I >> 1) & 3, (I & 1) != 0, ((I >> 3) & 1) != 0, (I >> 4) != 0>...}};
}
// Raw and user-mean index: L + 4w + 8c.
template <class T, bool UserMean, size_t... I>
constexpr KernelTable<T, 16> make_power_table(std::index_sequence<I...>) {
  return {{&power_kernel<T, I & 3, ((I >> 2) & 1) != 0, (I >> 3) != 0, UserMean>...}};
}

template <class T>
inline constexpr KernelTable<T, 32> kOnePassTable =
    make_one_pass_table<T>(std::make_index_sequence<32>{});
template <class T>
inline constexpr KernelTable<T, 16> kRawTable =
    make_power_table<T, false>(std::make_index_sequence<16>{});
template <class T>
inline constexpr KernelTable<T, 16> kUserMeanTable =
    make_power_table<T, true>(std::make_index_sequence<16>{});

}  // namespace nex::stats
