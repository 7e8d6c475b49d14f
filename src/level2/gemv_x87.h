#pragma once
// The complex multiply-accumulate of the gemv kernels, step by step on the
// x87 stack.
//
// A complex accumulator is two xreal sums; one step adds four products, one
// at a time:
//   plain:     re := (re + ar*xr) - ai*xi;  im := (im + ar*xi) + ai*xr
//   conjugate: re := (re + ar*xr) + ai*xi;  im := (im + ar*xi) - ai*xr
// Written in C++ the compiler keeps every widened factor of x and A on the
// eight-register stack and spills them as 80-bit values once two columns are
// in flight. The step below keeps only the accumulator on the stack and takes
// each element straight from memory into the multiply (the x87 unit widens it
// exactly), so each product and each sum is the same extended-precision
// operation as the C++ form; the build with double sums uses the C++ form.
// The clobbered st(7) keeps one register free for the pushed product.

#include "frame/xreal.h"

#if TAV_EXTENDED_SUMS && defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#define TAV_GEMV_X87_ASM 1
#else
#define TAV_GEMV_X87_ASM 0
#endif

namespace tav {

struct xcomplex {
  xreal re, im;
};

#if TAV_GEMV_X87_ASM

// Operands: %0 re (top of stack), %1 im (next), %2 ar, %3 ai, %4 xr, %5 xi.
// `re_op` and `im_op` fold the second product of each part into its sum: faddp
// adds, fsubrp subtracts the top from the sum below it. The sum of each part
// stays where it was; the product is pushed, combined and popped.
#define TAV_X87_CMAC_MEM(LD, MUL, RE_OP, IM_OP)                 \
  LD " %2\n\t" MUL " %4\n\tfaddp %%st, %%st(1)\n\t"            \
  LD " %3\n\t" MUL " %5\n\t" RE_OP " %%st, %%st(1)\n\t"        \
  "fxch %%st(1)\n\t"                                           \
  LD " %2\n\t" MUL " %5\n\tfaddp %%st, %%st(1)\n\t"            \
  LD " %3\n\t" MUL " %4\n\t" IM_OP " %%st, %%st(1)\n\t"        \
  "fxch %%st(1)"

// acc += a*x, or conj(a)*x; a and x single or double complex in memory.
template <bool conj, class C>
inline void x87_mac(xcomplex &acc, const C &a, const C &x) {
  if constexpr (sizeof(a.re) == 4) {
    if constexpr (conj)
      asm(TAV_X87_CMAC_MEM("flds", "fmuls", "faddp", "fsubrp")
          : "+t"(acc.re), "+u"(acc.im)
          : "m"(a.re), "m"(a.im), "m"(x.re), "m"(x.im)
          : "st(7)");
    else
      asm(TAV_X87_CMAC_MEM("flds", "fmuls", "fsubrp", "faddp")
          : "+t"(acc.re), "+u"(acc.im)
          : "m"(a.re), "m"(a.im), "m"(x.re), "m"(x.im)
          : "st(7)");
  } else {
    if constexpr (conj)
      asm(TAV_X87_CMAC_MEM("fldl", "fmull", "faddp", "fsubrp")
          : "+t"(acc.re), "+u"(acc.im)
          : "m"(a.re), "m"(a.im), "m"(x.re), "m"(x.im)
          : "st(7)");
    else
      asm(TAV_X87_CMAC_MEM("fldl", "fmull", "fsubrp", "faddp")
          : "+t"(acc.re), "+u"(acc.im)
          : "m"(a.re), "m"(a.im), "m"(x.re), "m"(x.im)
          : "st(7)");
  }
}

// Operands: %0 re, %1 im, %2 ar, %3 ai (memory), %4 tr, %5 ti (stack).
#define TAV_X87_CMAC_REG(MUL)                                   \
  "fld %4\n\t" MUL " %2\n\tfaddp %%st, %%st(1)\n\t"            \
  "fld %5\n\t" MUL " %3\n\tfsubrp %%st, %%st(1)\n\t"           \
  "fxch %%st(1)\n\t"                                           \
  "fld %5\n\t" MUL " %2\n\tfaddp %%st, %%st(1)\n\t"            \
  "fld %4\n\t" MUL " %3\n\tfaddp %%st, %%st(1)\n\t"            \
  "fxch %%st(1)"

// acc += a*t, plain; a in memory, t an unrounded value held on the stack.
// The compiler cannot be told of the pushed product here (a clobber would
// clash with the stack inputs): callers keep at most seven values live, which
// the tests of every kernel would show as NaN results otherwise.
template <class C>
inline void x87_mac(xcomplex &acc, const C &a, const xcomplex &t) {
  if constexpr (sizeof(a.re) == 4)
    asm(TAV_X87_CMAC_REG("fmuls")
        : "+t"(acc.re), "+u"(acc.im)
        : "m"(a.re), "m"(a.im), "f"(t.re), "f"(t.im));
  else
    asm(TAV_X87_CMAC_REG("fmull")
        : "+t"(acc.re), "+u"(acc.im)
        : "m"(a.re), "m"(a.im), "f"(t.re), "f"(t.im));
}

#undef TAV_X87_CMAC_MEM
#undef TAV_X87_CMAC_REG

#endif  // TAV_GEMV_X87_ASM

}  // namespace tav
