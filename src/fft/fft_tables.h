#pragma once
// The caller-held transform table (wsave) and the library's own stage tables.
//
// A table is built once for a length n = 2^m by a call with isign 0 and read by
// every later call of the same routine and length. Its header stands at wsave
// itself; everything else is placed from the base W, which is wsave with the low
// five address bits cleared plus 32, so that the kernels read 32-byte aligned
// vectors. Twiddles are w^k with w = cos(2pi/n) - i sin(2pi/n), sine already
// negated, computed in extended precision and rounded once when stored.

#include <cstddef>
#include <cstdint>

namespace tav {

// W: the aligned base of a caller's table or scratch block, 1 to 32 bytes above p.
inline unsigned char *fft_table_base(void *p) {
  std::uintptr_t a = reinterpret_cast<std::uintptr_t>(p);
  return reinterpret_cast<unsigned char *>((a & ~std::uintptr_t(31)) + 32);
}
inline const unsigned char *fft_table_base(const void *p) {
  return fft_table_base(const_cast<void *>(p));
}

// m = floor(log2 n) for n >= 1 (shift until zero, less one); -1 for n <= 0.
inline int fft_log2(int n) {
  int m = -1;
  for (unsigned u = n > 0 ? static_cast<unsigned>(n) : 0u; u != 0; u >>= 1) ++m;
  return m;
}

// Byte offsets from W of the regions of the interleaved single table.
constexpr std::size_t cfft1d_small_constant_offset = 16;  // m = 3: cos(pi/4) four times
inline std::size_t cfft1d_bitrev_offset(int n) { return 8 * static_cast<std::size_t>(n); }
inline std::size_t cfft1d_constants_offset(int n) { return 6 * static_cast<std::size_t>(n); }
inline std::size_t cfft1d_short_list_offset(int n) { return 6 * static_cast<std::size_t>(n) + 64; }

// Complex table builders; each writes its header at wsave and its contents from W.
void cfft1d_init(const int *m, void *wsave);
void cfft1dc_init(const int *m, void *wsave);
void zfft1d_init(const int *m, void *wsave);
void zfft1dc_init(const int *m, void *wsave);

// Reversal lists (n > 512, or n >= 32 for the interleaved single table):
// [0, n/16, first list..., 0, c2, second list..., 0, c3, third-list pairs...].
// The short form stores the first list for t < n/16 only and skips the next n/8
// integers; the full form stores it for t < 3n/16.
void cfft1d_bitrev_init(std::int32_t *list, int n);
void fft_bitrev_lists_init(std::int32_t *list, int n);

// Reversal pairs (small n): [0, count, i, rev(i), ...] for every i < rev_n(i).
enum class swap_pairs_form {
  plain,           // (i, j), count of pairs
  doubled_index,   // (2i, 2j), count of pairs
  doubled_count,   // (i, j), twice the count of pairs
};
void fft_swap_pairs_init(std::int32_t *list, int n, swap_pairs_form form);

// Real-transform tables R for a half-length N = 2^m.
void rfft_twiddle_init_s(float *r, const int *m);
void rfft_twiddle_init_d(double *r, const int *m);

// Static stage tables of the single-precision kernels, for stage sizes 2^s,
// s = 4..10: groups of 96 bytes, group g for j = 4g..4g+3 holding four
// cos(2pi j/2^s), four -sin(2pi j/2^s), the same for 2j, the same for 3j.
// s = 3 gives the 48-byte tail for size 8.
constexpr int stage_table_max_log = 10;
constexpr int stage_table_min_log = 4;
const float *cfft1d_stage_table(int s);

}  // namespace tav
