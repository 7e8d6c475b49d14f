// The serial single-precision transform and the part routines of the threaded
// one. Up to 2^10 points the small kernels do everything. Up to 2^15 the top
// radix-2 levels run over the whole array with the level tables, then each
// 1024-point block is finished on its own. Above, a three-tier split: the top
// levels over the whole array, then each 32768-point block down to 512-point
// blocks, then each 512-point block to the end, so that each cache tier is
// finished before the next is begun. Backward runs the mirror image. The
// forward transform ends, and the backward one begins, with the bit-reversal
// permutation, which isign -2 and +2 leave out.
#include "fft/cfft1d_kernels.h"
#include "fft/fft_tables.h"
#include "frame/xreal.h"

namespace tav {

namespace {

constexpr int block_points = 1 << block_log;
constexpr int points_512 = 1 << tier_512_log;
constexpr int points_32k = 1 << tier_32k_log;
constexpr int blocks_512_per_32k = 1 << tier_32k_levels;

const unsigned char *short_list(const unsigned char *w, int n) { return w + cfft1d_short_list_offset(n); }

float *element(float *r, long long k) { return r + 2 * k; }

// The 512-point blocks of a stretch, numbered from `first_number`.
void fwd_512_blocks(float *r, int count, const unsigned char *w, int first_number) {
  const int levels = tier_512_log;
  for (int i = 0; i < count; ++i) {
    const int number = first_number + i;
    float *block = element(r, static_cast<long long>(i) * points_512);
    if (number == 0)
      cfft1d_fwd_512_first(block, &levels, w);
    else
      cfft1d_fwd_512(block, &levels, w, &number);
  }
}

void bwd_512_blocks(float *r, int count, const unsigned char *w, int first_number) {
  const int levels = tier_512_log;
  for (int i = 0; i < count; ++i) {
    const int number = first_number + i;
    float *block = element(r, static_cast<long long>(i) * points_512);
    if (number == 0)
      cfft1d_bwd_512_first(block, &levels, w);
    else
      cfft1d_bwd_512(block, &levels, w, &number);
  }
}

void fwd_32k(float *r, int length, int count, const unsigned char *t2, int number) {
  if (number == 0)
    cfft1d_fwd_32k_first(r, &length, &count, t2);
  else
    cfft1d_fwd_32k(r, &length, &count, t2, &number);
}

void bwd_32k(float *r, int length, int count, const unsigned char *t2, int number) {
  if (number == 0)
    cfft1d_bwd_32k_first(r, &length, &count, t2);
  else
    cfft1d_bwd_32k(r, &length, &count, t2, &number);
}

// A stretch of `length` points numbered `number` after the levels above it:
// `levels_above_32k` levels over the stretch, then each 32768-block whole.
void fwd_tiers(float *r, int length, const unsigned char *w, const unsigned char *t2, int number) {
  if (length <= points_32k) {
    const int s = fft_log2(length);
    fwd_32k(r, length, s - tier_512_log, t2, number);
    fwd_512_blocks(r, length / points_512, w, number << (s - tier_512_log));
    return;
  }
  const int above = fft_log2(length) - tier_32k_log;
  fwd_32k(r, length, above, t2, number);
  for (int c = 0; c < (length >> tier_32k_log); ++c) {
    const int b = (number << above) + c;
    float *block = element(r, static_cast<long long>(c) * points_32k);
    fwd_32k(block, points_32k, tier_32k_levels, t2, b);
    fwd_512_blocks(block, blocks_512_per_32k, w, b * blocks_512_per_32k);
  }
}

void bwd_tiers(float *r, int length, const unsigned char *w, const unsigned char *t2, int number) {
  if (length <= points_32k) {
    const int s = fft_log2(length);
    bwd_512_blocks(r, length / points_512, w, number << (s - tier_512_log));
    bwd_32k(r, length, s - tier_512_log, t2, number);
    return;
  }
  const int above = fft_log2(length) - tier_32k_log;
  for (int c = 0; c < (length >> tier_32k_log); ++c) {
    const int b = (number << above) + c;
    float *block = element(r, static_cast<long long>(c) * points_32k);
    bwd_512_blocks(block, blocks_512_per_32k, w, b * blocks_512_per_32k);
    bwd_32k(block, points_32k, tier_32k_levels, t2, b);
  }
  bwd_32k(r, length, above, t2, number);
}

void fwd_blocks(float *r, int length) {
  const int m = block_log;
  for (int b = 0; b < length / block_points; ++b) cfft1d_fwd_block(element(r, static_cast<long long>(b) * block_points), &m);
}

void bwd_blocks(float *r, int length, const float *scale) {
  const int m = block_log;
  for (int b = 0; b < length / block_points; ++b)
    cfft1d_bwd_block(element(r, static_cast<long long>(b) * block_points), &m, scale);
}

}  // namespace

void cfft1d_seq(float *r, const int *n_ref, const int *isign_ref, const unsigned char *w, const int *m_ref) {
  const int n = *n_ref, isign = *isign_ref, m = *m_ref;
  if (n <= 1) return;
  const float scale = static_cast<float>(static_cast<xreal>(1) / static_cast<xreal>(n));
  if (isign < 1) {
    if (m <= small_max_log) {
      cfft1d_fwd_small(r, &m, w);
    } else if (m <= levels_max_log) {
      const int count = m - block_log;
      cfft1d_fwd_levels(r, &n, &count, w);
      fwd_blocks(r, n);
    } else {
      const int count = m - tier_32k_log;
      const unsigned char *t2 = short_list(w, n);
      cfft1d_fwd_top(r, &n, &count, t2);
      for (int c = 0; c < (n >> tier_32k_log); ++c) {
        float *block = element(r, static_cast<long long>(c) * points_32k);
        fwd_32k(block, points_32k, tier_32k_levels, t2, c);
        fwd_512_blocks(block, blocks_512_per_32k, w, c * blocks_512_per_32k);
      }
    }
    if (isign != -2) cfft1d_bitrev(r, &n, w);
    return;
  }
  if (isign != 2) cfft1d_bitrev(r, &n, w);
  if (m <= small_max_log) {
    cfft1d_bwd_small(r, &m, w, &scale);
  } else if (m <= levels_max_log) {
    const int count = m - block_log;
    bwd_blocks(r, n, &scale);
    cfft1d_bwd_levels(r, &n, &count, w);
  } else {
    const int count = m - tier_32k_log;
    const unsigned char *t2 = short_list(w, n);
    for (int c = 0; c < (n >> tier_32k_log); ++c) {
      float *block = element(r, static_cast<long long>(c) * points_32k);
      bwd_512_blocks(block, blocks_512_per_32k, w, c * blocks_512_per_32k);
      bwd_32k(block, points_32k, tier_32k_levels, t2, c);
    }
    cfft1d_bwd_top(r, &n, &count, t2, &scale);
  }
}

void cfft1d_fwd_part(float *part, const int *n2, const unsigned char *w, const int *q, const int *m, int t) {
  const int s = *m - *q;
  if (s <= tier_512_log) {  // a part no larger than one 512-point block
    if (t == 0)
      cfft1d_fwd_512_first(part, &s, w);
    else
      cfft1d_fwd_512(part, &s, w, &t);
    return;
  }
  fwd_tiers(part, *n2, w, short_list(w, 1 << *m), t);
}

void cfft1d_bwd_part(float *part, const int *n2, const unsigned char *w, const int *q, const int *m, int t) {
  const int s = *m - *q;
  if (s <= tier_512_log) {
    if (t == 0)
      cfft1d_bwd_512_first(part, &s, w);
    else
      cfft1d_bwd_512(part, &s, w, &t);
    return;
  }
  bwd_tiers(part, *n2, w, short_list(w, 1 << *m), t);
}

void cfft1d_fwd_levels_part(float *part, const int *n2, const unsigned char *w, const int *q, const int *m, int) {
  const int s = *m - *q;
  if (s <= block_log) {
    cfft1d_fwd_block(part, &s);
    return;
  }
  const int count = s - block_log;
  cfft1d_fwd_levels_sub(part, n2, q, &count, m, w);
  fwd_blocks(part, *n2);
}

void cfft1d_bwd_levels_part(float *part, const int *n2, const unsigned char *w, const int *q, const int *m, int) {
  const int s = *m - *q;
  const float scale = static_cast<float>(static_cast<xreal>(1) / static_cast<xreal>(*n2 << *q));
  if (s <= block_log) {
    cfft1d_bwd_block(part, &s, &scale);
    return;
  }
  const int count = s - block_log;
  bwd_blocks(part, *n2, &scale);
  cfft1d_bwd_levels_sub(part, n2, q, &count, m, w);
}

}  // namespace tav
