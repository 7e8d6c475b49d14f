// sgemm_seq on one thread beside the peers' sgemm_: square sizes in all four
// flag combinations, and tall and skinny shapes. Closes with the n = 1024 NN
// rate put against the machine's SSE multiply-plus-add peak.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "bench.h"
#include "level3/gemm/sgemm.h"
#include "peak.h"

namespace {

using sgemm_fn = void (*)(const char *, const char *, const int *, const int *, const int *, const float *,
                          const float *, const int *, const float *, const int *, const float *, float *,
                          const int *);

struct Shape {
  int m, n, k;
  char ta, tb;
};

// The reference BLAS takes seconds per call from this much work on.
constexpr double slow_peer_flops = 3e9;

}  // namespace

TAV_BENCH(sgemm) {
  std::vector<Shape> shapes;
  // By default the 256 squares (and the n = 1024 NN figure below); --full adds
  // the large squares and the tall and skinny shapes.
  std::vector<int> squares = {256, 512, 1024, 2048};
  if (!b.full()) squares = {256};
  const char flags[4][2] = {{'N', 'N'}, {'T', 'N'}, {'N', 'T'}, {'T', 'T'}};
  for (int s : squares)
    for (auto &f : flags) shapes.push_back({s, s, s, f[0], f[1]});
  // Tall and skinny: long thin operands, small depths with tails, odd edges.
  const Shape thin[] = {{4096, 64, 256, 'N', 'N'},  {64, 4096, 256, 'N', 'N'}, {1024, 1024, 60, 'N', 'N'},
                        {1024, 1024, 40, 'T', 'N'}, {4000, 16, 4000, 'N', 'T'}, {1000, 1000, 1000, 'N', 'N'},
                        {2000, 200, 2000, 'T', 'T'}};
  if (b.full())
    for (const Shape &s : thin) shapes.push_back(s);

  const float alpha = 0.75f, beta = 1.25f;
  for (const Shape &s : shapes) {
    const int lda = s.ta == 'N' ? s.m : s.k, ldb = s.tb == 'N' ? s.k : s.n, ldc = s.m;
    const int acols = s.ta == 'N' ? s.k : s.m, bcols = s.tb == 'N' ? s.n : s.k;
    std::vector<float> a(static_cast<size_t>(lda) * acols), bm(static_cast<size_t>(ldb) * bcols),
        c(static_cast<size_t>(ldc) * s.n);
    for (size_t i = 0; i < a.size(); ++i) a[i] = static_cast<float>((i * 7919 % 1000) * 1e-3 - 0.5);
    for (size_t i = 0; i < bm.size(); ++i) bm[i] = static_cast<float>((i * 104729 % 1000) * 1e-3 - 0.5);
    for (size_t i = 0; i < c.size(); ++i) c[i] = static_cast<float>((i % 13) * 0.1);
    // beta 1.25 would grow C without bound over many calls; the timing is
    // the same for any beta that is not 0, so C is scaled back by 0.8 each time.
    auto run = [&](sgemm_fn f, float bt) {
      f(&s.ta, &s.tb, &s.m, &s.n, &s.k, &alpha, a.data(), &lda, bm.data(), &ldb, &bt, c.data(), &ldc);
    };
    bench::Row row;
    char shape[64];
    std::snprintf(shape, sizeof shape, "%c%c m=%d n=%d k=%d", s.ta, s.tb, s.m, s.n, s.k);
    row.routine = "sgemm_seq";
    row.shape = shape;
    row.work = 2.0 * s.m * s.n * s.k;
    row.unit = "GFLOP/s";
    int flip = 0;
    row.tav = b.time([&] { run(tav::sgemm_seq, (flip ^= 1) ? beta : 0.8f); }, 0.3);
    for (const bench::Peer &p : b.peers()) {
      auto f = p.fn<sgemm_fn>("sgemm_");
      double t = 0;
      if (f && !(p.label == "refblas" && row.work > slow_peer_flops))
        t = b.time([&] { run(f, (flip ^= 1) ? beta : 0.8f); }, 0.3);
      row.peers.push_back(t);
    }
    b.add(row);
  }
  // The figure: n = 1024 NN against the SSE peak and the Core2 kernels. On
  // a shared machine the rates drift with the load, so the peak, tav and the
  // peer are measured in alternation, and the best of each is kept.
  const Shape fig{1024, 1024, 1024, 'N', 'N'};
  std::vector<float> a(1024 * 1024), bm(1024 * 1024), c(1024 * 1024, 0.0f);
  for (size_t i = 0; i < a.size(); ++i) a[i] = static_cast<float>((i * 7919 % 1000) * 1e-3 - 0.5);
  for (size_t i = 0; i < bm.size(); ++i) bm[i] = static_cast<float>((i * 104729 % 1000) * 1e-3 - 0.5);
  sgemm_fn core2 = nullptr;
  for (const bench::Peer &p : b.peers())
    if (p.label == "ob-core2") core2 = p.fn<sgemm_fn>("sgemm_");
  const float one = 1.0f;
  auto call = [&](sgemm_fn f) {
    f(&fig.ta, &fig.tb, &fig.m, &fig.n, &fig.k, &alpha, a.data(), &fig.m, bm.data(), &fig.k, &one, c.data(),
      &fig.m);
  };
  double peak = 0, best_tav = 1e30, best_core2 = 1e30;
  for (int round = 0; round < (b.full() ? 5 : 2); ++round) {
    peak = std::max(peak, bench::sse_peak_gflops());
    best_tav = std::min(best_tav, b.time([&] { call(tav::sgemm_seq); }, 0.2));
    if (core2) best_core2 = std::min(best_core2, b.time([&] { call(core2); }, 0.2));
  }
  const double rate = 2.0 * 1024 * 1024 * 1024 / best_tav * 1e-9;
  char text[200];
  std::snprintf(text, sizeof text, "sgemm_seq NN n=1024: %.2f GFLOP/s = %.0f%% of the SSE multiply+add peak %.2f GFLOP/s",
                rate, 100.0 * rate / peak, peak);
  b.note(text);
  if (core2) {
    std::snprintf(text, sizeof text, "sgemm_seq NN n=1024 against ob-core2 (%.2f GFLOP/s): %.2fx",
                  2.0 * 1024 * 1024 * 1024 / best_core2 * 1e-9, best_core2 / best_tav);
    b.note(text);
  }
}
