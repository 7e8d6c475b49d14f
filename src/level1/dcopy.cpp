// Double-precision copy. No arithmetic: the unit path moves raw bytes through
// 128-bit registers, the general path and the last elements of the unit path
// move each element through the x87 stack.
//
// Unit path (both strides 1): copy one element at a time until y is 32-byte
// aligned (all of them if y never gets there). Then, by whether x is 16-byte
// aligned, one of two copies of the loops below, differing only in aligned or
// unaligned loads of x; stores are non-temporal. Blocks of 512 elements (4096
// bytes) in two passes: a prefetch pass touching the block of x every 32 bytes,
// then a copy pass of 32 bytes a step. If nothing is left, return. The rest, 4
// elements a step with a prefetch 128 bytes ahead of x. Only the aligned-source
// copy issues a store fence, after that rest loop; the last 0 to 3 elements
// follow through the x87 stack.
#include <xmmintrin.h>

#include "frame/xreal.h"
#include "level1/double_kernels.h"
#include "level1/double_sums.h"

namespace tav {

namespace {
constexpr int dcopy_peel_alignment = 32;        // bytes, on y
constexpr int dcopy_block = 512;                // elements, 4096 bytes
constexpr int dcopy_block_prefetch_step = 32;   // bytes
constexpr int dcopy_rest_step = 4;              // elements
constexpr int dcopy_rest_prefetch_bytes = 128;  // ahead of x
constexpr int dcopy_general_round = 4;
constexpr int dcopy_general_prefetch_strides = 4;

template <bool XAligned>
inline __m128 load16(const double *p) {
  const float *f = reinterpret_cast<const float *>(p);
  return XAligned ? _mm_load_ps(f) : _mm_loadu_ps(f);
}

inline void stream16(double *p, __m128 v) { _mm_stream_ps(reinterpret_cast<float *>(p), v); }

// y is 32-byte aligned.
template <bool XAligned>
void dcopy_body(int n, const double *x, double *y) {
  for (; n >= dcopy_block; n -= dcopy_block, x += dcopy_block, y += dcopy_block) {
    for (int b = 0; b < dcopy_block * 8; b += dcopy_block_prefetch_step) prefetch_nta(x, b);
    for (int i = 0; i < dcopy_block; i += 4) {
      __m128 lo = load16<XAligned>(x + i), hi = load16<XAligned>(x + i + 2);
      stream16(y + i, lo);
      stream16(y + i + 2, hi);
    }
  }
  if (n == 0) return;
  for (; n >= dcopy_rest_step; n -= dcopy_rest_step, x += dcopy_rest_step, y += dcopy_rest_step) {
    prefetch_nta(x, dcopy_rest_prefetch_bytes);
    __m128 lo = load16<XAligned>(x), hi = load16<XAligned>(x + 2);
    stream16(y, lo);
    stream16(y + 2, hi);
  }
  if (XAligned) _mm_sfence();
  for (int i = 0; i < n; ++i) store_any(y + i, through_x87(load_any(x + i)));
}
}  // namespace

void dcopy_unit(int n, const double *x, double *y) {
  for (; n > 0 && !aligned_to(y, dcopy_peel_alignment); --n) store_any(y++, load_any(x++));
  if (n == 0) return;
  if (aligned_to(x, 16))
    dcopy_body<true>(n, x, y);
  else
    dcopy_body<false>(n, x, y);
}

void dcopy_general(int n, const double *x, int incx, double *y, int incy) {
  x = dvec_start(x, n, incx);
  y = dvec_start(y, n, incy);
  const std::ptrdiff_t sx = incx, sy = incy;
  auto prefetch = [&](int i) {
    prefetch_nta(x + i * sx, dcopy_general_prefetch_strides * sx * 8);
    prefetch_nta(y + i * sy, dcopy_general_prefetch_strides * sy * 8);
  };
  in_rounds<dcopy_general_round>(n, prefetch,
                                 [&](int k) { store_any(y + k * sy, through_x87(load_any(x + k * sx))); });
}

}  // namespace tav
