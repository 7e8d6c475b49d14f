// tav_cfft1d against a long double reference DFT, and the properties of its
// isign values, alignments and threads.
#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fft/cfft1d_kernels.h"
#include "fft/fft_tables.h"
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
        wsave(3 * static_cast<std::size_t>(n_) + 80, wsave_offset) {
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
// difference from -1 and +1. Any other sign acts as -1 or +1.
TEST(Cfft1d, SignsSelectDirectionAndPermutation) {
  for (int m : {1, 2, 3, 4, 5, 8, 10, 11, 13, 15, 16, 17}) {
    const int n = 1 << m;
    problem natural(n, 7 * m), reversed(n, 7 * m), odd_sign(n, 7 * m);
    const std::vector<cld> input = natural.values();
    natural.call(-1);
    reversed.call(-2);
    odd_sign.call(-7);
    EXPECT_TRUE(odd_sign.data.same_bits(natural.data)) << "n=" << n;
    for (int i = 0; i < n; ++i) {
      int j = reverse_bits(i, n);
      ASSERT_EQ(tavtest::bits_of(reversed.data[2 * j]), tavtest::bits_of(natural.data[2 * i])) << "n=" << n;
      ASSERT_EQ(tavtest::bits_of(reversed.data[2 * j + 1]), tavtest::bits_of(natural.data[2 * i + 1]));
    }
    natural.call(1);
    reversed.call(2);
    odd_sign.call(5);
    EXPECT_TRUE(reversed.data.same_bits(natural.data)) << "n=" << n;
    EXPECT_TRUE(odd_sign.data.same_bits(natural.data)) << "n=" << n;
    EXPECT_LT(relative_rms(reversed.values(), input), 2.0 * m * eps) << "n=" << n;
  }
}

// The array may be only 8-byte aligned and the table anywhere: the results
// are the same bits.
TEST(Cfft1d, AlignmentsGiveTheSameBits) {
  for (int m : {2, 3, 4, 6, 9, 10, 12, 16}) {
    const int n = 1 << m;
    problem aligned(n, 31 + m);
    problem shifted(n, 31 + m, 1, 1);  // data 4 bytes, table 4 bytes past 64
    problem eight(n, 31 + m, 2, 7);    // data 8 bytes past 64 bytes, table 28
    for (int isign : {-1, 1, -2, 2}) {
      aligned.call(isign);
      shifted.call(isign);
      eight.call(isign);
      EXPECT_TRUE(shifted.data.same_bits(aligned.data)) << "n=" << n << " isign=" << isign;
      EXPECT_TRUE(eight.data.same_bits(aligned.data)) << "n=" << n << " isign=" << isign;
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
  const int saved = omp_get_max_threads();
  omp_set_num_threads(2);
  if (omp_get_num_procs() < 2) GTEST_SKIP() << "one processor: the transform stays serial";
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
