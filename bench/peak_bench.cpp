// Prints the machine's peaks first ("_peaks" sorts before the families).
#include <cstdio>

#include "bench.h"
#include "peak.h"

TAV_BENCH(_peaks) {
  char text[160];
  std::snprintf(text, sizeof text, "peaks: x87 multiply+add %.2f GFLOP/s, SSE 128-bit multiply+add %.2f GFLOP/s",
                bench::x87_peak_gflops(), bench::sse_peak_gflops());
  b.note(text);
}
