// Serial double-precision product C := alpha op(A) op(B) + beta C.
//
// beta first, per 128 x 128 block of C: 0 (or NaN, which compares equal) clears
// it without reading, 1 leaves it alone, any other value multiplies each element
// in extended precision, rounded once to double. Then the depth in blocks of 64,
// ascending; each block's sum for an element is formed on its own (see the
// panel and edge kernels) and added to C, which is rounded to double after every
// block. The depth left over after the full blocks (the tail) is a second pass
// over the whole of C: padded to 64 from 58 steps up, else in panels of 48, 32
// or 16 steps and the edge kernels for the rest. Which rows fall in a panel
// (alpha folded into A) and which in an edge kernel (alpha times the sum) is
// fixed by m and these sizes, and changes the last bits of the result.

#include <algorithm>

#include "frame/xreal.h"
#include "level3/gemm/dgemm.h"

namespace tav {
namespace {

using panel_fn = dgemm_panel_kernel *;
using pack_a_fn = void (*)(const double *, dindex, int, int, double *, double);
using padpack_a_fn = void (*)(const double *, dindex, int, int, int, double *, double);
using padpack_b_fn = void (*)(int, int, int, const double *, dindex, double *, int);

constexpr int beta_round = 4;  // elements per round of the beta walk

// beta on a block of C, a column at a time.
void apply_beta(int rows, int cols, double beta, double *c, dindex ldc) {
  const bool clear = !(beta < 0.0) && !(beta > 0.0);  // a NaN beta clears too
  if (!clear && !(beta < 1.0) && !(beta > 1.0)) return;
  for (int j = 0; j < cols; ++j) {
    double *cj = c + j * ldc;
    int i = 0;
    if (clear) {
      for (; i + beta_round <= rows; i += beta_round)
        for (int u = 0; u < beta_round; ++u) cj[i + u] = 0.0;
      for (; i < rows; ++i) cj[i] = 0.0;
    } else {
      for (; i + beta_round <= rows; i += beta_round)
        for (int u = 0; u < beta_round; ++u) cj[i + u] = (double)((xreal)cj[i + u] * (xreal)beta);
      for (; i < rows; ++i) cj[i] = (double)((xreal)cj[i] * (xreal)beta);
    }
  }
}

// Where a panel kernel reads B: in place, or the packed block.
struct b_source {
  const double *b;
  dindex ld;
};

// The operands of one call: where op(A)(i, p) and op(B)(p, j) lie, and the
// routines that suit the two flags.
struct operands {
  const double *a;
  dindex lda;
  const double *b;
  dindex ldb;
  bool a_direct, b_direct;
  pack_a_fn pack_a;
  padpack_a_fn padpack_a;
  padpack_b_fn padpack_b;
  dgemm_edge_kernel *edge64, *edge;

  const double *a_at(int i, int p) const { return a_direct ? a + i + p * lda : a + p + i * lda; }
  const double *b_at(int p, int j) const { return b_direct ? b + p + j * ldb : b + j + p * ldb; }
  // A direct B is read where it lies; a transposed one is packed first.
  b_source b_for_panels(int p, int j, int nb, int depth, double *block) const {
    if (b_direct) return {b_at(p, j), ldb};
    dgemm_pack_b_t(nb, depth, b_at(p, j), ldb, block, dgemm_b_stride);
    return {block, dgemm_b_stride};
  }
};

operands choose(char transa, char transb, const double *a, dindex lda, const double *b, dindex ldb) {
  operands op{};
  op.a = a;
  op.lda = lda;
  op.b = b;
  op.ldb = ldb;
  op.a_direct = transa == 'N' || transa == 'n';
  op.b_direct = transb == 'N' || transb == 'n';
  op.pack_a = op.a_direct ? dgemm_pack_a_n : dgemm_pack_a_t;
  op.padpack_a = op.a_direct ? dgemm_padpack_a_n : dgemm_padpack_a_t;
  op.padpack_b = op.b_direct ? dgemm_padpack_b_n : dgemm_padpack_b_t;
  if (op.a_direct) {
    op.edge64 = op.b_direct ? dgemm_edge64_nn : dgemm_edge64_nt;
    op.edge = op.b_direct ? dgemm_edge_nn : dgemm_edge_nt;
  } else {
    op.edge64 = op.b_direct ? dgemm_edge64_tn : dgemm_edge64_tt;
    op.edge = op.b_direct ? dgemm_edge_tn : dgemm_edge_tt;
  }
  return op;
}

// The edge kernel over rows [i0, i1) in groups of 32, at depth [p0, p0 + depth).
void tail_edges(const operands &op, int i0, int i1, int j0, int nb, int p0, int depth, double alpha, double *c,
                dindex ldc) {
  for (int i = i0; i < i1; i += dgemm_tail_rows) {
    const int rows = std::min(dgemm_tail_rows, i1 - i);
    op.edge(rows, nb, depth, alpha, op.a_at(i, p0), op.lda, op.b_at(p0, j0), op.ldb, c + i + j0 * ldc, ldc);
  }
}

}  // namespace

void dgemm_seq(const char *transa, const char *transb, const int *m, const int *n, const int *k,
               const double *alpha, const double *a, const int *lda, const double *b, const int *ldb,
               const double *beta, double *c, const int *ldc) {
  const int rows = *m, cols = *n, depth = *k;
  if (rows <= 0 || cols <= 0) return;
  const operands op = choose(*transa, *transb, a, *lda, b, *ldb);
  const dindex c_ld = *ldc;

  alignas(16) double a_panel[dgemm_a_panel_size];
  alignas(16) double b_block[dgemm_b_block_size];

  const int k_main = depth / dgemm_depth_block * dgemm_depth_block;
  const int k_tail = depth - k_main;

  // Main pass: blocks of 128 x 128 of C, columns outermost.
  for (int j0 = 0; j0 < cols; j0 += dgemm_c_block) {
    const int nb = std::min(dgemm_c_block, cols - j0);
    for (int i0 = 0; i0 < rows; i0 += dgemm_c_block) {
      const int mb = std::min(dgemm_c_block, rows - i0);
      double *cb = c + i0 + j0 * c_ld;
      apply_beta(mb, nb, *beta, cb, c_ld);
      const int rows_main = mb / dgemm_panel_rows * dgemm_panel_rows;
      for (int kk = 0; kk < k_main; kk += dgemm_depth_block) {
        const b_source bk = op.b_for_panels(kk, j0, nb, dgemm_depth_block, b_block);
        auto panel = [&](int ii, int panel_rows, panel_fn kernel) {
          op.pack_a(op.a_at(i0 + ii, kk), op.lda, panel_rows, dgemm_depth_block, a_panel, *alpha);
          kernel(nb, a_panel, bk.b, bk.ld, cb + ii, c_ld);
        };
        int ii = 0;
        for (; ii < rows_main; ii += dgemm_panel_rows) panel(ii, dgemm_panel_rows, dgemm_panel_16x64);
        if (mb - ii >= dgemm_short_rows) {
          panel(ii, dgemm_short_rows, dgemm_panel_8x64);
          ii += dgemm_short_rows;
        }
        if (mb - ii >= dgemm_stripe) {
          panel(ii, dgemm_stripe, dgemm_panel_4x64);
          ii += dgemm_stripe;
        }
        if (mb - ii > 0)
          op.edge64(mb - ii, nb, dgemm_depth_block, *alpha, op.a_at(i0 + ii, kk), op.lda, op.b_at(kk, j0), op.ldb,
                    cb + ii, c_ld);
      }
    }
  }
  if (k_tail == 0) return;

  // Tail pass over all rows, columns in blocks of 256.
  if (k_tail >= dgemm_pad_depth) {
    // The padding of the A panel is zero for the whole pass: the packing below
    // leaves the depth steps from k_tail to 63 of each stripe alone.
    for (int s = 0; s < dgemm_panel_rows / dgemm_stripe; ++s)
      for (int p = k_tail; p < dgemm_depth_block; ++p)
        for (int r = 0; r < dgemm_stripe; ++r)
          a_panel[s * dgemm_stripe * dgemm_depth_block + p * dgemm_stripe + r] = 0.0;
    const int rows_main = rows / dgemm_panel_rows * dgemm_panel_rows;
    for (int j0 = 0; j0 < cols; j0 += dgemm_tail_cols) {
      const int nb = std::min(dgemm_tail_cols, cols - j0);
      op.padpack_b(nb, k_tail, dgemm_depth_block, op.b_at(k_main, j0), op.ldb, b_block, dgemm_b_stride);
      for (int ii = 0; ii < rows_main; ii += dgemm_panel_rows) {
        op.padpack_a(op.a_at(ii, k_main), op.lda, dgemm_panel_rows, k_tail, dgemm_depth_block, a_panel, *alpha);
        dgemm_panel_16x64(nb, a_panel, b_block, dgemm_b_stride, c + ii + j0 * c_ld, c_ld);
      }
      if (rows > rows_main)
        op.edge(rows - rows_main, nb, k_tail, *alpha, op.a_at(rows_main, k_main), op.lda, op.b_at(k_main, j0),
                op.ldb, c + rows_main + j0 * c_ld, c_ld);
    }
    return;
  }

  if (k_tail >= dgemm_tail_depth_3) {
    int d, panel_rows;
    panel_fn kernel;
    if (k_tail >= dgemm_tail_depth_1) {
      d = dgemm_tail_depth_1, panel_rows = dgemm_panel_rows, kernel = dgemm_panel_16x48;
    } else if (k_tail >= dgemm_tail_depth_2) {
      d = dgemm_tail_depth_2, panel_rows = dgemm_wide_rows, kernel = dgemm_panel_32x32;
    } else {
      d = dgemm_tail_depth_3, panel_rows = dgemm_wide_rows, kernel = dgemm_panel_32x16;
    }
    const int rows_main = rows / panel_rows * panel_rows;
    for (int j0 = 0; j0 < cols; j0 += dgemm_tail_cols) {
      const int nb = std::min(dgemm_tail_cols, cols - j0);
      const b_source bk = op.b_for_panels(k_main, j0, nb, d, b_block);
      for (int ii = 0; ii < rows_main; ii += panel_rows) {
        op.pack_a(op.a_at(ii, k_main), op.lda, panel_rows, d, a_panel, *alpha);
        kernel(nb, a_panel, bk.b, bk.ld, c + ii + j0 * c_ld, c_ld);
      }
      if (rows > rows_main)
        op.edge(rows - rows_main, nb, d, *alpha, op.a_at(rows_main, k_main), op.lda, op.b_at(k_main, j0), op.ldb,
                c + rows_main + j0 * c_ld, c_ld);
      // The steps past d, over all rows.
      if (k_tail > d) tail_edges(op, 0, rows, j0, nb, k_main + d, k_tail - d, *alpha, c, c_ld);
    }
    return;
  }

  for (int j0 = 0; j0 < cols; j0 += dgemm_tail_cols)
    tail_edges(op, 0, rows, j0, std::min(dgemm_tail_cols, cols - j0), k_main, k_tail, *alpha, c, c_ld);
}

}  // namespace tav
