// Copies of cgemm_seq between the caller's matrices and its scratch formats.
// A panels: alpha * op(A)(i, p) in single precision (re = alr * ar - ali * ai,
// im = alr * ai + ali * ar, each operation rounded to float), the conjugated
// form negating the imaginary part of A before the product. B blocks: plain
// moves into separate real and imaginary vectors, the conjugated form negating
// the imaginary part. C blocks: beta * C in single precision on the way in (or
// a copy, or zeros), a plain copy on the way out.

#include <xmmintrin.h>

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

// Four depth steps of one row as (real parts, imaginary parts), from a
// source whose depth runs along its columns (transposed or conjugated A).
inline void row_steps(const cf *row, __m128 &re, __m128 &im) {
  const __m128 v0 = _mm_loadu_ps(&row[0].re), v1 = _mm_loadu_ps(&row[2].re);
  re = _mm_shuffle_ps(v0, v1, _MM_SHUFFLE(2, 0, 2, 0));
  im = _mm_shuffle_ps(v0, v1, _MM_SHUFFLE(3, 1, 3, 1));
}

// alpha times four elements, lane by lane, stored as the panel's two vectors:
// re = alr * xr - ali * xi, im = alr * xi + ali * xr, each operation in single.
inline void scaled_store(__m128 re, __m128 im, __m128 alr, __m128 ali, float *dst) {
  _mm_store_ps(dst, _mm_sub_ps(_mm_mul_ps(alr, re), _mm_mul_ps(ali, im)));
  _mm_store_ps(dst + lanes, _mm_add_ps(_mm_mul_ps(alr, im), _mm_mul_ps(ali, re)));
}

// A direct A: four source columns at a time, walked down together, each
// giving a row pair's two elements in one 16-byte load; the 4 x 4 transpose
// turns them into the four vectors of the layout.
void pack_a_direct(const cf *a, idx lda, int rows, int depth, float *panel, cf alpha) {
  const __m128 alr = _mm_set1_ps(alpha.re), ali = _mm_set1_ps(alpha.im);
  for (int p = 0; p < depth; p += lanes)
    for (int pair = 0; pair < rows; pair += 2) {
      __m128 c0 = _mm_loadu_ps(&a[pair + (p + 0) * lda].re), c1 = _mm_loadu_ps(&a[pair + (p + 1) * lda].re);
      __m128 c2 = _mm_loadu_ps(&a[pair + (p + 2) * lda].re), c3 = _mm_loadu_ps(&a[pair + (p + 3) * lda].re);
      _MM_TRANSPOSE4_PS(c0, c1, c2, c3);  // re row 0, im row 0, re row 1, im row 1
      float *dst = panel + panel_index(pair, p, depth);
      scaled_store(c0, c1, alr, ali, dst);
      scaled_store(c2, c3, alr, ali, dst + 2 * lanes);
    }
}

// A transposed or conjugated A: each row's depth is contiguous in the source;
// the conjugated form flips the sign of the imaginary parts first.
template <bool Conj>
void pack_a_across(const cf *a, idx lda, int rows, int depth, float *panel, cf alpha) {
  const __m128 alr = _mm_set1_ps(alpha.re), ali = _mm_set1_ps(alpha.im);
  const __m128 sign = _mm_set1_ps(-0.0f);
  for (int pair = 0; pair < rows; pair += 2)
    for (int p = 0; p < depth; p += lanes)
      for (int r = 0; r < 2; ++r) {
        __m128 re, im;
        row_steps(a + p + (pair + r) * lda, re, im);
        if (Conj) im = _mm_xor_ps(im, sign);
        scaled_store(re, im, alr, ali, panel + panel_index(pair + r, p, depth));
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

// The group of eight rows of column j in a c_block of `cols` columns.
inline idx group_index(int group, int j, int cols, int stride) { return (idx(group) * cols + j) * 2 * stride; }

}  // namespace

void cgemm_pack_a_n(const cf *a, idx lda, int rows, int depth, float *panel, cf alpha) {
  pack_a_direct(a, lda, rows, depth, panel, alpha);
}
void cgemm_pack_a_t(const cf *a, idx lda, int rows, int depth, float *panel, cf alpha) {
  pack_a_across<false>(a, lda, rows, depth, panel, alpha);
}
void cgemm_pack_a_c(const cf *a, idx lda, int rows, int depth, float *panel, cf alpha) {
  pack_a_across<true>(a, lda, rows, depth, panel, alpha);
}

// A direct B has its depth contiguous: four steps by two 16-byte loads.
void cgemm_pack_b_n(int cols, int depth, const cf *b, idx ldb, float *block, int stride) {
  for (int j = 0; j < cols; ++j) {
    float *col = block + idx(j) * 2 * stride;
    for (int p = 0; p < depth; p += lanes) {
      __m128 re, im;
      row_steps(b + p + j * ldb, re, im);
      _mm_store_ps(col + 2 * p, re);
      _mm_store_ps(col + 2 * p + lanes, im);
    }
  }
}
void cgemm_pack_b_t(int cols, int depth, const cf *b, idx ldb, float *block, int stride) {
  pack_b<cplx::op_t<cf>>(cols, depth, b, ldb, block, stride);
}
void cgemm_pack_b_c(int cols, int depth, const cf *b, idx ldb, float *block, int stride) {
  pack_b<cplx::op_c<cf>>(cols, depth, b, ldb, block, stride);
}

// The C-block routines walk a group of eight rows of one column at a time:
// eight contiguous elements of C, one 64-byte run of c_block.
void cgemm_scale_c(int rows, int cols, const cf *c, idx ldc, float *block, int stride, cf beta) {
  for (int g = 0; g < rows / stride; ++g)
    for (int j = 0; j < cols; ++j) {
      const cf *src = c + g * stride + j * ldc;
      float *dst = block + group_index(g, j, cols, stride);
      for (int r = 0; r < stride; ++r) {
        const cf v = cplx::mul(beta, src[r]);
        dst[2 * r] = v.re;
        dst[2 * r + 1] = v.im;
      }
    }
}

void cgemm_load_c(int rows, int cols, const cf *c, idx ldc, float *block, int stride) {
  for (int g = 0; g < rows / stride; ++g)
    for (int j = 0; j < cols; ++j) {
      const float *src = &c[g * stride + j * ldc].re;
      float *dst = block + group_index(g, j, cols, stride);
      for (int f = 0; f < 2 * stride; f += lanes) _mm_store_ps(dst + f, _mm_loadu_ps(src + f));
    }
}

void cgemm_zero_c(int rows, int cols, float *block, int stride) {
  for (int g = 0; g < rows / stride; ++g)
    for (int j = 0; j < cols; ++j) {
      float *dst = block + group_index(g, j, cols, stride);
      for (int f = 0; f < 2 * stride; f += lanes) _mm_store_ps(dst + f, _mm_setzero_ps());
    }
}

void cgemm_flush_c(int rows, int cols, cf *c, idx ldc, const float *block, int stride) {
  for (int g = 0; g < rows / stride; ++g)
    for (int j = 0; j < cols; ++j) {
      const float *src = block + group_index(g, j, cols, stride);
      float *dst = &c[g * stride + j * ldc].re;
      for (int f = 0; f < 2 * stride; f += lanes) _mm_storeu_ps(dst + f, _mm_load_ps(src + f));
    }
}

}  // namespace tav
