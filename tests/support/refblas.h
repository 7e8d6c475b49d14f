#pragma once
// The reference BLAS as an oracle, loaded by explicit path and looked up by
// Fortran name ("sdot_"). Tests that need it skip when it is missing.

#include <dlfcn.h>

#include <complex>
#include <string>

namespace tavtest {

class RefBlas {
 public:
  static RefBlas &get() {
    static RefBlas instance;
    return instance;
  }
  bool loaded() const { return handle_ != nullptr; }

  // Returns the routine `name` (Fortran symbol, with trailing underscore) as F.
  template <class F>
  F fn(const char *name) const {
    return handle_ ? reinterpret_cast<F>(dlsym(handle_, name)) : nullptr;
  }

 private:
  RefBlas() { handle_ = dlopen(TAV_REFBLAS_PATH, RTLD_NOW | RTLD_LOCAL); }
  void *handle_ = nullptr;
};

}  // namespace tavtest

#define TAV_REQUIRE_REFBLAS()                                                  \
  do {                                                                         \
    if (!::tavtest::RefBlas::get().loaded())                                   \
      GTEST_SKIP() << "reference BLAS not found at " TAV_REFBLAS_PATH;         \
  } while (0)
