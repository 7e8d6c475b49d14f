// General matrix-vector product in four precisions, 'N' and 'T', square 256,
// 2000 and 4000 and a tall 10000 by 64, beside the reference BLAS and OpenBLAS.
// Then each shape kernel alone over the panels of a 2000 by 2000 matrix, its
// rate put against the x87 multiply-plus-add peak of this machine.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "bench.h"
#include "level2/gemv.h"
#include "peak.h"
#include "tav_q7.h"

namespace {

template <class T>
using gemv_fn = void (*)(const char *, const int *, const int *, const T *, const T *, const int *, const T *,
                         const int *, const T *, T *, const int *);
template <class T>
using fortran_gemv = void (*)(const char *, const int *, const int *, const T *, const T *, const int *,
                              const T *, const int *, const T *, T *, const int *, std::size_t);

template <class T>
struct prec;
template <>
struct prec<float> {
  static constexpr const char *name = "sgemv";
  static constexpr gemv_fn<float> tav = tav_sgemv;
  static constexpr double flops_per_madd = 2;
  static float value(double v, double = 0) { return static_cast<float>(v); }
};
template <>
struct prec<double> {
  static constexpr const char *name = "dgemv";
  static constexpr gemv_fn<double> tav = tav_dgemv;
  static constexpr double flops_per_madd = 2;
  static double value(double v, double = 0) { return v; }
};
template <>
struct prec<tav_complex8> {
  static constexpr const char *name = "cgemv";
  static constexpr gemv_fn<tav_complex8> tav = tav_cgemv;
  static constexpr double flops_per_madd = 8;
  static tav_complex8 value(double re, double im = 0) {
    return {static_cast<float>(re), static_cast<float>(im)};
  }
};
template <>
struct prec<tav_complex16> {
  static constexpr const char *name = "zgemv";
  static constexpr gemv_fn<tav_complex16> tav = tav_zgemv;
  static constexpr double flops_per_madd = 8;
  static tav_complex16 value(double re, double im = 0) { return {re, im}; }
};

// A matrix and vectors long enough for either shape and stride 2, with values
// that keep y bounded over many calls (alpha small, beta 1).
template <class T>
struct Problem {
  int m, n;
  std::vector<T> a, x, y;
  Problem(int rows, int cols) : m(rows), n(cols) {
    const std::size_t len = 2 * static_cast<std::size_t>(rows > cols ? rows : cols);
    a.resize(static_cast<std::size_t>(rows) * cols);
    for (std::size_t i = 0; i < a.size(); ++i)
      a[i] = prec<T>::value(0.25 + 1e-3 * static_cast<double>(i % 101), 1e-3 * static_cast<double>(i % 7));
    x.assign(len, prec<T>::value(0.5, -0.25));
    y.assign(len, prec<T>::value(1.0, 0.5));
  }
};

template <class T>
void compare_front(bench::Bench &b, Problem<T> &p, const char *trans) {
  const T alpha = prec<T>::value(1e-6), beta = prec<T>::value(1);
  const int one = 1;
  bench::Row row;
  row.routine = prec<T>::name;
  row.shape = std::string(trans) + " " + std::to_string(p.m) + "x" + std::to_string(p.n);
  row.work = prec<T>::flops_per_madd * p.m * p.n;
  row.unit = "GF";
  auto run = [&](gemv_fn<T> f) {
    f(trans, &p.m, &p.n, &alpha, p.a.data(), &p.m, p.x.data(), &one, &beta, p.y.data(), &one);
  };
  row.tav = b.time([&] { run(prec<T>::tav); });
  const std::string symbol = std::string(prec<T>::name) + "_";
  for (const bench::Peer &peer : b.peers()) {
    auto f = peer.fn<fortran_gemv<T>>(symbol.c_str());
    row.peers.push_back(f ? b.time([&] {
      f(trans, &p.m, &p.n, &alpha, p.a.data(), &p.m, p.x.data(), &one, &beta, p.y.data(), &one, 1);
    })
                          : 0.0);
  }
  b.add(row);
}

template <class T>
void fronts(bench::Bench &b) {
  std::vector<int> squares = {256, 2000};
  if (b.full()) squares.push_back(4000);
  for (int s : squares) {
    Problem<T> p(s, s);
    compare_front(b, p, "N");
    compare_front(b, p, "T");
  }
  Problem<T> tall(10000, 64);
  compare_front(b, tall, "N");
  compare_front(b, tall, "T");
}

// One shape kernel's rate. The machine may be shared and a run may lose the
// core for part of its time: with --full the kernel is timed three times with
// a peak measurement after each, and the best rate is kept (by default once,
// and the peak is measured with the first kernel only). The figure puts each
// kernel's best against the best peak seen over all of them.
struct KernelRun {
  std::string name;
  double rate, peak;
};

void record(bench::Bench &b, std::vector<KernelRun> &out, std::string name, double work,
            const std::function<void()> &call) {
  KernelRun best{std::move(name), 0, 0};
  const int count = b.full() ? 3 : 1;
  for (int i = 0; i < count; ++i) {
    best.rate = std::max(best.rate, work / b.time(call) * 1e-9);
    if (b.full() || out.empty()) best.peak = std::max(best.peak, bench::x87_peak_gflops());
  }
  out.push_back(best);
}

template <class T>
using unit_kernel = void (*)(const int *, const T *, const T *, const int *, const T *, T *);
template <class T>
using strided_kernel = void (*)(const int *, const T *, const T *, const int *, const T *, const int *, T *,
                                const int *);

template <class T>
void time_kernels(bench::Bench &b, int n, const char *prefix, bool plain, unit_kernel<T> unit,
                  strided_kernel<T> strided, std::vector<KernelRun> &out) {
  Problem<T> p(n, n);
  const T alpha = prec<T>::value(1e-6);
  const int panels = n / tav::gemv_panel_rows, two = 2;
  const double work = prec<T>::flops_per_madd * panels * tav::gemv_panel_rows * double(n);
  auto walk = [&](int inc, auto call) {
    for (int i = 0; i < panels; ++i) {
      const int r = i * tav::gemv_panel_rows;
      const T *a = p.a.data() + r;
      T *y = plain ? p.y.data() + static_cast<std::size_t>(r) * inc : p.y.data();
      const T *x = plain ? p.x.data() : p.x.data() + static_cast<std::size_t>(r) * inc;
      call(a, x, y);
    }
  };
  record(b, out, std::string(prefix) + "_unit", work, [&] {
    walk(1, [&](const T *a, const T *x, T *y) { unit(&n, &alpha, a, &n, x, y); });
  });
  record(b, out, std::string(prefix) + "_strided", work, [&] {
    walk(2, [&](const T *a, const T *x, T *y) { strided(&n, &alpha, a, &n, x, &two, y, &two); });
  });
}

template <class T>
using tail_kernel = void (*)(const char *, const int *, const int *, const T *, const T *, const int *, const T *,
                             const int *, T *, const int *);

// The tail kernel with its longest height, 63 rows of n columns.
template <class T>
void time_tail(bench::Bench &b, int n, const char *name, tail_kernel<T> tail, std::vector<KernelRun> &out) {
  Problem<T> p(tav::gemv_panel_rows - 1, n);
  const T alpha = prec<T>::value(1e-6);
  const int one = 1;
  for (const char *trans : {"N", "T"}) {
    record(b, out, std::string(name) + " " + trans, prec<T>::flops_per_madd * p.m * double(n), [&] {
      tail(trans, &p.m, &p.n, &alpha, p.a.data(), &p.m, p.x.data(), &one, p.y.data(), &one);
    });
  }
}

}  // namespace

TAV_BENCH(gemv) {
  fronts<float>(b);
  fronts<double>(b);
  fronts<tav_complex8>(b);
  fronts<tav_complex16>(b);
}

TAV_BENCH(gemv_kernels) {
  const int n = 2000;
  std::vector<KernelRun> runs;
  time_kernels<float>(b, n, "sgemv_n", true, tav::sgemv_n_unit, tav::sgemv_n_strided, runs);
  time_kernels<float>(b, n, "sgemv_t", false, tav::sgemv_t_unit, tav::sgemv_t_strided, runs);
  time_tail<float>(b, n, "sgemv_tail", tav::sgemv_tail, runs);
  time_kernels<double>(b, n, "dgemv_n", true, tav::dgemv_n_unit, tav::dgemv_n_strided, runs);
  time_kernels<double>(b, n, "dgemv_t", false, tav::dgemv_t_unit, tav::dgemv_t_strided, runs);
  time_tail<double>(b, n, "dgemv_tail", tav::dgemv_tail, runs);
  using c8 = tav_complex8;
  using c16 = tav_complex16;
  time_kernels<c8>(b, n, "cgemv_n", true, tav::cgemv_n_unit, tav::cgemv_n_strided, runs);
  time_kernels<c8>(b, n, "cgemv_t", false, tav::cgemv_t_unit, tav::cgemv_t_strided, runs);
  time_kernels<c8>(b, n, "cgemv_c", false, tav::cgemv_c_unit, tav::cgemv_c_strided, runs);
  time_tail<c8>(b, n, "cgemv_tail", tav::cgemv_tail, runs);
  time_kernels<c16>(b, n, "zgemv_n", true, tav::zgemv_n_unit, tav::zgemv_n_strided, runs);
  time_kernels<c16>(b, n, "zgemv_t", false, tav::zgemv_t_unit, tav::zgemv_t_strided, runs);
  time_kernels<c16>(b, n, "zgemv_c", false, tav::zgemv_c_unit, tav::zgemv_c_strided, runs);
  time_tail<c16>(b, n, "zgemv_tail", tav::zgemv_tail, runs);

  double peak = 0;
  for (const KernelRun &r : runs) peak = std::max(peak, r.peak);
  char text[160];
  std::snprintf(text, sizeof text,
                "gemv shape kernels at n=%d, one thread; x87 multiply+add peak %.2f GFLOP/s (best of all runs)", n,
                peak);
  b.note(text);
  for (const KernelRun &r : runs) {
    std::snprintf(text, sizeof text, "%-18s %7.2f GFLOP/s  %5.0f%% of x87 peak", r.name.c_str(), r.rate,
                  100 * r.rate / peak);
    b.note(text);
  }
}
