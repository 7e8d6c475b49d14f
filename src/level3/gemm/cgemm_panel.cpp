// cgemm panel kernels: c_block += panel x b_block, in SSE single precision.
// For a column of B and a row pair of the panel there are four accumulators,
// (re, im) of the first row and (re, im) of the second, each of four lanes;
// lane l sums the depth steps congruent to l modulo 4, starting from 0. First
// the real parts of the column of B, for all depth groups in ascending order:
// each panel vector times the B vector is added to the accumulator of the same
// name. Then the imaginary parts, again over all groups: real panel vectors
// times B are added to the imaginary accumulators, imaginary panel vectors
// times B are subtracted from the real ones. Every multiply and add is rounded
// to single. Each accumulator's lanes are reduced as (l0 + l2) + (l1 + l3) and
// the four sums, as one vector (re, im of the first row, re, im of the second),
// are added to the two elements of c_block.

#include <xmmintrin.h>

#include "level3/gemm/cgemm.h"

namespace tav {
namespace {

// Keeps the eight accumulators in step, one depth group at a time: left to
// itself the compiler runs each accumulator's whole chain before the next,
// which leaves the adds waiting on each other.
__attribute__((always_inline)) inline void in_step(__m128 &a, __m128 &b, __m128 &c, __m128 &d, __m128 &e,
                                                   __m128 &f, __m128 &g, __m128 &h) {
  asm("" : "+x"(a), "+x"(b), "+x"(c), "+x"(d), "+x"(e), "+x"(f), "+x"(g), "+x"(h));
}

// (l0 + l2) + (l1 + l3) of each of r0, i0, r1, i1, in that order.
__attribute__((always_inline)) inline __m128 reduce4(__m128 r0, __m128 i0, __m128 r1, __m128 i1) {
  // r0 l0+l2, i0 l0+l2, r0 l1+l3, i0 l1+l3, and the same of r1, i1
  const __m128 first = _mm_add_ps(_mm_unpacklo_ps(r0, i0), _mm_unpackhi_ps(r0, i0));
  const __m128 second = _mm_add_ps(_mm_unpacklo_ps(r1, i1), _mm_unpackhi_ps(r1, i1));
  return _mm_add_ps(_mm_movelh_ps(first, second), _mm_movehl_ps(second, first));
}

// Two row pairs of the panel (at pa and pa + 4 * Depth floats) against one
// column of b_block, added into the four rows of c_block at cj: the form for
// the last column when the count is odd, two pairs so that each B vector
// serves eight accumulators.
template <int Depth>
__attribute__((always_inline)) inline void two_pairs(const float *pa, const float *bj, float *cj) {
  const float *pb = pa + 4 * Depth;
  __m128 r0 = _mm_setzero_ps(), i0 = r0, r1 = r0, i1 = r0;
  __m128 r2 = r0, i2 = r0, r3 = r0, i3 = r0;
#pragma GCC unroll 16
  for (int g = 0; g < Depth / 4; ++g) {
    const __m128 b = _mm_load_ps(bj + 8 * g);
    const float *x = pa + 16 * g, *y = pb + 16 * g;
    r0 = _mm_add_ps(r0, _mm_mul_ps(_mm_load_ps(x), b));
    i0 = _mm_add_ps(i0, _mm_mul_ps(_mm_load_ps(x + 4), b));
    r1 = _mm_add_ps(r1, _mm_mul_ps(_mm_load_ps(x + 8), b));
    i1 = _mm_add_ps(i1, _mm_mul_ps(_mm_load_ps(x + 12), b));
    r2 = _mm_add_ps(r2, _mm_mul_ps(_mm_load_ps(y), b));
    i2 = _mm_add_ps(i2, _mm_mul_ps(_mm_load_ps(y + 4), b));
    r3 = _mm_add_ps(r3, _mm_mul_ps(_mm_load_ps(y + 8), b));
    i3 = _mm_add_ps(i3, _mm_mul_ps(_mm_load_ps(y + 12), b));
    in_step(r0, i0, r1, i1, r2, i2, r3, i3);
  }
#pragma GCC unroll 16
  for (int g = 0; g < Depth / 4; ++g) {
    const __m128 b = _mm_load_ps(bj + 8 * g + 4);
    const float *x = pa + 16 * g, *y = pb + 16 * g;
    i0 = _mm_add_ps(i0, _mm_mul_ps(_mm_load_ps(x), b));
    r0 = _mm_sub_ps(r0, _mm_mul_ps(_mm_load_ps(x + 4), b));
    i1 = _mm_add_ps(i1, _mm_mul_ps(_mm_load_ps(x + 8), b));
    r1 = _mm_sub_ps(r1, _mm_mul_ps(_mm_load_ps(x + 12), b));
    i2 = _mm_add_ps(i2, _mm_mul_ps(_mm_load_ps(y), b));
    r2 = _mm_sub_ps(r2, _mm_mul_ps(_mm_load_ps(y + 4), b));
    i3 = _mm_add_ps(i3, _mm_mul_ps(_mm_load_ps(y + 8), b));
    r3 = _mm_sub_ps(r3, _mm_mul_ps(_mm_load_ps(y + 12), b));
    in_step(r0, i0, r1, i1, r2, i2, r3, i3);
  }
  _mm_store_ps(cj, _mm_add_ps(_mm_load_ps(cj), reduce4(r0, i0, r1, i1)));
  _mm_store_ps(cj + 4, _mm_add_ps(_mm_load_ps(cj + 4), reduce4(r2, i2, r3, i3)));
}

// One row pair of the panel against two columns of b_block, added into the
// pair's two elements of c_block in each column. Each panel vector serves
// both columns, which halves the panel reads of the column-at-a-time form.
template <int Depth>
__attribute__((always_inline)) inline void pair_two_columns(const float *pa, const float *b0, const float *b1,
                                                            float *c0, float *c1) {
  __m128 r0 = _mm_setzero_ps(), i0 = r0, r1 = r0, i1 = r0;  // column 0
  __m128 s0 = r0, j0 = r0, s1 = r0, j1 = r0;                // column 1
#pragma GCC unroll 16
  for (int g = 0; g < Depth / 4; ++g) {
    const __m128 x = _mm_load_ps(b0 + 8 * g), y = _mm_load_ps(b1 + 8 * g);
    const float *p = pa + 16 * g;
    __m128 v = _mm_load_ps(p);
    r0 = _mm_add_ps(r0, _mm_mul_ps(v, x));
    s0 = _mm_add_ps(s0, _mm_mul_ps(v, y));
    v = _mm_load_ps(p + 4);
    i0 = _mm_add_ps(i0, _mm_mul_ps(v, x));
    j0 = _mm_add_ps(j0, _mm_mul_ps(v, y));
    v = _mm_load_ps(p + 8);
    r1 = _mm_add_ps(r1, _mm_mul_ps(v, x));
    s1 = _mm_add_ps(s1, _mm_mul_ps(v, y));
    v = _mm_load_ps(p + 12);
    i1 = _mm_add_ps(i1, _mm_mul_ps(v, x));
    j1 = _mm_add_ps(j1, _mm_mul_ps(v, y));
    in_step(r0, i0, r1, i1, s0, j0, s1, j1);
  }
#pragma GCC unroll 16
  for (int g = 0; g < Depth / 4; ++g) {
    const __m128 x = _mm_load_ps(b0 + 8 * g + 4), y = _mm_load_ps(b1 + 8 * g + 4);
    const float *p = pa + 16 * g;
    __m128 v = _mm_load_ps(p);
    i0 = _mm_add_ps(i0, _mm_mul_ps(v, x));
    j0 = _mm_add_ps(j0, _mm_mul_ps(v, y));
    v = _mm_load_ps(p + 4);
    r0 = _mm_sub_ps(r0, _mm_mul_ps(v, x));
    s0 = _mm_sub_ps(s0, _mm_mul_ps(v, y));
    v = _mm_load_ps(p + 8);
    i1 = _mm_add_ps(i1, _mm_mul_ps(v, x));
    j1 = _mm_add_ps(j1, _mm_mul_ps(v, y));
    v = _mm_load_ps(p + 12);
    r1 = _mm_sub_ps(r1, _mm_mul_ps(v, x));
    s1 = _mm_sub_ps(s1, _mm_mul_ps(v, y));
    in_step(r0, i0, r1, i1, s0, j0, s1, j1);
  }
  _mm_store_ps(c0, _mm_add_ps(_mm_load_ps(c0), reduce4(r0, i0, r1, i1)));
  _mm_store_ps(c1, _mm_add_ps(_mm_load_ps(c1), reduce4(s0, j0, s1, j1)));
}

template <int Rows, int Depth>
inline void panel_kernel(int cols, const float *panel, const float *block, int stride, float *c, int cstride) {
  static_assert(Rows % 4 == 0, "row pairs go two at a time in a single column");
  const std::ptrdiff_t bs = 2 * static_cast<std::ptrdiff_t>(stride), cs = 2 * static_cast<std::ptrdiff_t>(cstride);
  int j = 0;
  for (; j + 2 <= cols; j += 2) {
    const float *bj = block + j * bs;
    float *cj = c + j * cs;
    for (int pair = 0; pair < Rows / 2; ++pair)
      pair_two_columns<Depth>(panel + pair * 4 * Depth, bj, bj + bs, cj + 4 * pair, cj + cs + 4 * pair);
  }
  if (j < cols)
    for (int pairs = 0; pairs < Rows / 2; pairs += 2)
      two_pairs<Depth>(panel + pairs * 4 * Depth, block + j * bs, c + j * cs + 4 * pairs);
}

}  // namespace

void cgemm_panel_8x64(int, int cols, int, const float *panel, const float *block, int stride, float *c,
                      int cstride) {
  panel_kernel<8, 64>(cols, panel, block, stride, c, cstride);
}
void cgemm_panel_4x64(int, int cols, int, const float *panel, const float *block, int stride, float *c,
                      int cstride) {
  panel_kernel<4, 64>(cols, panel, block, stride, c, cstride);
}
void cgemm_panel_8x48(int, int cols, int, const float *panel, const float *block, int stride, float *c,
                      int cstride) {
  panel_kernel<8, 48>(cols, panel, block, stride, c, cstride);
}
void cgemm_panel_8x32(int, int cols, int, const float *panel, const float *block, int stride, float *c,
                      int cstride) {
  panel_kernel<8, 32>(cols, panel, block, stride, c, cstride);
}
void cgemm_panel_8x16(int, int cols, int, const float *panel, const float *block, int stride, float *c,
                      int cstride) {
  panel_kernel<8, 16>(cols, panel, block, stride, c, cstride);
}

}  // namespace tav
