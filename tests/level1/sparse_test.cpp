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

// The real type of an element, real or complex.
template <class T>
auto real_part(T v) {
  if constexpr (std::is_floating_point<T>::value)
    return v;
  else
    return v.re;
}
template <class T>
using part_t = decltype(real_part(T{}));

// count elements (at least one, so that data() is never null) of random real
// or complex values.
template <class T>
std::vector<T> values(int count, std::uint32_t seed) {
  using R = part_t<T>;
  std::vector<T> v(count > 0 ? count : 1);
  tavtest::fill_random(reinterpret_cast<R *>(v.data()), v.size() * sizeof(T) / sizeof(R), seed, 12);
  return v;
}

template <class T>
bool same_bits(const std::vector<T> &a, const std::vector<T> &b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

// ---- axpyi --------------------------------------------------------------------

// Against the loop in index order, rounded once at the store; alphas counting
// as zero (a NaN part counts as zero; complex: both parts) return with y
// untouched even where x holds NaNs, the others proceed.
template <class T, class F>
void check_axpyi(F axpyi, T a, std::vector<T> zeros, std::vector<T> proceeding) {
  using R = part_t<T>;
  for (int nz : counts) {
    SCOPED_TRACE(nz);
    auto x = values<T>(nz, 10 + nz);
    auto y = values<T>(dense_length, 20 + nz), want = y;
    auto indx = positions(nz, 30 + nz);
    for (int i = 0; i < nz; ++i) {
      T &w = want[indx[i] - 1];
      if constexpr (std::is_same<T, R>::value) {
        w = (T)((xreal)a * (xreal)x[i] + (xreal)w);
      } else {
        const xreal ar = a.re, ai = a.im, xr = x[i].re, xi = x[i].im;
        w.re = (R)((ar * xr - ai * xi) + (xreal)w.re);
        w.im = (R)((ai * xr + ar * xi) + (xreal)w.im);
      }
    }
    axpyi(&nz, &a, x.data(), indx.data(), y.data());
    EXPECT_TRUE(same_bits(y, want));
  }
  const int two = 2, twice[2] = {2, 2};
  const auto x = values<T>(2, 1), y0 = values<T>(3, 2);
  auto nan_x = x;
  std::memset(static_cast<void *>(nan_x.data()), 0xFF, 2 * sizeof(T));  // all parts NaN
  for (T z : zeros) {
    auto y = y0;
    axpyi(&two, &z, nan_x.data(), twice, y.data());
    EXPECT_TRUE(same_bits(y, y0));
  }
  for (T p : proceeding) {
    auto y = y0;
    axpyi(&two, &p, x.data(), twice, y.data());
    EXPECT_FALSE(same_bits(y, y0));
  }
}

TEST(SparseAxpyi, MatchesLoopAndQuickReturns) {
  const float fn = std::numeric_limits<float>::quiet_NaN();
  const double dn = std::numeric_limits<double>::quiet_NaN();
  check_axpyi<float>(tav_saxpyi, -0.8235294117647058f, {0.0f, -0.0f, fn}, {});
  check_axpyi<double>(tav_daxpyi, -0.8235294117647058, {0.0, -0.0, dn}, {});
  check_axpyi<tav_complex8>(tav_caxpyi, {0.6f, -1.7f}, {{0, 0}, {-0.0f, 0}, {fn, 0}, {0, fn}, {fn, fn}},
                            {{0, 1}, {fn, 1}});
  check_axpyi<tav_complex16>(tav_zaxpyi, {0.6, -1.7}, {{0, 0}, {-0.0, 0}, {dn, 0}, {0, dn}, {dn, dn}},
                             {{0, 1}, {dn, 1}});
}

// ---- dot products -------------------------------------------------------------

// tav_sdoti's running sum is a float after every element. In rounds of 4 (from
// nz 6) the first element of a round is added to the exact product and
// rounded once; the other three add a product already rounded to float.
float sdoti_expected(const std::vector<float> &x, const std::vector<int> &indx, const std::vector<float> &y, int nz) {
  const int in_rounds = nz >= 6 ? nz / 4 * 4 : 0;
  float sum = 0;
  for (int i = 0; i < nz; ++i) {
    const float yj = y[indx[i] - 1];
    if (i < in_rounds && i % 4 != 0)
      sum = sum + x[i] * yj;  // float product, float sum
    else
      sum = (float)((xreal)sum + (xreal)x[i] * (xreal)yj);
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
    auto x = values<C>(nz, 100 + nz);
    auto y = values<C>(dense_length, 110 + nz);
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
    auto y = values<T>(dense_length, 130 + nz);
    auto indx = positions(nz, 140 + nz);
    std::vector<T> x = values<T>(nz, 135 + nz), x_want = x;
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
    auto xs = values<T>(nz, 150 + nz);
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

TEST(SparseMoves, ComplexMovesKeepBitPatterns) {
  // Complex elements move as integer words: signalling NaN payloads and -0 survive.
  const std::uint32_t snan32 = 0x7F800123u, neg_zero32 = 0x80000000u;
  tav_complex8 yc[2] = {{1, 2}, {tavtest::float_from_bits(snan32), -0.0f}}, xc[1];
  const int one = 1, at2[1] = {2};
  tav_cgthrz(&one, yc, xc, at2);
  EXPECT_EQ(bits_of(xc[0].re), snan32);
  EXPECT_EQ(bits_of(xc[0].im), neg_zero32);
  EXPECT_EQ(bits_of(yc[1].re), 0u);
  EXPECT_EQ(bits_of(yc[1].im), 0u);
  tav_csctr(&one, xc, at2, yc);
  EXPECT_EQ(bits_of(yc[1].re), snan32);

  const std::uint64_t snan64 = 0x7FF0000000000abcull;
  tav_complex16 yz[1] = {{tavtest::double_from_bits(snan64), tavtest::double_from_bits(snan64)}}, xz[1];
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
