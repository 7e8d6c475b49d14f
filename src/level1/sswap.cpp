// Single-precision swap. Values are moved, not computed.
//
// Unit path (both strides 1): swap single elements until y is on a 32-byte
// boundary; then rounds of 16 elements as four pairs of 16-byte loads and
// stores (y aligned, x aligned or not), prefetchnta 128 and 160 bytes ahead of
// both once per round; ordinary stores; the last 0 to 15 elements one by one.
// General path: rounds of 4 with prefetchnta four strides ahead of both, each
// element passing through the x87 stack (a signalling NaN comes out quieted).
#include <xmmintrin.h>

#include <cstddef>
#include <cstdint>
#include <utility>

#include "level1/single_kernels.h"
#include "level1/vector_sums.h"

namespace tav {
namespace {

constexpr int round_elements = 16;
constexpr int near_prefetch = 128;  // bytes ahead
constexpr int far_prefetch = 160;

template <bool XAligned>
int swap_body(int n, float *x, float *y) {
  int i = 0;
  for (; n - i >= round_elements; i += round_elements) {
    const char *bx = reinterpret_cast<const char *>(x + i);
    const char *by = reinterpret_cast<const char *>(y + i);
    _mm_prefetch(bx + near_prefetch, _MM_HINT_NTA);
    _mm_prefetch(bx + far_prefetch, _MM_HINT_NTA);
    _mm_prefetch(by + near_prefetch, _MM_HINT_NTA);
    _mm_prefetch(by + far_prefetch, _MM_HINT_NTA);
    for (int p = 0; p < round_elements; p += 4) {
      __m128 vx = XAligned ? _mm_load_ps(x + i + p) : _mm_loadu_ps(x + i + p);
      __m128 vy = _mm_load_ps(y + i + p);
      if (XAligned)
        _mm_store_ps(x + i + p, vy);
      else
        _mm_storeu_ps(x + i + p, vy);
      _mm_store_ps(y + i + p, vx);
    }
  }
  return i;
}

}  // namespace

void sswap_unit(int n, float *x, float *y) {
  int i = 0;
  for (; i < n && (reinterpret_cast<std::uintptr_t>(y + i) & 31u) != 0; ++i) std::swap(x[i], y[i]);
  if (i < n) i += aligned16(x + i) ? swap_body<true>(n - i, x + i, y + i) : swap_body<false>(n - i, x + i, y + i);
  for (; i < n; ++i) std::swap(x[i], y[i]);
}

void sswap_general(int n, float *x, int incx, float *y, int incy) {
  float *px = logical_start(x, n, incx);
  float *py = logical_start(y, n, incy);
  const std::ptrdiff_t sx = incx, sy = incy;
  auto swap_one = [&](std::ptrdiff_t k) {
    float a = through_x87(px[k * sx]);
    float b = through_x87(py[k * sy]);
    px[k * sx] = b;
    py[k * sy] = a;
  };
  int i = 0;
  for (; n - i >= 4; i += 4) {
    _mm_prefetch(reinterpret_cast<const char *>(px + (i + 4) * sx), _MM_HINT_NTA);
    _mm_prefetch(reinterpret_cast<const char *>(py + (i + 4) * sy), _MM_HINT_NTA);
    for (int k = i; k < i + 4; ++k) swap_one(k);
  }
  for (; i < n; ++i) swap_one(i);
}

}  // namespace tav
