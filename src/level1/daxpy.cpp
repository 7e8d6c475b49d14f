// Double-precision y := alpha * x + y. Each element is alpha * x + y in
// extended precision, the product unrounded, and is rounded to double only by
// the store to y. Both paths take 4 elements a round, then one at a time; the
// general path starts a negative stride at element 1 of the published order.
#include "level1/double_kernels.h"
#include "level1/double_sums.h"

namespace tav {

namespace {
constexpr int daxpy_round = 4;
constexpr int daxpy_unit_prefetch_bytes = 64;     // on x, once per round
constexpr int daxpy_general_prefetch_strides = 4;  // on x, once per round

inline void axpy_one(xreal alpha, const double &x, double &y) {
  y = (double)(alpha * (xreal)x + (xreal)y);
}
}  // namespace

void daxpy_unit(int n, double alpha, const double *x, double *y) {
  const xreal a = alpha;
  in_rounds<daxpy_round>(
      n, [&](int i) { prefetch_nta(x + i, daxpy_unit_prefetch_bytes); }, [&](int k) { axpy_one(a, x[k], y[k]); });
}

void daxpy_general(int n, double alpha, const double *x, int incx, double *y, int incy) {
  const xreal a = alpha;
  x = dvec_start(x, n, incx);
  y = dvec_start(y, n, incy);
  const std::ptrdiff_t sx = incx, sy = incy;
  in_rounds<daxpy_round>(
      n, [&](int i) { prefetch_nta(x + i * sx, daxpy_general_prefetch_strides * sx * 8); },
      [&](int k) { axpy_one(a, x[k * sx], y[k * sy]); });
}

}  // namespace tav
