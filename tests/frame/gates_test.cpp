// The thread gates: what they plan for outside and inside a parallel region,
// with one and with several threads, without a report on the way.
#include <gtest/gtest.h>
#include <omp.h>
#include <pthread.h>

#include <algorithm>
#include <cstddef>

#include "frame/gates.h"
#include "support/capture_stderr.h"

namespace {

std::size_t default_thread_stack() {
  pthread_attr_t attr;
  std::size_t size = 0;
  if (pthread_getattr_default_np(&attr) == 0) {
    pthread_attr_getstacksize(&attr, &size);
    pthread_attr_destroy(&attr);
  }
  return size;
}

TEST(ThreadGates, PlanTheTeamSizeOrSerial) {
  const int saved = omp_get_max_threads();
  for (int threads : {1, 2, 5}) {
    omp_set_num_threads(threads);
    int a = 0, b = 0, b_keep = 0;
    std::string text = tavtest::capture_stderr([&] {
      a = tav::gate_a("SSYRK ", 6);
      b = tav::gate_b();
      b_keep = tav::gate_b_keep_stack();
    });
    EXPECT_EQ(text, "");
    EXPECT_EQ(b, threads);
    EXPECT_EQ(b_keep, threads);
    // Gate A also goes serial on a single processor.
    EXPECT_EQ(a, omp_get_num_procs() == 1 ? 1 : threads);
  }
  omp_set_num_threads(4);
  int inside[3] = {0, 0, 0};
#pragma omp parallel num_threads(2)
#pragma omp single
  {
    inside[0] = tav::gate_a("SSYRK ", 6, "SSYRK ", 6);
    inside[1] = tav::gate_b();
    inside[2] = tav::gate_b_keep_stack();
  }
  EXPECT_EQ(inside[0], 1);
  EXPECT_EQ(inside[1], 1);
  EXPECT_EQ(inside[2], 1);
  omp_set_num_threads(saved);
}

}  // namespace

// Gate B raises the stack of new threads to 2 MiB when it is lower and never
// lowers a larger one (the usual 8 MiB default stays).
TEST(ThreadGates, GateBLeavesNewThreadsAtLeastTwoMebibytes) {
  const int saved = omp_get_max_threads();
  omp_set_num_threads(2);
  const std::size_t before = default_thread_stack();
  ASSERT_EQ(tav::gate_b(), 2);
  const std::size_t after = default_thread_stack();
  EXPECT_EQ(after, std::max(before, std::size_t(tav::worker_stack_bytes)));
  omp_set_num_threads(saved);
}
