// The bit-reversal permutation of the single-precision transform, on
// interleaved data: every complex moves as one 8-byte unit, so the result is
// a pure reordering. Up to 16 points it is a fixed list of swaps; above, the
// reversal lists of the table walk the four quarters of the array together.
#include <cstdint>
#include <cstring>

#include "fft/cfft1d_kernels.h"
#include "fft/fft_tables.h"

namespace tav {

namespace {

inline void swap_elements(float *r, int i, int j) {
  std::uint64_t a, b;
  std::memcpy(&a, r + 2 * i, 8);
  std::memcpy(&b, r + 2 * j, 8);
  std::memcpy(r + 2 * i, &b, 8);
  std::memcpy(r + 2 * j, &a, 8);
}

constexpr int swaps_4[][2] = {{1, 2}};
constexpr int swaps_8[][2] = {{1, 4}, {3, 6}};
constexpr int swaps_16[][2] = {{1, 8}, {2, 4}, {3, 12}, {5, 10}, {7, 14}, {11, 13}};

template <std::size_t N>
void fixed_swaps(float *r, const int (&pairs)[N][2]) {
  for (const auto &p : pairs) swap_elements(r, p[0], p[1]);
}

}  // namespace

void cfft1d_bitrev(float *r, const int *n_ref, const unsigned char *w) {
  const int n = *n_ref;
  if (n <= 2) return;
  if (n == 4) return fixed_swaps(r, swaps_4);
  if (n == 8) return fixed_swaps(r, swaps_8);
  if (n == 16) return fixed_swaps(r, swaps_16);
  const std::int32_t *list = reinterpret_cast<const std::int32_t *>(w + cfft1d_bitrev_offset(n));
  const int sixteenth = list[1];
  const int q = n / 4, h = n / 2, tq = 3 * n / 4;
  const std::int32_t *second = list + 3 * sixteenth + 2;
  const int c2 = second[1];
  const std::int32_t *second_values = second + 2;
  int next = 0;
  for (int t = 0; t < sixteenth; ++t) {
    const int e = list[2 + t];
    const int i = 4 * t;
    if (next < c2 && second_values[next] == t) {
      ++next;
      swap_elements(r, i, e);
      swap_elements(r, i + q + 2, e + 2 + q);
      swap_elements(r, i + h + 1, e + 1 + h);
    }
    swap_elements(r, i + 1, e + h);
    swap_elements(r, i + 2, e + q);
    swap_elements(r, i + 3, e + tq);
    swap_elements(r, i + q + 1, e + 2 + h);
    swap_elements(r, i + q + 3, e + 2 + tq);
    swap_elements(r, i + h + 3, e + 1 + tq);
  }
  const std::int32_t *third = second_values + c2;
  const int c3 = third[1];
  for (int p = 0; p < c3; ++p) swap_elements(r, third[2 + 2 * p], third[3 + 2 * p]);
}

}  // namespace tav
