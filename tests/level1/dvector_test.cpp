// Double-precision vector routines: every stride path, length around each
// round and block boundary and alignment offset against the reference BLAS,
// and bit-exact cases that pin the order of the extended-precision sums, the
// NaN rules of idamax/idamin and the byte moves of copy and swap.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "frame/xreal.h"
#include "support/buffers.h"
#include "support/refblas.h"
#include "tav_q7.h"

namespace {

using tav::xreal;
using tavtest::at;
using tavtest::Buffer;
using tavtest::random_buffer;
using tavtest::span;

const int strides[] = {1, -1, 2, -3, 0};
const int lengths[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,   9,   11,  12,  13,
                       15, 16, 23, 24, 25, 35, 36, 37, 100, 511, 512, 513, 1029};
const double nan_value = std::numeric_limits<double>::quiet_NaN();
const bool extended_sums = sizeof(xreal) > sizeof(double);

// The reference routine of that name, typed as our routine of the same interface.
template <class F>
F ref(const char *name, F) {
  return tavtest::RefBlas::get().fn<F>(name);
}

// Runs body(n, incx, incy, x_offset, y_offset, seed) over lengths, stride
// pairs and alignment offsets (long vectors at fewer of them).
template <class Body>
void for_each_case(Body body) {
  std::uint32_t seed = 7;
  for (int n : lengths)
    for (int incx : strides)
      for (int incy : strides)
        for (int ox = 0; ox < 4; ++ox)
          for (int oy = 0; oy < 4; ++oy) {
            if (n > 100 && (std::abs(incx) > 1 || std::abs(incy) > 1 || (ox + oy) % 3 != 0)) continue;
            SCOPED_TRACE(testing::Message()
                         << "n=" << n << " incx=" << incx << " incy=" << incy << " offsets " << ox << "," << oy);
            body(n, incx, incy, ox, oy, seed++);
          }
}

// Runs body(n, inc, offset, seed) over lengths, strides and alignment offsets.
template <class Body>
void for_each_vector(Body body) {
  std::uint32_t seed = 100;
  for (int n : lengths)
    for (int inc : strides)
      for (int off = 0; off < 4; ++off) {
        SCOPED_TRACE(testing::Message() << "n=" << n << " inc=" << inc << " offset " << off);
        body(n, inc, off, seed++);
      }
}

// The sum patterns, formed independently of the kernels: full rounds of
// order.size() terms, position p of a round added in `order` to accumulator
// slot[p] (0 A, 1 B, 2 C, 3 D), the accumulators joined as ((D + A) + B) + C,
// then the remaining terms one by one. With non-negative terms, the two
// accumulators (first, running) joined as running + first are slots {0, 1}.
struct Pattern {
  std::vector<int> order, slot;
};
const Pattern by_four = {{0, 1, 2, 3}, {0, 1, 2, 3}}, by_two = {{0, 1}, {0, 1}};
const Pattern by_twelve = {{0, 4, 8, 1, 2, 3, 5, 6, 7, 9, 10, 11}, {0, 3, 0, 1, 1, 2, 3, 0, 2, 1, 2, 3}};  // dnrm2

xreal pattern_sum(const std::vector<xreal> &t, const Pattern &p) {
  const size_t round = p.order.size(), full = t.size() / round * round;
  xreal acc[4] = {0, 0, 0, 0};
  for (size_t r = 0; r < full; r += round)
    for (int q : p.order) acc[p.slot[q]] += t[r + q];
  xreal sum = ((acc[3] + acc[0]) + acc[1]) + acc[2];
  for (size_t i = full; i < t.size(); ++i) sum += t[i];
  return sum;
}

// ---- sums -----------------------------------------------------------------

// Bit for bit in the four-accumulator pattern on both paths (the unit path,
// taken when incx = incy = +-1, walks upward from the given addresses; the
// general one takes logical order) and within tolerance of the reference.
// Exponents spread over 2^+-40 so that another order shows after the final
// rounding to double.
TEST(Ddot, MatchesReferenceAndFourAccumulatorOrderOnEveryPath) {
  TAV_REQUIRE_REFBLAS();
  auto refdot = ref("ddot_", tav_ddot);
  for_each_case([&](int n, int incx, int incy, int ox, int oy, std::uint32_t seed) {
    auto x = random_buffer<double>(span(n, incx), ox, seed, 40);
    auto y = random_buffer<double>(span(n, incy), oy, seed + 1000, 40);
    const bool unit = incx == incy && std::abs(incx) == 1;
    std::vector<xreal> t(n);
    double scale = 0;
    for (int k = 0; k < n; ++k) {
      const double xk = unit ? x[k] : at(x.data(), n, incx, k), yk = unit ? y[k] : at(y.data(), n, incy, k);
      t[k] = (xreal)xk * (xreal)yk;
      scale += std::fabs(xk * yk);
    }
    const double got = tav_ddot(&n, x.data(), &incx, y.data(), &incy);
    EXPECT_SAME_BITS(got, (double)pattern_sum(t, by_four));  // n 0 gives +0
    EXPECT_NEAR(got, refdot(&n, x.data(), &incx, y.data(), &incy), tavtest::sum_tolerance<double>(n, scale));
  });
}

TEST(Ddot, SumsStayInExtendedPrecision) {
  // 2^53 + 1 + 1: an extended sum holds the ones and rounds once to 2^53 + 2;
  // a double accumulator would drop each of them.
  const double x[3] = {std::ldexp(1.0, 53), 1.0, 1.0}, y[3] = {1.0, 1.0, 1.0};
  const int n = 3, one = 1, two = 2;
  EXPECT_SAME_BITS(tav_ddot(&n, x, &one, y, &one), (double)(((xreal)x[0] + (xreal)x[1]) + (xreal)x[2]));
  if (extended_sums) {
    EXPECT_EQ(tav_ddot(&n, x, &one, y, &one), std::ldexp(1.0, 53) + 2);
  }
  // The products are not rounded to double before the sum either.
  const double p[2] = {1.0 + std::ldexp(1.0, -30), -1.0}, q[2] = {1.0 + std::ldexp(1.0, -30), 1.0};
  const double want_products = (double)((xreal)p[0] * (xreal)q[0] + (xreal)p[1] * (xreal)q[1]);
  EXPECT_SAME_BITS(tav_ddot(&two, p, &one, q, &one), want_products);
  if (extended_sums) {
    EXPECT_EQ(want_products, std::ldexp(1.0, -29) + std::ldexp(1.0, -60));
  }
}

// dasum (four accumulators) and dnrm2 (the twelve-element interleave) on their
// unit paths, strides 1 and -1 walked upward from the address; two
// accumulators in logical order on every other stride.
TEST(DasumDnrm2, MatchReferenceAndPinOrder) {
  TAV_REQUIRE_REFBLAS();
  auto refasum = ref("dasum_", tav_dasum), refnrm2 = ref("dnrm2_", tav_dnrm2);
  for_each_vector([&](int n, int inc, int off, std::uint32_t seed) {
    auto x = random_buffer<double>(span(n, inc), off, seed, 40);
    const bool unit = std::abs(inc) == 1;
    std::vector<xreal> abs_t(n), square_t(n);
    double scale = 0;
    for (int k = 0; k < n; ++k) {
      const double v = (inc == -1) ? x[k] : at(x.data(), n, inc, k);
      abs_t[k] = std::fabs((xreal)v);
      square_t[k] = (xreal)v * (xreal)v;
      scale += std::fabs(v);
    }
    const double asum = tav_dasum(&n, x.data(), &inc), nrm2 = tav_dnrm2(&n, x.data(), &inc);
    EXPECT_SAME_BITS(asum, (double)pattern_sum(abs_t, unit ? by_four : by_two));
    EXPECT_SAME_BITS(nrm2, (double)std::sqrt(pattern_sum(square_t, unit ? by_twelve : by_two)));
    // The reference takes the same elements for |inc| (it returns 0 for inc <= 0).
    if (inc != 0 && n > 0) {
      const int abs_inc = std::abs(inc);
      EXPECT_NEAR(asum, refasum(&n, x.data(), &abs_inc), tavtest::sum_tolerance<double>(n, scale));
      EXPECT_NEAR(nrm2, refnrm2(&n, x.data(), &abs_inc), 4 * n * std::numeric_limits<double>::epsilon() * nrm2);
    }
  });
}

// Element 0 is 1 and the elements at the chosen positions (modulo `period`)
// are small (2^-32, or -2^-64 for dasum): their squares or magnitudes, 2^-64,
// vanish when added to the accumulator that holds the 1, but not when they
// gather in another. So the result shows which accumulator each position goes to.
TEST(DvectorSums, SmallTermsSurviveOnlyAwayFromTheOne) {
  using fn = double (*)(int, const double *, int);
  const fn dot = [](int n, const double *x, int inc) { return tav_ddot(&n, x, &inc, x, &inc); };
  const fn asum = [](int n, const double *x, int inc) { return tav_dasum(&n, x, &inc); };
  const fn nrm2 = [](int n, const double *x, int inc) { return tav_dnrm2(&n, x, &inc); };
  const double p32 = std::ldexp(1.0, -32), m64 = -std::ldexp(1.0, -64);
  struct Case {
    fn routine;
    int n, inc, period;
    std::vector<int> positions;
    double small;
    bool survives;
  };
  const Case cases[] = {
      {dot, 16000, 1, 4, {0}, p32, false},        // all in A beside the 1
      {dot, 16000, 1, 4, {1, 2, 3}, p32, true},   // in B, C and D
      {dot, 16000, -1, 4, {1, 2, 3}, p32, true},  // -1 walks upward on the unit path too
      {dot, 16000, 2, 8, {2, 4, 6}, p32, true},   // general path: logical element k at 2k
      {asum, 16000, 1, 4, {0}, m64, false},
      {asum, 16000, 1, 4, {3}, m64, true},
      {asum, 16000, -1, 4, {3}, m64, true},
      // Two accumulators on the general path: even logical positions share A with the 1.
      {asum, 8000, 2, 4, {0}, m64, false},
      {asum, 8000, 2, 4, {2}, m64, true},
      // Positions 2 and 7 share A with position 0: all lost (four accumulators
      // in plain turn would keep them). 1, 3 and 4 go to D, B and B: kept (one
      // running sum would lose them).
      {nrm2, 36000, 1, 12, {2, 7}, p32, false},
      {nrm2, 36000, 1, 12, {1, 3, 4}, p32, true},
      {nrm2, 36000, -1, 12, {1, 3, 4}, p32, true},
      // The general path: first of each pair into A (with the 1), second into S.
      {nrm2, 40000, 2, 4, {2}, p32, true},
      {nrm2, 40000, 2, 4, {0}, p32, false},
  };
  for (const Case &c : cases) {
    std::vector<double> v(static_cast<size_t>(c.n) * std::abs(c.inc), 0.0);
    for (size_t i = 0; i < v.size(); ++i)
      for (int p : c.positions)
        if (static_cast<int>(i % c.period) == p) v[i] = c.small;
    v[0] = 1.0;
    const double got = c.routine(c.n, v.data(), c.inc);
    EXPECT_EQ(got > 1.0, c.survives) << "n=" << c.n << " inc=" << c.inc << " got " << got;
    EXPECT_GE(got, 1.0);
  }
}

TEST(Dnrm2, SpecialCases) {
  const int one = 1, zero_n = 0, four = 4;
  const double minus3 = -3.0, big[4] = {1e200, 1e200, 1e200, 1e200};
  EXPECT_EQ(tav_dnrm2(&one, &minus3, &one), 3.0);
  EXPECT_SAME_BITS(tav_dnrm2(&zero_n, &minus3, &one), 0.0);
  // Squares of 1e200 leave the double range but not the extended one.
  if (extended_sums)
    EXPECT_NEAR(tav_dnrm2(&four, big, &one), 2e200, 1e186);
  else
    EXPECT_EQ(tav_dnrm2(&four, big, &one), std::numeric_limits<double>::infinity());
}

// ---- element-wise routines --------------------------------------------------

TEST(Daxpy, MatchesReferenceAndRoundsOnlyAtTheStore) {
  TAV_REQUIRE_REFBLAS();
  auto refaxpy = ref("daxpy_", tav_daxpy);
  for_each_case([&](int n, int incx, int incy, int ox, int oy, std::uint32_t seed) {
    if (incy == 0 && n > 1) return;  // y element overwritten in turn: only the order differs
    auto x = random_buffer<double>(span(n, incx), ox, seed, 30);
    auto y = random_buffer<double>(span(n, incy), oy, seed + 1, 30);
    auto y_ref = y, y_want = y;
    const double alpha = 0.7390851332151607;
    std::vector<double> bound(y.size(), 0.0);  // size of the terms of each element
    for (int k = 0; k < n; ++k) {
      double &w = at(y_want.data(), n, incy, k);
      double xk = at(x.data(), n, incx, k);
      at(bound.data(), n, incy, k) = std::fabs(alpha * xk) + std::fabs(w);
      w = (double)((xreal)alpha * (xreal)xk + (xreal)w);
    }
    tav_daxpy(&n, &alpha, x.data(), &incx, y.data(), &incy);
    refaxpy(&n, &alpha, x.data(), &incx, y_ref.data(), &incy);
    EXPECT_TRUE(y.same_bits(y_want));
    for (size_t i = 0; i < y.size(); ++i)
      EXPECT_NEAR(y[i], y_ref[i], 2 * std::numeric_limits<double>::epsilon() * bound[i]);
  });
}

TEST(Daxpy, ZeroAlphaReturnsNaNAlphaProceeds) {
  const int n = 5, one = 1;
  std::vector<double> x = {nan_value, 1, 2, 3, 4}, y = {1, 2, 3, 4, 5};
  const std::vector<double> y0 = y;
  for (double zero : {0.0, -0.0}) tav_daxpy(&n, &zero, x.data(), &one, y.data(), &one);
  EXPECT_EQ(y, y0);
  const double tiny = std::numeric_limits<double>::denorm_min();
  tav_daxpy(&n, &tiny, x.data(), &one, y.data(), &one);  // not a zero: proceeds
  EXPECT_TRUE(std::isnan(y[0]));
  y = y0;
  tav_daxpy(&n, &nan_value, x.data(), &one, y.data(), &one);
  for (double v : y) EXPECT_TRUE(std::isnan(v));
}

TEST(Dscal, EveryPathRoundsEachProductOnce) {
  TAV_REQUIRE_REFBLAS();
  auto refscal = ref("dscal_", tav_dscal);
  for_each_vector([&](int n, int inc, int off, std::uint32_t seed) {
    auto x = random_buffer<double>(span(n, inc), off, seed, 30);
    auto want = x;
    const double alpha = -1.2345678901234567;
    // Stride 0 multiplies element 1 n times; the others each element once.
    for (int k = 0; k < n; ++k) {
      double &w = inc == -1 ? want[k] : at(want.data(), n, inc, k);
      w = (double)((xreal)alpha * (xreal)w);
    }
    auto x_ref = x;
    tav_dscal(&n, &alpha, x.data(), &inc);
    EXPECT_TRUE(x.same_bits(want));
    if (inc != 0) {
      int abs_inc = std::abs(inc);  // the reference does nothing for inc < 0
      refscal(&n, &alpha, x_ref.data(), &abs_inc);
      for (size_t i = 0; i < x.size(); ++i)
        EXPECT_NEAR(x[i], x_ref[i], 2 * std::numeric_limits<double>::epsilon() * std::fabs(x_ref[i]));
    }
  });
  // alpha 0 multiplies: NaN and infinity become NaN.
  std::vector<double> v = {nan_value, std::numeric_limits<double>::infinity(), 2.0};
  const int three = 3, one = 1;
  const double zero = 0.0;
  tav_dscal(&three, &zero, v.data(), &one);
  EXPECT_TRUE(std::isnan(v[0]) && std::isnan(v[1]));
  EXPECT_EQ(v[2], 0.0);
}

// ---- copy and swap ----------------------------------------------------------

// `count` doubles at `byte_offset` bytes past a 64-byte boundary (which may miss 8-byte alignment).
struct Raw {
  std::vector<unsigned char> bytes;
  double *p;
  Raw(size_t count, size_t byte_offset) : bytes(count * 8 + byte_offset + 64) {
    auto base = reinterpret_cast<std::uintptr_t>(bytes.data());
    p = reinterpret_cast<double *>((base + 63) / 64 * 64 + byte_offset);
  }
};

// Unit strides at byte offsets around every peel, block and tail. Swap with
// y off 8-byte alignment never reaches the body: every element one by one.
TEST(DcopyDswap, UnitPathBlocksPeelsAndTailsMoveEveryByte) {
  const int copy_lengths[] = {1, 2, 3, 4, 5, 7, 8, 9, 17, 40, 511, 512, 513, 515, 516, 1023, 1024, 1027, 2100};
  const size_t byte_offsets[] = {0, 4, 8, 16, 24, 40};
  const int one = 1;
  for (int n : copy_lengths)
    for (size_t xo : byte_offsets)
      for (size_t yo : byte_offsets) {
        SCOPED_TRACE(testing::Message() << "n=" << n << " x+" << xo << " y+" << yo);
        Raw x(n, xo), y(n + 2, yo);
        // The vectors may sit off 8-byte alignment: fill and keep them by bytes.
        std::vector<double> x0(n), y0(n + 2);
        tavtest::fill_random(x0.data(), n, 1 + n);
        tavtest::fill_random(y0.data(), n + 2, 2 + n);
        std::memcpy(x.p, x0.data(), n * 8);
        std::memcpy(y.p, y0.data(), (n + 2) * 8);
        tav_dcopy(&n, x.p, &one, y.p, &one);
        EXPECT_EQ(std::memcmp(x.p, y.p, n * 8), 0);
        EXPECT_EQ(std::memcmp(y0.data() + n, y.p + n, 16), 0);  // nothing written past the end
        if (yo != 4) continue;
        std::memcpy(y.p, y0.data(), n * 8);
        tav_dswap(&n, x.p, &one, y.p, &one);
        EXPECT_EQ(std::memcmp(x.p, y0.data(), n * 8), 0);
        EXPECT_EQ(std::memcmp(y.p, x0.data(), n * 8), 0);
      }
}

TEST(DcopyDswap, EveryStrideAndAlignmentMatchesReference) {
  TAV_REQUIRE_REFBLAS();
  auto refcopy = ref("dcopy_", tav_dcopy);
  auto refswap = ref("dswap_", tav_dswap);
  for_each_case([&](int n, int incx, int incy, int ox, int oy, std::uint32_t seed) {
    auto x = random_buffer<double>(span(n, incx), ox, seed);
    auto y = random_buffer<double>(span(n, incy), oy, seed + 3);
    auto x_ref = x, y_ref = y, y_copy = y, y_copy_ref = y;
    tav_dcopy(&n, x.data(), &incx, y_copy.data(), &incy);
    refcopy(&n, x.data(), &incx, y_copy_ref.data(), &incy);
    EXPECT_TRUE(y_copy.same_bits(y_copy_ref));
    tav_dswap(&n, x.data(), &incx, y.data(), &incy);
    refswap(&n, x_ref.data(), &incx, y_ref.data(), &incy);
    EXPECT_TRUE(x.same_bits(x_ref));
    EXPECT_TRUE(y.same_bits(y_ref));
  });
}

// ---- idamax, idamin --------------------------------------------------------

TEST(Idamax, MatchesReferenceAndPublishedOrderForNegativeStrides) {
  TAV_REQUIRE_REFBLAS();
  auto refamax = ref("idamax_", tav_idamax);
  for_each_vector([&](int n, int inc, int off, std::uint32_t seed) {
    auto x = random_buffer<double>(span(n, inc), off, seed, 10);
    const int got_max = tav_idamax(&n, x.data(), &inc), got_min = tav_idamin(&n, x.data(), &inc);
    if (n <= 0 || inc == 0) {
      EXPECT_EQ(got_max, 0);
      EXPECT_EQ(got_min, 0);
      return;
    }
    auto [want_max, want_min] = tavtest::first_extremes(x.data(), n, inc);
    EXPECT_EQ(got_max, want_max);
    EXPECT_EQ(got_min, want_min);
    if (inc > 0) {
      EXPECT_EQ(got_max, refamax(&n, x.data(), &inc));
    }
  });
}

TEST(Idamax, NaNRulesTiesAndQuickReturns) {
  const double inf = std::numeric_limits<double>::infinity();
  struct Case {
    std::vector<double> v;
    int amax, amin;
  };
  const Case cases[] = {
      {{1, nan_value, 0.5}, 3, 3},           // the element after a NaN takes over
      {{nan_value, 5, 1}, 2, 1},             // a NaN in front stays for idamin
      {{3, 1, 2, 0.5, 7, nan_value}, 6, 4},  // a NaN last wins idamax
      {{2, nan_value, nan_value, 1}, 4, 4},
      {{inf, 1, nan_value, 2, 3, 9}, 6, 2},
      {{-3, 3, 1, -1, 0.0, -0.0, 3}, 1, 5},  // ties keep the lowest position
  };
  for (const Case &c : cases) {
    const int n = static_cast<int>(c.v.size());
    // The same logical vector on the unit path, stride 2 and stride -1.
    std::vector<double> s2(2 * n, 99.0), rev(c.v.rbegin(), c.v.rend());
    for (int k = 0; k < n; ++k) s2[2 * k] = c.v[k];
    const int one = 1, two = 2, minus = -1;
    EXPECT_EQ(tav_idamax(&n, c.v.data(), &one), c.amax);
    EXPECT_EQ(tav_idamin(&n, c.v.data(), &one), c.amin);
    EXPECT_EQ(tav_idamax(&n, s2.data(), &two), c.amax);
    EXPECT_EQ(tav_idamin(&n, s2.data(), &two), c.amin);
    EXPECT_EQ(tav_idamax(&n, rev.data(), &minus), c.amax);
    EXPECT_EQ(tav_idamin(&n, rev.data(), &minus), c.amin);
  }
  const int one = 1, zero = 0, five = 5, none = 0;
  const double v[2] = {nan_value, 1.0};
  EXPECT_EQ(tav_idamax(&one, v, &zero), 0);
  EXPECT_EQ(tav_idamax(&one, v, &five), 1);
  EXPECT_EQ(tav_idamin(&none, v, &one), 0);
}

}  // namespace
