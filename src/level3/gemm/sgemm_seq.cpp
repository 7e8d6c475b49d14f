// Serial single-precision matrix product C := alpha op(A) op(B) + beta C.
//
// Order of arithmetic: beta is applied to each 256 x 256 block of C just
// before the block is used (beta that is 0 or NaN clears it unread; any other
// value, 1 too, multiplies). The depth is cut into blocks of 64 and a tail;
// for each block an element of C receives one sum of (alpha a) b formed from
// zero in ascending depth, either in single precision by a panel kernel (rows
// in panels of 32 or 16) or in extended precision by an edge kernel (the
// other rows; the sum times alpha is then added to C and rounded once). The
// main blocks are added in ascending order, then the tail, which goes in a
// padded 64-step panel (58 to 63 steps), in one panel of 48, 32 or 16 steps
// with the few steps left to the edge kernel, or wholly in the edge kernel.

#include <cstddef>

#include "level3/gemm/sgemm.h"

namespace tav {
namespace {

using namespace sgemm_blocks;

using PackA = void (*)(const float *, const int &, const int &, const int &, float *, const float &);
using PadPackA = void (*)(const float *, const int &, const int &, const int &, const int &, float *,
                          const float &);
using PadPackB = void (*)(const int &, const int &, const int &, const float *, const int &, float *,
                          const int &);
using Panel = void (*)(const int &, const float *, const float *, const int &, float *, const int &);
using Edge = void (*)(const int &, const int &, const int &, const float &, const float *, const int &,
                      const float *, const int &, float *, const int &);

inline int min_of(int x, int y) { return x < y ? x : y; }

// Addresses of op(X)(i, p) for a stored X: the flag decides which index runs
// down the stored columns.
inline const float *op_addr(const float *x, int ld, bool direct, int i, int p) {
  return direct ? x + i + static_cast<std::ptrdiff_t>(p) * ld
                : x + p + static_cast<std::ptrdiff_t>(i) * ld;
}

}  // namespace

void sgemm_seq(const char *transa, const char *transb, const int *m_, const int *n_, const int *k_,
               const float *alpha, const float *a, const int *lda_, const float *b, const int *ldb_,
               const float *beta, float *c, const int *ldc_) {
  const int m = *m_, n = *n_, k = *k_;
  if (m <= 0 || n <= 0) return;
  const int lda = *lda_, ldb = *ldb_, ldc = *ldc_;

  // The block sizes, passed to the kernels by reference.
  const int rows_32 = panel_rows, depth_64 = depth_block, stride_64 = b_stride, rows_16 = short_rows;
  const int tail_48 = tail_depth_1, tail_32 = tail_depth_2, tail_16 = tail_depth_3;

  alignas(16) float a_panel[a_panel_floats];
  alignas(16) float b_block[b_block_floats];

  // Only the exact letters N and n mean a direct operand.
  const bool a_direct = *transa == 'N' || *transa == 'n';
  const bool b_direct = *transb == 'N' || *transb == 'n';

  const PackA pack_a = a_direct ? sgemm_pack_a_n : sgemm_pack_a_t;
  const PadPackA padpack_a = a_direct ? sgemm_padpack_a_n : sgemm_padpack_a_t;
  const PadPackB padpack_b = b_direct ? sgemm_padpack_b_n : sgemm_padpack_b_t;
  const Edge edge = a_direct ? (b_direct ? sgemm_edge_nn : sgemm_edge_nt)
                             : (b_direct ? sgemm_edge_tn : sgemm_edge_tt);

  auto a_at = [&](int i, int p) { return op_addr(a, lda, a_direct, i, p); };
  auto b_at = [&](int p, int j) { return op_addr(b, ldb, !b_direct, j, p); };
  auto c_at = [&](int i, int j) { return c + i + static_cast<std::ptrdiff_t>(j) * ldc; };

  const int k_main = k / depth_block * depth_block;
  const int k_tail = k - k_main;

  // Main pass: blocks of C, beta on each, then the full depth blocks.
  for (int j0 = 0; j0 < n; j0 += c_edge) {
    const int nb = min_of(c_edge, n - j0);
    for (int i0 = 0; i0 < m; i0 += c_edge) {
      const int mb = min_of(c_edge, m - i0);
      float *cb = c_at(i0, j0);
      // Neither below nor above zero: 0, -0 and NaN all clear the block.
      const double bt = *beta;
      if (!(bt < 0.0) && !(bt > 0.0))
        sgemm_zero_c(mb, nb, cb, ldc);
      else
        sgemm_scale_c(mb, nb, *beta, cb, ldc);

      const int rows_main = mb / panel_rows * panel_rows;
      for (int kk = 0; kk < k_main; kk += depth_block) {
        const float *bp = b_at(kk, j0);
        int ldbp = ldb;
        if (!b_direct) {
          sgemm_pack_b_t(nb, depth_64, bp, ldb, b_block, stride_64);
          bp = b_block;
          ldbp = b_stride;
        }
        for (int ii = 0; ii < rows_main; ii += panel_rows) {
          pack_a(a_at(i0 + ii, kk), lda, rows_32, depth_64, a_panel, *alpha);
          sgemm_panel_32x64(nb, a_panel, bp, ldbp, cb + ii, ldc);
        }
        int rest = mb - rows_main;
        if (rest >= short_rows) {
          pack_a(a_at(i0 + rows_main, kk), lda, rows_16, depth_64, a_panel, *alpha);
          sgemm_panel_16x64(nb, a_panel, bp, ldbp, cb + rows_main, ldc);
          rest -= short_rows;
        }
        if (rest > 0) {
          const int r0 = mb - rest;
          edge(rest, nb, depth_64, *alpha, a_at(i0 + r0, kk), lda, b_at(kk, j0), ldb, cb + r0, ldc);
        }
      }
    }
  }
  if (k_tail == 0) return;

  // Tail pass over the whole of m, columns again in blocks.
  const int rows_main = m / panel_rows * panel_rows;
  const int m_rest = m - rows_main;

  // Edge kernel over all rows, in groups of up to 32, for depths [p0, p0 + depth).
  auto edge_all_rows = [&](int j0, int nb, int p0, int depth) {
    for (int i0 = 0; i0 < m; i0 += panel_rows) {
      const int rows = min_of(panel_rows, m - i0);
      edge(rows, nb, depth, *alpha, a_at(i0, p0), lda, b_at(p0, j0), ldb, c_at(i0, j0), ldc);
    }
  };

  if (k_tail >= pad_depth) {
    // Padded to a full depth block. The panel's depth steps past the tail
    // keep what the last panel of the main pass left there and meet the zero
    // rows of the B block (an infinity left there makes a NaN). With no main
    // pass they have never been written: clear them, so nothing undefined is read.
    if (k_main == 0)
      for (float &v : a_panel) v = 0.0f;
    // Clear the ends of eight groups of 256 floats, walking the panel as rows
    // in groups of 4. These places are all refilled below; the padding is made
    // harmless by the zero rows of the B block.
    for (int g = 0; g < 8; ++g)
      for (int x = g * 256 + 4 * k_tail; x < g * 256 + 256; ++x) a_panel[x] = 0.0f;
    for (int j0 = 0; j0 < n; j0 += c_edge) {
      const int nb = min_of(c_edge, n - j0);
      padpack_b(nb, k_tail, depth_64, b_at(k_main, j0), ldb, b_block, stride_64);
      for (int ii = 0; ii < rows_main; ii += panel_rows) {
        padpack_a(a_at(ii, k_main), lda, rows_32, k_tail, depth_64, a_panel, *alpha);
        sgemm_panel_32x64(nb, a_panel, b_block, stride_64, c_at(ii, j0), ldc);
      }
      if (m_rest > 0)
        edge(m_rest, nb, k_tail, *alpha, a_at(rows_main, k_main), lda, b_at(k_main, j0), ldb,
             c_at(rows_main, j0), ldc);
    }
    return;
  }

  if (k_tail >= tail_depth_3) {
    const int *d = k_tail >= tail_depth_1 ? &tail_48 : k_tail >= tail_depth_2 ? &tail_32 : &tail_16;
    const Panel panel = *d == tail_depth_1   ? sgemm_panel_32x48
                        : *d == tail_depth_2 ? sgemm_panel_32x32
                                             : sgemm_panel_32x16;
    for (int j0 = 0; j0 < n; j0 += c_edge) {
      const int nb = min_of(c_edge, n - j0);
      const float *bp = b_at(k_main, j0);
      int ldbp = ldb;
      if (!b_direct) {
        sgemm_pack_b_t(nb, *d, bp, ldb, b_block, stride_64);
        bp = b_block;
        ldbp = b_stride;
      }
      for (int ii = 0; ii < rows_main; ii += panel_rows) {
        pack_a(a_at(ii, k_main), lda, rows_32, *d, a_panel, *alpha);
        panel(nb, a_panel, bp, ldbp, c_at(ii, j0), ldc);
      }
    }
    if (m_rest > 0)
      for (int j0 = 0; j0 < n; j0 += c_edge) {
        const int nb = min_of(c_edge, n - j0);
        edge(m_rest, nb, *d, *alpha, a_at(rows_main, k_main), lda, b_at(k_main, j0), ldb,
             c_at(rows_main, j0), ldc);
      }
    const int k_left = k_tail - *d;
    if (k_left > 0)
      for (int j0 = 0; j0 < n; j0 += c_edge) edge_all_rows(j0, min_of(c_edge, n - j0), k_main + *d, k_left);
    return;
  }

  for (int j0 = 0; j0 < n; j0 += c_edge) edge_all_rows(j0, min_of(c_edge, n - j0), k_main, k_tail);
}

}  // namespace tav
