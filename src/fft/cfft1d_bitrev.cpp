// The bit-reversal permutation of the single-precision transform, on
// interleaved data: every complex moves as one 8-byte unit, so the result is
// a pure reordering. Up to 16 points it is a fixed list of swaps; up to 2^11,
// the reversal lists of the table walk the four quarters of the array
// together. Larger arrays move in tiles of 8 x 8 elements instead (8 rows of 64
// bytes, 2^(m-3) apart), each tile exchanged whole with its mirror tile, so
// that every cache line is read and written once; the result is the same
// permutation.
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

constexpr int tile_log = 3;
constexpr int tile = 1 << tile_log;
constexpr int tiled_min_log = 12;
constexpr int reversed3[tile] = {0, 4, 2, 6, 1, 5, 3, 7};

int reverse_bits(int k, int bits) {
  int r = 0;
  for (int b = 0; b < bits; ++b, k >>= 1) r = (r << 1) | (k & 1);
  return r;
}

// Element i = a 2^(m-3) + b 8 + c goes to rev(c) 2^(m-3) + rev(b) 8 + rev(a).
void tiled_bitrev(float *r, int m) {
  const int middle_bits = m - 2 * tile_log;
  const long long row = 1ll << (m - tile_log);
  std::uint64_t *x = reinterpret_cast<std::uint64_t *>(r);
  std::uint64_t mine[tile][tile], mirror[tile][tile];
  auto load = [&](std::uint64_t (&t)[tile][tile], int b) {
    for (int a = 0; a < tile; ++a) std::memcpy(t[a], x + a * row + b * tile, sizeof t[a]);
  };
  // Row rev(c) of tile b takes column c of t, in the order rev(a).
  auto store_turned = [&](const std::uint64_t (&t)[tile][tile], int b) {
    for (int c = 0; c < tile; ++c) {
      std::uint64_t out[tile];
      for (int a = 0; a < tile; ++a) out[reversed3[a]] = t[a][c];
      std::memcpy(x + reversed3[c] * row + b * tile, out, sizeof out);
    }
  };
  for (int b = 0; b < (1 << middle_bits); ++b) {
    const int rb = reverse_bits(b, middle_bits);
    if (rb < b) continue;
    load(mine, b);
    if (rb == b) {
      store_turned(mine, b);
      continue;
    }
    load(mirror, rb);
    store_turned(mine, rb);
    store_turned(mirror, b);
  }
}

}  // namespace

void cfft1d_bitrev(float *r, const int *n_ref, const unsigned char *w) {
  const int n = *n_ref;
  if (n <= 2) return;
  if (n == 4) return fixed_swaps(r, swaps_4);
  if (n == 8) return fixed_swaps(r, swaps_8);
  if (n == 16) return fixed_swaps(r, swaps_16);
  const int m = fft_log2(n);
  if (m >= tiled_min_log) return tiled_bitrev(r, m);
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
