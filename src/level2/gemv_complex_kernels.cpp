// Shape kernels of cgemv and zgemv. All sums are held in xreal, real and
// imaginary parts apart; elements are widened as they are loaded and rounded
// to the element type only where they are stored into y.
//
// A multiply-accumulate is four real products into two accumulators, added
// one at a time:
//   plain / transposed:    re := (re + ar*xr) - ai*xi;  im := (im + ar*xi) + ai*xr
//   conjugate-transposed:  re := (re + ar*xr) + ai*xi;  im := (im + ar*xi) - ai*xr
// A complex product p*q is (pr*qr - pi*qi, pr*qi + pi*qr).
//
// Transposed and conjugate-transposed panels (64 rows): per column one complex
// accumulator from zero over k = 0..63 in row order, then y[j] := y[j] +
// alpha*acc, stored once a column and panel; columns two at a time in single
// complex (y[j+1] stored before y[j]) and one at a time in double complex
// (two such passes run side by side, stored in column order).
// Plain panels (64 rows): t_c = alpha*x[j+c] kept unrounded, then for each row
// y[k] := y[k] + a[k,j]*t0 + a[k,j+1]*t1 accumulated into the widened y[k] in
// that order and stored once per group of columns (two, or one for the
// strided double complex kernel); leftover columns one at a time.
//
// Tail (1..63 rows): the first letter's value AND 95 picks 'T', else 'C', else
// plain. Transposed: per column the same accumulation over the tail's rows,
// then y[j] := y[j] + alpha*acc in column order. Plain: the columns in blocks
// of 32 (the last block takes the rest); per block and row, acc = sum of
// a[i,j]*x[j] along the block in column order from zero, then y[i] := y[i] +
// alpha*acc. So y rounds once per 32-column block.

#include <cstddef>

#include "frame/xreal.h"
#include "level2/gemv.h"
#include "level2/gemv_x87.h"

namespace tav {
namespace {

using index_t = std::ptrdiff_t;

template <class C>
struct complex_gemv;

template <>
struct complex_gemv<tav_complex8> {
  using real = float;
  static constexpr int t_columns = 2;          // columns a pass, _t_ and _c_
  static constexpr int t_passes_in_flight = 1;
  static constexpr int n_unit_columns = 2;     // _n_ unit
  static constexpr int n_strided_columns = 2;  // _n_ strided
  static constexpr prefetch_plan panel = {4, 56, 64};  // +64..+480 B of the 512-B column
  static constexpr _mm_hint tail_hint = _MM_HINT_T0;
};

template <>
struct complex_gemv<tav_complex16> {
  using real = double;
  static constexpr int t_columns = 1;
  static constexpr int t_passes_in_flight = 2;  // two single-column passes side by side
  static constexpr int n_unit_columns = 2;
  static constexpr int n_strided_columns = 1;
  static constexpr prefetch_plan panel = {2, 60, 64};  // +64..+992 B of the 1024-B column
  static constexpr _mm_hint tail_hint = _MM_HINT_NTA;
};

template <class C>
inline xcomplex widen(const C &v) {
  return {static_cast<xreal>(v.re), static_cast<xreal>(v.im)};
}

inline xcomplex times(xcomplex p, xcomplex q) {
  return {p.re * q.re - p.im * q.im, p.re * q.im + p.im * q.re};
}

// y := y + p, rounded once to the element type.
template <class C>
inline void add_into(C *y, xcomplex p) {
  using R = typename complex_gemv<C>::real;
  y->re = static_cast<R>(static_cast<xreal>(y->re) + p.re);
  y->im = static_cast<R>(static_cast<xreal>(y->im) + p.im);
}

// acc += a*x (conj: a conjugated), both factors read from memory.
template <bool conj, class C>
inline void mac(xcomplex &acc, const C &a, const C &x) {
#if TAV_GEMV_X87_ASM
  x87_mac<conj>(acc, a, x);
#else
  const xreal ar = static_cast<xreal>(a.re), ai = static_cast<xreal>(a.im);
  const xreal xr = static_cast<xreal>(x.re), xi = static_cast<xreal>(x.im);
  if (conj) {
    acc.re = (acc.re + ar * xr) + ai * xi;
    acc.im = (acc.im + ar * xi) - ai * xr;
  } else {
    acc.re = (acc.re + ar * xr) - ai * xi;
    acc.im = (acc.im + ar * xi) + ai * xr;
  }
#endif
}

// acc += a*t, plain, with t an unrounded value held on the stack.
template <class C>
inline void mac(xcomplex &acc, const C &a, const xcomplex &t) {
#if TAV_GEMV_X87_ASM
  x87_mac(acc, a, t);
#else
  const xreal ar = static_cast<xreal>(a.re), ai = static_cast<xreal>(a.im);
  acc.re = (acc.re + ar * t.re) - ai * t.im;
  acc.im = (acc.im + ar * t.im) + ai * t.re;
#endif
}

// P transposed passes of G columns each, side by side (more sums in flight;
// each column's sum and each store as for one pass at a time): one
// accumulator a column over the panel's rows in order, then each pass stores
// its columns from the last to the first.
template <class C, int G, int P, bool conj, bool unit>
inline void gemv_t_pass(const C *col, index_t lda, const C *x, index_t sx, xcomplex al, C *y,
                        index_t sy) {
  constexpr prefetch_plan plan = complex_gemv<C>::panel;
  xcomplex acc[G * P] = {};
  for (int kb = 0; kb < gemv_panel_rows; kb += plan.step) {
    if (kb < plan.end)
      for (int c = 0; c < G * P; ++c) prefetch_row(col + c * lda + kb, plan.ahead);
    prefetch_lookahead<G * P>(col + kb, lda);
#pragma GCC unroll 1
    for (int k = kb; k < kb + plan.step; ++k) {
      const C &xk = x[unit ? k : k * sx];
      for (int c = 0; c < G * P; ++c) mac<conj>(acc[c], col[c * lda + k], xk);
    }
  }
  for (int p = 0; p < P; ++p)
    for (int c = G - 1; c >= 0; --c) add_into(y + (p * G + c) * sy, times(al, acc[p * G + c]));
}

template <class C, bool conj, bool unit>
void gemv_t_panel(int n, const C *alpha, const C *a, index_t lda, const C *x, index_t incx, C *y,
                  index_t incy) {
  constexpr int G = complex_gemv<C>::t_columns, P = complex_gemv<C>::t_passes_in_flight;
  const index_t sx = unit ? 1 : incx, sy = unit ? 1 : incy;
  const xcomplex al = widen(*alpha);
  int j = 0;
  for (; j + G * P <= n; j += G * P)
    gemv_t_pass<C, G, P, conj, unit>(a + j * lda, lda, x, sx, al, y + j * sy, sy);
  for (; j + G <= n; j += G) gemv_t_pass<C, G, 1, conj, unit>(a + j * lda, lda, x, sx, al, y + j * sy, sy);
  for (; j < n; ++j) gemv_t_pass<C, 1, 1, conj, unit>(a + j * lda, lda, x, sx, al, y + j * sy, sy);
}

// The same address, but the compiler must load through it again, so that
// alpha is not kept on the x87 stack beside the pass's values.
template <class P>
inline const P *reread(const P *p) {
  asm volatile("" : "+r"(p));
  return p;
}

// One plain pass over G columns whose scaled x values are t[0..G).
template <class C, int G, bool unit>
inline void gemv_n_pass(const C *col, index_t lda, const xcomplex (&t)[G], C *y, index_t sy) {
  using R = typename complex_gemv<C>::real;
  constexpr prefetch_plan plan = complex_gemv<C>::panel;
  for (int kb = 0; kb < gemv_panel_rows; kb += plan.step) {
    if (kb < plan.end)
      for (int c = 0; c < G; ++c) prefetch_row(col + c * lda + kb, plan.ahead);
    prefetch_lookahead<G>(col + kb, lda);
    for (int k = kb; k < kb + plan.step; ++k) {
      C *yk = y + (unit ? k : k * sy);
      xcomplex sum = widen(*yk);
      for (int c = 0; c < G; ++c) mac(sum, col[c * lda + k], t[c]);
      yk->re = static_cast<R>(sum.re);
      yk->im = static_cast<R>(sum.im);
    }
  }
}

template <class C, bool unit>
void gemv_n_panel(int n, const C *alpha, const C *a, index_t lda, const C *x, index_t incx, C *y,
                  index_t incy) {
  constexpr int G = unit ? complex_gemv<C>::n_unit_columns : complex_gemv<C>::n_strided_columns;
  const index_t sx = unit ? 1 : incx, sy = unit ? 1 : incy;
  int j = 0;
  for (; j + G <= n; j += G) {
    const xcomplex al = widen(*reread(alpha));  // not held on the stack during the pass
    xcomplex t[G];
    for (int c = 0; c < G; ++c) t[c] = times(al, widen(x[(j + c) * sx]));
    gemv_n_pass<C, G, unit>(a + j * lda, lda, t, y, sy);
  }
  for (; j < n; ++j) {
    const xcomplex t[1] = {times(widen(*reread(alpha)), widen(x[j * sx]))};
    gemv_n_pass<C, 1, unit>(a + j * lda, lda, t, y, sy);
  }
}

// The tail's passes: two columns (transposed) or four rows (plain) at a time,
// and its plain shape's column block.
constexpr int tail_t_group = 2;
constexpr int tail_n_group = 4;
constexpr int tail_column_block = 32;

// `group` columns of the transposed tail, each summed over the tail's rows.
template <class C, bool conj, int group>
void gemv_tail_t_pass(int m, xcomplex al, const C *col, index_t lda, const C *x, index_t incx, C *y,
                      index_t incy) {
  xcomplex acc[group] = {};
#pragma GCC unroll 1
  for (int k = 0; k < m; ++k) {
    const C &xk = x[k * incx];
    for (int c = 0; c < group; ++c) mac<conj>(acc[c], col[c * lda + k], xk);
  }
  for (int c = 0; c < group; ++c) add_into(y + c * incy, times(al, acc[c]));
}

template <class C, bool conj>
void gemv_tail_t(int m, int n, xcomplex al, const C *a, index_t lda, const C *x, index_t incx, C *y,
                 index_t incy) {
  int j = 0;
  for (; j + tail_t_group <= n; j += tail_t_group)
    gemv_tail_t_pass<C, conj, tail_t_group>(m, al, a + j * lda, lda, x, incx, y + j * incy, incy);
  for (; j < n; ++j) gemv_tail_t_pass<C, conj, 1>(m, al, a + j * lda, lda, x, incx, y + j * incy, incy);
}

// `rows` rows of the plain tail over the columns [j0, j1), each a dot
// product along the row, then added into y in row order. The first half of
// a four-row group prefetches the group's rows four columns on.
template <class C, int rows, bool prefetch>
void gemv_tail_n_rows(int j0, int j1, xcomplex al, const C *a, index_t lda, const C *x, index_t incx, C *y,
                      index_t incy) {
  constexpr _mm_hint hint = complex_gemv<C>::tail_hint;
  xcomplex acc[rows] = {};
#pragma GCC unroll 1
  for (int j = j0; j < j1; ++j) {
    if (prefetch && (j - j0) % tail_n_group == 0)
      for (int c = j + tail_n_group; c < j + 2 * tail_n_group && c < j1; ++c) prefetch_row<hint>(a + c * lda, 0);
    const C &xj = x[j * incx];
    for (int r = 0; r < rows; ++r) mac<false>(acc[r], a[j * lda + r], xj);
  }
  for (int r = 0; r < rows; ++r) add_into(y + r * incy, times(al, acc[r]));
}

template <class C>
void gemv_tail_n(int m, int n, xcomplex al, const C *a, index_t lda, const C *x, index_t incx, C *y,
                 index_t incy) {
  // A four-row group runs as two halves of two rows: the same sums and the
  // same stores in the same order, with the x87 stack holding them all.
  constexpr int half = tail_n_group / 2;
  for (int j0 = 0; j0 < n; j0 += tail_column_block) {
    const int j1 = n - j0 > tail_column_block ? j0 + tail_column_block : n;
    int i = 0;
    for (; i + tail_n_group <= m; i += tail_n_group) {
      gemv_tail_n_rows<C, half, true>(j0, j1, al, a + i, lda, x, incx, y + i * incy, incy);
      gemv_tail_n_rows<C, half, false>(j0, j1, al, a + i + half, lda, x, incx, y + (i + half) * incy, incy);
    }
    for (; i < m; ++i) gemv_tail_n_rows<C, 1, false>(j0, j1, al, a + i, lda, x, incx, y + i * incy, incy);
  }
}

template <class C>
void gemv_tail(const char *trans, const int *m, const int *n, const C *alpha, const C *a,
               const int *lda, const C *x, const int *incx, C *y, const int *incy) {
  // The tail reads the letter by itself: value AND 95, 'T', then 'C', else plain.
  const unsigned letter = static_cast<unsigned char>(*trans) & 95u;
  const xcomplex al = widen(*alpha);
  if (letter == 'T')
    gemv_tail_t<C, false>(*m, *n, al, a, *lda, x, *incx, y, *incy);
  else if (letter == 'C')
    gemv_tail_t<C, true>(*m, *n, al, a, *lda, x, *incx, y, *incy);
  else
    gemv_tail_n(*m, *n, al, a, *lda, x, *incx, y, *incy);
}

}  // namespace

using c8 = tav_complex8;
using c16 = tav_complex16;

void cgemv_n_unit(const int *n, const c8 *alpha, const c8 *a, const int *lda, const c8 *x, c8 *y) {
  gemv_n_panel<c8, true>(*n, alpha, a, *lda, x, 1, y, 1);
}
void cgemv_n_strided(const int *n, const c8 *alpha, const c8 *a, const int *lda, const c8 *x,
                     const int *incx, c8 *y, const int *incy) {
  gemv_n_panel<c8, false>(*n, alpha, a, *lda, x, *incx, y, *incy);
}
void cgemv_t_unit(const int *n, const c8 *alpha, const c8 *a, const int *lda, const c8 *x, c8 *y) {
  gemv_t_panel<c8, false, true>(*n, alpha, a, *lda, x, 1, y, 1);
}
void cgemv_t_strided(const int *n, const c8 *alpha, const c8 *a, const int *lda, const c8 *x,
                     const int *incx, c8 *y, const int *incy) {
  gemv_t_panel<c8, false, false>(*n, alpha, a, *lda, x, *incx, y, *incy);
}
void cgemv_c_unit(const int *n, const c8 *alpha, const c8 *a, const int *lda, const c8 *x, c8 *y) {
  gemv_t_panel<c8, true, true>(*n, alpha, a, *lda, x, 1, y, 1);
}
void cgemv_c_strided(const int *n, const c8 *alpha, const c8 *a, const int *lda, const c8 *x,
                     const int *incx, c8 *y, const int *incy) {
  gemv_t_panel<c8, true, false>(*n, alpha, a, *lda, x, *incx, y, *incy);
}
void cgemv_tail(const char *trans, const int *m, const int *n, const c8 *alpha, const c8 *a,
                const int *lda, const c8 *x, const int *incx, c8 *y, const int *incy) {
  gemv_tail<c8>(trans, m, n, alpha, a, lda, x, incx, y, incy);
}

void zgemv_n_unit(const int *n, const c16 *alpha, const c16 *a, const int *lda, const c16 *x, c16 *y) {
  gemv_n_panel<c16, true>(*n, alpha, a, *lda, x, 1, y, 1);
}
void zgemv_n_strided(const int *n, const c16 *alpha, const c16 *a, const int *lda, const c16 *x,
                     const int *incx, c16 *y, const int *incy) {
  gemv_n_panel<c16, false>(*n, alpha, a, *lda, x, *incx, y, *incy);
}
void zgemv_t_unit(const int *n, const c16 *alpha, const c16 *a, const int *lda, const c16 *x, c16 *y) {
  gemv_t_panel<c16, false, true>(*n, alpha, a, *lda, x, 1, y, 1);
}
void zgemv_t_strided(const int *n, const c16 *alpha, const c16 *a, const int *lda, const c16 *x,
                     const int *incx, c16 *y, const int *incy) {
  gemv_t_panel<c16, false, false>(*n, alpha, a, *lda, x, *incx, y, *incy);
}
void zgemv_c_unit(const int *n, const c16 *alpha, const c16 *a, const int *lda, const c16 *x, c16 *y) {
  gemv_t_panel<c16, true, true>(*n, alpha, a, *lda, x, 1, y, 1);
}
void zgemv_c_strided(const int *n, const c16 *alpha, const c16 *a, const int *lda, const c16 *x,
                     const int *incx, c16 *y, const int *incy) {
  gemv_t_panel<c16, true, false>(*n, alpha, a, *lda, x, *incx, y, *incy);
}
void zgemv_tail(const char *trans, const int *m, const int *n, const c16 *alpha, const c16 *a,
                const int *lda, const c16 *x, const int *incx, c16 *y, const int *incy) {
  gemv_tail<c16>(trans, m, n, alpha, a, lda, x, incx, y, incy);
}

}  // namespace tav
