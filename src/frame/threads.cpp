#include "frame/threads.h"

#include <omp.h>

namespace tav {

bool omp_in_parallel_now() { return omp_in_parallel() != 0; }

int omp_max_threads() { return omp_get_max_threads(); }

int omp_processors() { return omp_get_num_procs(); }

void parallel_parts(int count, void (*body)(int i, void *context), void *context) {
#pragma omp parallel for schedule(static, 1)
  for (int i = 0; i < count; ++i) body(i, context);
}

}  // namespace tav
