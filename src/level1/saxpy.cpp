// Single-precision y := alpha * x + y.
//
// Element by element there are two forms: packed, where alpha * x is rounded
// to float and the sum with y is rounded to float; and scalar, where
// alpha * x + y is formed in extended precision and only the store to y
// rounds. The unit path peels to a 16-byte boundary of x (when x and y share
// their address modulo 16) or of y (otherwise, then x is loaded unaligned),
// takes the packed form for whole packs of 4 from there on, and the scalar form
// for the peel and the last 0 to 3 elements. The strided paths are scalar.
#include <xmmintrin.h>

#include <cstddef>
#include <cstdint>

#include "level1/single_kernels.h"
#include "level1/vector_sums.h"

namespace tav {
namespace {

inline float scalar_axpy(xreal alpha, float x, float y) {
  return static_cast<float>(alpha * static_cast<xreal>(x) + static_cast<xreal>(y));
}

template <bool XAligned>
inline void packed_axpy(__m128 alpha, const float *x, float *y) {
  __m128 vx = XAligned ? _mm_load_ps(x) : _mm_loadu_ps(x);
  _mm_store_ps(y, _mm_add_ps(_mm_mul_ps(vx, alpha), _mm_load_ps(y)));
}

// The packed body from element i on; returns the first element it left.
// Co-aligned: rounds of 16, then 8, then 4. Not co-aligned: rounds of 8, then 4.
template <bool XAligned>
int packed_body(int n, int i, float alpha, const float *x, float *y) {
  const __m128 va = _mm_set1_ps(alpha);
  if (XAligned) {
    for (; n - i >= 16; i += 16) {
      packed_axpy<true>(va, x + i, y + i);
      packed_axpy<true>(va, x + i + 4, y + i + 4);
      packed_axpy<true>(va, x + i + 8, y + i + 8);
      packed_axpy<true>(va, x + i + 12, y + i + 12);
    }
  }
  for (; n - i >= 8; i += 8) {
    packed_axpy<XAligned>(va, x + i, y + i);
    packed_axpy<XAligned>(va, x + i + 4, y + i + 4);
  }
  if (n - i >= 4) {
    packed_axpy<XAligned>(va, x + i, y + i);
    i += 4;
  }
  return i;
}

}  // namespace

void saxpy_unit(int n, float alpha, const float *x, float *y) {
  const xreal xa = static_cast<xreal>(alpha);
  bool co_aligned = ((reinterpret_cast<std::uintptr_t>(x) ^ reinterpret_cast<std::uintptr_t>(y)) & 15u) == 0;
  const float *tested = co_aligned ? x : y;
  int i = 0;
  for (; i < n && !aligned16(tested + i); ++i) y[i] = scalar_axpy(xa, x[i], y[i]);
  if (n - i >= 4)
    i = co_aligned ? packed_body<true>(n, i, alpha, x, y) : packed_body<false>(n, i, alpha, x, y);
  for (; i < n; ++i) y[i] = scalar_axpy(xa, x[i], y[i]);
}

// y walked upward; with incy -1 the pairing reverses through x's stride.
void saxpy_yunit(int n, float alpha, const float *x, int incx, float *y) {
  const xreal xa = static_cast<xreal>(alpha);
  const float *px = logical_start(x, n, incx);
  for (int i = 0; i < n; ++i) y[i] = scalar_axpy(xa, px[static_cast<std::ptrdiff_t>(i) * incx], y[i]);
}

void saxpy_general(int n, float alpha, const float *x, int incx, float *y, int incy) {
  const xreal xa = static_cast<xreal>(alpha);
  const float *px = logical_start(x, n, incx);
  float *py = logical_start(y, n, incy);
  for (int i = 0; i < n; ++i) {
    float &yi = py[static_cast<std::ptrdiff_t>(i) * incy];
    yi = scalar_axpy(xa, px[static_cast<std::ptrdiff_t>(i) * incx], yi);
  }
}

}  // namespace tav
