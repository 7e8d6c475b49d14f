// The routines under sgemm_seq, each where a boundary lives in it: panel
// kernels on one column, edge kernels on one row, beta on columns at every
// alignment, and the panel formats written by the packing routines.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "frame/xreal.h"
#include "level3/gemm/sgemm.h"
#include "support/buffers.h"

namespace {

using tavtest::bits_of;
using tavtest::Buffer;
using tavtest::float_from_bits;
using tav::xreal;

// Index of (row i, depth p) in an A panel of depth stride D.
int panel_index(int i, int p, int D) { return (i / 16) * 16 * D + p * 16 + i % 16; }

// Each panel kernel against a plain single-precision loop, on 1 column (the
// last-column form alone) and on 3; C has exactly ldc * cols elements, so
// that the touch loads of the next column stay inside what exists.
TEST(SgemmPanel, EveryShapeOnOneAndThreeColumns) {
  struct Kernel {
    decltype(&tav::sgemm_panel_32x64) fn;
    int rows, depth;
    const char *name;
  } kernels[] = {{tav::sgemm_panel_32x64, 32, 64, "32x64"},
                 {tav::sgemm_panel_16x64, 16, 64, "16x64"},
                 {tav::sgemm_panel_32x48, 32, 48, "32x48"},
                 {tav::sgemm_panel_32x32, 32, 32, "32x32"},
                 {tav::sgemm_panel_32x16, 32, 16, "32x16"}};
  for (const Kernel &kn : kernels)
    for (int cols : {1, 3})
      for (int offset : {0, 1, 3}) {
        const int ldb = kn.depth + offset, ldc = kn.rows + 2 * offset;
        Buffer<float> panel = tavtest::random_buffer<float>(kn.rows * kn.depth, 0, 11);
        Buffer<float> b = tavtest::random_buffer<float>(ldb * cols, offset, 12);
        Buffer<float> c = tavtest::random_buffer<float>(ldc * cols, (offset + 1) % 4, 13);
        Buffer<float> got = c, want = c;
        kn.fn(cols, panel.data(), b.data(), ldb, got.data(), ldc);
        for (int j = 0; j < cols; ++j)
          for (int i = 0; i < kn.rows; ++i) {
            float s = 0.0f;
            for (int p = 0; p < kn.depth; ++p) s = s + panel[panel_index(i, p, kn.depth)] * b[p + j * ldb];
            want[i + j * ldc] = want[i + j * ldc] + s;
          }
        EXPECT_TRUE(got.same_bits(want)) << kn.name << " cols " << cols << " offset " << offset;
      }
}

// Each edge kernel against a plain extended-precision loop: rows 1 (the last
// tile alone), 2, 3, 7, 15; depths 1 (a single step), 2, 9, 64.
TEST(SgemmEdge, AllOperandOrdersRowsAndDepths) {
  struct Kernel {
    decltype(&tav::sgemm_edge_nn) fn;
    bool ta, tb;
    const char *name;
  } kernels[] = {{tav::sgemm_edge_nn, false, false, "nn"},
                 {tav::sgemm_edge_tn, true, false, "tn"},
                 {tav::sgemm_edge_nt, false, true, "nt"},
                 {tav::sgemm_edge_tt, true, true, "tt"}};
  const float alpha = -0.8125f;
  for (const Kernel &kn : kernels)
    for (int rows : {1, 2, 3, 7, 15})
      for (int depth : {1, 2, 9, 64}) {
        const int cols = 2;
        const int lda = (kn.ta ? depth : rows) + 1, ldb = (kn.tb ? cols : depth) + 2, ldc = rows + 3;
        Buffer<float> a = tavtest::random_buffer<float>(lda * (kn.ta ? rows : depth), 1, 21, 12);
        Buffer<float> b = tavtest::random_buffer<float>(ldb * (kn.tb ? depth : cols), 2, 22, 12);
        Buffer<float> c = tavtest::random_buffer<float>(ldc * cols, 3, 23);
        Buffer<float> got = c, want = c;
        kn.fn(rows, cols, depth, alpha, a.data(), lda, b.data(), ldb, got.data(), ldc);
        for (int j = 0; j < cols; ++j)
          for (int i = 0; i < rows; ++i) {
            xreal s = 0;
            for (int p = 0; p < depth; ++p) {
              const float x = kn.ta ? a[p + i * lda] : a[i + p * lda];
              const float y = kn.tb ? b[j + p * ldb] : b[p + j * ldb];
              s = s + static_cast<xreal>(x) * static_cast<xreal>(y);
            }
            want[i + j * ldc] = static_cast<float>(s * static_cast<xreal>(alpha) + static_cast<xreal>(c[i + j * ldc]));
          }
        EXPECT_TRUE(got.same_bits(want)) << kn.name << " rows " << rows << " depth " << depth;
      }
}

// Columns starting at each word offset from a 16-byte boundary, with row
// counts on both sides of where the aligned body starts: every element is
// scaled (or cleared) exactly once and nothing past the rows is touched.
TEST(SgemmScale, EachElementOnceAtEveryAlignment) {
  const float beta = 3.0f;
  for (int offset = 0; offset < 4; ++offset)
    for (int rows : {0, 1, 3, 7, 8, 11, 12, 13, 16, 35}) {
      const int cols = 3, ldc = rows + 5;
      Buffer<float> c = tavtest::random_buffer<float>(ldc * cols, offset, 31);
      Buffer<float> scaled = c, zeroed = c;
      tav::sgemm_scale_c(rows, cols, beta, scaled.data(), ldc);
      tav::sgemm_zero_c(rows, cols, zeroed.data(), ldc);
      for (int j = 0; j < cols; ++j)
        for (int i = 0; i < ldc; ++i) {
          const float v = c[i + j * ldc];
          ASSERT_EQ(scaled[i + j * ldc], i < rows ? beta * v : v) << offset << " " << rows << " " << i;
          ASSERT_EQ(bits_of(zeroed[i + j * ldc]), bits_of(i < rows ? 0.0f : v)) << offset << " " << rows;
        }
    }
}

// A panels from a direct or a transposed A: the stripe layout, alpha times
// the element rounded once, the same values on both paths. The padded forms
// leave the steps from `depth` to the stride as they were; nothing past the
// panel is written.
TEST(SgemmPack, APanelsOnBothPaths) {
  struct Case {
    int rows, depth, stride;
  } cases[] = {{16, 16, 16}, {16, 48, 48}, {16, 64, 64}, {32, 16, 16}, {32, 48, 48}, {32, 64, 64}, {32, 59, 64}};
  for (const Case &cs : cases) {
    const bool padded = cs.depth < cs.stride;
    const float alpha = padded ? -1.75f : 1.0f / 3.0f;
    const int rows = cs.rows, depth = cs.depth, stride = cs.stride, ld_n = rows + 3, ld_t = depth + 2;
    Buffer<float> an = tavtest::random_buffer<float>(ld_n * depth, padded ? 3 : 1, 41);
    Buffer<float> at(ld_t * rows, padded ? 1 : 2);
    for (int i = 0; i < rows; ++i)
      for (int p = 0; p < depth; ++p) at[p + i * ld_t] = an[i + p * ld_n];
    std::vector<float> pn(rows * stride + 8, 9.0f), pt(pn);
    if (padded) {
      tav::sgemm_padpack_a_n(an.data(), ld_n, rows, depth, stride, pn.data(), alpha);
      tav::sgemm_padpack_a_t(at.data(), ld_t, rows, depth, stride, pt.data(), alpha);
    } else {
      tav::sgemm_pack_a_n(an.data(), ld_n, rows, depth, pn.data(), alpha);
      tav::sgemm_pack_a_t(at.data(), ld_t, rows, depth, pt.data(), alpha);
    }
    for (int i = 0; i < rows; ++i)
      for (int p = 0; p < stride; ++p) {
        const float want = p < depth ? alpha * an[i + p * ld_n] : 9.0f;
        ASSERT_EQ(bits_of(pn[panel_index(i, p, stride)]), bits_of(want)) << rows << " " << depth << " " << p;
        ASSERT_EQ(bits_of(pt[panel_index(i, p, stride)]), bits_of(want)) << rows << " " << depth << " " << p;
      }
    for (int x = rows * stride; x < rows * stride + 8; ++x) {
      EXPECT_EQ(pn[x], 9.0f);
      EXPECT_EQ(pt[x], 9.0f);
    }
  }
}

// B blocks are bit copies (a signalling NaN stays signalling); the plain
// transposed copy takes depth rounded down to 8; padded copies add +0 rows up
// to `full`, and none when depth equals full.
TEST(SgemmPack, BBlocksCopyBitsAndPadWithZeros) {
  const float snan = float_from_bits(0x7f800003u);
  for (int offset = 0; offset < 4; ++offset)
    for (int depth : {13, 58, 63, 64}) {
      const int cols = 3, full = 64, stride = 64;
      const int ld_n = depth + offset + 1, ld_t = cols + 2;
      Buffer<float> bn = tavtest::random_buffer<float>(ld_n * cols, offset, 51);
      Buffer<float> bt(ld_t * depth, (offset + 1) % 4);
      bn[5 + 1 * ld_n] = snan;
      for (int j = 0; j < cols; ++j)
        for (int p = 0; p < depth; ++p) bt[j + p * ld_t] = bn[p + j * ld_n];
      std::vector<float> pn(stride * cols + 1, -5.0f), pt(pn), plain(pn);
      tav::sgemm_padpack_b_n(cols, depth, full, bn.data(), ld_n, pn.data(), stride);
      tav::sgemm_padpack_b_t(cols, depth, full, bt.data(), ld_t, pt.data(), stride);
      tav::sgemm_pack_b_t(cols, depth, bt.data(), ld_t, plain.data(), stride);
      const int copied = depth / 8 * 8;
      for (int j = 0; j < cols; ++j)
        for (int p = 0; p < stride; ++p) {
          const std::uint32_t src = p < depth ? bits_of(bn[p + j * ld_n]) : 0u;
          ASSERT_EQ(bits_of(pn[p + j * stride]), src) << offset << " " << depth << " " << p;
          ASSERT_EQ(bits_of(pt[p + j * stride]), src) << offset << " " << depth << " " << p;
          ASSERT_EQ(bits_of(plain[p + j * stride]), p < copied ? src : bits_of(-5.0f)) << depth << " " << p;
        }
      EXPECT_EQ(pn.back(), -5.0f);
      EXPECT_EQ(pt.back(), -5.0f);
    }
}

}  // namespace
