#pragma once
// The one type of the sums that the library keeps on the x87 stack.
//
// By default it is the x87 80-bit format (long double), which follows the
// caller's precision control. Built with TAV_EXTENDED_SUMS=0 it is double,
// which is what the x87 unit computes under a 53-bit precision control and is
// much faster on processors whose x87 unit is slow. Kernels never spell the
// type of such a sum directly; they widen operands with (xreal) and round with
// an explicit conversion where a value leaves extended precision.

#ifndef TAV_EXTENDED_SUMS
#define TAV_EXTENDED_SUMS 1
#endif

namespace tav {

#if TAV_EXTENDED_SUMS
using xreal = long double;
#else
using xreal = double;
#endif

// A value moved through the x87 stack unchanged in value: the load quiets a
// signalling NaN (as the unit's load does) and keeps every other value. The
// barrier keeps the compiler from folding the round trip away.
template <class T>
inline T through_x87(T value) {
  xreal held = static_cast<xreal>(value);
  asm volatile("" : "+m"(held));
  return static_cast<T>(held);
}

}  // namespace tav
