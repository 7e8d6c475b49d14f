// Double-precision dot product. Every product is of operands widened to
// extended precision and is not rounded; the sums follow the four-accumulator
// pattern of double_sums.h: rounds of 4 elements go to A, B, C, D in turn, D
// being the running sum, combined as ((D + A) + B) + C, and the last 0 to 3
// elements are added to that in order. The unit kernel walks both vectors
// upward from the given addresses; the general one starts a negative stride at
// element 1 of the published order.
#include "level1/double_kernels.h"
#include "level1/double_sums.h"

namespace tav {

namespace {
constexpr int ddot_unit_prefetch_bytes = 128;  // on x and y, once per round
constexpr int ddot_general_prefetch_strides = 4;
}  // namespace

xreal ddot_unit(int n, const double *x, const double *y) {
  auto term = [&](int i) { return (xreal)x[i] * (xreal)y[i]; };
  auto prefetch = [&](int i) {
    prefetch_nta(x + i, ddot_unit_prefetch_bytes);
    prefetch_nta(y + i, ddot_unit_prefetch_bytes);
  };
  return sum4(n, term, prefetch);
}

xreal ddot_general(int n, const double *x, int incx, const double *y, int incy) {
  x = dvec_start(x, n, incx);
  y = dvec_start(y, n, incy);
  const std::ptrdiff_t sx = incx, sy = incy;
  auto term = [&](int i) { return (xreal)x[i * sx] * (xreal)y[i * sy]; };
  auto prefetch = [&](int i) {
    prefetch_nta(x + i * sx, ddot_general_prefetch_strides * sx * 8);
    prefetch_nta(y + i * sy, ddot_general_prefetch_strides * sy * 8);
  };
  return sum4(n, term, prefetch);
}

}  // namespace tav
