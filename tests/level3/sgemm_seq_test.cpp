// sgemm_seq: against the reference BLAS within a tolerance, and bit for bit
// against a per-element model of which rows and depths go through the single
// precision panels and which through the extended-precision edge kernels.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "frame/xreal.h"
#include "level3/gemm/sgemm.h"
#include "support/buffers.h"
#include "support/refblas.h"

namespace {

using tavtest::bits_of;
using tavtest::Buffer;
using tavtest::float_from_bits;
using tav::xreal;

using sgemm_fn = void (*)(const char *, const char *, const int *, const int *, const int *, const float *,
                          const float *, const int *, const float *, const int *, const float *, float *,
                          const int *);

bool direct(char flag) { return flag == 'N' || flag == 'n'; }

// One product's operands, laid out as the flags say, with padded leading
// dimensions and chosen offsets from a 64-byte boundary.
struct Problem {
  char ta = 'N', tb = 'N';
  int m = 0, n = 0, k = 0;
  int lda = 1, ldb = 1, ldc = 1;
  float alpha = 0.7071f, beta = -1.3f;
  Buffer<float> a, b, c;

  Problem(char ta_, char tb_, int m_, int n_, int k_, int pad = 0, int offset = 0, std::uint32_t seed = 1)
      : ta(ta_), tb(tb_), m(m_), n(n_), k(k_) {
    const int arows = direct(ta) ? m : k, acols = direct(ta) ? k : m;
    const int brows = direct(tb) ? k : n, bcols = direct(tb) ? n : k;
    lda = std::max(1, arows + pad);
    ldb = std::max(1, brows + pad);
    ldc = std::max(1, m + pad);
    a = tavtest::random_buffer<float>(static_cast<size_t>(lda) * std::max(acols, 1), offset, seed);
    b = tavtest::random_buffer<float>(static_cast<size_t>(ldb) * std::max(bcols, 1), (offset + 1) % 4, seed + 1);
    c = tavtest::random_buffer<float>(static_cast<size_t>(ldc) * std::max(n, 1), (offset + 2) % 4, seed + 2);
  }
  float opa(int i, int p) const { return direct(ta) ? a[i + p * lda] : a[p + i * lda]; }
  float opb(int p, int j) const { return direct(tb) ? b[p + j * ldb] : b[j + p * ldb]; }

  Buffer<float> run(sgemm_fn f = tav::sgemm_seq) const {
    Buffer<float> out = c;
    f(&ta, &tb, &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, out.data(), &ldc);
    return out;
  }
};

// The product of one element, as the blocking decides it:
//   panel rows: C + (sum from +0 of fl(fl(alpha a) b), ascending, in single)
//   edge rows:  fl(sum from 0 of a b in xreal, times alpha, plus C)
// Rows are panel rows in the main pass when they fall in the 32-row panels of
// their 256-row block or in the one 16-row panel after them; in the tail pass
// when they fall in the 32-row panels of the whole of m.
struct Model {
  const Problem &pr;

  float panel(int i, int j, int p0, int len, float c) const {
    float s = 0.0f;
    for (int p = p0; p < p0 + len; ++p) s = s + (pr.alpha * pr.opa(i, p)) * pr.opb(p, j);
    return c + s;
  }
  float edge(int i, int j, int p0, int len, float c) const {
    xreal s = 0;
    for (int p = p0; p < p0 + len; ++p) s = s + static_cast<xreal>(pr.opa(i, p)) * static_cast<xreal>(pr.opb(p, j));
    return static_cast<float>(s * static_cast<xreal>(pr.alpha) + static_cast<xreal>(c));
  }

  float element(int i, int j) const {
    const float c0 = pr.c[i + j * pr.ldc];
    float c = (pr.beta == 0.0f || std::isnan(pr.beta)) ? 0.0f : pr.beta * c0;
    const int k_main = pr.k / 64 * 64, k_tail = pr.k - k_main;
    const int block_row = i % 256, mb = std::min(256, pr.m - (i - block_row));
    const int block_main = mb / 32 * 32;
    const bool main_panel = block_row < block_main || (block_row < block_main + 16 && mb - block_main >= 16);
    for (int kk = 0; kk < k_main; kk += 64) c = main_panel ? panel(i, j, kk, 64, c) : edge(i, j, kk, 64, c);
    if (k_tail == 0) return c;
    const bool tail_panel = i < pr.m / 32 * 32;
    if (k_tail >= 58) return tail_panel ? panel(i, j, k_main, k_tail, c) : edge(i, j, k_main, k_tail, c);
    if (k_tail < 16) return edge(i, j, k_main, k_tail, c);
    const int d = k_tail >= 48 ? 48 : k_tail >= 32 ? 32 : 16;
    c = tail_panel ? panel(i, j, k_main, d, c) : edge(i, j, k_main, d, c);
    return k_tail > d ? edge(i, j, k_main + d, k_tail - d, c) : c;
  }
};

std::string describe(const Problem &pr) {
  return std::string(1, pr.ta) + pr.tb + " m=" + std::to_string(pr.m) + " n=" + std::to_string(pr.n) +
         " k=" + std::to_string(pr.k) + " lda=" + std::to_string(pr.lda);
}

// Bit for bit against the model, the padding rows between columns untouched;
// with `reference`, also within the sum tolerance of the reference BLAS (which
// rejects letters other than N, T, C and so is given their meaning).
void expect_model(const Problem &pr, const Buffer<float> &got, bool reference = false) {
  Model model{pr};
  Buffer<float> want;
  if (reference) {
    Problem plain = pr;
    plain.ta = direct(pr.ta) ? 'N' : 'T';
    plain.tb = direct(pr.tb) ? 'N' : 'T';
    want = plain.run(tavtest::RefBlas::get().fn<sgemm_fn>("sgemm_"));
  }
  int bad = 0;
  for (int j = 0; j < pr.n; ++j)
    for (int i = 0; i < pr.ldc; ++i) {
      const float have = got[i + j * pr.ldc], exact = i < pr.m ? model.element(i, j) : pr.c[i + j * pr.ldc];
      if (bits_of(exact) != bits_of(have) && bad++ < 5)
        ADD_FAILURE() << describe(pr) << " at (" << i << ", " << j << "): " << have << " want " << exact;
      if (!reference || i >= pr.m) continue;
      double scale = std::fabs(pr.beta * pr.c[i + j * pr.ldc]);
      for (int p = 0; p < pr.k; ++p) scale += std::fabs(pr.alpha * pr.opa(i, p) * pr.opb(p, j));
      if (!(std::fabs(double(have) - want[i + j * pr.ldc]) <= tavtest::sum_tolerance<float>(pr.k, scale)) &&
          bad++ < 5)
        ADD_FAILURE() << describe(pr) << " at (" << i << ", " << j << "): " << have << " vs reference "
                      << want[i + j * pr.ldc];
    }
  EXPECT_EQ(bad, 0) << describe(pr);
}

const char flag_pairs[][2] = {{'N', 'n'}, {'t', 'N'}, {'n', 'c'}, {'x', 'T'}};

// Every flag pair (odd letters mean a transpose), padded leading dimensions and
// offsets, bit for bit against the model and near the reference BLAS: every
// depth boundary with rows on both sides of the panel sizes; blocks of 256 in
// rows and columns with the tails of depth; each boundary of m and n with the
// others held at a value that crosses a block or panel.
TEST(SgemmSeq, BoundaryShapesMatchModelAndReference) {
  TAV_REQUIRE_REFBLAS();
  const int boundary_k[] = {0, 1, 15, 16, 17, 47, 48, 49, 57, 58, 63, 64, 65, 127, 128, 200};
  std::vector<std::array<int, 3>> shapes = {{257, 3, 64},  {300, 2, 130}, {273, 1, 60},  {290, 257, 17},
                                            {64, 257, 49}, {256, 256, 1}, {257, 257, 130}};
  for (int k : boundary_k)
    for (int m : {1, 15, 16, 17, 31, 32, 33, 40, 49}) shapes.push_back({m, 1 + (m + k) % 3, k});
  for (int m : {1, 15, 16, 17, 31, 32, 33, 255, 256, 257}) shapes.push_back({m, 5, 65});
  for (int n : {1, 2, 255, 256, 257}) shapes.push_back({33, n, 58});
  int seed = 10;
  for (const auto &f : flag_pairs)
    for (const auto &[m, n, k] : shapes) {
      ++seed;
      Problem pr(f[0], f[1], m, n, k, seed % 3, seed % 4, seed);
      const Buffer<float> got = pr.run();
      expect_model(pr, got, true);
    }
}

// Ones in A against one 1 and then 63 values of 2^-25 in B: in single
// precision each small term is lost against 1, in extended precision they add
// up to 2^-19 before the rounding. Row 16 of 17 goes to the edge kernel.
// With k = 65, depth 64 is the one tail step, done by the edge kernel on every
// row after the panel sum has reached C: 1 + 2^-24 ties to even, to 1 for
// panel rows, and the edge row rounds 1 + 2^-19 + 2^-24 to 1 + 2^-19.
TEST(SgemmSeq, PanelAndEdgeRowsRoundDifferently) {
  const int m = 17, n = 1;
  const float alpha = 1, beta = 0;
  for (int k : {64, 65}) {
    std::vector<float> a(m * k, 1.0f), b(k, std::ldexp(1.0f, -25)), c(m, 5.0f);
    b[0] = 1.0f;
    if (k == 65) b[64] = std::ldexp(1.0f, -24);
    tav::sgemm_seq("N", "N", &m, &n, &k, &alpha, a.data(), &m, b.data(), &k, &beta, c.data(), &m);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(c[i], 1.0f) << k << " " << i;
    EXPECT_EQ(c[16], 1.0f + std::ldexp(1.0f, -19)) << k;
  }
}

// m = 40, k = 60: rows 0-31 in a panel padded to 64 steps (zeros past 60 in B
// change nothing), rows 32-39 in the edge kernel over 60 steps; the panel rows
// differ from the edge form somewhere, so the model's split is pinned.
TEST(SgemmSeq, PaddedTailRowsAndEdgeRows) {
  for (const auto &f : flag_pairs) {
    Problem pr(f[0], f[1], 40, 3, 60, 0, 1, 77);
    const Buffer<float> got = pr.run();
    expect_model(pr, got);
    Model model{pr};
    int differ = 0;
    for (int j = 0; j < pr.n; ++j)
      for (int i = 0; i < 32; ++i)
        differ += bits_of(got[i + j * pr.ldc]) != bits_of(model.edge(i, j, 0, 60, pr.beta * pr.c[i + j * pr.ldc]));
    EXPECT_GT(differ, 0) << describe(pr);
  }
}

// The padded panel's steps past the tail are not refilled: they hold the last
// main-pass panel (rows 32-63 here), which meets the zero rows of B. An
// infinity in A at row 40, step 62 thus reaches row 8 as inf * 0, though all
// of row 8's own data is finite.
TEST(SgemmSeq, PaddedStepsKeepTheLastMainPanel) {
  Problem pr('N', 'N', 64, 2, 124, 0, 0, 9);
  pr.a[40 + 62 * pr.lda] = std::numeric_limits<float>::infinity();
  const Buffer<float> got = pr.run();
  for (int j = 0; j < pr.n; ++j) {
    EXPECT_TRUE(std::isnan(got[8 + j * pr.ldc])) << j;
    EXPECT_TRUE(std::isfinite(got[9 + j * pr.ldc])) << j;
    EXPECT_FALSE(std::isfinite(got[40 + j * pr.ldc])) << j;
  }
}

// 0, -0 and NaN clear C without reading it; 1 multiplies (the signalling NaN
// comes back quiet, the rest unchanged); other values multiply each element
// once. m or n not positive leaves C alone.
TEST(SgemmSeq, BetaRulesAndEmptyShapes) {
  const float qnan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  Problem pr('N', 'N', 35, 2, 0, 0, 0, 5);
  pr.c[0] = qnan, pr.c[1] = inf, pr.c[2] = float_from_bits(0x7fa00001u), pr.c[3] = -0.0f, pr.c[40] = 3.0f;
  for (float beta : {0.0f, -0.0f, qnan}) {
    pr.beta = beta;
    const Buffer<float> got = pr.run();
    for (std::size_t x = 0; x < got.size(); ++x) EXPECT_EQ(bits_of(got[x]), 0u) << beta;
  }
  pr.beta = 1;
  const Buffer<float> one = pr.run();
  EXPECT_EQ(bits_of(one[2]), 0x7fe00001u);
  EXPECT_EQ(bits_of(one[3]), bits_of(-0.0f));
  EXPECT_EQ(one[1], inf);
  EXPECT_EQ(one[40], 3.0f);
  pr.beta = -0.5f;
  const Buffer<float> half = pr.run();
  EXPECT_EQ(half[40], -1.5f);
  EXPECT_EQ(half[1], -inf);
  EXPECT_EQ(bits_of(half[3]), 0u);
  for (int bad : {0, -1})
    for (bool rows : {true, false}) {
      Problem empty('N', 'N', 4, 4, 4, 0, 0, 6);
      (rows ? empty.m : empty.n) = bad;
      EXPECT_TRUE(empty.run().same_bits(empty.c));
    }
}

// alpha 0 takes no shortcut: a NaN in A reaches C in panel rows and edge rows
// alike, and an infinity in B makes 0 * inf.
TEST(SgemmSeq, AlphaZeroStillMultiplies) {
  const float qnan = std::numeric_limits<float>::quiet_NaN();
  for (const auto &f : flag_pairs) {
    Problem pr(f[0], f[1], 17, 2, 64, 0, 0, 3);
    pr.alpha = 0;
    // op(A)(0, 5) and op(A)(16, 5) are NaN; op(B)(7, 1) is infinite.
    (direct(pr.ta) ? pr.a[0 + 5 * pr.lda] : pr.a[5 + 0 * pr.lda]) = qnan;
    (direct(pr.ta) ? pr.a[16 + 5 * pr.lda] : pr.a[5 + 16 * pr.lda]) = qnan;
    (direct(pr.tb) ? pr.b[7 + 1 * pr.ldb] : pr.b[1 + 7 * pr.ldb]) = std::numeric_limits<float>::infinity();
    const Buffer<float> got = pr.run();
    for (int j = 0; j < 2; ++j) {
      EXPECT_TRUE(std::isnan(got[0 + j * pr.ldc])) << describe(pr);
      EXPECT_TRUE(std::isnan(got[16 + j * pr.ldc])) << describe(pr);
    }
    for (int i = 1; i < 16; ++i) {
      EXPECT_EQ(got[i], pr.beta * pr.c[i]) << i;
      EXPECT_TRUE(std::isnan(got[i + pr.ldc])) << i;
    }
  }
}

}  // namespace
