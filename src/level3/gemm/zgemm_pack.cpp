// Copies of zgemm_seq into its panel formats: no arithmetic, the conjugated
// forms negating the imaginary part. A panel: stripes of two rows, each depth
// step four doubles (re, im of the first row, re, im of the second). B block:
// a contiguous column of op(B) per column, in the interleaved form.

#include "level3/gemm/complex_ops.h"
#include "level3/gemm/zgemm.h"

namespace tav {
namespace {

using cplx::cd;
using cplx::idx;

template <class Op>
void pack_a(const cd *a, idx lda, int rows, int depth, double *panel) {
  for (int i = 0; i < rows; i += 2) {
    double *stripe = panel + idx(i / 2) * 4 * depth;
    for (int p = 0; p < depth; ++p) {
      const cd first = Op::at(a, lda, i, p), second = Op::at(a, lda, i + 1, p);
      stripe[4 * p + 0] = first.re;
      stripe[4 * p + 1] = first.im;
      stripe[4 * p + 2] = second.re;
      stripe[4 * p + 3] = second.im;
    }
  }
}

template <class Op>
void pack_b(int cols, int depth, const cd *b, idx ldb, cd *block, int stride) {
  for (int j = 0; j < cols; ++j)
    for (int p = 0; p < depth; ++p) block[idx(j) * stride + p] = Op::at(b, ldb, p, j);
}

}  // namespace

void zgemm_pack_a_n(const cd *a, idx lda, int rows, int depth, double *panel) {
  pack_a<cplx::op_n<cd>>(a, lda, rows, depth, panel);
}
void zgemm_pack_a_t(const cd *a, idx lda, int rows, int depth, double *panel) {
  pack_a<cplx::op_t<cd>>(a, lda, rows, depth, panel);
}
void zgemm_pack_a_c(const cd *a, idx lda, int rows, int depth, double *panel) {
  pack_a<cplx::op_c<cd>>(a, lda, rows, depth, panel);
}
void zgemm_pack_b_t(int cols, int depth, const cd *b, idx ldb, cd *block, int stride) {
  pack_b<cplx::op_t<cd>>(cols, depth, b, ldb, block, stride);
}
void zgemm_pack_b_c(int cols, int depth, const cd *b, idx ldb, cd *block, int stride) {
  pack_b<cplx::op_c<cd>>(cols, depth, b, ldb, block, stride);
}

}  // namespace tav
