#pragma once
// Multiply-plus-add peaks of this machine, measured by small loops, so that
// kernel rates can be put against what the unit they run on can do.

namespace bench {

// x87 (long double) multiply-then-add, in GFLOP/s (2 flops per pair).
double x87_peak_gflops();
// 128-bit SSE single-precision multiply-then-add (no FMA), in GFLOP/s.
double sse_peak_gflops();

}  // namespace bench
