// The thread gates: what they plan for outside and inside a parallel region,
// with one and with several threads, without a report on the way.
#include <gtest/gtest.h>
#include <omp.h>

#include "frame/gates.h"
#include "support/capture_stderr.h"

namespace {

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
