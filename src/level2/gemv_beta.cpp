// The beta pass of gemv: y := beta*y, once, over the whole of y. Each element
// is multiplied once and rounded once to its storage type (single real in
// SSE, the others through an xreal product); a beta of zero stores zeros
// without reading y, so a NaN in y goes away. Complex elements multiply as
// (yr*br - yi*bi, yr*bi + yi*br). The loop shapes below are only scheduling.

#include <xmmintrin.h>

#include <cstddef>
#include <cstdint>

#include "frame/xreal.h"
#include "level2/gemv.h"

namespace tav {
namespace {

using index_t = std::ptrdiff_t;

// Unrolling of the scalar loops: unit-stride double and complex, and the
// strided loops (scaling entered from 6 elements, zeroing from 7).
constexpr int unit_step = 5;
constexpr int strided_scale_step = 4, strided_scale_from = 6;
constexpr int strided_zero_step = 5, strided_zero_from = 7;
// Packed single precision: 8 elements a step as two aligned 4-wide operations.
constexpr int packed_step = 8;
constexpr int sse_align = 16;
constexpr int prefetch_ahead = 64;

// Runs op(i) for i in [0, n), `step` at a time once n reaches `from`.
template <int step, class Op>
inline void unrolled(int n, int from, Op op) {
  int i = 0;
  if (n >= from)
    for (; i + step <= n; i += step)
      for (int u = 0; u < step; ++u) op(i + u);
  for (; i < n; ++i) op(i);
}

template <class T, class Scale>
void beta_loops(int n, bool zero, T *y, index_t incy, Scale scale) {
  if (incy == 1) {
    if (zero)
      unrolled<unit_step>(n, unit_step, [&](int i) { y[i] = T{}; });
    else
      unrolled<unit_step>(n, unit_step, [&](int i) { y[i] = scale(y[i]); });
  } else if (zero) {
    unrolled<strided_zero_step>(n, strided_zero_from, [&](int i) { y[i * incy] = T{}; });
  } else {
    unrolled<strided_scale_step>(n, strided_scale_from, [&](int i) { y[i * incy] = scale(y[i * incy]); });
  }
}

template <class C>
void complex_beta(const int *len, const C *beta, C *y, const int *incy) {
  const bool zero = equals_or_nan(beta->re, decltype(beta->re)(0)) &&
                    equals_or_nan(beta->im, decltype(beta->im)(0));
  const xreal br = static_cast<xreal>(beta->re), bi = static_cast<xreal>(beta->im);
  beta_loops(*len, zero, y, *incy, [&](C v) {
    using R = decltype(v.re);
    const xreal vr = static_cast<xreal>(v.re), vi = static_cast<xreal>(v.im);
    return C{static_cast<R>(vr * br - vi * bi), static_cast<R>(vr * bi + vi * br)};
  });
}

}  // namespace

void sgemv_beta(const int *len, const float *beta, float *y, const int *incy) {
  const int n = *len;
  const float b = *beta;
  const bool zero = equals_or_nan(b, 0.0f);
  if (*incy != 1) {
    beta_loops(n, zero, y, *incy, [&](float v) { return v * b; });
    return;
  }
  auto one = [&](float *p) { *p = zero ? 0.0f : *p * b; };
  int i = 0;
  const std::uintptr_t addr = reinterpret_cast<std::uintptr_t>(y);
  const int peel = addr % sse_align ? static_cast<int>((sse_align - addr % sse_align) / sizeof(float)) : 0;
  // Packed only when y is 4-byte aligned and 8 elements remain after the peel.
  if (addr % sizeof(float) == 0 && n - peel >= packed_step) {
    for (; i < peel; ++i) one(y + i);
    const __m128 vb = _mm_set1_ps(b), vz = _mm_setzero_ps();
    for (; i + packed_step <= n; i += packed_step) {
      if (zero) {
        _mm_store_ps(y + i, vz);
        _mm_store_ps(y + i + 4, vz);
      } else {
        _mm_prefetch(reinterpret_cast<const char *>(y + i) + prefetch_ahead, _MM_HINT_NTA);
        _mm_store_ps(y + i, _mm_mul_ps(_mm_load_ps(y + i), vb));
        _mm_store_ps(y + i + 4, _mm_mul_ps(_mm_load_ps(y + i + 4), vb));
      }
    }
  }
  for (; i < n; ++i) one(y + i);
}

void dgemv_beta(const int *len, const double *beta, double *y, const int *incy) {
  const xreal b = static_cast<xreal>(*beta);
  beta_loops(*len, equals_or_nan(*beta, 0.0), y, *incy,
             [&](double v) { return static_cast<double>(static_cast<xreal>(v) * b); });
}

void cgemv_beta(const int *len, const tav_complex8 *beta, tav_complex8 *y, const int *incy) {
  complex_beta(len, beta, y, incy);
}

void zgemv_beta(const int *len, const tav_complex16 *beta, tav_complex16 *y, const int *incy) {
  complex_beta(len, beta, y, incy);
}

}  // namespace tav
