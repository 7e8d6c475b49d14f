// Single-precision sum of absolute values.
//
// Unit path (|incx| = 1, from the given address upward): unit_sum on the
// sign-cleared elements, peel aligning x. Stride path (the absolute stride,
// from the given address upward, never from the far end): one
// extended-precision sum in element order.
#include <xmmintrin.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "level1/single_kernels.h"
#include "level1/vector_sums.h"

namespace tav {
namespace {

// Four words 0x7FFFFFFF: an `and` with it clears the sign of each lane.
alignas(16) constexpr std::uint32_t sign_clear_words[4] = {0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF};

struct AbsTerms {
  const float *x;
  __m128 mask;
  xreal scalar(int i) const { return std::fabs(static_cast<xreal>(x[i])); }
  __m128 pack(int i) const { return _mm_and_ps(_mm_load_ps(x + i), mask); }
  void round_prefetch(int) const {}
};

}  // namespace

xreal sasum_unit(int n, const float *x) {
  const __m128 sign_clear = _mm_load_ps(reinterpret_cast<const float *>(sign_clear_words));
  return unit_sum(n, x, AbsTerms{x, sign_clear});
}

xreal sasum_stride(int n, const float *x, int inc) {
  xreal sum = 0;
  for (int i = 0; i < n; ++i) sum += std::fabs(static_cast<xreal>(x[static_cast<std::ptrdiff_t>(i) * inc]));
  return sum;
}

}  // namespace tav
