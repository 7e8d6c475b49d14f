// Single-precision vector routines: every stride path and alignment against
// the reference BLAS, and bit-exact cases that pin where sums are rounded.
#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "frame/xreal.h"
#include "support/buffers.h"
#include "support/refblas.h"
#include "tav_q7.h"

namespace {

using tavtest::at;
using tavtest::Buffer;
using tavtest::bits_of;
using tavtest::float_from_bits;
using tavtest::random_buffer;
using tavtest::span;

const int strides[] = {1, -1, 2, -3, 0};
// Every length up to 40 (all unroll and peel boundaries), then a few long ones.
const std::vector<int> lengths = [] {
  std::vector<int> all;
  for (int n = -1; n <= 40; ++n) all.push_back(n);
  for (int n : {100, 1000, 4099}) all.push_back(n);
  return all;
}();

using dot_fn = float (*)(const int *, const float *, const int *, const float *, const int *);
using axpy_fn = void (*)(const int *, const float *, const float *, const int *, float *, const int *);
using asum_fn = float (*)(const int *, const float *, const int *);
using scal_fn = void (*)(const int *, const float *, float *, const int *);
using copy_fn = void (*)(const int *, const float *, const int *, float *, const int *);
using swap_fn = void (*)(const int *, float *, const int *, float *, const int *);
using iamax_fn = int (*)(const int *, const float *, const int *);

// Runs `body(n, incx, incy, x_offset, y_offset, seed)` over every length,
// stride pair and alignment offset pair (long vectors at fewer offsets).
template <class Body>
void for_each_case(Body body) {
  std::uint32_t seed = 1;
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

TEST(Sdot, MatchesReferenceOnEveryPath) {
  TAV_REQUIRE_REFBLAS();
  auto ref = tavtest::RefBlas::get().fn<dot_fn>("sdot_");
  for_each_case([&](int n, int incx, int incy, int ox, int oy, std::uint32_t seed) {
    auto x = random_buffer<float>(span(n, incx), ox, seed);
    auto y = random_buffer<float>(span(n, incy), oy, seed + 7777);
    float got = tav_sdot(&n, x.data(), &incx, y.data(), &incy);
    float want = ref(&n, x.data(), &incx, y.data(), &incy);
    double magnitude = 0;
    for (int k = 0; k < n; ++k) magnitude += std::fabs(double(at(x.data(), n, incx, k)) * at(y.data(), n, incy, k));
    EXPECT_NEAR(got, want, tavtest::sum_tolerance<float>(n, magnitude));
    if (n <= 0) {
      EXPECT_EQ(bits_of(got), 0u);  // +0
    }
  });
}

// The unit path rounds the peeled partial sum to float when the packed body
// takes over. Products (y = 1): 1, 2^-30, -1, 0, ... The packed lanes fold as
// (l0 + l2) + (l1 + l3), which keeps 2^-30; so does an extended peel of all
// three. Only a peel that ends between 2^-30 and -1 loses it.
TEST(Sdot, HandOverToPackedBodyRoundsToSingle) {
  const int n = 8, one = 1;
  const float tiny = std::ldexp(1.0f, -30);
  auto run = [&](int ox, int oy) {
    Buffer<float> x(n, ox), y(n, oy);
    for (int k = 0; k < n; ++k) y[k] = 1.0f;
    x[0] = 1.0f;
    x[1] = tiny;
    x[2] = -1.0f;
    return tav_sdot(&n, x.data(), &one, y.data(), &one);
  };
  EXPECT_EQ(run(0, 0), tiny);  // all packed
  EXPECT_EQ(run(1, 1), tiny);  // three peeled in extended precision
  EXPECT_EQ(run(3, 3), 0.0f);  // one peeled: the seed 1 meets 2^-30 in lane 0
  EXPECT_EQ(run(2, 2), 0.0f);  // 1 + 2^-30 rounded to 1 at the hand-over
  EXPECT_EQ(run(0, 2), 0.0f);  // not co-aligned: the peel follows y
  EXPECT_EQ(run(2, 0), tiny);  // not co-aligned, y aligned: no peel
  // Equal strides of -1 take the same unit path from the given addresses.
  const int minus = -1;
  Buffer<float> x(n, 2), y(n, 2);
  for (int k = 0; k < n; ++k) y[k] = 1.0f;
  x[0] = 1.0f, x[1] = tiny, x[2] = -1.0f;
  EXPECT_EQ(tav_sdot(&n, x.data(), &minus, y.data(), &minus), 0.0f);
}

// Four extended sums take elements by position modulo 4; the x-unit and
// y-unit paths work in rounds of 8 and add the rest to the combined sum, the
// general path in rounds of 4. Products 2^70, 1, 0 x 6, -2^70, 0 x 3 show it:
// rounds of 8 lose the 1 against 2^70 before -2^70 comes.
TEST(Sdot, StridedPathsGroupByRound) {
  const int n = 12, one = 1, two = 2;
  Buffer<float> x(n), x2(2 * n), y(2 * n);
  for (int k = 0; k < 2 * n; ++k) y[k] = 1.0f;
  x[0] = std::ldexp(1.0f, 70), x[1] = 1.0f, x[8] = -std::ldexp(1.0f, 70);
  for (int k = 0; k < n; ++k) x2[2 * k] = x[k];
  EXPECT_EQ(tav_sdot(&n, x.data(), &one, y.data(), &two), 0.0f);   // x-unit
  EXPECT_EQ(tav_sdot(&n, x2.data(), &two, y.data(), &one), 0.0f);  // y-unit
  EXPECT_EQ(tav_sdot(&n, x2.data(), &two, y.data(), &two), 1.0f);  // general
  EXPECT_EQ(tav_sdot(&n, x.data(), &one, y.data(), &one), 1.0f);   // packed lanes
}

TEST(Saxpy, MatchesReferenceOnEveryPath) {
  TAV_REQUIRE_REFBLAS();
  auto ref = tavtest::RefBlas::get().fn<axpy_fn>("saxpy_");
  const float alpha = -1.3125f;
  for_each_case([&](int n, int incx, int incy, int ox, int oy, std::uint32_t seed) {
    auto x = random_buffer<float>(span(n, incx), ox, seed);
    auto y = random_buffer<float>(span(n, incy), oy, seed + 99);
    auto want = y;
    tav_saxpy(&n, &alpha, x.data(), &incx, y.data(), &incy);
    ref(&n, &alpha, x.data(), &incx, want.data(), &incy);
    // The reference rounds alpha * x before adding y: the error scales with the
    // operands, not the result. With incy 0 every update lands on y[0].
    double largest = 0;
    for (std::size_t k = 0; k < x.size(); ++k) largest = std::max(largest, std::fabs(double(alpha) * x[k]));
    for (std::size_t k = 0; k < y.size(); ++k) largest = std::max(largest, std::fabs(double(want[k])));
    double tolerance = 2 * std::numeric_limits<float>::epsilon() * largest * (incy == 0 ? n + 2 : 2);
    for (std::size_t k = 0; k < y.size(); ++k) ASSERT_NEAR(y[k], want[k], tolerance) << k;
  });
}

// alpha = x = 1 + 2^-12, y = -1: the packed form rounds alpha*x to float
// (1 + 2^-11, a tie to even) before adding y; the scalar form rounds once.
TEST(Saxpy, PackedAndScalarElementsRoundDifferently) {
  const float a = 1.0f + std::ldexp(1.0f, -12);
  const float packed = std::ldexp(1.0f, -11);
  const float scalar = std::ldexp(1.0f, -11) + std::ldexp(1.0f, -24);
  const int n = 8, one = 1, two = 2;
  auto run = [&](int ox, int oy, int incy) {
    Buffer<float> x(n, ox), y(span(n, incy), oy);
    for (int k = 0; k < n; ++k) x[k] = a;
    for (std::size_t k = 0; k < y.size(); ++k) y[k] = -1.0f;
    tav_saxpy(&n, &a, x.data(), &one, y.data(), &incy);
    std::vector<float> out;
    for (int k = 0; k < n; ++k) out.push_back(y[static_cast<std::size_t>(k) * incy]);
    return out;
  };
  const float P = packed, S = scalar;
  EXPECT_EQ(run(0, 0, one), (std::vector<float>{P, P, P, P, P, P, P, P}));
  EXPECT_EQ(run(1, 1, one), (std::vector<float>{S, S, S, P, P, P, P, S}));  // peel 3 on x
  EXPECT_EQ(run(0, 3, one), (std::vector<float>{S, P, P, P, P, S, S, S}));  // peel 1 on y
  EXPECT_EQ(run(0, 0, two), (std::vector<float>{S, S, S, S, S, S, S, S}));  // no x-unit path
}

TEST(Saxpy, ZeroAlphaReturnsOnItsBitsNaNAlphaProceeds) {
  const int n = 5, one = 1;
  Buffer<float> x(n), y(n);
  for (int k = 0; k < n; ++k) x[k] = std::numeric_limits<float>::quiet_NaN(), y[k] = float(k);
  auto before = y;
  for (float zero : {0.0f, -0.0f}) {
    tav_saxpy(&n, &zero, x.data(), &one, y.data(), &one);
    EXPECT_TRUE(y.same_bits(before));
  }
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (int k = 0; k < n; ++k) x[k] = 1.0f;
  tav_saxpy(&n, &nan, x.data(), &one, y.data(), &one);
  for (int k = 0; k < n; ++k) EXPECT_TRUE(std::isnan(y[k]));
}

TEST(Sasum, MatchesReferenceAndWalksUpwardForNegativeStrides) {
  TAV_REQUIRE_REFBLAS();
  auto ref = tavtest::RefBlas::get().fn<asum_fn>("sasum_");
  for_each_case([&](int n, int incx, int, int ox, int oy, std::uint32_t seed) {
    if (oy != 0) return;
    auto x = random_buffer<float>(span(n, incx), ox, seed);
    float got = tav_sasum(&n, x.data(), &incx);
    int up = std::abs(incx);
    float want = 0.0f;
    if (up > 0)
      want = ref(&n, x.data(), &up);
    else if (n > 0)
      want = float(n) * std::fabs(x[0]);
    double magnitude = 0;
    for (int k = 0; k < n; ++k) magnitude += std::fabs(x[static_cast<std::size_t>(k) * up]);
    EXPECT_NEAR(got, want, tavtest::sum_tolerance<float>(n, magnitude));
    if (n <= 0) {
      EXPECT_EQ(bits_of(got), 0u);
    }
  });
}

TEST(Snrm2, MatchesReferenceOnEveryPath) {
  TAV_REQUIRE_REFBLAS();
  auto ref = tavtest::RefBlas::get().fn<asum_fn>("snrm2_");
  for_each_case([&](int n, int incx, int, int ox, int oy, std::uint32_t seed) {
    if (oy != 0) return;
    auto x = random_buffer<float>(span(n, incx), ox, seed);
    float got = tav_snrm2(&n, x.data(), &incx);
    float want = ref(&n, x.data(), &incx);
    EXPECT_NEAR(got, want, tavtest::sum_tolerance<float>(n, want));
  });
}

// No scaling: squares that overflow single precision give +inf wherever they
// are summed in packed floats, and stay finite in extended precision.
TEST(Snrm2, OverflowsOnlyInThePackedBody) {
  const float big = 1e20f;
  const float inf = std::numeric_limits<float>::infinity();
  auto run = [&](int n, int inc, int offset) {
    Buffer<float> x(span(n, inc), offset);
    for (std::size_t k = 0; k < x.size(); ++k) x[k] = big;
    return tav_snrm2(&n, x.data(), &inc);
  };
  EXPECT_EQ(run(4, 1, 0), inf);
  EXPECT_EQ(run(16, 1, 0), inf);
  EXPECT_EQ(run(4, 2, 0), 2e20f);   // general path
  EXPECT_EQ(run(4, -1, 0), 2e20f);  // -1 is not unit here
  EXPECT_EQ(run(4, 1, 1), 2e20f);   // three peeled, one in the tail: no packed body
  EXPECT_EQ(run(7, 1, 1), inf);     // the peeled sum overflows when rounded to float
  EXPECT_EQ(run(3, 0, 0), static_cast<float>(std::sqrt(3 * tav::xreal(big) * tav::xreal(big))));
}

TEST(Sscal, MatchesReferenceAndScalesUpwardForNegativeStrides) {
  TAV_REQUIRE_REFBLAS();
  auto ref = tavtest::RefBlas::get().fn<scal_fn>("sscal_");
  const float alpha = 0.7f;
  for_each_case([&](int n, int incx, int, int ox, int oy, std::uint32_t seed) {
    if (oy != 0 || incx == 0) return;
    auto x = random_buffer<float>(span(n, incx), ox, seed);
    auto want = x;
    int up = std::abs(incx);
    tav_sscal(&n, &alpha, x.data(), &incx);
    ref(&n, &alpha, want.data(), &up);
    EXPECT_TRUE(x.same_bits(want));  // one rounding per element either way
  });
}

TEST(Sscal, ZeroStrideRepeatsAndZeroAlphaMultiplies) {
  const int three = 3, zero_inc = 0, one = 1;
  const float alpha = 1.1f;
  Buffer<float> x(2);
  x[0] = 1.3f, x[1] = 5.0f;
  tav_sscal(&three, &alpha, x.data(), &zero_inc);
  EXPECT_EQ(x[0], ((1.3f * alpha) * alpha) * alpha);
  EXPECT_EQ(x[1], 5.0f);

  const float zero = 0.0f;
  Buffer<float> y(6, 1);
  const float specials[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                            -2.0f, 3.0f, -std::numeric_limits<float>::infinity(), 1.0f};
  for (int k = 0; k < 6; ++k) y[k] = specials[k];
  const int six = 6;
  tav_sscal(&six, &zero, y.data(), &one);
  EXPECT_TRUE(std::isnan(y[0]) && std::isnan(y[1]) && std::isnan(y[4]));
  EXPECT_EQ(bits_of(y[2]), bits_of(-0.0f));
  EXPECT_EQ(bits_of(y[3]), 0u);
}

TEST(ScopySswap, MatchReferenceOnEveryPath) {
  TAV_REQUIRE_REFBLAS();
  auto ref_copy = tavtest::RefBlas::get().fn<copy_fn>("scopy_");
  auto ref_swap = tavtest::RefBlas::get().fn<swap_fn>("sswap_");
  for_each_case([&](int n, int incx, int incy, int ox, int oy, std::uint32_t seed) {
    auto x = random_buffer<float>(span(n, incx), ox, seed);
    auto y = random_buffer<float>(span(n, incy), oy, seed + 5);
    auto want_y = y;
    tav_scopy(&n, x.data(), &incx, y.data(), &incy);
    ref_copy(&n, x.data(), &incx, want_y.data(), &incy);
    EXPECT_TRUE(y.same_bits(want_y));

    auto y2 = random_buffer<float>(span(n, incy), oy, seed + 9);
    auto x_ref = x, y_ref = y2;
    tav_sswap(&n, x.data(), &incx, y2.data(), &incy);
    ref_swap(&n, x_ref.data(), &incx, y_ref.data(), &incy);
    EXPECT_TRUE(x.same_bits(x_ref));
    EXPECT_TRUE(y2.same_bits(y_ref));
  });
}

// A signalling NaN moved by the packed copy keeps its bits; one that passes
// through the x87 stack (the unit tail, the general path) comes out quiet.
TEST(Scopy, SignallingNaNIsQuietedOnlyThroughTheX87Stack) {
  const std::uint32_t snan = 0x7F800001u, qnan = 0x7FC00001u;
  const int n = 4100, one = 1, two = 2;
  Buffer<float> x(2 * n), y(2 * n);
  x[0] = float_from_bits(snan);          // body (y aligned, no peel)
  x[n - 1] = float_from_bits(snan);      // tail: n - 4096 = 4 elements
  tav_scopy(&n, x.data(), &one, y.data(), &one);
  EXPECT_EQ(bits_of(y[0]), snan);
  EXPECT_EQ(bits_of(y[n - 1]), qnan);
  tav_scopy(&n, x.data(), &two, y.data(), &one);
  EXPECT_EQ(bits_of(y[0]), qnan);
}

TEST(IsamaxIsamin, MatchReferenceAndOwnOrderOnEveryPath) {
  TAV_REQUIRE_REFBLAS();
  auto ref = tavtest::RefBlas::get().fn<iamax_fn>("isamax_");
  for_each_case([&](int n, int incx, int, int ox, int oy, std::uint32_t seed) {
    if (oy != 0) return;
    auto x = random_buffer<float>(span(n, incx), ox, seed, 20);
    int got_max = tav_isamax(&n, x.data(), &incx);
    int got_min = tav_isamin(&n, x.data(), &incx);
    if (n <= 0 || incx == 0) {
      EXPECT_EQ(got_max, 0);
      EXPECT_EQ(got_min, 0);
      return;
    }
    auto [best_max, best_min] = tavtest::first_extremes(x.data(), n, incx);
    EXPECT_EQ(got_max, best_max);
    EXPECT_EQ(got_min, best_min);
    if (incx > 0) {
      EXPECT_EQ(got_max, ref(&n, x.data(), &incx));
    }
  });
}

TEST(IsamaxIsamin, IntegerOrderOfMagnitudes) {
  auto amax = [](std::vector<float> v, int inc = 1) {
    int n = static_cast<int>(v.size()) / std::max(1, std::abs(inc));
    if (inc == 0) n = static_cast<int>(v.size());
    return tav_isamax(&n, v.data(), &inc);
  };
  auto amin = [](std::vector<float> v) {
    int n = static_cast<int>(v.size()), inc = 1;
    return tav_isamin(&n, v.data(), &inc);
  };
  const float inf = std::numeric_limits<float>::infinity();
  const float nan1 = float_from_bits(0x7FC00001u), nan5 = float_from_bits(0xFFC00005u);
  EXPECT_EQ(amax({1, -3, 3}), 2);
  EXPECT_EQ(amin({3, -1, 1}), 2);
  EXPECT_EQ(amax({1, nan1, 0.5f}), 2);
  EXPECT_EQ(amax({inf, nan1, nan5, nan5}), 3);  // NaN above inf, larger payload wins
  EXPECT_EQ(amin({nan1, 5, 1}), 3);             // stays on the NaN until a smaller value
  EXPECT_EQ(amin({2, nan1, 1}), 3);             // never moves to a NaN
  EXPECT_EQ(amax({-0.0f, 0.0f}), 1);            // +0 and -0 tie
  EXPECT_EQ(amin({0.5f, -0.0f, 0.0f}), 2);
  // Tie at each step of the unit path's rounds of 8: the first wins.
  std::vector<float> ties(20, 1.0f);
  ties[9] = -2.0f, ties[17] = 2.0f;
  EXPECT_EQ(amax(ties), 10);
  // Ties and NaNs in blocks far apart: still the first of the best.
  std::vector<float> longer(300, 1.0f);
  longer[70] = 2.0f, longer[130] = -2.0f, longer[299] = 2.0f, longer[5] = 0.5f, longer[250] = 0.5f;
  EXPECT_EQ(amax(longer), 71);
  EXPECT_EQ(amin(longer), 6);
  longer[200] = nan1, longer[260] = nan5;
  EXPECT_EQ(amax(longer), 261);
  const int one_elem = 1, zero_inc = 0, five = 5;
  float v = 3;
  EXPECT_EQ(tav_isamax(&one_elem, &v, &zero_inc), 0);
  EXPECT_EQ(tav_isamax(&one_elem, &v, &five), 1);
  EXPECT_EQ(tav_isamin(&one_elem, &v, &zero_inc), 0);
}

}  // namespace
