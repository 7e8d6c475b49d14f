// Single-precision sum of squares for the Euclidean norm; there is no scaling.
//
// Unit path (incx 1 only): unit_sum on the squares, peel aligning x. Squares in
// the packed body are rounded to float, so a vector whose squares overflow
// single precision gives +infinity there, while the general path (every other
// stride, -1 and 0 included, in the published order) keeps four
// extended-precision sums (strided_sum4, rounds of 4) whose wider exponent
// range keeps the result finite. The front takes the square root.
#include <xmmintrin.h>

#include <cstddef>

#include "level1/single_kernels.h"
#include "level1/vector_sums.h"

namespace tav {
namespace {

struct SquareTerms {
  const float *x;
  xreal scalar(int i) const { return static_cast<xreal>(x[i]) * static_cast<xreal>(x[i]); }
  __m128 pack(int i) const {
    __m128 v = _mm_load_ps(x + i);
    return _mm_mul_ps(v, v);
  }
  void round_prefetch(int) const {}
};

}  // namespace

xreal snrm2_unit(int n, const float *x) { return unit_sum(n, x, SquareTerms{x}); }

xreal snrm2_general(int n, const float *x, int incx) {
  const float *px = logical_start(x, n, incx);
  auto term = [=](int i) {
    xreal v = static_cast<xreal>(px[static_cast<std::ptrdiff_t>(i) * incx]);
    return v * v;
  };
  return strided_sum4<4>(n, term, [](int) {});
}

}  // namespace tav
