// Panel kernels: C += panel x B, one column of C at a time.
//
// Order of arithmetic: for each stripe of 16 rows and each column, four 4-lane
// single-precision accumulators start from zero; for each depth step in
// ascending order the element B(p, j) is broadcast and each group of 4 rows
// adds (panel vector * broadcast), the multiply and the add each rounded to
// single. After the last step the sixteen sums are added to C once
// (C + sum, in single). Both stripes of a 32-row panel are worked in the same
// pass over the column so that one broadcast serves eight accumulators; every
// element still sees exactly the operations above, in the same order.

#include <emmintrin.h>
#include <xmmintrin.h>

#include <cstddef>

#include "level3/gemm/sgemm.h"

namespace tav {
namespace {

constexpr int stripe = sgemm_blocks::short_rows;

// T0 prefetches of the current column of B, one every 8 depth steps,
// at these byte offsets from the column's start (16 elements ahead).
constexpr int b_prefetch_bytes[7] = {0x40, 0x64, 0x84, 0xA4, 0xC4, 0xE4, 0x104};

inline void prefetch_t0(const void *p) { _mm_prefetch(static_cast<const char *>(p), _MM_HINT_T0); }

// B(p, j) in all four lanes, bit for bit. The element is taken from the
// group of four depth steps that holds it, loaded whole and spread with an
// integer shuffle; the group lies inside the column's depth (a multiple of
// 16), so nothing beyond the block is read. On this machine the shuffle
// competes less with the multiplies and adds than a single load and shufps.
inline __m128 broadcast(const float *bj, int p) {
  const __m128i quad = _mm_castps_si128(_mm_loadu_ps(bj + (p & ~3)));
  switch (p & 3) {
    case 0:
      return _mm_castsi128_ps(_mm_shuffle_epi32(quad, 0x00));
    case 1:
      return _mm_castsi128_ps(_mm_shuffle_epi32(quad, 0x55));
    case 2:
      return _mm_castsi128_ps(_mm_shuffle_epi32(quad, 0xAA));
    default:
      return _mm_castsi128_ps(_mm_shuffle_epi32(quad, 0xFF));
  }
}

// An empty statement that ties the broadcast of a depth step to the
// accumulators of the step before. It emits no instruction; it keeps the
// compiler from hoisting all broadcasts of the unrolled depth ahead of the
// arithmetic and spilling them.
inline void hold_in_order(__m128 &bp, __m128 (&acc)[1][4]) {
  asm volatile("" : "+x"(bp), "+x"(acc[0][0]), "+x"(acc[0][1]), "+x"(acc[0][2]), "+x"(acc[0][3]));
}
inline void hold_in_order(__m128 &bp, __m128 (&acc)[2][4]) {
  asm volatile(""
               : "+x"(bp), "+x"(acc[0][0]), "+x"(acc[0][1]), "+x"(acc[0][2]), "+x"(acc[0][3]),
                 "+x"(acc[1][0]), "+x"(acc[1][1]), "+x"(acc[1][2]), "+x"(acc[1][3]));
}

template <int Stripes, int Depth>
void panel_kernel(int cols, const float *panel, const float *b, int ldb, float *c, int ldc) {
  static_assert(Depth % 8 == 0 && Depth >= 16 && Depth <= 64, "depths of 16 to 64 in steps of 8");
  constexpr int b_prefetches = Depth / 8 - 1;
  for (int j = 0; j < cols; ++j) {
    const float *bj = b + static_cast<std::ptrdiff_t>(j) * ldb;
    float *cj = c + static_cast<std::ptrdiff_t>(j) * ldc;
    __m128 acc[Stripes][4];
#pragma GCC unroll 2
    for (int s = 0; s < Stripes; ++s)
#pragma GCC unroll 4
      for (int g = 0; g < 4; ++g) acc[s][g] = _mm_setzero_ps();

#pragma GCC unroll 64
    for (int p = 0; p < Depth; ++p) {
      if (p % 8 == 0 && p / 8 < b_prefetches)
        prefetch_t0(reinterpret_cast<const char *>(bj) + b_prefetch_bytes[p / 8]);
      if (p == Depth - 8) {
#pragma GCC unroll 2
        for (int s = 0; s < Stripes; ++s) prefetch_t0(cj + s * stripe);
        prefetch_t0(bj);  // the column's start, for the next stripe
      }
      if (p == Depth - 4) {
#pragma GCC unroll 2
        for (int s = 0; s < Stripes; ++s)
          prefetch_t0(reinterpret_cast<const char *>(cj + s * stripe) + 0x20);
      }
      __m128 bp = broadcast(bj, p);
      hold_in_order(bp, acc);
#pragma GCC unroll 2
      for (int s = 0; s < Stripes; ++s) {
        const float *ap = panel + s * stripe * Depth + p * stripe;
#pragma GCC unroll 4
        for (int g = 0; g < 4; ++g)
          acc[s][g] = _mm_add_ps(acc[s][g], _mm_mul_ps(_mm_load_ps(ap + 4 * g), bp));
      }
    }

#pragma GCC unroll 2
    for (int s = 0; s < Stripes; ++s)
#pragma GCC unroll 4
      for (int g = 0; g < 4; ++g) {
        float *cp = cj + s * stripe + 4 * g;
        _mm_storeu_ps(cp, _mm_add_ps(_mm_loadu_ps(cp), acc[s][g]));
      }

    // Before the next column: touch its column of B and the end of this
    // column's stretch of C. Plain loads whose values are dropped; they only
    // warm the cache and cannot change any result.
    if (j + 1 < cols) {
      constexpr int rows = Stripes * stripe;
      (void)*static_cast<const volatile float *>(bj + ldb);
      (void)*static_cast<const volatile float *>(cj + (Stripes - 1) * stripe + (ldc - rows));
    }
  }
}

}  // namespace

void sgemm_panel_32x64(const int &cols, const float *panel, const float *b, const int &ldb, float *c,
                       const int &ldc) {
  panel_kernel<2, 64>(cols, panel, b, ldb, c, ldc);
}

void sgemm_panel_16x64(const int &cols, const float *panel, const float *b, const int &ldb, float *c,
                       const int &ldc) {
  panel_kernel<1, 64>(cols, panel, b, ldb, c, ldc);
}

void sgemm_panel_32x48(const int &cols, const float *panel, const float *b, const int &ldb, float *c,
                       const int &ldc) {
  panel_kernel<2, 48>(cols, panel, b, ldb, c, ldc);
}

void sgemm_panel_32x32(const int &cols, const float *panel, const float *b, const int &ldb, float *c,
                       const int &ldc) {
  panel_kernel<2, 32>(cols, panel, b, ldb, c, ldc);
}

void sgemm_panel_32x16(const int &cols, const float *panel, const float *b, const int &ldb, float *c,
                       const int &ldc) {
  panel_kernel<2, 16>(cols, panel, b, ldb, c, ldc);
}

}  // namespace tav
