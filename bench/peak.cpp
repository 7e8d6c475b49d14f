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
// The eight products are of distinct pairs (four x by two y), so the compiler
// can neither share a product between chains nor merge two equal chains: every
// iteration really does eight multiplies and eight adds.
double sse_peak_gflops() {
  constexpr long reps = 20000000;
  auto loop = [&] {
    __m128 x0 = _mm_set1_ps(1.0000001f), x1 = _mm_set1_ps(0.9999999f), x2 = _mm_set1_ps(1.0000002f),
           x3 = _mm_set1_ps(0.9999998f), y0 = _mm_set1_ps(0.5f), y1 = _mm_set1_ps(0.25f);
    __m128 a0 = _mm_setzero_ps(), a1 = a0, a2 = a0, a3 = a0, a4 = a0, a5 = a0, a6 = a0, a7 = a0;
    for (long i = 0; i < reps; ++i) {
      a0 = _mm_add_ps(a0, _mm_mul_ps(x0, y0));
      a1 = _mm_add_ps(a1, _mm_mul_ps(x1, y0));
      a2 = _mm_add_ps(a2, _mm_mul_ps(x2, y0));
      a3 = _mm_add_ps(a3, _mm_mul_ps(x3, y0));
      a4 = _mm_add_ps(a4, _mm_mul_ps(x0, y1));
      a5 = _mm_add_ps(a5, _mm_mul_ps(x1, y1));
      a6 = _mm_add_ps(a6, _mm_mul_ps(x2, y1));
      a7 = _mm_add_ps(a7, _mm_mul_ps(x3, y1));
      asm volatile("" : "+x"(x0), "+x"(x1), "+x"(x2), "+x"(x3), "+x"(y0), "+x"(y1));
    }
    __m128 s = _mm_add_ps(_mm_add_ps(_mm_add_ps(a0, a1), _mm_add_ps(a2, a3)),
                          _mm_add_ps(_mm_add_ps(a4, a5), _mm_add_ps(a6, a7)));
    volatile float sink = _mm_cvtss_f32(s);
    (void)sink;
  };
  return best_gflops(loop, 8.0 * 8.0 * reps);
}

}  // namespace bench
