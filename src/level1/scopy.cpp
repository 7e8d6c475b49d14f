// Single-precision copy. Values are moved, not computed; elements that pass
// through the x87 stack (the tail of the unit path and the whole general path)
// come out with a signalling NaN quieted.
//
// Unit path (both strides 1): copy single elements until y is on a 32-byte
// boundary; then, with x aligned or not to 16 bytes, blocks of 4096 bytes in two
// passes (prefetchnta every 32 bytes of the next block of x, then the copy with
// non-temporal stores), then steps of 8 with a prefetchnta 128 bytes ahead of x,
// then the last 0 to 7 elements through the x87 stack. Every exit is fenced,
// so the non-temporal data is ordered for other threads when the call returns.
#include <xmmintrin.h>

#include <cstddef>
#include <cstdint>

#include "level1/single_kernels.h"
#include "level1/vector_sums.h"

namespace tav {
namespace {

constexpr int block_elements = 1024;  // 4096 bytes per prefetch-and-copy block
constexpr int line_bytes = 32;
constexpr int step_prefetch = 128;    // bytes ahead of x in the steps of 8

inline bool aligned32(const void *p) { return (reinterpret_cast<std::uintptr_t>(p) & 31u) == 0; }

template <bool XAligned>
inline void stream8(const float *x, float *y) {
  __m128 a = XAligned ? _mm_load_ps(x) : _mm_loadu_ps(x);
  __m128 b = XAligned ? _mm_load_ps(x + 4) : _mm_loadu_ps(x + 4);
  _mm_stream_ps(y, a);
  _mm_stream_ps(y + 4, b);
}

// y is 32-byte aligned; returns the number of elements copied.
template <bool XAligned>
int streamed_copy(int n, const float *x, float *y) {
  int i = 0;
  for (; n - i >= block_elements; i += block_elements) {
    const char *bx = reinterpret_cast<const char *>(x + i);
    for (int b = 0; b < block_elements * 4; b += line_bytes) _mm_prefetch(bx + b, _MM_HINT_NTA);
    for (int e = 0; e < block_elements; e += 8) stream8<XAligned>(x + i + e, y + i + e);
  }
  for (; n - i >= 8; i += 8) {
    _mm_prefetch(reinterpret_cast<const char *>(x + i) + step_prefetch, _MM_HINT_NTA);
    stream8<XAligned>(x + i, y + i);
  }
  return i;
}

}  // namespace

void scopy_unit(int n, const float *x, float *y) {
  int i = 0;
  for (; i < n && !aligned32(y + i); ++i) y[i] = x[i];
  if (i < n) {
    if (aligned16(x + i)) {
      i += streamed_copy<true>(n - i, x + i, y + i);
      _mm_sfence();  // the aligned-source copy fences before its tail as well
    } else {
      i += streamed_copy<false>(n - i, x + i, y + i);
    }
    for (; i < n; ++i) y[i] = through_x87(x[i]);
  }
  _mm_sfence();
}

// Rounds of 4 with prefetchnta four strides ahead on x and y.
void scopy_general(int n, const float *x, int incx, float *y, int incy) {
  const float *px = logical_start(x, n, incx);
  float *py = logical_start(y, n, incy);
  const std::ptrdiff_t sx = incx, sy = incy;
  int i = 0;
  for (; n - i >= 4; i += 4) {
    _mm_prefetch(reinterpret_cast<const char *>(px + (i + 4) * sx), _MM_HINT_NTA);
    _mm_prefetch(reinterpret_cast<const char *>(py + (i + 4) * sy), _MM_HINT_NTA);
    for (int k = i; k < i + 4; ++k) py[k * sy] = through_x87(px[k * sx]);
  }
  for (; i < n; ++i) py[i * sy] = through_x87(px[i * sx]);
  _mm_sfence();
}

}  // namespace tav
