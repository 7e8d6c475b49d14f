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

// The x87 unit retires about one multiply or add per cycle, so its peak is a
// throughput: five independent chains s += x * y, with x, y, the five sums and
// the product in the eight stack registers, nothing in memory. Written out as
// x87 code because the compiler, short of registers, would keep a factor in
// memory or fold the loop-invariant product. 1.0 * 1.0 keeps every value exact
// and far from the denormal range.
double x87_peak_gflops() {
  constexpr long reps = 20000000;
  auto loop = [&] {
    long count = reps;
    asm volatile(
        "fldz\n\tfldz\n\tfldz\n\tfldz\n\tfldz\n\t"  // s4 .. s0
        "fld1\n\tfld1\n\t"                               // x, then y on top
        "1:\n\t"
        "fld %%st(0)\n\tfmul %%st(2), %%st\n\tfaddp %%st, %%st(3)\n\t"
        "fld %%st(0)\n\tfmul %%st(2), %%st\n\tfaddp %%st, %%st(4)\n\t"
        "fld %%st(0)\n\tfmul %%st(2), %%st\n\tfaddp %%st, %%st(5)\n\t"
        "fld %%st(0)\n\tfmul %%st(2), %%st\n\tfaddp %%st, %%st(6)\n\t"
        "fld %%st(0)\n\tfmul %%st(2), %%st\n\tfaddp %%st, %%st(7)\n\t"
        "dec %0\n\tjnz 1b\n\t"
        "fstp %%st(0)\n\tfstp %%st(0)\n\tfstp %%st(0)\n\tfstp %%st(0)\n\t"
        "fstp %%st(0)\n\tfstp %%st(0)\n\tfstp %%st(0)\n\t"
        : "+r"(count)
        :
        : "st", "st(1)", "st(2)", "st(3)", "st(4)", "st(5)", "st(6)", "st(7)", "cc");
  };
  return best_gflops(loop, 2.0 * 5.0 * reps);
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
