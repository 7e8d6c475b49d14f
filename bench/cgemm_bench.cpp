// cgemm_seq and zgemm_seq on one thread beside the peers' cgemm_ and zgemm_
// (reference BLAS, OpenBLAS with its own kernels and with the Core2 ones).
// The default run times a small square (NN and a conjugated pair) and the
// n = 1024 NN figure: cgemm_seq against the SSE multiply-plus-add peak,
// zgemm_seq against the x87 one. --full adds squares up to 1024 in several
// flag pairs and shapes with row and depth tails.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "bench.h"
#include "frame/xreal.h"
#include "level3/gemm/cgemm.h"
#include "level3/gemm/zgemm.h"
#include "peak.h"

namespace {

template <class C>
using gemm_fn = void (*)(const char *, const char *, const int *, const int *, const int *, const C *, const C *,
                         const int *, const C *, const int *, const C *, C *, const int *);

struct Shape {
  int m, n, k;
  char ta, tb;
};

// One precision's contenders and the peak its figure is put against.
template <class C>
struct Family {
  const char *routine;       // "cgemm_seq"
  gemm_fn<C> tav;
  const char *peer_symbol;   // "cgemm_"
  double (*peak)();
  const char *peak_name;
  int figure_rounds;         // tav calls (each beside a peak run) for the figure
};

// Above this much work the reference BLAS takes seconds per call.
constexpr double slow_peer_flops = 1e9;

double seconds_of(const std::function<void()> &call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Operands of one shape, with values that stay bounded over repeated calls.
template <class C>
struct Operands {
  using R = decltype(C{}.re);
  int lda, ldb, ldc;
  std::vector<C> a, b, c;
  explicit Operands(const Shape &s) {
    lda = s.ta == 'N' ? s.m : s.k;
    ldb = s.tb == 'N' ? s.k : s.n;
    ldc = s.m;
    a.resize(static_cast<size_t>(lda) * (s.ta == 'N' ? s.k : s.m));
    b.resize(static_cast<size_t>(ldb) * (s.tb == 'N' ? s.n : s.k));
    c.resize(static_cast<size_t>(ldc) * s.n);
    for (size_t i = 0; i < a.size(); ++i) a[i] = C{R((i * 7919 % 1000) * 1e-3 - 0.5), R((i * 31 % 97) * 1e-2 - 0.4)};
    for (size_t i = 0; i < b.size(); ++i) b[i] = C{R((i * 104729 % 1000) * 1e-3 - 0.5), R((i % 89) * 1e-2 - 0.45)};
    for (size_t i = 0; i < c.size(); ++i) c[i] = C{R((i % 13) * 0.1), R(0)};
  }
  void run(gemm_fn<C> f, const Shape &s, const C &alpha, const C &beta) {
    f(&s.ta, &s.tb, &s.m, &s.n, &s.k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, c.data(), &ldc);
  }
};

template <class C>
void run_family(bench::Bench &b, const Family<C> &fam) {
  using R = decltype(C{}.re);
  std::vector<Shape> shapes = {{200, 200, 200, 'N', 'N'}, {200, 200, 200, 'C', 'C'}};
  if (b.full()) {
    const char flags[][2] = {{'N', 'N'}, {'T', 'N'}, {'N', 'C'}, {'C', 'T'}};
    for (int s : {128, 512})
      for (auto &f : flags) shapes.push_back({s, s, s, f[0], f[1]});
    const Shape odd[] = {{1021, 256, 256, 'N', 'N'}, {512, 512, 40, 'N', 'T'}, {4000, 24, 600, 'C', 'N'},
                         {24, 4000, 600, 'T', 'C'}};
    for (const Shape &s : odd) shapes.push_back(s);
  }
  const C alpha{R(0.75), R(-0.25)}, beta{R(0.5), R(0.125)};
  for (const Shape &s : shapes) {
    Operands<C> ops(s);
    bench::Row row;
    char shape[64];
    std::snprintf(shape, sizeof shape, "%c%c m=%d n=%d k=%d", s.ta, s.tb, s.m, s.n, s.k);
    row.routine = fam.routine;
    row.shape = shape;
    row.work = 8.0 * s.m * s.n * s.k;
    row.unit = "GFLOP/s";
    row.tav = b.time([&] { ops.run(fam.tav, s, alpha, beta); }, 0.2);
    for (const bench::Peer &p : b.peers()) {
      auto f = p.fn<gemm_fn<C>>(fam.peer_symbol);
      double t = 0;
      if (f && !(p.label == "refblas" && row.work > slow_peer_flops)) t = b.time([&] { ops.run(f, s, alpha, beta); }, 0.2);
      row.peers.push_back(t);
    }
    b.add(row);
  }

  // The figure: n = 1024 NN, beta 1. The machine may be shared, so each tav
  // call is put against the mean of the peaks measured just before and just
  // after it, and the middle of those ratios is reported; the peers are timed
  // once each (the reference BLAS, far slower, is left out).
  const Shape fig{1024, 1024, 1024, 'N', 'N'};
  Operands<C> ops(fig);
  const C one{R(1), R(0)};
  const double work = 8.0 * 1024 * 1024 * 1024;
  struct Round {
    double seconds, peak;
    double share() const { return 8.0 * 1024 * 1024 * 1024 / seconds * 1e-9 / peak; }
  };
  std::vector<Round> rounds;  // no warm-up call: the operands' pages are already touched
  double before = fam.peak();
  for (int round = 0; round < fam.figure_rounds; ++round) {
    const double t = seconds_of([&] { ops.run(fam.tav, fig, alpha, one); });
    const double after = fam.peak();
    rounds.push_back({t, 0.5 * (before + after)});
    before = after;
  }
  std::sort(rounds.begin(), rounds.end(), [](const Round &x, const Round &y) { return x.share() < y.share(); });
  const Round mid = rounds[rounds.size() / 2];
  const double best = mid.seconds, peak = mid.peak;
  bench::Row row;
  row.routine = fam.routine;
  row.shape = "NN m=n=k=1024 (figure)";
  row.work = work;
  row.unit = "GFLOP/s";
  row.tav = best;
  for (const bench::Peer &p : b.peers()) {
    auto f = p.fn<gemm_fn<C>>(fam.peer_symbol);
    double t = 0;
    if (f && p.label != "refblas") {
      ops.run(f, fig, alpha, one);
      t = seconds_of([&] { ops.run(f, fig, alpha, one); });
    }
    row.peers.push_back(t);
  }
  b.add(row);
  const double rate = work / best * 1e-9;
  char text[240];
  std::snprintf(text, sizeof text, "%s NN n=1024: %.2f GFLOP/s = %.0f%% of the %s multiply+add peak %.2f GFLOP/s",
                fam.routine, rate, 100.0 * rate / peak, fam.peak_name, peak);
  b.note(text);
}

}  // namespace

TAV_BENCH(cgemm) {
  run_family<tav_complex8>(b, {"cgemm_seq", tav::cgemm_seq, "cgemm_", bench::sse_peak_gflops, "SSE",
                               b.quick() ? 2 : 3});
}

TAV_BENCH(zgemm) {
  run_family<tav_complex16>(
      b, {"zgemm_seq", tav::zgemm_seq, "zgemm_", bench::x87_peak_gflops,
          sizeof(tav::xreal) > sizeof(double) ? "x87 (long double sums)" : "x87 (double sums)", 1});
}
