// The exported general matrix products: one front (gemm_omp.h) per element
// type, ending in that type's serial driver.
#include "level3/gemm_omp.h"

#include "frame/export.h"
#include "level3/gemm/cgemm.h"
#include "level3/gemm/dgemm.h"
#include "level3/gemm/sgemm.h"
#include "level3/gemm/zgemm.h"

namespace {

struct sgemm_traits {
  using element = float;
  static constexpr auto seq = tav::sgemm_seq;
};

struct dgemm_traits {
  using element = double;
  static constexpr auto seq = tav::dgemm_seq;
};

struct cgemm_traits {
  using element = tav_complex8;
  static constexpr auto seq = tav::cgemm_seq;
};

struct zgemm_traits {
  using element = tav_complex16;
  static constexpr auto seq = tav::zgemm_seq;
};

}  // namespace

TAV_EXPORT void tav_sgemm(const char *transa, const char *transb, const int *m, const int *n, const int *k,
                          const float *alpha, const float *a, const int *lda, const float *b, const int *ldb,
                          const float *beta, float *c, const int *ldc) {
  tav::gemm_omp<sgemm_traits>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

TAV_EXPORT void tav_dgemm(const char *transa, const char *transb, const int *m, const int *n, const int *k,
                          const double *alpha, const double *a, const int *lda, const double *b, const int *ldb,
                          const double *beta, double *c, const int *ldc) {
  tav::gemm_omp<dgemm_traits>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

TAV_EXPORT void tav_cgemm(const char *transa, const char *transb, const int *m, const int *n, const int *k,
                          const tav_complex8 *alpha, const tav_complex8 *a, const int *lda, const tav_complex8 *b,
                          const int *ldb, const tav_complex8 *beta, tav_complex8 *c, const int *ldc) {
  tav::gemm_omp<cgemm_traits>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

TAV_EXPORT void tav_zgemm(const char *transa, const char *transb, const int *m, const int *n, const int *k,
                          const tav_complex16 *alpha, const tav_complex16 *a, const int *lda, const tav_complex16 *b,
                          const int *ldb, const tav_complex16 *beta, tav_complex16 *c, const int *ldc) {
  tav::gemm_omp<zgemm_traits>(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
