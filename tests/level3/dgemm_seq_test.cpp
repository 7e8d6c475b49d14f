// dgemm_seq: against the reference BLAS within a tolerance, and bit for bit
// against a per-element model of its blocking: which depth blocks of an element
// are summed in a panel (alpha folded into A, rounded to double, sum from the
// first product) or in an edge kernel (alpha times the sum), each block's sum in
// the extended type and added to C with one rounding.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
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
  double alpha = 1, beta = 0;
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
    alpha = 1.0 + 1.0 / 3.0;
    beta = -0.7;
  }
  double op_a(int i, int p) const { return direct(ta) ? a[i + std::size_t(p) * lda] : a[p + std::size_t(i) * lda]; }
  double op_b(int p, int j) const { return direct(tb) ? b[p + std::size_t(j) * ldb] : b[j + std::size_t(p) * ldb]; }
  double &at_c(Buffer<double> &cc, int i, int j) const { return cc[i + std::size_t(j) * ldc]; }

  Buffer<double> run() const {
    Buffer<double> out = c;
    tav::dgemm_seq(&ta, &tb, &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, out.data(), &ldc);
    return out;
  }
  Buffer<double> reference() const {
    Buffer<double> out = c;
    auto ref = tavtest::RefBlas::get().fn<dgemm_ref_fn>("dgemm_");
    const char ra = direct(ta) ? 'N' : 'T', rb = direct(tb) ? 'N' : 'T';
    ref(&ra, &rb, &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, out.data(), &ldc);
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
        double v = at_c(out, i, j);
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
        at_c(out, i, j) = v;
      }
    return out;
  }
  // |beta c| + sum |alpha a b|, the scale of the rounding error of an element.
  double scale(int i, int j) const {
    double s = std::fabs(beta * c[i + std::size_t(j) * ldc]);
    for (int p = 0; p < k; ++p) s += std::fabs(alpha * op_a(i, p) * op_b(p, j));
    return s;
  }
};

// Reports the first element whose bits differ.
::testing::AssertionResult same_c(const Product &pr, const Buffer<double> &got, const Buffer<double> &want) {
  for (int j = 0; j < pr.n; ++j)
    for (int i = 0; i < pr.ldc; ++i) {
      const std::size_t at = i + std::size_t(j) * pr.ldc;
      if (bits_of(got[at]) != bits_of(want[at]))
        return ::testing::AssertionFailure() << "C(" << i << "," << j << ") " << got[at] << " vs " << want[at];
    }
  return ::testing::AssertionSuccess();
}

::testing::AssertionResult near_reference(const Product &pr, const Buffer<double> &got) {
  const Buffer<double> want = pr.reference();
  for (int j = 0; j < pr.n; ++j)
    for (int i = 0; i < pr.m; ++i) {
      const std::size_t at = i + std::size_t(j) * pr.ldc;
      const double tol = tavtest::sum_tolerance<double>(pr.k + 1, pr.scale(i, j));
      if (!(std::fabs(got[at] - want[at]) <= tol))
        return ::testing::AssertionFailure() << "C(" << i << "," << j << ") " << got[at] << " vs ref " << want[at];
    }
  return ::testing::AssertionSuccess();
}

const int boundary_m[] = {3, 4, 12, 15, 16, 127, 128, 129};
const int boundary_k[] = {0, 1, 15, 16, 31, 32, 40, 47, 48, 57, 58, 63, 64, 65};
const char flag_pairs[][2] = {{'N', 'N'}, {'T', 'N'}, {'N', 'T'}, {'T', 'T'}};

TEST(DgemmSeq, BoundaryShapesAllFlagsMatchModelAndReference) {
  TAV_REQUIRE_REFBLAS();
  unsigned seed = 100;
  for (const auto &f : flag_pairs)
    for (int m : boundary_m)
      for (int k : boundary_k) {
        ++seed;
        Product pr(f[0], f[1], m, 5, k, seed, int(seed % 3), seed % 4);
        const Buffer<double> got = pr.run();
        SCOPED_TRACE(testing::Message() << f[0] << f[1] << " m=" << m << " k=" << k);
        EXPECT_TRUE(same_c(pr, got, pr.model()));
        EXPECT_TRUE(near_reference(pr, got));
      }
}

// Column blocks of 128 in the main pass and of 256 in the tail, with both row
// blocks; the examples of the blocking (m 20 with k 63, m 40 with k 40).
TEST(DgemmSeq, ColumnAndRowBlocksMatchModel) {
  TAV_REQUIRE_REFBLAS();
  struct Shape {
    int m, n, k;
  };
  const Shape shapes[] = {{129, 257, 65}, {20, 130, 63}, {40, 257, 40}, {33, 1, 57}, {17, 129, 128}, {130, 3, 49}};
  unsigned seed = 900;
  for (const auto &f : flag_pairs)
    for (const Shape &s : shapes) {
      ++seed;
      Product pr(f[0], f[1], s.m, s.n, s.k, seed, 1, seed % 4);
      const Buffer<double> got = pr.run();
      SCOPED_TRACE(testing::Message() << f[0] << f[1] << " m=" << s.m << " n=" << s.n << " k=" << s.k);
      EXPECT_TRUE(same_c(pr, got, pr.model()));
      EXPECT_TRUE(near_reference(pr, got));
    }
}

// Only 'N' and 'n' are direct; every other letter transposes.
TEST(DgemmSeq, FlagLettersOtherThanNTranspose) {
  const char pairs[][2] = {{'n', 't'}, {'c', 'n'}, {'C', 'x'}, {'?', 'T'}};
  unsigned seed = 300;
  for (const auto &f : pairs) {
    Product odd(f[0], f[1], 21, 6, 70, ++seed, 2, 3);
    Product plain = odd;
    plain.ta = direct(f[0]) ? 'N' : 'T';
    plain.tb = direct(f[1]) ? 'N' : 'T';
    EXPECT_TRUE(same_c(odd, odd.run(), plain.run())) << f[0] << f[1];
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
  EXPECT_TRUE(same_c(pr, got, pr.model()));
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
TEST(DgemmSeq, SumsAreHeldInTheExtendedType) {
  const double tiny = std::ldexp(1.0, -60);
  const double want = (double)((xreal)1.0 + (xreal)tiny - (xreal)1.0);
  if (sizeof(xreal) > sizeof(double)) {
    EXPECT_EQ(want, tiny);
  }
  const int ms[] = {16, 3, 16};   // a panel, the main edge kernel, a tail edge
  const int ks[] = {64, 64, 12};
  for (int t = 0; t < 3; ++t) {
    const int m = ms[t], k = ks[t], n = 2, ld = m;
    std::vector<double> a(std::size_t(m) * k, 0.0), b(std::size_t(k) * n, 1.0), c(std::size_t(m) * n, 5.0);
    for (int i = 0; i < m; ++i) {
      a[i] = 1.0;
      a[i + std::size_t(1) * m] = tiny;
      a[i + std::size_t(2) * m] = -1.0;
    }
    const double alpha = 1.0, beta = 0.0;
    tav::dgemm_seq("N", "N", &m, &n, &k, &alpha, a.data(), &ld, b.data(), &k, &beta, c.data(), &ld);
    for (double v : c) EXPECT_EQ(bits_of(v), bits_of(want)) << "m=" << m << " k=" << k;
  }
}

TEST(DgemmSeq, BetaRules) {
  const double snan = std::numeric_limits<double>::signaling_NaN();
  const int m = 5, n = 3, zero = 0, ld = 5;
  double a[1] = {1}, b[1] = {1};
  auto run = [&](double alpha, double beta, int k, std::vector<double> &c) {
    tav::dgemm_seq("N", "N", &m, &n, &k, &alpha, a, &ld, b, &k, &beta, c.data(), &ld);
  };
  // beta 1 with k 0: C is neither read nor written, signalling NaN and -0 stay.
  std::vector<double> c(15, -0.0);
  c[4] = snan;
  std::vector<double> before = c;
  run(1.0, 1.0, zero, c);
  EXPECT_EQ(0, std::memcmp(c.data(), before.data(), sizeof(double) * c.size()));
  // beta 0 and NaN beta clear to +0 whatever C held; other betas multiply.
  for (double beta : {0.0, -0.0, std::nan("")}) {
    std::vector<double> cc(15, std::nan(""));
    cc[2] = -std::numeric_limits<double>::infinity();
    run(1.0, beta, zero, cc);
    for (double v : cc) EXPECT_EQ(bits_of(v), bits_of(0.0));
  }
  std::vector<double> cs = {1.1, -3.3, 0.7, 1e300, -0.0, 2.5, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  std::vector<double> want = cs;
  for (double &v : want) v = (double)((xreal)v * (xreal)-0.3);
  run(1.0, -0.3, zero, cs);
  EXPECT_EQ(0, std::memcmp(cs.data(), want.data(), sizeof(double) * cs.size()));
}

// All products -0 and C -0 with beta 1: a sum started from the first product
// stays -0 (panels, the main edge kernel), a sum started from 0 is +0 (tail
// edge kernels). alpha 0 is no shortcut: a NaN in A reaches C.
TEST(DgemmSeq, SignedZerosAndAlphaZero) {
  auto zeros = [](int m, int k) {
    const int n = 2;
    std::vector<double> a(std::size_t(m) * k, 1.0), b(std::size_t(k) * n, -0.0), c(std::size_t(m) * n, -0.0);
    const double alpha = 1.0, beta = 1.0;
    tav::dgemm_seq("N", "N", &m, &n, &k, &alpha, a.data(), &m, b.data(), &k, &beta, c.data(), &m);
    return c;
  };
  for (double v : zeros(16, 64)) EXPECT_EQ(bits_of(v), bits_of(-0.0));
  for (double v : zeros(3, 64)) EXPECT_EQ(bits_of(v), bits_of(-0.0));
  for (double v : zeros(3, 10)) EXPECT_EQ(bits_of(v), bits_of(0.0));

  for (int m : {16, 3}) {
    Product pr('T', 'N', m, 2, 64, 700);
    pr.a[5] = std::nan("");
    pr.alpha = 0;
    const Buffer<double> got = pr.run();
    EXPECT_TRUE(std::isnan(got[0])) << m;
    EXPECT_FALSE(std::isnan(got[1])) << m;
  }
}

TEST(DgemmSeq, EmptyShapesTouchNothing) {
  Product pr('N', 'N', 4, 4, 8, 800);
  for (int bad : {0, -1}) {
    const double alpha = 2, beta = 0;
    Buffer<double> c = pr.c;
    tav::dgemm_seq("N", "N", &bad, &pr.n, &pr.k, &alpha, pr.a.data(), &pr.lda, pr.b.data(), &pr.ldb, &beta,
                   c.data(), &pr.ldc);
    tav::dgemm_seq("N", "N", &pr.m, &bad, &pr.k, &alpha, pr.a.data(), &pr.lda, pr.b.data(), &pr.ldb, &beta,
                   c.data(), &pr.ldc);
    EXPECT_TRUE(c.same_bits(pr.c));
  }
}

}  // namespace
