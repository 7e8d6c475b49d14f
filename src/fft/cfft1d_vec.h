#pragma once
// Four-lane complex arithmetic of the single-precision transform kernels.
//
// Working format: while a transform runs, each 32 bytes of the array hold four
// neighbouring complex numbers as four real parts followed by four imaginary
// parts ("blocked"); outside it they are interleaved. A group of four elements
// sits in the same 32 bytes in both forms, so a pass converts simply by
// loading in one form and storing in the other. Every multiply and add is a
// single-precision SSE operation, rounded on its own; loads are unaligned-safe
// (the array need only be 8-byte aligned) and give the same arithmetic.

#include <xmmintrin.h>

namespace tav {
namespace fftv {

enum class form { interleaved, blocked };

struct vc {
  __m128 re, im;
};

// Elements k..k+3, k a multiple of 4.
template <form F>
inline vc load4(const float *a, int k) {
  const float *p = a + 2 * k;
  __m128 lo = _mm_loadu_ps(p), hi = _mm_loadu_ps(p + 4);
  if (F == form::blocked) return {lo, hi};
  return {_mm_shuffle_ps(lo, hi, 0x88), _mm_shuffle_ps(lo, hi, 0xdd)};
}

template <form F>
inline void store4(float *a, int k, vc v) {
  float *p = a + 2 * k;
  if (F == form::blocked) {
    _mm_storeu_ps(p, v.re);
    _mm_storeu_ps(p + 4, v.im);
  } else {
    _mm_storeu_ps(p, _mm_unpacklo_ps(v.re, v.im));
    _mm_storeu_ps(p + 4, _mm_unpackhi_ps(v.re, v.im));
  }
}

inline vc operator+(vc a, vc b) { return {_mm_add_ps(a.re, b.re), _mm_add_ps(a.im, b.im)}; }
inline vc operator-(vc a, vc b) { return {_mm_sub_ps(a.re, b.re), _mm_sub_ps(a.im, b.im)}; }

// a * w: (ar wr - ai wi, ar wi + ai wr).
inline vc mul(vc a, vc w) {
  return {_mm_sub_ps(_mm_mul_ps(a.re, w.re), _mm_mul_ps(a.im, w.im)),
          _mm_add_ps(_mm_mul_ps(a.re, w.im), _mm_mul_ps(a.im, w.re))};
}
// a * conj(w): (ar wr + ai wi, ai wr - ar wi), the backward twiddle.
inline vc mul_conj(vc a, vc w) {
  return {_mm_add_ps(_mm_mul_ps(a.re, w.re), _mm_mul_ps(a.im, w.im)),
          _mm_sub_ps(_mm_mul_ps(a.im, w.re), _mm_mul_ps(a.re, w.im))};
}
inline vc scaled(vc a, __m128 s) { return {_mm_mul_ps(a.re, s), _mm_mul_ps(a.im, s)}; }

inline __m128 negate(__m128 x) { return _mm_xor_ps(x, _mm_set1_ps(-0.0f)); }
// Exact quarter turns.
inline vc times_minus_i(vc a) { return {a.im, negate(a.re)}; }
inline vc times_i(vc a) { return {negate(a.im), a.re}; }

// A twiddle held in a table as four cosines then four negated sines.
inline vc load_twiddle(const float *t) { return {_mm_load_ps(t), _mm_load_ps(t + 4)}; }
inline vc broadcast(float re, float im) { return {_mm_set1_ps(re), _mm_set1_ps(im)}; }

}  // namespace fftv
}  // namespace tav
