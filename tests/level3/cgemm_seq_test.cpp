// cgemm_seq: against the reference BLAS within a tolerance, and bit for bit
// against a per-element model of its paths. Small products: per depth step
// t = alpha b, then c += a t, in single precision. Large ones: beta on the way
// into the block (single precision for full groups of eight rows, extended for
// the rest rows), each depth block of a panel row summed in four lanes per
// part (real-B terms, then imaginary-B terms), reduced (l0 + l2) + (l1 + l3)
// and added to C; rows outside the panels take the small path's steps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "frame/xreal.h"
#include "level3/complex_gemm_case.h"
#include "level3/gemm/cgemm.h"

namespace {

using tav::xreal;
using tavtest::Buffer;
using cf = tav_complex8;
using Case = tavtest::ComplexCase<cf>;

bool same_or_nan(float v, float x) { return !(v < x) && !(v > x); }
bool is_zero(cf v) { return same_or_nan(v.re, 0) && same_or_nan(v.im, 0); }
bool is_one(cf v) { return same_or_nan(v.re, 1) && same_or_nan(v.im, 0); }
cf mul(cf x, cf y) { return cf{x.re * y.re - x.im * y.im, x.re * y.im + x.im * y.re}; }

// The small path's steps on one element over depth [p0, p0 + steps).
cf small_steps(const Case &pr, int i, int j, int p0, int steps, cf v) {
  for (int p = p0; p < p0 + steps; ++p) {
    const cf t = mul(pr.alpha, pr.op_b(p, j));
    const cf prod = mul(pr.op_a(i, p), t);
    v = cf{v.re + prod.re, v.im + prod.im};
  }
  return v;
}

// A panel's sum on one element over depth [p0, p0 + depth), added to v.
cf panel_sum(const Case &pr, int i, int j, int p0, int depth, cf v) {
  float re[4] = {0, 0, 0, 0}, im[4] = {0, 0, 0, 0};
  for (int p = 0; p < depth; ++p) {  // real parts of B first, over the whole depth
    const cf a = mul(pr.alpha, pr.op_a(i, p0 + p));
    const float br = pr.op_b(p0 + p, j).re;
    re[p % 4] = re[p % 4] + a.re * br;
    im[p % 4] = im[p % 4] + a.im * br;
  }
  for (int p = 0; p < depth; ++p) {
    const cf a = mul(pr.alpha, pr.op_a(i, p0 + p));
    const float bi = pr.op_b(p0 + p, j).im;
    im[p % 4] = im[p % 4] + a.re * bi;
    re[p % 4] = re[p % 4] - a.im * bi;
  }
  return cf{v.re + ((re[0] + re[2]) + (re[1] + re[3])), v.im + ((im[0] + im[2]) + (im[1] + im[3]))};
}

bool small_path(int m, int n, int k) {
  if (m < 4 || n < 4 || k < 4) return true;
  if (m + n + k >= 50) return false;
  return !((xreal)((m + k) * n + k * m) / (xreal)(8 * m * n * (k + 1) + 6 * m * n) < (xreal)0.08);
}

Buffer<cf> model(const Case &pr) {
  Buffer<cf> out = pr.c;
  const bool small = small_path(pr.m, pr.n, pr.k);
  const int k_main = pr.k / 64 * 64, k_tail = pr.k - k_main, k16 = k_tail / 16 * 16;
  for (int j = 0; j < pr.n; ++j)
    for (int i = 0; i < pr.m; ++i) {
      cf v = pr.at(out, i, j);
      const int i0 = i / 512 * 512, mb = std::min(512, pr.m - i0), rows8 = mb / 8 * 8, ib = i - i0;
      if (is_zero(pr.beta)) {
        v = cf{0, 0};
      } else if (!is_one(pr.beta)) {
        if (small || ib < rows8) {
          v = mul(pr.beta, v);
        } else {
          const xreal br = pr.beta.re, bi = pr.beta.im, vr = v.re, vi = v.im;
          v = cf{(float)(br * vr - bi * vi), (float)(br * vi + bi * vr)};
        }
      }
      if (small) {
        v = small_steps(pr, i, j, 0, pr.k, v);
      } else if (!is_zero(pr.alpha)) {
        const bool main_panel = ib < rows8 || (mb - rows8 >= 4 && ib < rows8 + 4);
        for (int kk = 0; kk < k_main; kk += 64)
          v = main_panel ? panel_sum(pr, i, j, kk, 64, v) : small_steps(pr, i, j, kk, 64, v);
        if (ib < rows8) {
          if (k16 > 0) v = panel_sum(pr, i, j, k_main, k16, v);
          v = small_steps(pr, i, j, k_main + k16, k_tail - k16, v);
        } else {
          v = small_steps(pr, i, j, k_main, k_tail, v);
        }
      }
      pr.at(out, i, j) = v;
    }
  return out;
}

void check(const Case &pr) { tavtest::expect_model_and_reference(pr, tav::cgemm_seq, model, "cgemm_"); }

// Nine flag cases (odd letters among them) across the row groups and depth
// tails; then row blocks of 512 and column blocks of 192 with their rest rows,
// and the small-path decision: small whenever a dimension is below 4, also for
// a large sum, large from 4 x 4 x 4 up (the model tells the two apart by
// rounding), with beta (0.5, 0) on the small shapes as well.
TEST(CgemmSeq, FlagCasesShapesAndPathsMatchModelAndReference) {
  tavtest::for_flag_grid<cf>({3, 4, 7, 8, 12, 31, 32, 33}, {0, 1, 3, 4, 15, 16, 17, 40, 63, 64, 65}, 6, 500, check);
  tavtest::for_shapes<cf>({{511, 5, 65, 'N', 'N'}, {512, 4, 17, 'T', 'C'}, {513, 6, 64, 'C', 'T'},
                           {20, 191, 70, 'N', 'T'}, {13, 192, 48, 'c', 'n'}, {9, 193, 129, 'T', 'N'}},
                          800, check);
  tavtest::for_shapes<cf>({{50, 1, 1, 'N', 'N'}, {3, 40, 40, 'N', 'N'}, {40, 3, 40, 'N', 'N'}, {40, 40, 3, 'N', 'N'},
                           {4, 4, 4, 'N', 'N'}, {5, 6, 7, 'N', 'N'}, {4, 30, 15, 'N', 'N'}},
                          40, [](Case pr) {
                            check(pr);
                            pr.beta = cf{0.5f, 0.0f};
                            check(pr);
                          });
}

// A worked case of the panel's order, B real 1 except B(4) = (0, 2^24).
// Row 0 puts 2^24, 1, -2^24, 1 in lanes 0 to 3 of its real sum:
//   (l0 + l2) + (l1 + l3) = 0 + 2 = 2, where (l0 + l1) + (l2 + l3) and the
//   plain order both give 1 (2^24 + 1 rounds to 2^24).
// Row 1 has 2^24 at step 0, (0, 1) at step 4 and 1 at step 8, all in lane 0:
//   real-B terms first: (2^24 + 1) - 2^24 = 0; in depth order it would be 1.
TEST(CgemmSeq, PanelLaneSumsAndReductionOrder) {
  const int m = 8, n = 4, k = 64, lda = 8, ldb = 64, ldc = 8;
  Buffer<cf> a(lda * k, 1), b(ldb * n, 2), c(ldc * n, 3);
  const float big = 16777216.0f;  // 2^24: adding 1 to it rounds back
  for (int j = 0; j < n; ++j)
    for (int p = 0; p < k; ++p) b[p + j * ldb] = cf{p == 4 ? 0.0f : 1.0f, p == 4 ? big : 0.0f};
  a[0 + 0 * lda] = cf{big, 0};
  a[0 + 1 * lda] = cf{1, 0};
  a[0 + 2 * lda] = cf{-big, 0};
  a[0 + 3 * lda] = cf{1, 0};
  a[1 + 0 * lda] = cf{big, 0};
  a[1 + 4 * lda] = cf{0, 1};
  a[1 + 8 * lda] = cf{1, 0};
  const cf alpha{1, 0}, beta{0, 0};
  tav::cgemm_seq("N", "N", &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, c.data(), &ldc);
  for (int j = 0; j < n; ++j) {
    EXPECT_EQ(c[j * ldc].re, 2.0f) << j;
    EXPECT_EQ(c[1 + j * ldc].re, 0.0f) << j;
    EXPECT_EQ(c[j * ldc].im, 0.0f) << j;
    EXPECT_EQ(c[1 + j * ldc].im, 0.0f) << j;
  }
}

// alpha (0, 0) on the large path: A and B are not read, so a NaN in A does
// not reach C; the model has C = beta C, in single precision for the full
// groups of eight rows and rounded once from extended precision after them.
TEST(CgemmSeq, ZeroAlphaSkipsTheProduct) {
  Case pr('N', 'T', 13, 5, 70, 77, 1, 1);
  pr.alpha = cf{0, 0};
  pr.a[3] = cf{std::numeric_limits<float>::quiet_NaN(), 0};
  EXPECT_TRUE(pr.same_bits(pr.run(tav::cgemm_seq), model(pr)));
}

// beta with a NaN part that is tested as 0 clears C without reading it (old
// NaNs vanish) on both paths; beta (1, 0) keeps C's bits exactly.
TEST(CgemmSeq, BetaZeroOneAndNaN) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const int shapes[][3] = {{13, 7, 66}, {3, 7, 9}};
  for (const auto &s : shapes) {
    Case pr('T', 'C', s[0], s[1], s[2], 9, 2, 3);
    pr.c[1] = cf{nan, nan};
    pr.c[pr.ldc + 10 % pr.m] = cf{-0.0f, std::numeric_limits<float>::infinity()};
    Case zero = pr;
    zero.beta = cf{0, 0};
    for (const cf beta : {cf{nan, 0}, cf{0, nan}, cf{-0.0f, 0}, cf{0, 0}}) {
      pr.beta = beta;
      EXPECT_TRUE(pr.same_bits(pr.run(tav::cgemm_seq), model(zero))) << "m=" << s[0];
    }
    if (s[0] > 4) {  // the large path copies C in and out unchanged, -0 and NaN included
      Case keep = pr;
      keep.beta = cf{1, 0};
      keep.alpha = cf{0, 0};
      EXPECT_TRUE(keep.same_bits(keep.run(tav::cgemm_seq), keep.c));
    }
  }
}

// The scratch formats, element by element: an A panel holds alpha op(A)
// (rounded to single, the conjugated form negating op(A)'s imaginary part
// first) with row pairs outermost and depth along the lanes; a B block holds
// real and imaginary parts of four depth steps as two vectors; c_block holds
// groups of eight interleaved rows column after column, and the copy out is
// the exact inverse of the copy in.
TEST(CgemmSeq, ScratchFormats) {
  const int rows = 6, depth = 12, ld = 16;
  const cf alpha{0.75f, -1.0f / 3.0f};
  const Buffer<cf> src = Case::filled(ld * ld, 1, 21);
  using pack_a_fn = void (*)(const cf *, std::ptrdiff_t, int, int, float *, cf);
  using pack_b_fn = void (*)(int, int, const cf *, std::ptrdiff_t, float *, int);
  const pack_a_fn packs_a[] = {tav::cgemm_pack_a_n, tav::cgemm_pack_a_t, tav::cgemm_pack_a_c};
  const pack_b_fn packs_b[] = {tav::cgemm_pack_b_n, tav::cgemm_pack_b_t, tav::cgemm_pack_b_c};
  const char flags[] = {'N', 'T', 'C'};
  const int cols = 3, stride = 64;
  for (int f = 0; f < 3; ++f) {
    alignas(16) float panel[rows * depth * 2];
    alignas(16) static float block[cols * stride * 2];
    packs_a[f](src.data(), ld, rows, depth, panel, alpha);
    packs_b[f](cols, depth, src.data(), ld, block, stride);
    for (int p = 0; p < depth; ++p) {
      for (int i = 0; i < rows; ++i) {
        const cf want = mul(alpha, Case::op(src, ld, flags[f], i, p));
        const int at = (i / 2) * 4 * depth + (p / 4) * 16 + (i % 2) * 8 + p % 4;
        EXPECT_SAME_BITS(panel[at], want.re) << flags[f] << i << "," << p;
        EXPECT_SAME_BITS(panel[at + 4], want.im) << flags[f] << i << "," << p;
      }
      for (int j = 0; j < cols; ++j) {
        const cf want = Case::op(src, ld, flags[f], p, j);
        const int at = j * 128 + (p / 4) * 8 + p % 4;
        EXPECT_SAME_BITS(block[at], want.re) << flags[f] << p << "," << j;
        EXPECT_SAME_BITS(block[at + 4], want.im) << flags[f] << p << "," << j;
      }
    }
  }
  // c_block: 16 rows by 3 columns of C, scaled by beta on the way in.
  const int m = 16, n = 3;
  const cf beta{-0.7f, 0.3f};
  alignas(16) float cblk[m * n * 2];
  tav::cgemm_scale_c(m, n, src.data(), ld, cblk, 8, beta);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      const cf want = mul(beta, src[i + j * ld]);
      const int at = ((i / 8) * n + j) * 16 + (i % 8) * 2;
      EXPECT_SAME_BITS(cblk[at], want.re) << i << "," << j;
      EXPECT_SAME_BITS(cblk[at + 1], want.im) << i << "," << j;
    }
  tav::cgemm_load_c(m, n, src.data(), ld, cblk, 8);
  Buffer<cf> back(ld * n, 2);
  tav::cgemm_flush_c(m, n, back.data(), ld, cblk, 8);
  EXPECT_EQ(std::memcmp(back.data(), src.data(), sizeof(cf) * ld * n), 0);  // m = ld: whole columns
}

// m or n not positive: nothing is touched.
TEST(CgemmSeq, EmptyShapesTouchNothing) { tavtest::expect_empty_shapes_untouched<cf>(tav::cgemm_seq); }

}  // namespace
