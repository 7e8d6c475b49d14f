#pragma once
// The two thread gates of the Level 3 routines and the region form they fork.
// Nothing outside src/frame/ includes <omp.h>; the routines ask here.

#include <type_traits>

namespace tav {

// Stack a worker thread must offer: the largest packing frame of a serial
// routine (a little over 256 KiB) with a serial driver's frame below it, with
// room to spare.
constexpr int worker_stack_bytes = 0x200000;

// Gate A, the single-precision family beside gemm. Asks, in this order, for the
// processor count (not positive: reported through xerbla as a condition, 1:
// serial), whether the caller is in a parallel region (serial), and for the
// team size (not positive: reported, 1: serial). Returns the team size to plan
// for (2 or more), 1 for serial, or 0 when a count was reported: the routine
// then returns with nothing done. The worker stack is left as it is.
int gate_a(const char *name, int length);
// The same, reporting a bad processor count under one name and a bad team size
// under another.
int gate_a(const char *procs_name, int procs_length, const char *threads_name, int threads_length);

// Gate B, all other threaded routines. Serial (returns 1) inside a parallel
// region or with a team size of 1 or less, without a report; otherwise makes
// sure new workers get worker_stack_bytes of stack and returns the team size.
int gate_b();
// Gate B without the stack step, for the one routine that leaves it out.
int gate_b_keep_stack();

// The region of every threaded Level 3 routine: piece(i, context) for i = 0 ..
// threads - 1, in one parallel region asked for `threads` threads. Each team
// member walks a contiguous range of i (a plain static schedule), the upper end
// clipped to threads - 1, so a team smaller than `threads` (down to the team of
// one of a serialised region) runs every piece and writes the same result.
void parallel_pieces(int threads, void (*piece)(int i, void *context), void *context);

// The same with any callable taking the piece index.
template <class F>
void parallel_pieces(int threads, F &&piece) {
  using callable = std::remove_reference_t<F>;
  parallel_pieces(
      threads, [](int i, void *context) { (*static_cast<callable *>(context))(i); },
      const_cast<void *>(static_cast<const void *>(&piece)));
}

}  // namespace tav
