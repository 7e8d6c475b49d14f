// Natural-twiddle kernels of the single-precision transform (n up to 2^15).
//
// Forward, decimation in frequency: a stage of span N combines x[j], x[j+N/4],
// x[j+N/2], x[j+3N/4] and writes (x0+x2)+(x1+x3) to j, ((x0+x2)-(x1+x3)) w^2j
// to j+N/4, ((x0-x2)-i(x1-x3)) w^j to j+N/2 and ((x0-x2)+i(x1-x3)) w^3j to
// j+3N/4, so that the output ends in plain bit-reversed order. An odd log2 n
// starts with one radix-2 stage (x0+x1, (x0-x1) w^j), whose upper half uses the
// same table entries times -i. All of these are four-lane SSE operations, each
// rounded to single. The last two levels are a scalar radix-4 per 32 bytes in
// extended precision, rounded once at the store, which also re-interleaves.
// Backward is the mirror: a scalar extended radix-4 first (which blocks the
// data), then stages of growing span that multiply by the conjugate twiddles
// before the sums; the scale multiplies the outputs of the last stage.
// n = 2, 4, 8 are straight-line extended-precision code.
#include <emmintrin.h>

#include "fft/cfft1d_kernels.h"
#include "fft/cfft1d_vec.h"
#include "fft/fft_tables.h"
#include "frame/xreal.h"

namespace tav {

namespace {

using fftv::form;
using fftv::vc;
constexpr form I = form::interleaved;
constexpr form B = form::blocked;

// Floats per four twiddles: a stage-table group, and a level-table block.
constexpr int stage_stride = 24;
constexpr int level_stride = 8;

template <form In, form Out>
void dif4_pass(float *a, int length, int span, const float *tw) {
  using namespace fftv;
  const int q = span / 4;
  for (int base = 0; base < length; base += span) {
    for (int j = 0; j < q; j += 4) {
      const float *t = tw + stage_stride * (j / 4);
      const int k = base + j;
      vc x0 = load4<In>(a, k), x1 = load4<In>(a, k + q), x2 = load4<In>(a, k + 2 * q), x3 = load4<In>(a, k + 3 * q);
      vc s02 = x0 + x2, d02 = x0 - x2, s13 = x1 + x3, d13 = x1 - x3;
      store4<Out>(a, k, s02 + s13);
      store4<Out>(a, k + q, mul(s02 - s13, load_twiddle(t + 8)));
      store4<Out>(a, k + 2 * q, mul(d02 + times_minus_i(d13), load_twiddle(t)));
      store4<Out>(a, k + 3 * q, mul(d02 + times_i(d13), load_twiddle(t + 16)));
    }
  }
}

template <form In, form Out>
void dit4_pass(float *a, int length, int span, const float *tw, const float *scale) {
  using namespace fftv;
  const int q = span / 4;
  const __m128 s4 = _mm_set1_ps(scale ? *scale : 1.0f);
  for (int base = 0; base < length; base += span) {
    for (int j = 0; j < q; j += 4) {
      const float *t = tw + stage_stride * (j / 4);
      const int k = base + j;
      vc y0 = load4<In>(a, k);
      vc c1 = mul_conj(load4<In>(a, k + q), load_twiddle(t + 8));
      vc c2 = mul_conj(load4<In>(a, k + 2 * q), load_twiddle(t));
      vc c3 = mul_conj(load4<In>(a, k + 3 * q), load_twiddle(t + 16));
      vc s = y0 + c1, d = y0 - c1, e = c2 + c3, u = times_i(c2 - c3);
      vc x0 = s + e, x1 = d + u, x2 = s - e, x3 = d - u;
      if (scale) {
        x0 = scaled(x0, s4);
        x1 = scaled(x1, s4);
        x2 = scaled(x2, s4);
        x3 = scaled(x3, s4);
      }
      store4<Out>(a, k, x0);
      store4<Out>(a, k + q, x1);
      store4<Out>(a, k + 2 * q, x2);
      store4<Out>(a, k + 3 * q, x3);
    }
  }
}

// Radix-2 with a table of span/4 twiddles, `stride` floats per four of them.
template <form In, form Out>
void dif2_pass(float *a, int length, int span, const float *tw, int stride) {
  using namespace fftv;
  const int h = span / 2, q = span / 4;
  for (int base = 0; base < length; base += span) {
    for (int j = 0; j < q; j += 4) {
      vc w = load_twiddle(tw + stride * (j / 4));
      int k = base + j;
      vc x0 = load4<In>(a, k), x1 = load4<In>(a, k + h);
      store4<Out>(a, k, x0 + x1);
      store4<Out>(a, k + h, mul(x0 - x1, w));
      k += q;
      x0 = load4<In>(a, k);
      x1 = load4<In>(a, k + h);
      store4<Out>(a, k, x0 + x1);
      store4<Out>(a, k + h, times_minus_i(mul(x0 - x1, w)));
    }
  }
}

template <form In, form Out>
void dit2_pass(float *a, int length, int span, const float *tw, int stride, const float *scale) {
  using namespace fftv;
  const int h = span / 2, q = span / 4;
  const __m128 s4 = _mm_set1_ps(scale ? *scale : 1.0f);
  auto finish = [&](int k, vc y0, vc b) {
    vc x0 = y0 + b, x1 = y0 - b;
    if (scale) {
      x0 = scaled(x0, s4);
      x1 = scaled(x1, s4);
    }
    store4<Out>(a, k, x0);
    store4<Out>(a, k + h, x1);
  };
  for (int base = 0; base < length; base += span) {
    for (int j = 0; j < q; j += 4) {
      vc w = load_twiddle(tw + stride * (j / 4));
      int k = base + j;
      finish(k, load4<In>(a, k), mul_conj(load4<In>(a, k + h), w));
      k += q;
      finish(k, load4<In>(a, k), times_i(mul_conj(load4<In>(a, k + h), w)));
    }
  }
}

// ---- extended-precision scalar code ------------------------------------------

struct xc {
  xreal re, im;
};
inline xc operator+(xc a, xc b) { return {a.re + b.re, a.im + b.im}; }
inline xc operator-(xc a, xc b) { return {a.re - b.re, a.im - b.im}; }
inline xc times_minus_i(xc a) { return {a.im, -a.re}; }
inline xc times_i(xc a) { return {-a.im, a.re}; }
inline xc xmul(xc a, xc w) { return {a.re * w.re - a.im * w.im, a.re * w.im + a.im * w.re}; }
inline xc xmul_conj(xc a, xc w) { return {a.re * w.re + a.im * w.im, a.im * w.re - a.re * w.im}; }
inline xc xscaled(xc a, xreal s) { return {a.re * s, a.im * s}; }
inline xc widen(float re, float im) { return {static_cast<xreal>(re), static_cast<xreal>(im)}; }
inline xc load_i(const float *a, int k) { return widen(a[2 * k], a[2 * k + 1]); }
inline void store_i(float *a, int k, xc v) {
  a[2 * k] = static_cast<float>(v.re);
  a[2 * k + 1] = static_cast<float>(v.im);
}

// Forward radix-4 without twiddles: y0..y3 in bit-reversed place order.
inline void dif4_x(xc x0, xc x1, xc x2, xc x3, xc y[4]) {
  xc s02 = x0 + x2, d02 = x0 - x2, s13 = x1 + x3, d13 = x1 - x3;
  y[0] = s02 + s13;
  y[1] = s02 - s13;
  y[2] = d02 + times_minus_i(d13);
  y[3] = d02 + times_i(d13);
}
inline void dit4_x(xc y0, xc y1, xc y2, xc y3, xc x[4]) {
  xc s = y0 + y1, d = y0 - y1, e = y2 + y3, u = times_i(y2 - y3);
  x[0] = s + e;
  x[1] = d + u;
  x[2] = s - e;
  x[3] = d - u;
}

// ---- the four-point levels ----------------------------------------------------
//
// These sums are extended-precision sums of four single values, rounded once
// at the store. When the eight values of a block lie within 2^27 of each other
// in magnitude (zeros aside) and are finite, every partial sum of up to four of
// them fits 53 bits exactly, so the extended sums are exact and the same sums in
// packed double precision give the same exact values and the same rounded
// results; such blocks take that faster road. Other blocks run in xreal.

// True when the partial sums of four values from any block of the `vectors`
// vectors at p are exact in double: the largest magnitude finite, and every
// value either zero or at least that magnitude times 2^-27. (A NaN fails the
// second test.)
inline bool sums_exact_in_double(const float *p, int vectors) {
  const __m128 magnitude = _mm_castsi128_ps(_mm_set1_epi32(0x7fffffff));
  __m128 hi = _mm_setzero_ps();
  for (int v = 0; v < vectors; ++v) hi = _mm_max_ps(hi, _mm_and_ps(_mm_loadu_ps(p + 4 * v), magnitude));
  hi = _mm_max_ps(hi, _mm_movehl_ps(hi, hi));
  hi = _mm_max_ss(hi, _mm_shuffle_ps(hi, hi, 1));
  const float largest = _mm_cvtss_f32(hi);
  if (!(largest < __builtin_inff())) return false;
  const __m128 least = _mm_set1_ps(largest * 0x1p-27f), zero = _mm_setzero_ps();
  __m128 ok = _mm_castsi128_ps(_mm_set1_epi32(-1));
  for (int v = 0; v < vectors; ++v) {
    const __m128 ax = _mm_and_ps(_mm_loadu_ps(p + 4 * v), magnitude);
    ok = _mm_and_ps(ok, _mm_or_ps(_mm_cmpge_ps(ax, least), _mm_cmpeq_ps(ax, zero)));
  }
  return _mm_movemask_ps(ok) == 0xf;
}

// Blocks are tested four at a time (one test for 32 values), and one by one
// only when a group of four fails.
constexpr int blocks_per_test = 4;

constexpr bool xreal_is_double = sizeof(xreal) == sizeof(double);

inline __m128d times_i_pd(__m128d v) { return _mm_xor_pd(_mm_shuffle_pd(v, v, 1), _mm_set_pd(0.0, -0.0)); }
inline __m128d times_minus_i_pd(__m128d v) { return _mm_xor_pd(_mm_shuffle_pd(v, v, 1), _mm_set_pd(-0.0, 0.0)); }
inline __m128 pair_of(__m128d lo, __m128d hi) { return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi)); }

// The last two forward levels on one 32-byte block: blocked in, interleaved out.
void dif4_last_block(float *p, bool exact) {
  if (exact) {
    const __m128 re = _mm_loadu_ps(p), im = _mm_loadu_ps(p + 4);
    const __m128 x01 = _mm_unpacklo_ps(re, im), x23 = _mm_unpackhi_ps(re, im);
    const __m128d x0 = _mm_cvtps_pd(x01), x1 = _mm_cvtps_pd(_mm_movehl_ps(x01, x01));
    const __m128d x2 = _mm_cvtps_pd(x23), x3 = _mm_cvtps_pd(_mm_movehl_ps(x23, x23));
    const __m128d s02 = _mm_add_pd(x0, x2), d02 = _mm_sub_pd(x0, x2);
    const __m128d s13 = _mm_add_pd(x1, x3), d13 = _mm_sub_pd(x1, x3);
    _mm_storeu_ps(p, pair_of(_mm_add_pd(s02, s13), _mm_sub_pd(s02, s13)));
    _mm_storeu_ps(p + 4, pair_of(_mm_add_pd(d02, times_minus_i_pd(d13)), _mm_add_pd(d02, times_i_pd(d13))));
    return;
  }
  xc y[4];
  dif4_x(widen(p[0], p[4]), widen(p[1], p[5]), widen(p[2], p[6]), widen(p[3], p[7]), y);
  for (int l = 0; l < 4; ++l) store_i(p, l, y[l]);
}

// The first two backward levels on one block: interleaved in, blocked out.
void dit4_first_block(float *p, bool exact) {
  if (exact) {
    const __m128 y01 = _mm_loadu_ps(p), y23 = _mm_loadu_ps(p + 4);
    const __m128d y0 = _mm_cvtps_pd(y01), y1 = _mm_cvtps_pd(_mm_movehl_ps(y01, y01));
    const __m128d y2 = _mm_cvtps_pd(y23), y3 = _mm_cvtps_pd(_mm_movehl_ps(y23, y23));
    const __m128d s = _mm_add_pd(y0, y1), d = _mm_sub_pd(y0, y1), e = _mm_add_pd(y2, y3);
    const __m128d u = times_i_pd(_mm_sub_pd(y2, y3));
    const __m128 x01 = pair_of(_mm_add_pd(s, e), _mm_add_pd(d, u));
    const __m128 x23 = pair_of(_mm_sub_pd(s, e), _mm_sub_pd(d, u));
    _mm_storeu_ps(p, _mm_shuffle_ps(x01, x23, 0x88));
    _mm_storeu_ps(p + 4, _mm_shuffle_ps(x01, x23, 0xdd));
    return;
  }
  xc x[4];
  dit4_x(load_i(p, 0), load_i(p, 1), load_i(p, 2), load_i(p, 3), x);
  for (int l = 0; l < 4; ++l) {
    p[l] = static_cast<float>(x[l].re);
    p[4 + l] = static_cast<float>(x[l].im);
  }
}

template <class Block>
void four_point_level(float *a, int length, Block block) {
  for (int k = 0; k < length; k += 4 * blocks_per_test) {
    float *group = a + 2 * k;
    const bool all_exact = xreal_is_double || sums_exact_in_double(group, 2 * blocks_per_test);
    for (int i = 0; i < blocks_per_test; ++i) {
      float *p = group + 8 * i;
      block(p, all_exact || sums_exact_in_double(p, 2));
    }
  }
}

void dif4_last(float *a, int length) { four_point_level(a, length, dif4_last_block); }
void dit4_first(float *a, int length) { four_point_level(a, length, dit4_first_block); }

// n = 2, 4, 8, forward.
void fwd_tiny(float *a, int m, const unsigned char *w) {
  if (m == 1) {
    xc x0 = load_i(a, 0), x1 = load_i(a, 1);
    store_i(a, 0, x0 + x1);
    store_i(a, 1, x0 - x1);
    return;
  }
  xc y[4];
  if (m == 2) {
    dif4_x(load_i(a, 0), load_i(a, 1), load_i(a, 2), load_i(a, 3), y);
    for (int l = 0; l < 4; ++l) store_i(a, l, y[l]);
    return;
  }
  const xreal c = static_cast<xreal>(*reinterpret_cast<const float *>(w + cfft1d_small_constant_offset));
  xc u[4], v[4];
  for (int j = 0; j < 4; ++j) {
    xc x0 = load_i(a, j), x1 = load_i(a, j + 4);
    u[j] = x0 + x1;
    v[j] = x0 - x1;
  }
  v[1] = xmul(v[1], {c, -c});
  v[2] = times_minus_i(v[2]);
  v[3] = xmul(v[3], {-c, -c});
  dif4_x(u[0], u[1], u[2], u[3], y);
  for (int l = 0; l < 4; ++l) store_i(a, l, y[l]);
  dif4_x(v[0], v[1], v[2], v[3], y);
  for (int l = 0; l < 4; ++l) store_i(a, 4 + l, y[l]);
}

void bwd_tiny(float *a, int m, const unsigned char *w, float scale) {
  const xreal s = static_cast<xreal>(scale);
  if (m == 1) {
    xc y0 = load_i(a, 0), y1 = load_i(a, 1);
    store_i(a, 0, xscaled(y0 + y1, s));
    store_i(a, 1, xscaled(y0 - y1, s));
    return;
  }
  xc x[4];
  if (m == 2) {
    dit4_x(load_i(a, 0), load_i(a, 1), load_i(a, 2), load_i(a, 3), x);
    for (int l = 0; l < 4; ++l) store_i(a, l, xscaled(x[l], s));
    return;
  }
  const xreal c = static_cast<xreal>(*reinterpret_cast<const float *>(w + cfft1d_small_constant_offset));
  xc u[4], v[4];
  dit4_x(load_i(a, 0), load_i(a, 1), load_i(a, 2), load_i(a, 3), u);
  dit4_x(load_i(a, 4), load_i(a, 5), load_i(a, 6), load_i(a, 7), v);
  v[1] = xmul_conj(v[1], {c, -c});
  v[2] = times_i(v[2]);
  v[3] = xmul_conj(v[3], {-c, -c});
  for (int j = 0; j < 4; ++j) {
    store_i(a, j, xscaled(u[j] + v[j], s));
    store_i(a, j + 4, xscaled(u[j] - v[j], s));
  }
}

// ---- whole transforms of 16 .. 1024 points -------------------------------------

template <form In>
void natural_fwd(float *a, int m) {
  const int n = 1 << m;
  int s = m;
  bool first = true;
  if (s % 2 == 1) {
    dif2_pass<In, B>(a, n, n, cfft1d_stage_table(s), stage_stride);
    --s;
    first = false;
  }
  for (; s > 2; s -= 2, first = false) {
    if (first)
      dif4_pass<In, B>(a, n, 1 << s, cfft1d_stage_table(s));
    else
      dif4_pass<B, B>(a, n, 1 << s, cfft1d_stage_table(s));
  }
  dif4_last(a, n);
}

template <form Out>
void natural_bwd(float *a, int m, const float *scale) {
  const int n = 1 << m;
  dit4_first(a, n);
  int s = 2;
  for (; s + 2 <= m; s += 2) {
    if (s + 2 == m)
      dit4_pass<B, Out>(a, n, 1 << (s + 2), cfft1d_stage_table(s + 2), scale);
    else
      dit4_pass<B, B>(a, n, 1 << (s + 2), cfft1d_stage_table(s + 2), nullptr);
  }
  if (s < m) dit2_pass<B, Out>(a, n, n, cfft1d_stage_table(m), stage_stride, scale);
}

// Floats from W to level k of the level tables of a length-2^m transform.
int level_offset(int m, int k) {
  int offset = 0;
  for (int i = 0; i < k; ++i) offset += (1 << (m - i)) / 2;
  return offset;
}

}  // namespace

void cfft1d_fwd_small(float *r, const int *m, const unsigned char *w) {
  if (*m <= 3)
    fwd_tiny(r, *m, w);
  else
    natural_fwd<I>(r, *m);
}

void cfft1d_bwd_small(float *r, const int *m, const unsigned char *w, const float *scale) {
  if (*m <= 3)
    bwd_tiny(r, *m, w, *scale);
  else
    natural_bwd<I>(r, *m, scale);
}

void cfft1d_fwd_block(float *r, const int *m) { natural_fwd<B>(r, *m); }

void cfft1d_bwd_block(float *r, const int *m, const float *scale) { natural_bwd<B>(r, *m, scale); }

void cfft1d_fwd_levels(float *r, const int *length, const int *count, const unsigned char *w) {
  const int n = *length;
  const float *table = reinterpret_cast<const float *>(w);
  for (int k = 0; k < *count; ++k) {
    const int span = n >> k;
    if (k == 0)
      dif2_pass<I, B>(r, n, span, table, level_stride);
    else
      dif2_pass<B, B>(r, n, span, table, level_stride);
    table += span / 2;
  }
}

void cfft1d_fwd_levels_sub(float *r, const int *length, const int *first, const int *count, const int *m,
                           const unsigned char *w) {
  const float *table = reinterpret_cast<const float *>(w) + level_offset(*m, *first);
  for (int k = *first; k < *first + *count; ++k) {
    const int span = (1 << *m) >> k;
    dif2_pass<B, B>(r, *length, span, table, level_stride);
    table += span / 2;
  }
}

void cfft1d_bwd_levels(float *r, const int *length, const int *count, const unsigned char *w) {
  const int n = *length, m = fft_log2(n);
  const float *table = reinterpret_cast<const float *>(w);
  for (int k = *count - 1; k >= 0; --k) {
    const float *level = table + level_offset(m, k);
    if (k == 0)
      dit2_pass<B, I>(r, n, n, level, level_stride, nullptr);
    else
      dit2_pass<B, B>(r, n, n >> k, level, level_stride, nullptr);
  }
}

void cfft1d_bwd_levels_sub(float *r, const int *length, const int *first, const int *count, const int *m,
                           const unsigned char *w) {
  const float *table = reinterpret_cast<const float *>(w);
  for (int k = *first + *count - 1; k >= *first; --k)
    dit2_pass<B, B>(r, *length, (1 << *m) >> k, table + level_offset(*m, k), level_stride, nullptr);
}

}  // namespace tav
