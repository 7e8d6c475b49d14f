// Table builders of the 1D transforms.
//
// Angles are held in extended precision: 2pi is atan(1) * 8, the step is
// 2pi/n, and each loop makes its next angle by adding the step to the last one
// (never by multiplying). Sine and cosine of an angle come from one extended
// evaluation and are rounded to the table's type only when stored. Products in
// the expanded groups are formed in extended precision from the rounded stored
// factors and rounded once.
#include "fft/fft_tables.h"

#include <cmath>
#include <cstring>

#include "frame/xreal.h"

namespace tav {

namespace {

xreal two_pi() { return static_cast<xreal>(std::atan(1.0)) * 8; }

template <class T>
struct cplx {
  T re, im;
};

// Twiddle for an angle: (cos a, -sin a), each rounded once.
template <class T>
cplx<T> twiddle_at(xreal angle) {
  return {static_cast<T>(std::cos(angle)), static_cast<T>(-std::sin(angle))};
}

template <class T>
cplx<T> product(cplx<T> a, cplx<T> b) {
  xreal re = static_cast<xreal>(a.re) * static_cast<xreal>(b.re) - static_cast<xreal>(a.im) * static_cast<xreal>(b.im);
  xreal im = static_cast<xreal>(a.re) * static_cast<xreal>(b.im) + static_cast<xreal>(a.im) * static_cast<xreal>(b.re);
  return {static_cast<T>(re), static_cast<T>(im)};
}

// -i * a, exactly.
template <class T>
cplx<T> minus_i(cplx<T> a) {
  return {a.im, static_cast<T>(-a.re)};
}

// The classical reversed counter over D = 2^d: a one-based j that walks
// rev_D(0) + 1, rev_D(1) + 1, ...
struct reversed_counter {
  int j = 1;
  int half;
  explicit reversed_counter(int d) : half(d / 2) {}
  int index() const { return j - 1; }
  void advance() {
    int h = half;
    while (h >= 1 && j > h) {
      j -= h;
      h /= 2;
    }
    j += h;
  }
};

// rev_D(k) for D a power of two.
int bit_reverse(int k, int d) {
  int r = 0;
  for (int bit = d >> 1; bit >= 1; bit >>= 1, k >>= 1) r |= (k & 1) ? bit : 0;
  return r;
}

template <class T>
void store_header(void *wsave, int n) {
  T head[2] = {static_cast<T>(n), T(0)};
  std::memcpy(wsave, head, sizeof head);
}

// Builds E (n/4 entries in bit-reversed order) at the start of t, then expands
// it in place into n/8 groups of six: A = E[G], B = E[2G], A*B, -iA, C =
// E[2G+1], (-iA)*C. The three descending passes read each E entry before any
// group overwrites it.
template <class T>
void build_groups(cplx<T> *t, int n) {
  const xreal delta = two_pi() / static_cast<xreal>(n);
  const int quarter = n / 4;
  t[0] = {T(1), T(0)};
  reversed_counter rev(quarter);
  xreal angle = 0;
  for (int k = 1; k < quarter; ++k) {
    rev.advance();
    angle += delta;
    t[rev.index()] = twiddle_at<T>(angle);
  }
  const int groups = n / 8;
  const int half = n / 16;
  for (int g = half; g < groups; ++g) {
    t[6 * g + 1] = t[2 * g];
    t[6 * g + 4] = t[2 * g + 1];
  }
  for (int g = groups - 1; g >= half; --g) {
    cplx<T> a = t[g];
    cplx<T> ai = minus_i(a);
    t[6 * g + 0] = a;
    t[6 * g + 2] = product(a, t[6 * g + 1]);
    t[6 * g + 3] = ai;
    t[6 * g + 5] = product(ai, t[6 * g + 4]);
  }
  for (int g = half - 1; g >= 0; --g) {
    cplx<T> a = t[g], b = t[2 * g], c = t[2 * g + 1];
    cplx<T> ai = minus_i(a);
    t[6 * g + 0] = a;
    t[6 * g + 1] = b;
    t[6 * g + 2] = product(a, b);
    t[6 * g + 3] = ai;
    t[6 * g + 4] = c;
    t[6 * g + 5] = product(ai, c);
  }
}

// Entry h of the short list: the first two twiddles of half-group h.
template <class T>
void copy_short_list(cplx<T> *list, const cplx<T> *groups, int n) {
  for (int h = 0; h < n / 1024; ++h) {
    const cplx<T> *half_group = groups + 3 * h;
    list[2 * h] = half_group[0];
    list[2 * h + 1] = half_group[1];
  }
}

template <class T>
cplx<T> *at(unsigned char *base, std::size_t bytes) {
  return reinterpret_cast<cplx<T> *>(base + bytes);
}
std::int32_t *list_at(unsigned char *base, std::size_t bytes) {
  return reinterpret_cast<std::int32_t *>(base + bytes);
}

// Level tables of the interleaved single transform for m = 11..15: for level k,
// the natural powers of cos(2pi/n_k) - i sin(2pi/n_k), n_k = n >> k, for
// j < n_k/4, in 32-byte blocks of four cosines and four negated sines.
void build_level_tables(float *t, int n, int m) {
  for (int k = 0; k <= m - 11; ++k) {
    const int nk = n >> k;
    const xreal delta = two_pi() / static_cast<xreal>(nk);
    t[0] = 1.0f;
    t[4] = 0.0f;
    xreal angle = 0;
    for (int j = 1; j < nk / 4; ++j) {
      angle += delta;
      float *block = t + 8 * (j / 4) + (j % 4);
      block[0] = static_cast<float>(std::cos(angle));
      block[4] = static_cast<float>(-std::sin(angle));
    }
    t += nk / 2;
  }
}

void fill4(float *p, float v) {
  for (int i = 0; i < 4; ++i) p[i] = v;
}

template <bool full_first_list>
void build_bitrev_lists(std::int32_t *list, int n) {
  const int sixteenth = n / 16;
  const int first_count = full_first_list ? 3 * sixteenth : sixteenth;
  list[0] = 0;
  list[1] = sixteenth;
  reversed_counter rev(n / 4);
  for (int t = 0; t < first_count; ++t) {
    list[2 + t] = rev.index();
    rev.advance();
  }
  std::int32_t *second = list + 3 * sixteenth + 2;
  int c2 = 0;
  for (int t = 0; t < sixteenth; ++t)
    if (t < bit_reverse(t, sixteenth)) second[2 + c2++] = t;
  second[0] = 0;
  second[1] = c2;
  std::int32_t *third = second + 2 + c2;
  int c3 = 0;
  for (int i = 3 * (n / 4); i < n; ++i) {
    int j = bit_reverse(i, n);
    if (i < j) {
      third[2 + 2 * c3] = i;
      third[3 + 2 * c3] = j;
      ++c3;
    }
  }
  third[0] = 0;
  third[1] = c3;
}

}  // namespace

void cfft1d_bitrev_init(std::int32_t *list, int n) { build_bitrev_lists<false>(list, n); }
void fft_bitrev_lists_init(std::int32_t *list, int n) { build_bitrev_lists<true>(list, n); }

void fft_swap_pairs_init(std::int32_t *list, int n, swap_pairs_form form) {
  const int scale = form == swap_pairs_form::doubled_index ? 2 : 1;
  int pairs = 0;
  for (int i = 0; i < n; ++i) {
    int j = bit_reverse(i, n);
    if (i < j) {
      list[2 + 2 * pairs] = scale * i;
      list[3 + 2 * pairs] = scale * j;
      ++pairs;
    }
  }
  list[0] = 0;
  list[1] = form == swap_pairs_form::doubled_count ? 2 * pairs : pairs;
}

void cfft1d_init(const int *m_ref, void *wsave) {
  const int m = *m_ref;
  const int n = 1 << m;
  store_header<float>(wsave, n);
  if (m < 2 || m == 2) return;
  unsigned char *w = fft_table_base(wsave);
  const xreal delta = two_pi() / static_cast<xreal>(n);
  if (m == 3) {
    fill4(reinterpret_cast<float *>(w + cfft1d_small_constant_offset), static_cast<float>(std::cos(delta)));
    return;
  }
  if (m <= 15) {
    // Up to 2^10 the kernels take their twiddles from the static stage tables.
    if (m >= 11) build_level_tables(reinterpret_cast<float *>(w), n, m);
  } else {
    cplx<float> *groups = at<float>(w, 0);
    build_groups(groups, n);
    copy_short_list(at<float>(w, cfft1d_short_list_offset(n)), groups, n);
    // Constants of the first blocks, taken from groups 0 and 1; the last four
    // overlay short-list entry 0, whose unit twiddles are never read.
    float *constants = reinterpret_cast<float *>(w + cfft1d_constants_offset(n));
    fill4(constants, groups[4].re);         // cos(pi/4)
    fill4(constants + 4, groups[7].re);     // cos(pi/8)
    fill4(constants + 8, groups[7].im);     // -sin(pi/8)
    fill4(constants + 16, groups[4].re);    // cos(pi/4)
  }
  if (m >= 5) cfft1d_bitrev_init(list_at(w, cfft1d_bitrev_offset(n)), n);
}

void cfft1dc_init(const int *m_ref, void *wsave) {
  const int m = *m_ref;
  const int n = 1 << m;
  store_header<float>(wsave, n);
  if (m <= 2) return;
  unsigned char *w = fft_table_base(wsave);
  if (m == 3) {
    float c = static_cast<float>(std::cos(two_pi() / static_cast<xreal>(n)));
    std::memcpy(w + 32, &c, sizeof c);
    return;
  }
  if (m <= 9) {
    if (m >= 5) fft_swap_pairs_init(list_at(w, 2 * static_cast<std::size_t>(n)), n, swap_pairs_form::plain);
    return;
  }
  cplx<float> *groups = at<float>(w, 0);
  build_groups(groups, n);
  copy_short_list(at<float>(w, 6 * static_cast<std::size_t>(n)), groups, n);
  fft_bitrev_lists_init(list_at(w, 8 * static_cast<std::size_t>(n)), n);
}

void zfft1d_init(const int *m_ref, void *wsave) {
  const int m = *m_ref;
  const int n = 1 << m;
  store_header<double>(wsave, n);
  if (m < 2) return;
  unsigned char *w = fft_table_base(wsave);
  if (m <= 9) {
    if (n > 16) fft_swap_pairs_init(list_at(w, 4 * static_cast<std::size_t>(n)), n, swap_pairs_form::doubled_index);
    return;
  }
  cplx<double> *groups = at<double>(w, 0);
  build_groups(groups, n);
  copy_short_list(at<double>(w, 20 * static_cast<std::size_t>(n)), groups, n);
  groups[0] = {static_cast<double>(n), 0.0};
  fft_bitrev_lists_init(list_at(w, 16 * static_cast<std::size_t>(n)), n);
}

void zfft1dc_init(const int *m_ref, void *wsave) {
  const int m = *m_ref;
  const int n = 1 << m;
  store_header<double>(wsave, n);
  if (m < 2) return;
  unsigned char *w = fft_table_base(wsave);
  if (m <= 9) {
    // Three natural sections: w^k, w^2k as the square of the stored w^k, and
    // w^3k as the product of the two stored values; index 0 of each is left.
    cplx<double> *t = at<double>(w, 0);
    const int quarter = n / 4;
    const xreal delta = two_pi() / static_cast<xreal>(n);
    xreal angle = 0;
    for (int k = 1; k < quarter; ++k) {
      angle += delta;
      cplx<double> w1 = twiddle_at<double>(angle);
      cplx<double> w2 = product(w1, w1);
      t[k] = w1;
      t[quarter + k] = w2;
      t[2 * quarter + k] = product(w1, w2);
    }
    if (n > 16) fft_swap_pairs_init(list_at(w, 16 * static_cast<std::size_t>(n)), n, swap_pairs_form::doubled_count);
    return;
  }
  cplx<double> *groups = at<double>(w, 0);
  build_groups(groups, n);
  copy_short_list(at<double>(w, 12 * static_cast<std::size_t>(n)), groups, n);
  groups[0] = {static_cast<double>(n), 0.0};
  fft_bitrev_lists_init(list_at(w, 16 * static_cast<std::size_t>(n)), n);
}

// R for half-length N: entries (0.5 cos(i pi/N), 0.5 (1 - sin(i pi/N))),
// i = 1 .. N/2-1, and N itself as the real R[N-1].
template <class T>
void fill_real_twiddles(T *entries, int big_n) {
  const xreal delta = two_pi() / static_cast<xreal>(2 * big_n);
  const xreal half = static_cast<xreal>(0.5);
  xreal angle = 0;
  for (int i = 1; i < big_n / 2; ++i) {
    angle += delta;
    entries[2 * (i - 1)] = static_cast<T>(half * std::cos(angle));
    entries[2 * (i - 1) + 1] = static_cast<T>(half * (1 - std::sin(angle)));
  }
}

void rfft_twiddle_init_s(float *r, const int *m_ref) {
  const int big_n = 1 << *m_ref;
  const bool r_on_8 = reinterpret_cast<std::uintptr_t>(r) % 8 == 0;
  float *entries = r_on_8 ? r : r + 1;
  fill_real_twiddles(entries, big_n);
  r[big_n - 1] = static_cast<float>(big_n);
  if (big_n <= 8) return;
  // Vector form: blocks of four entries that start on 16-byte boundaries are
  // rewritten as A1 A0 A3 A2 B1 B0 B3 B2.
  const bool base_on_16 = reinterpret_cast<std::uintptr_t>(entries) % 16 == 0;
  for (int e = base_on_16 ? 4 : 3; e + 1 <= big_n / 2 - 4; e += 4) {
    float *block = entries + 2 * e;
    float a0 = block[0], b0 = block[1], a1 = block[2], b1 = block[3];
    float a2 = block[4], b2 = block[5], a3 = block[6], b3 = block[7];
    const float vector_form[8] = {a1, a0, a3, a2, b1, b0, b3, b2};
    std::memcpy(block, vector_form, sizeof vector_form);
  }
}

void rfft_twiddle_init_d(double *r, const int *m_ref) {
  const int big_n = 1 << *m_ref;
  fill_real_twiddles(r, big_n);
  r[big_n - 1] = static_cast<double>(big_n);
}

}  // namespace tav
