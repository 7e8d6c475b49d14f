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

/* y := alpha*op(A)*x + beta*y, A m by n. trans "N": op(A) = A; real: any other
   letter transposes; complex: "T" transposes, any other letter conjugates. */
void tav_sgemv(const char *trans, const int *m, const int *n, const float *alpha, const float *a,
               const int *lda, const float *x, const int *incx, const float *beta, float *y,
               const int *incy);
void tav_dgemv(const char *trans, const int *m, const int *n, const double *alpha, const double *a,
               const int *lda, const double *x, const int *incx, const double *beta, double *y,
               const int *incy);
void tav_cgemv(const char *trans, const int *m, const int *n, const tav_complex8 *alpha,
               const tav_complex8 *a, const int *lda, const tav_complex8 *x, const int *incx,
               const tav_complex8 *beta, tav_complex8 *y, const int *incy);
void tav_zgemv(const char *trans, const int *m, const int *n, const tav_complex16 *alpha,
               const tav_complex16 *a, const int *lda, const tav_complex16 *x, const int *incx,
               const tav_complex16 *beta, tav_complex16 *y, const int *incy);

/* ---- matrix-matrix routines ------------------------------------------------ */

/* ---- transforms ------------------------------------------------------------ */

#ifdef __cplusplus
}
#endif

#endif /* TAV_Q7_H */
