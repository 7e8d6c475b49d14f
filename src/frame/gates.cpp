#include "frame/gates.h"

#include <omp.h>
#include <pthread.h>

#include "frame/xerbla.h"

namespace tav {

namespace {

// libgomp starts its workers with the stack size of OMP_STACKSIZE (or
// GOMP_STACKSIZE), read once when the runtime loads; without either it leaves
// the size to the thread library, whose default is taken from the stack limit
// at process start (8 MiB under the usual `ulimit -s`, 2 MiB when unlimited, but
// as little as the caller's limit otherwise). OpenMP has no call that sets the
// size later, so before each fork the library raises glibc's default for new
// threads to worker_stack_bytes when it is lower; workers the runtime creates
// from then on get at least that. It never lowers a larger default, and an
// explicit OMP_STACKSIZE stays the caller's choice. Workers the runtime started
// before the first threaded call (for a region of the caller's own) keep the
// stack they were given.
void reserve_worker_stack() {
  pthread_attr_t defaults;
  if (pthread_getattr_default_np(&defaults) != 0) return;
  size_t size = 0;
  if (pthread_attr_getstacksize(&defaults, &size) == 0 && size < static_cast<size_t>(worker_stack_bytes) &&
      pthread_attr_setstacksize(&defaults, worker_stack_bytes) == 0)
    pthread_setattr_default_np(&defaults);
  pthread_attr_destroy(&defaults);
}

int gate_b_queries() {
  if (omp_in_parallel()) return 1;
  int threads = omp_get_max_threads();
  return threads > 1 ? threads : 1;
}

}  // namespace

int gate_a(const char *procs_name, int procs_length, const char *threads_name, int threads_length) {
  int procs = omp_get_num_procs();
  if (procs <= 0) {
    xerbla(procs_name, &procs, procs_length);
    return 0;
  }
  if (procs == 1) return 1;
  if (omp_in_parallel()) return 1;
  int threads = omp_get_max_threads();
  if (threads <= 0) {
    xerbla(threads_name, &threads, threads_length);
    return 0;
  }
  return threads;
}

int gate_a(const char *name, int length) { return gate_a(name, length, name, length); }

int gate_b() {
  int threads = gate_b_queries();
  if (threads > 1) reserve_worker_stack();
  return threads;
}

int gate_b_keep_stack() { return gate_b_queries(); }

void parallel_pieces(int threads, void (*piece)(int i, void *context), void *context) {
  // A region the runtime cannot fork (nested, or past its thread limit) runs
  // serialised with a team of one, which then walks every piece.
#pragma omp parallel num_threads(threads)
  {
    const int team = omp_get_num_threads();
    const int member = omp_get_thread_num();
    const int per_member = (threads + team - 1) / team;
    const int lower = member * per_member;
    int upper = lower + per_member - 1;
    if (upper > threads - 1) upper = threads - 1;
    for (int i = lower; i <= upper; ++i) piece(i, context);
  }
}

}  // namespace tav
