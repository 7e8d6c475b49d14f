// Sparse vector kernels, single and double real. Plain loops in the order of
// i; the unrolls below change no order.
//   axpyi: each y element is a * x + y in extended precision, the product
//     unrounded, rounded only by the store.
//   sdoti: one running sum, rounded to float after every element. In rounds of
//     4 the first element is added in extended precision (product unrounded)
//     and rounded to float by the store; the other three are added in float
//     arithmetic, the product rounded to float and then the sum. Elements
//     outside full rounds are added as the first of a round is.
//   ddoti: one running sum in extended precision, products unrounded, rounded
//     to double on return.
//   gthr, gthrz, sctr: moves; gthrz clears y's element (all bits zero) in the
//     same step, before the next element is read.
//   roti: x' = c x + s y and y' = c y - s x in extended precision from the old
//     values, rounded only by the stores, x' stored first.
#include "level1/sparse_kernels.h"

namespace tav {

namespace {
// Rounds of 3 for axpyi and gthrz, taken when nz is at least 5; rounds of 4
// for doti, gthr and sctr, taken when nz is at least 6.
constexpr int axpyi_round = 3, axpyi_unroll_from = 5;
constexpr int gthrz_round = 3, gthrz_unroll_from = 5;
constexpr int doti_round = 4, doti_unroll_from = 6;
constexpr int gthr_round = 4, gthr_unroll_from = 6;
constexpr int sctr_round = 4, sctr_unroll_from = 6;

// Calls step(i) for i = 0 .. nz-1 in order, in rounds of Round while a whole
// round fits, once nz reaches UnrollFrom.
template <int Round, int UnrollFrom, class Step>
inline void in_rounds(int nz, const Step &step) {
  int i = 0;
  if (nz >= UnrollFrom)
    for (; i <= nz - Round; i += Round)
      for (int k = 0; k < Round; ++k) step(i + k);
  for (; i < nz; ++i) step(i);
}

template <class T>
void axpyi(int nz, T a, const T *x, const int *indx, T *y) {
  const xreal wa = a;
  in_rounds<axpyi_round, axpyi_unroll_from>(nz, [&](int i) {
    T &yj = y[indx[i] - 1];
    yj = (T)(wa * (xreal)x[i] + (xreal)yj);
  });
}

template <class T>
void gthr(int nz, const T *y, T *x, const int *indx) {
  in_rounds<gthr_round, gthr_unroll_from>(nz, [&](int i) { x[i] = y[indx[i] - 1]; });
}

template <class T>
void gthrz(int nz, T *y, T *x, const int *indx) {
  in_rounds<gthrz_round, gthrz_unroll_from>(nz, [&](int i) {
    T &yj = y[indx[i] - 1];
    x[i] = yj;
    yj = T(0);
  });
}

template <class T>
void sctr(int nz, const T *x, const int *indx, T *y) {
  in_rounds<sctr_round, sctr_unroll_from>(nz, [&](int i) { y[indx[i] - 1] = x[i]; });
}

template <class T>
void roti(int nz, T *x, const int *indx, T *y, T c, T s) {
  const xreal wc = c, ws = s;
  for (int i = 0; i < nz; ++i) {
    T &yj = y[indx[i] - 1];
    const xreal xi = x[i], yv = yj;
    x[i] = (T)(wc * xi + ws * yv);
    yj = (T)(wc * yv - ws * xi);
  }
}
}  // namespace

void saxpyi_kernel(int nz, float a, const float *x, const int *indx, float *y) { axpyi(nz, a, x, indx, y); }
void daxpyi_kernel(int nz, double a, const double *x, const int *indx, double *y) { axpyi(nz, a, x, indx, y); }

float sdoti_kernel(int nz, const float *x, const int *indx, const float *y) {
  float sum = 0;
  auto extended_step = [&](int i) { sum = (float)((xreal)sum + (xreal)x[i] * (xreal)y[indx[i] - 1]); };
  auto float_step = [&](int i) { sum = sum + x[i] * y[indx[i] - 1]; };
  int i = 0;
  if (nz >= doti_unroll_from)
    for (; i <= nz - doti_round; i += doti_round) {
      extended_step(i);
      for (int k = 1; k < doti_round; ++k) float_step(i + k);
    }
  for (; i < nz; ++i) extended_step(i);
  return sum;
}

xreal ddoti_kernel(int nz, const double *x, const int *indx, const double *y) {
  xreal sum = 0;
  in_rounds<doti_round, doti_unroll_from>(nz, [&](int i) { sum += (xreal)x[i] * (xreal)y[indx[i] - 1]; });
  return sum;
}

void sgthr_kernel(int nz, const float *y, float *x, const int *indx) { gthr(nz, y, x, indx); }
void dgthr_kernel(int nz, const double *y, double *x, const int *indx) { gthr(nz, y, x, indx); }
void sgthrz_kernel(int nz, float *y, float *x, const int *indx) { gthrz(nz, y, x, indx); }
void dgthrz_kernel(int nz, double *y, double *x, const int *indx) { gthrz(nz, y, x, indx); }
void ssctr_kernel(int nz, const float *x, const int *indx, float *y) { sctr(nz, x, indx, y); }
void dsctr_kernel(int nz, const double *x, const int *indx, double *y) { sctr(nz, x, indx, y); }
void sroti_kernel(int nz, float *x, const int *indx, float *y, float c, float s) { roti(nz, x, indx, y, c, s); }
void droti_kernel(int nz, double *x, const int *indx, double *y, double c, double s) {
  roti(nz, x, indx, y, c, s);
}

}  // namespace tav
