#pragma once
// Kernels of the single-precision vector routines. Each routine's front
// (single_front.cpp) decides the path from the strides; these do the work.

#include "frame/xreal.h"

namespace tav {

// Dot product.
xreal sdot_unit(int n, const float *x, const float *y);
xreal sdot_xunit(int n, const float *x, const float *y, int incy);  // x contiguous
xreal sdot_yunit(int n, const float *x, int incx, const float *y);  // y contiguous
xreal sdot_general(int n, const float *x, int incx, const float *y, int incy);

// y := alpha * x + y.
void saxpy_unit(int n, float alpha, const float *x, float *y);
void saxpy_yunit(int n, float alpha, const float *x, int incx, float *y);
void saxpy_general(int n, float alpha, const float *x, int incx, float *y, int incy);

// Sum of absolute values; `inc` is the absolute stride, walked from x upward.
xreal sasum_unit(int n, const float *x);
xreal sasum_stride(int n, const float *x, int inc);

// Sum of squares (the caller takes the square root).
xreal snrm2_unit(int n, const float *x);
xreal snrm2_general(int n, const float *x, int incx);

// x := alpha * x; `inc` is the absolute stride, walked from x upward.
void sscal_unit(int n, float alpha, float *x);
void sscal_stride(int n, float alpha, float *x, int inc);

// Copy and swap.
void scopy_unit(int n, const float *x, float *y);
void scopy_general(int n, const float *x, int incx, float *y, int incy);
void sswap_unit(int n, float *x, float *y);
void sswap_general(int n, float *x, int incx, float *y, int incy);

// Position (from 1) of the largest / smallest magnitude.
int isamax_unit(int n, const float *x);
int isamax_general(int n, const float *x, int incx);
int isamin_unit(int n, const float *x);
int isamin_general(int n, const float *x, int incx);

}  // namespace tav
