// Copies of A and B into the panel formats of the single-precision product.
//
// Order of arithmetic: each element of an A panel is alpha times the element
// of op(A), one product rounded to single (in SSE lanes, or in extended
// precision and rounded once at the store, which gives the same value because
// the product of two singles is exact there). B blocks are bit copies, with no
// arithmetic at all; padded blocks are completed with +0.0.

#include <xmmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/xreal.h"
#include "level3/gemm/sgemm.h"

namespace tav {
namespace {

constexpr int stripe = sgemm_blocks::short_rows;

inline std::ptrdiff_t at(int i, int j, int ld) {
  return i + static_cast<std::ptrdiff_t>(j) * ld;
}

inline void prefetch_nta(const void *p) { _mm_prefetch(static_cast<const char *>(p), _MM_HINT_NTA); }

inline bool aligned16(const void *p) { return (reinterpret_cast<std::uintptr_t>(p) & 15u) == 0; }

// Column copy of `count` words: scalar moves until the destination reaches a
// 16-byte boundary, then four words a round (aligned source loads when the
// source happens to be aligned too), then the rest one at a time.
void copy_column(const float *src, float *dst, int count) {
  int i = 0;
  while (i < count && !aligned16(dst + i)) {
    std::memcpy(dst + i, src + i, sizeof(float));
    ++i;
  }
  if (aligned16(src + i)) {
    for (; i + 4 <= count; i += 4) _mm_store_ps(dst + i, _mm_load_ps(src + i));
  } else {
    for (; i + 4 <= count; i += 4) _mm_store_ps(dst + i, _mm_loadu_ps(src + i));
  }
  for (; i < count; ++i) std::memcpy(dst + i, src + i, sizeof(float));
}

// +0.0 into dst[from .. to-1], peeled to the destination's alignment likewise.
void zero_fill(float *dst, int from, int to) {
  int i = from;
  while (i < to && !aligned16(dst + i)) dst[i++] = 0.0f;
  for (; i + 4 <= to; i += 4) _mm_store_ps(dst + i, _mm_setzero_ps());
  for (; i < to; ++i) dst[i] = 0.0f;
}

// A word moved as bits, so that signalling NaNs and payloads pass unchanged.
inline void move_word(const float *src, float *dst) { std::memcpy(dst, src, sizeof(float)); }

}  // namespace

void sgemm_pack_a_n(const float *a, const int &lda, const int &rows, const int &depth, float *panel,
                    const float &alpha) {
  const __m128 al = _mm_set1_ps(alpha);
  const int stripes = rows / stripe;
  for (int p = 0; p < depth; ++p) {
    const float *col = a + at(0, p, lda);
    for (int s = 0; s < stripes; ++s) {
      const float *src = col + s * stripe;
      if (s + 1 < stripes) {
        prefetch_nta(reinterpret_cast<const char *>(src) + 64);
        prefetch_nta(reinterpret_cast<const char *>(src) + 96);
      } else {  // the next column of A, one lda further
        prefetch_nta(col + lda);
        prefetch_nta(reinterpret_cast<const char *>(col + lda) + 32);
      }
      float *dst = panel + at(p * stripe, s, stripe * depth);
      for (int g = 0; g < 4; ++g)
        _mm_store_ps(dst + 4 * g, _mm_mul_ps(_mm_loadu_ps(src + 4 * g), al));
    }
  }
}

void sgemm_pack_a_t(const float *a, const int &lda, const int &rows, const int &depth, float *panel,
                    const float &alpha) {
  const xreal al = static_cast<xreal>(alpha);
  const int groups = depth / 8;
  for (int s = 0; s < rows / stripe; ++s) {
    float *dst_stripe = panel + at(0, s, stripe * depth);
    for (int r = 0; r < stripe; ++r) {
      const int row = s * stripe + r;
      const float *src = a + at(0, row, lda);  // row of op(A) = column of A
      for (int q = 0; q < groups; ++q) {
        const float *grp = src + 8 * q;
        if (q == groups - 2)
          prefetch_nta(src + lda);
        else if (q == groups - 1)
          prefetch_nta(reinterpret_cast<const char *>(src + lda) + 32);
        else
          prefetch_nta(reinterpret_cast<const char *>(grp) + 64);
        for (int e = 0; e < 8; ++e)
          dst_stripe[(8 * q + e) * stripe + r] = static_cast<float>(static_cast<xreal>(grp[e]) * al);
      }
    }
  }
}

void sgemm_pack_b_t(const int &cols, const int &depth, const float *b, const int &ldb, float *block,
                    const int &stride) {
  const int copied = depth / 8 * 8;
  // Columns in groups of 16, so that each stored row of B is read a cache
  // line at a time rather than one word per line; the words land where they
  // would in a column-by-column copy.
  constexpr int group = 16;
  for (int j0 = 0; j0 < cols; j0 += group) {
    const int width = cols - j0 < group ? cols - j0 : group;
    for (int p = 0; p < copied; ++p) {
      const float *src = b + at(j0, p, ldb);
      for (int j = 0; j < width; ++j) move_word(src + j, block + at(p, j0 + j, stride));
    }
  }
}

void sgemm_padpack_a_n(const float *a, const int &lda, const int &rows, const int &depth,
                       const int &stride, float *panel, const float &alpha) {
  const float al = alpha;
  for (int s = 0; s < rows / stripe; ++s) {
    float *dst = panel + at(0, s, stripe * stride);
    for (int p = 0; p < depth; ++p) {
      const float *src = a + at(s * stripe, p, lda);
      for (int r = 0; r < stripe; ++r) dst[p * stripe + r] = src[r] * al;
    }
  }
}

void sgemm_padpack_a_t(const float *a, const int &lda, const int &rows, const int &depth,
                       const int &stride, float *panel, const float &alpha) {
  const float al = alpha;
  for (int s = 0; s < rows / stripe; ++s) {
    float *dst = panel + at(0, s, stripe * stride);
    for (int p = 0; p < depth; ++p)
      for (int r = 0; r < stripe; ++r) dst[p * stripe + r] = a[at(p, s * stripe + r, lda)] * al;
  }
}

void sgemm_padpack_b_n(const int &cols, const int &depth, const int &full, const float *b,
                       const int &ldb, float *block, const int &stride) {
  for (int j = 0; j < cols; ++j) {
    float *dst = block + at(0, j, stride);
    copy_column(b + at(0, j, ldb), dst, depth);
    zero_fill(dst, depth, full);
  }
}

void sgemm_padpack_b_t(const int &cols, const int &depth, const int &full, const float *b,
                       const int &ldb, float *block, const int &stride) {
  for (int j = 0; j < cols; ++j) {
    float *dst = block + at(0, j, stride);
    int p = 0;
    for (; p + 4 <= depth; p += 4) {
      move_word(b + at(j, p, ldb), dst + p);
      move_word(b + at(j, p + 1, ldb), dst + p + 1);
      move_word(b + at(j, p + 2, ldb), dst + p + 2);
      move_word(b + at(j, p + 3, ldb), dst + p + 3);
    }
    for (; p < depth; ++p) move_word(b + at(j, p, ldb), dst + p);
    zero_fill(dst, depth, full);
  }
}

}  // namespace tav
