// Single-precision x := alpha * x, from the given address upward by the
// absolute stride (a negative stride scales the same elements as the positive
// one; stride 0 multiplies element 1 n times, rounding each time).
//
// Each element's product is rounded once to float, in the packed body as in
// the peel and tail (which form it in extended precision first: the product of
// two floats is exact there, so the one rounding gives the same value).
#include <xmmintrin.h>

#include <cstddef>
#include <initializer_list>

#include "level1/single_kernels.h"
#include "level1/vector_sums.h"

namespace tav {
namespace {

constexpr int body_packs = 6;  // 24 elements per round

inline float scalar_scale(xreal alpha, float x) { return static_cast<float>(alpha * static_cast<xreal>(x)); }

inline void packed_scale(__m128 alpha, float *x) { _mm_store_ps(x, _mm_mul_ps(_mm_load_ps(x), alpha)); }

}  // namespace

void sscal_unit(int n, float alpha, float *x) {
  const xreal xa = static_cast<xreal>(alpha);
  int i = 0;
  for (; i < n && !aligned16(x + i); ++i) x[i] = scalar_scale(xa, x[i]);
  if (n - i >= 4) {
    const __m128 va = _mm_set1_ps(alpha);
    for (; n - i >= 4 * body_packs; i += 4 * body_packs)
      for (int p = 0; p < body_packs; ++p) packed_scale(va, x + i + 4 * p);
    for (int step : {16, 8, 4}) {
      if (n - i >= step) {
        for (int p = 0; p < step; p += 4) packed_scale(va, x + i + p);
        i += step;
      }
    }
  }
  for (; i < n; ++i) x[i] = scalar_scale(xa, x[i]);
}

void sscal_stride(int n, float alpha, float *x, int inc) {
  const xreal xa = static_cast<xreal>(alpha);
  for (int i = 0; i < n; ++i) {
    float &xi = x[static_cast<std::ptrdiff_t>(i) * inc];
    xi = scalar_scale(xa, xi);
  }
}

}  // namespace tav
