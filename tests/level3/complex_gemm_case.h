#pragma once
// One complex product with its operands for the cgemm_seq and zgemm_seq tests:
// stored with padded leading dimensions at chosen offsets from a 64-byte
// boundary, with op(X)(r, c) read back for the models, and the reference BLAS
// as the oracle within a tolerance.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <initializer_list>
#include <utility>

#include "support/buffers.h"
#include "support/refblas.h"
#include "tav_q7.h"

namespace tavtest {

// "N"/"n" direct, "T"/"t" transposed, anything else conjugate-transposed.
inline char plain_flag(char flag) {
  if (flag == 'N' || flag == 'n') return 'N';
  if (flag == 'T' || flag == 't') return 'T';
  return 'C';
}

template <class C>
struct ComplexCase {
  using R = decltype(C{}.re);
  using seq_fn = void (*)(const char *, const char *, const int *, const int *, const int *, const C *, const C *,
                          const int *, const C *, const int *, const C *, C *, const int *);

  char ta = 'N', tb = 'N';
  int m = 0, n = 0, k = 0;
  int lda = 1, ldb = 1, ldc = 1;
  C alpha{R(1.25), R(-0.375)}, beta{R(-0.7), R(0.3)};
  Buffer<C> a, b, c;

  ComplexCase(char ta_, char tb_, int m_, int n_, int k_, unsigned seed, int pad = 0, std::size_t offset = 0)
      : ta(ta_), tb(tb_), m(m_), n(n_), k(k_) {
    const bool a_direct = plain_flag(ta) == 'N', b_direct = plain_flag(tb) == 'N';
    const int a_rows = a_direct ? m : k, a_cols = a_direct ? k : m;
    const int b_rows = b_direct ? k : n, b_cols = b_direct ? n : k;
    lda = std::max(1, a_rows + pad);
    ldb = std::max(1, b_rows + 2 * pad);
    ldc = std::max(1, m + 3 * pad);
    a = filled(std::size_t(lda) * std::max(1, a_cols), offset, seed);
    b = filled(std::size_t(ldb) * std::max(1, b_cols), (offset + 1) % 4, seed + 1);
    c = filled(std::size_t(ldc) * std::max(1, n), (offset + 2) % 4, seed + 2);
  }
  static Buffer<C> filled(std::size_t count, std::size_t offset, unsigned seed) {
    Buffer<C> out(count, offset);
    fill_random(reinterpret_cast<R *>(out.data()), 2 * count, seed);
    return out;
  }

  C op_a(int i, int p) const { return op(a, lda, ta, i, p); }
  C op_b(int p, int j) const { return op(b, ldb, tb, p, j); }
  static C op(const Buffer<C> &x, int ld, char flag, int r, int col) {
    const char f = plain_flag(flag);
    const C v = f == 'N' ? x[r + std::size_t(col) * ld] : x[col + std::size_t(r) * ld];
    return f == 'C' ? C{v.re, -v.im} : v;
  }
  C &at(Buffer<C> &cc, int i, int j) const { return cc[i + std::size_t(j) * ldc]; }

  Buffer<C> run(seq_fn f) const {
    Buffer<C> out = c;
    f(&ta, &tb, &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, out.data(), &ldc);
    return out;
  }
  Buffer<C> reference(const char *name) const {
    Buffer<C> out = c;
    auto ref = RefBlas::get().fn<seq_fn>(name);
    const char ra = plain_flag(ta), rb = plain_flag(tb);
    ref(&ra, &rb, &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, out.data(), &ldc);
    return out;
  }

  // Within a tolerance of |beta c| + sum |alpha a b| (the scale of an
  // element's rounding error) of the reference BLAS.
  ::testing::AssertionResult near_reference(const char *name, const Buffer<C> &got) const {
    using Z = std::complex<double>;
    auto z = [](C v) { return Z(v.re, v.im); };
    const Buffer<C> want = reference(name);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i) {
        const std::size_t at = i + std::size_t(j) * ldc;
        double s = std::abs(z(beta) * z(c[at]));
        for (int p = 0; p < k; ++p) s += std::abs(z(alpha) * z(op_a(i, p)) * z(op_b(p, j)));
        const double tol = sum_tolerance<R>(4 * k + 2, s);
        if (!(std::fabs(got[at].re - want[at].re) <= tol) || !(std::fabs(got[at].im - want[at].im) <= tol))
          return differ(i, j, got[at], want[at]);
      }
    return ::testing::AssertionSuccess();
  }

  // Every stored element of C, padding included, bit for bit.
  ::testing::AssertionResult same_bits(const Buffer<C> &got, const Buffer<C> &want) const {
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < ldc; ++i) {
        const std::size_t at = i + std::size_t(j) * ldc;
        if (bits_of(got[at].re) != bits_of(want[at].re) || bits_of(got[at].im) != bits_of(want[at].im))
          return differ(i, j, got[at], want[at]);
      }
    return ::testing::AssertionSuccess();
  }
  static ::testing::AssertionResult differ(int i, int j, C got, C want) {
    return ::testing::AssertionFailure() << "C(" << i << "," << j << ") (" << got.re << "," << got.im << ") vs ("
                                         << want.re << "," << want.im << ")";
  }
};

// The nine flag cases, odd letters among them.
constexpr char complex_flag_pairs[9][2] = {{'N', 'N'}, {'n', 'T'}, {'N', 'C'}, {'t', 'n'}, {'T', 't'},
                                           {'T', 'c'}, {'C', 'N'}, {'x', 'T'}, {'?', 'R'}};

// The routine's result bit for bit against a model, and near the reference.
template <class C, class Model>
void expect_model_and_reference(const ComplexCase<C> &pr, typename ComplexCase<C>::seq_fn routine, Model model,
                                const char *reference) {
  const Buffer<C> got = pr.run(routine);
  EXPECT_TRUE(pr.same_bits(got, model(pr)));
  if (RefBlas::get().loaded()) {
    EXPECT_TRUE(pr.near_reference(reference, got));
  }
}

// Every flag pair by every m and k at n columns, with leading dimensions
// padded by 0 to 2 and operands 0 to 3 elements past a 64-byte boundary.
template <class C, class Check>
void for_flag_grid(std::initializer_list<int> ms, std::initializer_list<int> ks, int n, unsigned seed, Check check) {
  for (const auto &f : complex_flag_pairs)
    for (int m : ms)
      for (int k : ks) {
        ++seed;
        SCOPED_TRACE(testing::Message() << f[0] << f[1] << " m=" << m << " k=" << k);
        check(ComplexCase<C>(f[0], f[1], m, n, k, seed, int(seed % 3), seed % 4));
      }
}

struct GemmShape {
  int m, n, k;
  char ta, tb;
};
// Each shape with padding 1 and operands 0 to 3 elements past a boundary.
template <class C, class Check>
void for_shapes(std::initializer_list<GemmShape> shapes, unsigned seed, Check check) {
  for (const GemmShape &s : shapes) {
    ++seed;
    SCOPED_TRACE(testing::Message() << s.ta << s.tb << " m=" << s.m << " n=" << s.n << " k=" << s.k);
    check(ComplexCase<C>(s.ta, s.tb, s.m, s.n, s.k, seed, 1, seed % 4));
  }
}

// m or n zero or negative: no element of C is touched.
template <class C>
void expect_empty_shapes_untouched(typename ComplexCase<C>::seq_fn routine) {
  for (const auto &s : {std::pair<int, int>{0, 5}, {5, 0}, {-1, 5}, {0, 0}}) {
    ComplexCase<C> pr('N', 'N', 5, 5, 8, 3);
    pr.m = s.first;
    pr.n = s.second;
    EXPECT_TRUE(pr.run(routine).same_bits(pr.c)) << s.first << " x " << s.second;  // the whole buffer
  }
}

}  // namespace tavtest
