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
using tavtest::Buffer;
using tavtest::random_buffer;
using tavtest::span;

const int strides[] = {1, -1, 2, -3, 0};
const int lengths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 15, 16, 23, 24, 25, 35, 36, 37, 100, 511, 512, 513, 1029};
const double nan_value = std::numeric_limits<double>::quiet_NaN();
const bool extended_sums = sizeof(xreal) > sizeof(double);

using dot_fn = double (*)(const int *, const double *, const int *, const double *, const int *);
using axpy_fn = void (*)(const int *, const double *, const double *, const int *, double *, const int *);
using reduce_fn = double (*)(const int *, const double *, const int *);
using scal_fn = void (*)(const int *, const double *, double *, const int *);
using copy_fn = void (*)(const int *, const double *, const int *, double *, const int *);
using swap_fn = void (*)(const int *, double *, const int *, double *, const int *);
using index_fn = int (*)(const int *, const double *, const int *);

template <class F>
F ref(const char *name) {
  return tavtest::RefBlas::get().fn<F>(name);
}

// Element k (from 0, published order) of a strided vector.
template <class T>
T &at(T *p, int n, int inc, int k) {
  std::ptrdiff_t start = inc < 0 ? static_cast<std::ptrdiff_t>(1 - n) * inc : 0;
  return p[start + static_cast<std::ptrdiff_t>(k) * inc];
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
            SCOPED_TRACE(testing::Message() << "n=" << n << " incx=" << incx << " incy=" << incy << " offsets "
                                            << ox << "," << oy);
            body(n, incx, incy, ox, oy, seed++);
          }
}

// Sums of the terms t[0..n) in the two prescribed patterns, formed
// independently of the kernels: element i of a full round goes to its slot.
xreal four_accumulator_sum(const std::vector<xreal> &t) {
  const size_t full = t.size() / 4 * 4;
  xreal acc[4] = {0, 0, 0, 0};  // A, B, C, D
  for (size_t i = 0; i < full; ++i) acc[i % 4] += t[i];
  xreal sum = ((acc[3] + acc[0]) + acc[1]) + acc[2];
  for (size_t i = full; i < t.size(); ++i) sum += t[i];
  return sum;
}

xreal two_accumulator_sum(const std::vector<xreal> &t) {
  const size_t full = t.size() / 2 * 2;
  xreal first = 0, running = 0;
  for (size_t i = 0; i < full; ++i) (i % 2 ? running : first) += t[i];
  xreal sum = running + first;
  if (full < t.size()) sum += t.back();
  return sum;
}

// The dnrm2 unit round: the order in which positions are added, and the slot
// (0 A, 1 B, 2 C, 3 D) each of them goes to.
xreal twelve_interleave_sum(const std::vector<xreal> &t) {
  const int order[12] = {0, 4, 8, 1, 2, 3, 5, 6, 7, 9, 10, 11};
  const int slot_of_position[12] = {0, 3, 0, 1, 1, 2, 3, 0, 2, 1, 2, 3};
  const size_t full = t.size() / 12 * 12;
  xreal acc[4] = {0, 0, 0, 0};
  for (size_t r = 0; r < full; r += 12)
    for (int p : order) acc[slot_of_position[p]] += t[r + p];
  xreal sum = ((acc[3] + acc[0]) + acc[1]) + acc[2];
  for (size_t i = full; i < t.size(); ++i) sum += t[i];
  return sum;
}

std::vector<xreal> products(const double *x, const double *y, int n) {
  std::vector<xreal> t(n);
  for (int i = 0; i < n; ++i) t[i] = (xreal)x[i] * (xreal)y[i];
  return t;
}

// A vector whose element 0 is 1 and whose elements at the chosen positions
// (modulo `period`) are `small` (2^-32 by default): their squares, 2^-64,
// vanish when added to an accumulator that already holds 1, but not when they
// gather in a separate one. So the result shows which accumulator each
// position goes to.
std::vector<double> absorption_probe(int n, int period, std::initializer_list<int> positions,
                                     double small = std::ldexp(1.0, -32)) {
  std::vector<double> v(n, 0.0);
  for (int i = 0; i < n; ++i)
    for (int p : positions)
      if (i % period == p) v[i] = small;
  v[0] = 1.0;
  return v;
}

// ---- sums -----------------------------------------------------------------

TEST(Ddot, MatchesReferenceOnEveryPath) {
  TAV_REQUIRE_REFBLAS();
  auto refdot = ref<dot_fn>("ddot_");
  for_each_case([&](int n, int incx, int incy, int ox, int oy, std::uint32_t seed) {
    auto x = random_buffer<double>(span(n, incx), ox, seed);
    auto y = random_buffer<double>(span(n, incy), oy, seed + 1000);
    double got = tav_ddot(&n, x.data(), &incx, y.data(), &incy);
    double want = refdot(&n, x.data(), &incx, y.data(), &incy);
    double scale = 0;
    for (int k = 0; k < n; ++k) scale += std::fabs(at(x.data(), n, incx, k) * at(y.data(), n, incy, k));
    EXPECT_NEAR(got, want, tavtest::sum_tolerance<double>(n, scale));
    if (n <= 0) {
      EXPECT_SAME_BITS(got, 0.0);
    }
  });
}

TEST(Ddot, FourAccumulatorOrderOnBothPaths) {
  for (int n : lengths) {
    SCOPED_TRACE(n);
    auto x = random_buffer<double>(span(n, 2), 1, 11 + n, 40);
    auto y = random_buffer<double>(span(n, 2), 3, 12 + n, 40);
    const int one = 1, minus = -1, two = 2;
    // Unit path, walked upward from the given addresses for strides 1 and -1.
    double want_unit = (double)four_accumulator_sum(products(x.data(), y.data(), n));
    EXPECT_SAME_BITS(tav_ddot(&n, x.data(), &one, y.data(), &one), want_unit);
    EXPECT_SAME_BITS(tav_ddot(&n, x.data(), &minus, y.data(), &minus), want_unit);
    // General path (also x unit with y strided): the same pattern in logical order.
    std::vector<double> xs(n), ys(n);
    for (int k = 0; k < n; ++k) {
      xs[k] = at(x.data(), n, two, k);
      ys[k] = at(y.data(), n, minus, k);
    }
    double want_general = (double)four_accumulator_sum(products(xs.data(), ys.data(), n));
    EXPECT_SAME_BITS(tav_ddot(&n, x.data(), &two, y.data(), &minus), want_general);
    for (int k = 0; k < n; ++k) xs[k] = x[k];
    want_general = (double)four_accumulator_sum(products(xs.data(), ys.data(), n));
    EXPECT_SAME_BITS(tav_ddot(&n, x.data(), &one, y.data(), &minus), want_general);
  }
}

TEST(Ddot, SumsStayInExtendedPrecision) {
  // 2^53 + 1 + 1: an extended sum holds the ones and rounds once to 2^53 + 2;
  // a double accumulator would drop each of them.
  const double x[3] = {std::ldexp(1.0, 53), 1.0, 1.0}, y[3] = {1.0, 1.0, 1.0};
  const int n = 3, one = 1;
  const double want = (double)(((xreal)x[0] + (xreal)x[1]) + (xreal)x[2]);
  EXPECT_SAME_BITS(tav_ddot(&n, x, &one, y, &one), want);
  if (extended_sums) {
    EXPECT_EQ(tav_ddot(&n, x, &one, y, &one), std::ldexp(1.0, 53) + 2);
  }
  // The products are not rounded to double before the sum either.
  const double p[2] = {1.0 + std::ldexp(1.0, -30), -1.0}, q[2] = {1.0 + std::ldexp(1.0, -30), 1.0};
  const int two = 2;
  const double want_products = (double)((xreal)p[0] * (xreal)q[0] + (xreal)p[1] * (xreal)q[1]);
  EXPECT_SAME_BITS(tav_ddot(&two, p, &one, q, &one), want_products);
  if (extended_sums) {
    EXPECT_EQ(want_products, std::ldexp(1.0, -29) + std::ldexp(1.0, -60));
  }
}

TEST(Ddot, RoundSlotsDecideWhichSmallProductsSurvive) {
  const int n = 4 * 4000, one = 1, minus = -1;
  auto lost = absorption_probe(n, 4, {0});   // all in A beside the 1
  auto kept = absorption_probe(n, 4, {1, 2, 3});  // in B, C and D
  EXPECT_EQ(tav_ddot(&n, lost.data(), &one, lost.data(), &one), 1.0);
  const double k1 = tav_ddot(&n, kept.data(), &one, kept.data(), &one);
  EXPECT_GT(k1, 1.0);
  EXPECT_SAME_BITS(k1, (double)four_accumulator_sum(products(kept.data(), kept.data(), n)));
  EXPECT_SAME_BITS(tav_ddot(&n, kept.data(), &minus, kept.data(), &minus), k1);
  const int two = 2;  // general path at stride 2: logical element k at 2k
  auto strided = absorption_probe(2 * n, 8, {2, 4, 6});
  EXPECT_GT(tav_ddot(&n, strided.data(), &two, strided.data(), &two), 1.0);
}

TEST(Dasum, MatchesReferenceAndPinsOrder) {
  TAV_REQUIRE_REFBLAS();
  auto refasum = ref<reduce_fn>("dasum_");
  for (int n : lengths)
    for (int inc : strides)
      for (int off = 0; off < 4; ++off) {
        SCOPED_TRACE(testing::Message() << "n=" << n << " inc=" << inc << " offset " << off);
        auto x = random_buffer<double>(span(n, inc), off, 100 + n * 8 + off, 40);
        double got = tav_dasum(&n, x.data(), &inc);
        std::vector<xreal> t(n > 0 ? n : 0);
        double scale = 0;
        for (int k = 0; k < n; ++k) {
          // Strides 1 and -1 walk upward from the address; others in logical order.
          double v = (inc == -1) ? x[k] : at(x.data(), n, inc, k);
          t[k] = std::fabs((xreal)v);
          scale += std::fabs(v);
        }
        double want = (double)(std::abs(inc) == 1 ? four_accumulator_sum(t) : two_accumulator_sum(t));
        EXPECT_SAME_BITS(got, want);
        // The reference takes the same elements for |inc| (it returns 0 for inc <= 0).
        if (inc != 0) {
          int abs_inc = std::abs(inc);
          EXPECT_NEAR(got, refasum(&n, x.data(), &abs_inc), tavtest::sum_tolerance<double>(n, scale));
        }
      }
}

TEST(Dasum, RoundSlotsDecideWhichSmallTermsSurvive) {
  const double small = -std::ldexp(1.0, -64);
  const int n = 4 * 4000, one = 1, minus = -1, two = 2, half = n / 2;
  auto lost = absorption_probe(n, 4, {0}, small);
  auto kept = absorption_probe(n, 4, {3}, small);
  EXPECT_EQ(tav_dasum(&n, lost.data(), &one), 1.0);
  EXPECT_GT(tav_dasum(&n, kept.data(), &one), 1.0);
  EXPECT_GT(tav_dasum(&n, kept.data(), &minus), 1.0);
  // Two accumulators on the general path: even logical positions share A with the 1.
  EXPECT_EQ(tav_dasum(&half, absorption_probe(n, 4, {0}, small).data(), &two), 1.0);
  EXPECT_GT(tav_dasum(&half, absorption_probe(n, 4, {2}, small).data(), &two), 1.0);
}

TEST(Dnrm2, TwelveInterleaveOnUnitPathsTwoAccumulatorsElsewhere) {
  TAV_REQUIRE_REFBLAS();
  auto refnrm2 = ref<reduce_fn>("dnrm2_");
  for (int n : lengths)
    for (int inc : strides) {
      SCOPED_TRACE(testing::Message() << "n=" << n << " inc=" << inc);
      auto x = random_buffer<double>(span(n, inc), 1, 300 + n, 40);
      std::vector<xreal> t(n > 0 ? n : 0);
      for (int k = 0; k < n; ++k) {
        double v = (inc == -1) ? x[k] : at(x.data(), n, inc, k);
        t[k] = (xreal)v * (xreal)v;
      }
      xreal sum = std::abs(inc) == 1 ? twelve_interleave_sum(t) : two_accumulator_sum(t);
      double got = tav_dnrm2(&n, x.data(), &inc);
      EXPECT_SAME_BITS(got, (double)std::sqrt(sum));
      if (inc != 0 && n > 0) {
        int abs_inc = std::abs(inc);
        EXPECT_NEAR(got, refnrm2(&n, x.data(), &abs_inc), 4 * n * std::numeric_limits<double>::epsilon() * got);
      }
    }
}

TEST(Dnrm2, InterleaveDecidesWhichSmallSquaresSurvive) {
  const int n = 12 * 3000, one = 1, minus = -1;
  // Positions 2 and 7 share accumulator A with position 0: all lost. (Four
  // accumulators in plain turn would have kept them.)
  auto lost = absorption_probe(n, 12, {2, 7});
  EXPECT_EQ(tav_dnrm2(&n, lost.data(), &one), 1.0);
  // Positions 1, 3 and 4 go to D, B and B: kept. (One running sum loses them.)
  auto kept = absorption_probe(n, 12, {1, 3, 4});
  std::vector<xreal> t(n);
  for (int k = 0; k < n; ++k) t[k] = (xreal)kept[k] * (xreal)kept[k];
  const double want = (double)std::sqrt(twelve_interleave_sum(t));
  EXPECT_GT(want, 1.0);
  EXPECT_SAME_BITS(tav_dnrm2(&n, kept.data(), &one), want);
  EXPECT_SAME_BITS(tav_dnrm2(&n, kept.data(), &minus), want);  // -1 takes the same path
  // The general path: first of each pair into A (with the 1), second into S.
  const int n2 = 2 * 20000, two = 2;
  auto pairs = absorption_probe(2 * n2, 4, {2});  // logical odd positions at stride 2
  EXPECT_GT(tav_dnrm2(&n2, pairs.data(), &two), 1.0);
  auto evens = absorption_probe(2 * n2, 4, {0});
  EXPECT_EQ(tav_dnrm2(&n2, evens.data(), &two), 1.0);
}

TEST(Dnrm2, SpecialCases) {
  const int one = 1, zero_n = 0;
  const double minus3 = -3.0;
  EXPECT_EQ(tav_dnrm2(&one, &minus3, &one), 3.0);
  EXPECT_SAME_BITS(tav_dnrm2(&zero_n, &minus3, &one), 0.0);
  // Squares of 1e200 leave the double range but not the extended one.
  const double big[4] = {1e200, 1e200, 1e200, 1e200};
  const int four = 4;
  if (extended_sums)
    EXPECT_NEAR(tav_dnrm2(&four, big, &one), 2e200, 1e186);
  else
    EXPECT_EQ(tav_dnrm2(&four, big, &one), std::numeric_limits<double>::infinity());
}

// ---- element-wise routines --------------------------------------------------

TEST(Daxpy, MatchesReferenceAndRoundsOnlyAtTheStore) {
  TAV_REQUIRE_REFBLAS();
  auto refaxpy = ref<axpy_fn>("daxpy_");
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
  for (double zero : {0.0, -0.0}) {
    tav_daxpy(&n, &zero, x.data(), &one, y.data(), &one);
    EXPECT_EQ(y, y0);
  }
  const double tiny = std::numeric_limits<double>::denorm_min();
  tav_daxpy(&n, &tiny, x.data(), &one, y.data(), &one);  // not a zero: proceeds
  EXPECT_TRUE(std::isnan(y[0]));
  y = y0;
  tav_daxpy(&n, &nan_value, x.data(), &one, y.data(), &one);
  for (double v : y) EXPECT_TRUE(std::isnan(v));
}

TEST(Dscal, EveryPathRoundsEachProductOnce) {
  TAV_REQUIRE_REFBLAS();
  auto refscal = ref<scal_fn>("dscal_");
  for (int n : lengths)
    for (int inc : strides)
      for (int off = 0; off < 4; ++off) {
        SCOPED_TRACE(testing::Message() << "n=" << n << " inc=" << inc << " offset " << off);
        auto x = random_buffer<double>(span(n, inc), off, 500 + n * 4 + off, 30);
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
      }
  // alpha 0 multiplies: NaN and infinity become NaN.
  std::vector<double> v = {nan_value, std::numeric_limits<double>::infinity(), 2.0};
  const int three = 3, one = 1;
  const double zero = 0.0;
  tav_dscal(&three, &zero, v.data(), &one);
  EXPECT_TRUE(std::isnan(v[0]) && std::isnan(v[1]));
  EXPECT_EQ(v[2], 0.0);
}

// ---- copy and swap ----------------------------------------------------------

// A vector placed `byte_offset` bytes past a 64-byte boundary, so that y can
// miss 8-byte alignment too (then the whole vector goes element by element).
struct Raw {
  std::vector<unsigned char> bytes;
  double *p;
  Raw(size_t count, size_t byte_offset) : bytes(count * 8 + byte_offset + 64) {
    auto base = reinterpret_cast<std::uintptr_t>(bytes.data());
    p = reinterpret_cast<double *>((base + 63) / 64 * 64 + byte_offset);
  }
};

void fill_bits(double *p, size_t count, std::uint64_t salt) {
  for (size_t i = 0; i < count; ++i) {
    std::uint64_t u = (i + 1) * 0x9E3779B97F4A7C15ull ^ salt;
    u &= ~(0x7FFull << 52);
    u |= (0x3FFull + (i % 64)) << 52;  // finite, distinct values
    std::memcpy(p + i, &u, 8);
  }
}

TEST(Dcopy, UnitPathBlocksPeelsAndTailsMoveEveryByte) {
  const int copy_lengths[] = {1, 2, 3, 4, 5, 7, 8, 9, 511, 512, 513, 515, 516, 1023, 1024, 1027, 2100};
  const size_t byte_offsets[] = {0, 4, 8, 16, 24, 40};
  const int one = 1;
  for (int n : copy_lengths)
    for (size_t xo : byte_offsets)
      for (size_t yo : byte_offsets) {
        SCOPED_TRACE(testing::Message() << "n=" << n << " x+" << xo << " y+" << yo);
        Raw x(n, xo), y(n + 2, yo);
        fill_bits(x.p, n, 1);
        fill_bits(y.p, n + 2, 2);
        unsigned char beyond[16];
        std::memcpy(beyond, y.p + n, sizeof beyond);
        tav_dcopy(&n, x.p, &one, y.p, &one);
        EXPECT_EQ(std::memcmp(x.p, y.p, n * 8), 0);
        EXPECT_EQ(std::memcmp(beyond, y.p + n, sizeof beyond), 0);  // nothing written past the end
      }
}

TEST(Dcopy, EveryStrideMatchesReference) {
  TAV_REQUIRE_REFBLAS();
  auto refcopy = ref<copy_fn>("dcopy_");
  for_each_case([&](int n, int incx, int incy, int ox, int oy, std::uint32_t seed) {
    auto x = random_buffer<double>(span(n, incx), ox, seed);
    auto y = random_buffer<double>(span(n, incy), oy, seed + 3);
    auto y_ref = y;
    tav_dcopy(&n, x.data(), &incx, y.data(), &incy);
    refcopy(&n, x.data(), &incx, y_ref.data(), &incy);
    EXPECT_TRUE(y.same_bits(y_ref));
  });
}

TEST(Dswap, EveryStrideAndAlignmentMatchesReference) {
  TAV_REQUIRE_REFBLAS();
  auto refswap = ref<swap_fn>("dswap_");
  for_each_case([&](int n, int incx, int incy, int ox, int oy, std::uint32_t seed) {
    auto x = random_buffer<double>(span(n, incx), ox, seed);
    auto y = random_buffer<double>(span(n, incy), oy, seed + 3);
    auto x_ref = x, y_ref = y;
    tav_dswap(&n, x.data(), &incx, y.data(), &incy);
    refswap(&n, x_ref.data(), &incx, y_ref.data(), &incy);
    EXPECT_TRUE(x.same_bits(x_ref));
    EXPECT_TRUE(y.same_bits(y_ref));
  });
  // y off 8-byte alignment never reaches the body: every element one by one.
  for (int n : {1, 7, 8, 9, 17, 40}) {
    Raw x(n, 8), y(n, 4);
    fill_bits(x.p, n, 5);
    fill_bits(y.p, n, 6);
    std::vector<double> x0(n), y0(n);
    std::memcpy(x0.data(), x.p, n * 8);
    std::memcpy(y0.data(), y.p, n * 8);
    const int one = 1;
    tav_dswap(&n, x.p, &one, y.p, &one);
    EXPECT_EQ(std::memcmp(x.p, y0.data(), n * 8), 0);
    EXPECT_EQ(std::memcmp(y.p, x0.data(), n * 8), 0);
  }
}

// ---- idamax, idamin --------------------------------------------------------

TEST(Idamax, MatchesReferenceAndPublishedOrderForNegativeStrides) {
  TAV_REQUIRE_REFBLAS();
  auto refamax = ref<index_fn>("idamax_");
  for (int n : lengths)
    for (int inc : strides) {
      SCOPED_TRACE(testing::Message() << "n=" << n << " inc=" << inc);
      auto x = random_buffer<double>(span(n, inc), 2, 700 + n, 10);
      int got_max = tav_idamax(&n, x.data(), &inc), got_min = tav_idamin(&n, x.data(), &inc);
      if (n <= 0 || inc == 0) {
        EXPECT_EQ(got_max, 0);
        EXPECT_EQ(got_min, 0);
        continue;
      }
      int want_max = 1, want_min = 1;
      for (int k = 1; k < n; ++k) {
        double v = std::fabs(at(x.data(), n, inc, k));
        if (v > std::fabs(at(x.data(), n, inc, want_max - 1))) want_max = k + 1;
        if (v < std::fabs(at(x.data(), n, inc, want_min - 1))) want_min = k + 1;
      }
      EXPECT_EQ(got_max, want_max);
      EXPECT_EQ(got_min, want_min);
      if (inc > 0) {
        EXPECT_EQ(got_max, refamax(&n, x.data(), &inc));
      }
    }
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
