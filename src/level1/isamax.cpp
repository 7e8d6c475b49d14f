// Positions of the largest and smallest magnitude, single precision.
//
// No floating-point arithmetic: each element's bits with the sign cleared are
// compared as unsigned integers with the best so far, which starts at element
// 1 and is replaced only on a strictly greater (isamax) or strictly smaller
// (isamin) value. So the lowest position wins a tie, +0 and -0 tie, and a NaN
// ranks above infinity by its payload: isamax picks the first NaN of largest
// payload and isamin never moves to a NaN. The unit path prefetches 128 bytes
// ahead once per 8 elements, the general path two strides ahead per 2.
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

template <class Better>
int search_unit(int n, const float *x) {
  Better better;
  std::uint32_t best = magnitude(x);
  int where = 0;
  for (int i = 0; i < n; i += unit_round) {
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
