#pragma once
// Serial single-complex matrix product and the routines under it. All internal.
//
// cgemm_seq forms C := alpha op(A) op(B) + beta C, op being the matrix ("N",
// "n"), its transpose ("T", "t") or, for any other letter, its conjugate
// transpose. Small products go to cgemm_small, which reads the operands in
// place. Larger ones work in a heap scratch of three 64-byte-aligned areas:
//   a_panel: up to 32 rows by depth 64, alpha folded in. Row pairs are the
//            outer unit; float index of (row i, depth p, part)
//            (i / 2) * 4 * D + (p / 4) * 16 + (i % 2) * 8 + part * 4 + p % 4,
//            D the depth of the panel, so that four depth steps of a row pair
//            are four vectors: re row 0, im row 0, re row 1, im row 1.
//   b_block: up to 192 columns by depth 64; (depth p, column j, part) at
//            j * 128 + (p / 4) * 8 + part * 4 + p % 4.
//   c_block: up to 512 rows by 192 columns of C; (row i, column j, part) at
//            ((i / 8) * nb + j) * 16 + (i % 8) * 2 + part, nb the block's
//            column count: eight interleaved rows of a column, then the next
//            column, and groups of eight rows one after another.
// part is 0 for the real and 1 for the imaginary part.

#include <cstddef>

#include "tav_q7.h"

namespace tav {

// Sizes of cgemm_seq.
namespace cgemm_blocks {
constexpr int panel_rows = 8;     // rows of a panel kernel's call, one group of c_block
constexpr int panel_span = 32;    // rows of a full A panel
constexpr int depth_block = 64;   // depth of a full block
constexpr int b_stride = 64;      // complex elements between columns of b_block
constexpr int c_stride = 8;       // leading dimension of c_block within a group
constexpr int short_rows = 4;     // rows of the short panel
constexpr int tail_depth_1 = 48;  // depths of the tail panel kernels
constexpr int tail_depth_2 = 32;
constexpr int tail_depth_3 = 16;
constexpr int col_block = 192;    // columns of a block of C
constexpr int row_block = 512;    // rows of a block of C
constexpr int small_dim = 4;      // any of m, n, k below this: cgemm_small
constexpr int small_sum = 50;     // m + n + k at least this: the large path
constexpr double small_ratio = 0.08;  // elements per flop below this: the large path

// The scratch block and its areas, in bytes from the 64-byte-aligned base.
constexpr std::size_t scratch_bytes = 901248;
constexpr std::size_t scratch_align = 64;
constexpr std::size_t a_panel_offset = 0;
constexpr std::size_t b_block_offset = 16384;
constexpr std::size_t c_block_offset = 114688;
}  // namespace cgemm_blocks

// C := alpha op(A) op(B) + beta C, all arguments by address. Nothing is checked.
void cgemm_seq(const char *transa, const char *transb, const int *m, const int *n, const int *k,
               const tav_complex8 *alpha, const tav_complex8 *a, const int *lda, const tav_complex8 *b,
               const int *ldb, const tav_complex8 *beta, tav_complex8 *c, const int *ldc);

// The whole product read in place, in single precision; also the edge kernel
// of the large path (beta (1, 0), C being a group of c_block with ldc 8).
void cgemm_small(const char *transa, const char *transb, const int *m, const int *n, const int *k,
                 const tav_complex8 *alpha, const tav_complex8 *a, const int *lda, const tav_complex8 *b,
                 const int *ldb, const tav_complex8 *beta, tav_complex8 *c, const int *ldc);

// c_block := beta C, := C, := 0 for `rows` (a multiple of 8) by `cols`;
// c_block := C back. `block` is a c_block with `stride` 8.
void cgemm_scale_c(int rows, int cols, const tav_complex8 *c, std::ptrdiff_t ldc, float *block, int stride,
                   tav_complex8 beta);
void cgemm_load_c(int rows, int cols, const tav_complex8 *c, std::ptrdiff_t ldc, float *block, int stride);
void cgemm_zero_c(int rows, int cols, float *block, int stride);
void cgemm_flush_c(int rows, int cols, tav_complex8 *c, std::ptrdiff_t ldc, const float *block, int stride);

// A panel of `rows` (even) by `depth` (a multiple of 4) from op(A), each
// element multiplied by alpha; `a` points at op(A)(0, 0).
void cgemm_pack_a_n(const tav_complex8 *a, std::ptrdiff_t lda, int rows, int depth, float *panel,
                    tav_complex8 alpha);
void cgemm_pack_a_t(const tav_complex8 *a, std::ptrdiff_t lda, int rows, int depth, float *panel,
                    tav_complex8 alpha);
void cgemm_pack_a_c(const tav_complex8 *a, std::ptrdiff_t lda, int rows, int depth, float *panel,
                    tav_complex8 alpha);
// b_block of `cols` by `depth` (a multiple of 4) from op(B); `b` at op(B)(0, 0).
// `stride` is in complex elements.
void cgemm_pack_b_n(int cols, int depth, const tav_complex8 *b, std::ptrdiff_t ldb, float *block, int stride);
void cgemm_pack_b_t(int cols, int depth, const tav_complex8 *b, std::ptrdiff_t ldb, float *block, int stride);
void cgemm_pack_b_c(int cols, int depth, const tav_complex8 *b, std::ptrdiff_t ldb, float *block, int stride);

// c_block group += panel x b_block over `cols` columns; `rows` even, `depth`
// the kernel's own, `cstride` the c_block stride (8).
using cgemm_panel_kernel = void(int rows, int cols, int depth, const float *panel, const float *block, int stride,
                                float *c, int cstride);
cgemm_panel_kernel cgemm_panel_8x64, cgemm_panel_4x64, cgemm_panel_8x48, cgemm_panel_8x32, cgemm_panel_8x16;

}  // namespace tav
