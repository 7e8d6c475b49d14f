#pragma once
// How a finished extended-precision tile sum of zgemm reaches C: with alpha
// (1, 0) C + sum, with (-1, 0) C - sum, otherwise C + (sum * alpha), where
// re = sr * alr - si * ali and im = sr * ali + si * alr; each part rounded once
// to double on the store.

#include "frame/xreal.h"
#include "level3/gemm/complex_ops.h"

namespace tav {

enum class zgemm_alpha_kind { plus_one, minus_one, general };

inline zgemm_alpha_kind zgemm_alpha_of(const tav_complex16 &alpha) {
  if (cplx::same_or_nan(alpha.im, 0.0)) {
    if (cplx::same_or_nan(alpha.re, 1.0)) return zgemm_alpha_kind::plus_one;
    if (cplx::same_or_nan(alpha.re, -1.0)) return zgemm_alpha_kind::minus_one;
  }
  return zgemm_alpha_kind::general;
}

// C += alpha * (sr, si), always by the complex product.
__attribute__((always_inline)) inline void zgemm_add_scaled(tav_complex16 &c, xreal sr, xreal si,
                                                            const tav_complex16 &alpha) {
  const xreal ar = (xreal)alpha.re, ai = (xreal)alpha.im;
  c.re = (double)((xreal)c.re + (sr * ar - si * ai));
  c.im = (double)((xreal)c.im + (sr * ai + si * ar));
}

__attribute__((always_inline)) inline void zgemm_finish(tav_complex16 &c, xreal sr, xreal si,
                                                        const tav_complex16 &alpha, zgemm_alpha_kind kind) {
  if (kind == zgemm_alpha_kind::plus_one) {
    c.re = (double)((xreal)c.re + sr);
    c.im = (double)((xreal)c.im + si);
  } else if (kind == zgemm_alpha_kind::minus_one) {
    c.re = (double)((xreal)c.re - sr);
    c.im = (double)((xreal)c.im - si);
  } else {
    zgemm_add_scaled(c, sr, si, alpha);
  }
}

}  // namespace tav
