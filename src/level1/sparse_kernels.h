#pragma once
// Kernels of the sparse vector routines. A sparse vector is nz values x[i]
// with one-based positions indx[i] in a dense vector y. Every kernel walks i
// from 0 to nz - 1 in order, one element's step finished before the next one
// reads (so repeated positions act as a sequence of single-element calls).
// Complex vectors are interleaved (re, im) pairs; the fronts in
// sparse_front.cpp take the quick returns.

#include "frame/xreal.h"

namespace tav {

// y[indx[i] - 1] += a * x[i]; nz >= 1, a not zero.
void saxpyi_kernel(int nz, float a, const float *x, const int *indx, float *y);
void daxpyi_kernel(int nz, double a, const double *x, const int *indx, double *y);
void caxpyi_kernel(int nz, const float *a, const float *x, const int *indx, float *y);
void zaxpyi_kernel(int nz, const double *a, const double *x, const int *indx, double *y);

// Sums of x[i] * y[indx[i] - 1]; nz >= 1. sdoti's sum is rounded to float
// after each element, and is returned as such.
float sdoti_kernel(int nz, const float *x, const int *indx, const float *y);
xreal ddoti_kernel(int nz, const double *x, const int *indx, const double *y);
// Complex sums through `result` (re, im); conj_x takes conj(x[i]).
void cdoti_kernel(bool conj_x, int nz, const float *x, const int *indx, const float *y, float *result);
void zdoti_kernel(bool conj_x, int nz, const double *x, const int *indx, const double *y, double *result);

// Gather x[i] = y[indx[i] - 1]; with zeroing, y[indx[i] - 1] = 0 at once.
void sgthr_kernel(int nz, const float *y, float *x, const int *indx);
void dgthr_kernel(int nz, const double *y, double *x, const int *indx);
void cgthr_kernel(int nz, const float *y, float *x, const int *indx);
void zgthr_kernel(int nz, const double *y, double *x, const int *indx);
void sgthrz_kernel(int nz, float *y, float *x, const int *indx);
void dgthrz_kernel(int nz, double *y, double *x, const int *indx);
void cgthrz_kernel(int nz, float *y, float *x, const int *indx);
void zgthrz_kernel(int nz, double *y, double *x, const int *indx);

// Scatter y[indx[i] - 1] = x[i].
void ssctr_kernel(int nz, const float *x, const int *indx, float *y);
void dsctr_kernel(int nz, const double *x, const int *indx, double *y);
void csctr_kernel(int nz, const float *x, const int *indx, float *y);
void zsctr_kernel(int nz, const double *x, const int *indx, double *y);

// Rotation of the pairs (x[i], y[indx[i] - 1]).
void sroti_kernel(int nz, float *x, const int *indx, float *y, float c, float s);
void droti_kernel(int nz, double *x, const int *indx, double *y, double c, double s);

}  // namespace tav
