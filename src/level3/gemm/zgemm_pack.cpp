// Copies of zgemm_seq into its panel formats: no arithmetic, the conjugated
// forms negating the imaginary part; non-temporal prefetches of the source
// only steer the cache. A panel: stripes of two rows, each depth
// step four doubles (re, im of the first row, re, im of the second). B block:
// a contiguous column of op(B) per column, in the interleaved form.

#include <xmmintrin.h>

#include "level3/gemm/complex_ops.h"
#include "level3/gemm/zgemm.h"

namespace tav {
namespace {

using cplx::cd;
using cplx::idx;

inline void prefetch_nta(const void *p, idx bytes) {
  _mm_prefetch(reinterpret_cast<const char *>(p) + bytes, _MM_HINT_NTA);
}

inline void put(double *step, const cd &first, const cd &second) {
  step[0] = first.re;
  step[1] = first.im;
  step[2] = second.re;
  step[3] = second.im;
}

// A direct A, a column at a time: each stripe's two elements are 32
// contiguous bytes, the next stripe's are fetched as these are read, and the
// last stripe of a column fetches the start of the next column.
void pack_a_direct(const cd *a, idx lda, int rows, int depth, double *panel) {
  for (int p = 0; p < depth; ++p) {
    const cd *col = a + p * lda;
    for (int i = 0; i < rows; i += 2) {
      prefetch_nta(i + 2 < rows ? col + i : col + lda, i + 2 < rows ? 32 : 0);
      put(panel + idx(i / 2) * 4 * depth + 4 * p, col[i], col[i + 1]);
    }
  }
}

// A transposed or conjugated A: each row of op(A) is contiguous in the
// source. The source is fetched 64 bytes ahead, and in a row's last two steps
// the first two 32-byte lines of the next row instead.
template <bool Conj>
void pack_a_along(const cd *a, idx lda, int rows, int depth, double *panel) {
  for (int i = 0; i < rows; i += 2)
    for (int r = 0; r < 2; ++r) {
      const cd *row = a + (i + r) * lda;
      double *stripe = panel + idx(i / 2) * 4 * depth + 2 * r;
      for (int p = 0; p < depth; ++p) {
        if (p >= depth - 2)
          prefetch_nta(row + lda, 32 * (p - (depth - 2)));
        else
          prefetch_nta(row + p, 64);
        stripe[4 * p] = row[p].re;
        stripe[4 * p + 1] = Conj ? -row[p].im : row[p].im;
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
  pack_a_direct(a, lda, rows, depth, panel);
}
void zgemm_pack_a_t(const cd *a, idx lda, int rows, int depth, double *panel) {
  pack_a_along<false>(a, lda, rows, depth, panel);
}
void zgemm_pack_a_c(const cd *a, idx lda, int rows, int depth, double *panel) {
  pack_a_along<true>(a, lda, rows, depth, panel);
}
void zgemm_pack_b_t(int cols, int depth, const cd *b, idx ldb, cd *block, int stride) {
  pack_b<cplx::op_t<cd>>(cols, depth, b, ldb, block, stride);
}
void zgemm_pack_b_c(int cols, int depth, const cd *b, idx ldb, cd *block, int stride) {
  pack_b<cplx::op_c<cd>>(cols, depth, b, ldb, block, stride);
}

}  // namespace tav
