// Block-numbered kernels of the single-precision transform (n above 2^15).
//
// Here a block of a level has one twiddle for all its butterflies, found by
// its number b in the bit-reversed twiddle order: (A, B) = (E[b]^2, E[b]), from
// the short list (product A*B formed in single precision) or from the groups
// at W (A*B stored). Forward radix-4 on quarters x0..x3: a1 = x1 B, a2 = x2 A,
// a3 = x3 AB, then (x0+a2)+(a1+a3), (x0+a2)-(a1+a3), (x0-a2)-i(a1-a3),
// (x0-a2)+i(a1-a3) to the quarters, which become blocks 4b..4b+3; radix-2 is
// x0 + A x1, x0 - A x1 with children 2b, 2b+1. An odd level count starts with
// the radix-2 level. Backward is the mirror: sums first, then the conjugate
// twiddles, levels from the narrowest up, radix-2 last, the scale multiplying
// the outputs of the last level. Block 0 multiplies by nothing, except on the
// four-point level of the 512-point tier, which runs four blocks side by side,
// one per lane, and multiplies lane 0 by its stored unit twiddle. Every
// operation is a four-lane SSE operation rounded to single.
#include "fft/cfft1d_kernels.h"
#include "fft/cfft1d_vec.h"

namespace tav {

namespace {

using fftv::form;
using fftv::vc;
constexpr form I = form::interleaved;
constexpr form B = form::blocked;

enum class source { short_list, groups };

struct block_twiddles {
  float ar, ai, br, bi, abr, abi;
};

block_twiddles twiddles_of(const float *table, source src, int b) {
  if (src == source::short_list) {
    const float *e = table + 4 * b;
    block_twiddles t{e[0], e[1], e[2], e[3], 0, 0};
    t.abr = t.ar * t.br - t.ai * t.bi;
    t.abi = t.ar * t.bi + t.ai * t.br;
    return t;
  }
  const float *g = table + 6 * b;
  return {g[0], g[1], g[2], g[3], g[4], g[5]};
}

template <form In, form Out>
void fwd_radix2(float *a, int span, int b, const float *table, source src) {
  using namespace fftv;
  const int h = span / 2;
  const block_twiddles t = twiddles_of(table, src, b);
  const vc c = broadcast(t.ar, t.ai);
  for (int j = 0; j < h; j += 4) {
    vc x0 = load4<In>(a, j), x1 = load4<In>(a, j + h);
    if (b != 0) x1 = mul(x1, c);
    store4<Out>(a, j, x0 + x1);
    store4<Out>(a, j + h, x0 - x1);
  }
}

template <form In, form Out>
void bwd_radix2(float *a, int span, int b, const float *table, source src, const float *scale) {
  using namespace fftv;
  const int h = span / 2;
  const block_twiddles t = twiddles_of(table, src, b);
  const vc c = broadcast(t.ar, t.ai);
  const __m128 s4 = _mm_set1_ps(scale ? *scale : 1.0f);
  for (int j = 0; j < h; j += 4) {
    vc y0 = load4<In>(a, j), y1 = load4<In>(a, j + h);
    vc x0 = y0 + y1, x1 = y0 - y1;
    if (b != 0) x1 = mul_conj(x1, c);
    if (scale) {
      x0 = scaled(x0, s4);
      x1 = scaled(x1, s4);
    }
    store4<Out>(a, j, x0);
    store4<Out>(a, j + h, x1);
  }
}

// The radix-4 butterfly on four vectors of quarters, forward and backward.
inline void fwd_butterfly(vc &x0, vc &x1, vc &x2, vc &x3) {
  using namespace fftv;
  vc s02 = x0 + x2, d02 = x0 - x2, s13 = x1 + x3, d13 = x1 - x3;
  x0 = s02 + s13;
  x1 = s02 - s13;
  x2 = d02 + times_minus_i(d13);
  x3 = d02 + times_i(d13);
}
inline void bwd_butterfly(vc &y0, vc &y1, vc &y2, vc &y3) {
  using namespace fftv;
  vc s = y0 + y1, d = y0 - y1, e = y2 + y3, u = times_i(y2 - y3);
  y0 = s + e;
  y1 = d + u;
  y2 = s - e;
  y3 = d - u;
}

template <form In, form Out>
void fwd_radix4(float *a, int span, int b, const float *table, source src) {
  using namespace fftv;
  const int q = span / 4;
  const block_twiddles t = twiddles_of(table, src, b);
  const vc wa = broadcast(t.ar, t.ai), wb = broadcast(t.br, t.bi), wab = broadcast(t.abr, t.abi);
  for (int j = 0; j < q; j += 4) {
    vc x0 = load4<In>(a, j), x1 = load4<In>(a, j + q), x2 = load4<In>(a, j + 2 * q), x3 = load4<In>(a, j + 3 * q);
    if (b != 0) {
      x1 = mul(x1, wb);
      x2 = mul(x2, wa);
      x3 = mul(x3, wab);
    }
    fwd_butterfly(x0, x1, x2, x3);
    store4<Out>(a, j, x0);
    store4<Out>(a, j + q, x1);
    store4<Out>(a, j + 2 * q, x2);
    store4<Out>(a, j + 3 * q, x3);
  }
}

template <form In, form Out>
void bwd_radix4(float *a, int span, int b, const float *table, source src, const float *scale) {
  using namespace fftv;
  const int q = span / 4;
  const block_twiddles t = twiddles_of(table, src, b);
  const vc wa = broadcast(t.ar, t.ai), wb = broadcast(t.br, t.bi), wab = broadcast(t.abr, t.abi);
  const __m128 s4 = _mm_set1_ps(scale ? *scale : 1.0f);
  for (int j = 0; j < q; j += 4) {
    vc x0 = load4<In>(a, j), x1 = load4<In>(a, j + q), x2 = load4<In>(a, j + 2 * q), x3 = load4<In>(a, j + 3 * q);
    bwd_butterfly(x0, x1, x2, x3);
    if (b != 0) {
      x1 = mul_conj(x1, wb);
      x2 = mul_conj(x2, wa);
      x3 = mul_conj(x3, wab);
    }
    if (scale) {
      x0 = scaled(x0, s4);
      x1 = scaled(x1, s4);
      x2 = scaled(x2, s4);
      x3 = scaled(x3, s4);
    }
    store4<Out>(a, j, x0);
    store4<Out>(a, j + q, x1);
    store4<Out>(a, j + 2 * q, x2);
    store4<Out>(a, j + 3 * q, x3);
  }
}

// Four-point blocks b0..b0+3 side by side: lane l of each vector is block b0+l.
struct lanes {
  vc x[4];
};

template <form F>
inline lanes load_quad(const float *a) {
  __m128 re[4], im[4];
  for (int l = 0; l < 4; ++l) {
    vc v = fftv::load4<F>(a, 4 * l);
    re[l] = v.re;
    im[l] = v.im;
  }
  _MM_TRANSPOSE4_PS(re[0], re[1], re[2], re[3]);
  _MM_TRANSPOSE4_PS(im[0], im[1], im[2], im[3]);
  lanes q;
  for (int k = 0; k < 4; ++k) q.x[k] = {re[k], im[k]};
  return q;
}

template <form F>
inline void store_quad(float *a, lanes q) {
  __m128 re[4], im[4];
  for (int k = 0; k < 4; ++k) {
    re[k] = q.x[k].re;
    im[k] = q.x[k].im;
  }
  _MM_TRANSPOSE4_PS(re[0], re[1], re[2], re[3]);
  _MM_TRANSPOSE4_PS(im[0], im[1], im[2], im[3]);
  for (int l = 0; l < 4; ++l) fftv::store4<F>(a, 4 * l, {re[l], im[l]});
}

// Twiddles of half-groups b0..b0+3, one per lane.
void quad_twiddles(const float *groups, int b0, vc &wa, vc &wb, vc &wab) {
  const float *g = groups + 6 * b0;
  wa = {_mm_setr_ps(g[0], g[6], g[12], g[18]), _mm_setr_ps(g[1], g[7], g[13], g[19])};
  wb = {_mm_setr_ps(g[2], g[8], g[14], g[20]), _mm_setr_ps(g[3], g[9], g[15], g[21])};
  wab = {_mm_setr_ps(g[4], g[10], g[16], g[22]), _mm_setr_ps(g[5], g[11], g[17], g[23])};
}

template <form In, form Out>
void fwd_radix4_points(float *a, int length, int b0, const float *groups) {
  using namespace fftv;
  for (int k = 0; k < length; k += 16, b0 += 4) {
    lanes q = load_quad<In>(a + 2 * k);
    vc wa, wb, wab;
    quad_twiddles(groups, b0, wa, wb, wab);
    q.x[1] = mul(q.x[1], wb);
    q.x[2] = mul(q.x[2], wa);
    q.x[3] = mul(q.x[3], wab);
    fwd_butterfly(q.x[0], q.x[1], q.x[2], q.x[3]);
    store_quad<Out>(a + 2 * k, q);
  }
}

template <form In, form Out>
void bwd_radix4_points(float *a, int length, int b0, const float *groups) {
  using namespace fftv;
  for (int k = 0; k < length; k += 16, b0 += 4) {
    lanes q = load_quad<In>(a + 2 * k);
    vc wa, wb, wab;
    quad_twiddles(groups, b0, wa, wb, wab);
    bwd_butterfly(q.x[0], q.x[1], q.x[2], q.x[3]);
    q.x[1] = mul_conj(q.x[1], wb);
    q.x[2] = mul_conj(q.x[2], wa);
    q.x[3] = mul_conj(q.x[3], wab);
    store_quad<Out>(a + 2 * k, q);
  }
}

// One level over all sub-blocks of span `span` in a block of `length`; the
// sub-blocks are numbered from `first_number`.
template <class Level>
void over_blocks(float *a, int length, int span, int first_number, Level level) {
  for (int i = 0; i * span < length; ++i) level(a + 2 * i * span, first_number + i);
}

// `count` forward levels over one block of `length` numbered `number`.
void fwd_levels(float *a, int length, int count, int number, const float *table, source src, form in, form out) {
  int span = length, blocks = 1, done = 0;
  form cur = in;
  auto next_form = [&](int levels) { return done + levels == count ? out : B; };
  if (count % 2 == 1) {
    const form to = next_form(1);
    over_blocks(a, length, span, number * blocks, [&](float *p, int b) {
      if (cur == I && to == B) fwd_radix2<I, B>(p, span, b, table, src);
      else if (cur == B && to == B) fwd_radix2<B, B>(p, span, b, table, src);
      else if (cur == B) fwd_radix2<B, I>(p, span, b, table, src);
      else fwd_radix2<I, I>(p, span, b, table, src);
    });
    span /= 2, blocks *= 2, done += 1, cur = B;
  }
  for (; done < count; span /= 4, blocks *= 4, done += 2, cur = B) {
    const form to = next_form(2);
    if (span == 4) {
      // Only the 512-point tier (groups, blocked in) reaches four-point blocks.
      if (to == I)
        fwd_radix4_points<B, I>(a, length, number * blocks, table);
      else
        fwd_radix4_points<B, B>(a, length, number * blocks, table);
      continue;
    }
    over_blocks(a, length, span, number * blocks, [&](float *p, int b) {
      if (cur == I && to == B) fwd_radix4<I, B>(p, span, b, table, src);
      else if (cur == B && to == B) fwd_radix4<B, B>(p, span, b, table, src);
      else if (cur == B) fwd_radix4<B, I>(p, span, b, table, src);
      else fwd_radix4<I, I>(p, span, b, table, src);
    });
  }
}

// The mirror: `count` backward levels, the narrowest first, radix-2 last.
void bwd_levels(float *a, int length, int count, int number, const float *table, source src, form in, form out,
                const float *scale) {
  if (count <= 0) return;
  const int radix4_levels = count / 2;
  int span = radix4_levels > 0 ? length >> (count % 2) >> (2 * (radix4_levels - 1)) : length;
  int blocks = length / span;
  form cur = in;
  for (int level = 0; level < radix4_levels; ++level, span *= 4, blocks /= 4, cur = B) {
    const bool last = level + 1 == radix4_levels && count % 2 == 0;
    const form to = last ? out : B;
    const float *s = last ? scale : nullptr;
    if (span == 4) {
      if (cur == I)
        bwd_radix4_points<I, B>(a, length, number * blocks, table);
      else
        bwd_radix4_points<B, B>(a, length, number * blocks, table);
      continue;
    }
    over_blocks(a, length, span, number * blocks, [&](float *p, int b) {
      if (cur == I && to == B) bwd_radix4<I, B>(p, span, b, table, src, s);
      else if (cur == B && to == B) bwd_radix4<B, B>(p, span, b, table, src, s);
      else if (cur == B) bwd_radix4<B, I>(p, span, b, table, src, s);
      else bwd_radix4<I, I>(p, span, b, table, src, s);
    });
  }
  if (count % 2 == 1) {
    span = length;
    if (cur == I && out == B) bwd_radix2<I, B>(a, span, number, table, src, scale);
    else if (cur == B && out == B) bwd_radix2<B, B>(a, span, number, table, src, scale);
    else if (cur == B) bwd_radix2<B, I>(a, span, number, table, src, scale);
    else bwd_radix2<I, I>(a, span, number, table, src, scale);
  }
}

const float *floats(const unsigned char *p) { return reinterpret_cast<const float *>(p); }

}  // namespace

void cfft1d_fwd_top(float *r, const int *length, const int *count, const unsigned char *t2) {
  fwd_levels(r, *length, *count, 0, floats(t2), source::short_list, I, B);
}

void cfft1d_bwd_top(float *r, const int *length, const int *count, const unsigned char *t2, const float *scale) {
  bwd_levels(r, *length, *count, 0, floats(t2), source::short_list, B, I, scale);
}

void cfft1d_fwd_32k_first(float *r, const int *length, const int *count, const unsigned char *t2) {
  fwd_levels(r, *length, *count, 0, floats(t2), source::short_list, B, B);
}

void cfft1d_fwd_32k(float *r, const int *length, const int *count, const unsigned char *t2, const int *block) {
  fwd_levels(r, *length, *count, *block, floats(t2), source::short_list, B, B);
}

void cfft1d_bwd_32k_first(float *r, const int *length, const int *count, const unsigned char *t2) {
  bwd_levels(r, *length, *count, 0, floats(t2), source::short_list, B, B, nullptr);
}

void cfft1d_bwd_32k(float *r, const int *length, const int *count, const unsigned char *t2, const int *block) {
  bwd_levels(r, *length, *count, *block, floats(t2), source::short_list, B, B, nullptr);
}

void cfft1d_fwd_512_first(float *r, const int *count, const unsigned char *w) {
  fwd_levels(r, 1 << *count, *count, 0, floats(w), source::groups, B, I);
}

void cfft1d_fwd_512(float *r, const int *count, const unsigned char *w, const int *block) {
  fwd_levels(r, 1 << *count, *count, *block, floats(w), source::groups, B, I);
}

void cfft1d_bwd_512_first(float *r, const int *count, const unsigned char *w) {
  bwd_levels(r, 1 << *count, *count, 0, floats(w), source::groups, I, B, nullptr);
}

void cfft1d_bwd_512(float *r, const int *count, const unsigned char *w, const int *block) {
  bwd_levels(r, 1 << *count, *count, *block, floats(w), source::groups, I, B, nullptr);
}

}  // namespace tav
