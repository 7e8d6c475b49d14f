// tav_cfft1d: the exported front of the interleaved single-precision
// transform. It builds the table (isign 0), runs small lengths directly, and
// otherwise decides between the serial core and P = 2^q parts: the q top
// levels run on the calling thread over the whole array, the parts in a
// static loop of chunk 1, and the permutation on the calling thread.
#include <cstdint>

#include "fft/cfft1d_kernels.h"
#include "fft/fft_tables.h"
#include "frame/export.h"
#include "frame/threads.h"
#include "frame/xerbla.h"
#include "frame/xreal.h"
#include "tav_q7.h"

namespace tav {

namespace {

constexpr char routine_name[] = "CFFT1D  ";
constexpr int routine_name_length = 8;

// The shared arguments of a parallel loop over the parts.
struct parts {
  float *r;
  int n2;
  const unsigned char *w;
  int q;
  int m;
  void (*routine)(float *, const int *, const unsigned char *, const int *, const int *, int);
};

void run_part(int t, void *context) {
  const parts &p = *static_cast<const parts *>(context);
  p.routine(p.r + 2 * static_cast<std::int64_t>(p.n2) * t, &p.n2, p.w, &p.q, &p.m, t);
}

enum class plan { serial, threaded, reported };

// The thread test of the transform: serial inside a parallel region, on one
// processor or with one thread; a processor count that is not positive is
// reported. With T threads (at most the processors), q = floor(log2 T) top
// levels, fewer if a part would fall below 1024 points.
plan plan_threads(int m, int *q) {
  if (omp_in_parallel_now()) return plan::serial;
  int processors = omp_processors();
  if (processors <= 0) {
    xerbla(routine_name, &processors, routine_name_length);
    return plan::reported;
  }
  if (processors == 1) return plan::serial;
  int threads = omp_max_threads();
  if (threads <= 1) return plan::serial;
  if (threads > processors) threads = processors;
  const int p = fft_log2(threads);
  *q = m - p >= block_log ? p : m - block_log;  // a part never falls below 1024 points
  return *q > 0 ? plan::threaded : plan::serial;
}

}  // namespace

}  // namespace tav

TAV_EXPORT void tav_cfft1d(tav_complex8 *data, const int *n_ref, const int *isign_ref, float *wsave) {
  using namespace tav;
  float *r = reinterpret_cast<float *>(data);
  const int n = *n_ref;
  if (n <= 1) return;
  const int m = fft_log2(n);
  const int isign = *isign_ref;
  if (isign == 0) {
    cfft1d_init(&m, wsave);
    return;
  }
  const unsigned char *w = fft_table_base(wsave);
  const float scale = static_cast<float>(static_cast<xreal>(1) / static_cast<xreal>(n));
  const bool forward = isign < 1;
  if (m <= small_max_log) {
    if (forward) {
      cfft1d_fwd_small(r, &m, w);
      if (isign != -2) cfft1d_bitrev(r, &n, w);
    } else {
      if (isign != 2) cfft1d_bitrev(r, &n, w);
      cfft1d_bwd_small(r, &m, w, &scale);
    }
    return;
  }
  int q = 0;
  switch (plan_threads(m, &q)) {
    case plan::reported:
      return;
    case plan::serial:
      cfft1d_seq(r, &n, &isign, w, &m);
      return;
    case plan::threaded:
      break;
  }
  const bool tiers = m > levels_max_log;
  const unsigned char *t2 = w + cfft1d_short_list_offset(n);
  parts p{r, n >> q, w, q, m, nullptr};
  if (forward) {
    if (tiers) {
      cfft1d_fwd_top(r, &n, &q, t2);
      p.routine = cfft1d_fwd_part;
    } else {
      cfft1d_fwd_levels(r, &n, &q, w);
      p.routine = cfft1d_fwd_levels_part;
    }
    parallel_parts(1 << q, run_part, &p);
    if (isign != -2) cfft1d_bitrev(r, &n, w);
    return;
  }
  if (isign != 2) cfft1d_bitrev(r, &n, w);
  p.routine = tiers ? cfft1d_bwd_part : cfft1d_bwd_levels_part;
  parallel_parts(1 << q, run_part, &p);
  if (tiers)
    cfft1d_bwd_top(r, &n, &q, t2, &scale);
  else
    cfft1d_bwd_levels(r, &n, &q, w);
}
