// Positions of the largest and smallest magnitude, single precision.
//
// No floating-point arithmetic: each element's bits with the sign cleared are
// compared as unsigned integers with the best so far, which starts at element
// 1 and is replaced only on a strictly greater (isamax) or strictly smaller
// (isamin) value. So the lowest position wins a tie, +0 and -0 tie, and a NaN
// ranks above infinity by its payload: isamax picks the first NaN of largest
// payload and isamin never moves to a NaN. The unit path prefetches 128 bytes
// ahead once per 8 elements, the general path two strides ahead per 2.
//
// The unit path first finds, 4 lanes at a time, whether a block of elements
// holds anything better than the best so far, and walks the block element by
// element only when it does; the walk applies the same rule in the same order,
// so the position found is the one the plain sequential search gives.
#include <emmintrin.h>
#include <xmmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "level1/single_kernels.h"
#include "level1/vector_sums.h"

namespace tav {
namespace {

constexpr int unit_round = 8;
constexpr int unit_prefetch = 128;  // bytes ahead
constexpr int general_round = 2;

inline std::uint32_t magnitude(const float *p) {
  std::uint32_t bits;
  std::memcpy(&bits, p, sizeof bits);
  return bits & 0x7FFFFFFFu;
}

struct Greater {
  bool operator()(std::uint32_t a, std::uint32_t b) const { return a > b; }
};
struct Smaller {
  bool operator()(std::uint32_t a, std::uint32_t b) const { return a < b; }
};

constexpr int screen_block = 64;  // elements screened at once on the unit path

// Magnitudes are below 2^31, so signed 32-bit lane compares order them as
// unsigned. Greater/Smaller also give the lane-wise extreme of two packs.
inline __m128i pack_magnitude(const float *p) {
  return _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)), _mm_set1_epi32(0x7FFFFFFF));
}
inline __m128i select(__m128i take_a, __m128i a, __m128i b) {
  return _mm_or_si128(_mm_and_si128(take_a, a), _mm_andnot_si128(take_a, b));
}
inline __m128i extreme(Greater, __m128i a, __m128i b) { return select(_mm_cmpgt_epi32(a, b), a, b); }
inline __m128i extreme(Smaller, __m128i a, __m128i b) { return select(_mm_cmplt_epi32(a, b), a, b); }

// Does the block of screen_block elements at x hold a value better than best?
template <class Better>
bool block_improves(const float *x, std::uint32_t best) {
  __m128i e0 = pack_magnitude(x), e1 = pack_magnitude(x + 4);
  __m128i e2 = pack_magnitude(x + 8), e3 = pack_magnitude(x + 12);
  for (int k = 16; k < screen_block; k += 16) {
    _mm_prefetch(reinterpret_cast<const char *>(x + k) + unit_prefetch, _MM_HINT_NTA);
    _mm_prefetch(reinterpret_cast<const char *>(x + k + 8) + unit_prefetch, _MM_HINT_NTA);
    e0 = extreme(Better{}, e0, pack_magnitude(x + k));
    e1 = extreme(Better{}, e1, pack_magnitude(x + k + 4));
    e2 = extreme(Better{}, e2, pack_magnitude(x + k + 8));
    e3 = extreme(Better{}, e3, pack_magnitude(x + k + 12));
  }
  __m128i e = extreme(Better{}, extreme(Better{}, e0, e1), extreme(Better{}, e2, e3));
  e = extreme(Better{}, e, _mm_shuffle_epi32(e, _MM_SHUFFLE(1, 0, 3, 2)));
  e = extreme(Better{}, e, _mm_shuffle_epi32(e, _MM_SHUFFLE(2, 3, 0, 1)));
  return Better{}(static_cast<std::uint32_t>(_mm_cvtsi128_si32(e)), best);
}

template <class Better>
int search_unit(int n, const float *x) {
  Better better;
  std::uint32_t best = magnitude(x);
  int where = 0;
  int i = 0;
  for (; n - i >= screen_block; i += screen_block) {
    if (!block_improves<Better>(x + i, best)) continue;
    for (int k = i; k < i + screen_block; ++k) {
      std::uint32_t m = magnitude(x + k);
      if (better(m, best)) {
        best = m;
        where = k;
      }
    }
  }
  for (; i < n; i += unit_round) {
    _mm_prefetch(reinterpret_cast<const char *>(x + i) + unit_prefetch, _MM_HINT_NTA);
    int end = n - i >= unit_round ? i + unit_round : n;
    for (int k = i; k < end; ++k) {
      std::uint32_t m = magnitude(x + k);
      if (better(m, best)) {
        best = m;
        where = k;
      }
    }
  }
  return where + 1;
}

template <class Better>
int search_general(int n, const float *x, int incx) {
  Better better;
  const float *px = logical_start(x, n, incx);
  const std::ptrdiff_t s = incx;
  std::uint32_t best = magnitude(px);
  int where = 0;
  for (int i = 0; i < n; i += general_round) {
    _mm_prefetch(reinterpret_cast<const char *>(px + (i + general_round) * s), _MM_HINT_NTA);
    int end = n - i >= general_round ? i + general_round : n;
    for (int k = i; k < end; ++k) {
      std::uint32_t m = magnitude(px + k * s);
      if (better(m, best)) {
        best = m;
        where = k;
      }
    }
  }
  return where + 1;
}

}  // namespace

int isamax_unit(int n, const float *x) { return search_unit<Greater>(n, x); }
int isamax_general(int n, const float *x, int incx) { return search_general<Greater>(n, x, incx); }
int isamin_unit(int n, const float *x) { return search_unit<Smaller>(n, x); }
int isamin_general(int n, const float *x, int incx) { return search_general<Smaller>(n, x, incx); }

}  // namespace tav
