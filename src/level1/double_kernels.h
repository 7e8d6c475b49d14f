#pragma once
// Kernels of the double-precision vector routines. Each routine's front
// (double_front.cpp) decides the path from the strides; these do the work.
// Sums are returned in extended precision; the front rounds them to double.

#include "frame/xreal.h"

namespace tav {

// Dot product. The unit kernel walks both vectors upward from the given
// addresses (equal strides of -1 pair the same elements).
xreal ddot_unit(int n, const double *x, const double *y);
xreal ddot_general(int n, const double *x, int incx, const double *y, int incy);

// y := alpha * x + y.
void daxpy_unit(int n, double alpha, const double *x, double *y);
void daxpy_general(int n, double alpha, const double *x, int incx, double *y, int incy);

// Sum of absolute values.
xreal dasum_unit(int n, const double *x);
xreal dasum_general(int n, const double *x, int incx);

// Sum of squares (the front takes the square root).
xreal dnrm2_unit(int n, const double *x);
xreal dnrm2_general(int n, const double *x, int incx);

// x := alpha * x.
void dscal_unit(int n, double alpha, double *x);
void dscal_general(int n, double alpha, double *x, int incx);

// Copy and swap.
void dcopy_unit(int n, const double *x, double *y);
void dcopy_general(int n, const double *x, int incx, double *y, int incy);
void dswap_unit(int n, double *x, double *y);
void dswap_general(int n, double *x, int incx, double *y, int incy);

// Position (from 1) of the largest / smallest magnitude; n >= 2.
int idamax_unit(int n, const double *x);
int idamax_general(int n, const double *x, int incx);
int idamin_unit(int n, const double *x);
int idamin_general(int n, const double *x, int incx);

}  // namespace tav
