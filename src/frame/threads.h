#pragma once
// The library's view of the OpenMP runtime: the queries the thread gates make
// and the one loop form of the threaded routines. Nothing outside src/frame/
// includes <omp.h>.

namespace tav {

// Non-zero when the caller is already inside a parallel region.
bool omp_in_parallel_now();
// The team size the runtime would give a new region.
int omp_max_threads();
// The number of processors the runtime sees.
int omp_processors();

// Runs body(i, context) for i = 0 .. count-1 in one parallel region, as a
// static loop of chunk 1 over the team (part i on thread i mod team size).
// If the runtime gives a team of one, the same loop runs on the calling thread.
void parallel_parts(int count, void (*body)(int i, void *context), void *context);

}  // namespace tav
