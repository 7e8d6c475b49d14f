// The transform tables byte for byte: header, placement from W, the regions of
// each family, the reversal data and the static stage tables.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fft/cfft1d_kernels.h"
#include "fft/fft_tables.h"
#include "frame/xreal.h"
#include "support/buffers.h"

namespace {

using tav::xreal;
constexpr unsigned char sentinel = 0xA5;

// A table of `bytes` whose wsave lies `offset` bytes past a 64-byte boundary.
struct area {
  tavtest::Buffer<unsigned char> raw;
  explicit area(std::size_t bytes, std::size_t offset = 0) : raw(bytes + 64, offset) {
    std::memset(raw.data(), sentinel, raw.size());
  }
  unsigned char *wsave() { return raw.data(); }
  const unsigned char *w() { return tav::fft_table_base(raw.data()); }
  // Bytes [from, to) relative to wsave still hold the sentinel.
  bool untouched(std::size_t from, std::size_t to) const {
    for (std::size_t i = from; i < to; ++i)
      if (raw[i] != sentinel) return false;
    return true;
  }
};

template <class T>
T read(const unsigned char *p, std::size_t index = 0) {
  T v;
  std::memcpy(&v, p + index * sizeof(T), sizeof v);
  return v;
}

xreal two_pi() { return static_cast<xreal>(std::atan(1.0)) * 8; }

// Angles k * 2pi/n for k = 0 .. count-1, each made by adding the step to the last.
std::vector<xreal> stepped_angles(int n, int count) {
  std::vector<xreal> a(count);
  const xreal step = two_pi() / n;
  for (int k = 1; k < count; ++k) a[k] = a[k - 1] + step;
  return a;
}

int rev(int k, int d) {
  int r = 0;
  for (int bit = d >> 1; bit >= 1; bit >>= 1, k >>= 1) r |= (k & 1) ? bit : 0;
  return r;
}

template <class T>
struct cx {
  T re, im;
  bool operator==(const cx &o) const { return tavtest::bits_of(re) == tavtest::bits_of(o.re) && tavtest::bits_of(im) == tavtest::bits_of(o.im); }
};
template <class T>
cx<T> twiddle(xreal a) {
  return {static_cast<T>(std::cos(a)), static_cast<T>(-std::sin(a))};
}
template <class T>
cx<T> product(cx<T> a, cx<T> b) {
  return {static_cast<T>(static_cast<xreal>(a.re) * b.re - static_cast<xreal>(a.im) * b.im),
          static_cast<T>(static_cast<xreal>(a.re) * b.im + static_cast<xreal>(a.im) * b.re)};
}

// E: n/4 twiddles, w^k stored at rev_{n/4}(k).
template <class T>
std::vector<cx<T>> bit_reversed_twiddles(int n) {
  std::vector<xreal> angle = stepped_angles(n, n / 4);
  std::vector<cx<T>> e(n / 4);
  e[0] = {T(1), T(0)};
  for (int k = 1; k < n / 4; ++k) e[rev(k, n / 4)] = twiddle<T>(angle[k]);
  return e;
}

// Groups of six from E, then the short list, checked in a table at w.
template <class T>
void expect_groups(const unsigned char *w, int n, std::size_t short_list_bytes, bool skip_first_short_entry) {
  std::vector<cx<T>> e = bit_reversed_twiddles<T>(n);
  const cx<T> *g = reinterpret_cast<const cx<T> *>(w);
  for (int G = 0; G < n / 8; ++G) {
    cx<T> a = e[G], b = e[2 * G], c = e[2 * G + 1], ai{a.im, static_cast<T>(-a.re)};
    const cx<T> want[6] = {a, b, product(a, b), ai, c, product(ai, c)};
    for (int pos = 0; pos < 6; ++pos) {
      if (G == 0 && pos == 0 && sizeof(T) == 8) continue;  // double families put (n, 0) there
      ASSERT_TRUE(g[6 * G + pos] == want[pos]) << "group " << G << " position " << pos;
    }
  }
  const cx<T> *list = reinterpret_cast<const cx<T> *>(w + short_list_bytes);
  // Entry h: (A, B) of the even half-group, (-iA, C) of the odd one, i.e.
  // (E[h]^2 as stored, E[h]).
  for (int h = skip_first_short_entry ? 1 : 0; h < n / 1024; ++h) {
    const cx<T> a = e[h / 2], first = h % 2 == 0 ? a : cx<T>{a.im, static_cast<T>(-a.re)};
    EXPECT_TRUE(list[2 * h] == first) << "short entry " << h;
    EXPECT_TRUE(list[2 * h + 1] == e[h]) << "short entry " << h;
  }
}

TEST(FftTables, TwoAndFourPointsWriteOnlyTheHeader) {
  for (int m : {1, 2}) {
    area single(256), split(256), dbl(256);
    tav::cfft1d_init(&m, single.wsave());
    tav::cfft1dc_init(&m, split.wsave());
    tav::zfft1d_init(&m, dbl.wsave());
    EXPECT_EQ(read<float>(single.wsave()), static_cast<float>(1 << m));
    EXPECT_EQ(read<std::uint32_t>(single.wsave(), 1), 0u);
    EXPECT_TRUE(single.untouched(8, 256));
    EXPECT_EQ(std::memcmp(single.wsave(), split.wsave(), 256), 0);
    EXPECT_EQ(read<double>(dbl.wsave()), static_cast<double>(1 << m));
    EXPECT_EQ(tavtest::bits_of(read<double>(dbl.wsave(), 1)), 0u);
    EXPECT_TRUE(dbl.untouched(16, 256));
  }
}

// W lies 1 to 32 bytes above wsave, on a 32-byte boundary: 28 above a wsave
// 4 bytes past a boundary, 32 above an aligned one.
TEST(FftTables, EightPointsHoldCosPiOver4FromW) {
  const int m = 3;
  area t(256, 4);
  ASSERT_EQ(reinterpret_cast<std::uintptr_t>(t.wsave()) % 32, 4u);
  ASSERT_EQ(t.w(), t.wsave() + 28);
  tav::cfft1d_init(&m, t.wsave());
  const float c = static_cast<float>(std::cos(two_pi() / 8));
  EXPECT_EQ(c, 0.70710677f);
  EXPECT_EQ(read<float>(t.wsave()), 8.0f);
  EXPECT_TRUE(t.untouched(8, 28 + 16));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(read<float>(t.w() + 16, i), c);
  EXPECT_TRUE(t.untouched(28 + 32, 256));

  area split(256, 32);
  ASSERT_EQ(split.w(), split.wsave() + 32);
  tav::cfft1dc_init(&m, split.wsave());
  EXPECT_EQ(read<float>(split.w() + 32), c);
  EXPECT_TRUE(split.untouched(8, 64));
  EXPECT_TRUE(split.untouched(68, 256));
}

// 1024 points: header and reversal lists only. 2048: one level table at W;
// 4096: a second level follows at once. The reversal lists start at 8n.
TEST(FftTables, LevelTablesFrom2048) {
  for (int m : {10, 11, 12}) {
    const int n = 1 << m;
    area t(12 * n + 256, 8);
    tav::cfft1d_init(&m, t.wsave());
    const std::size_t w = t.w() - t.wsave();
    std::size_t level_start = 0;
    for (int k = 0; k <= m - 11; ++k) {
      const int nk = n >> k;
      std::vector<xreal> angle = stepped_angles(nk, nk / 4);
      const unsigned char *level = t.w() + level_start;
      EXPECT_EQ(read<float>(level, 0), 1.0f);
      EXPECT_EQ(tavtest::bits_of(read<float>(level, 4)), 0u);
      for (int j = 1; j < nk / 4; ++j) {
        const std::size_t at = 8 * (j / 4) + j % 4;
        ASSERT_EQ(read<float>(level, at), static_cast<float>(std::cos(angle[j]))) << "level " << k << " j " << j;
        ASSERT_EQ(read<float>(level, at + 4), static_cast<float>(-std::sin(angle[j]))) << "level " << k << " j " << j;
      }
      level_start += 2 * nk;
    }
    EXPECT_TRUE(t.untouched(8, w)) << "m=" << m;
    EXPECT_TRUE(t.untouched(w + level_start, w + 8 * n)) << "m=" << m;
    EXPECT_EQ(read<std::int32_t>(t.w() + 8 * n, 1), n / 16);
  }
}

// 65536 points: groups at W, the constant block at 6n, the short list at 6n+64.
TEST(FftTables, GroupsShortListAndConstantsAt65536) {
  const int m = 16, n = 1 << m;
  area t(12 * n + 256, 12);
  tav::cfft1d_init(&m, t.wsave());
  expect_groups<float>(t.w(), n, 6 * n + 64, true);
  const unsigned char *k = t.w() + 6 * n;
  const float c4 = static_cast<float>(std::cos(two_pi() / 8));
  const cx<float> e2 = bit_reversed_twiddles<float>(n)[2];  // w^(n/16): cos(pi/8), -sin(pi/8)
  EXPECT_EQ(e2.re, static_cast<float>(std::cos(two_pi() / 16)));
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(read<float>(k, i), c4);
    EXPECT_EQ(read<float>(k, 4 + i), e2.re);
    EXPECT_EQ(read<float>(k, 8 + i), e2.im);
    EXPECT_EQ(read<float>(k, 16 + i), c4);
  }
  const std::size_t w = t.w() - t.wsave();
  EXPECT_TRUE(t.untouched(w + 6 * n + 48, w + 6 * n + 64));
  // Short-list entry 1 lies behind the 16 bytes of constants over entry 0.
  EXPECT_EQ(read<float>(k, 20), read<float>(t.w(), 6));
}

// 64 points, worked by hand: first list rev_16(t) for t < 4, n/8 integers
// left, second list {1}, third list the one pair (55, 59).
TEST(FftTables, ReversalListsOf64Points) {
  const int m = 6, n = 64;
  area t(12 * n + 256);
  tav::cfft1d_init(&m, t.wsave());
  const unsigned char *list = t.w() + 8 * n;
  const std::vector<std::int32_t> head = {0, 4, 0, 8, 4, 12};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(read<std::int32_t>(list, i), head[i]) << i;
  const std::size_t w = t.w() - t.wsave();
  EXPECT_TRUE(t.untouched(w + 8 * n + 24, w + 8 * n + 56));
  const std::vector<std::int32_t> tail = {0, 1, 1, 0, 1, 55, 59};
  for (int i = 0; i < 7; ++i) EXPECT_EQ(read<std::int32_t>(list, 14 + i), tail[i]) << i;
}

// The full lists and the three forms of pairs against a brute-force count.
TEST(FftTables, FullListsAndPairs) {
  const int n = 2048;
  std::vector<std::int32_t> list(n, -1);
  tav::fft_bitrev_lists_init(list.data(), n);
  EXPECT_EQ(list[1], n / 16);
  for (int t = 0; t < 3 * n / 16; ++t) ASSERT_EQ(list[2 + t], rev(t, n / 4));
  int c2 = 0;
  for (int t = 0; t < n / 16; ++t) c2 += t < rev(t, n / 16);
  EXPECT_EQ(list[3 * n / 16 + 3], c2);
  const int h = 3 * n / 16 + 4 + c2;
  int c3 = 0;
  for (int i = 3 * n / 4; i < n; ++i)
    if (i < rev(i, n)) {
      EXPECT_EQ(list[h + 2 + 2 * c3], i);
      EXPECT_EQ(list[h + 3 + 2 * c3], rev(i, n));
      ++c3;
    }
  EXPECT_EQ(list[h + 1], c3);

  const int small = 32;
  std::vector<std::int32_t> plain(64), twice(64), doubled(64);
  tav::fft_swap_pairs_init(plain.data(), small, tav::swap_pairs_form::plain);
  tav::fft_swap_pairs_init(doubled.data(), small, tav::swap_pairs_form::doubled_index);
  tav::fft_swap_pairs_init(twice.data(), small, tav::swap_pairs_form::doubled_count);
  const std::vector<std::int32_t> first_pairs = {1, 16, 2, 8, 3, 24};
  EXPECT_EQ(plain[1], 12);
  EXPECT_EQ(twice[1], 24);
  EXPECT_EQ(doubled[1], 12);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(plain[2 + i], first_pairs[i]);
    EXPECT_EQ(twice[2 + i], first_pairs[i]);
    EXPECT_EQ(doubled[2 + i], 2 * first_pairs[i]);
  }
}

// The double family (groups at W, lists at 16n, the short list at 20n), the
// split families (short list at 12n or 6n), the natural sections of small
// split double tables and the lists of a small split single table.
TEST(FftTables, DoubleAndSplitFamilies) {
  const int m5 = 5, m6 = 6, m10 = 10, m11 = 11, n = 1 << m10;
  area dbl(16 * (3 * n / 2 + 32) + 64), split_d(8 * (3 * n + 32) + 64), split_s(4 * (6 * n + 32) + 64);
  area small_d(8 * (3 * 64 + 32) + 64), small_s(4 * (3 * 32 + 32) + 64);
  tav::zfft1d_init(&m10, dbl.wsave());
  tav::zfft1dc_init(&m10, split_d.wsave());
  tav::cfft1dc_init(&m11, split_s.wsave());
  tav::zfft1dc_init(&m6, small_d.wsave());
  tav::cfft1dc_init(&m5, small_s.wsave());
  EXPECT_EQ(read<double>(dbl.wsave()), 1024.0);
  EXPECT_EQ(read<double>(dbl.w(), 0), 1024.0);
  EXPECT_EQ(read<double>(dbl.w(), 1), 0.0);
  expect_groups<double>(dbl.w(), n, 20 * n, false);
  EXPECT_EQ(read<std::int32_t>(dbl.w() + 16 * n, 1), n / 16);
  EXPECT_EQ(read<std::int32_t>(dbl.w() + 16 * n, 2 + 3 * n / 16 - 1), rev(3 * n / 16 - 1, n / 4));
  EXPECT_EQ(read<double>(split_d.w(), 0), 1024.0);
  expect_groups<double>(split_d.w(), n, 12 * n, false);
  expect_groups<float>(split_s.w(), 2 * n, 12 * n, false);
  EXPECT_EQ(read<std::int32_t>(split_s.w() + 16 * n, 1), 2 * n / 16);
  {
    // Natural sections: w^k, its stored square, the product of the two stored.
    std::vector<xreal> angle = stepped_angles(64, 16);
    const cx<double> *s = reinterpret_cast<const cx<double> *>(small_d.w());
    const std::size_t w = small_d.w() - small_d.wsave();
    EXPECT_TRUE(small_d.untouched(w, w + 16));
    EXPECT_TRUE(small_d.untouched(w + 16 * 16, w + 16 * 16 + 16));
    for (int k = 1; k < 16; ++k) {
      cx<double> w1 = twiddle<double>(angle[k]);
      cx<double> w2 = product(w1, w1);
      EXPECT_TRUE(s[k] == w1) << k;
      EXPECT_TRUE(s[16 + k] == w2) << k;
      EXPECT_TRUE(s[32 + k] == product(w1, w2)) << k;
    }
    EXPECT_EQ(read<std::int32_t>(small_d.w() + 16 * 64, 1), 2 * 28);
  }
  const std::size_t w = small_s.w() - small_s.wsave();
  EXPECT_TRUE(small_s.untouched(8, w + 2 * 32));
  EXPECT_EQ(read<std::int32_t>(small_s.w() + 2 * 32, 1), 12);
  EXPECT_EQ(read<std::int32_t>(small_s.w() + 2 * 32, 3), 16);
}

// R for N = 32: pairs (0.5 cos(i pi/N), 0.5 (1 - sin(i pi/N))) from R or R + 1,
// blocks of four from a 16-byte boundary rewritten A1 A0 A3 A2 B1 B0 B3 B2.
TEST(FftTables, RealTwiddles) {
  const int m = 5, big_n = 32;
  std::vector<xreal> angle = stepped_angles(2 * big_n, big_n / 2);
  auto pair_of = [&](int e) {
    int i = e + 1;
    return std::vector<float>{static_cast<float>(static_cast<xreal>(0.5) * std::cos(angle[i])),
                              static_cast<float>(static_cast<xreal>(0.5) * (1 - std::sin(angle[i])))};
  };
  for (std::size_t offset : {0u, 2u, 1u}) {  // floats past 64 bytes: 16-aligned, 8 mod 16, 4 mod 8
    tavtest::Buffer<float> r(64, offset);
    tav::rfft_twiddle_init_s(r.data(), &m);
    const float *entries = r.data() + (offset == 1 ? 1 : 0);
    const int start = offset == 0 ? 4 : 3;
    EXPECT_EQ(r[big_n - 1], 32.0f);
    for (int e = 0; e < big_n / 2 - 1; ++e) {
      const int block = e >= start ? (e - start) / 4 : -1;
      const bool vector_form = block >= 0 && start + 4 * block + 1 <= big_n / 2 - 4;
      if (!vector_form) {
        EXPECT_EQ(entries[2 * e], pair_of(e)[0]) << offset << " " << e;
        EXPECT_EQ(entries[2 * e + 1], pair_of(e)[1]) << offset << " " << e;
        continue;
      }
      const int first = start + 4 * block, lane = e - first;
      const float *b = entries + 2 * first;
      const int swapped = lane ^ 1;  // A1 A0 A3 A2 then B1 B0 B3 B2
      EXPECT_EQ(b[swapped], pair_of(e)[0]) << offset << " " << e;
      EXPECT_EQ(b[4 + swapped], pair_of(e)[1]) << offset << " " << e;
    }
  }
  std::vector<double> rd(32);
  tav::rfft_twiddle_init_d(rd.data(), &m);
  EXPECT_EQ(rd[31], 32.0);
  EXPECT_EQ(rd[2 * 4], static_cast<double>(static_cast<xreal>(0.5) * std::cos(angle[5])));
}

// Stages of 2^10 down to 2^4 follow each other, 6 * 2^s bytes each, then the
// tail of size 8; group g holds w^j, w^2j, w^3j for j = 4g .. 4g+3.
TEST(FftTables, StaticStageTables) {
  const float *top = tav::cfft1d_stage_table(10);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(top) % 32, 0u);
  for (int s = 4; s <= 10; ++s) EXPECT_EQ(tav::cfft1d_stage_table(s) - top, 6 * ((1 << 11) - (1 << (s + 1))) / 4);
  EXPECT_EQ(tav::cfft1d_stage_table(3) - top, 6 * ((1 << 11) - (1 << 4)) / 4);
  const float *stage = tav::cfft1d_stage_table(6);
  const int j = 5;
  for (int power = 1; power <= 3; ++power) {
    const float c = stage[24 * (j / 4) + 8 * (power - 1) + j % 4];
    const float s = stage[24 * (j / 4) + 8 * (power - 1) + 4 + j % 4];
    EXPECT_NEAR(c, std::cos(2 * M_PI * power * j / 64), 6e-8) << power;
    EXPECT_NEAR(s, -std::sin(2 * M_PI * power * j / 64), 6e-8) << power;
  }
  EXPECT_EQ(stage[0], 1.0f);
  const float *tail = tav::cfft1d_stage_table(3);
  const float c4 = 0.70710677f;
  const float want[12] = {1, -0.0f, c4, -c4, 1, -0.0f, 0, -1, 1, -0.0f, -c4, -c4};
  for (int i = 0; i < 12; ++i) EXPECT_EQ(tavtest::bits_of(tail[i]), tavtest::bits_of(want[i])) << i;
}

}  // namespace
