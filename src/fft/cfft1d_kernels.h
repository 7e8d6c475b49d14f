#pragma once
// Kernels and drivers of the interleaved single-precision 1D transform.
//
// Forward kernels run decimation in frequency from natural order to
// bit-reversed order; backward kernels run the mirror image from bit-reversed
// order to natural order and multiply by the conjugate twiddles. Lengths are
// passed by address. w is the aligned table base W. "I" is the interleaved
// form, "B" the blocked working form (see cfft1d_vec.h).

#include <cstdint>

namespace tav {

// Natural-twiddle family (m up to 15): static stage tables and level tables.
void cfft1d_fwd_small(float *r, const int *m, const unsigned char *w);                  // I -> I
void cfft1d_bwd_small(float *r, const int *m, const unsigned char *w, const float *scale);  // I -> I
void cfft1d_fwd_block(float *r, const int *m);                                          // B -> I
void cfft1d_bwd_block(float *r, const int *m, const float *scale);                      // I -> B
// `count` radix-2 levels starting at level `first` of the level tables at w,
// over `length` elements (the whole array, or a part of it).
void cfft1d_fwd_levels(float *r, const int *length, const int *count, const unsigned char *w);       // I -> B
void cfft1d_fwd_levels_sub(float *r, const int *length, const int *first, const int *count,
                           const int *m, const unsigned char *w);                                    // B -> B
void cfft1d_bwd_levels(float *r, const int *length, const int *count, const unsigned char *w);       // B -> I
void cfft1d_bwd_levels_sub(float *r, const int *length, const int *first, const int *count,
                           const int *m, const unsigned char *w);                                    // B -> B

// Block-numbered family (m above 15): the short list at T2 and the groups at W.
// A block numbered b takes its twiddles from entry b; block 0 multiplies by nothing.
void cfft1d_fwd_top(float *r, const int *length, const int *count, const unsigned char *t2);           // I -> B
void cfft1d_bwd_top(float *r, const int *length, const int *count, const unsigned char *t2,
                    const float *scale);                                                               // B -> I
void cfft1d_fwd_32k_first(float *r, const int *length, const int *count, const unsigned char *t2);    // B -> B
void cfft1d_fwd_32k(float *r, const int *length, const int *count, const unsigned char *t2, const int *block);
void cfft1d_bwd_32k_first(float *r, const int *length, const int *count, const unsigned char *t2);
void cfft1d_bwd_32k(float *r, const int *length, const int *count, const unsigned char *t2, const int *block);
void cfft1d_fwd_512_first(float *r, const int *count, const unsigned char *w);                         // B -> I
void cfft1d_fwd_512(float *r, const int *count, const unsigned char *w, const int *block);
void cfft1d_bwd_512_first(float *r, const int *count, const unsigned char *w);                         // I -> B
void cfft1d_bwd_512(float *r, const int *count, const unsigned char *w, const int *block);

// The bit-reversal permutation, in place on interleaved data.
void cfft1d_bitrev(float *r, const int *n, const unsigned char *w);

// The serial transform; isign as in tav_cfft1d, w the aligned table base.
void cfft1d_seq(float *r, const int *n, const int *isign, const unsigned char *w, const int *m);

// Bodies of the parallel loops: part t of length n2 after q top levels.
void cfft1d_fwd_part(float *part, const int *n2, const unsigned char *w, const int *q, const int *m, int t);
void cfft1d_bwd_part(float *part, const int *n2, const unsigned char *w, const int *q, const int *m, int t);
void cfft1d_fwd_levels_part(float *part, const int *n2, const unsigned char *w, const int *q, const int *m, int t);
void cfft1d_bwd_levels_part(float *part, const int *n2, const unsigned char *w, const int *q, const int *m, int t);

// Tier sizes of the large transforms, and the largest whole small transform.
constexpr int small_max_log = 10;   // up to 2^10: cfft1d_fwd_small / cfft1d_bwd_small
constexpr int levels_max_log = 15;  // up to 2^15: level tables and 1024-point blocks
constexpr int block_log = 10;       // cfft1d_fwd_block / cfft1d_bwd_block
constexpr int tier_512_log = 9;
constexpr int tier_32k_log = 15;
constexpr int tier_32k_levels = tier_32k_log - tier_512_log;  // 6

}  // namespace tav
