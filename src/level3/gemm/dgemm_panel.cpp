// Double-precision panel kernels. For each column of C and each 4-row stripe
// of the packed panel, four sums are held in extended precision (xreal). The
// first depth step forms them as the products panel(r, 0) * B(0, j); every later
// step, in ascending depth, adds panel(r, p) * B(p, j), each product of widened
// doubles. After the last step the element of C is added to each sum in
// extended precision and the result is rounded once to double on the store.
// alpha is already in the panel, so nothing is scaled here.

#include <xmmintrin.h>

#include <cstdint>

#include "frame/xreal.h"
#include "level3/gemm/dgemm.h"

namespace tav {
namespace {

// Forced inline: as a call of its own the compiler would take the wrapper for a
// function without effect and drop it.
__attribute__((always_inline)) inline void prefetch_t0(const double *base, dindex bytes) {
  _mm_prefetch(reinterpret_cast<const char *>(base) + bytes, _MM_HINT_T0);
}

// A plain load whose value is thrown away: starts the line of C on its way
// while the stripe runs.
inline void touch(const double *p) { (void)*reinterpret_cast<const volatile std::uint32_t *>(p); }

// One stripe against one column. `first` and `last` say whether this is the
// first or the last stripe of the column; they place the B prefetches.
template <int Depth>
__attribute__((always_inline)) inline void stripe_column(const double *a, const double *bj, dindex ldb,
                                                         double *cs, bool first, bool last) {
  touch(cs);
  if (first) prefetch_t0(bj, 0x40);
  xreal b0 = (xreal)bj[0];
  xreal s0 = (xreal)a[0] * b0;
  xreal s1 = (xreal)a[1] * b0;
  xreal s2 = (xreal)a[2] * b0;
  xreal s3 = (xreal)a[3] * b0;
#pragma GCC unroll 64
  for (int p = 1; p < Depth; ++p) {
    // First stripe: the column of B, every 4 steps from byte 0x40, then 0x68
    // and on by 0x20, Depth / 4 - 1 lines in all; near its end the column's
    // start again, for the later stripes.
    if (first && p % 4 == 0 && p / 4 < Depth / 4 - 1)
      prefetch_t0(bj, 0x68 + (p / 4 - 1) * 0x20);
    if (first && p == Depth - 4) prefetch_t0(bj, 0);
    // Last stripe: the next column of B, reached through ldb (past the block
    // for the last column, which a prefetch may do).
    if (last && p == Depth - 3) prefetch_t0(bj + ldb, 0);
    if (last && p == Depth - 1) prefetch_t0(bj + ldb, 32);
    xreal bp = (xreal)bj[p];
    s0 += (xreal)a[4 * p + 0] * bp;
    s1 += (xreal)a[4 * p + 1] * bp;
    s2 += (xreal)a[4 * p + 2] * bp;
    s3 += (xreal)a[4 * p + 3] * bp;
  }
  cs[0] = (double)(s0 + (xreal)cs[0]);
  cs[1] = (double)(s1 + (xreal)cs[1]);
  cs[2] = (double)(s2 + (xreal)cs[2]);
  cs[3] = (double)(s3 + (xreal)cs[3]);
}

template <int Rows, int Depth>
inline void panel_kernel(int cols, const double *panel, const double *b, dindex ldb, double *c, dindex ldc) {
  constexpr int stripes = Rows / dgemm_stripe;
  for (int j = 0; j < cols; ++j) {
    const double *bj = b + j * ldb;
    double *cj = c + j * ldc;
#pragma GCC unroll 8
    for (int s = 0; s < stripes; ++s)
      stripe_column<Depth>(panel + s * dgemm_stripe * Depth, bj, ldb, cj + s * dgemm_stripe, s == 0,
                           s == stripes - 1);
  }
}

}  // namespace

void dgemm_panel_16x64(int cols, const double *panel, const double *b, dindex ldb, double *c, dindex ldc) {
  panel_kernel<16, 64>(cols, panel, b, ldb, c, ldc);
}
void dgemm_panel_8x64(int cols, const double *panel, const double *b, dindex ldb, double *c, dindex ldc) {
  panel_kernel<8, 64>(cols, panel, b, ldb, c, ldc);
}
void dgemm_panel_4x64(int cols, const double *panel, const double *b, dindex ldb, double *c, dindex ldc) {
  panel_kernel<4, 64>(cols, panel, b, ldb, c, ldc);
}
void dgemm_panel_16x48(int cols, const double *panel, const double *b, dindex ldb, double *c, dindex ldc) {
  panel_kernel<16, 48>(cols, panel, b, ldb, c, ldc);
}
void dgemm_panel_32x32(int cols, const double *panel, const double *b, dindex ldb, double *c, dindex ldc) {
  panel_kernel<32, 32>(cols, panel, b, ldb, c, ldc);
}
void dgemm_panel_32x16(int cols, const double *panel, const double *b, dindex ldb, double *c, dindex ldc) {
  panel_kernel<32, 16>(cols, panel, b, ldb, c, ldc);
}

}  // namespace tav
