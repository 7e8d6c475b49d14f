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

template <bool TransA, bool TransB, int Tile>
void edge_tile(int i, int j, int depth, xreal al, const float *a, int lda, const float *b, int ldb,
               float *c, int ldc) {
  xreal sum[Tile];
  for (int t = 0; t < Tile; ++t) sum[t] = 0;
  for (int p = 0; p < depth; ++p) {
    const xreal bp = static_cast<xreal>(op_at<TransB>(b, ldb, p, j));
    for (int t = 0; t < Tile; ++t) sum[t] = sum[t] + static_cast<xreal>(op_at<TransA>(a, lda, i + t, p)) * bp;
  }
  float *cj = c + static_cast<std::ptrdiff_t>(j) * ldc + i;
  for (int t = 0; t < Tile; ++t) cj[t] = static_cast<float>(sum[t] * al + static_cast<xreal>(cj[t]));
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
