// GSL as a test oracle, loaded at run time: the 64-bit host has GSL's
// run-time library but no link-time development files, so the few entries
// the tests use are looked up with dlopen. Tests skip when it is absent.
#pragma once

#include <dlfcn.h>
#include <gsl/gsl_interp.h>
#include <gsl/gsl_spline.h>
#include <gsl/gsl_vector.h>

namespace fittest {

struct Gsl {
  void* handle = nullptr;
  gsl_spline* (*spline_alloc)(const gsl_interp_type*, size_t) = nullptr;
  int (*spline_init)(gsl_spline*, const double*, const double*, size_t) = nullptr;
  double (*spline_eval)(const gsl_spline*, double, gsl_interp_accel*) = nullptr;
  double (*spline_eval_deriv2)(const gsl_spline*, double, gsl_interp_accel*) = nullptr;
  double (*spline_eval_integ)(const gsl_spline*, double, double, gsl_interp_accel*) = nullptr;
  void (*spline_free)(gsl_spline*) = nullptr;
  gsl_interp_accel* (*accel_alloc)() = nullptr;
  void (*accel_free)(gsl_interp_accel*) = nullptr;
  int (*solve_tridiag)(const gsl_vector*, const gsl_vector*, const gsl_vector*, const gsl_vector*,
                       gsl_vector*) = nullptr;
  const gsl_interp_type* cspline = nullptr;
  const gsl_interp_type* cspline_periodic = nullptr;
  const gsl_interp_type* akima = nullptr;
  const gsl_interp_type* steffen = nullptr;

  static const Gsl& get() {
    static const Gsl g = load();
    return g;
  }
  bool ok() const { return handle != nullptr; }

 private:
  template <class F>
  static void sym(void* h, F& f, const char* name) {
    f = reinterpret_cast<F>(dlsym(h, name));
  }
  static const gsl_interp_type* type(void* h, const char* name) {
    auto** p = static_cast<const gsl_interp_type**>(dlsym(h, name));
    return p ? *p : nullptr;
  }
  static Gsl load() {
    Gsl g;
    void* cblas = dlopen("libgslcblas.so.0", RTLD_NOW | RTLD_GLOBAL);
    (void)cblas;
    void* h = dlopen("libgsl.so.27", RTLD_NOW);
    if (h == nullptr) h = dlopen("libgsl.so", RTLD_NOW);
    if (h == nullptr) return g;
    sym(h, g.spline_alloc, "gsl_spline_alloc");
    sym(h, g.spline_init, "gsl_spline_init");
    sym(h, g.spline_eval, "gsl_spline_eval");
    sym(h, g.spline_eval_deriv2, "gsl_spline_eval_deriv2");
    sym(h, g.spline_eval_integ, "gsl_spline_eval_integ");
    sym(h, g.spline_free, "gsl_spline_free");
    sym(h, g.accel_alloc, "gsl_interp_accel_alloc");
    sym(h, g.accel_free, "gsl_interp_accel_free");
    sym(h, g.solve_tridiag, "gsl_linalg_solve_tridiag");
    g.cspline = type(h, "gsl_interp_cspline");
    g.cspline_periodic = type(h, "gsl_interp_cspline_periodic");
    g.akima = type(h, "gsl_interp_akima");
    g.steffen = type(h, "gsl_interp_steffen");
    void (*off)() = nullptr;
    sym(h, off, "gsl_set_error_handler_off");
    if (off) off();
    if (g.spline_alloc && g.spline_init && g.spline_eval && g.spline_free && g.solve_tridiag &&
        g.cspline && g.akima && g.steffen && g.cspline_periodic && g.spline_eval_integ)
      g.handle = h;
    return g;
  }
};

// A vector view over caller memory, built without GSL's view functions.
inline gsl_vector vector_over(const double* p, size_t n) {
  gsl_vector v;
  v.size = n;
  v.stride = 1;
  v.data = const_cast<double*>(p);
  v.block = nullptr;
  v.owner = 0;
  return v;
}

}  // namespace fittest
