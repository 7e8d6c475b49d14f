// Single-precision dot product.
//
// Unit path (both strides 1, or both -1, taken from the given addresses
// upward): the peel / packed / tail scheme of unit_sum. When x and y share
// their address modulo 16 the peel aligns x and both are loaded aligned;
// otherwise the peel aligns y and x is loaded unaligned, and both are
// prefetched 96 and 128 bytes ahead once per 64 bytes. The result depends in
// its last bits on that alignment: peeled products are summed in extended
// precision and rounded to float when the packed body takes over.
//
// Other paths: four extended-precision sums (strided_sum4), in rounds of 8
// when one operand is contiguous (prefetched 96 bytes ahead once per 32 bytes)
// and of 4 on the general path.
#include <xmmintrin.h>

#include <cstdint>

#include "level1/single_kernels.h"
#include "level1/vector_sums.h"

namespace tav {
namespace {

constexpr int near_prefetch = 96;   // bytes ahead
constexpr int far_prefetch = 128;   // bytes ahead

struct DotAligned {
  const float *x, *y;
  xreal scalar(int i) const { return static_cast<xreal>(x[i]) * static_cast<xreal>(y[i]); }
  __m128 pack(int i) const { return _mm_mul_ps(_mm_load_ps(x + i), _mm_load_ps(y + i)); }
  void round_prefetch(int) const {}
};

struct DotMisaligned {
  const float *x, *y;
  xreal scalar(int i) const { return static_cast<xreal>(x[i]) * static_cast<xreal>(y[i]); }
  __m128 pack(int i) const { return _mm_mul_ps(_mm_loadu_ps(x + i), _mm_load_ps(y + i)); }
  void round_prefetch(int i) const {
    const char *px = reinterpret_cast<const char *>(x + i);
    const char *py = reinterpret_cast<const char *>(y + i);
    _mm_prefetch(px + near_prefetch, _MM_HINT_T0);
    _mm_prefetch(px + far_prefetch, _MM_HINT_T0);
    _mm_prefetch(py + near_prefetch, _MM_HINT_T0);
    _mm_prefetch(py + far_prefetch, _MM_HINT_T0);
  }
};

// One operand contiguous, the other strided: rounds of 8 with the contiguous
// one prefetched 96 bytes ahead per round.
xreal dot_one_contiguous(int n, const float *unit, const float *other, int inc) {
  auto term = [=](int i) {
    return static_cast<xreal>(unit[i]) * static_cast<xreal>(other[static_cast<std::ptrdiff_t>(i) * inc]);
  };
  auto prefetch = [=](int i) {
    _mm_prefetch(reinterpret_cast<const char *>(unit + i) + near_prefetch, _MM_HINT_T0);
  };
  return strided_sum4<8>(n, term, prefetch);
}

}  // namespace

xreal sdot_unit(int n, const float *x, const float *y) {
  bool co_aligned = ((reinterpret_cast<std::uintptr_t>(x) ^ reinterpret_cast<std::uintptr_t>(y)) & 15u) == 0;
  if (co_aligned) return unit_sum(n, x, DotAligned{x, y});
  return unit_sum(n, y, DotMisaligned{x, y});
}

// x is walked upward from its address. With incx -1 the pairing is reversed by
// negating y's stride; a negative stride then starts y at its far end.
xreal sdot_xunit(int n, const float *x, const float *y, int incy) {
  return dot_one_contiguous(n, x, logical_start(y, n, incy), incy);
}

xreal sdot_yunit(int n, const float *x, int incx, const float *y) {
  return dot_one_contiguous(n, y, logical_start(x, n, incx), incx);
}

xreal sdot_general(int n, const float *x, int incx, const float *y, int incy) {
  const float *px = logical_start(x, n, incx);
  const float *py = logical_start(y, n, incy);
  auto term = [=](int i) {
    return static_cast<xreal>(px[static_cast<std::ptrdiff_t>(i) * incx]) *
           static_cast<xreal>(py[static_cast<std::ptrdiff_t>(i) * incy]);
  };
  return strided_sum4<4>(n, term, [](int) {});
}

}  // namespace tav
