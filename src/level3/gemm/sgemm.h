#pragma once
// Serial single-precision matrix product and the routines under it: the
// scaling of C, the copies into panel formats, the SSE panel kernels and the
// extended-precision edge kernels. All internal.
//
// Panel formats:
//   A panel: rows in stripes of 16; element (row i, depth p) at float index
//            (i / 16) * 16 * D + p * 16 + i % 16, D the panel's depth stride.
//            Values are alpha times the element of op(A), rounded to single.
//   B block: element (depth p, column j) at float index j * stride + p.

namespace tav {

// Block sizes of sgemm_seq.
namespace sgemm_blocks {
constexpr int panel_rows = 32;    // rows of an A panel
constexpr int depth_block = 64;   // depth of a full block
constexpr int b_stride = 64;      // leading dimension of the packed B block
constexpr int short_rows = 16;    // rows of the short A panel, and of a stripe
constexpr int tail_depth_1 = 48;  // depths of the panel kernels for a tail
constexpr int tail_depth_2 = 32;
constexpr int tail_depth_3 = 16;
constexpr int c_edge = 256;       // rows and columns of a block of C
constexpr int pad_depth = 58;     // least tail depth padded to depth_block

// Frame buffers, each 256 bytes longer than its largest content.
constexpr int a_panel_floats = 8448 / 4;
constexpr int b_block_floats = 65792 / 4;
}  // namespace sgemm_blocks

// C := alpha op(A) op(B) + beta C, arguments by address in the BLAS order.
// Only "N" and "n" mean a direct operand; every other letter transposes.
void sgemm_seq(const char *transa, const char *transb, const int *m, const int *n, const int *k,
               const float *alpha, const float *a, const int *lda, const float *b, const int *ldb,
               const float *beta, float *c, const int *ldc);

// C := beta C and C := 0 on a rows x cols block.
void sgemm_scale_c(const int &rows, const int &cols, const float &beta, float *c, const int &ldc);
void sgemm_zero_c(const int &rows, const int &cols, float *c, const int &ldc);

// A panel of `rows` (a multiple of 16) by `depth`, depth stride `depth`.
// The transposed form needs `depth` a multiple of 8 and at least 16.
void sgemm_pack_a_n(const float *a, const int &lda, const int &rows, const int &depth, float *panel,
                    const float &alpha);
void sgemm_pack_a_t(const float *a, const int &lda, const int &rows, const int &depth, float *panel,
                    const float &alpha);
// B block from a transposed B: `depth` rounded down to a multiple of 8 is copied.
void sgemm_pack_b_t(const int &cols, const int &depth, const float *b, const int &ldb, float *block,
                    const int &stride);

// A panel with depth stride `stride`; depth steps from `depth` on are left alone.
void sgemm_padpack_a_n(const float *a, const int &lda, const int &rows, const int &depth,
                       const int &stride, float *panel, const float &alpha);
void sgemm_padpack_a_t(const float *a, const int &lda, const int &rows, const int &depth,
                       const int &stride, float *panel, const float &alpha);
// B block of `depth` rows of op(B), then zeros up to row `full` - 1.
void sgemm_padpack_b_n(const int &cols, const int &depth, const int &full, const float *b,
                       const int &ldb, float *block, const int &stride);
void sgemm_padpack_b_t(const int &cols, const int &depth, const int &full, const float *b,
                       const int &ldb, float *block, const int &stride);

// C += panel x B on `cols` columns (B(p, j) at b[p + j * ldb]).
void sgemm_panel_32x64(const int &cols, const float *panel, const float *b, const int &ldb, float *c,
                       const int &ldc);
void sgemm_panel_16x64(const int &cols, const float *panel, const float *b, const int &ldb, float *c,
                       const int &ldc);
void sgemm_panel_32x48(const int &cols, const float *panel, const float *b, const int &ldb, float *c,
                       const int &ldc);
void sgemm_panel_32x32(const int &cols, const float *panel, const float *b, const int &ldb, float *c,
                       const int &ldc);
void sgemm_panel_32x16(const int &cols, const float *panel, const float *b, const int &ldb, float *c,
                       const int &ldc);

// C += alpha op(A) op(B) on a small block, read in place, sums in extended precision.
void sgemm_edge_nn(const int &rows, const int &cols, const int &depth, const float &alpha,
                   const float *a, const int &lda, const float *b, const int &ldb, float *c,
                   const int &ldc);
void sgemm_edge_tn(const int &rows, const int &cols, const int &depth, const float &alpha,
                   const float *a, const int &lda, const float *b, const int &ldb, float *c,
                   const int &ldc);
void sgemm_edge_nt(const int &rows, const int &cols, const int &depth, const float &alpha,
                   const float *a, const int &lda, const float *b, const int &ldb, float *c,
                   const int &ldc);
void sgemm_edge_tt(const int &rows, const int &cols, const int &depth, const float &alpha,
                   const float *a, const int &lda, const float *b, const int &ldb, float *c,
                   const int &ldc);

}  // namespace tav
