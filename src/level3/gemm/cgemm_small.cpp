// cgemm_small: the whole single-complex product read in place, in single
// precision (every multiply and add rounded to float), column by column.
// First beta on the column: (0, 0) clears it without reading, (1, 0) leaves it
// alone, any other value multiplies each element (a part that is NaN counts as
// equal to the value it is tested against). Then, for each depth step p in
// ascending order (grouped by four, with a tail of k mod 4 steps), the scalar
// t = alpha * op(B)(p, j) is formed and op(A)(i, p) * t is added to each
// element of the column: re = ar * tr - ai * ti, im = ar * ti + ai * tr, and
// that product added to C. The same order serves all nine flag cases.

#include "level3/gemm/cgemm.h"
#include "level3/gemm/complex_ops.h"

namespace tav {
namespace {

using cplx::cf;
using cplx::idx;

template <class OpA, class OpB>
void small_product(int m, int n, int k, cf alpha, const cf *a, idx lda, const cf *b, idx ldb, cf beta, cf *c,
                   idx ldc) {
  const bool clear = cplx::is_zero(beta);
  const bool keep = !clear && cplx::is_one(beta);
  constexpr int group = 4;
  for (int j = 0; j < n; ++j) {
    cf *cj = c + j * ldc;
    if (clear) {
      for (int i = 0; i < m; ++i) cj[i] = cf{0.0f, 0.0f};
    } else if (!keep) {
      for (int i = 0; i < m; ++i) cj[i] = cplx::mul(beta, cj[i]);
    }
    int p = 0;
    for (; p + group <= k; p += group) {
      cf t[group];
      for (int q = 0; q < group; ++q) t[q] = cplx::mul(alpha, OpB::at(b, ldb, p + q, j));
      for (int i = 0; i < m; ++i) {
        cf s = cj[i];
        for (int q = 0; q < group; ++q) s = cplx::add(s, cplx::mul(OpA::at(a, lda, i, p + q), t[q]));
        cj[i] = s;
      }
    }
    for (; p < k; ++p) {
      const cf t = cplx::mul(alpha, OpB::at(b, ldb, p, j));
      for (int i = 0; i < m; ++i) cj[i] = cplx::add(cj[i], cplx::mul(OpA::at(a, lda, i, p), t));
    }
  }
}

template <class OpA>
void with_b(char tb, int m, int n, int k, cf alpha, const cf *a, idx lda, const cf *b, idx ldb, cf beta, cf *c,
            idx ldc) {
  switch (cplx::kind_of(tb)) {
    case cplx::op_kind::direct:
      return small_product<OpA, cplx::op_n<cf>>(m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    case cplx::op_kind::trans:
      return small_product<OpA, cplx::op_t<cf>>(m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    default:
      return small_product<OpA, cplx::op_c<cf>>(m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
  }
}

}  // namespace

void cgemm_small(const char *transa, const char *transb, const int *m, const int *n, const int *k,
                 const tav_complex8 *alpha, const tav_complex8 *a, const int *lda, const tav_complex8 *b,
                 const int *ldb, const tav_complex8 *beta, tav_complex8 *c, const int *ldc) {
  const int rows = *m, cols = *n, depth = *k;
  switch (cplx::kind_of(*transa)) {
    case cplx::op_kind::direct:
      return with_b<cplx::op_n<cf>>(*transb, rows, cols, depth, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
    case cplx::op_kind::trans:
      return with_b<cplx::op_t<cf>>(*transb, rows, cols, depth, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
    default:
      return with_b<cplx::op_c<cf>>(*transb, rows, cols, depth, *alpha, a, *lda, b, *ldb, *beta, c, *ldc);
  }
}

}  // namespace tav
