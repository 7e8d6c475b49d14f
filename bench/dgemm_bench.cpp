// dgemm_seq on one thread beside the peers' dgemm_: square sizes in the four
// flag combinations, and shapes with row, column and depth tails. Closes with
// the n = 1024 NN rate put against the machine's x87 multiply-plus-add peak;
// the peers (SSE2 or wider, double sums) show what the extended sums cost.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "bench.h"
#include "frame/xreal.h"
#include "level3/gemm/dgemm.h"
#include "peak.h"

namespace {

using dgemm_fn = void (*)(const char *, const char *, const int *, const int *, const int *, const double *,
                          const double *, const int *, const double *, const int *, const double *, double *,
                          const int *);

struct Shape {
  int m, n, k;
  char ta, tb;
};

// Above this much work the reference BLAS takes seconds per call.
constexpr double slow_peer_flops = 3e9;

bool is_nn1024(const Shape &s) { return s.m == 1024 && s.n == 1024 && s.k == 1024 && s.ta == 'N' && s.tb == 'N'; }

}  // namespace

TAV_BENCH(dgemm) {
  std::vector<Shape> shapes;
  // By default the small squares and the n = 1024 NN figure; --full adds the
  // other large squares and the shapes with tails.
  std::vector<int> squares = {128, 512, 1024};
  if (!b.full()) squares = {128};
  if (b.quick()) squares = {};
  const char flags[4][2] = {{'N', 'N'}, {'T', 'N'}, {'N', 'T'}, {'T', 'T'}};
  for (int s : squares)
    for (auto &f : flags) shapes.push_back({s, s, s, f[0], f[1]});
  if (!b.full()) shapes.push_back({1024, 1024, 1024, 'N', 'N'});
  // Row tails (edge kernels), padded and split depth tails, long thin operands.
  const Shape odd[] = {{1023, 1023, 1023, 'N', 'N'}, {1024, 1024, 60, 'N', 'N'}, {1024, 1024, 40, 'T', 'N'},
                       {3000, 32, 3000, 'N', 'T'},   {32, 3000, 3000, 'T', 'T'}};
  if (b.full())
    for (const Shape &s : odd) shapes.push_back(s);

  const double alpha = 0.75, beta = 1.25;
  double nn1024 = 0;
  std::vector<double> nn1024_peers;
  for (const Shape &s : shapes) {
    const int lda = s.ta == 'N' ? s.m : s.k, ldb = s.tb == 'N' ? s.k : s.n, ldc = s.m;
    const int acols = s.ta == 'N' ? s.k : s.m, bcols = s.tb == 'N' ? s.n : s.k;
    std::vector<double> a(static_cast<size_t>(lda) * acols), bm(static_cast<size_t>(ldb) * bcols),
        c(static_cast<size_t>(ldc) * s.n);
    for (size_t i = 0; i < a.size(); ++i) a[i] = (i * 7919 % 1000) * 1e-3 - 0.5;
    for (size_t i = 0; i < bm.size(); ++i) bm[i] = (i * 104729 % 1000) * 1e-3 - 0.5;
    for (size_t i = 0; i < c.size(); ++i) c[i] = (i % 13) * 0.1;
    // A beta other than 0 and 1 scales C on every call; alternating with 0.8
    // keeps C bounded over many calls at the same cost.
    int flip = 0;
    auto run = [&](dgemm_fn f) {
      const double bt = (flip ^= 1) ? beta : 0.8;
      f(&s.ta, &s.tb, &s.m, &s.n, &s.k, &alpha, a.data(), &lda, bm.data(), &ldb, &bt, c.data(), &ldc);
    };
    bench::Row row;
    char shape[64];
    std::snprintf(shape, sizeof shape, "%c%c m=%d n=%d k=%d", s.ta, s.tb, s.m, s.n, s.k);
    row.routine = "dgemm_seq";
    row.shape = shape;
    row.work = 2.0 * s.m * s.n * s.k;
    row.unit = "GFLOP/s";
    row.tav = b.time([&] { run(tav::dgemm_seq); }, 0.3);
    for (const bench::Peer &p : b.peers()) {
      auto f = p.fn<dgemm_fn>("dgemm_");
      double t = 0;
      if (f && !(p.label == "refblas" && row.work > slow_peer_flops)) t = b.time([&] { run(f); }, 0.3);
      row.peers.push_back(t);
    }
    if (is_nn1024(s)) nn1024 = row.tav, nn1024_peers = row.peers;
    b.add(row);
  }
  if (nn1024 > 0) {
    const double work = 2.0 * 1024 * 1024 * 1024;
    const double rate = work / nn1024 * 1e-9;
    // Other load on the machine only lowers a peak: keep the better of two.
    const double peak = std::max(bench::x87_peak_gflops(), bench::x87_peak_gflops());
    char text[240];
    std::snprintf(text, sizeof text,
                  "dgemm_seq NN n=1024: %.2f GFLOP/s = %.0f%% of the x87 multiply+add peak %.2f GFLOP/s (sums in %s)",
                  rate, 100.0 * rate / peak, peak,
                  sizeof(tav::xreal) > sizeof(double) ? "long double, x87" : "double, scalar SSE2 on x86-64");
    b.note(text);
    for (size_t i = 0; i < nn1024_peers.size() && i < b.peers().size(); ++i)
      if (nn1024_peers[i] > 0) {
        std::snprintf(text, sizeof text, "  %s dgemm_ NN n=1024: %.2f GFLOP/s", b.peers()[i].label.c_str(),
                      work / nn1024_peers[i] * 1e-9);
        b.note(text);
      }
  }
}
