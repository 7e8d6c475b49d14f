// Edge kernels: C += alpha op(A) op(B) on blocks too small or too ragged for a
// panel, reading A, B and C where they lie.
//
// Order of arithmetic: for each column of C, rows go in tiles (4 rows, then
// smaller tiles for the rest). Each element of a tile has its own extended
// precision sum, starting from 0, to which the products
// (xreal)op(A)(i, p) * (xreal)op(B)(p, j) are added in ascending depth p. The
// sum is then multiplied by alpha, C is added, and the result is rounded to
// single once, at the store. The tiles only group rows that share the loads of
// B; each sum is sequential along the depth however the loop is unrolled.

#include <cstddef>
#include <type_traits>

#include "frame/xreal.h"
#include "level3/gemm/sgemm.h"

namespace tav {
namespace {

// Element (i, p) of op(X) for a stored X with leading dimension ld.
template <bool Trans>
inline float op_at(const float *x, int ld, int i, int p) {
  return Trans ? x[p + static_cast<std::ptrdiff_t>(i) * ld] : x[i + static_cast<std::ptrdiff_t>(p) * ld];
}

// Stores sum * alpha + C, rounded once.
inline void finish(float *cij, xreal sum, xreal al) {
  *cij = static_cast<float>(sum * al + static_cast<xreal>(*cij));
}

// One tile of rows i .. i + Tile - 1 in column j. The sums are named
// variables rather than an array so that they stay in registers.
template <bool TransA, bool TransB, int Tile>
void edge_tile(int i, int j, int depth, xreal al, const float *a, int lda, const float *b, int ldb,
               float *c, int ldc) {
  static_assert(Tile == 1 || Tile == 2 || Tile == 4, "row tiles of 4, 2 and 1");
  xreal s0 = 0, s1 = 0, s2 = 0, s3 = 0;
  for (int p = 0; p < depth; ++p) {
    const xreal bp = static_cast<xreal>(op_at<TransB>(b, ldb, p, j));
    s0 = s0 + static_cast<xreal>(op_at<TransA>(a, lda, i, p)) * bp;
    if (Tile >= 2) s1 = s1 + static_cast<xreal>(op_at<TransA>(a, lda, i + 1, p)) * bp;
    if (Tile == 4) {
      s2 = s2 + static_cast<xreal>(op_at<TransA>(a, lda, i + 2, p)) * bp;
      s3 = s3 + static_cast<xreal>(op_at<TransA>(a, lda, i + 3, p)) * bp;
    }
  }
  float *cj = c + static_cast<std::ptrdiff_t>(j) * ldc + i;
  finish(cj, s0, al);
  if (Tile >= 2) finish(cj + 1, s1, al);
  if (Tile == 4) {
    finish(cj + 2, s2, al);
    finish(cj + 3, s3, al);
  }
}

// Row tiles from largest to smallest; the smallest is 1, so every row is taken.
template <bool TransA, bool TransB, int... Tiles>
void edge_kernel(int rows, int cols, int depth, const float &alpha, const float *a, int lda,
                 const float *b, int ldb, float *c, int ldc) {
  const xreal al = static_cast<xreal>(alpha);  // read once
  for (int j = 0; j < cols; ++j) {
    int i = 0;
    auto run = [&](auto tile) {
      constexpr int size = decltype(tile)::value;
      for (; rows - i >= size; i += size)
        edge_tile<TransA, TransB, size>(i, j, depth, al, a, lda, b, ldb, c, ldc);
    };
    (run(std::integral_constant<int, Tiles>{}), ...);
  }
}

}  // namespace

void sgemm_edge_nn(const int &rows, const int &cols, const int &depth, const float &alpha,
                   const float *a, const int &lda, const float *b, const int &ldb, float *c,
                   const int &ldc) {
  edge_kernel<false, false, 4, 1>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}

void sgemm_edge_tn(const int &rows, const int &cols, const int &depth, const float &alpha,
                   const float *a, const int &lda, const float *b, const int &ldb, float *c,
                   const int &ldc) {
  edge_kernel<true, false, 4, 2, 1>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}

void sgemm_edge_nt(const int &rows, const int &cols, const int &depth, const float &alpha,
                   const float *a, const int &lda, const float *b, const int &ldb, float *c,
                   const int &ldc) {
  edge_kernel<false, true, 4, 1>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}

void sgemm_edge_tt(const int &rows, const int &cols, const int &depth, const float &alpha,
                   const float *a, const int &lda, const float *b, const int &ldb, float *c,
                   const int &ldc) {
  edge_kernel<true, true, 4, 1>(rows, cols, depth, alpha, a, lda, b, ldb, c, ldc);
}

}  // namespace tav
