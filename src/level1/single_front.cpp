// Exported single-precision vector routines: read the arguments through their
// addresses, take the quick return, choose the path from the strides.
//
// The routines differ in what counts as a unit stride: sdot and saxpy take
// equal strides of 1 or -1 (the pairing from the low addresses upward is the
// published pairing, reversed); sasum and sscal take |incx| = 1 and never
// start from the far end; snrm2, scopy, sswap, isamax and isamin take only 1.
#include <xmmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "frame/export.h"
#include "level1/single_kernels.h"

namespace {

inline bool unit(int inc) { return inc == 1 || inc == -1; }

}  // namespace

TAV_EXPORT float tav_sdot(const int *n, const float *x, const int *incx, const float *y, const int *incy) {
  const int len = *n, ix = *incx, iy = *incy;
  if (len <= 0) return 0.0f;
  tav::xreal sum;
  if (unit(ix) && iy == ix)
    sum = tav::sdot_unit(len, x, y);
  else if (unit(ix))
    sum = tav::sdot_xunit(len, x, y, ix == -1 ? -iy : iy);
  else if (unit(iy))
    sum = tav::sdot_yunit(len, x, iy == -1 ? -ix : ix, y);
  else
    sum = tav::sdot_general(len, x, ix, y, iy);
  return static_cast<float>(sum);
}

// alpha is tested first, on its bits: both zeros return, every other value
// (NaN included) proceeds.
TAV_EXPORT void tav_saxpy(const int *n, const float *alpha, const float *x, const int *incx, float *y,
                          const int *incy) {
  const float a = *alpha;
  std::uint32_t bits;
  std::memcpy(&bits, &a, sizeof bits);
  if ((bits & 0x7FFFFFFFu) == 0) return;
  const int len = *n, ix = *incx, iy = *incy;
  if (len <= 0) return;
  if (unit(ix) && iy == ix)
    tav::saxpy_unit(len, a, x, y);
  else if (unit(iy) && !unit(ix))
    tav::saxpy_yunit(len, a, x, iy == -1 ? -ix : ix, y);
  else
    tav::saxpy_general(len, a, x, ix, y, iy);
}

TAV_EXPORT float tav_sasum(const int *n, const float *x, const int *incx) {
  const int len = *n, ix = *incx;
  if (len <= 0) return 0.0f;
  tav::xreal sum = unit(ix) ? tav::sasum_unit(len, x) : tav::sasum_stride(len, x, ix < 0 ? -ix : ix);
  return static_cast<float>(sum);
}

TAV_EXPORT float tav_snrm2(const int *n, const float *x, const int *incx) {
  const int len = *n, ix = *incx;
  if (len <= 0) return 0.0f;
  tav::xreal squares = ix == 1 ? tav::snrm2_unit(len, x) : tav::snrm2_general(len, x, ix);
  return static_cast<float>(std::sqrt(squares));
}

TAV_EXPORT void tav_sscal(const int *n, const float *alpha, float *x, const int *incx) {
  const int len = *n, ix = *incx;
  if (len <= 0) return;
  if (unit(ix))
    tav::sscal_unit(len, *alpha, x);
  else
    tav::sscal_stride(len, *alpha, x, ix < 0 ? -ix : ix);
}

TAV_EXPORT void tav_scopy(const int *n, const float *x, const int *incx, float *y, const int *incy) {
  const int len = *n, ix = *incx, iy = *incy;
  if (len <= 0) {
    _mm_sfence();
    return;
  }
  if (ix == 1 && iy == 1)
    tav::scopy_unit(len, x, y);
  else
    tav::scopy_general(len, x, ix, y, iy);
}

TAV_EXPORT void tav_sswap(const int *n, float *x, const int *incx, float *y, const int *incy) {
  const int len = *n, ix = *incx, iy = *incy;
  if (len <= 0) return;
  if (ix == 1 && iy == 1)
    tav::sswap_unit(len, x, y);
  else
    tav::sswap_general(len, x, ix, y, iy);
}

TAV_EXPORT int tav_isamax(const int *n, const float *x, const int *incx) {
  const int len = *n, ix = *incx;
  if (len <= 0 || ix == 0) return 0;
  if (len == 1) return 1;
  return ix == 1 ? tav::isamax_unit(len, x) : tav::isamax_general(len, x, ix);
}

TAV_EXPORT int tav_isamin(const int *n, const float *x, const int *incx) {
  const int len = *n, ix = *incx;
  if (len <= 0 || ix == 0) return 0;
  if (len == 1) return 1;
  return ix == 1 ? tav::isamin_unit(len, x) : tav::isamin_general(len, x, ix);
}
