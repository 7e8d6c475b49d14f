// The exported gemm routines at 1 and 2 threads beside the peers' gemm_
// (OpenBLAS held to the same thread count, the reference BLAS on one thread).
// The default run times n = 256; --full adds 512 and 1024 and closes with
// the figure of 2 threads against 1 at n = 2048 for each precision.
#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "bench.h"
#include "tav_q7.h"

namespace {

template <class T>
using gemm_fn = void (*)(const char *, const char *, const int *, const int *, const int *, const T *, const T *,
                         const int *, const T *, const int *, const T *, T *, const int *);

// One precision: its routine, the peers' symbol, real flops per multiply-add.
template <class T>
struct Precision {
  const char *name;
  gemm_fn<T> tav;
  const char *peer_symbol;
  double flops_per_term;
};

// The scalar parts of an element: one for real types, two for complex ones.
template <class T>
struct parts_of {
  using type = T;
  static constexpr int count = 1;
};
template <>
struct parts_of<tav_complex8> {
  using type = float;
  static constexpr int count = 2;
};
template <>
struct parts_of<tav_complex16> {
  using type = double;
  static constexpr int count = 2;
};

// Parts of moderate size, spread over [-0.5, 0.5).
template <class T>
void fill(std::vector<T> &v, unsigned step) {
  using part = typename parts_of<T>::type;
  auto *p = reinterpret_cast<part *>(v.data());
  for (std::size_t i = 0; i < v.size() * parts_of<T>::count; ++i) p[i] = part((i * step % 1000) * 1e-3 - 0.5);
}

// A scalar whose parts are all `value`.
template <class T>
T scalar(double value) {
  std::vector<T> one(1);
  auto *p = reinterpret_cast<typename parts_of<T>::type *>(one.data());
  for (int i = 0; i < parts_of<T>::count; ++i) p[i] = typename parts_of<T>::type(value);
  return one[0];
}

// The peers run with the thread count of the row: OpenBLAS by its own setter.
void set_peer_threads(const bench::Bench &b, int threads) {
  for (const bench::Peer &p : b.peers())
    if (auto set = p.fn<void (*)(int)>("openblas_set_num_threads")) set(threads);
}

// The reference BLAS takes seconds per call from this much work on.
constexpr double slow_peer_flops = 3e9;

template <class T>
struct Square {
  int n;
  std::vector<T> a, bm, c;
  T alpha = scalar<T>(0.75), beta = scalar<T>(0.5);
  explicit Square(int n_) : n(n_), a(std::size_t(n) * n), bm(a.size()), c(a.size()) {
    fill(a, 7919);
    fill(bm, 104729);
    fill(c, 13);
  }
  void run(gemm_fn<T> f) {
    const char flag = 'N';
    f(&flag, &flag, &n, &n, &n, &alpha, a.data(), &n, bm.data(), &n, &beta, c.data(), &n);
  }
};

template <class T>
void time_rows(bench::Bench &b, const Precision<T> &p, int n) {
  Square<T> sq(n);
  const int saved = omp_get_max_threads();
  for (int threads : {1, 2}) {
    omp_set_num_threads(threads);
    set_peer_threads(b, threads);
    bench::Row row;
    char shape[64];
    std::snprintf(shape, sizeof shape, "NN n=%d threads=%d", n, threads);
    row.routine = std::string("tav_") + p.name;
    row.shape = shape;
    row.work = p.flops_per_term * double(n) * n * n;
    row.unit = "GFLOP/s";
    const double seconds = n >= 1024 ? 1.0 : n >= 512 ? 0.3 : 0.1;
    row.tav = b.time([&] { sq.run(p.tav); }, seconds);
    for (const bench::Peer &peer : b.peers()) {
      auto f = peer.fn<gemm_fn<T>>(p.peer_symbol);
      const bool slow = peer.label == "refblas" && (threads > 1 || row.work > slow_peer_flops);
      row.peers.push_back(f && !slow ? b.time([&] { sq.run(f); }, seconds) : 0);
    }
    b.add(row);
  }
  set_peer_threads(b, 1);
  omp_set_num_threads(saved);
}

// 2 threads against 1 at one size, one call at a time in turns (best of two
// each), so that load from elsewhere on the machine hits both alike.
template <class T>
void speedup_note(bench::Bench &b, const Precision<T> &p, int n) {
  using clock = std::chrono::steady_clock;
  Square<T> sq(n);
  const int saved = omp_get_max_threads();
  double best[3] = {0, 1e30, 1e30};
  for (int turn = 0; turn < 2; ++turn)
    for (int threads : {1, 2}) {
      omp_set_num_threads(threads);
      auto start = clock::now();
      sq.run(p.tav);
      best[threads] = std::min(best[threads], std::chrono::duration<double>(clock::now() - start).count());
    }
  omp_set_num_threads(saved);
  const double work = p.flops_per_term * double(n) * n * n;
  char text[200];
  std::snprintf(text, sizeof text, "tav_%s NN n=%d: 1 thread %.2f GFLOP/s, 2 threads %.2f GFLOP/s, speedup %.2fx",
                p.name, n, work / best[1] * 1e-9, work / best[2] * 1e-9, best[1] / best[2]);
  b.note(text);
}

template <class T>
void bench_precision(bench::Bench &b, const Precision<T> &p) {
  std::vector<int> sizes = {256};
  if (b.full()) sizes = {256, 512, 1024};
  for (int n : sizes) time_rows(b, p, n);
  // At 2048 a single-threaded x87 call takes up to a minute: the two counts
  // are timed alone, without the peers.
  if (b.full()) speedup_note(b, p, 2048);
}

}  // namespace

TAV_BENCH(gemm) {
  bench_precision<float>(b, {"sgemm", tav_sgemm, "sgemm_", 2});
  bench_precision<double>(b, {"dgemm", tav_dgemm, "dgemm_", 2});
  bench_precision<tav_complex8>(b, {"cgemm", tav_cgemm, "cgemm_", 8});
  bench_precision<tav_complex16>(b, {"zgemm", tav_zgemm, "zgemm_", 8});
}
