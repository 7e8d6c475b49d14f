// The exported general matrix products: one front (gemm_omp.h) per element
// type, ending in that type's serial driver.
#include "level3/gemm_omp.h"

#include "frame/export.h"
#include "level3/gemm/cgemm.h"
#include "level3/gemm/dgemm.h"
#include "level3/gemm/sgemm.h"
#include "level3/gemm/zgemm.h"

namespace {

// The two things that differ between the precisions: the stored element (and
// so the step of a pointer) and the serial driver.
template <class T, auto Seq>
struct gemm_traits {
  using element = T;
  static constexpr auto seq = Seq;
};

using sgemm_traits = gemm_traits<float, tav::sgemm_seq>;
using dgemm_traits = gemm_traits<double, tav::dgemm_seq>;
using cgemm_traits = gemm_traits<tav_complex8, tav::cgemm_seq>;
using zgemm_traits = gemm_traits<tav_complex16, tav::zgemm_seq>;

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
