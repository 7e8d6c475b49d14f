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

/* ---- vector routines, single real ----------------------------------------- */

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

int tav_idamax(const int *n, const double *x, const int *incx);
int tav_idamin(const int *n, const double *x, const int *incx);
double tav_dasum(const int *n, const double *x, const int *incx);
void tav_daxpy(const int *n, const double *alpha, const double *x, const int *incx, double *y,
               const int *incy);
void tav_dcopy(const int *n, const double *x, const int *incx, double *y, const int *incy);
double tav_ddot(const int *n, const double *x, const int *incx, const double *y, const int *incy);
double tav_dnrm2(const int *n, const double *x, const int *incx);
void tav_dscal(const int *n, const double *alpha, double *x, const int *incx);
void tav_dswap(const int *n, double *x, const int *incx, double *y, const int *incy);

/* Sparse: nz values x with one-based positions indx in the dense vector y. */
void tav_daxpyi(const int *nz, const double *a, const double *x, const int *indx, double *y);
double tav_ddoti(const int *nz, const double *x, const int *indx, const double *y);
void tav_dgthr(const int *nz, const double *y, double *x, const int *indx);
void tav_dgthrz(const int *nz, double *y, double *x, const int *indx);
void tav_droti(const int *nz, double *x, const int *indx, double *y, const double *c, const double *s);
void tav_dsctr(const int *nz, const double *x, const int *indx, double *y);

/* ---- vector routines, single and double complex --------------------------- */


/* ---- plane rotations ------------------------------------------------------ */


/* ---- sparse vector routines, single real, single and double complex ------- */

void tav_saxpyi(const int *nz, const float *a, const float *x, const int *indx, float *y);
float tav_sdoti(const int *nz, const float *x, const int *indx, const float *y);
void tav_sgthr(const int *nz, const float *y, float *x, const int *indx);
void tav_sgthrz(const int *nz, float *y, float *x, const int *indx);
void tav_sroti(const int *nz, float *x, const int *indx, float *y, const float *c, const float *s);
void tav_ssctr(const int *nz, const float *x, const int *indx, float *y);

void tav_caxpyi(const int *nz, const tav_complex8 *a, const tav_complex8 *x, const int *indx, tav_complex8 *y);
void tav_cdotci(tav_complex8 *result, const int *nz, const tav_complex8 *x, const int *indx,
                const tav_complex8 *y);
void tav_cdotui(tav_complex8 *result, const int *nz, const tav_complex8 *x, const int *indx,
                const tav_complex8 *y);
void tav_cgthr(const int *nz, const tav_complex8 *y, tav_complex8 *x, const int *indx);
void tav_cgthrz(const int *nz, tav_complex8 *y, tav_complex8 *x, const int *indx);
void tav_csctr(const int *nz, const tav_complex8 *x, const int *indx, tav_complex8 *y);

void tav_zaxpyi(const int *nz, const tav_complex16 *a, const tav_complex16 *x, const int *indx,
                tav_complex16 *y);
void tav_zdotci(tav_complex16 *result, const int *nz, const tav_complex16 *x, const int *indx,
                const tav_complex16 *y);
void tav_zdotui(tav_complex16 *result, const int *nz, const tav_complex16 *x, const int *indx,
                const tav_complex16 *y);
void tav_zgthr(const int *nz, const tav_complex16 *y, tav_complex16 *x, const int *indx);
void tav_zgthrz(const int *nz, tav_complex16 *y, tav_complex16 *x, const int *indx);
void tav_zsctr(const int *nz, const tav_complex16 *x, const int *indx, tav_complex16 *y);

/* ---- matrix-vector routines ----------------------------------------------- */

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

/* ---- rank-one updates: ger, geru, gerc ------------------------------------ */


/* ---- symmetric and Hermitian products: symv, hemv ------------------------- */


/* ---- symmetric and Hermitian rank updates: syr, syr2, her, her2 ----------- */


/* ---- packed storage: spmv, hpmv, spr, hpr, spr2, hpr2 --------------------- */


/* ---- band storage: gbmv, sbmv, hbmv --------------------------------------- */


/* ---- triangular products: trmv, tpmv, tbmv -------------------------------- */


/* ---- triangular solves: trsv, tpsv, tbsv ---------------------------------- */


/* ---- matrix-matrix routines ----------------------------------------------- */

/* C := alpha op(A) op(B) + beta C, op(A) m x k, op(B) k x n. A flag of 'N' or
   'n' takes the operand as stored, any other letter transposed. When m, n or k
   exceeds 16 and the caller is not in a parallel region, C is cut into
   omp_get_max_threads() slabs, one serial product each. */
void tav_sgemm(const char *transa, const char *transb, const int *m, const int *n, const int *k,
               const float *alpha, const float *a, const int *lda, const float *b, const int *ldb,
               const float *beta, float *c, const int *ldc);
void tav_dgemm(const char *transa, const char *transb, const int *m, const int *n, const int *k,
               const double *alpha, const double *a, const int *lda, const double *b, const int *ldb,
               const double *beta, double *c, const int *ldc);
/* Complex: 'T' or 't' transposes, any other letter but 'N'/'n' takes the
   conjugate transpose. */
void tav_cgemm(const char *transa, const char *transb, const int *m, const int *n, const int *k,
               const tav_complex8 *alpha, const tav_complex8 *a, const int *lda, const tav_complex8 *b,
               const int *ldb, const tav_complex8 *beta, tav_complex8 *c, const int *ldc);
void tav_zgemm(const char *transa, const char *transb, const int *m, const int *n, const int *k,
               const tav_complex16 *alpha, const tav_complex16 *a, const int *lda, const tav_complex16 *b,
               const int *ldb, const tav_complex16 *beta, tav_complex16 *c, const int *ldc);

/* ---- symmetric and Hermitian products: symm, hemm ------------------------- */


/* ---- rank-k updates: syrk, herk ------------------------------------------- */


/* ---- rank-2k updates: syr2k, her2k ---------------------------------------- */


/* ---- triangular products: trmm -------------------------------------------- */


/* ---- triangular solves: trsm ---------------------------------------------- */


/* ---- transposed-product reduction: xssexy, xdsexy ------------------------- */


/* ---- transforms ----------------------------------------------------------- */

/* In-place complex transform of n = 2^m single-complex points. isign 0 builds
   the table wsave for n (12n + 256 bytes) and leaves r alone; below 0:
   forward, e^(-2 pi i jk/n), natural order in and out (-2 leaves the output in
   bit-reversed order); above 0: backward, e^(+2 pi i jk/n) scaled by 1/n (2
   takes its input in bit-reversed order). */
void tav_cfft1d(tav_complex8 *r, const int *n, const int *isign, float *wsave);

/* ---- double-complex 1D transform: zfft1d ---------------------------------- */


/* ---- split-array complex 1D transforms: cfft1dc, zfft1dc ------------------ */


/* ---- real 1D transforms --------------------------------------------------- */


/* ---- complex 2D transforms ------------------------------------------------ */


/* ---- real 2D transforms --------------------------------------------------- */


#ifdef __cplusplus
}
#endif

#endif /* TAV_Q7_H */
