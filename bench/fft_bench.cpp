// tav_cfft1d beside FFTW's single-precision in-place complex transform, both
// on one thread: FFTW planned with FFTW_MEASURE, once with its SIMD codelets
// and once with FFTW_NO_SIMD (its scalar code). Rate = 5 n log2 n flops per
// transform. The data are restored from a copy every few calls, so that the
// values neither overflow (unscaled) nor sink into subnormals (scaled).
#include <omp.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "bench.h"
#include "tav_q7.h"

#if TAV_HAVE_FFTW3F
#include <fftw3.h>
#endif

namespace {

// Calls between restores: the values change by about sqrt(n) per call.
int calls_between_restores(int n) {
  int r = static_cast<int>(50.0 / std::log10(static_cast<double>(n)));
  return r < 1 ? 1 : r;
}

struct restoring_run {
  std::vector<float> original;
  float *data;
  int every;
  long calls = 0;
  void restore_if_due() {
    if (calls++ % every == 0) std::memcpy(data, original.data(), original.size() * sizeof(float));
  }
};

std::vector<float> random_complex(int n) {
  std::mt19937 gen(12345);
  std::uniform_real_distribution<float> u(-1.0f, 1.0f);
  std::vector<float> v(2 * static_cast<std::size_t>(n));
  for (float &x : v) x = u(gen);
  return v;
}

#if TAV_HAVE_FFTW3F
double time_fftw(bench::Bench &b, int n, int sign, unsigned flags) {
  fftwf_complex *buf = fftwf_alloc_complex(static_cast<std::size_t>(n));
  fftwf_plan plan = fftwf_plan_dft_1d(n, buf, buf, sign, flags);
  restoring_run run{random_complex(n), reinterpret_cast<float *>(buf), calls_between_restores(n)};
  double t = b.time([&] {
    run.restore_if_due();
    fftwf_execute(plan);
  }, 0.2);
  fftwf_destroy_plan(plan);
  fftwf_free(buf);
  return t;
}
#endif

}  // namespace

TAV_BENCH(cfft1d) {
  const int saved_threads = omp_get_max_threads();
  omp_set_num_threads(1);
  std::vector<int> log_sizes = {6, 10, 12, 16};
  if (b.full()) log_sizes.push_back(20);
  for (int m : log_sizes) {
    const int n = 1 << m;
    std::vector<float> wsave(3 * static_cast<std::size_t>(n) + 64);
    std::vector<float> data(2 * static_cast<std::size_t>(n) + 8);
    float *r = data.data();
    const int zero = 0;
    tav_cfft1d(reinterpret_cast<tav_complex8 *>(r), &n, &zero, wsave.data());
    for (int isign : {-1, 1}) {
      restoring_run run{random_complex(n), r, calls_between_restores(n)};
      bench::Row row;
      row.routine = "cfft1d";
      row.shape = "n=2^" + std::to_string(m) + (isign < 0 ? " forward" : " backward");
      row.work = 5.0 * n * m;
      row.unit = "GFLOP/s";
      row.tav = b.time([&] {
        run.restore_if_due();
        tav_cfft1d(reinterpret_cast<tav_complex8 *>(r), &n, &isign, wsave.data());
      }, 0.2);
      b.add(row);
#if TAV_HAVE_FFTW3F
      const int sign = isign < 0 ? FFTW_FORWARD : FFTW_BACKWARD;
      const double simd = time_fftw(b, n, sign, FFTW_MEASURE);
      const double scalar = time_fftw(b, n, sign, FFTW_MEASURE | FFTW_NO_SIMD);
      char text[200];
      std::snprintf(text, sizeof text,
                    "fftw %8.2f us %6.2f GFLOP/s (tav x%.2f) | fftw no-simd %8.2f us %6.2f GFLOP/s (tav x%.2f)",
                    simd * 1e6, row.work / simd * 1e-9, simd / row.tav, scalar * 1e6, row.work / scalar * 1e-9,
                    scalar / row.tav);
      b.note(text);
#endif
    }
  }
#if !TAV_HAVE_FFTW3F
  b.note("FFTW (libfftw3f) not found at build time: no comparison");
#endif
  omp_set_num_threads(saved_threads);
}
