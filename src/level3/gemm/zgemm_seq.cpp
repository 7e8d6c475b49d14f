// Serial double-complex product C := alpha op(A) op(B) + beta C.
//
// beta first, per block of 128 rows by 64 columns of C: (0, 0) clears it
// without reading, (1, 0) leaves it alone, any other value multiplies each
// element in extended precision, rounded once (a part that is NaN counts as
// equal to the value it is tested against). Then the depth in blocks of 32,
// ascending; each block's sum for an element is formed on its own in extended
// precision, multiplied by alpha (or simply added or subtracted for alpha
// (1, 0) and (-1, 0) in the panels) and added to C, which is rounded to double
// after every block. Rows go in panels of 16, then 8, then 4; the last 1 to 3
// rows of a block go to the edge kernel. The depth left after the full
// blocks is a second pass over all of C in columns of 128: 24 steps in
// 16-row panels or 16 steps in 32-row panels, the edge kernel for the rows
// below the panels and for the steps past the panel depth.

#include <algorithm>

#include "level3/gemm/complex_ops.h"
#include "level3/gemm/zgemm.h"
#include "level3/gemm/zgemm_scale.h"

namespace tav {
namespace {

using namespace zgemm_blocks;
using cplx::cd;
using cplx::idx;

using pack_a_fn = void (*)(const cd *, idx, int, int, double *);
using pack_b_fn = void (*)(int, int, const cd *, idx, cd *, int);

constexpr int beta_round = 4;  // elements per round of the beta walk

void apply_beta(int rows, int cols, const cd &beta, cd *c, idx ldc) {
  const bool clear = cplx::is_zero(beta);
  if (!clear && cplx::is_one(beta)) return;
  const xreal br = (xreal)beta.re, bi = (xreal)beta.im;
  auto scale = [&](cd &v) {
    if (clear) {
      v = cd{0.0, 0.0};
    } else {
      const xreal vr = (xreal)v.re, vi = (xreal)v.im;
      v = cd{(double)(br * vr - bi * vi), (double)(br * vi + bi * vr)};
    }
  };
  for (int j = 0; j < cols; ++j) {
    cd *cj = c + j * ldc;
    int i = 0;
    for (; i + beta_round <= rows; i += beta_round)
      for (int u = 0; u < beta_round; ++u) scale(cj[i + u]);
    for (; i < rows; ++i) scale(cj[i]);
  }
}

struct b_source {
  const cd *b;
  idx ld;
};

// The operands with the routines that suit the two flags.
struct operands : cplx::operand_pair<cd> {
  pack_a_fn pack_a;
  pack_b_fn pack_b;  // null for a direct B, which is read in place
  zgemm_edge_kernel *edge;

  operands(char ta, char tb, const cd *a_, idx lda_, const cd *b_, idx ldb_, cd alpha_)
      : operand_pair(ta, tb, a_, lda_, b_, ldb_, alpha_) {
    // Rows by op(A) (direct, transposed, conjugated), columns by op(B).
    static zgemm_edge_kernel *const edges[3][3] = {{zgemm_edge_nn, zgemm_edge_nt, zgemm_edge_nc},
                                                   {zgemm_edge_tn, zgemm_edge_tt, zgemm_edge_tc},
                                                   {zgemm_edge_cn, zgemm_edge_ct, zgemm_edge_cc}};
    static const pack_a_fn pack_as[] = {zgemm_pack_a_n, zgemm_pack_a_t, zgemm_pack_a_c};
    static const pack_b_fn pack_bs[] = {nullptr, zgemm_pack_b_t, zgemm_pack_b_c};
    pack_a = pack_as[static_cast<int>(ka)];
    pack_b = pack_bs[static_cast<int>(kb)];
    edge = edges[static_cast<int>(ka)][static_cast<int>(kb)];
  }

  b_source b_for_panels(int p, int j, int nb, int depth, cd *block) const {
    if (!pack_b) return {b_at(p, j), ldb};
    pack_b(nb, depth, b_at(p, j), ldb, block, b_stride);
    return {block, b_stride};
  }
  void edges(int i, int rows, int j, int cols, int p, int depth, cd *c, idx ldc) const {
    edge(rows, cols, depth, alpha, a_at(i, p), lda, b_at(p, j), ldb, c + i + j * ldc, ldc);
  }
};

// The edge kernel over rows [0, rows) in groups of 32, at depth [p0, p0 + depth).
void tail_edges(const operands &op, int rows, int j0, int nb, int p0, int depth, cd *c, idx ldc) {
  for (int i = 0; i < rows; i += tail_rows) op.edges(i, std::min(tail_rows, rows - i), j0, nb, p0, depth, c, ldc);
}

}  // namespace

void zgemm_seq(const char *transa, const char *transb, const int *m, const int *n, const int *k,
               const tav_complex16 *alpha, const tav_complex16 *a, const int *lda, const tav_complex16 *b,
               const int *ldb, const tav_complex16 *beta, tav_complex16 *c, const int *ldc) {
  const int rows = *m, cols = *n, depth = *k;
  if (rows <= 0 || cols <= 0) return;
  const operands op(*transa, *transb, a, *lda, b, *ldb, *alpha);
  const idx c_ld = *ldc;

  alignas(16) double a_panel[a_panel_size];
  alignas(16) cd b_block[b_block_size / 2];

  const int k_main = depth / depth_block * depth_block;
  const int k_tail = depth - k_main;

  // Main pass: blocks of 128 rows by 64 columns of C, columns outermost.
  for (int j0 = 0; j0 < cols; j0 += c_cols) {
    const int nb = std::min(c_cols, cols - j0);
    for (int i0 = 0; i0 < rows; i0 += c_rows) {
      const int mb = std::min(c_rows, rows - i0);
      cd *cb = c + i0 + j0 * c_ld;
      apply_beta(mb, nb, *beta, cb, c_ld);
      const int rows_main = mb / panel_rows * panel_rows;
      for (int kk = 0; kk < k_main; kk += depth_block) {
        const b_source bk = op.b_for_panels(kk, j0, nb, depth_block, b_block);
        auto panel = [&](int ii, int prows, zgemm_panel_kernel *kernel) {
          op.pack_a(op.a_at(i0 + ii, kk), op.lda, prows, depth_block, a_panel);
          kernel(nb, a_panel, bk.b, bk.ld, cb + ii, c_ld, op.alpha);
        };
        int ii = 0;
        for (; ii < rows_main; ii += panel_rows) panel(ii, panel_rows, zgemm_panel_16x32);
        if (mb - ii >= 8) {
          panel(ii, 8, zgemm_panel_8x32);
          ii += 8;
        }
        if (mb - ii >= 4) {
          panel(ii, 4, zgemm_panel_4x32);
          ii += 4;
        }
        if (mb - ii > 0) op.edges(i0 + ii, mb - ii, j0, nb, kk, depth_block, c, c_ld);
      }
    }
  }
  if (k_tail == 0) return;

  // Tail pass over all rows, columns in blocks of 128.
  if (k_tail >= tail_depth_2) {
    const bool deep = k_tail >= tail_depth_1;
    const int d = deep ? tail_depth_1 : tail_depth_2;
    const int prows = deep ? 16 : 32;
    zgemm_panel_kernel *kernel = deep ? zgemm_panel_16x24 : zgemm_panel_32x16;
    const int rows_main = rows / prows * prows;
    for (int j0 = 0; j0 < cols; j0 += tail_cols) {
      const int nb = std::min(tail_cols, cols - j0);
      const b_source bk = op.b_for_panels(k_main, j0, nb, d, b_block);
      for (int ii = 0; ii < rows_main; ii += prows) {
        op.pack_a(op.a_at(ii, k_main), op.lda, prows, d, a_panel);
        kernel(nb, a_panel, bk.b, bk.ld, c + ii + j0 * c_ld, c_ld, op.alpha);
      }
      if (rows > rows_main) op.edges(rows_main, rows - rows_main, j0, nb, k_main, d, c, c_ld);
      // The steps past d, over all rows.
      if (k_tail > d) tail_edges(op, rows, j0, nb, k_main + d, k_tail - d, c, c_ld);
    }
    return;
  }
  for (int j0 = 0; j0 < cols; j0 += tail_cols)
    tail_edges(op, rows, j0, std::min(tail_cols, cols - j0), k_main, k_tail, c, c_ld);
}

}  // namespace tav
