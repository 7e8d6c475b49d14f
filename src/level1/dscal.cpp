// Double-precision x := alpha * x. Each product is formed in extended
// precision and rounded to double by the store. Both paths take 4 elements a
// round, then one at a time. The unit path walks x upward from the given
// address (also for a stride of -1); the general path starts a negative stride
// at element 1 of the published order, and a stride of 0 multiplies element 1
// n times.
#include "level1/double_kernels.h"
#include "level1/double_sums.h"

namespace tav {

namespace {
constexpr int dscal_round = 4;
constexpr int dscal_unit_prefetch_bytes = 32;
constexpr int dscal_general_prefetch_strides = 4;

inline void scal_one(xreal alpha, double &x) { x = (double)(alpha * (xreal)x); }
}  // namespace

void dscal_unit(int n, double alpha, double *x) {
  const xreal a = alpha;
  in_rounds<dscal_round>(
      n, [&](int i) { prefetch_nta(x + i, dscal_unit_prefetch_bytes); }, [&](int k) { scal_one(a, x[k]); });
}

void dscal_general(int n, double alpha, double *x, int incx) {
  const xreal a = alpha;
  x = dvec_start(x, n, incx);
  const std::ptrdiff_t s = incx;
  in_rounds<dscal_round>(
      n, [&](int i) { prefetch_nta(x + i * s, dscal_general_prefetch_strides * s * 8); },
      [&](int k) { scal_one(a, x[k * s]); });
}

}  // namespace tav
