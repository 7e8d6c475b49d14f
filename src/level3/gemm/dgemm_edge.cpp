// Double-precision edge kernels: C += alpha op(A) op(B) read in place, no
// packing. For each column of C the rows go in tiles (largest first); each
// element of a tile has one extended-precision (xreal) sum of widened products
// over the depth, in ascending order. The tail kernels start that sum from 0;
// the edge64 kernels start it from the first product and always run 64 steps.
// The finished sum is multiplied by alpha, the element of C is added, and the
// result is rounded once to double on the store. Depth unrolls only group the
// steps; they never split a sum.

#include "frame/xreal.h"
#include "level3/gemm/dgemm.h"

namespace tav {
namespace {

// op(A)(i, p) and op(B)(p, j) for a direct or a transposed operand, and the
// address of row i of op(A).
struct a_direct {
  static double at(const double *a, dindex lda, int i, int p) { return a[i + p * lda]; }
  static const double *row(const double *a, dindex, int i) { return a + i; }
};
struct a_trans {
  static double at(const double *a, dindex lda, int i, int p) { return a[p + i * lda]; }
  static const double *row(const double *a, dindex lda, int i) { return a + i * lda; }
};
struct b_direct {
  static double at(const double *b, dindex, int p) { return b[p]; }
  static const double *col(const double *b, dindex ldb, int j) { return b + j * ldb; }
};
struct b_trans {
  static double at(const double *b, dindex ldb, int p) { return b[p * ldb]; }
  static const double *col(const double *b, dindex, int j) { return b + j; }
};

// A tile size with the depth unrolls of its loop, largest first.
template <int Rows, int... Unrolls>
struct tile {};
template <int Rows, int... Unrolls>
constexpr int tile_rows(tile<Rows, Unrolls...>) {
  return Rows;
}

// Runs step(p) for p from `p` up to depth - 1, ascending, in rounds of the
// first unroll while they fit, then of the next.
template <int U, int... Rest, class Step>
inline void walk_depth(int p, int depth, Step &step) {
  for (; p + U <= depth; p += U) {
#pragma GCC unroll 8
    for (int u = 0; u < U; ++u) step(p + u);
  }
  if constexpr (sizeof...(Rest) > 0) walk_depth<Rest...>(p, depth, step);
}

// The sums of `Rows` rows against one column of B, added into C.
template <bool FromFirst, class A, class B, int Rows, int... Us>
inline void tile_column(tile<Rows, Us...>, int depth, double alpha, const double *a, dindex lda,
                        const double *bj, dindex ldb, double *cj) {
  xreal sum[Rows];
  int start = 0;
  if (FromFirst) {
    const xreal b0 = (xreal)B::at(bj, ldb, 0);
    for (int r = 0; r < Rows; ++r) sum[r] = (xreal)A::at(a, lda, r, 0) * b0;
    start = 1;
  } else {
    for (int r = 0; r < Rows; ++r) sum[r] = 0;
  }
  auto step = [&](int p) {
    const xreal bp = (xreal)B::at(bj, ldb, p);
    for (int r = 0; r < Rows; ++r) sum[r] += (xreal)A::at(a, lda, r, p) * bp;
  };
  walk_depth<Us...>(start, depth, step);
  for (int r = 0; r < Rows; ++r) cj[r] = (double)(sum[r] * (xreal)alpha + (xreal)cj[r]);
}

// Rows of one column in tiles: as many of the first as fit, then the next...
template <bool FromFirst, class A, class B, class Tile, class... More>
inline void tiles_down(int i, int rows, int depth, double alpha, const double *a, dindex lda,
                       const double *bj, dindex ldb, double *cj, Tile first, More... more) {
  constexpr int height = tile_rows(Tile{});
  for (; i + height <= rows; i += height)
    tile_column<FromFirst, A, B>(first, depth, alpha, A::row(a, lda, i), lda, bj, ldb, cj + i);
  if constexpr (sizeof...(More) > 0)
    tiles_down<FromFirst, A, B>(i, rows, depth, alpha, a, lda, bj, ldb, cj, more...);
}

template <bool FromFirst, class A, class B, class... Tiles>
void edge_kernel(int rows, int cols, int depth, double alpha, const double *a, dindex lda, const double *b,
                 dindex ldb, double *c, dindex ldc) {
  for (int j = 0; j < cols; ++j)
    tiles_down<FromFirst, A, B>(0, rows, depth, alpha, a, lda, B::col(b, ldb, j), ldb, c + j * ldc,
                                Tiles{}...);
}

constexpr int edge64_depth = 64;

}  // namespace

// Main-pass kernels: tiles of 4, 2 and 1 rows over exactly 64 steps, a count
// fixed at compile time.
void dgemm_edge64_nn(int rows, int cols, int, double alpha, const double *a, dindex lda, const double *b,
                     dindex ldb, double *c, dindex ldc) {
  edge_kernel<true, a_direct, b_direct, tile<4, 1>, tile<2, 1>, tile<1, 1>>(rows, cols, edge64_depth, alpha, a,
                                                                           lda, b, ldb, c, ldc);
}
void dgemm_edge64_tn(int rows, int cols, int, double alpha, const double *a, dindex lda, const double *b,
                     dindex ldb, double *c, dindex ldc) {
  edge_kernel<true, a_trans, b_direct, tile<4, 1>, tile<2, 1>, tile<1, 1>>(rows, cols, edge64_depth, alpha, a,
                                                                          lda, b, ldb, c, ldc);
}
void dgemm_edge64_nt(int rows, int cols, int, double alpha, const double *a, dindex lda, const double *b,
                     dindex ldb, double *c, dindex ldc) {
  edge_kernel<true, a_direct, b_trans, tile<4, 1>, tile<2, 1>, tile<1, 1>>(rows, cols, edge64_depth, alpha, a,
                                                                          lda, b, ldb, c, ldc);
}
void dgemm_edge64_tt(int rows, int cols, int, double alpha, const double *a, dindex lda, const double *b,
                     dindex ldb, double *c, dindex ldc) {
  edge_kernel<true, a_trans, b_trans, tile<4, 1>, tile<2, 1>, tile<1, 1>>(rows, cols, edge64_depth, alpha, a,
                                                                         lda, b, ldb, c, ldc);
}

// Tail kernels, any depth.
void dgemm_edge_nn(int rows, int cols, int depth, double alpha, const double *a, dindex lda, const double *b,
                   dindex ldb, double *c, dindex ldc) {
  edge_kernel<false, a_direct, b_direct, tile<4, 2, 1>, tile<1, 2, 1>>(rows, cols, depth, alpha, a, lda, b, ldb,
                                                                       c, ldc);
}
void dgemm_edge_tn(int rows, int cols, int depth, double alpha, const double *a, dindex lda, const double *b,
                   dindex ldb, double *c, dindex ldc) {
  edge_kernel<false, a_trans, b_direct, tile<4, 8, 4, 1>, tile<2, 4, 1>, tile<1, 4, 1>>(rows, cols, depth, alpha,
                                                                                        a, lda, b, ldb, c, ldc);
}
void dgemm_edge_nt(int rows, int cols, int depth, double alpha, const double *a, dindex lda, const double *b,
                   dindex ldb, double *c, dindex ldc) {
  edge_kernel<false, a_direct, b_trans, tile<4, 2, 1>, tile<1, 2, 1>>(rows, cols, depth, alpha, a, lda, b, ldb,
                                                                      c, ldc);
}
void dgemm_edge_tt(int rows, int cols, int depth, double alpha, const double *a, dindex lda, const double *b,
                   dindex ldb, double *c, dindex ldc) {
  edge_kernel<false, a_trans, b_trans, tile<4, 4, 1>, tile<1, 4, 1>>(rows, cols, depth, alpha, a, lda, b, ldb,
                                                                     c, ldc);
}

}  // namespace tav
