#pragma once
// The serial double-precision matrix product and the routines under it.
//
// dgemm_seq forms C := alpha op(A) op(B) + beta C. All its arithmetic is held in
// tav::xreal (the x87 stack): panel kernels sum 4-row stripes of a packed A
// panel (alpha folded in, rounded to double) against one column of B; edge
// kernels take the rows and depths too ragged for a panel, reading A and B in
// place and applying alpha to the finished sum.

#include <cstddef>

namespace tav {

using dindex = std::ptrdiff_t;

// Block sizes of the driver.
constexpr int dgemm_c_block = 128;     // rows and columns of a block of C in the main pass
constexpr int dgemm_depth_block = 64;  // depth of a full block
constexpr int dgemm_b_stride = 64;     // leading dimension of the packed B block
constexpr int dgemm_panel_rows = 16;   // rows of a full panel
constexpr int dgemm_short_rows = 8;    // rows of the short panel after the full ones
constexpr int dgemm_wide_rows = 32;    // rows of the tail panels of depth 32 and 16
constexpr int dgemm_stripe = 4;        // rows of a stripe, the tile of a panel kernel
constexpr int dgemm_tail_cols = 256;   // columns of a block in the tail pass
constexpr int dgemm_tail_rows = 32;    // rows of a group for the tail edge kernels
constexpr int dgemm_pad_depth = 58;    // least tail depth that is padded to a full block
constexpr int dgemm_tail_depth_1 = 48;
constexpr int dgemm_tail_depth_2 = 32;
constexpr int dgemm_tail_depth_3 = 16;

// Buffer sizes in doubles: a panel of 16 x 64 (or 32 x 32) and a B block of
// 64 x 256, each with the 256-byte margin of the frame layout.
constexpr int dgemm_a_panel_size = 8448 / 8;
constexpr int dgemm_b_block_size = 131328 / 8;

// C := alpha op(A) op(B) + beta C. op is the identity for a flag of 'N' or 'n',
// the transpose for any other character. Nothing is checked.
void dgemm_seq(const char *transa, const char *transb, const int *m, const int *n, const int *k,
               const double *alpha, const double *a, const int *lda, const double *b, const int *ldb,
               const double *beta, double *c, const int *ldc);

// Packing. A panel holds (row i, depth p) at (i / 4) * 4 * stride + p * 4 + i % 4,
// each value (double)(alpha * a); a B block holds (depth p, column j) at j * stride + p.
void dgemm_pack_a_n(const double *a, dindex lda, int rows, int depth, double *panel, double alpha);
void dgemm_pack_a_t(const double *a, dindex lda, int rows, int depth, double *panel, double alpha);
void dgemm_pack_b_t(int cols, int depth, const double *b, dindex ldb, double *block, int stride);
void dgemm_padpack_a_n(const double *a, dindex lda, int rows, int depth, int stride, double *panel,
                       double alpha);
void dgemm_padpack_a_t(const double *a, dindex lda, int rows, int depth, int stride, double *panel,
                       double alpha);
void dgemm_padpack_b_n(int cols, int depth, int full, const double *b, dindex ldb, double *block,
                       int stride);
void dgemm_padpack_b_t(int cols, int depth, int full, const double *b, dindex ldb, double *block,
                       int stride);

// Panel kernels: C += panel x B over `cols` columns (B read with `ldb`).
using dgemm_panel_kernel = void(int cols, const double *panel, const double *b, dindex ldb, double *c, dindex ldc);
dgemm_panel_kernel dgemm_panel_16x64, dgemm_panel_8x64, dgemm_panel_4x64, dgemm_panel_16x48, dgemm_panel_32x32,
    dgemm_panel_32x16;

// Edge kernels: C += alpha op(A) op(B) straight from A and B. The edge64 kernels
// run exactly 64 depth steps (their `depth` is not read); the others any depth.
using dgemm_edge_kernel = void(int rows, int cols, int depth, double alpha, const double *a, dindex lda,
                               const double *b, dindex ldb, double *c, dindex ldc);
dgemm_edge_kernel dgemm_edge64_nn, dgemm_edge64_tn, dgemm_edge64_nt, dgemm_edge64_tt;
dgemm_edge_kernel dgemm_edge_nn, dgemm_edge_tn, dgemm_edge_nt, dgemm_edge_tt;

}  // namespace tav
