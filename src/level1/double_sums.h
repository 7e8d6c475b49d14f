#pragma once
// Summation patterns and helpers shared by the double-precision vector kernels.
//
// sum4: four extended-precision sums A, B, C, D take the elements of each
// 4-element round in turn; D starts as the running sum (0). They combine as
// ((D + A) + B) + C, and the elements after the last full round are added to
// that one at a time, in order.
//
// sum2: in each 2-element round the first element goes into a sum A, the
// second into the running sum S; they combine as S + A, and a last odd
// element is added to that.

#include <xmmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/xreal.h"

namespace tav {

// Term: xreal operator()(i); Prefetch: void operator()(i) once per round.
template <class Term, class Prefetch>
xreal sum4(int n, const Term &term, const Prefetch &prefetch) {
  xreal a = 0, b = 0, c = 0, d = 0;
  int i = 0;
  for (; n - i >= 4; i += 4) {
    prefetch(i);
    a += term(i);
    b += term(i + 1);
    c += term(i + 2);
    d += term(i + 3);
  }
  xreal sum = ((d + a) + b) + c;
  for (; i < n; ++i) sum += term(i);
  return sum;
}

template <class Term, class Prefetch>
xreal sum2(int n, const Term &term, const Prefetch &prefetch) {
  xreal a = 0, s = 0;
  int i = 0;
  for (; n - i >= 2; i += 2) {
    prefetch(i);
    a += term(i);
    s += term(i + 1);
  }
  xreal sum = s + a;
  if (i < n) sum += term(i);
  return sum;
}

// Element-wise routines: prefetch(i) once per full round of Round elements,
// step(k) for every element in order, those after the last round one at a time.
template <int Round, class Prefetch, class Step>
inline void in_rounds(int n, const Prefetch &prefetch, const Step &step) {
  int i = 0;
  for (; n - i >= Round; i += Round) {
    prefetch(i);
    for (int k = i; k < i + Round; ++k) step(k);
  }
  for (; i < n; ++i) step(i);
}

// Address of element 1 of a strided vector in the published order: with a
// negative stride it stands at (1 - n) * inc elements from the given address.
template <class T>
T *dvec_start(T *p, int n, int inc) {
  return inc < 0 ? p + static_cast<std::ptrdiff_t>(1 - n) * inc : p;
}

// A prefetch hint `bytes` past p. Only an address is formed, nothing is read,
// so a hint beyond either end of the vector is harmless.
inline void prefetch_nta(const void *p, std::ptrdiff_t bytes) {
  _mm_prefetch(reinterpret_cast<const char *>(reinterpret_cast<std::uintptr_t>(p) + bytes), _MM_HINT_NTA);
}

// Element moves of copy and swap, which accept vectors at any byte address
// (a y off 8-byte alignment never reaches the packed body and is moved whole
// by the peel).
inline double load_any(const double *p) {
  double v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline void store_any(double *p, double v) { std::memcpy(p, &v, sizeof v); }

inline bool aligned_to(const void *p, std::uintptr_t bytes) {
  return (reinterpret_cast<std::uintptr_t>(p) & (bytes - 1)) == 0;
}

}  // namespace tav
