// Copies of cgemm_seq between the caller's matrices and its scratch formats.
// A panels: alpha * op(A)(i, p) in single precision (re = alr * ar - ali * ai,
// im = alr * ai + ali * ar, each operation rounded to float), the conjugated
// form negating the imaginary part of A before the product. B blocks: plain
// moves into separate real and imaginary vectors, the conjugated form negating
// the imaginary part. C blocks: beta * C in single precision on the way in (or
// a copy, or zeros), a plain copy on the way out.

#include "level3/gemm/cgemm.h"
#include "level3/gemm/complex_ops.h"

namespace tav {
namespace {

using cplx::cf;
using cplx::idx;

constexpr int lanes = 4;  // depth steps along the lanes of one vector

// Float index of (row i, depth p) in a panel of depth D, real part.
inline idx panel_index(int i, int p, int depth) {
  return idx(i / 2) * 4 * depth + (p / lanes) * 16 + (i % 2) * 8 + p % lanes;
}

template <class Op>
void pack_a(const cf *a, idx lda, int rows, int depth, float *panel, cf alpha) {
  for (int pair = 0; pair < rows; pair += 2)
    for (int p = 0; p < depth; p += lanes)  // four source steps at a time
      for (int r = 0; r < 2; ++r)
        for (int q = 0; q < lanes; ++q) {
          const cf v = cplx::mul(alpha, Op::at(a, lda, pair + r, p + q));
          float *dst = panel + panel_index(pair + r, p + q, depth);
          dst[0] = v.re;
          dst[lanes] = v.im;
        }
}

template <class Op>
void pack_b(int cols, int depth, const cf *b, idx ldb, float *block, int stride) {
  for (int j = 0; j < cols; ++j) {
    float *col = block + idx(j) * 2 * stride;
    for (int p = 0; p < depth; ++p) {
      const cf v = Op::at(b, ldb, p, j);
      float *dst = col + (p / lanes) * 2 * lanes + p % lanes;
      dst[0] = v.re;
      dst[lanes] = v.im;
    }
  }
}

// Float index of (row i, column j) of a c_block with `cols` columns.
inline idx block_index(int i, int j, int cols, int stride) {
  return (idx(i / stride) * cols + j) * 2 * stride + (i % stride) * 2;
}

}  // namespace

void cgemm_pack_a_n(const cf *a, idx lda, int rows, int depth, float *panel, cf alpha) {
  pack_a<cplx::op_n<cf>>(a, lda, rows, depth, panel, alpha);
}
void cgemm_pack_a_t(const cf *a, idx lda, int rows, int depth, float *panel, cf alpha) {
  pack_a<cplx::op_t<cf>>(a, lda, rows, depth, panel, alpha);
}
void cgemm_pack_a_c(const cf *a, idx lda, int rows, int depth, float *panel, cf alpha) {
  pack_a<cplx::op_c<cf>>(a, lda, rows, depth, panel, alpha);
}

void cgemm_pack_b_n(int cols, int depth, const cf *b, idx ldb, float *block, int stride) {
  pack_b<cplx::op_n<cf>>(cols, depth, b, ldb, block, stride);
}
void cgemm_pack_b_t(int cols, int depth, const cf *b, idx ldb, float *block, int stride) {
  pack_b<cplx::op_t<cf>>(cols, depth, b, ldb, block, stride);
}
void cgemm_pack_b_c(int cols, int depth, const cf *b, idx ldb, float *block, int stride) {
  pack_b<cplx::op_c<cf>>(cols, depth, b, ldb, block, stride);
}

void cgemm_scale_c(int rows, int cols, const cf *c, idx ldc, float *block, int stride, cf beta) {
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i) {
      const cf v = cplx::mul(beta, c[i + j * ldc]);
      float *dst = block + block_index(i, j, cols, stride);
      dst[0] = v.re;
      dst[1] = v.im;
    }
}

void cgemm_load_c(int rows, int cols, const cf *c, idx ldc, float *block, int stride) {
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i) {
      float *dst = block + block_index(i, j, cols, stride);
      dst[0] = c[i + j * ldc].re;
      dst[1] = c[i + j * ldc].im;
    }
}

void cgemm_zero_c(int rows, int cols, float *block, int stride) {
  for (idx f = 0; f < idx(rows) * cols * 2; ++f) block[f] = 0.0f;
  (void)stride;
}

void cgemm_flush_c(int rows, int cols, cf *c, idx ldc, const float *block, int stride) {
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i) {
      const float *src = block + block_index(i, j, cols, stride);
      c[i + j * ldc] = cf{src[0], src[1]};
    }
}

}  // namespace tav
