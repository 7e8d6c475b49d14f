// zgemm panel kernels: C += alpha (panel x B), sums in extended precision.
// The tile is a 2-row stripe against one column of B: four sums, (re, im) of
// each row. A first sweep over the whole depth, ascending, multiplies the four
// panel values by the real part of B(p, j) (the first step forms the sums
// directly, later steps add); a second sweep multiplies by the imaginary part,
// adding the products of the real panel values to the imaginary sums and
// subtracting those of the imaginary panel values from the real sums. Every
// product is of widened doubles. Then the tile goes to C through alpha (see
// zgemm_scale.h), rounded once to double.

#include <xmmintrin.h>

#include "level3/gemm/zgemm.h"
#include "level3/gemm/zgemm_scale.h"

namespace tav {
namespace {

using cplx::cd;
using cplx::idx;

__attribute__((always_inline)) inline void prefetch_t0(const void *base, idx bytes) {
  _mm_prefetch(reinterpret_cast<const char *>(base) + bytes, _MM_HINT_T0);
}

// One stripe against one column. In the first stripe of a column the column
// of B is prefetched every 2 steps (0x80, 0xA0, 0xD0, then on by 0x20 up to
// 0x230); near the end of the second sweep, the tile's C.
template <int Depth>
__attribute__((always_inline)) inline void stripe_column(const double *a, const cd *bj, cd *cs, bool first,
                                                         const cd &alpha, zgemm_alpha_kind kind) {
  xreal b = (xreal)bj[0].re;
  xreal r0 = (xreal)a[0] * b, i0 = (xreal)a[1] * b;
  xreal r1 = (xreal)a[2] * b, i1 = (xreal)a[3] * b;
#pragma GCC unroll 32
  for (int p = 1; p < Depth; ++p) {
    if (first && p % 2 == 0) {
      const int n = p / 2 - 1;  // 0x80, 0xA0, 0xD0, 0xF0, ...
      const idx at = n == 0 ? 0x80 : n == 1 ? 0xA0 : 0xD0 + (n - 2) * 0x20;
      if (at <= 0x230) prefetch_t0(bj, at);
    }
    b = (xreal)bj[p].re;
    r0 += (xreal)a[4 * p + 0] * b;
    i0 += (xreal)a[4 * p + 1] * b;
    r1 += (xreal)a[4 * p + 2] * b;
    i1 += (xreal)a[4 * p + 3] * b;
  }
  // The second sweep reads the stripe again from memory: kept from the first
  // sweep, its values would be spilled as 80-bit temporaries, which is slower.
  asm("" : "+r"(a));
#pragma GCC unroll 32
  for (int p = 0; p < Depth; ++p) {
    if (p == Depth - 4) prefetch_t0(cs, 0);
    b = (xreal)bj[p].im;
    i0 += (xreal)a[4 * p + 0] * b;
    r0 -= (xreal)a[4 * p + 1] * b;
    i1 += (xreal)a[4 * p + 2] * b;
    r1 -= (xreal)a[4 * p + 3] * b;
  }
  zgemm_finish(cs[0], r0, i0, alpha, kind);
  zgemm_finish(cs[1], r1, i1, alpha, kind);
}

template <int Rows, int Depth>
inline void panel_kernel(int cols, const double *panel, const cd *b, idx ldb, cd *c, idx ldc, cd alpha) {
  const zgemm_alpha_kind kind = zgemm_alpha_of(alpha);
  constexpr int stripes = Rows / zgemm_blocks::stripe;
  for (int j = 0; j < cols; ++j) {
    const cd *bj = b + j * ldb;
    cd *cj = c + j * ldc;
    for (int s = 0; s < stripes; ++s)
      stripe_column<Depth>(panel + s * 4 * Depth, bj, cj + s * zgemm_blocks::stripe, s == 0, alpha, kind);
  }
}

}  // namespace

void zgemm_panel_16x32(int cols, const double *panel, const cd *b, idx ldb, cd *c, idx ldc, cd alpha) {
  panel_kernel<16, 32>(cols, panel, b, ldb, c, ldc, alpha);
}
void zgemm_panel_8x32(int cols, const double *panel, const cd *b, idx ldb, cd *c, idx ldc, cd alpha) {
  panel_kernel<8, 32>(cols, panel, b, ldb, c, ldc, alpha);
}
void zgemm_panel_4x32(int cols, const double *panel, const cd *b, idx ldb, cd *c, idx ldc, cd alpha) {
  panel_kernel<4, 32>(cols, panel, b, ldb, c, ldc, alpha);
}
void zgemm_panel_32x16(int cols, const double *panel, const cd *b, idx ldb, cd *c, idx ldc, cd alpha) {
  panel_kernel<32, 16>(cols, panel, b, ldb, c, ldc, alpha);
}
void zgemm_panel_16x24(int cols, const double *panel, const cd *b, idx ldb, cd *c, idx ldc, cd alpha) {
  panel_kernel<16, 24>(cols, panel, b, ldb, c, ldc, alpha);
}

}  // namespace tav
