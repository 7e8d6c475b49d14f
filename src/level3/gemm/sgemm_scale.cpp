// beta applied to a block of C, a column at a time.
//
// Order of arithmetic: each element becomes beta * c, one single-precision
// product (scalar or in a lane, the same value); the zeroing form writes +0.0
// without reading C. The split of a column into a scalar peel up to a 16-byte
// boundary, an aligned body of 8 elements a round and a scalar rest is only
// for speed: every element is done exactly once.

#include <xmmintrin.h>

#include <cstddef>
#include <cstdint>

#include "level3/gemm/sgemm.h"

namespace tav {
namespace {

constexpr int body_round = 8;  // elements per round of the aligned body

// Elements before the column's body: the whole column when it is not word
// aligned or when fewer than one round would follow the peel.
int peel_of(const float *col, int rows) {
  const std::uintptr_t addr = reinterpret_cast<std::uintptr_t>(col);
  if (addr % 4 != 0) return rows;
  const int peel = static_cast<int>(((16 - addr % 16) % 16) / 4);
  return rows - peel >= body_round ? peel : rows;
}

}  // namespace

void sgemm_scale_c(const int &rows, const int &cols, const float &beta, float *c, const int &ldc) {
  for (int j = 0; j < cols; ++j) {
    float *col = c + static_cast<std::ptrdiff_t>(j) * ldc;
    const float bt = beta;
    const __m128 bv = _mm_set1_ps(bt);
    const int peel = peel_of(col, rows);
    int i = 0;
    for (; i < peel; ++i) col[i] = bt * col[i];
    for (; i + body_round <= rows; i += body_round) {
      _mm_prefetch(reinterpret_cast<const char *>(col + i) + 64, _MM_HINT_NTA);
      _mm_store_ps(col + i, _mm_mul_ps(bv, _mm_load_ps(col + i)));
      _mm_store_ps(col + i + 4, _mm_mul_ps(bv, _mm_load_ps(col + i + 4)));
    }
    for (; i < rows; ++i) col[i] = bt * col[i];
  }
}

void sgemm_zero_c(const int &rows, const int &cols, float *c, const int &ldc) {
  const __m128 zero = _mm_setzero_ps();
  for (int j = 0; j < cols; ++j) {
    float *col = c + static_cast<std::ptrdiff_t>(j) * ldc;
    const int peel = peel_of(col, rows);
    int i = 0;
    for (; i < peel; ++i) col[i] = 0.0f;
    for (; i + body_round <= rows; i += body_round) {
      _mm_store_ps(col + i, zero);
      _mm_store_ps(col + i + 4, zero);
    }
    for (; i < rows; ++i) col[i] = 0.0f;
  }
}

}  // namespace tav
