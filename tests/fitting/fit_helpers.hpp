// Shared helpers of the fitting tests: a task with owned data, built and
// evaluated in either precision.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "nex_core.h"
#include "nex_fit.h"

namespace fittest {

template <class T>
struct Api;

template <>
struct Api<double> {
  static constexpr auto new_task = nex_df_kernel_dNewTask1D;
  static constexpr auto edit_pp = nex_df_kernel_dEditPPSpline1D;
  static constexpr auto edit_ptr = nex_df_kernel_dEditPtr;
  static constexpr auto edit_idx = nex_df_kernel_dEditIdxPtr;
  static constexpr auto query_ptr = nex_df_kernel_dQueryPtr;
  static constexpr auto query_idx = nex_df_kernel_dQueryIdxPtr;
  static constexpr auto linear = nex_df_kernel_dDFLinearSpline1D;
  static constexpr auto quadratic = nex_df_kernel_dDFQuadraticSpline1D;
  static constexpr auto default_cubic = nex_df_kernel_dDFDefaultCubicSpline1D;
  static constexpr auto natural = nex_df_kernel_dDFNaturalCubicSpline1D;
  static constexpr auto hermite = nex_df_kernel_dDFHermiteCubicSpline1D;
  static constexpr auto bessel = nex_df_kernel_dDFBesselCubicSpline1D;
  static constexpr auto hyman = nex_df_kernel_dDFHymanCubicSpline1D;
  static constexpr auto akima = nex_df_kernel_dDFAkimaCubicSpline1D;
  static constexpr auto search = nex_df_kernel_dDFSearch1D;
  static constexpr auto interpolate = nex_df_kernel_dDFInterpolate1D;
  static constexpr auto integrate = nex_df_kernel_dDFIntegrate1D;
  static constexpr double eps = 2.220446049250313e-16;
};

template <>
struct Api<float> {
  static constexpr auto new_task = nex_df_kernel_sNewTask1D;
  static constexpr auto edit_pp = nex_df_kernel_sEditPPSpline1D;
  static constexpr auto edit_ptr = nex_df_kernel_sEditPtr;
  static constexpr auto edit_idx = nex_df_kernel_sEditIdxPtr;
  static constexpr auto query_ptr = nex_df_kernel_sQueryPtr;
  static constexpr auto query_idx = nex_df_kernel_sQueryIdxPtr;
  static constexpr auto linear = nex_df_kernel_sDFLinearSpline1D;
  static constexpr auto quadratic = nex_df_kernel_sDFQuadraticSpline1D;
  static constexpr auto default_cubic = nex_df_kernel_sDFDefaultCubicSpline1D;
  static constexpr auto natural = nex_df_kernel_sDFNaturalCubicSpline1D;
  static constexpr auto hermite = nex_df_kernel_sDFHermiteCubicSpline1D;
  static constexpr auto bessel = nex_df_kernel_sDFBesselCubicSpline1D;
  static constexpr auto hyman = nex_df_kernel_sDFHymanCubicSpline1D;
  static constexpr auto akima = nex_df_kernel_sDFAkimaCubicSpline1D;
  static constexpr auto search = nex_df_kernel_sDFSearch1D;
  static constexpr auto interpolate = nex_df_kernel_sDFInterpolate1D;
  static constexpr auto integrate = nex_df_kernel_sDFIntegrate1D;
  static constexpr double eps = 1.1920928955078125e-07;
};

// Sorted partition with cells of length in [0.5, 1.5) * h, fixed seed.
inline std::vector<double> partition(int64_t nx, double a, double b, unsigned seed) {
  std::vector<double> x(nx);
  uint64_t state = 0x9E3779B97F4A7C15ull ^ seed;
  auto next = [&] {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return static_cast<double>(state >> 11) * 0x1.0p-53;
  };
  std::vector<double> w(nx - 1);
  double total = 0;
  for (auto& v : w) total += (v = 0.5 + next());
  x[0] = a;
  double acc = 0;
  for (int64_t i = 1; i < nx - 1; ++i) x[i] = a + (b - a) * ((acc += w[i - 1]) / total);
  x[nx - 1] = b;
  return x;
}

// Fixed-seed uniform numbers in [a, b).
inline std::vector<double> uniform(int64_t n, double a, double b, unsigned seed) {
  std::vector<double> v(n);
  uint64_t state = 0xD1B54A32D192ED03ull ^ (seed * 0x9E3779B97F4A7C15ull);
  for (auto& e : v) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    e = a + (b - a) * static_cast<double>(state >> 11) * 0x1.0p-53;
  }
  return v;
}

template <class T>
std::vector<T> cast(const std::vector<double>& v) {
  return std::vector<T>(v.begin(), v.end());
}

// A task over owned copies of x and y (ny functions, rows).
template <class T>
struct Fit {
  std::vector<T> x, y, coeff, bc, ic;
  int64_t nx = 0, ny = 1;
  DfTask* task = nullptr;
  Fit() = default;
  Fit(const Fit&) = delete;
  ~Fit() {
    if (task) nex_df_kernel_DeleteTask(&task);
  }
  // yhint 16 rows or 32 columns; values f(i, function).
  int make(const std::vector<T>& xs, int64_t nxv, int64_t nyv,
           const std::function<double(int64_t, int64_t)>& value, int64_t xhint = 1,
           int64_t yhint = FIT_MATRIX_STORAGE_ROWS) {
    x = xs;
    nx = nxv;
    ny = nyv;
    y.assign(nx * ny, T(0));
    for (int64_t f = 0; f < ny; ++f)
      for (int64_t i = 0; i < nx; ++i)
        y[yhint == FIT_MATRIX_STORAGE_COLS ? i * ny + f : f * nx + i] = static_cast<T>(value(i, f));
    return Api<T>::new_task(&task, nx, x.data(), xhint, ny, y.data(), yhint, 0);
  }
  int spline(int64_t order, int64_t type, int64_t bc_type, std::vector<T> bcv = {},
             int64_t ic_type = 0, std::vector<T> icv = {}) {
    bc = std::move(bcv);
    ic = std::move(icv);
    const int64_t cells = type == FIT_PP_KNOTS_QUADRATIC ? nx : nx - 1;
    coeff.assign(order * cells * ny, T(-777));
    return Api<T>::edit_pp(task, order, type, bc_type, bc.empty() ? nullptr : bc.data(), ic_type,
                           ic.empty() ? nullptr : ic.data(), coeff.data(), FIT_MATRIX_STORAGE_ROWS);
  }
  std::vector<T> eval(const std::vector<T>& sites, std::vector<int64_t> dorder = {},
                      int* status = nullptr) {
    const int64_t nd =
        dorder.empty() ? 1
                       : std::count_if(dorder.begin(), dorder.end(), [](int64_t v) { return v; });
    std::vector<T> r(sites.size() * ny * nd, T(-999));
    const int st =
        Api<T>::interpolate(task, sites.size(), sites.data(), 0, nullptr, dorder.size(),
                            dorder.empty() ? nullptr : dorder.data(), r.data(), 0, nullptr, 0,
                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    if (status) *status = st;
    return r;
  }
  std::vector<T> integral(const std::vector<T>& a, const std::vector<T>& b, int* status = nullptr) {
    std::vector<T> r(a.size() * ny, T(-999));
    const int st =
        Api<T>::integrate(task, a.size(), a.data(), 0, b.data(), 0, nullptr, nullptr, r.data(), 0,
                          nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    if (status) *status = st;
    return r;
  }
};

}  // namespace fittest
