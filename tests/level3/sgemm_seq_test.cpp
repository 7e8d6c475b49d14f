// sgemm_seq: against the reference BLAS within a tolerance, and bit for bit
// against a per-element model of which rows and depths go through the single
// precision panels and which through the extended-precision edge kernels.
#include <gtest/gtest.h>

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
  float alpha = 1, beta = 0;
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
    alpha = 0.7071f;
    beta = -1.3f;
  }
  float opa(int i, int p) const { return direct(ta) ? a[i + p * lda] : a[p + i * lda]; }
  float opb(int p, int j) const { return direct(tb) ? b[p + j * ldb] : b[j + p * ldb]; }

  void run(sgemm_fn f, Buffer<float> &out) const {
    out = c;
    f(&ta, &tb, &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, out.data(), &ldc);
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

// Compares the m x n block of C bit for bit and checks that the padding rows
// between columns are untouched.
void expect_model(const Problem &pr, const Buffer<float> &got, const std::string &what) {
  Model model{pr};
  int bad = 0;
  for (int j = 0; j < pr.n; ++j)
    for (int i = 0; i < pr.ldc; ++i) {
      const float want = i < pr.m ? model.element(i, j) : pr.c[i + j * pr.ldc];
      const float have = got[i + j * pr.ldc];
      if (bits_of(want) != bits_of(have) && bad++ < 5)
        ADD_FAILURE() << what << " at (" << i << ", " << j << "): " << have << " want " << want;
    }
  EXPECT_EQ(bad, 0) << what;
}

std::string describe(const Problem &pr) {
  return std::string(1, pr.ta) + pr.tb + " m=" + std::to_string(pr.m) + " n=" + std::to_string(pr.n) +
         " k=" + std::to_string(pr.k) + " lda=" + std::to_string(pr.lda);
}

const int boundary_k[] = {0, 1, 15, 16, 17, 47, 48, 49, 57, 58, 63, 64, 65, 127, 128, 200};
const int boundary_m[] = {1, 15, 16, 17, 31, 32, 33, 255, 256, 257};
const int boundary_n[] = {1, 2, 255, 256, 257};
const char flag_pairs[][2] = {{'N', 'n'}, {'t', 'N'}, {'n', 'c'}, {'x', 'T'}};

// Every depth boundary with rows on both sides of the panel sizes, every flag
// pair (odd letters mean a transpose), padded leading dimensions and offsets.
TEST(SgemmSeq, BitExactAgainstTheBlockingModel) {
  int seed = 10;
  for (const auto &f : flag_pairs)
    for (int k : boundary_k)
      for (int m : {1, 15, 16, 17, 31, 32, 33, 40, 49}) {
        const int n = 1 + (m + k) % 3;
        Problem pr(f[0], f[1], m, n, k, (m + k) % 3, (m + k) % 4, ++seed);
        Buffer<float> got;
        pr.run(tav::sgemm_seq, got);
        expect_model(pr, got, describe(pr));
      }
}

// Blocks of 256 in rows and columns, with the tails of depth.
TEST(SgemmSeq, BitExactAcrossBlocksOfC) {
  struct Shape {
    int m, n, k;
  } shapes[] = {{257, 3, 64}, {300, 2, 130}, {273, 1, 60}, {290, 257, 17}, {64, 257, 49}, {256, 256, 1}};
  int seed = 500;
  for (const auto &f : flag_pairs)
    for (const Shape &s : shapes) {
      ++seed;
      Problem pr(f[0], f[1], s.m, s.n, s.k, 1, seed % 4, seed);
      Buffer<float> got;
      pr.run(tav::sgemm_seq, got);
      expect_model(pr, got, describe(pr));
    }
}

// The mathematics, against the reference BLAS: every boundary of m, n, k in
// turn with the others held at a value that crosses a block or panel.
TEST(SgemmSeq, AgreesWithReferenceBlas) {
  TAV_REQUIRE_REFBLAS();
  auto ref = tavtest::RefBlas::get().fn<sgemm_fn>("sgemm_");
  ASSERT_NE(ref, nullptr);
  struct Shape {
    int m, n, k;
  };
  std::vector<Shape> shapes;
  for (int m : boundary_m) shapes.push_back({m, 5, 65});
  for (int n : boundary_n) shapes.push_back({33, n, 58});
  for (int k : boundary_k) shapes.push_back({49, 3, k});
  shapes.push_back({257, 257, 130});
  int seed = 900;
  for (const auto &f : flag_pairs)
    for (const Shape &s : shapes) {
      ++seed;
      Problem pr(f[0], f[1], s.m, s.n, s.k, 2, seed % 4, seed);
      Buffer<float> got, want;
      pr.run(tav::sgemm_seq, got);
      // The reference rejects letters other than N, T, C: give it the meaning.
      Problem plain = pr;
      plain.ta = direct(pr.ta) ? 'N' : 'T';
      plain.tb = direct(pr.tb) ? 'N' : 'T';
      plain.run(ref, want);
      int bad = 0;
      for (int j = 0; j < pr.n; ++j)
        for (int i = 0; i < pr.m; ++i) {
          double scale = std::fabs(pr.beta * pr.c[i + j * pr.ldc]);
          for (int p = 0; p < pr.k; ++p) scale += std::fabs(pr.alpha * pr.opa(i, p) * pr.opb(p, j));
          const double diff = std::fabs(double(got[i + j * pr.ldc]) - want[i + j * pr.ldc]);
          if (!(diff <= tavtest::sum_tolerance<float>(pr.k, scale)) && bad++ < 3)
            ADD_FAILURE() << describe(pr) << " at (" << i << ", " << j << "): " << got[i + j * pr.ldc]
                          << " vs " << want[i + j * pr.ldc];
        }
      EXPECT_EQ(bad, 0) << describe(pr);
    }
}

// Ones in A against one 1 and then 63 values of 2^-25 in B: in single
// precision each small term is lost against 1, in extended precision they add
// up to 2^-19 before the rounding. Row 16 of 17 goes to the edge kernel.
TEST(SgemmSeq, PanelAndEdgeRowsRoundDifferently) {
  const int m = 17, n = 1, k = 64;
  std::vector<float> a(m * k, 1.0f), b(k, std::ldexp(1.0f, -25)), c(m, 5.0f);
  b[0] = 1.0f;
  const float alpha = 1, beta = 0;
  tav::sgemm_seq("N", "N", &m, &n, &k, &alpha, a.data(), &m, b.data(), &k, &beta, c.data(), &m);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(c[i], 1.0f) << i;
  EXPECT_EQ(c[16], 1.0f + std::ldexp(1.0f, -19));

  // k = 65: depth 64 is the one tail step, done by the edge kernel on every
  // row, after the panel sum has reached C.
  const int k2 = 65;
  std::vector<float> a2(m * k2, 1.0f), b2(k2, std::ldexp(1.0f, -25)), c2(m, 0.0f);
  b2[0] = 1.0f;
  b2[64] = std::ldexp(1.0f, -24);
  tav::sgemm_seq("N", "N", &m, &n, &k2, &alpha, a2.data(), &m, b2.data(), &k2, &beta, c2.data(), &m);
  // 1 + 2^-24 ties to even: 1 for panel rows; the edge row rounds 1 + 2^-19 + 2^-24 to 1 + 2^-19.
  for (int i = 0; i < 16; ++i) EXPECT_EQ(c2[i], 1.0f) << i;
  EXPECT_EQ(c2[16], 1.0f + std::ldexp(1.0f, -19));
}

// m = 40, k = 60: rows 0-31 in a panel padded to 64 steps (zeros past 60 in B
// change nothing), rows 32-39 in the edge kernel over 60 steps.
TEST(SgemmSeq, PaddedTailRowsAndEdgeRows) {
  for (const auto &f : flag_pairs) {
    Problem pr(f[0], f[1], 40, 3, 60, 0, 1, 77);
    Buffer<float> got;
    pr.run(tav::sgemm_seq, got);
    expect_model(pr, got, describe(pr));
    // The same rows through the panel differ from the edge form somewhere.
    Model model{pr};
    int differ = 0;
    for (int j = 0; j < pr.n; ++j)
      for (int i = 0; i < 32; ++i) {
        float c = pr.beta * pr.c[i + j * pr.ldc];
        differ += bits_of(got[i + j * pr.ldc]) != bits_of(model.edge(i, j, 0, 60, c));
      }
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
  Buffer<float> got;
  pr.run(tav::sgemm_seq, got);
  for (int j = 0; j < pr.n; ++j) {
    EXPECT_TRUE(std::isnan(got[8 + j * pr.ldc])) << j;
    EXPECT_TRUE(std::isfinite(got[9 + j * pr.ldc])) << j;
    EXPECT_FALSE(std::isfinite(got[40 + j * pr.ldc])) << j;
  }
}

TEST(SgemmSeq, BetaRules) {
  const float qnan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  const float snan = float_from_bits(0x7fa00001u);
  const int m = 35, n = 2, k = 0, ld = 35;
  const float alpha = 2;
  float a = 1, b = 1;
  auto run = [&](float beta, std::vector<float> c) {
    tav::sgemm_seq("N", "N", &m, &n, &k, &alpha, &a, &ld, &b, &ld, &beta, c.data(), &ld);
    return c;
  };
  std::vector<float> c(m * n, 3.0f);
  c[0] = qnan;
  c[1] = inf;
  c[2] = snan;
  c[3] = -0.0f;
  // 0, -0 and NaN clear C without reading it.
  for (float beta : {0.0f, -0.0f, qnan})
    for (float v : run(beta, c)) EXPECT_EQ(bits_of(v), 0u) << beta;
  // 1 multiplies: the signalling NaN comes back quiet, the rest unchanged.
  std::vector<float> one = run(1.0f, c);
  EXPECT_EQ(bits_of(one[2]), 0x7fe00001u);
  EXPECT_EQ(bits_of(one[3]), bits_of(-0.0f));
  EXPECT_EQ(one[1], inf);
  EXPECT_EQ(one[40], 3.0f);
  // Other values multiply each element once.
  std::vector<float> half = run(-0.5f, c);
  EXPECT_EQ(half[40], -1.5f);
  EXPECT_EQ(half[1], -inf);
  EXPECT_EQ(bits_of(half[3]), 0u);
}

// alpha 0 takes no shortcut: a NaN in A reaches C in panel rows and edge rows
// alike, and an infinity in B makes 0 * inf.
TEST(SgemmSeq, AlphaZeroStillMultiplies) {
  for (const auto &f : flag_pairs) {
    Problem pr(f[0], f[1], 17, 2, 64, 0, 0, 3);
    pr.alpha = 0;
    const float qnan = std::numeric_limits<float>::quiet_NaN();
    // op(A)(0, 5) and op(A)(16, 5) are NaN; op(B)(7, 1) is infinite.
    (direct(pr.ta) ? pr.a[0 + 5 * pr.lda] : pr.a[5 + 0 * pr.lda]) = qnan;
    (direct(pr.ta) ? pr.a[16 + 5 * pr.lda] : pr.a[5 + 16 * pr.lda]) = qnan;
    (direct(pr.tb) ? pr.b[7 + 1 * pr.ldb] : pr.b[1 + 7 * pr.ldb]) = std::numeric_limits<float>::infinity();
    Buffer<float> got;
    pr.run(tav::sgemm_seq, got);
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

TEST(SgemmSeq, EmptyShapesLeaveCAlone) {
  std::vector<float> c(16, 7.0f), a(16, 1.0f), b(16, 1.0f);
  const float alpha = 1, beta = 0;
  const int four = 4;
  for (int m : {0, -1, 4})
    for (int n : {0, -3, 4}) {
      if (m > 0 && n > 0) continue;
      tav::sgemm_seq("N", "N", &m, &n, &four, &alpha, a.data(), &four, b.data(), &four, &beta, c.data(), &four);
      for (float v : c) EXPECT_EQ(v, 7.0f);
    }
}

}  // namespace
