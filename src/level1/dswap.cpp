// Double-precision swap. No arithmetic. Unit path (both strides 1): swap one
// element at a time until y is 32-byte aligned (all of them if y never gets
// there); then, by whether x is 16-byte aligned, one of two copies of the body
// that differ only in aligned or unaligned moves of x: 8 elements a round as
// four pairs of 16-byte loads and ordinary stores, with prefetches 128 and 160
// bytes ahead of both x and y; the last 0 to 7 elements one at a time through
// the x87 stack. General path: 4 elements a round, each through the x87 stack,
// negative strides starting at element 1 of the published order.
#include <xmmintrin.h>

#include "frame/xreal.h"
#include "level1/double_kernels.h"
#include "level1/double_sums.h"

namespace tav {

namespace {
constexpr int dswap_peel_alignment = 32;  // bytes, on y
constexpr int dswap_round = 8;            // elements
constexpr int dswap_prefetch_near = 128;  // bytes ahead of x and y
constexpr int dswap_prefetch_far = 160;
constexpr int dswap_general_round = 4;
constexpr int dswap_general_prefetch_strides = 4;

inline void swap_through_x87(double *a, double *b) {
  double held = through_x87(load_any(a));
  store_any(a, through_x87(load_any(b)));
  store_any(b, held);
}

template <bool XAligned>
void dswap_body(int n, double *x, double *y) {
  float *xf = reinterpret_cast<float *>(x);
  float *yf = reinterpret_cast<float *>(y);
  auto load_x = [](const float *p) { return XAligned ? _mm_load_ps(p) : _mm_loadu_ps(p); };
  auto store_x = [](float *p, __m128 v) { XAligned ? _mm_store_ps(p, v) : _mm_storeu_ps(p, v); };
  int i = 0;
  for (; n - i >= dswap_round; i += dswap_round) {
    prefetch_nta(x + i, dswap_prefetch_near);
    prefetch_nta(y + i, dswap_prefetch_near);
    prefetch_nta(x + i, dswap_prefetch_far);
    prefetch_nta(y + i, dswap_prefetch_far);
    for (int k = 0; k < dswap_round * 2; k += 4) {
      __m128 xv = load_x(xf + 2 * i + k);
      __m128 yv = _mm_load_ps(yf + 2 * i + k);
      _mm_store_ps(yf + 2 * i + k, xv);
      store_x(xf + 2 * i + k, yv);
    }
  }
  for (; i < n; ++i) swap_through_x87(x + i, y + i);
}
}  // namespace

void dswap_unit(int n, double *x, double *y) {
  for (; n > 0 && !aligned_to(y, dswap_peel_alignment); --n, ++x, ++y) {
    const double held = load_any(x);
    store_any(x, load_any(y));
    store_any(y, held);
  }
  if (n == 0) return;
  if (aligned_to(x, 16))
    dswap_body<true>(n, x, y);
  else
    dswap_body<false>(n, x, y);
}

void dswap_general(int n, double *x, int incx, double *y, int incy) {
  x = dvec_start(x, n, incx);
  y = dvec_start(y, n, incy);
  const std::ptrdiff_t sx = incx, sy = incy;
  auto prefetch = [&](int i) {
    prefetch_nta(x + i * sx, dswap_general_prefetch_strides * sx * 8);
    prefetch_nta(y + i * sy, dswap_general_prefetch_strides * sy * 8);
  };
  in_rounds<dswap_general_round>(n, prefetch, [&](int k) { swap_through_x87(x + k * sx, y + k * sy); });
}

}  // namespace tav
