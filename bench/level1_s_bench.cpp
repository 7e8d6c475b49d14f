// Single-precision vector routines, unit stride, at an L1-resident, an
// L2-resident and a memory-sized length, beside the reference BLAS and OpenBLAS.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench.h"
#include "tav_q7.h"

namespace {

constexpr int lengths[] = {4096, 65536, 16 * 1024 * 1024};

struct Vectors {
  std::vector<float> x, y;
  explicit Vectors(int n) : x(n), y(n) {
    for (int i = 0; i < n; ++i) {
      x[i] = 1.0f + 1e-3f * static_cast<float>(i % 97);
      y[i] = 0.5f - 1e-3f * static_cast<float>(i % 89);
    }
  }
};

using dot_fn = float (*)(const int *, const float *, const int *, const float *, const int *);
using axpy_fn = void (*)(const int *, const float *, const float *, const int *, float *, const int *);
using reduce_fn = float (*)(const int *, const float *, const int *);
using scal_fn = void (*)(const int *, const float *, float *, const int *);
using copy_fn = void (*)(const int *, const float *, const int *, float *, const int *);
using swap_fn = void (*)(const int *, float *, const int *, float *, const int *);
using index_fn = int (*)(const int *, const float *, const int *);

}  // namespace

TAV_BENCH(level1_s) {
  const int one = 1;
  for (int n : lengths) {
    Vectors v(n);
    const float alpha = 1.0001f;
    const double fn = n, bytes = 4.0 * n;
    bench::compare_named(b, "sdot", tav_sdot, n, 2 * fn, "GF", [&](dot_fn f) {
      float r = f(&n, v.x.data(), &one, v.y.data(), &one);
      bench::keep(r);
    });
    bench::compare_named(b, "sasum", tav_sasum, n, fn, "GF", [&](reduce_fn f) {
      float r = f(&n, v.x.data(), &one);
      bench::keep(r);
    });
    bench::compare_named(b, "snrm2", tav_snrm2, n, 2 * fn, "GF", [&](reduce_fn f) {
      float r = f(&n, v.x.data(), &one);
      bench::keep(r);
    });
    bench::compare_named(b, "saxpy", tav_saxpy, n, 2 * fn, "GF", [&](axpy_fn f) {
      float a = alpha;  // alternate signs keep y bounded
      f(&n, &a, v.x.data(), &one, v.y.data(), &one);
      a = -alpha;
      f(&n, &a, v.x.data(), &one, v.y.data(), &one);
    });
    bench::compare_named(b, "sscal", tav_sscal, n, fn, "GF", [&](scal_fn f) {
      float a = alpha, inv = 1.0f / alpha;
      f(&n, &a, v.x.data(), &one);
      f(&n, &inv, v.x.data(), &one);
    });
    bench::compare_named(b, "scopy", tav_scopy, n, 2 * bytes, "GB", [&](copy_fn f) { f(&n, v.x.data(), &one, v.y.data(), &one); });
    bench::compare_named(b, "sswap", tav_sswap, n, 4 * bytes, "GB", [&](swap_fn f) { f(&n, v.x.data(), &one, v.y.data(), &one); });
    bench::compare_named(b, "isamax", tav_isamax, n, bytes, "GB", [&](index_fn f) {
      int r = f(&n, v.x.data(), &one);
      bench::keep(r);
    });
    bench::compare_named(b, "isamin", tav_isamin, n, bytes, "GB", [&](index_fn f) {
      int r = f(&n, v.x.data(), &one);
      bench::keep(r);
    });
    if (n == lengths[2]) {
      // The copy's yardstick: memcpy on the same buffers.
      double t_copy = b.time([&] { tav_scopy(&n, v.x.data(), &one, v.y.data(), &one); });
      double t_memcpy = b.time([&] {
        std::memcpy(v.y.data(), v.x.data(), bytes);
        bench::keep(v.y[0]);
      });
      char text[160];
      std::snprintf(text, sizeof text, "scopy of %.0f MiB: %.2f GB/s, memcpy %.2f GB/s: %.0f%% of memcpy",
                    bytes / (1 << 20), 2 * bytes / t_copy * 1e-9, 2 * bytes / t_memcpy * 1e-9,
                    100 * t_memcpy / t_copy);
      b.note(text);
    }
  }
}
