// Sparse vector kernels, single and double complex. One element per step, in
// the order of i, no unrolling.
//   axpyi: yr = (ar xr - ai xi) + yr, then yi = (ai xr + ar xi) + yi, each in
//     extended precision with unrounded products, rounded only by the stores;
//     the real part of y is stored first.
//   cdotci, cdotui: two running sums in float, real and imaginary. For dotci
//     the imaginary part of x is first negated (subtracted from zero). Each
//     element's real term is (xr yr) - (xi yi) and imaginary term
//     (xi yr) + (xr yi), every product and sum rounded to float, then added to
//     its running sum, rounded to float.
//   zdotci, zdotui: the same form with extended-precision terms and sums,
//     stored at the end as two doubles.
//   gthr, gthrz, sctr: elements move as integer words, so every bit pattern
//     (NaN payloads too) survives; gthrz clears y's element in the same step.
#include <cstdint>
#include <cstring>

#include "level1/sparse_kernels.h"

namespace tav {

namespace {

// A complex element as two integer words of the width of its parts.
template <class W>
struct Words {
  W re, im;
};

template <class T, class W>
void gthr(int nz, const T *y, T *x, const int *indx) {
  for (int i = 0; i < nz; ++i) std::memcpy(x + 2 * i, y + 2 * (indx[i] - 1), sizeof(Words<W>));
}

template <class T, class W>
void gthrz(int nz, T *y, T *x, const int *indx) {
  const Words<W> zero{0, 0};
  for (int i = 0; i < nz; ++i) {
    T *yj = y + 2 * (indx[i] - 1);
    Words<W> v;
    std::memcpy(&v, yj, sizeof v);
    std::memcpy(x + 2 * i, &v, sizeof v);
    std::memcpy(yj, &zero, sizeof zero);
  }
}

template <class T, class W>
void sctr(int nz, const T *x, const int *indx, T *y) {
  for (int i = 0; i < nz; ++i) std::memcpy(y + 2 * (indx[i] - 1), x + 2 * i, sizeof(Words<W>));
}

template <class T>
void axpyi(int nz, const T *a, const T *x, const int *indx, T *y) {
  const xreal ar = a[0], ai = a[1];
  for (int i = 0; i < nz; ++i) {
    T *yj = y + 2 * (indx[i] - 1);
    const xreal xr = x[2 * i], xi = x[2 * i + 1];
    yj[0] = (T)((ar * xr - ai * xi) + (xreal)yj[0]);
    yj[1] = (T)((ai * xr + ar * xi) + (xreal)yj[1]);
  }
}

}  // namespace

void caxpyi_kernel(int nz, const float *a, const float *x, const int *indx, float *y) { axpyi(nz, a, x, indx, y); }
void zaxpyi_kernel(int nz, const double *a, const double *x, const int *indx, double *y) {
  axpyi(nz, a, x, indx, y);
}

void cdoti_kernel(bool conj_x, int nz, const float *x, const int *indx, const float *y, float *result) {
  float sum_re = 0, sum_im = 0;
  for (int i = 0; i < nz; ++i) {
    const float *yj = y + 2 * (indx[i] - 1);
    const float xr = x[2 * i];
    const float xi = conj_x ? 0.0f - x[2 * i + 1] : x[2 * i + 1];
    const float yr = yj[0], yi = yj[1];
    sum_re = sum_re + (xr * yr - xi * yi);
    sum_im = sum_im + (xi * yr + xr * yi);
  }
  result[0] = sum_re;
  result[1] = sum_im;
}

void zdoti_kernel(bool conj_x, int nz, const double *x, const int *indx, const double *y, double *result) {
  xreal sum_re = 0, sum_im = 0;
  for (int i = 0; i < nz; ++i) {
    const double *yj = y + 2 * (indx[i] - 1);
    const xreal xr = x[2 * i];
    const xreal xi = conj_x ? (xreal)0 - (xreal)x[2 * i + 1] : (xreal)x[2 * i + 1];
    const xreal yr = yj[0], yi = yj[1];
    sum_re += xr * yr - xi * yi;
    sum_im += xi * yr + xr * yi;
  }
  result[0] = (double)sum_re;
  result[1] = (double)sum_im;
}

void cgthr_kernel(int nz, const float *y, float *x, const int *indx) { gthr<float, std::uint32_t>(nz, y, x, indx); }
void zgthr_kernel(int nz, const double *y, double *x, const int *indx) {
  gthr<double, std::uint64_t>(nz, y, x, indx);
}
void cgthrz_kernel(int nz, float *y, float *x, const int *indx) { gthrz<float, std::uint32_t>(nz, y, x, indx); }
void zgthrz_kernel(int nz, double *y, double *x, const int *indx) { gthrz<double, std::uint64_t>(nz, y, x, indx); }
void csctr_kernel(int nz, const float *x, const int *indx, float *y) { sctr<float, std::uint32_t>(nz, x, indx, y); }
void zsctr_kernel(int nz, const double *x, const int *indx, double *y) {
  sctr<double, std::uint64_t>(nz, x, indx, y);
}

}  // namespace tav
