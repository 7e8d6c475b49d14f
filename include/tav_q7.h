/*
 * tav_q7: BLAS, Sparse BLAS Level 1 and power-of-two FFT kernels.
 *
 * Every argument of a numeric routine is an address, scalars included.
 * Matrices are column-major; complex elements count as one element in strides,
 * counts and leading dimensions. Complex function results are stored through
 * an extra first argument. Only the routines declared here are exported.
 */
#ifndef TAV_Q7_H
#define TAV_Q7_H

#ifdef __cplusplus
extern "C" {
#endif

/* Complex elements: real part, then imaginary part. */
typedef struct { float re, im; } tav_complex8;
typedef struct { double re, im; } tav_complex16;

/* ---- frame ---------------------------------------------------------------- */

/* Writes the one-line report of a bad parameter (*info >= 1) or an internal
   condition (*info <= 0) to standard error; `length` bytes of `name`, at most 10. */
void _default_xerbla(const char *name, const int *info, int length);

/* Fills `buffer` of `length` bytes with the kernel name string. */
void _get_kerver(char *buffer, int length);

/* ---- vector routines, single real ------------------------------------------ */

int tav_isamax(const int *n, const float *x, const int *incx);
int tav_isamin(const int *n, const float *x, const int *incx);
float tav_sasum(const int *n, const float *x, const int *incx);
void tav_saxpy(const int *n, const float *alpha, const float *x, const int *incx, float *y,
               const int *incy);
void tav_scopy(const int *n, const float *x, const int *incx, float *y, const int *incy);
float tav_sdot(const int *n, const float *x, const int *incx, const float *y, const int *incy);
float tav_snrm2(const int *n, const float *x, const int *incx);
void tav_sscal(const int *n, const float *alpha, float *x, const int *incx);
void tav_sswap(const int *n, float *x, const int *incx, float *y, const int *incy);

/* ---- vector routines, double real (dense and sparse) ---------------------- */

/* ---- sparse vector routines, single real, single and double complex -------- */

/* ---- matrix-vector routines ------------------------------------------------ */

/* ---- matrix-matrix routines ------------------------------------------------ */

/* ---- transforms ------------------------------------------------------------ */

#ifdef __cplusplus
}
#endif

#endif /* TAV_Q7_H */
