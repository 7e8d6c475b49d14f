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
  int i = 0;
  for (; n - i >= daxpy_round; i += daxpy_round) {
    prefetch_nta(x + i, daxpy_unit_prefetch_bytes);
    axpy_one(a, x[i], y[i]);
    axpy_one(a, x[i + 1], y[i + 1]);
    axpy_one(a, x[i + 2], y[i + 2]);
    axpy_one(a, x[i + 3], y[i + 3]);
  }
  for (; i < n; ++i) axpy_one(a, x[i], y[i]);
}

void daxpy_general(int n, double alpha, const double *x, int incx, double *y, int incy) {
  const xreal a = alpha;
  x = dvec_start(x, n, incx);
  y = dvec_start(y, n, incy);
  const std::ptrdiff_t sx = incx, sy = incy;
  int i = 0;
  for (; n - i >= daxpy_round; i += daxpy_round) {
    prefetch_nta(x + i * sx, daxpy_general_prefetch_strides * sx * 8);
    for (int k = i; k < i + daxpy_round; ++k) axpy_one(a, x[k * sx], y[k * sy]);
  }
  for (; i < n; ++i) axpy_one(a, x[i * sx], y[i * sy]);
}

}  // namespace tav
