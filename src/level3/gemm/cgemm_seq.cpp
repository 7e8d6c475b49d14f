// Serial single-complex product C := alpha op(A) op(B) + beta C.
//
// Small products (any of m, n, k below 4, or few elements per flop) go to
// cgemm_small whole. Otherwise C is worked in blocks of 512 rows by 192
// columns (columns outermost), each copied into c_block first: beta (0, 0)
// clears it, (1, 0) copies C, any other beta multiplies each element on the
// way in, in single precision for the full groups of eight rows and in
// extended precision, rounded once, for the 1 to 7 rows after them. With alpha
// (0, 0) nothing else is done. Otherwise the depth goes in blocks of 64, then
// a tail of 16, 32 or 48 steps by panel and the last k mod 16 steps by
// cgemm_small; each panel kernel adds its block's sum to c_block, rounded to
// single. Rows in panels are the full groups of eight and, in the main blocks,
// four of the rest rows; other rows go to cgemm_small at every depth, with
// beta (1, 0) and c_block as C. Last, c_block is written back to C.

#include <algorithm>

#include "frame/scratch.h"
#include "frame/xerbla.h"
#include "frame/xreal.h"
#include "level3/gemm/cgemm.h"
#include "level3/gemm/complex_ops.h"

namespace tav {
namespace {

using namespace cgemm_blocks;
using cplx::cf;
using cplx::idx;

using pack_a_fn = void (*)(const cf *, idx, int, int, float *, cf);
using pack_b_fn = void (*)(int, int, const cf *, idx, float *, int);

// The small path: some dimension below 4, or, with all three at least 4 and a
// sum below 50, elements per flop (in extended precision) not below 0.08.
bool takes_small_path(int m, int n, int k) {
  if (m < small_dim || n < small_dim || k < small_dim) return true;
  if (m + n + k >= small_sum) return false;
  const xreal elements = (xreal)((m + k) * n + k * m);
  const xreal flops = (xreal)(8 * m * n * (k + 1) + 6 * m * n);
  return !(elements / flops < (xreal)small_ratio);
}

// (row i, column j) of a c_block with nb columns.
inline float *c_block_at(float *block, int nb, int i, int j) {
  return block + (idx(i / c_stride) * nb + j) * 2 * c_stride + (i % c_stride) * 2;
}

// The operands with the pack routines that suit the two flags.
struct operands : cplx::operand_pair<cf> {
  pack_a_fn pack_a;
  pack_b_fn pack_b;

  operands(char ta, char tb, const cf *a_, int lda_, const cf *b_, int ldb_, cf alpha_)
      : operand_pair(ta, tb, a_, lda_, b_, ldb_, alpha_) {
    static const pack_a_fn pack_as[] = {cgemm_pack_a_n, cgemm_pack_a_t, cgemm_pack_a_c};
    static const pack_b_fn pack_bs[] = {cgemm_pack_b_n, cgemm_pack_b_t, cgemm_pack_b_c};
    pack_a = pack_as[static_cast<int>(ka)];
    pack_b = pack_bs[static_cast<int>(kb)];
  }

  // rows i.. by columns j.. of op(A) op(B) over depth [p0, p0 + depth), added
  // by cgemm_small into c_block at `group` (a row within one group of eight).
  void small(int i, int rows, int j, int cols, int p0, int depth, float *group) const {
    static const cf one{1.0f, 0.0f};
    const int ldc = c_stride, la = static_cast<int>(lda), lb = static_cast<int>(ldb);
    cgemm_small(&transa, &transb, &rows, &cols, &depth, &alpha, a_at(i, p0), &la, b_at(p0, j), &lb, &one,
                reinterpret_cast<cf *>(group), &ldc);
  }
};

// c_block from C: rows8 rows in the block routines, the rest rows here, with
// the multiplication by beta in extended precision.
void fill_c_block(int mb, int nb, int rows8, const cf *c, idx ldc, float *block, cf beta) {
  const bool clear = cplx::is_zero(beta), copy = !clear && cplx::is_one(beta);
  if (clear)
    cgemm_zero_c(rows8, nb, block, c_stride);
  else if (copy)
    cgemm_load_c(rows8, nb, c, ldc, block, c_stride);
  else
    cgemm_scale_c(rows8, nb, c, ldc, block, c_stride, beta);
  for (int j = 0; j < nb; ++j)
    for (int i = rows8; i < mb; ++i) {
      float *dst = c_block_at(block, nb, i, j);
      const cf v = c[i + j * ldc];
      if (clear) {
        dst[0] = dst[1] = 0.0f;
      } else if (copy) {
        dst[0] = v.re;
        dst[1] = v.im;
      } else {
        dst[0] = (float)((xreal)beta.re * (xreal)v.re - (xreal)beta.im * (xreal)v.im);
        dst[1] = (float)((xreal)beta.re * (xreal)v.im + (xreal)beta.im * (xreal)v.re);
      }
    }
}

void flush_c_block(int mb, int nb, int rows8, cf *c, idx ldc, float *block) {
  cgemm_flush_c(rows8, nb, c, ldc, block, c_stride);
  for (int j = 0; j < nb; ++j)
    for (int i = rows8; i < mb; ++i) {
      const float *src = c_block_at(block, nb, i, j);
      c[i + j * ldc] = cf{src[0], src[1]};
    }
}

// The product into one block of C held in c_block (rows i0.., columns j0..).
void block_product(const operands &op, int i0, int mb, int j0, int nb, int k, float *a_panel, float *b_block,
                   float *c_blk) {
  const int rows8 = mb / panel_rows * panel_rows;
  const int rows32 = mb / panel_span * panel_span;
  const int k_main = k / depth_block * depth_block;
  auto group = [&](int i) { return c_block_at(c_blk, nb, i, 0); };
  auto panel = [&](int i, int rows, int p0, int depth, cgemm_panel_kernel *kernel) {
    op.pack_a(op.a_at(i0 + i, p0), op.lda, rows, depth, a_panel, op.alpha);
    for (int q = 0; q < rows; q += panel_rows)
      kernel(std::min(panel_rows, rows), nb, depth, a_panel + q * 2 * depth, b_block, b_stride, group(i + q),
             c_stride);
  };

  for (int kk = 0; kk < k_main; kk += depth_block) {
    int rest = mb - rows8;
    if (rows8 > 0 || rest >= short_rows) op.pack_b(nb, depth_block, op.b_at(kk, j0), op.ldb, b_block, b_stride);
    int i = 0;
    for (; i < rows32; i += panel_span) panel(i, panel_span, kk, depth_block, cgemm_panel_8x64);
    for (; i < rows8; i += panel_rows) panel(i, panel_rows, kk, depth_block, cgemm_panel_8x64);
    if (rest >= short_rows) {
      panel(i, short_rows, kk, depth_block, cgemm_panel_4x64);
      i += short_rows;
      rest -= short_rows;
    }
    if (rest > 0) op.small(i0 + i, rest, j0, nb, kk, depth_block, group(i));
  }

  const int k_tail = k - k_main;
  if (k_tail == 0) return;
  const int k16 = k_tail / tail_depth_3 * tail_depth_3, k_rest = k_tail - k16;
  cgemm_panel_kernel *kernel = k16 == tail_depth_1   ? cgemm_panel_8x48
                               : k16 == tail_depth_2 ? cgemm_panel_8x32
                                                     : cgemm_panel_8x16;
  if (k16 > 0 && rows8 > 0) op.pack_b(nb, k16, op.b_at(k_main, j0), op.ldb, b_block, b_stride);
  for (int i = 0; i < rows8; i += panel_rows) {
    if (k16 > 0) panel(i, panel_rows, k_main, k16, kernel);
    if (k_rest > 0) op.small(i0 + i, panel_rows, j0, nb, k_main + k16, k_rest, group(i));
  }
  if (mb > rows8) op.small(i0 + rows8, mb - rows8, j0, nb, k_main, k_tail, group(rows8));
}

}  // namespace

void cgemm_seq(const char *transa, const char *transb, const int *m, const int *n, const int *k,
               const tav_complex8 *alpha, const tav_complex8 *a, const int *lda, const tav_complex8 *b,
               const int *ldb, const tav_complex8 *beta, tav_complex8 *c, const int *ldc) {
  const int rows = *m, cols = *n, depth = *k;
  if (rows <= 0 || cols <= 0) return;
  if (takes_small_path(rows, cols, depth)) {
    cgemm_small(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    return;
  }

  void *scratch = scratch_alloc(scratch_bytes);
  if (!scratch) {
    // Without its scratch the product cannot run: report and leave C untouched.
    const int condition = 0;
    xerbla("CGEMM", &condition, 5);
    return;
  }
  unsigned char *base = scratch_base<scratch_align>(scratch);
  float *a_panel = reinterpret_cast<float *>(base + a_panel_offset);
  float *b_block = reinterpret_cast<float *>(base + b_block_offset);
  float *c_blk = reinterpret_cast<float *>(base + c_block_offset);

  const operands op(*transa, *transb, a, *lda, b, *ldb, *alpha);
  const idx c_ld = *ldc;
  for (int j0 = 0; j0 < cols; j0 += col_block) {
    const int nb = std::min(col_block, cols - j0);
    for (int i0 = 0; i0 < rows; i0 += row_block) {
      const int mb = std::min(row_block, rows - i0);
      const int rows8 = mb / panel_rows * panel_rows;
      cf *cb = c + i0 + j0 * c_ld;
      fill_c_block(mb, nb, rows8, cb, c_ld, c_blk, *beta);
      if (!cplx::is_zero(*alpha)) block_product(op, i0, mb, j0, nb, depth, a_panel, b_block, c_blk);
      flush_c_block(mb, nb, rows8, cb, c_ld, c_blk);
    }
  }
  scratch_free(scratch);
}

}  // namespace tav
