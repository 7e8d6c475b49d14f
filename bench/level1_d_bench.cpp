// Double-precision vector routines beside the reference BLAS and OpenBLAS: the
// reductions and daxpy on an L1-resident length put against the x87
// multiply-plus-add peak, and dcopy of 64 MiB put against memcpy.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench.h"
#include "peak.h"
#include "tav_q7.h"

namespace {

constexpr int l1_length = 2048;
constexpr int lengths[] = {l1_length, 65536};
constexpr int copy_length = 8 * 1024 * 1024;  // 64 MiB of doubles

struct Vectors {
  std::vector<double> x, y;
  explicit Vectors(int n) : x(n), y(n) {
    for (int i = 0; i < n; ++i) {
      x[i] = 1.0 + 1e-3 * (i % 97);
      y[i] = 0.5 - 1e-3 * (i % 89);
    }
  }
};

using dot_fn = double (*)(const int *, const double *, const int *, const double *, const int *);
using axpy_fn = void (*)(const int *, const double *, const double *, const int *, double *, const int *);
using reduce_fn = double (*)(const int *, const double *, const int *);
using scal_fn = void (*)(const int *, const double *, double *, const int *);
using copy_fn = void (*)(const int *, const double *, const int *, double *, const int *);
using swap_fn = void (*)(const int *, double *, const int *, double *, const int *);
using index_fn = int (*)(const int *, const double *, const int *);

}  // namespace

TAV_BENCH(level1_d) {
  const int one = 1;
  const double peak = bench::x87_peak_gflops();
  for (int n : lengths) {
    Vectors v(n);
    const double alpha = 1.0001, fn = n, bytes = 8.0 * n;
    double rate[4];
    rate[0] = bench::compare_named(b, "ddot", tav_ddot, n, 2 * fn, "GF", [&](dot_fn f) {
      double r = f(&n, v.x.data(), &one, v.y.data(), &one);
      bench::keep(r);
    });
    rate[1] = bench::compare_named(b, "dasum", tav_dasum, n, fn, "GF", [&](reduce_fn f) {
      double r = f(&n, v.x.data(), &one);
      bench::keep(r);
    });
    rate[2] = bench::compare_named(b, "dnrm2", tav_dnrm2, n, 2 * fn, "GF", [&](reduce_fn f) {
      double r = f(&n, v.x.data(), &one);
      bench::keep(r);
    });
    rate[3] = bench::compare_named(b, "daxpy", tav_daxpy, n, 4 * fn, "GF", [&](axpy_fn f) {  // two calls
      double a = alpha;  // alternate signs keep y bounded
      f(&n, &a, v.x.data(), &one, v.y.data(), &one);
      a = -alpha;
      f(&n, &a, v.x.data(), &one, v.y.data(), &one);
    });
    bench::compare_named(b, "dscal", tav_dscal, n, 2 * fn, "GF", [&](scal_fn f) {  // two calls
      double a = alpha, inv = 1.0 / alpha;
      f(&n, &a, v.x.data(), &one);
      f(&n, &inv, v.x.data(), &one);
    });
    bench::compare_named(b, "dcopy", tav_dcopy, n, 2 * bytes, "GB", [&](copy_fn f) { f(&n, v.x.data(), &one, v.y.data(), &one); });
    bench::compare_named(b, "dswap", tav_dswap, n, 4 * bytes, "GB", [&](swap_fn f) { f(&n, v.x.data(), &one, v.y.data(), &one); });
    bench::compare_named(b, "idamax", tav_idamax, n, bytes, "GB", [&](index_fn f) {
      int r = f(&n, v.x.data(), &one);
      bench::keep(r);
    });
    bench::compare_named(b, "idamin", tav_idamin, n, bytes, "GB", [&](index_fn f) {
      int r = f(&n, v.x.data(), &one);
      bench::keep(r);
    });
    if (n == l1_length) {
      char text[200];
      std::snprintf(text, sizeof text,
                    "x87 multiply+add peak %.2f GFLOP/s; at n=%d ddot %.0f%%, dasum %.0f%% (one add per element), "
                    "dnrm2 %.0f%%, daxpy %.0f%% of it",
                    peak, n, 100 * rate[0] / peak, 100 * rate[1] / peak, 100 * rate[2] / peak, 100 * rate[3] / peak);
      b.note(text);
    }
  }

  // The copy's yardstick: memcpy on the same buffers, in the same run.
  const int n = copy_length;
  Vectors v(n);
  const double bytes = 8.0 * n;
  bench::compare_named(b, "dcopy", tav_dcopy, n, 2 * bytes, "GB", [&](copy_fn f) { f(&n, v.x.data(), &one, v.y.data(), &one); });
  // Alternate the two, best of each, so that both see the same load on a shared machine.
  double t_copy = 1e30, t_memcpy = 1e30;
  for (int turn = 0; turn < 3; ++turn) {
    t_copy = std::min(t_copy, b.time([&] { tav_dcopy(&n, v.x.data(), &one, v.y.data(), &one); }, 0.2));
    t_memcpy = std::min(t_memcpy, b.time(
                                      [&] {
                                        std::memcpy(v.y.data(), v.x.data(), bytes);
                                        bench::keep(v.y[0]);
                                      },
                                      0.2));
  }
  char text[160];
  std::snprintf(text, sizeof text, "dcopy of %.0f MiB: %.2f GB/s, memcpy %.2f GB/s: %.0f%% of memcpy",
                bytes / (1 << 20), 2 * bytes / t_copy * 1e-9, 2 * bytes / t_memcpy * 1e-9, 100 * t_memcpy / t_copy);
  b.note(text);
}
