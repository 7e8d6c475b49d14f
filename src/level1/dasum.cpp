// Double-precision sum of absolute values, in extended precision. Unit path:
// the four-accumulator pattern of double_sums.h over x upward from the given
// address (also for a stride of -1). General path: two accumulators, in each
// round of 2 the first element into A and the second into the running sum S,
// combined as S + A, a last odd element added to that; a negative stride
// starts at element 1 of the published order.
#include <cmath>

#include "level1/double_kernels.h"
#include "level1/double_sums.h"

namespace tav {

namespace {
constexpr int dasum_unit_prefetch_bytes = 128;     // once per 4 elements
constexpr int dasum_general_prefetch_strides = 4;  // once per 2 elements
}  // namespace

xreal dasum_unit(int n, const double *x) {
  auto term = [&](int i) { return std::fabs((xreal)x[i]); };
  auto prefetch = [&](int i) { prefetch_nta(x + i, dasum_unit_prefetch_bytes); };
  return sum4(n, term, prefetch);
}

xreal dasum_general(int n, const double *x, int incx) {
  x = dvec_start(x, n, incx);
  const std::ptrdiff_t s = incx;
  auto term = [&](int i) { return std::fabs((xreal)x[i * s]); };
  auto prefetch = [&](int i) { prefetch_nta(x + i * s, dasum_general_prefetch_strides * s * 8); };
  return sum2(n, term, prefetch);
}

}  // namespace tav
