// zgemm edge kernels: C += alpha op(A) op(B) read in place, no packing. For
// each column of C the rows go in tiles of 4, then 1; each element has two
// extended-precision sums from 0, and each depth step, ascending, does
// sr += ar * br, sr -= ai * bi, si += ar * bi, si += ai * br in that order
// (products of widened doubles, conjugated operands with the imaginary part
// negated). The finished sum is multiplied by alpha and added to C (see
// zgemm_add_scaled), rounded once to double. beta is 1 in every call.

#include "level3/gemm/complex_ops.h"
#include "level3/gemm/zgemm.h"
#include "level3/gemm/zgemm_scale.h"

namespace tav {
namespace {

using cplx::cd;
using cplx::idx;

template <int Rows, class OpA, class OpB>
__attribute__((always_inline)) inline void tile_column(int i, int depth, const cd &alpha, const cd *a, idx lda,
                                                       const cd *b, idx ldb, int j, cd *cj) {
  xreal sr[Rows], si[Rows];
  for (int r = 0; r < Rows; ++r) sr[r] = si[r] = 0;
  for (int p = 0; p < depth; ++p) {
    const cd bv = OpB::at(b, ldb, p, j);
    const xreal br = (xreal)bv.re, bi = (xreal)bv.im;
    for (int r = 0; r < Rows; ++r) {
      const cd av = OpA::at(a, lda, i + r, p);
      const xreal ar = (xreal)av.re, ai = (xreal)av.im;
      sr[r] += ar * br;
      sr[r] -= ai * bi;
      si[r] += ar * bi;
      si[r] += ai * br;
    }
  }
  for (int r = 0; r < Rows; ++r) zgemm_add_scaled(cj[i + r], sr[r], si[r], alpha);
}

template <class OpA, class OpB>
void edge_kernel(int rows, int cols, int depth, cd alpha, const cd *a, idx lda, const cd *b, idx ldb, cd *c,
                 idx ldc) {
  constexpr int tile = 4;
  for (int j = 0; j < cols; ++j) {
    cd *cj = c + j * ldc;
    int i = 0;
    for (; i + tile <= rows; i += tile) tile_column<tile, OpA, OpB>(i, depth, alpha, a, lda, b, ldb, j, cj);
    for (; i < rows; ++i) tile_column<1, OpA, OpB>(i, depth, alpha, a, lda, b, ldb, j, cj);
  }
}

using N = cplx::op_n<cd>;
using T = cplx::op_t<cd>;
using C = cplx::op_c<cd>;

}  // namespace

void zgemm_edge_nn(int rows, int cols, int depth, cd alpha, const cd *a, idx lda, const cd *b, idx ldb, cd *c,
                   idx ldc) {
  edge_kernel<N, N>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}
void zgemm_edge_nt(int rows, int cols, int depth, cd alpha, const cd *a, idx lda, const cd *b, idx ldb, cd *c,
                   idx ldc) {
  edge_kernel<N, T>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}
void zgemm_edge_nc(int rows, int cols, int depth, cd alpha, const cd *a, idx lda, const cd *b, idx ldb, cd *c,
                   idx ldc) {
  edge_kernel<N, C>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}
void zgemm_edge_tn(int rows, int cols, int depth, cd alpha, const cd *a, idx lda, const cd *b, idx ldb, cd *c,
                   idx ldc) {
  edge_kernel<T, N>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}
void zgemm_edge_tt(int rows, int cols, int depth, cd alpha, const cd *a, idx lda, const cd *b, idx ldb, cd *c,
                   idx ldc) {
  edge_kernel<T, T>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}
void zgemm_edge_tc(int rows, int cols, int depth, cd alpha, const cd *a, idx lda, const cd *b, idx ldb, cd *c,
                   idx ldc) {
  edge_kernel<T, C>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}
void zgemm_edge_cn(int rows, int cols, int depth, cd alpha, const cd *a, idx lda, const cd *b, idx ldb, cd *c,
                   idx ldc) {
  edge_kernel<C, N>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}
void zgemm_edge_ct(int rows, int cols, int depth, cd alpha, const cd *a, idx lda, const cd *b, idx ldb, cd *c,
                   idx ldc) {
  edge_kernel<C, T>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}
void zgemm_edge_cc(int rows, int cols, int depth, cd alpha, const cd *a, idx lda, const cd *b, idx ldb, cd *c,
                   idx ldc) {
  edge_kernel<C, C>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}

}  // namespace tav
