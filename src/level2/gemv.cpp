// Exported fronts of the general matrix-vector product
// y := alpha*op(A)*x + beta*y. Each front returns early on an empty problem or
// on alpha 0 with beta 1, scales y by beta once, returns if alpha is 0, and
// then walks the rows of A in panels of 64, each handed whole to one shape
// kernel, and the 1..63 rows left to the tail kernel.
//
// Also called by the triangular product and solve routines for their
// off-diagonal panels, with alpha and beta from stored constants.

#include <cstddef>

#include "frame/export.h"
#include "frame/lsame.h"
#include "level2/gemv.h"

namespace tav {
namespace {

using index_t = std::ptrdiff_t;

enum class shape { plain, transposed, conjugate };

// The kernels and predicates of one precision.
template <class T>
struct gemv_family;

template <class R>
struct real_family {
  static bool is_zero(R v) { return equals_or_nan(v, R(0)); }
  static bool is_one(R v) { return equals_or_nan(v, R(1)); }
  static shape decode(const char *trans) { return lsame(trans, "N") ? shape::plain : shape::transposed; }
};

template <class C>
struct complex_family {
  using R = decltype(C::re);
  static bool is_zero(const C &v) { return equals_or_nan(v.re, R(0)) && equals_or_nan(v.im, R(0)); }
  static bool is_one(const C &v) { return equals_or_nan(v.re, R(1)) && equals_or_nan(v.im, R(0)); }
  static shape decode(const char *trans) {
    if (lsame(trans, "N")) return shape::plain;
    return lsame(trans, "T") ? shape::transposed : shape::conjugate;
  }
};

// The real families have no conjugate shape; its slots repeat the transposed kernels.
template <>
struct gemv_family<float> : real_family<float> {
  static constexpr auto beta = sgemv_beta;
  static constexpr auto n_unit = sgemv_n_unit, t_unit = sgemv_t_unit, c_unit = sgemv_t_unit;
  static constexpr auto n_strided = sgemv_n_strided, t_strided = sgemv_t_strided, c_strided = sgemv_t_strided;
  static constexpr auto tail = sgemv_tail;
};
template <>
struct gemv_family<double> : real_family<double> {
  static constexpr auto beta = dgemv_beta;
  static constexpr auto n_unit = dgemv_n_unit, t_unit = dgemv_t_unit, c_unit = dgemv_t_unit;
  static constexpr auto n_strided = dgemv_n_strided, t_strided = dgemv_t_strided, c_strided = dgemv_t_strided;
  static constexpr auto tail = dgemv_tail;
};
template <>
struct gemv_family<tav_complex8> : complex_family<tav_complex8> {
  static constexpr auto beta = cgemv_beta;
  static constexpr auto n_unit = cgemv_n_unit, t_unit = cgemv_t_unit, c_unit = cgemv_c_unit;
  static constexpr auto n_strided = cgemv_n_strided, t_strided = cgemv_t_strided, c_strided = cgemv_c_strided;
  static constexpr auto tail = cgemv_tail;
};
template <>
struct gemv_family<tav_complex16> : complex_family<tav_complex16> {
  static constexpr auto beta = zgemv_beta;
  static constexpr auto n_unit = zgemv_n_unit, t_unit = zgemv_t_unit, c_unit = zgemv_c_unit;
  static constexpr auto n_strided = zgemv_n_strided, t_strided = zgemv_t_strided, c_strided = zgemv_c_strided;
  static constexpr auto tail = zgemv_tail;
};

// Logical element 1 of a vector of `len` elements: with a negative stride it
// stands at (1 - len) * inc from the address given.
template <class P>
P *first_element(P *v, int len, index_t inc) {
  return inc < 0 ? v + (1 - static_cast<index_t>(len)) * inc : v;
}

template <class T>
void gemv(const char *trans, const int *m, const int *n, const T *alpha, const T *a, const int *lda,
          const T *x, const int *incx, const T *beta, T *y, const int *incy) {
  using family = gemv_family<T>;
  const int rows = *m, cols = *n;
  if (rows == 0 || cols == 0) return;
  if (family::is_zero(*alpha) && family::is_one(*beta)) return;

  const bool plain_lengths = lsame(trans, "N");
  const int len_y = plain_lengths ? rows : cols, len_x = plain_lengths ? cols : rows;
  const index_t ix = *incx, iy = *incy;
  const T *x1 = first_element(x, len_x, ix);
  T *y1 = first_element(y, len_y, iy);

  if (!family::is_one(*beta)) family::beta(&len_y, beta, y1, incy);
  if (family::is_zero(*alpha)) return;

  const shape s = family::decode(trans);
  const bool unit = ix == 1 && iy == 1;
  const int m64 = rows / gemv_panel_rows * gemv_panel_rows;
  for (int i = 0; i < m64; i += gemv_panel_rows) {
    const T *ai = a + i;
    if (s == shape::plain) {
      T *yi = y1 + i * iy;
      if (unit)
        family::n_unit(n, alpha, ai, lda, x1, yi);
      else
        family::n_strided(n, alpha, ai, lda, x1, incx, yi, incy);
    } else {
      const T *xi = x1 + i * ix;
      if (s == shape::transposed)
        unit ? family::t_unit(n, alpha, ai, lda, xi, y1) : family::t_strided(n, alpha, ai, lda, xi, incx, y1, incy);
      else
        unit ? family::c_unit(n, alpha, ai, lda, xi, y1) : family::c_strided(n, alpha, ai, lda, xi, incx, y1, incy);
    }
  }
  const int rest = rows - m64;
  if (rest != 0) {
    // The tail reads the letter again by itself; x and y advance by the
    // front's reading of it.
    const bool plain = s == shape::plain;
    family::tail(trans, &rest, n, alpha, a + m64, lda, plain ? x1 : x1 + m64 * ix, incx,
                 plain ? y1 + m64 * iy : y1, incy);
  }
}

}  // namespace
}  // namespace tav

TAV_EXPORT void tav_sgemv(const char *trans, const int *m, const int *n, const float *alpha, const float *a,
                          const int *lda, const float *x, const int *incx, const float *beta, float *y,
                          const int *incy) {
  tav::gemv(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}

TAV_EXPORT void tav_dgemv(const char *trans, const int *m, const int *n, const double *alpha, const double *a,
                          const int *lda, const double *x, const int *incx, const double *beta, double *y,
                          const int *incy) {
  tav::gemv(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}

TAV_EXPORT void tav_cgemv(const char *trans, const int *m, const int *n, const tav_complex8 *alpha,
                          const tav_complex8 *a, const int *lda, const tav_complex8 *x, const int *incx,
                          const tav_complex8 *beta, tav_complex8 *y, const int *incy) {
  tav::gemv(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}

TAV_EXPORT void tav_zgemv(const char *trans, const int *m, const int *n, const tav_complex16 *alpha,
                          const tav_complex16 *a, const int *lda, const tav_complex16 *x, const int *incx,
                          const tav_complex16 *beta, tav_complex16 *y, const int *incy) {
  tav::gemv(trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}
