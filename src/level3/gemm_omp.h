#pragma once
// The gemm front shared by the four precisions: it does no arithmetic and
// touches no matrix. It either hands the whole product to the serial driver or
// cuts C into one slab per planned thread, along the larger of m and n (ties
// along n, never along k), and runs the serial driver once per slab. Each slab
// is a complete serial product of its own, so every element of C is summed over
// k in the driver's order, and beta is applied by the slab's own call.
//
// Traits: `element`, the stored type, and `seq`, the serial driver with the
// thirteen by-address arguments.

#include <algorithm>
#include <cstddef>

#include "frame/gates.h"

namespace tav {

// m, n and k all at most this: the driver on the calling thread, no runtime query.
constexpr int gemm_bypass = 16;

template <class Traits>
void gemm_omp(const char *transa, const char *transb, const int *m, const int *n, const int *k,
              const typename Traits::element *alpha, const typename Traits::element *a, const int *lda,
              const typename Traits::element *b, const int *ldb, const typename Traits::element *beta,
              typename Traits::element *c, const int *ldc) {
  if (*m <= 0 || *n <= 0) return;
  if (*m <= gemm_bypass && *n <= gemm_bypass && *k <= gemm_bypass) {
    Traits::seq(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    return;
  }
  const int threads = gate_b();
  if (threads <= 1) {
    Traits::seq(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    return;
  }

  // Row slabs when m > n, else column slabs; chunk truncates and may be 0, the
  // last slab takes the remainder. Only the cut operand's flag is looked at.
  const bool row_slabs = *m > *n;
  const int total = row_slabs ? *m : *n;
  const int chunk = total / threads;
  const char flag = row_slabs ? *transa : *transb;
  const bool direct = flag == 'N' || flag == 'n';

  parallel_pieces(threads, [&](int i) {
    const int len = i < threads - 1 ? chunk : std::max(0, total - chunk * i);
    const std::ptrdiff_t start = std::min(i * chunk, total - 1);
    if (row_slabs) {
      // Rows start..start+len-1 of C and of op(A): row `start` of a direct A,
      // column `start` of a transposed one.
      const typename Traits::element *a_slab = direct ? a + start : a + start * *lda;
      Traits::seq(transa, transb, &len, n, k, alpha, a_slab, lda, b, ldb, beta, c + start, ldc);
    } else {
      // Columns of C and of op(B): column `start` of a direct B, row `start` of
      // a transposed one.
      const typename Traits::element *b_slab = direct ? b + start * *ldb : b + start;
      Traits::seq(transa, transb, m, &len, k, alpha, a, lda, b_slab, ldb, beta, c + start * *ldc, ldc);
    }
  });
}

}  // namespace tav
