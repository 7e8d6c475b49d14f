// Shape kernels of sgemv and dgemv. All sums are held in xreal; elements of A,
// x and y are widened as they are loaded, and a value is rounded to the
// element type only where it is stored into y.
//
// Transposed panel (64 rows): columns in pairs, then one column if n is odd.
// Each column has one accumulator that starts from zero and adds a[k]*x[k] for
// k = 0..63 strictly in row order; then y[j] := acc*alpha + y[j], the pair's
// y[j+1] stored before y[j] (two pairs run side by side, each stored as a
// pair). So y rounds once a column and panel, and a long column is summed as
// a chain of 64-row sums joined through y.
//
// Plain panel (64 rows): columns in groups (four in single, two in double),
// then the leftover columns one at a time. For a group, t_c = x[j+c]*alpha is
// formed and kept unrounded; then for each row k in order
//   y[k] := (((y[k] + a[k,j]*t0) + a[k,j+1]*t1) + a[k,j+2]*t2) + a[k,j+3]*t3
// added left to right and stored once per group.
//
// Tail (1..63 rows; 'N' when the first letter's value AND 95 is 'N'):
//   transposed: per column acc = sum of a[k]*x[k] in row order from zero, then
//     y[j] := y[j] + acc*alpha, columns in increasing order;
//   plain: per row acc = sum of a[i,j]*x[j] along the row in column order from
//     zero, then y[i] := y[i] + alpha*acc, rows in increasing order.

#include <cstddef>

#include "frame/xreal.h"
#include "level2/gemv.h"

namespace tav {
namespace {

using index_t = std::ptrdiff_t;

template <class T>
struct real_gemv;

template <>
struct real_gemv<float> {
  static constexpr int n_columns = 4;                   // columns a pass, plain panel
  static constexpr prefetch_plan t_pair = {8, 48, 64};  // +64..+224 B of the 256-B column
  static constexpr prefetch_plan t_last = {8, 56, 32};
  static constexpr prefetch_plan n_group = {8, 64, 32};
};

template <>
struct real_gemv<double> {
  static constexpr int n_columns = 2;
  static constexpr prefetch_plan t_pair = {4, 56, 64};  // +64..+480 B of the 512-B column
  static constexpr prefetch_plan t_last = {4, 56, 64};
  static constexpr prefetch_plan n_group = {4, 56, 64};
};

// `pairs` column pairs of the transposed shape side by side (more sums in
// flight for the adder; each column's sum and each store as for one pair at a
// time): one accumulator a column over the panel's rows in order, then each
// pair stores y[j+1] before y[j].
template <class T, int pairs, bool Unit>
inline void gemv_t_pairs(const T *col, index_t lda, const T *x, index_t sx, xreal al, T *y, index_t sy) {
  constexpr prefetch_plan plan = real_gemv<T>::t_pair;
  constexpr int G = 2 * pairs;
  xreal acc[G] = {};
  for (int kb = 0; kb < gemv_panel_rows; kb += plan.step) {
    if (kb < plan.end)
      for (int c = 0; c < G; ++c) prefetch_row(col + c * lda + kb, plan.ahead);
    prefetch_lookahead<G>(col + kb, lda);
#pragma GCC unroll 1
    for (int k = kb; k < kb + plan.step; ++k) {
      const xreal xk = static_cast<xreal>(x[Unit ? k : k * sx]);
      for (int c = 0; c < G; ++c) acc[c] += static_cast<xreal>(col[c * lda + k]) * xk;
    }
  }
  for (int p = 0; p < pairs; ++p)
    for (int c = 2 * p + 1; c >= 2 * p; --c) {
      T *yc = y + c * sy;
      *yc = static_cast<T>(acc[c] * al + static_cast<xreal>(*yc));
    }
}

// Transposed shape over one panel. Unit fixes both strides to 1 at compile time.
template <class T, bool Unit>
void gemv_t_panel(int n, const T *alpha, const T *a, index_t lda, const T *x, index_t incx, T *y,
                  index_t incy) {
  constexpr prefetch_plan last = real_gemv<T>::t_last;
  const index_t sx = Unit ? 1 : incx, sy = Unit ? 1 : incy;
  const xreal al = static_cast<xreal>(*alpha);
  int j = 0;
  for (; j + 4 <= n; j += 4) gemv_t_pairs<T, 2, Unit>(a + j * lda, lda, x, sx, al, y + j * sy, sy);
  if (j + 2 <= n) {
    gemv_t_pairs<T, 1, Unit>(a + j * lda, lda, x, sx, al, y + j * sy, sy);
    j += 2;
  }
  if (j < n) {
    const T *c0 = a + j * lda;
    xreal acc = 0;
    for (int kb = 0; kb < gemv_panel_rows; kb += last.step) {
      if (kb < last.end) prefetch_row(c0 + kb, last.ahead);
      for (int k = kb; k < kb + last.step; ++k)
        acc += static_cast<xreal>(c0[k]) * static_cast<xreal>(x[k * sx]);
    }
    T *y0 = y + j * sy;
    *y0 = static_cast<T>(acc * al + static_cast<xreal>(*y0));
  }
}

// One pass of the plain shape over `G` columns starting at `col`, whose
// scaled x values are t[0..G).
template <class T, int G, bool Unit>
inline void gemv_n_pass(const T *col, index_t lda, const xreal (&t)[G], T *y, index_t sy) {
  constexpr prefetch_plan plan = real_gemv<T>::n_group;
  for (int kb = 0; kb < gemv_panel_rows; kb += plan.step) {
    if (kb < plan.end)
      for (int c = 0; c < G; ++c) prefetch_row(col + c * lda + kb, plan.ahead);
    prefetch_lookahead<G>(col + kb, lda);
    for (int k = kb; k < kb + plan.step; ++k) {
      T *yk = y + (Unit ? k : k * sy);
      xreal sum = static_cast<xreal>(*yk);
      for (int c = 0; c < G; ++c) sum += static_cast<xreal>(col[c * lda + k]) * t[c];
      *yk = static_cast<T>(sum);
    }
  }
}

template <class T, bool Unit>
void gemv_n_panel(int n, const T *alpha, const T *a, index_t lda, const T *x, index_t incx, T *y,
                  index_t incy) {
  constexpr int G = real_gemv<T>::n_columns;
  const index_t sx = Unit ? 1 : incx, sy = Unit ? 1 : incy;
  const xreal al = static_cast<xreal>(*alpha);
  int j = 0;
  for (; j + G <= n; j += G) {
    xreal t[G];
    for (int c = 0; c < G; ++c) t[c] = static_cast<xreal>(x[(j + c) * sx]) * al;
    gemv_n_pass<T, G, Unit>(a + j * lda, lda, t, y, sy);
  }
  for (; j < n; ++j) {
    const xreal t[1] = {static_cast<xreal>(x[j * sx]) * al};
    gemv_n_pass<T, 1, Unit>(a + j * lda, lda, t, y, sy);
  }
}

// Rows or columns the tail takes in one pass, and its inner step.
constexpr int tail_group = 4;
constexpr int tail_row_step = 8;

// Columns of the transposed tail taken `group` at a time (four with unit x,
// prefetched 32 bytes ahead every 8 rows; two otherwise), starting at column j.
template <class T, int group>
int gemv_tail_t_groups(int j, int m, int n, xreal al, const T *a, index_t lda, const T *x, index_t incx, T *y,
                       index_t incy) {
  for (; j + group <= n; j += group) {
    xreal acc[group] = {};
    const T *col = a + j * lda;
    for (int k = 0; k < m; ++k) {
      if (group == tail_group && k % tail_row_step == 0)
        for (int c = 0; c < group; ++c) prefetch_row(col + c * lda + k, 32);
      const xreal xk = static_cast<xreal>(x[k * incx]);
      for (int c = 0; c < group; ++c) acc[c] += static_cast<xreal>(col[c * lda + k]) * xk;
    }
    for (int c = 0; c < group; ++c) {
      T *yc = y + (j + c) * incy;
      *yc = static_cast<T>(static_cast<xreal>(*yc) + acc[c] * al);
    }
  }
  return j;
}

template <class T>
void gemv_tail_t(int m, int n, const T *alpha, const T *a, index_t lda, const T *x, index_t incx, T *y,
                 index_t incy) {
  const xreal al = static_cast<xreal>(*alpha);
  int j = incx == 1 ? gemv_tail_t_groups<T, tail_group>(0, m, n, al, a, lda, x, incx, y, incy)
                    : gemv_tail_t_groups<T, 2>(0, m, n, al, a, lda, x, incx, y, incy);
  gemv_tail_t_groups<T, 1>(j, m, n, al, a, lda, x, incx, y, incy);
}

template <class T>
void gemv_tail_n(int m, int n, const T *alpha, const T *a, index_t lda, const T *x, index_t incx, T *y,
                 index_t incy) {
  const xreal al = static_cast<xreal>(*alpha);
  int i = 0;
  for (; i + tail_group <= m; i += tail_group) {
    xreal acc[tail_group] = {0, 0, 0, 0};
    const T *rows = a + i;
    for (int c = 0; c < tail_group && c < n; ++c) prefetch_row(rows + c * lda, 0);
    for (int j = 0; j < n; ++j) {
      // Every fourth column, the same rows four columns on.
      if (j % tail_group == 0)
        for (int c = tail_group; c < 2 * tail_group && j + c < n; ++c)
          prefetch_row(rows + (j + c) * lda, 0);
      const xreal xj = static_cast<xreal>(x[j * incx]);
      for (int r = 0; r < tail_group; ++r) acc[r] += static_cast<xreal>(rows[j * lda + r]) * xj;
    }
    for (int r = 0; r < tail_group; ++r) {
      T *yr = y + (i + r) * incy;
      *yr = static_cast<T>(static_cast<xreal>(*yr) + al * acc[r]);
    }
  }
  for (; i < m; ++i) {
    xreal acc = 0;
    for (int j = 0; j < n; ++j) acc += static_cast<xreal>(a[i + j * lda]) * static_cast<xreal>(x[j * incx]);
    T *yi = y + i * incy;
    *yi = static_cast<T>(static_cast<xreal>(*yi) + al * acc);
  }
}

template <class T>
void gemv_tail(const char *trans, const int *m, const int *n, const T *alpha, const T *a,
               const int *lda, const T *x, const int *incx, T *y, const int *incy) {
  // The tail reads the letter by itself: clearing bit 5 (and bit 7) folds case.
  if ((static_cast<unsigned char>(*trans) & 95) == 'N')
    gemv_tail_n(*m, *n, alpha, a, *lda, x, *incx, y, *incy);
  else
    gemv_tail_t(*m, *n, alpha, a, *lda, x, *incx, y, *incy);
}

}  // namespace

void sgemv_n_unit(const int *n, const float *alpha, const float *a, const int *lda, const float *x,
                  float *y) {
  gemv_n_panel<float, true>(*n, alpha, a, *lda, x, 1, y, 1);
}
void sgemv_n_strided(const int *n, const float *alpha, const float *a, const int *lda, const float *x,
                     const int *incx, float *y, const int *incy) {
  gemv_n_panel<float, false>(*n, alpha, a, *lda, x, *incx, y, *incy);
}
void sgemv_t_unit(const int *n, const float *alpha, const float *a, const int *lda, const float *x,
                  float *y) {
  gemv_t_panel<float, true>(*n, alpha, a, *lda, x, 1, y, 1);
}
void sgemv_t_strided(const int *n, const float *alpha, const float *a, const int *lda, const float *x,
                     const int *incx, float *y, const int *incy) {
  gemv_t_panel<float, false>(*n, alpha, a, *lda, x, *incx, y, *incy);
}
void sgemv_tail(const char *trans, const int *m, const int *n, const float *alpha, const float *a,
                const int *lda, const float *x, const int *incx, float *y, const int *incy) {
  gemv_tail<float>(trans, m, n, alpha, a, lda, x, incx, y, incy);
}

void dgemv_n_unit(const int *n, const double *alpha, const double *a, const int *lda, const double *x,
                  double *y) {
  gemv_n_panel<double, true>(*n, alpha, a, *lda, x, 1, y, 1);
}
void dgemv_n_strided(const int *n, const double *alpha, const double *a, const int *lda,
                     const double *x, const int *incx, double *y, const int *incy) {
  gemv_n_panel<double, false>(*n, alpha, a, *lda, x, *incx, y, *incy);
}
void dgemv_t_unit(const int *n, const double *alpha, const double *a, const int *lda, const double *x,
                  double *y) {
  gemv_t_panel<double, true>(*n, alpha, a, *lda, x, 1, y, 1);
}
void dgemv_t_strided(const int *n, const double *alpha, const double *a, const int *lda,
                     const double *x, const int *incx, double *y, const int *incy) {
  gemv_t_panel<double, false>(*n, alpha, a, *lda, x, *incx, y, *incy);
}
void dgemv_tail(const char *trans, const int *m, const int *n, const double *alpha, const double *a,
                const int *lda, const double *x, const int *incx, double *y, const int *incy) {
  gemv_tail<double>(trans, m, n, alpha, a, lda, x, incx, y, incy);
}

}  // namespace tav
