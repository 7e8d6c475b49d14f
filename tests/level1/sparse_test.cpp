// Sparse vector routines in four precisions: against straightforward loops in
// the order of the index array (repeated indices included), the quick returns
// with their NaN rules, the rounding of the running sums, and bit-exact moves.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

#include "frame/xreal.h"
#include "support/buffers.h"
#include "tav_q7.h"

namespace {

using tav::xreal;
using tavtest::bits_of;

// Counts around every unroll boundary (rounds of 3 from 5, of 4 from 6).
const int counts[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 17};
constexpr int dense_length = 9;

// One-based positions into a dense vector of dense_length, with repeats.
std::vector<int> positions(int nz, std::uint32_t seed) {
  std::mt19937 gen(seed);
  std::uniform_int_distribution<int> pick(1, dense_length);
  std::vector<int> indx(nz > 0 ? nz : 1, 1);
  for (int i = 0; i < nz; ++i) indx[i] = pick(gen);
  if (nz >= 2) indx[nz - 1] = indx[0];  // at least one repeat
  return indx;
}

template <class T>
std::vector<T> values(int count, std::uint32_t seed) {
  std::vector<T> v(count > 0 ? count : 1);
  tavtest::fill_random(v.data(), v.size(), seed, 12);
  return v;
}

template <class C>
std::vector<C> complex_values(int count, std::uint32_t seed) {
  using T = decltype(C::re);
  auto parts = values<T>(2 * count, seed);
  std::vector<C> v(count > 0 ? count : 1);
  for (int i = 0; i < count; ++i) v[i] = C{parts[2 * i], parts[2 * i + 1]};
  return v;
}

// Real or complex values, by element type.
template <class T>
std::vector<T> any_values(int count, std::uint32_t seed) {
  if constexpr (std::is_floating_point<T>::value)
    return values<T>(count, seed);
  else
    return complex_values<T>(count, seed);
}

template <class T>
bool same_bits(const std::vector<T> &a, const std::vector<T> &b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

// ---- axpyi --------------------------------------------------------------------

template <class T, class F>
void check_real_axpyi(F axpyi) {
  for (int nz : counts) {
    SCOPED_TRACE(nz);
    auto x = values<T>(nz, 10 + nz);
    auto y = values<T>(dense_length, 20 + nz), want = y;
    auto indx = positions(nz, 30 + nz);
    const T a = T(-0.8235294117647058);
    for (int i = 0; i < nz; ++i) {
      T &w = want[indx[i] - 1];
      w = (T)((xreal)a * (xreal)x[i] + (xreal)w);
    }
    axpyi(&nz, &a, x.data(), indx.data(), y.data());
    EXPECT_TRUE(same_bits(y, want));
  }
  // a of 0, -0 or NaN returns with y untouched, even where x holds a NaN.
  const int nz = 3;
  const int indx[3] = {3, 3, 1};
  const T x[3] = {std::numeric_limits<T>::quiet_NaN(), 1, 2};
  for (T a : {T(0), T(-0.0), std::numeric_limits<T>::quiet_NaN()}) {
    std::vector<T> y = {1, 2, 3};
    axpyi(&nz, &a, x, indx, y.data());
    EXPECT_EQ(y, (std::vector<T>{1, 2, 3}));
  }
  // Both products of a repeated index land in the same element.
  const T a = 2, ones[2] = {1, 10};
  const int twice[2] = {3, 3}, two = 2;
  std::vector<T> y = {0, 0, 5};
  axpyi(&two, &a, ones, twice, y.data());
  EXPECT_EQ(y[2], T(27));
}

TEST(SparseAxpyi, RealMatchesLoopAndQuickReturns) {
  check_real_axpyi<float>(tav_saxpyi);
  check_real_axpyi<double>(tav_daxpyi);
}

template <class C, class F>
void check_complex_axpyi(F axpyi) {
  using T = decltype(C::re);
  for (int nz : counts) {
    SCOPED_TRACE(nz);
    auto x = complex_values<C>(nz, 40 + nz);
    auto y = complex_values<C>(dense_length, 50 + nz), want = y;
    auto indx = positions(nz, 60 + nz);
    const C a{T(0.6), T(-1.7)};
    for (int i = 0; i < nz; ++i) {
      C &w = want[indx[i] - 1];
      const xreal ar = a.re, ai = a.im, xr = x[i].re, xi = x[i].im;
      w.re = (T)((ar * xr - ai * xi) + (xreal)w.re);
      w.im = (T)((ai * xr + ar * xi) + (xreal)w.im);
    }
    axpyi(&nz, &a, x.data(), indx.data(), y.data());
    EXPECT_TRUE(same_bits(y, want));
  }
  const T nan = std::numeric_limits<T>::quiet_NaN();
  const int one = 1, at2[1] = {2};
  const C x[1] = {C{1, 1}};
  // Returns only when both parts count as zero (NaN counting as zero).
  for (C a : {C{0, 0}, C{T(-0.0), 0}, C{nan, 0}, C{0, nan}, C{nan, nan}}) {
    std::vector<C> y = {C{1, 2}, C{3, 4}};
    axpyi(&one, &a, x, at2, y.data());
    EXPECT_EQ(y[1].re, T(3));
    EXPECT_EQ(y[1].im, T(4));
  }
  // (0, 1) and (NaN, 1) proceed.
  std::vector<C> y = {C{1, 2}, C{3, 4}};
  const C i_unit{0, 1};
  axpyi(&one, &i_unit, x, at2, y.data());
  EXPECT_EQ(y[1].re, T(2));
  EXPECT_EQ(y[1].im, T(5));
  const C nan_re{nan, 1};
  axpyi(&one, &nan_re, x, at2, y.data());
  EXPECT_TRUE(std::isnan(y[1].re));
}

TEST(SparseAxpyi, ComplexMatchesLoopAndQuickReturns) {
  check_complex_axpyi<tav_complex8>(tav_caxpyi);
  check_complex_axpyi<tav_complex16>(tav_zaxpyi);
}

// ---- dot products -------------------------------------------------------------

// tav_sdoti's running sum is a float after every element. In rounds of 4 (from
// nz 6) the first element of a round is added to the exact product and
// rounded once; the other three add a product already rounded to float.
float sdoti_expected(const std::vector<float> &x, const std::vector<int> &indx, const std::vector<float> &y,
                     int nz) {
  const int in_rounds = nz >= 6 ? nz / 4 * 4 : 0;
  float sum = 0;
  for (int i = 0; i < nz; ++i) {
    const float yj = y[indx[i] - 1];
    if (i < in_rounds && i % 4 != 0) {
      const float product = x[i] * yj;
      sum = sum + product;
    } else {
      sum = (float)((xreal)sum + (xreal)x[i] * (xreal)yj);
    }
  }
  return sum;
}

TEST(SparseDoti, RealSumsInIndexOrder) {
  for (int nz : counts) {
    SCOPED_TRACE(nz);
    auto xs = values<float>(nz, 70 + nz);
    auto ys = values<float>(dense_length, 80 + nz);
    auto indx = positions(nz, 90 + nz);
    EXPECT_SAME_BITS(tav_sdoti(&nz, xs.data(), indx.data(), ys.data()), sdoti_expected(xs, indx, ys, nz));

    auto xd = values<double>(nz, 71 + nz);
    auto yd = values<double>(dense_length, 81 + nz);
    xreal sum = 0;
    for (int i = 0; i < nz; ++i) sum += (xreal)xd[i] * (xreal)yd[indx[i] - 1];
    EXPECT_SAME_BITS(tav_ddoti(&nz, xd.data(), indx.data(), yd.data()), (double)sum);
  }
}

TEST(SparseDoti, SingleRunningSumRoundsEachElement) {
  // 1 + 2^-24 + 2^-24 in a float running sum: each half-ulp step ties back to 1.
  const int three = 3, indx[3] = {1, 2, 3};
  const float x[3] = {1.0f, std::ldexp(1.0f, -24), std::ldexp(1.0f, -24)}, y[3] = {1, 1, 1};
  EXPECT_EQ(tav_sdoti(&three, x, indx, y), 1.0f);
  // From nz 6, elements 1-3 of a round add a product already rounded to float.
  // (1 + 2^-23) * (1 - 2^-24) 2^-24 rounds to 2^-24, and 1 + 2^-24 ties back to
  // 1; added exactly and rounded once, the sum rounds up to 1 + 2^-23.
  const int five = 5, six = 6, indx6[6] = {1, 2, 1, 1, 1, 1};
  const float x6[6] = {1.0f, 1.0f + std::ldexp(1.0f, -23), 0, 0, 0, 0};
  const float y2[2] = {1.0f, std::ldexp(1.0f - std::ldexp(1.0f, -24), -24)};
  EXPECT_EQ(tav_sdoti(&six, x6, indx6, y2), 1.0f);
  EXPECT_EQ(tav_sdoti(&five, x6, indx6, y2), 1.0f + std::ldexp(1.0f, -23));
  // nz 0 reads nothing.
  const int zero = 0;
  EXPECT_SAME_BITS(tav_sdoti(&zero, nullptr, nullptr, nullptr), 0.0f);
  EXPECT_SAME_BITS(tav_ddoti(&zero, nullptr, nullptr, nullptr), 0.0);
}

template <class C, class F>
void check_complex_dot(F dot, bool conjugate) {
  using T = decltype(C::re);
  for (int nz : counts) {
    SCOPED_TRACE(testing::Message() << "nz=" << nz << " conj=" << conjugate);
    auto x = complex_values<C>(nz, 100 + nz);
    auto y = complex_values<C>(dense_length, 110 + nz);
    auto indx = positions(nz, 120 + nz);
    // Float sums for single complex, extended ones for double complex.
    using S = typename std::conditional<sizeof(T) == 4, float, xreal>::type;
    S re = 0, im = 0;
    for (int i = 0; i < nz; ++i) {
      const S xr = x[i].re, xi = conjugate ? S(0) - S(x[i].im) : S(x[i].im);
      const S yr = y[indx[i] - 1].re, yi = y[indx[i] - 1].im;
      re = re + (xr * yr - xi * yi);
      im = im + (xi * yr + xr * yi);
    }
    const T nan = std::numeric_limits<T>::quiet_NaN();
    C got{nan, nan};
    dot(&got, &nz, x.data(), indx.data(), y.data());
    EXPECT_SAME_BITS(got.re, (T)re);  // nz 0 stores (+0, +0)
    EXPECT_SAME_BITS(got.im, (T)im);
  }
}

TEST(SparseDoti, ComplexSumsInIndexOrder) {
  check_complex_dot<tav_complex8>(tav_cdotci, true);
  check_complex_dot<tav_complex8>(tav_cdotui, false);
  check_complex_dot<tav_complex16>(tav_zdotci, true);
  check_complex_dot<tav_complex16>(tav_zdotui, false);
}

// ---- gathers and scatters -----------------------------------------------------

template <class T, class Gthr, class Gthrz, class Sctr>
void check_moves(Gthr gthr, Gthrz gthrz, Sctr sctr) {
  for (int nz : counts) {
    SCOPED_TRACE(nz);
    auto y = any_values<T>(dense_length, 130 + nz);
    auto indx = positions(nz, 140 + nz);
    std::vector<T> x = any_values<T>(nz, 135 + nz), x_want = x;
    for (int i = 0; i < nz; ++i) x_want[i] = y[indx[i] - 1];
    gthr(&nz, y.data(), x.data(), indx.data());
    EXPECT_TRUE(same_bits(x, x_want));

    // Gather and zero, element by element: a repeated index gathers 0 the second time.
    auto yz = y, yz_want = y;
    for (int i = 0; i < nz; ++i) {
      x_want[i] = yz_want[indx[i] - 1];
      yz_want[indx[i] - 1] = T{};  // all bits clear
    }
    gthrz(&nz, yz.data(), x.data(), indx.data());
    EXPECT_TRUE(same_bits(x, x_want));
    EXPECT_TRUE(same_bits(yz, yz_want));

    // Scatter: the later of two equal indices stays.
    auto ys = y, ys_want = y;
    auto xs = any_values<T>(nz, 150 + nz);
    for (int i = 0; i < nz; ++i) ys_want[indx[i] - 1] = xs[i];
    sctr(&nz, xs.data(), indx.data(), ys.data());
    EXPECT_TRUE(same_bits(ys, ys_want));
  }
}

TEST(SparseMoves, GatherZeroAndScatterInIndexOrder) {
  check_moves<float>(tav_sgthr, tav_sgthrz, tav_ssctr);
  check_moves<double>(tav_dgthr, tav_dgthrz, tav_dsctr);
  check_moves<tav_complex8>(tav_cgthr, tav_cgthrz, tav_csctr);
  check_moves<tav_complex16>(tav_zgthr, tav_zgthrz, tav_zsctr);
}

TEST(SparseMoves, RepeatedIndicesAndBitPatterns) {
  const int two = 2, twice[2] = {2, 2};
  std::vector<float> y = {1, 5, 3}, x = {9, 9};
  tav_sgthrz(&two, y.data(), x.data(), twice);
  EXPECT_EQ(x, (std::vector<float>{5, 0}));
  EXPECT_EQ(bits_of(y[1]), 0u);  // all bits clear
  const int first_twice[2] = {1, 1};
  const float xs[2] = {4, 6};
  tav_ssctr(&two, xs, first_twice, y.data());
  EXPECT_EQ(y[0], 6.0f);

  // Complex elements move as integer words: signalling NaN payloads and -0 survive.
  const std::uint32_t snan32 = 0x7F800123u, neg_zero32 = 0x80000000u;
  tav_complex8 yc[2], xc[2];
  std::memcpy(&yc[1].re, &snan32, 4);
  std::memcpy(&yc[1].im, &neg_zero32, 4);
  yc[0] = tav_complex8{1, 2};
  const int one = 1, at2[1] = {2};
  tav_cgthrz(&one, yc, xc, at2);
  EXPECT_EQ(bits_of(xc[0].re), snan32);
  EXPECT_EQ(bits_of(xc[0].im), neg_zero32);
  EXPECT_EQ(bits_of(yc[1].re), 0u);
  EXPECT_EQ(bits_of(yc[1].im), 0u);
  tav_csctr(&one, xc, at2, yc);
  EXPECT_EQ(bits_of(yc[1].re), snan32);

  const std::uint64_t snan64 = 0x7FF0000000000abcull;
  tav_complex16 yz[1], xz[1];
  std::memcpy(&yz[0].re, &snan64, 8);
  std::memcpy(&yz[0].im, &snan64, 8);
  const int at1[1] = {1};
  tav_zgthr(&one, yz, xz, at1);
  EXPECT_EQ(bits_of(xz[0].re), snan64);
  EXPECT_EQ(bits_of(xz[0].im), snan64);
}

// ---- rotations ------------------------------------------------------------------

template <class T, class F>
void check_roti(F roti) {
  for (int nz : counts) {
    SCOPED_TRACE(nz);
    auto x = values<T>(nz, 160 + nz), x_want = x;
    auto y = values<T>(dense_length, 170 + nz), y_want = y;
    auto indx = positions(nz, 180 + nz);
    const T c = T(0.8), s = T(-0.6);
    for (int i = 0; i < nz; ++i) {
      T &yj = y_want[indx[i] - 1];
      const xreal xo = x_want[i], yo = yj;
      x_want[i] = (T)((xreal)c * xo + (xreal)s * yo);
      yj = (T)((xreal)c * yo - (xreal)s * xo);
    }
    roti(&nz, x.data(), indx.data(), y.data(), &c, &s);
    EXPECT_TRUE(same_bits(x, x_want));
    EXPECT_TRUE(same_bits(y, y_want));
  }
  // c 1 (or NaN) with s 0 stores nothing: an infinity would otherwise make NaNs.
  const T inf = std::numeric_limits<T>::infinity(), nan = std::numeric_limits<T>::quiet_NaN();
  const int two = 2, indx[2] = {1, 2};
  for (T c : {T(1), nan}) {
    std::vector<T> x = {1, 2}, y = {inf, 3};
    const T s = 0;
    roti(&two, x.data(), indx, y.data(), &c, &s);
    EXPECT_EQ(x, (std::vector<T>{1, 2}));
    EXPECT_EQ(y[0], inf);
  }
  // c 1 with s 0.5 rotates.
  std::vector<T> x = {2, 2}, y = {4, 0};
  const T one = 1, half = T(0.5);
  roti(&two, x.data(), indx, y.data(), &one, &half);
  EXPECT_EQ(x, (std::vector<T>{4, 2}));
  EXPECT_EQ(y, (std::vector<T>{3, -1}));
}

TEST(SparseRoti, RotatesInIndexOrderAndSkipsIdentity) {
  check_roti<float>(tav_sroti);
  check_roti<double>(tav_droti);
}

}  // namespace
