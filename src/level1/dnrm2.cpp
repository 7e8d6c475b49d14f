// Double-precision sum of squares for the Euclidean norm, in extended
// precision, with no scaling (the front takes one square root of it).
// Unit path (x upward from the given address, also for a stride of -1): rounds
// of 12 elements fill four accumulators in a fixed interleave, by position in
// the round: 0->A 4->B 8->C 1->D 2->A 3->B 5->C 6->D 7->A 9->B 10->C 11->D;
// D is the running sum; they combine as ((D + A) + B) + C and the last 0 to 11
// elements are added to that in order. General path: the two-accumulator
// pattern of double_sums.h, a negative stride starting at element 1 of the
// published order. No prefetching.
#include "level1/double_kernels.h"
#include "level1/double_sums.h"

namespace tav {

namespace {
constexpr int dnrm2_round = 12;

inline xreal square(double v) { return (xreal)v * (xreal)v; }
}  // namespace

xreal dnrm2_unit(int n, const double *x) {
  xreal a = 0, b = 0, c = 0, d = 0;
  int i = 0;
  for (; n - i >= dnrm2_round; i += dnrm2_round) {
    const double *r = x + i;
    a += square(r[0]);
    b += square(r[4]);
    c += square(r[8]);
    d += square(r[1]);
    a += square(r[2]);
    b += square(r[3]);
    c += square(r[5]);
    d += square(r[6]);
    a += square(r[7]);
    b += square(r[9]);
    c += square(r[10]);
    d += square(r[11]);
  }
  xreal sum = ((d + a) + b) + c;
  for (; i < n; ++i) sum += square(x[i]);
  return sum;
}

xreal dnrm2_general(int n, const double *x, int incx) {
  x = dvec_start(x, n, incx);
  const std::ptrdiff_t s = incx;
  return sum2(n, [&](int i) { return square(x[i * s]); }, [](int) {});
}

}  // namespace tav
