// tav_cfft1d against a long double reference DFT, and the properties of its
// isign values, alignments and threads.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fft/cfft1d_kernels.h"
#include "fft/fft_tables.h"
#include "frame/xreal.h"
#include "support/buffers.h"
#include "tav_q7.h"

namespace {

using tavtest::Buffer;
using cld = std::complex<long double>;

// Plain product (the library's operator* checks for infinities on every call).
cld times(cld a, cld b) {
  return cld(a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real());
}

// Reference DFT with kernel sign `sign`: naive up to 2^8, otherwise a radix-2
// FFT whose twiddles are each computed directly in long double.
std::vector<cld> reference_dft(const std::vector<cld> &x, int sign) {
  const int n = static_cast<int>(x.size());
  const long double pi = 3.141592653589793238462643383279502884L;
  if (n <= 256) {
    std::vector<cld> y(n);
    for (int k = 0; k < n; ++k) {
      cld sum = 0;
      for (int j = 0; j < n; ++j) {
        long double angle = sign * 2 * pi * static_cast<long double>((static_cast<long long>(j) * k) % n) / n;
        sum += times(x[j], cld(std::cos(angle), std::sin(angle)));
      }
      y[k] = sum;
    }
    return y;
  }
  std::vector<cld> y(n);
  int bits = 0;
  while ((1 << bits) < n) ++bits;
  for (int i = 0; i < n; ++i) {
    int r = 0;
    for (int b = 0; b < bits; ++b) r |= ((i >> b) & 1) << (bits - 1 - b);
    y[r] = x[i];
  }
  for (int len = 2; len <= n; len *= 2) {
    std::vector<cld> w(len / 2);
    for (int j = 0; j < len / 2; ++j) {
      long double angle = sign * 2 * pi * j / len;
      w[j] = cld(std::cos(angle), std::sin(angle));
    }
    for (int base = 0; base < n; base += len)
      for (int j = 0; j < len / 2; ++j) {
        cld u = y[base + j], v = times(y[base + j + len / 2], w[j]);
        y[base + j] = u + v;
        y[base + j + len / 2] = u - v;
      }
  }
  return y;
}

// Complex data as floats, with its table, both at chosen offsets.
struct problem {
  int n;
  Buffer<float> data;
  Buffer<float> wsave;
  problem(int n_, std::uint32_t seed, std::size_t data_offset = 0, std::size_t wsave_offset = 0)
      : n(n_), data(tavtest::random_buffer<float>(2 * static_cast<std::size_t>(n_), data_offset, seed, 2)),
        wsave(3 * static_cast<std::size_t>(n_) + 64, wsave_offset) {  // 12n + 256 bytes
    call(0);
  }
  void call(int isign) { tav_cfft1d(reinterpret_cast<tav_complex8 *>(data.data()), &n, &isign, wsave.data()); }
  std::vector<cld> values() const {
    std::vector<cld> v(n);
    for (int i = 0; i < n; ++i) v[i] = cld(data[2 * i], data[2 * i + 1]);
    return v;
  }
};

double relative_rms(const std::vector<cld> &got, const std::vector<cld> &want) {
  long double err = 0, norm = 0;
  for (std::size_t i = 0; i < got.size(); ++i) {
    err += std::norm(got[i] - want[i]);
    norm += std::norm(want[i]);
  }
  return static_cast<double>(std::sqrt(err / norm));
}

int reverse_bits(int i, int n) {
  int r = 0;
  for (int bit = n >> 1; bit >= 1; bit >>= 1, i >>= 1) r |= (i & 1) ? bit : 0;
  return r;
}

constexpr double eps = 0x1p-24;

// Forward and backward errors stay within log2(n) units of single rounding
// for every length from 2 to 2^20, across all three size classes.
TEST(Cfft1d, ForwardAndBackwardMatchReferenceDft) {
  for (int m = 1; m <= 20; ++m) {
    const int n = 1 << m;
    problem p(n, 100 + m);
    const std::vector<cld> input = p.values();
    const double bound = 0.5 * m * eps;

    p.call(-1);
    const std::vector<cld> reference = reference_dft(input, -1);
    EXPECT_LT(relative_rms(p.values(), reference), bound) << "forward n=" << n;

    // The backward transform at k is the forward one at n - k, divided by n.
    problem b(n, 100 + m);
    b.call(1);
    std::vector<cld> want(n);
    for (int k = 0; k < n; ++k) want[k] = reference[(n - k) % n] / static_cast<long double>(n);
    EXPECT_LT(relative_rms(b.values(), want), bound) << "backward n=" << n;

    p.call(1);
    EXPECT_LT(relative_rms(p.values(), input), 2 * bound) << "round trip n=" << n;
  }
}

// isign -2 leaves the forward result in bit-reversed order and +2 takes that
// order back; the pair returns the input, and the permutation is the only
// difference from -1 and +1. Any other sign acts as -1 or +1. The array may be
// only 8-byte aligned and the table anywhere: the results are the same bits.
TEST(Cfft1d, SignsAndAlignments) {
  for (int m : {1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12, 13, 15, 16, 17}) {
    const int n = 1 << m;
    problem natural(n, 7 * m), reversed(n, 7 * m), odd_sign(n, 7 * m);
    problem shifted(n, 7 * m, 1, 1), eight(n, 7 * m, 2, 7);  // data 4 and 8 bytes past 64, table 4 and 28
    const std::vector<cld> input = natural.values();
    for (int round = 0; round < 2; ++round) {  // the misaligned copies take -1/+1, then -2/+2, and vice versa
      problem &with_natural = round == 0 ? shifted : eight, &with_reversed = round == 0 ? eight : shifted;
      natural.call(-1);
      reversed.call(-2);
      odd_sign.call(-7);
      with_natural.call(-1);
      with_reversed.call(-2);
      EXPECT_TRUE(odd_sign.data.same_bits(natural.data)) << "n=" << n;
      EXPECT_TRUE(with_natural.data.same_bits(natural.data)) << "n=" << n << " round " << round;
      EXPECT_TRUE(with_reversed.data.same_bits(reversed.data)) << "n=" << n << " round " << round;
      for (int i = 0; i < n; ++i) {
        int j = reverse_bits(i, n);
        ASSERT_EQ(tavtest::bits_of(reversed.data[2 * j]), tavtest::bits_of(natural.data[2 * i])) << "n=" << n;
        ASSERT_EQ(tavtest::bits_of(reversed.data[2 * j + 1]), tavtest::bits_of(natural.data[2 * i + 1]));
      }
      natural.call(1);
      reversed.call(2);
      odd_sign.call(5);
      with_natural.call(1);
      with_reversed.call(2);
      for (const problem *p : {&reversed, &odd_sign, &shifted, &eight})
        EXPECT_TRUE(p->data.same_bits(natural.data)) << "n=" << n << " round " << round;
      if (round == 0) {
        EXPECT_LT(relative_rms(reversed.values(), input), 2.0 * m * eps) << "n=" << n;
      }
    }
  }
}

// ---- 16 points, step by step -------------------------------------------------

struct cf {
  float re, im;
};
cf operator+(cf a, cf b) { return {a.re + b.re, a.im + b.im}; }
cf operator-(cf a, cf b) { return {a.re - b.re, a.im - b.im}; }
cf times_w(cf a, cf w) { return {a.re * w.re - a.im * w.im, a.re * w.im + a.im * w.re}; }
cf times_conj_w(cf a, cf w) { return {a.re * w.re + a.im * w.im, a.im * w.re - a.re * w.im}; }

struct cx {
  tav::xreal re, im;
};
cx widen(cf a) { return {static_cast<tav::xreal>(a.re), static_cast<tav::xreal>(a.im)}; }
cf round_down(cx a) { return {static_cast<float>(a.re), static_cast<float>(a.im)}; }

// w^j, w^2j, w^3j of the 16-point stage table for j = 0..3.
cf stage16(int power, int j) {
  const float *t = tav::cfft1d_stage_table(4);
  return {t[8 * (power - 1) + j], t[8 * (power - 1) + 4 + j]};
}

// Forward: a radix-4 stage of single roundings, then per four-point block
// extended sums rounded once, then the bit reversal.
std::vector<cf> forward16(const std::vector<cf> &x) {
  std::vector<cf> y(16), z(16), out(16);
  for (int j = 0; j < 4; ++j) {
    cf s02 = x[j] + x[j + 8], d02 = x[j] - x[j + 8], s13 = x[j + 4] + x[j + 12], d13 = x[j + 4] - x[j + 12];
    y[j] = s02 + s13;
    y[j + 4] = times_w(s02 - s13, stage16(2, j));
    y[j + 8] = times_w({d02.re + d13.im, d02.im - d13.re}, stage16(1, j));
    y[j + 12] = times_w({d02.re - d13.im, d02.im + d13.re}, stage16(3, j));
  }
  for (int b = 0; b < 16; b += 4) {
    cx y0 = widen(y[b]), y1 = widen(y[b + 1]), y2 = widen(y[b + 2]), y3 = widen(y[b + 3]);
    cx s02{y0.re + y2.re, y0.im + y2.im}, d02{y0.re - y2.re, y0.im - y2.im};
    cx s13{y1.re + y3.re, y1.im + y3.im}, d13{y1.re - y3.re, y1.im - y3.im};
    z[b] = round_down({s02.re + s13.re, s02.im + s13.im});
    z[b + 1] = round_down({s02.re - s13.re, s02.im - s13.im});
    z[b + 2] = round_down({d02.re + d13.im, d02.im - d13.re});
    z[b + 3] = round_down({d02.re - d13.im, d02.im + d13.re});
  }
  for (int k = 0; k < 16; ++k) out[reverse_bits(k, 16)] = z[k];
  return out;
}

// Backward: the bit reversal, extended four-point sums rounded once, then a
// radix-4 stage with conjugate twiddles and the scale, each step single.
std::vector<cf> backward16(const std::vector<cf> &x) {
  std::vector<cf> y(16), z(16), out(16);
  for (int k = 0; k < 16; ++k) y[k] = x[reverse_bits(k, 16)];
  for (int b = 0; b < 16; b += 4) {
    cx y0 = widen(y[b]), y1 = widen(y[b + 1]), y2 = widen(y[b + 2]), y3 = widen(y[b + 3]);
    cx s{y0.re + y1.re, y0.im + y1.im}, d{y0.re - y1.re, y0.im - y1.im};
    cx e{y2.re + y3.re, y2.im + y3.im}, f{y2.re - y3.re, y2.im - y3.im};
    z[b] = round_down({s.re + e.re, s.im + e.im});
    z[b + 1] = round_down({d.re - f.im, d.im + f.re});
    z[b + 2] = round_down({s.re - e.re, s.im - e.im});
    z[b + 3] = round_down({d.re + f.im, d.im - f.re});
  }
  const float scale = 1.0f / 16;
  for (int j = 0; j < 4; ++j) {
    cf y0 = z[j], c1 = times_conj_w(z[j + 4], stage16(2, j));
    cf c2 = times_conj_w(z[j + 8], stage16(1, j)), c3 = times_conj_w(z[j + 12], stage16(3, j));
    cf s = y0 + c1, d = y0 - c1, e = c2 + c3, f = c2 - c3;
    const cf results[4] = {s + e, {d.re - f.im, d.im + f.re}, s - e, {d.re + f.im, d.im - f.re}};
    for (int q = 0; q < 4; ++q) out[j + 4 * q] = {results[q].re * scale, results[q].im * scale};
  }
  return out;
}

// Blocks of values within 2^27 of each other and blocks spread far wider (and
// zeros) all give the bits of this order of operations. Then two hand cases:
// 1 + 2^-24 + 2^-60 rounds up to 1 + 2^-23 when summed in extended precision
// and ties down to 1 through a double sum, so the first block must take the
// extended road, in both directions (elements 0, 1, 2 reach block 0 forward;
// 0, 8, 4 backward).
TEST(Cfft1d, SixteenPointsFollowTheirOrderOfOperations) {
  for (int trial = 0; trial < 42; ++trial) {
    problem p(16, 900 + trial);
    int isign = trial % 4 < 2 ? -1 : 1;
    if (trial < 40) {
      tavtest::fill_random(p.data.data(), 32, 900 + trial, trial % 2 == 0 ? 3 : 45);
      if (trial % 5 == 4) p.data[2] = p.data[9] = 0.0f, p.data[20] = -0.0f;
    } else {
      isign = trial == 40 ? -1 : 1;
      std::fill(p.data.data(), p.data.data() + 32, 0.0f);
      p.data[0] = 1.0f;
      p.data[isign < 0 ? 2 : 16] = 0x1p-24f;
      p.data[isign < 0 ? 4 : 8] = 0x1p-60f;
    }
    std::vector<cf> x(16);
    for (int k = 0; k < 16; ++k) x[k] = {p.data[2 * k], p.data[2 * k + 1]};
    const std::vector<cf> want = isign < 0 ? forward16(x) : backward16(x);
    if (trial >= 40 && sizeof(tav::xreal) > sizeof(double)) {
      EXPECT_EQ(want[0].re, isign < 0 ? 1.0f + 0x1p-23f : (1.0f + 0x1p-23f) / 16);
    }
    p.call(isign);
    for (int k = 0; k < 16; ++k) {
      EXPECT_EQ(tavtest::bits_of(p.data[2 * k]), tavtest::bits_of(want[k].re)) << "trial " << trial << " k " << k;
      EXPECT_EQ(tavtest::bits_of(p.data[2 * k + 1]), tavtest::bits_of(want[k].im)) << "trial " << trial << " k " << k;
    }
  }
}

// Lengths 1, 0 and negative return at once and write nothing, isign 0 included.
TEST(Cfft1d, NoLengthTouchesNothing) {
  for (int n : {1, 0, -4}) {
    float data[4] = {1.5f, -2.5f, 3.5f, 4.5f};
    Buffer<float> wsave(64);
    for (int isign : {0, -1, 1}) tav_cfft1d(reinterpret_cast<tav_complex8 *>(data), &n, &isign, wsave.data());
    EXPECT_EQ(data[0], 1.5f);
    EXPECT_EQ(data[1], -2.5f);
    for (std::size_t i = 0; i < wsave.size(); ++i) EXPECT_EQ(tavtest::bits_of(wsave[i]), 0u);
  }
}

std::vector<float> serial_result(int n, std::uint32_t seed, int isign) {
  problem p(n, seed);
  const int m = tav::fft_log2(n);
  tav::cfft1d_seq(p.data.data(), &n, &isign, tav::fft_table_base(p.wsave.data()), &m);
  return p.data.to_vector();
}

// With two threads the parts give the serial core's bits wherever the two
// split the levels alike (one top level: 2^11 .. 2^16 here).
TEST(Cfft1d, ThreadedPartsEqualSerialCore) {
  if (omp_get_num_procs() < 2) GTEST_SKIP() << "one processor: the transform stays serial";
  const int saved = omp_get_max_threads();
  omp_set_num_threads(2);
  for (int m : {11, 12, 16}) {
    const int n = 1 << m;
    for (int isign : {-1, 1}) {
      problem p(n, 3 * m + isign);
      p.call(isign);
      EXPECT_EQ(p.data.to_vector(), serial_result(n, 3 * m + isign, isign)) << "n=" << n << " isign=" << isign;
    }
  }
  omp_set_num_threads(saved);
}

// The threaded split with any number of parts, run part after part on this
// thread: q top levels over the whole array, the parts, the permutation.
void split_transform(problem &p, int isign, int q) {
  const int n = p.n, m = tav::fft_log2(n), n2 = n >> q;
  const unsigned char *w = tav::fft_table_base(p.wsave.data());
  const unsigned char *t2 = w + tav::cfft1d_short_list_offset(n);
  const bool tiers = m > tav::levels_max_log;
  float *r = p.data.data();
  auto part = [&](int t) { return r + 2 * static_cast<std::size_t>(n2) * t; };
  if (isign < 0) {
    if (tiers)
      tav::cfft1d_fwd_top(r, &n, &q, t2);
    else
      tav::cfft1d_fwd_levels(r, &n, &q, w);
    for (int t = 0; t < (1 << q); ++t)
      (tiers ? tav::cfft1d_fwd_part : tav::cfft1d_fwd_levels_part)(part(t), &n2, w, &q, &m, t);
    tav::cfft1d_bitrev(r, &n, w);
    return;
  }
  tav::cfft1d_bitrev(r, &n, w);
  for (int t = 0; t < (1 << q); ++t)
    (tiers ? tav::cfft1d_bwd_part : tav::cfft1d_bwd_levels_part)(part(t), &n2, w, &q, &m, t);
  const float scale = 1.0f / static_cast<float>(n);
  if (tiers)
    tav::cfft1d_bwd_top(r, &n, &q, t2, &scale);
  else
    tav::cfft1d_bwd_levels(r, &n, &q, w);
}

// Two to eight parts, as larger machines would run them: the serial bits where
// the split cuts the levels as the serial core does (all lengths up to 2^15,
// and q = m - 15 above), the reference's accuracy everywhere.
TEST(Cfft1d, AnyNumberOfPartsGivesTheTransform) {
  const int cases[][2] = {{11, 1}, {12, 2}, {14, 3}, {16, 1}, {17, 2}, {17, 1}, {18, 3}, {18, 2}};
  for (const auto &c : cases) {
    const int m = c[0], q = c[1], n = 1 << m;
    const bool same_cut = m <= tav::levels_max_log || q == m - tav::tier_32k_log;
    for (int isign : {-1, 1}) {
      problem p(n, 70 + m + q);
      const std::vector<cld> input = p.values();
      split_transform(p, isign, q);
      if (same_cut) {
        EXPECT_EQ(p.data.to_vector(), serial_result(n, 70 + m + q, isign)) << "m=" << m << " q=" << q;
        continue;
      }
      std::vector<cld> want = reference_dft(input, isign < 0 ? -1 : 1);
      if (isign > 0)
        for (cld &v : want) v /= static_cast<long double>(n);
      EXPECT_LT(relative_rms(p.values(), want), 0.5 * m * eps) << "m=" << m << " q=" << q << " isign=" << isign;
    }
  }
}

// From inside the caller's parallel region each call runs on its own thread
// and gives the serial result.
TEST(Cfft1d, InsideParallelRegionStaysSerial) {
  const int n = 1 << 13;
  const std::vector<float> want = serial_result(n, 55, -1);
  int mismatches = 0;
#pragma omp parallel num_threads(2) reduction(+ : mismatches)
  {
    problem p(n, 55);
    p.call(-1);
    if (p.data.to_vector() != want) ++mismatches;
  }
  EXPECT_EQ(mismatches, 0);
}

}  // namespace
