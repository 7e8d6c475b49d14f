// Exported double-precision vector routines: read the scalars through their
// addresses, take the quick return, pick the path from the strides and call
// the kernel. Sums come back in extended precision and are rounded to double
// on return.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "frame/export.h"
#include "level1/double_kernels.h"
#include "tav_q7.h"

namespace {

bool unit_or_reverse(int inc) { return inc == 1 || inc == -1; }

// Both zeros and nothing else: the bits without the sign are all clear.
bool is_zero_bits(double v) {
  std::uint64_t u;
  std::memcpy(&u, &v, sizeof u);
  return (u << 1) == 0;
}

}  // namespace

TAV_EXPORT double tav_ddot(const int *n, const double *x, const int *incx, const double *y, const int *incy) {
  const int count = *n, ix = *incx, iy = *incy;
  if (count <= 0) return 0.0;
  if (ix == iy && unit_or_reverse(ix)) return (double)tav::ddot_unit(count, x, y);
  return (double)tav::ddot_general(count, x, ix, y, iy);
}

TAV_EXPORT void tav_daxpy(const int *n, const double *alpha, const double *x, const int *incx, double *y,
                          const int *incy) {
  const int count = *n;
  if (count <= 0) return;
  const double a = *alpha;
  if (is_zero_bits(a)) return;
  const int ix = *incx, iy = *incy;
  if (ix == 1 && iy == 1)
    tav::daxpy_unit(count, a, x, y);
  else
    tav::daxpy_general(count, a, x, ix, y, iy);
}

TAV_EXPORT double tav_dasum(const int *n, const double *x, const int *incx) {
  const int count = *n, ix = *incx;
  if (count <= 0) return 0.0;
  if (unit_or_reverse(ix)) return (double)tav::dasum_unit(count, x);
  return (double)tav::dasum_general(count, x, ix);
}

TAV_EXPORT double tav_dnrm2(const int *n, const double *x, const int *incx) {
  const int count = *n, ix = *incx;
  tav::xreal sum = 0;
  if (count > 0) sum = unit_or_reverse(ix) ? tav::dnrm2_unit(count, x) : tav::dnrm2_general(count, x, ix);
  return (double)std::sqrt(sum);
}

TAV_EXPORT void tav_dscal(const int *n, const double *alpha, double *x, const int *incx) {
  const int count = *n, ix = *incx;
  if (count <= 0) return;
  if (unit_or_reverse(ix))
    tav::dscal_unit(count, *alpha, x);
  else
    tav::dscal_general(count, *alpha, x, ix);
}

TAV_EXPORT void tav_dcopy(const int *n, const double *x, const int *incx, double *y, const int *incy) {
  const int count = *n, ix = *incx, iy = *incy;
  if (count <= 0) return;
  if (ix == 1 && iy == 1)
    tav::dcopy_unit(count, x, y);
  else
    tav::dcopy_general(count, x, ix, y, iy);
}

TAV_EXPORT void tav_dswap(const int *n, double *x, const int *incx, double *y, const int *incy) {
  const int count = *n, ix = *incx, iy = *incy;
  if (count <= 0) return;
  if (ix == 1 && iy == 1)
    tav::dswap_unit(count, x, y);
  else
    tav::dswap_general(count, x, ix, y, iy);
}

TAV_EXPORT int tav_idamax(const int *n, const double *x, const int *incx) {
  const int count = *n, ix = *incx;
  if (count <= 0 || ix == 0) return 0;
  if (count == 1) return 1;
  return ix == 1 ? tav::idamax_unit(count, x) : tav::idamax_general(count, x, ix);
}

TAV_EXPORT int tav_idamin(const int *n, const double *x, const int *incx) {
  const int count = *n, ix = *incx;
  if (count <= 0 || ix == 0) return 0;
  if (count == 1) return 1;
  return ix == 1 ? tav::idamin_unit(count, x) : tav::idamin_general(count, x, ix);
}
