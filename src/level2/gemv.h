#pragma once
// General matrix-vector product: the shape kernels and the beta pass behind
// tav_sgemv, tav_dgemv, tav_cgemv and tav_zgemv.
//
// The fronts cut the rows of A into panels of gemv_panel_rows and hand each
// panel to one shape kernel; the 1 to 63 rows left over go to the tail
// kernel. Panel kernels work on exactly gemv_panel_rows rows, with `a`, `x`
// and `y` already pointing at the panel; the unit kernels take no strides.
//   _n_  plain shape: updates the panel's piece of y from all n columns
//   _t_  transposed:  updates y[0..n) from the panel's rows and piece of x
//   _c_  conjugate-transposed (complex only)

#include <xmmintrin.h>

#include <cstddef>
#include <cstdint>

#include "tav_q7.h"

namespace tav {

constexpr int gemv_panel_rows = 64;

// The family's comparison with 0 and 1: neither below nor above, so that a NaN
// takes the zero or the one path.
template <class R>
inline bool equals_or_nan(R value, R constant) {
  return !(value < constant) && !(value > constant);
}

// Where a shape kernel prefetches its columns of A: every `step` rows while
// the row is below `end`, `ahead` bytes past the row's address.
struct prefetch_plan {
  int step, end, ahead;
};

// Prefetch addresses may lie past the caller's arrays (a prefetch never
// faults), so they are formed as plain numbers.
template <_mm_hint hint = _MM_HINT_NTA>
inline void prefetch_at(const void *base, std::ptrdiff_t bytes) {
  _mm_prefetch(reinterpret_cast<const char *>(reinterpret_cast<std::uintptr_t>(base) + bytes), hint);
}

template <_mm_hint hint = _MM_HINT_NTA>
inline void prefetch_row(const void *row, int ahead) {
  prefetch_at<hint>(row, ahead);
}

// Besides those, a panel kernel fetches the same rows of the columns
// gemv_lookahead_columns further on into cache: a panel walks A in short runs
// a leading dimension apart, which the in-column distances above and the
// hardware's stream detection cover poorly once A comes from main memory.
constexpr int gemv_lookahead_columns = 8;

template <int columns, class T>
inline void prefetch_lookahead(const T *row_of_first_column, std::ptrdiff_t lda) {
  for (int c = 0; c < columns; ++c)
    prefetch_at<_MM_HINT_T0>(row_of_first_column, (c + gemv_lookahead_columns) * lda * std::ptrdiff_t(sizeof(T)));
}

// y := beta * y over len elements walked by incy from y (already at the
// first logical element). beta 1 (or NaN) is the caller's business.
void sgemv_beta(const int *len, const float *beta, float *y, const int *incy);
void dgemv_beta(const int *len, const double *beta, double *y, const int *incy);
void cgemv_beta(const int *len, const tav_complex8 *beta, tav_complex8 *y, const int *incy);
void zgemv_beta(const int *len, const tav_complex16 *beta, tav_complex16 *y, const int *incy);

// ---- single real ----
void sgemv_n_unit(const int *n, const float *alpha, const float *a, const int *lda, const float *x,
                  float *y);
void sgemv_n_strided(const int *n, const float *alpha, const float *a, const int *lda, const float *x,
                     const int *incx, float *y, const int *incy);
void sgemv_t_unit(const int *n, const float *alpha, const float *a, const int *lda, const float *x,
                  float *y);
void sgemv_t_strided(const int *n, const float *alpha, const float *a, const int *lda, const float *x,
                     const int *incx, float *y, const int *incy);
void sgemv_tail(const char *trans, const int *m, const int *n, const float *alpha, const float *a,
                const int *lda, const float *x, const int *incx, float *y, const int *incy);

// ---- double real ----
void dgemv_n_unit(const int *n, const double *alpha, const double *a, const int *lda, const double *x,
                  double *y);
void dgemv_n_strided(const int *n, const double *alpha, const double *a, const int *lda,
                     const double *x, const int *incx, double *y, const int *incy);
void dgemv_t_unit(const int *n, const double *alpha, const double *a, const int *lda, const double *x,
                  double *y);
void dgemv_t_strided(const int *n, const double *alpha, const double *a, const int *lda,
                     const double *x, const int *incx, double *y, const int *incy);
void dgemv_tail(const char *trans, const int *m, const int *n, const double *alpha, const double *a,
                const int *lda, const double *x, const int *incx, double *y, const int *incy);

// ---- single complex ----
void cgemv_n_unit(const int *n, const tav_complex8 *alpha, const tav_complex8 *a, const int *lda,
                  const tav_complex8 *x, tav_complex8 *y);
void cgemv_n_strided(const int *n, const tav_complex8 *alpha, const tav_complex8 *a, const int *lda,
                     const tav_complex8 *x, const int *incx, tav_complex8 *y, const int *incy);
void cgemv_t_unit(const int *n, const tav_complex8 *alpha, const tav_complex8 *a, const int *lda,
                  const tav_complex8 *x, tav_complex8 *y);
void cgemv_t_strided(const int *n, const tav_complex8 *alpha, const tav_complex8 *a, const int *lda,
                     const tav_complex8 *x, const int *incx, tav_complex8 *y, const int *incy);
void cgemv_c_unit(const int *n, const tav_complex8 *alpha, const tav_complex8 *a, const int *lda,
                  const tav_complex8 *x, tav_complex8 *y);
void cgemv_c_strided(const int *n, const tav_complex8 *alpha, const tav_complex8 *a, const int *lda,
                     const tav_complex8 *x, const int *incx, tav_complex8 *y, const int *incy);
void cgemv_tail(const char *trans, const int *m, const int *n, const tav_complex8 *alpha,
                const tav_complex8 *a, const int *lda, const tav_complex8 *x, const int *incx,
                tav_complex8 *y, const int *incy);

// ---- double complex ----
void zgemv_n_unit(const int *n, const tav_complex16 *alpha, const tav_complex16 *a, const int *lda,
                  const tav_complex16 *x, tav_complex16 *y);
void zgemv_n_strided(const int *n, const tav_complex16 *alpha, const tav_complex16 *a, const int *lda,
                     const tav_complex16 *x, const int *incx, tav_complex16 *y, const int *incy);
void zgemv_t_unit(const int *n, const tav_complex16 *alpha, const tav_complex16 *a, const int *lda,
                  const tav_complex16 *x, tav_complex16 *y);
void zgemv_t_strided(const int *n, const tav_complex16 *alpha, const tav_complex16 *a, const int *lda,
                     const tav_complex16 *x, const int *incx, tav_complex16 *y, const int *incy);
void zgemv_c_unit(const int *n, const tav_complex16 *alpha, const tav_complex16 *a, const int *lda,
                  const tav_complex16 *x, tav_complex16 *y);
void zgemv_c_strided(const int *n, const tav_complex16 *alpha, const tav_complex16 *a, const int *lda,
                     const tav_complex16 *x, const int *incx, tav_complex16 *y, const int *incy);
void zgemv_tail(const char *trans, const int *m, const int *n, const tav_complex16 *alpha,
                const tav_complex16 *a, const int *lda, const tav_complex16 *x, const int *incx,
                tav_complex16 *y, const int *incy);

}  // namespace tav
