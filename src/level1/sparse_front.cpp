// Exported sparse vector routines: read the scalars through their addresses,
// take the quick returns and call the kernel. nz below 1 returns at once (dot
// products give 0, complex ones store (0, 0)). A scalar a of axpyi, and c of
// roti, count as equal to 0 (resp. 1) unless they compare less or greater, so
// a NaN takes the quick return too.
#include "frame/export.h"
#include "level1/sparse_kernels.h"
#include "tav_q7.h"

namespace {

template <class T>
bool equals_or_nan(T v, T target) {
  return !(v < target || v > target);
}

inline const float *parts(const tav_complex8 *p) { return reinterpret_cast<const float *>(p); }
inline float *parts(tav_complex8 *p) { return reinterpret_cast<float *>(p); }
inline const double *parts(const tav_complex16 *p) { return reinterpret_cast<const double *>(p); }
inline double *parts(tav_complex16 *p) { return reinterpret_cast<double *>(p); }

// The real part is looked at first; the imaginary one only if it was "zero".
template <class C>
bool complex_zero_or_nan(const C &a) {
  return equals_or_nan(a.re, decltype(a.re)(0)) && equals_or_nan(a.im, decltype(a.im)(0));
}

template <class T>
bool identity_rotation(T c, T s) {
  return equals_or_nan(c, T(1)) && s == T(0);
}

}  // namespace

// ---- axpyi ----

TAV_EXPORT void tav_saxpyi(const int *nz, const float *a, const float *x, const int *indx, float *y) {
  if (*nz < 1 || equals_or_nan(*a, 0.0f)) return;
  tav::saxpyi_kernel(*nz, *a, x, indx, y);
}

TAV_EXPORT void tav_daxpyi(const int *nz, const double *a, const double *x, const int *indx, double *y) {
  if (*nz < 1 || equals_or_nan(*a, 0.0)) return;
  tav::daxpyi_kernel(*nz, *a, x, indx, y);
}

TAV_EXPORT void tav_caxpyi(const int *nz, const tav_complex8 *a, const tav_complex8 *x, const int *indx,
                           tav_complex8 *y) {
  if (*nz < 1 || complex_zero_or_nan(*a)) return;
  tav::caxpyi_kernel(*nz, parts(a), parts(x), indx, parts(y));
}

TAV_EXPORT void tav_zaxpyi(const int *nz, const tav_complex16 *a, const tav_complex16 *x, const int *indx,
                           tav_complex16 *y) {
  if (*nz < 1 || complex_zero_or_nan(*a)) return;
  tav::zaxpyi_kernel(*nz, parts(a), parts(x), indx, parts(y));
}

// ---- dot products ----

TAV_EXPORT float tav_sdoti(const int *nz, const float *x, const int *indx, const float *y) {
  return *nz < 1 ? 0.0f : tav::sdoti_kernel(*nz, x, indx, y);
}

TAV_EXPORT double tav_ddoti(const int *nz, const double *x, const int *indx, const double *y) {
  return *nz < 1 ? 0.0 : (double)tav::ddoti_kernel(*nz, x, indx, y);
}

namespace {
template <class C, class Kernel>
void complex_doti(C *result, const int *nz, const C *x, const int *indx, const C *y, bool conj_x,
                  Kernel kernel) {
  if (*nz < 1) {
    result->re = 0;
    result->im = 0;
    return;
  }
  kernel(conj_x, *nz, parts(x), indx, parts(y), parts(result));
}
}  // namespace

TAV_EXPORT void tav_cdotci(tav_complex8 *result, const int *nz, const tav_complex8 *x, const int *indx,
                           const tav_complex8 *y) {
  complex_doti(result, nz, x, indx, y, true, tav::cdoti_kernel);
}

TAV_EXPORT void tav_cdotui(tav_complex8 *result, const int *nz, const tav_complex8 *x, const int *indx,
                           const tav_complex8 *y) {
  complex_doti(result, nz, x, indx, y, false, tav::cdoti_kernel);
}

TAV_EXPORT void tav_zdotci(tav_complex16 *result, const int *nz, const tav_complex16 *x, const int *indx,
                           const tav_complex16 *y) {
  complex_doti(result, nz, x, indx, y, true, tav::zdoti_kernel);
}

TAV_EXPORT void tav_zdotui(tav_complex16 *result, const int *nz, const tav_complex16 *x, const int *indx,
                           const tav_complex16 *y) {
  complex_doti(result, nz, x, indx, y, false, tav::zdoti_kernel);
}

// ---- gathers and scatters (the gathers take the dense y second) ----

TAV_EXPORT void tav_sgthr(const int *nz, const float *y, float *x, const int *indx) {
  if (*nz >= 1) tav::sgthr_kernel(*nz, y, x, indx);
}
TAV_EXPORT void tav_dgthr(const int *nz, const double *y, double *x, const int *indx) {
  if (*nz >= 1) tav::dgthr_kernel(*nz, y, x, indx);
}
TAV_EXPORT void tav_cgthr(const int *nz, const tav_complex8 *y, tav_complex8 *x, const int *indx) {
  if (*nz >= 1) tav::cgthr_kernel(*nz, parts(y), parts(x), indx);
}
TAV_EXPORT void tav_zgthr(const int *nz, const tav_complex16 *y, tav_complex16 *x, const int *indx) {
  if (*nz >= 1) tav::zgthr_kernel(*nz, parts(y), parts(x), indx);
}

TAV_EXPORT void tav_sgthrz(const int *nz, float *y, float *x, const int *indx) {
  if (*nz >= 1) tav::sgthrz_kernel(*nz, y, x, indx);
}
TAV_EXPORT void tav_dgthrz(const int *nz, double *y, double *x, const int *indx) {
  if (*nz >= 1) tav::dgthrz_kernel(*nz, y, x, indx);
}
TAV_EXPORT void tav_cgthrz(const int *nz, tav_complex8 *y, tav_complex8 *x, const int *indx) {
  if (*nz >= 1) tav::cgthrz_kernel(*nz, parts(y), parts(x), indx);
}
TAV_EXPORT void tav_zgthrz(const int *nz, tav_complex16 *y, tav_complex16 *x, const int *indx) {
  if (*nz >= 1) tav::zgthrz_kernel(*nz, parts(y), parts(x), indx);
}

TAV_EXPORT void tav_ssctr(const int *nz, const float *x, const int *indx, float *y) {
  if (*nz >= 1) tav::ssctr_kernel(*nz, x, indx, y);
}
TAV_EXPORT void tav_dsctr(const int *nz, const double *x, const int *indx, double *y) {
  if (*nz >= 1) tav::dsctr_kernel(*nz, x, indx, y);
}
TAV_EXPORT void tav_csctr(const int *nz, const tav_complex8 *x, const int *indx, tav_complex8 *y) {
  if (*nz >= 1) tav::csctr_kernel(*nz, parts(x), indx, parts(y));
}
TAV_EXPORT void tav_zsctr(const int *nz, const tav_complex16 *x, const int *indx, tav_complex16 *y) {
  if (*nz >= 1) tav::zsctr_kernel(*nz, parts(x), indx, parts(y));
}

// ---- rotations ----

TAV_EXPORT void tav_sroti(const int *nz, float *x, const int *indx, float *y, const float *c, const float *s) {
  if (*nz < 1 || identity_rotation(*c, *s)) return;
  tav::sroti_kernel(*nz, x, indx, y, *c, *s);
}

TAV_EXPORT void tav_droti(const int *nz, double *x, const int *indx, double *y, const double *c,
                          const double *s) {
  if (*nz < 1 || identity_rotation(*c, *s)) return;
  tav::droti_kernel(*nz, x, indx, y, *c, *s);
}
