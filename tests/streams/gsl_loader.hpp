// GSL's generators as an oracle, loaded at run time: the shared library is
// present for both targets, while its link-time files may not be.
#pragma once

#include <dlfcn.h>

#include <cstdint>

namespace nex_test {

class GslRng {
 public:
  // `type_symbol` names a generator type variable, e.g. "gsl_rng_r250".
  explicit GslRng(const char* type_symbol, unsigned long seed) {
    lib_ = dlopen("libgsl.so.27", RTLD_NOW | RTLD_LOCAL);
    if (lib_ == nullptr) lib_ = dlopen("libgsl.so", RTLD_NOW | RTLD_LOCAL);
    if (lib_ == nullptr) return;
    auto type = reinterpret_cast<const void**>(dlsym(lib_, type_symbol));
    alloc_ = reinterpret_cast<void* (*)(const void*)>(dlsym(lib_, "gsl_rng_alloc"));
    set_ = reinterpret_cast<void (*)(void*, unsigned long)>(dlsym(lib_, "gsl_rng_set"));
    get_ = reinterpret_cast<unsigned long (*)(void*)>(dlsym(lib_, "gsl_rng_get"));
    free_ = reinterpret_cast<void (*)(void*)>(dlsym(lib_, "gsl_rng_free"));
    if (type == nullptr || alloc_ == nullptr || set_ == nullptr || get_ == nullptr ||
        free_ == nullptr)
      return;
    rng_ = alloc_(*type);
    if (rng_ != nullptr) set_(rng_, seed);
  }
  ~GslRng() {
    if (rng_ != nullptr) free_(rng_);
    if (lib_ != nullptr) dlclose(lib_);
  }
  GslRng(const GslRng&) = delete;
  GslRng& operator=(const GslRng&) = delete;

  bool ok() const { return rng_ != nullptr; }
  unsigned long get() { return get_(rng_); }

 private:
  void* lib_ = nullptr;
  void* rng_ = nullptr;
  void* (*alloc_)(const void*) = nullptr;
  void (*set_)(void*, unsigned long) = nullptr;
  unsigned long (*get_)(void*) = nullptr;
  void (*free_)(void*) = nullptr;
};

}  // namespace nex_test
