#pragma once
// Complex helpers shared by cgemm and zgemm: the flag letters, op(X)(r, c) for
// the three forms of an operand, and single-precision complex arithmetic with
// each multiply and add rounded to float.

#include <cstddef>

#include "tav_q7.h"

namespace tav {
namespace cplx {

using idx = std::ptrdiff_t;
using cf = tav_complex8;
using cd = tav_complex16;

enum class op_kind { direct, trans, conj };

// "N"/"n" direct, "T"/"t" transposed, any other letter conjugate-transposed.
inline op_kind kind_of(char flag) {
  if (flag == 'N' || flag == 'n') return op_kind::direct;
  if (flag == 'T' || flag == 't') return op_kind::trans;
  return op_kind::conj;
}

// op(X)(r, c) and the address of op(X)(r, c), for X stored with leading dimension ld.
template <class T>
struct op_n {
  static T at(const T *x, idx ld, idx r, idx c) { return x[r + c * ld]; }
  static const T *addr(const T *x, idx ld, idx r, idx c) { return x + r + c * ld; }
};
template <class T>
struct op_t {
  static T at(const T *x, idx ld, idx r, idx c) { return x[c + r * ld]; }
  static const T *addr(const T *x, idx ld, idx r, idx c) { return x + c + r * ld; }
};
template <class T>
struct op_c {
  static T at(const T *x, idx ld, idx r, idx c) {
    const T v = x[c + r * ld];
    return T{v.re, -v.im};
  }
  static const T *addr(const T *x, idx ld, idx r, idx c) { return x + c + r * ld; }
};

template <class T>
inline const T *op_addr(op_kind kind, const T *x, idx ld, idx r, idx c) {
  return kind == op_kind::direct ? x + r + c * ld : x + c + r * ld;
}

// The two operands of a product as the caller passed them, and where
// op(A)(i, p) and op(B)(p, j) lie.
template <class T>
struct operand_pair {
  char transa, transb;
  op_kind ka, kb;
  const T *a;
  idx lda;
  const T *b;
  idx ldb;
  T alpha;

  operand_pair(char ta, char tb, const T *a_, idx lda_, const T *b_, idx ldb_, T alpha_)
      : transa(ta), transb(tb), ka(kind_of(ta)), kb(kind_of(tb)), a(a_), lda(lda_), b(b_), ldb(ldb_),
        alpha(alpha_) {}
  const T *a_at(int i, int p) const { return op_addr(ka, a, lda, i, p); }
  const T *b_at(int p, int j) const { return op_addr(kb, b, ldb, p, j); }
};

// A part equal to the value, or NaN: neither below nor above it.
template <class R>
inline bool same_or_nan(R value, R constant) {
  return !(value < constant) && !(value > constant);
}
template <class C>
inline bool is_zero(const C &v) {
  return same_or_nan(v.re, decltype(v.re)(0)) && same_or_nan(v.im, decltype(v.im)(0));
}
template <class C>
inline bool is_one(const C &v) {
  return same_or_nan(v.re, decltype(v.re)(1)) && same_or_nan(v.im, decltype(v.im)(0));
}

// Single-precision complex product and sum, each operation rounded to float:
// re = xr * yr - xi * yi, im = xr * yi + xi * yr.
inline cf mul(cf x, cf y) { return cf{x.re * y.re - x.im * y.im, x.re * y.im + x.im * y.re}; }
inline cf add(cf x, cf y) { return cf{x.re + y.re, x.im + y.im}; }

}  // namespace cplx
}  // namespace tav
