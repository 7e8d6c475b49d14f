#pragma once
// Summation patterns shared by the single-precision vector kernels.
//
// unit_sum: the peel-to-alignment / packed-body / tail scheme of the unit
// paths of sdot, sasum and snrm2. Elements before the tested pointer reaches a
// 16-byte boundary are added one by one to an extended-precision sum (stopping
// when the count runs out; a pointer that is not a multiple of 4 never gets
// there, and then every element goes this way). If at least 4 elements are
// left, the sum is rounded to float and seeds lane 0 of accumulator 0; the
// other lanes and accumulator 1 start at zero. Rounds of 16 elements add packs
// 0 and 2 into accumulator 0 and packs 1 and 3 into accumulator 1, each
// multiply and add rounded to float; then at most one step of 8 (pack 0 -> acc0,
// pack 1 -> acc1) and one of 4 (-> acc0). The accumulators are added lane by
// lane, the lanes fold as (l0 + l2) + (l1 + l3), and the last 0 to 3 elements
// are added one by one in extended precision.
//
// strided_sum4: four extended-precision sums A, B, C, D take elements 0, 4, 8..
// / 1, 5, .. / 2, 6, .. / 3, 7, .. in rounds of `Round` elements (4 or 8);
// they combine as ((D + A) + B) + C and the elements after the last full round
// are added to that one by one.

#include <xmmintrin.h>

#include <cstddef>
#include <cstdint>

#include "frame/xreal.h"

namespace tav {

inline bool aligned16(const void *p) { return (reinterpret_cast<std::uintptr_t>(p) & 15u) == 0; }

// Terms supplies: xreal scalar(i), __m128 pack(i) (elements i..i+3),
// void round_prefetch(i) once per 16-element round.
template <class Terms>
xreal unit_sum(int n, const float *tested, const Terms &terms) {
  xreal sum = 0;
  int i = 0;
  while (i < n && !aligned16(tested + i)) {
    sum += terms.scalar(i);
    ++i;
  }
  if (n - i >= 4) {
    __m128 acc0 = _mm_set_ss(static_cast<float>(sum));
    __m128 acc1 = _mm_setzero_ps();
    for (; n - i >= 16; i += 16) {
      terms.round_prefetch(i);
      acc0 = _mm_add_ps(acc0, terms.pack(i));
      acc1 = _mm_add_ps(acc1, terms.pack(i + 4));
      acc0 = _mm_add_ps(acc0, terms.pack(i + 8));
      acc1 = _mm_add_ps(acc1, terms.pack(i + 12));
    }
    if (n - i >= 8) {
      acc0 = _mm_add_ps(acc0, terms.pack(i));
      acc1 = _mm_add_ps(acc1, terms.pack(i + 4));
      i += 8;
    }
    if (n - i >= 4) {
      acc0 = _mm_add_ps(acc0, terms.pack(i));
      i += 4;
    }
    __m128 both = _mm_add_ps(acc0, acc1);
    alignas(16) float lane[4];
    _mm_store_ps(lane, both);
    sum = static_cast<xreal>((lane[0] + lane[2]) + (lane[1] + lane[3]));
  }
  for (; i < n; ++i) sum += terms.scalar(i);
  return sum;
}

// Term: xreal operator()(i); Prefetch: void operator()(i) once per round.
template <int Round, class Term, class Prefetch>
xreal strided_sum4(int n, const Term &term, const Prefetch &prefetch) {
  static_assert(Round % 4 == 0, "rounds are whole four-element patterns");
  xreal a = 0, b = 0, c = 0, d = 0;
  int i = 0;
  for (; n - i >= Round; i += Round) {
    prefetch(i);
    for (int k = 0; k < Round; k += 4) {
      a += term(i + k);
      b += term(i + k + 1);
      c += term(i + k + 2);
      d += term(i + k + 3);
    }
  }
  xreal sum = ((d + a) + b) + c;
  for (; i < n; ++i) sum += term(i);
  return sum;
}

// Start of a vector of n elements with stride inc in the published order:
// element 1 stands at (1 - n) * inc when inc is negative.
template <class T>
T *logical_start(T *p, int n, int inc) {
  return inc < 0 ? p + static_cast<std::ptrdiff_t>(1 - n) * inc : p;
}

}  // namespace tav
