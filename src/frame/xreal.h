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

}  // namespace tav
