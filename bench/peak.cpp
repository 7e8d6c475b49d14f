#include "peak.h"

#include <xmmintrin.h>

#include <algorithm>
#include <chrono>

namespace bench {
namespace {

template <class F>
double best_gflops(F loop, double flops_per_call) {
  using clock = std::chrono::steady_clock;
  loop();
  double best = 0;
  for (int run = 0; run < 5; ++run) {
    auto start = clock::now();
    loop();
    double s = std::chrono::duration<double>(clock::now() - start).count();
    best = std::max(best, flops_per_call / s * 1e-9);
  }
  return best;
}

}  // namespace

// Four independent chains of s += x * y on the x87 stack (four sums and four
// factors fill its eight registers); enough to cover the adder's latency.
double x87_peak_gflops() {
  constexpr long reps = 20000000;
  volatile long double seed = 1.0000001L;
  auto loop = [&] {
    long double y = seed, x0 = y, x1 = y * 0.5L, x2 = y * 0.25L, x3 = y * 0.125L;
    long double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
    for (long i = 0; i < reps; ++i) {
      s0 += x0 * y;
      s1 += x1 * y;
      s2 += x2 * y;
      s3 += x3 * y;
      asm volatile("" : "+t"(y));
    }
    volatile long double sink = s0 + s1 + s2 + s3;
    (void)sink;
  };
  return best_gflops(loop, 8.0 * reps);
}

// Eight independent 4-lane chains of acc = acc + x * y, each rounded to single.
double sse_peak_gflops() {
  constexpr long reps = 20000000;
  auto loop = [&] {
    __m128 y = _mm_set1_ps(1.0000001f), x = _mm_set1_ps(0.5f);
    __m128 a0 = _mm_setzero_ps(), a1 = a0, a2 = a0, a3 = a0, a4 = a0, a5 = a0, a6 = a0, a7 = a0;
    for (long i = 0; i < reps; ++i) {
      a0 = _mm_add_ps(a0, _mm_mul_ps(x, y));
      a1 = _mm_add_ps(a1, _mm_mul_ps(y, x));
      a2 = _mm_add_ps(a2, _mm_mul_ps(x, x));
      a3 = _mm_add_ps(a3, _mm_mul_ps(y, y));
      a4 = _mm_add_ps(a4, _mm_mul_ps(x, y));
      a5 = _mm_add_ps(a5, _mm_mul_ps(y, x));
      a6 = _mm_add_ps(a6, _mm_mul_ps(x, x));
      a7 = _mm_add_ps(a7, _mm_mul_ps(y, y));
      asm volatile("" : "+x"(x), "+x"(y));
    }
    __m128 s = _mm_add_ps(_mm_add_ps(_mm_add_ps(a0, a1), _mm_add_ps(a2, a3)),
                          _mm_add_ps(_mm_add_ps(a4, a5), _mm_add_ps(a6, a7)));
    volatile float sink = _mm_cvtss_f32(s);
    (void)sink;
  };
  return best_gflops(loop, 8.0 * 8.0 * reps);
}

}  // namespace bench
