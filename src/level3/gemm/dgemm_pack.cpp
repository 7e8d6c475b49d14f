// Packing for the double-precision product. An A panel stores (row i, depth p)
// at (i / 4) * 4 * stride + p * 4 + i % 4, each value alpha * a formed as a
// product of widened doubles and rounded once to double on the store. B blocks
// are bit copies of op(B), column j at j * stride; the padded forms add zeros
// in the depth steps from `depth` up to `full` - 1 of each column, while the
// padded A forms leave the depth steps past `depth` as they are.

#include <xmmintrin.h>

#include "frame/xreal.h"
#include "level3/gemm/dgemm.h"

namespace tav {
namespace {

constexpr int pack_group = 4;  // depth steps per round of the transposed-A walk
constexpr int b_round = 8;     // depth steps per round of the transposed-B copy

__attribute__((always_inline)) inline void prefetch_nta(const double *p) {
  _mm_prefetch(reinterpret_cast<const char *>(p), _MM_HINT_NTA);
}

inline double scaled(double alpha, double v) { return (double)((xreal)alpha * (xreal)v); }

// Direct A: depth steps outermost, the stripes of a source column within.
void fill_a_n(const double *a, dindex lda, int rows, int depth, int stride, double *panel, double alpha) {
  const int stripes = rows / dgemm_stripe;
  for (int p = 0; p < depth; ++p) {
    const double *col = a + p * lda;
    for (int s = 0; s < stripes; ++s) {
      const double *src = col + s * dgemm_stripe;
      // 32 bytes ahead in the column; from its last stripe, the next column.
      prefetch_nta(s + 1 < stripes ? src + dgemm_stripe : col + lda);
      double *dst = panel + s * dgemm_stripe * stride + p * dgemm_stripe;
      for (int r = 0; r < dgemm_stripe; ++r) dst[r] = scaled(alpha, src[r]);
    }
  }
}

// Transposed A: row i of the panel is the contiguous source a + i * lda, walked
// in groups of four depth steps, each value going to its step's place.
void fill_a_t(const double *a, dindex lda, int rows, int depth, int stride, double *panel, double alpha) {
  for (int i = 0; i < rows; ++i) {
    const double *src = a + i * lda;
    double *dst = panel + (i / dgemm_stripe) * dgemm_stripe * stride + i % dgemm_stripe;
    int p = 0;
    for (; p + pack_group <= depth; p += pack_group) {
      // 64 bytes ahead in the row; in its last two groups, the next row.
      if (p + 2 * pack_group < depth)
        prefetch_nta(src + p + 8);
      else
        prefetch_nta(src + lda + (p + 2 * pack_group == depth ? 0 : 4));
      for (int u = 0; u < pack_group; ++u) dst[(p + u) * dgemm_stripe] = scaled(alpha, src[p + u]);
    }
    for (; p < depth; ++p) dst[p * dgemm_stripe] = scaled(alpha, src[p]);
  }
}

}  // namespace

void dgemm_pack_a_n(const double *a, dindex lda, int rows, int depth, double *panel, double alpha) {
  fill_a_n(a, lda, rows, depth, depth, panel, alpha);
}

void dgemm_pack_a_t(const double *a, dindex lda, int rows, int depth, double *panel, double alpha) {
  fill_a_t(a, lda, rows, depth, depth, panel, alpha);
}

void dgemm_padpack_a_n(const double *a, dindex lda, int rows, int depth, int stride, double *panel,
                       double alpha) {
  fill_a_n(a, lda, rows, depth, stride, panel, alpha);
}

void dgemm_padpack_a_t(const double *a, dindex lda, int rows, int depth, int stride, double *panel,
                       double alpha) {
  fill_a_t(a, lda, rows, depth, stride, panel, alpha);
}

// Copies depth rounded down to a multiple of 8; the driver's depths all are.
void dgemm_pack_b_t(int cols, int depth, const double *b, dindex ldb, double *block, int stride) {
  const int steps = depth / b_round * b_round;
  for (int j = 0; j < cols; ++j) {
    double *dst = block + j * stride;
    for (int p = 0; p < steps; p += b_round)
      for (int u = 0; u < b_round; ++u) dst[p + u] = b[j + (p + u) * ldb];
  }
}

void dgemm_padpack_b_n(int cols, int depth, int full, const double *b, dindex ldb, double *block,
                       int stride) {
  for (int j = 0; j < cols; ++j) {
    const double *src = b + j * ldb;
    double *dst = block + j * stride;
    for (int p = 0; p < depth; ++p) dst[p] = src[p];
    for (int p = depth; p < full; ++p) dst[p] = 0.0;
  }
}

void dgemm_padpack_b_t(int cols, int depth, int full, const double *b, dindex ldb, double *block,
                       int stride) {
  for (int j = 0; j < cols; ++j) {
    double *dst = block + j * stride;
    int p = 0;
    for (; p + 4 <= depth; p += 4)
      for (int u = 0; u < 4; ++u) dst[p + u] = b[j + (p + u) * ldb];
    for (; p < depth; ++p) dst[p] = b[j + p * ldb];
    for (p = depth; p < full; ++p) dst[p] = 0.0;
  }
}

}  // namespace tav
