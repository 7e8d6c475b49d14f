#pragma once
// Serial double-complex matrix product and the routines under it. All internal.
//
// zgemm_seq forms C := alpha op(A) op(B) + beta C, op being the matrix ("N",
// "n"), its transpose ("T", "t") or, for any other letter, its conjugate
// transpose. All sums are held in tav::xreal. Panel kernels take 2-row
// stripes of a packed A panel (no alpha in it) against one column of B, read
// in place when B is direct and packed otherwise, and apply alpha to the
// finished tile; edge kernels read A and B in place.
//   A panel: (row i, depth p, part) at double index
//            (i / 2) * 4 * D + p * 4 + (i % 2) * 2 + part, D the panel's depth.
//   B block: (depth p, column j) at complex index j * 32 + p, interleaved.

#include <cstddef>

#include "tav_q7.h"

namespace tav {

// Block sizes of zgemm_seq.
namespace zgemm_blocks {
constexpr int c_rows = 128;       // rows of a block of C in the main pass
constexpr int c_cols = 64;        // columns of a block of C in the main pass
constexpr int depth_block = 32;   // depth of a full block
constexpr int b_stride = 32;      // leading dimension of the packed B block
constexpr int panel_rows = 16;    // rows of a full panel
constexpr int stripe = 2;         // rows of a stripe, the tile of a panel kernel
constexpr int tail_cols = 128;    // columns of a block in the tail pass
constexpr int tail_rows = 32;     // rows of a group for the tail edge kernels
constexpr int tail_depth_1 = 24;  // tail panel depths: 16-row panels at 24,
constexpr int tail_depth_2 = 16;  // 32-row panels at 16

// Frame buffers in doubles, each 256 bytes longer than its largest content.
constexpr int a_panel_size = 8448 / 8;
constexpr int b_block_size = 65792 / 8;
}  // namespace zgemm_blocks

// C := alpha op(A) op(B) + beta C, all arguments by address. Nothing is checked.
void zgemm_seq(const char *transa, const char *transb, const int *m, const int *n, const int *k,
               const tav_complex16 *alpha, const tav_complex16 *a, const int *lda, const tav_complex16 *b,
               const int *ldb, const tav_complex16 *beta, tav_complex16 *c, const int *ldc);

// A panel of `rows` (even) by `depth` from op(A); `a` points at op(A)(0, 0).
void zgemm_pack_a_n(const tav_complex16 *a, std::ptrdiff_t lda, int rows, int depth, double *panel);
void zgemm_pack_a_t(const tav_complex16 *a, std::ptrdiff_t lda, int rows, int depth, double *panel);
void zgemm_pack_a_c(const tav_complex16 *a, std::ptrdiff_t lda, int rows, int depth, double *panel);
// B block of `cols` by `depth` from a transposed or conjugated B; `b` at op(B)(0, 0).
void zgemm_pack_b_t(int cols, int depth, const tav_complex16 *b, std::ptrdiff_t ldb, tav_complex16 *block,
                    int stride);
void zgemm_pack_b_c(int cols, int depth, const tav_complex16 *b, std::ptrdiff_t ldb, tav_complex16 *block,
                    int stride);

// C += alpha (panel x B) over `cols` columns, B(p, j) at b[p + j * ldb].
using zgemm_panel_kernel = void(int cols, const double *panel, const tav_complex16 *b, std::ptrdiff_t ldb,
                                tav_complex16 *c, std::ptrdiff_t ldc, tav_complex16 alpha);
zgemm_panel_kernel zgemm_panel_16x32, zgemm_panel_8x32, zgemm_panel_4x32, zgemm_panel_32x16, zgemm_panel_16x24;

// C += alpha op(A) op(B) on a small block, read in place (beta is always 1).
// `a` at op(A)(0, 0), `b` at op(B)(0, 0).
using zgemm_edge_kernel = void(int rows, int cols, int depth, tav_complex16 alpha, const tav_complex16 *a,
                               std::ptrdiff_t lda, const tav_complex16 *b, std::ptrdiff_t ldb, tav_complex16 *c,
                               std::ptrdiff_t ldc);
zgemm_edge_kernel zgemm_edge_nn, zgemm_edge_nt, zgemm_edge_nc, zgemm_edge_tn, zgemm_edge_tt, zgemm_edge_tc,
    zgemm_edge_cn, zgemm_edge_ct, zgemm_edge_cc;

}  // namespace tav
