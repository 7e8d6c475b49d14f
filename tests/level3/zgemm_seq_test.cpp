// zgemm_seq: against the reference BLAS within a tolerance, and bit for bit
// against a per-element model of its blocking, all in the extended type:
// beta multiplied per block; panel rows sum a depth block in two sweeps (real
// parts of B from the first product on, then imaginary parts) and reach C
// through alpha, with the plain sum or difference for alpha (1, 0) and
// (-1, 0); edge rows sum each step as ar br, -ai bi, ar bi, ai br from 0 and
// always multiply by alpha.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "frame/xreal.h"
#include "level3/complex_gemm_case.h"
#include "level3/gemm/zgemm.h"

namespace {

using tav::xreal;
using tavtest::Buffer;
using cd = tav_complex16;
using Case = tavtest::ComplexCase<cd>;

bool same_or_nan(double v, double x) { return !(v < x) && !(v > x); }

cd times_alpha_plus(const Case &pr, cd v, xreal sr, xreal si) {
  const xreal ar = pr.alpha.re, ai = pr.alpha.im;
  return cd{(double)((xreal)v.re + (sr * ar - si * ai)), (double)((xreal)v.im + (sr * ai + si * ar))};
}

cd panel_tile(const Case &pr, int i, int j, int p0, int depth, cd v) {
  xreal sr = 0, si = 0;
  for (int p = p0; p < p0 + depth; ++p) {
    const cd a = pr.op_a(i, p);
    const xreal br = pr.op_b(p, j).re;
    if (p == p0) {
      sr = (xreal)a.re * br;
      si = (xreal)a.im * br;
    } else {
      sr += (xreal)a.re * br;
      si += (xreal)a.im * br;
    }
  }
  for (int p = p0; p < p0 + depth; ++p) {
    const cd a = pr.op_a(i, p);
    const xreal bi = pr.op_b(p, j).im;
    si += (xreal)a.re * bi;
    sr -= (xreal)a.im * bi;
  }
  if (same_or_nan(pr.alpha.im, 0) && same_or_nan(pr.alpha.re, 1))
    return cd{(double)((xreal)v.re + sr), (double)((xreal)v.im + si)};
  if (same_or_nan(pr.alpha.im, 0) && same_or_nan(pr.alpha.re, -1))
    return cd{(double)((xreal)v.re - sr), (double)((xreal)v.im - si)};
  return times_alpha_plus(pr, v, sr, si);
}

cd edge_sum(const Case &pr, int i, int j, int p0, int depth, cd v) {
  xreal sr = 0, si = 0;
  for (int p = p0; p < p0 + depth; ++p) {
    const cd a = pr.op_a(i, p), b = pr.op_b(p, j);
    sr += (xreal)a.re * (xreal)b.re;
    sr -= (xreal)a.im * (xreal)b.im;
    si += (xreal)a.re * (xreal)b.im;
    si += (xreal)a.im * (xreal)b.re;
  }
  return times_alpha_plus(pr, v, sr, si);
}

Buffer<cd> model(const Case &pr) {
  Buffer<cd> out = pr.c;
  const int k_main = pr.k / 32 * 32, k_tail = pr.k - k_main;
  for (int j = 0; j < pr.n; ++j)
    for (int i = 0; i < pr.m; ++i) {
      cd v = pr.at(out, i, j);
      const cd bt = pr.beta;
      if (same_or_nan(bt.re, 0) && same_or_nan(bt.im, 0)) {
        v = cd{0, 0};
      } else if (!(same_or_nan(bt.re, 1) && same_or_nan(bt.im, 0))) {
        const xreal br = bt.re, bi = bt.im, vr = v.re, vi = v.im;
        v = cd{(double)(br * vr - bi * vi), (double)(br * vi + bi * vr)};
      }
      // Main pass: panels of 16, then one of 8 and one of 4 in a 128-row block.
      const int mb = std::min(128, pr.m - i / 128 * 128);
      int in_panels = mb / 16 * 16;
      if (mb - in_panels >= 8) in_panels += 8;
      if (mb - in_panels >= 4) in_panels += 4;
      const bool main_panel = i % 128 < in_panels;
      for (int kk = 0; kk < k_main; kk += 32)
        v = main_panel ? panel_tile(pr, i, j, kk, 32, v) : edge_sum(pr, i, j, kk, 32, v);
      if (k_tail >= 16) {
        const int d = k_tail >= 24 ? 24 : 16, rows = d == 24 ? 16 : 32;
        v = i < pr.m / rows * rows ? panel_tile(pr, i, j, k_main, d, v) : edge_sum(pr, i, j, k_main, d, v);
        if (k_tail > d) v = edge_sum(pr, i, j, k_main + d, k_tail - d, v);
      } else if (k_tail > 0) {
        v = edge_sum(pr, i, j, k_main, k_tail, v);
      }
      pr.at(out, i, j) = v;
    }
  return out;
}

void check(const Case &pr) { tavtest::expect_model_and_reference(pr, tav::zgemm_seq, model, "zgemm_"); }

// Nine flag cases (odd letters among them) across the panel rows, edge rows
// and depth tails; then column blocks of 64 in the main pass and 128 in the
// tail, and row blocks of 128.
TEST(ZgemmSeq, FlagCasesAndBlocksMatchModelAndReference) {
  tavtest::for_flag_grid<cd>({1, 3, 4, 7, 8, 15, 16, 31, 33}, {0, 1, 15, 16, 23, 24, 31, 32, 40, 47, 55, 56, 65}, 5,
                             700, check);
  tavtest::for_shapes<cd>({{129, 65, 33, 'N', 'N'}, {40, 129, 40, 'T', 'C'}, {36, 192, 24, 'C', 'T'},
                           {127, 3, 70, 'N', 'c'}, {20, 130, 17, 't', 'N'}},
                          950, check);
}

// alpha (1, 0) and (-1, 0) skip the product in the panels: with C = (-0, 1),
// a panel sum of (+0, negative) gives -0 - (+0) = -0 for (-1, 0) (also with
// an imaginary part of -0), where the complex product would give
// -0 + (-0 - (-0)) = +0. Other alphas multiply.
TEST(ZgemmSeq, UnitAlphaShortcutsInPanels) {
  const int m = 16, n = 2, k = 32, ld = 32;
  Buffer<cd> a(ld * k, 1), b(ld * n, 2);
  for (int p = 0; p < k; ++p)
    for (int i = 0; i < m; ++i) a[i + p * ld] = cd{0.0, -0.5 - 0.01 * p};
  for (int j = 0; j < n; ++j)
    for (int p = 0; p < k; ++p) b[p + j * ld] = cd{1.0 + 0.125 * j, 0.0};
  const cd beta{1, 0};
  for (const cd alpha : {cd{-1, 0}, cd{1, 0}, cd{-1, -0.0}, cd{0.5, 0}}) {
    Buffer<cd> c(ld * n, 3);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i) c[i + j * ld] = cd{-0.0, 1.0};
    tav::zgemm_seq("N", "N", &m, &n, &k, &alpha, a.data(), &ld, b.data(), &ld, &beta, c.data(), &ld);
    for (int j = 0; j < n; ++j) {
      xreal si = 0;
      for (int p = 0; p < k; ++p) si += (xreal)a[p * ld].im * (xreal)b[p + j * ld].re;
      // -0 + (+0) is +0 for (1, 0) and for a product; only C - sum keeps -0.
      const double want_re = alpha.re == -1 ? -0.0 : 0.0;
      const double want_im = (double)((xreal)1.0 + (xreal)alpha.re * si);
      for (int i = 0; i < m; ++i) {
        EXPECT_SAME_BITS(c[i + j * ld].re, want_re) << alpha.re << " " << i;
        EXPECT_SAME_BITS(c[i + j * ld].im, want_im) << alpha.re << " " << i;
      }
    }
  }
}

// alpha (0, 0) takes no shortcut: a NaN in A reaches C through the product.
// beta with a NaN part tested as 0 clears C; beta (1, 0) leaves C alone.
TEST(ZgemmSeq, ZeroAlphaNaNAndBetaRules) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Case pr('N', 'N', 20, 3, 40, 31, 1, 2);
  pr.alpha = cd{0, 0};
  pr.a[2] = cd{nan, 0};
  Buffer<cd> got = pr.run(tav::zgemm_seq);
  for (int j = 0; j < pr.n; ++j) EXPECT_TRUE(std::isnan(got[2 + std::size_t(j) * pr.ldc].re)) << j;
  EXPECT_TRUE(pr.same_bits(got, model(pr)));

  Case cl('C', 'T', 21, 4, 35, 32, 2, 1);
  cl.c[0] = cd{nan, -nan};
  Case zero = cl;
  zero.beta = cd{0, 0};
  for (const cd beta : {cd{nan, 0}, cd{0, nan}, cd{-0.0, 0}, cd{0, 0}}) {
    cl.beta = beta;
    EXPECT_TRUE(cl.same_bits(cl.run(tav::zgemm_seq), model(zero)));
  }
  Case keep = cl;
  keep.beta = cd{1, 0};
  keep.k = 0;
  EXPECT_TRUE(keep.same_bits(keep.run(tav::zgemm_seq), keep.c));
}

// The panel formats hold the bits of op(A) and op(B), the conjugated forms
// with the sign of the imaginary part flipped: A in 2-row stripes, each depth
// step four doubles; B as contiguous interleaved columns of the block stride.
TEST(ZgemmSeq, PanelFormats) {
  const int rows = 6, depth = 5, ld = 8;
  Buffer<cd> src = Case::filled(ld * ld, 1, 23);
  src[1] = cd{-0.0, 0.0};  // signs of zero survive the copies
  using pack_a_fn = void (*)(const cd *, std::ptrdiff_t, int, int, double *);
  const pack_a_fn packs[] = {tav::zgemm_pack_a_n, tav::zgemm_pack_a_t, tav::zgemm_pack_a_c};
  const char flags[] = {'N', 'T', 'C'};
  const int cols = 3, stride = 32;
  for (int f = 0; f < 3; ++f) {
    double panel[rows * depth * 2];
    cd block[cols * stride];
    packs[f](src.data(), ld, rows, depth, panel);
    if (f > 0) (f == 1 ? tav::zgemm_pack_b_t : tav::zgemm_pack_b_c)(cols, depth, src.data(), ld, block, stride);
    for (int p = 0; p < depth; ++p) {
      for (int i = 0; i < rows; ++i) {
        const cd want = Case::op(src, ld, flags[f], i, p);
        const int at = (i / 2) * 4 * depth + p * 4 + (i % 2) * 2;
        EXPECT_SAME_BITS(panel[at], want.re) << flags[f] << i << "," << p;
        EXPECT_SAME_BITS(panel[at + 1], want.im) << flags[f] << i << "," << p;
      }
      for (int j = 0; j < cols && f > 0; ++j) {
        const cd want = Case::op(src, ld, flags[f], p, j);
        EXPECT_SAME_BITS(block[j * stride + p].re, want.re) << flags[f] << p << "," << j;
        EXPECT_SAME_BITS(block[j * stride + p].im, want.im) << flags[f] << p << "," << j;
      }
    }
  }
}

TEST(ZgemmSeq, EmptyShapesTouchNothing) { tavtest::expect_empty_shapes_untouched<cd>(tav::zgemm_seq); }

}  // namespace
