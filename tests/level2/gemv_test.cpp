// General matrix-vector product in all four precisions: every shape, stride
// and panel boundary against the reference BLAS within tolerance, and bit for
// bit against a model that sums in the library's order (64-row panels joined
// through y, the column groups of the plain shape, the tail's own decoding of
// the letter); then the quick returns and the rules for NaN alpha and beta.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "frame/xreal.h"
#include "support/buffers.h"
#include "support/refblas.h"
#include "tav_q7.h"

namespace {

using tav::xreal;
using tavtest::Buffer;
using tavtest::span;

template <class T>
using gemv_fn = void (*)(const char *, const int *, const int *, const T *, const T *, const int *, const T *,
                         const int *, const T *, T *, const int *);
template <class T>
using fortran_gemv = void (*)(const char *, const int *, const int *, const T *, const T *, const int *, const T *,
                              const int *, const T *, T *, const int *, std::size_t);

// Per precision: the real part type, the routine, the reference routine's
// letter and the column groups of the plain panel kernels (unit, strided).
template <class T, class Real, gemv_fn<T> routine, char letter, int unit_group, int strided_group>
struct prec_of {
  using R = Real;
  static constexpr bool complex = !std::is_same<T, Real>::value;
  static constexpr gemv_fn<T> tav = routine;
  static constexpr char ref[] = {letter, 'g', 'e', 'm', 'v', '_', 0};
  static constexpr int n_unit_group = unit_group, n_strided_group = strided_group;
};
template <class T>
struct prec;
template <>
struct prec<float> : prec_of<float, float, tav_sgemv, 's', 4, 4> {};
template <>
struct prec<double> : prec_of<double, double, tav_dgemv, 'd', 2, 2> {};
template <>
struct prec<tav_complex8> : prec_of<tav_complex8, float, tav_cgemv, 'c', 2, 2> {};
template <>
struct prec<tav_complex16> : prec_of<tav_complex16, double, tav_zgemv, 'z', 2, 1> {};

// ---- element helpers, real and complex alike -------------------------------

// An element from its parts, each rounded once.
template <class T, class P, class Q = int>
T make(P re, Q im = 0) {
  using R = typename prec<T>::R;
  if constexpr (prec<T>::complex)
    return T{static_cast<R>(re), static_cast<R>(im)};
  else
    return static_cast<T>(re);
}
// A value of the model: widened parts (the imaginary part unused for reals).
struct X {
  xreal re = 0, im = 0;
};
template <class T>
X widen(const T &v) {
  if constexpr (prec<T>::complex)
    return {v.re, v.im};
  else
    return {v, 0};
}
template <class T>
T narrow(X v) {
  return make<T>(v.re, v.im);
}
template <class T>
X product(X p, X q) {
  if constexpr (prec<T>::complex)
    return {p.re * q.re - p.im * q.im, p.re * q.im + p.im * q.re};
  else
    return {p.re * q.re, 0};
}
// acc += a*x, four real products one at a time in the complex case.
template <class T>
void accumulate(X &acc, X a, X x, bool conj) {
  if constexpr (prec<T>::complex) {
    acc.re = conj ? (acc.re + a.re * x.re) + a.im * x.im : (acc.re + a.re * x.re) - a.im * x.im;
    acc.im = conj ? (acc.im + a.re * x.im) - a.im * x.re : (acc.im + a.re * x.im) + a.im * x.re;
  } else {
    acc.re += a.re * x.re;
  }
}
// y += p in the widened type, rounded once at the store.
template <class T>
void add_into(T &y, X p) {
  const X w = widen(y);
  y = make<T>(w.re + p.re, w.im + p.im);
}
template <class T>
bool counts_as(const T &v, double c) {  // neither below nor above, both parts
  auto eq = [](xreal p, xreal q) { return !(p < q) && !(p > q); };
  return eq(widen(v).re, c) && eq(widen(v).im, 0);
}

enum class shape { plain, transposed, conjugate };
const char *shape_letter(shape s) { return s == shape::plain ? "N" : s == shape::transposed ? "T" : "C"; }

template <class T>
shape front_shape(unsigned char letter) {
  const bool is_n = letter == 'N' || letter == 'n', is_t = letter == 'T' || letter == 't';
  if (is_n) return shape::plain;
  if (!prec<T>::complex || is_t) return shape::transposed;
  return shape::conjugate;
}
template <class T>
shape tail_shape(unsigned char letter) {
  const unsigned folded = letter & 95u;
  if (prec<T>::complex && folded == 'T') return shape::transposed;
  if (prec<T>::complex && folded == 'C') return shape::conjugate;
  if (prec<T>::complex) return shape::plain;
  return folded == 'N' ? shape::plain : shape::transposed;
}

// A strided vector addressed by logical element.
template <class T>
struct vec {
  T *base;
  int len, inc;
  T &operator[](int k) const {
    std::ptrdiff_t start = inc < 0 ? static_cast<std::ptrdiff_t>(1 - len) * inc : 0;
    return base[start + static_cast<std::ptrdiff_t>(k) * inc];
  }
};

// The product as the library orders it, written per element of y.
template <class T>
void model_gemv(unsigned char letter, int m, int n, T alpha, const T *a, int lda, const T *xp, int incx, T beta, T *yp,
                int incy) {
  if (m == 0 || n == 0 || (counts_as(alpha, 0) && counts_as(beta, 1))) return;
  const shape front = front_shape<T>(letter);
  const bool plain = front == shape::plain;
  vec<const T> x{xp, plain ? n : m, incx};
  vec<T> y{yp, plain ? m : n, incy};
  if (!counts_as(beta, 1))
    for (int i = 0; i < y.len; ++i) {
      if (counts_as(beta, 0))
        y[i] = make<T>(0);
      else if constexpr (std::is_same_v<T, float>)
        y[i] = y[i] * beta;  // SSE or scalar single: one rounding to float
      else
        y[i] = narrow<T>(product<T>(widen(y[i]), widen(beta)));
    }
  if (counts_as(alpha, 0)) return;
  const X al = widen(alpha);
  auto A = [&](int i, int j) { return widen(a[i + static_cast<std::ptrdiff_t>(j) * lda]); };

  // Transposed rows [r0, r1): one sum per column, added into y through alpha.
  auto by_columns = [&](int r0, int r1, bool conj) {
    for (int j = 0; j < n; ++j) {
      X acc;
      for (int k = r0; k < r1; ++k) accumulate<T>(acc, A(k, j), widen(x[k]), conj);
      add_into(y[j], product<T>(al, acc));
    }
  };
  const int group = incx == 1 && incy == 1 ? prec<T>::n_unit_group : prec<T>::n_strided_group;
  const int m64 = m / 64 * 64;
  for (int r0 = 0; r0 < m64; r0 += 64) {
    if (!plain) {
      by_columns(r0, r0 + 64, front == shape::conjugate);
      continue;
    }
    // Plain panel: y[k] gathers a group of columns, scaled x unrounded, then rounds.
    for (int j = 0; j < n;) {
      const int g = n - j >= group ? group : 1;
      for (int k = r0; k < r0 + 64; ++k) {
        X s = widen(y[k]);
        for (int c = j; c < j + g; ++c) accumulate<T>(s, A(k, c), product<T>(al, widen(x[c])), false);
        y[k] = narrow<T>(s);
      }
      j += g;
    }
  }
  if (m == m64) return;
  // The tail starts where the front left x and y: logical row m64 of y in
  // the plain shape, of x otherwise, even when it reads the letter otherwise.
  const shape tail = tail_shape<T>(letter);
  if (tail != shape::plain) {
    by_columns(m64, m, tail == shape::conjugate);
    return;
  }
  // Plain tail: one dot product along each row, per block of 32 columns
  // in the complex types (all columns at once in the real ones).
  const int ys = plain ? m64 : 0, xs = plain ? 0 : m64;
  const int block = prec<T>::complex ? 32 : n;
  for (int i = 0; i < m - m64; ++i)
    for (int j0 = 0; j0 < n; j0 += block) {
      const int j1 = n - j0 > block ? j0 + block : n;
      X acc;
      for (int j = j0; j < j1; ++j) accumulate<T>(acc, A(m64 + i, j), widen(x[xs + j]), false);
      add_into(y[ys + i], product<T>(al, acc));
    }
}

// Lowest address of logical elements [first, first + len) of v: what a
// routine given that piece with v's stride expects.
template <class T>
T *sub(const vec<T> &v, int first, int len) {
  return v.inc < 0 ? &v[first + len - 1] : &v[first];
}

template <class T>
Buffer<T> random_elements(std::size_t count, std::size_t offset, std::uint32_t seed) {
  using R = typename prec<T>::R;
  Buffer<T> b(count, offset);
  tavtest::fill_random(reinterpret_cast<R *>(b.data()), count * (prec<T>::complex ? 2 : 1), seed);
  return b;
}

template <class T>
class Gemv : public testing::Test {};
using precisions = testing::Types<float, double, tav_complex8, tav_complex16>;
TYPED_TEST_SUITE(Gemv, precisions);

const int rows_list[] = {1, 63, 64, 65, 127, 128, 129, 200};
const int strides[] = {1, 2, -1, -3};

// Every letter, panel boundary, column count and stride pair: bit for bit
// against the model, and within tolerance against the reference BLAS.
TYPED_TEST(Gemv, EveryShapeAndStrideMatchesModelAndReference) {
  using T = TypeParam;
  using R = typename prec<T>::R;
  TAV_REQUIRE_REFBLAS();
  auto ref = tavtest::RefBlas::get().fn<fortran_gemv<T>>(prec<T>::ref);
  ASSERT_NE(ref, nullptr);
  const unsigned char letters[] = {'N', 'n', 'T', 't', 'C', 'c', 'x', 0xCE};
  const T alphas[] = {make<T>(1.3125, -0.71), make<T>(-0.61, 0.29)};
  const T betas[] = {make<T>(-0.83, 0.47), make<T>(0), make<T>(1)};
  std::uint32_t seed = 7;
  int mismatches = 0;
  for (unsigned char letter : letters)
    for (int m : rows_list)
      for (int n = 1; n <= 9; ++n)
        for (int incx : strides)
          for (int incy : strides) {
            ++seed;
            const shape front = front_shape<T>(letter);
            // A letter the tail reads otherwise than the front makes the tail
            // walk x and y as the other shape: in bounds only when n equals
            // the tail's row count.
            if (tail_shape<T>(letter) != front && n != m % 64) continue;
            const bool plain = front == shape::plain;
            const int lenx = plain ? n : m, leny = plain ? m : n, lda = m + 3;
            const T alpha = alphas[seed % 2], beta = betas[seed % 3];
            Buffer<T> a = random_elements<T>(static_cast<std::size_t>(lda) * n, 0, seed);
            Buffer<T> x = random_elements<T>(span(lenx, incx), 1, seed + 1000);
            Buffer<T> y = random_elements<T>(span(leny, incy), seed % 4, seed + 2000);
            Buffer<T> want = y, got = y, ref_y = y;
            const char trans = static_cast<char>(letter);
            prec<T>::tav(&trans, &m, &n, &alpha, a.data(), &lda, x.data(), &incx, &beta, got.data(), &incy);
            model_gemv<T>(letter, m, n, alpha, a.data(), lda, x.data(), incx, beta, want.data(), incy);
            if (!got.same_bits(want) && ++mismatches <= 5)
              ADD_FAILURE() << "not the library's order: letter " << int(letter) << " m=" << m << " n=" << n
                            << " incx=" << incx << " incy=" << incy;

            // Reference: panel rows in the front's shape, then the tail rows
            // in the tail's shape, from where the front left x and y.
            const int m64 = m / 64 * 64, rest = m - m64;
            const shape tail = tail_shape<T>(letter);
            vec<T> xv{x.data(), lenx, incx}, yv{ref_y.data(), leny, incy};
            if (m64 > 0)
              ref(shape_letter(front), &m64, &n, &alpha, a.data(), &lda, plain ? x.data() : sub(xv, 0, m64), &incx,
                  &beta, plain ? sub(yv, 0, m64) : ref_y.data(), &incy, 1);
            if (rest > 0) {
              const T one = make<T>(1);
              const bool tail_plain = tail == shape::plain;
              const int xs = plain ? 0 : m64, ys = plain ? m64 : 0;
              ref(shape_letter(tail), &rest, &n, &alpha, a.data() + m64, &lda, sub(xv, xs, tail_plain ? n : rest),
                  &incx, plain || m64 == 0 ? &beta : &one, sub(yv, ys, tail_plain ? rest : n), &incy, 1);
            }
            const double scale = 128.0 * 128.0 * 4 + 256.0;
            const double tol = tavtest::sum_tolerance<R>(plain ? n : m, scale);
            vec<T> g{got.data(), leny, incy}, r{ref_y.data(), leny, incy};
            for (int i = 0; i < leny; ++i) {
              EXPECT_NEAR(widen(g[i]).re, widen(r[i]).re, tol) << "letter " << int(letter) << " m=" << m << " n=" << n
                                                               << " incx=" << incx << " incy=" << incy << " i=" << i;
              EXPECT_NEAR(widen(g[i]).im, widen(r[i]).im, tol);
            }
          }
  EXPECT_EQ(mismatches, 0);
}

// A long column in the transposed shape is a chain of 64-row sums, each added
// into y through alpha and rounded there. One leading 1 and many small terms,
// each panel's share below half an ulp of 1: y stays 1, where one sum over all
// rows would round up.
TYPED_TEST(Gemv, LongColumnRoundsOncePerPanel) {
  using T = TypeParam;
  using R = typename prec<T>::R;
  const int m = 200, n = 1, lda = m;
  const R small = std::ldexp(R(1), -std::numeric_limits<R>::digits - 7);
  for (int inc : {1, 2, -3}) {
    SCOPED_TRACE(testing::Message() << "inc " << inc);
    std::vector<T> a(m, make<T>(small)), x(span(m, inc), make<T>(1)), y(1, make<T>(0));
    a[0] = make<T>(1);
    const T alpha = make<T>(1), beta = make<T>(1);
    prec<T>::tav("T", &m, &n, &alpha, a.data(), &lda, x.data(), &inc, &beta, y.data(), &inc);

    R want = 0;
    xreal one_pass = 0;
    for (int r0 = 0; r0 < m; r0 += 64) {
      xreal panel = 0;
      for (int k = r0; k < m && k < r0 + 64; ++k) panel += widen(a[k]).re;
      want = static_cast<R>(panel * xreal(1) + static_cast<xreal>(want));
      one_pass += panel;
    }
    EXPECT_EQ(want, R(1));
    EXPECT_EQ(widen(y[0]).re, R(1));
    EXPECT_EQ(widen(y[0]).im, 0.0);
    if (std::numeric_limits<xreal>::digits > std::numeric_limits<R>::digits + 8) {
      EXPECT_NE(static_cast<R>(one_pass), want) << "data must tell the orders apart";
    }
  }
}

// The quick returns and the NaN rules: a NaN alpha counts as zero and a NaN
// beta as one; beta 0 stores zeros without reading y; A and x are not read
// when alpha counts as zero.
TYPED_TEST(Gemv, QuickReturnsAndNanRules) {
  using T = TypeParam;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const int m = 70, n = 5, lda = m, inc = 1;
  std::vector<T> a(lda * n, make<T>(nan, nan)), x(m, make<T>(nan, nan));
  std::vector<T> y0(m);
  for (int i = 0; i < m; ++i) y0[i] = make<T>(0.37 * (i + 1), -1.5 + i);
  auto run = [&](const char *trans, int rows, int cols, T alpha, T beta, std::vector<T> y) {
    prec<T>::tav(trans, &rows, &cols, &alpha, a.data(), &lda, x.data(), &inc, &beta, y.data(), &inc);
    return y;
  };
  auto same = [](const std::vector<T> &p, const std::vector<T> &q, int len) {
    return std::memcmp(p.data(), q.data(), len * sizeof(T)) == 0;
  };
  const T zero = make<T>(0), one = make<T>(1), two = make<T>(2), three = make<T>(3);

  // Empty problems leave y alone, whatever beta says.
  EXPECT_TRUE(same(run("N", 0, n, one, three, y0), y0, m));
  EXPECT_TRUE(same(run("T", m, 0, one, three, y0), y0, m));
  // alpha 0 (or NaN) and beta 1 (or NaN): nothing at all.
  EXPECT_TRUE(same(run("N", m, n, zero, one, y0), y0, m));
  EXPECT_TRUE(same(run("N", m, n, make<T>(nan, nan), make<T>(nan, nan), y0), y0, m));
  // alpha counting as zero: y only scaled, A and x (all NaN) unread.
  std::vector<T> doubled(y0);
  for (T &v : doubled) v = make<T>(2 * widen(v).re, 2 * widen(v).im);
  EXPECT_TRUE(same(run("N", m, n, zero, two, y0), doubled, m));
  EXPECT_TRUE(same(run("T", m, n, make<T>(nan, 0), two, y0), doubled, n));
  std::vector<T> nan_y(m, make<T>(nan, nan)), zeros(m, zero);
  EXPECT_TRUE(same(run("N", m, n, zero, zero, nan_y), zeros, m));
  if constexpr (prec<T>::complex) {
    // Both parts must match: (0, 1) is no zero alpha, (1, 0.5) no unit beta.
    std::vector<T> got = run("N", m, n, make<T>(0, 1), one, y0);
    EXPECT_TRUE(std::isnan(widen(got[0]).re));
    EXPECT_FALSE(same(run("N", m, n, zero, make<T>(1, 0.5), y0), y0, m));
  }

  // With real data: beta 0 clears a NaN in y, a NaN beta adds the product to
  // y unscaled (as beta 1 does).
  for (int i = 0; i < lda * n; ++i) a[i] = make<T>(0.01 * (i % 17) - 0.05, 0.03 * (i % 5));
  for (int i = 0; i < m; ++i) x[i] = make<T>(1.0 / (i + 3), -0.25);
  for (const char *trans : {"N", "T", "C"}) {
    const int leny = trans[0] == 'N' ? m : n;
    std::vector<T> cleared = run(trans, m, n, one, zero, nan_y);
    std::vector<T> from_zero = run(trans, m, n, one, one, zeros);
    EXPECT_TRUE(same(cleared, from_zero, leny)) << trans;
    EXPECT_FALSE(std::isnan(widen(cleared[0]).re));
    EXPECT_TRUE(same(run(trans, m, n, one, make<T>(nan, nan), y0), run(trans, m, n, one, one, y0), leny)) << trans;
  }
}

// The triangular routines call gemv with x and y as disjoint pieces of one
// vector under one stride, alpha and beta from stored constants.
TYPED_TEST(Gemv, PiecesOfOneVector) {
  using T = TypeParam;
  const T minus_one = make<T>(-1), one = make<T>(1);
  for (int inc : {1, -2}) {
    for (const char *trans : {"N", "T"}) {
      const bool plain = trans[0] == 'N';
      const int m = plain ? 70 : 64, n = plain ? 64 : 20, lda = m;
      const int lenx = plain ? n : m, leny = plain ? m : n;
      Buffer<T> a = random_elements<T>(static_cast<std::size_t>(lda) * n, 0, 11);
      Buffer<T> v = random_elements<T>(span(lenx + leny, inc), 0, 12);
      Buffer<T> want = v;
      // x is the first lenx logical elements, y the rest.
      vec<T> whole{v.data(), lenx + leny, inc}, model_whole{want.data(), lenx + leny, inc};
      vec<T> xv{sub(whole, 0, lenx), lenx, inc}, yv{sub(whole, lenx, leny), leny, inc};
      prec<T>::tav(trans, &m, &n, &minus_one, a.data(), &lda, xv.base, &inc, &one, yv.base, &inc);
      model_gemv<T>(trans[0], m, n, minus_one, a.data(), lda, sub(model_whole, 0, lenx), inc, one,
                    sub(model_whole, lenx, leny), inc);
      EXPECT_TRUE(v.same_bits(want)) << trans << " inc " << inc;
    }
  }
}

// The single-precision beta pass peels to a 16-byte boundary and then runs 8
// at a time: every offset and length scales each element exactly once and
// touches nothing around y.
TEST(Sgemv, BetaPassAtEveryOffset) {
  const float zero = 0, beta = -0.7f, nan = std::numeric_limits<float>::quiet_NaN();
  const int n = 1, lda = 1, inc = 1;
  const float a = 1, x = 1;
  for (int offset = 0; offset < 4; ++offset)
    for (int len = 1; len <= 40; ++len)
      for (float b : {beta, zero}) {
        const int guard = 4;
        Buffer<float> y = tavtest::random_buffer<float>(len + 2 * guard, offset, 3u + len);
        y[guard] = nan;
        Buffer<float> want = y;
        for (int i = guard; i < guard + len; ++i) want[i] = b == 0 ? 0.0f : want[i] * b;
        tav_sgemv("N", &len, &n, &zero, &a, &lda, &x, &inc, &b, y.data() + guard, &inc);
        EXPECT_TRUE(y.same_bits(want)) << "offset " << offset << " len " << len;
      }
}

}  // namespace
