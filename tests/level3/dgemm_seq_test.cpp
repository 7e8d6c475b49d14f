// dgemm_seq: against the reference BLAS within a tolerance, and bit for bit
// against a per-element model of its blocking: which depth blocks of an element
// are summed in a panel (alpha folded into A, rounded to double, sum from the
// first product) or in an edge kernel (alpha times the sum), each block's sum in
// the extended type and added to C with one rounding.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "frame/xreal.h"
#include "level3/gemm/dgemm.h"
#include "support/buffers.h"
#include "support/refblas.h"

namespace {

using tav::xreal;
using tavtest::Buffer;
using tavtest::bits_of;

using dgemm_ref_fn = void (*)(const char *, const char *, const int *, const int *, const int *, const double *,
                              const double *, const int *, const double *, const int *, const double *, double *,
                              const int *);

bool direct(char flag) { return flag == 'N' || flag == 'n'; }

// One product with its operands, stored with padded leading dimensions at
// chosen offsets from a 64-byte boundary.
struct Product {
  char ta = 'N', tb = 'N';
  int m = 0, n = 0, k = 0;
  int lda = 1, ldb = 1, ldc = 1;
  double alpha = 1.0 + 1.0 / 3.0, beta = -0.7;
  Buffer<double> a, b, c;

  Product(char ta_, char tb_, int m_, int n_, int k_, unsigned seed, int pad = 0, std::size_t offset = 0)
      : ta(ta_), tb(tb_), m(m_), n(n_), k(k_) {
    const int a_rows = direct(ta) ? m : k, a_cols = direct(ta) ? k : m;
    const int b_rows = direct(tb) ? k : n, b_cols = direct(tb) ? n : k;
    lda = std::max(1, a_rows + pad);
    ldb = std::max(1, b_rows + 2 * pad);
    ldc = std::max(1, m + 3 * pad);
    a = tavtest::random_buffer<double>(std::size_t(lda) * std::max(1, a_cols), offset, seed);
    b = tavtest::random_buffer<double>(std::size_t(ldb) * std::max(1, b_cols), (offset + 1) % 4, seed + 1);
    c = tavtest::random_buffer<double>(std::size_t(ldc) * n, (offset + 2) % 4, seed + 2);
  }
  double op_a(int i, int p) const { return direct(ta) ? a[i + std::size_t(p) * lda] : a[p + std::size_t(i) * lda]; }
  double op_b(int p, int j) const { return direct(tb) ? b[p + std::size_t(j) * ldb] : b[j + std::size_t(p) * ldb]; }

  Buffer<double> run() const {
    Buffer<double> out = c;
    tav::dgemm_seq(&ta, &tb, &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, out.data(), &ldc);
    return out;
  }
  // The blocking told element by element. Main pass: depth blocks of 64;
  // within a 128-row block the last mb % 4 rows go to the edge kernel. Tail:
  // padded to 64 from 58 steps (16-row panels), else a panel depth of 48
  // (16-row panels), 32 or 16 (32-row panels) and the edge kernel for the rows
  // below the panels and for the steps past the panel depth.
  double panel_block(int i, int j, int p0, int steps, int zeros, double c_old) const {
    auto a_packed = [&](int p) { return (double)((xreal)alpha * (xreal)op_a(i, p)); };
    xreal s = (xreal)a_packed(p0) * (xreal)op_b(p0, j);
    for (int p = p0 + 1; p < p0 + steps; ++p) s += (xreal)a_packed(p) * (xreal)op_b(p, j);
    for (int z = 0; z < zeros; ++z) s += (xreal)0.0 * (xreal)0.0;
    return (double)(s + (xreal)c_old);
  }
  double edge_block(int i, int j, int p0, int steps, bool from_first, double c_old) const {
    xreal s = 0;
    int p = p0;
    if (from_first) s = (xreal)op_a(i, p) * (xreal)op_b(p, j), ++p;
    for (; p < p0 + steps; ++p) s += (xreal)op_a(i, p) * (xreal)op_b(p, j);
    return (double)(s * (xreal)alpha + (xreal)c_old);
  }
  Buffer<double> model() const {
    Buffer<double> out = c;
    const int k_main = k / 64 * 64, k_tail = k - k_main;
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < m; ++i) {
        double &v = out[i + std::size_t(j) * ldc];
        if (!(beta < 0) && !(beta > 0))
          v = 0.0;
        else if (beta != 1.0)
          v = (double)((xreal)v * (xreal)beta);
        const int mb = std::min(128, m - i / 128 * 128);
        const bool main_panel = i % 128 < mb - mb % 4;
        for (int kk = 0; kk < k_main; kk += 64)
          v = main_panel ? panel_block(i, j, kk, 64, 0, v) : edge_block(i, j, kk, 64, true, v);
        if (k_tail >= 58) {
          v = i < m / 16 * 16 ? panel_block(i, j, k_main, k_tail, 64 - k_tail, v)
                              : edge_block(i, j, k_main, k_tail, false, v);
        } else if (k_tail >= 16) {
          const int d = k_tail >= 48 ? 48 : k_tail >= 32 ? 32 : 16;
          const int rows = d == 48 ? 16 : 32;
          v = i < m / rows * rows ? panel_block(i, j, k_main, d, 0, v) : edge_block(i, j, k_main, d, false, v);
          if (k_tail > d) v = edge_block(i, j, k_main + d, k_tail - d, false, v);
        } else if (k_tail > 0) {
          v = edge_block(i, j, k_main, k_tail, false, v);
        }
      }
    return out;
  }
};

// Within the sum tolerance of the reference BLAS, scaled by |beta c| + sum |alpha a b|.
::testing::AssertionResult near_reference(const Product &pr, const Buffer<double> &got) {
  Buffer<double> want = pr.c;
  const char ra = direct(pr.ta) ? 'N' : 'T', rb = direct(pr.tb) ? 'N' : 'T';
  tavtest::RefBlas::get().fn<dgemm_ref_fn>("dgemm_")(&ra, &rb, &pr.m, &pr.n, &pr.k, &pr.alpha, pr.a.data(), &pr.lda,
                                                     pr.b.data(), &pr.ldb, &pr.beta, want.data(), &pr.ldc);
  for (int j = 0; j < pr.n; ++j)
    for (int i = 0; i < pr.m; ++i) {
      const std::size_t at = i + std::size_t(j) * pr.ldc;
      double scale = std::fabs(pr.beta * pr.c[at]);
      for (int p = 0; p < pr.k; ++p) scale += std::fabs(pr.alpha * pr.op_a(i, p) * pr.op_b(p, j));
      if (!(std::fabs(got[at] - want[at]) <= tavtest::sum_tolerance<double>(pr.k + 1, scale)))
        return ::testing::AssertionFailure() << "C(" << i << "," << j << ") " << got[at] << " vs ref " << want[at];
    }
  return ::testing::AssertionSuccess();
}

// Only 'N' and 'n' are direct; every other letter transposes.
const char flag_pairs[][2] = {{'N', 'N'}, {'T', 'n'}, {'n', 'C'}, {'x', 't'}};

// Every boundary of m and k on both sides, then column blocks of 128 in the
// main pass and of 256 in the tail with both row blocks, and the examples of
// the blocking (m 20 with k 63, m 40 with k 40).
TEST(DgemmSeq, BoundaryShapesAllFlagsMatchModelAndReference) {
  TAV_REQUIRE_REFBLAS();
  std::vector<std::array<int, 3>> shapes = {{129, 257, 65}, {20, 130, 63}, {40, 257, 40},
                                            {33, 1, 57},    {17, 129, 128}, {130, 3, 49}};
  for (int m : {3, 4, 12, 15, 16, 127, 128, 129})
    for (int k : {0, 1, 15, 16, 31, 32, 40, 47, 48, 57, 58, 63, 64, 65}) shapes.push_back({m, 5, k});
  unsigned seed = 100;
  for (const auto &f : flag_pairs)
    for (const auto &[m, n, k] : shapes) {
      ++seed;
      Product pr(f[0], f[1], m, n, k, seed, int(seed % 3), seed % 4);
      const Buffer<double> got = pr.run();
      SCOPED_TRACE(testing::Message() << f[0] << f[1] << " m=" << m << " n=" << n << " k=" << k);
      EXPECT_TRUE(got.same_bits(pr.model()));
      EXPECT_TRUE(near_reference(pr, got));
    }
}

// Rows 0-15 of a 19-row product run in panels, rows 16-18 in the edge kernel.
// The same data in every row gives the same mathematical value; the two paths
// round alpha differently, which shows in the last bits.
TEST(DgemmSeq, PanelRowsAndEdgeRowsRoundAlphaDifferently) {
  Product pr('N', 'N', 19, 3, 64, 500);
  for (int p = 0; p < 64; ++p)
    for (int i = 1; i < 19; ++i) pr.a[i + std::size_t(p) * pr.lda] = pr.a[std::size_t(p) * pr.lda];
  pr.beta = 0;
  pr.alpha = 0.1;
  const Buffer<double> got = pr.run();
  EXPECT_TRUE(got.same_bits(pr.model()));
  int differing = 0;
  for (int j = 0; j < pr.n; ++j) {
    for (int i = 1; i < 16; ++i) EXPECT_EQ(bits_of(got[i + j * pr.ldc]), bits_of(got[j * pr.ldc]));
    for (int i = 17; i < 19; ++i) EXPECT_EQ(bits_of(got[i + j * pr.ldc]), bits_of(got[16 + j * pr.ldc]));
    differing += bits_of(got[j * pr.ldc]) != bits_of(got[16 + j * pr.ldc]);
  }
  EXPECT_GT(differing, 0);
}

// 1 + 2^-60 - 1: a double sum loses the small term, the extended one keeps it.
// The expectation uses the same type as the library, so it holds in both builds.
// Rows 16 and k 64: a panel; rows 3: the main edge kernel; k 12: a tail edge.
TEST(DgemmSeq, SumsAreHeldInTheExtendedType) {
  const double tiny = std::ldexp(1.0, -60);
  const double want = (double)((xreal)1.0 + (xreal)tiny - (xreal)1.0);
  EXPECT_TRUE(sizeof(xreal) == sizeof(double) || want == tiny);
  for (auto [m, k] : {std::pair<int, int>{16, 64}, {3, 64}, {16, 12}}) {
    Product pr('N', 'N', m, 2, k, 600);
    for (std::size_t x = 0; x < pr.a.size(); ++x) pr.a[x] = x / m == 0 ? 1 : x / m == 1 ? tiny : x / m == 2 ? -1 : 0;
    for (std::size_t x = 0; x < pr.b.size(); ++x) pr.b[x] = 1.0;
    pr.alpha = 1, pr.beta = 0;
    const Buffer<double> got = pr.run();
    for (std::size_t x = 0; x < got.size(); ++x) EXPECT_EQ(bits_of(got[x]), bits_of(want)) << m << " " << k;
  }
}

// beta 1 with k 0: C is neither read nor written, a signalling NaN and -0
// stay. beta 0, -0 and NaN clear to +0 whatever C held; other betas multiply.
TEST(DgemmSeq, BetaRules) {
  Product pr('N', 'N', 5, 3, 0, 650);
  pr.c[4] = std::numeric_limits<double>::signaling_NaN();
  pr.c[7] = -0.0;
  pr.beta = 1;
  EXPECT_TRUE(pr.run().same_bits(pr.c));
  pr.c[2] = -std::numeric_limits<double>::infinity();
  pr.c[3] = 1e300;
  pr.c[4] = std::nan("");
  for (double beta : {0.0, -0.0, std::nan("")}) {
    pr.beta = beta;
    const Buffer<double> got = pr.run();
    for (std::size_t x = 0; x < got.size(); ++x) EXPECT_EQ(bits_of(got[x]), bits_of(0.0)) << beta;
  }
  pr.c[4] = 2.5;
  pr.beta = -0.3;
  const Buffer<double> got = pr.run();
  for (std::size_t x = 0; x < got.size(); ++x)
    EXPECT_EQ(bits_of(got[x]), bits_of((double)((xreal)pr.c[x] * (xreal)-0.3))) << x;
}

// All products -0 and C -0 with beta 1: a sum started from the first product
// stays -0 (panels, the main edge kernel), a sum started from 0 is +0 (tail
// edge kernels). alpha 0 is no shortcut: a NaN in A reaches C. m or n not
// positive touches nothing.
TEST(DgemmSeq, SignedZerosAlphaZeroAndEmptyShapes) {
  for (auto [m, k, sign] : {std::array<int, 3>{16, 64, -1}, {3, 64, -1}, {3, 10, 1}}) {
    Product pr('N', 'N', m, 2, k, 680);
    for (std::size_t x = 0; x < pr.a.size(); ++x) pr.a[x] = 1.0;
    for (std::size_t x = 0; x < pr.b.size(); ++x) pr.b[x] = -0.0;
    for (std::size_t x = 0; x < pr.c.size(); ++x) pr.c[x] = -0.0;
    pr.alpha = 1, pr.beta = 1;
    const Buffer<double> got = pr.run();
    for (std::size_t x = 0; x < got.size(); ++x) EXPECT_EQ(bits_of(got[x]), bits_of(sign * 0.0)) << m << " " << k;
  }
  for (int m : {16, 3}) {
    Product pr('T', 'N', m, 2, 64, 700);
    pr.a[5] = std::nan("");
    pr.alpha = 0;
    const Buffer<double> got = pr.run();
    EXPECT_TRUE(std::isnan(got[0])) << m;
    EXPECT_FALSE(std::isnan(got[1])) << m;
  }
  for (int bad : {0, -1})
    for (bool rows : {true, false}) {
      Product pr('N', 'N', 4, 4, 8, 800);
      (rows ? pr.m : pr.n) = bad;
      EXPECT_TRUE(pr.run().same_bits(pr.c));
    }
}

}  // namespace
