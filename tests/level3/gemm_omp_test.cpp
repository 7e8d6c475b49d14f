// The threaded gemm fronts. A front run with T planned threads must give, bit
// for bit, what the serial driver gives when run once on each of the T slabs of
// C separately (the first T-1 slabs of the truncated chunk, the last one taking
// the remainder; rows when m > n, else columns). The serial driver's bits
// depend on where its blocks start, so a wrong cut shows. A recording driver
// checks the slab table itself, the bypass and the gate without arithmetic.
#include <gtest/gtest.h>
#include <omp.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "frame/gates.h"
#include "level3/gemm/cgemm.h"
#include "level3/gemm/dgemm.h"
#include "level3/gemm/sgemm.h"
#include "level3/gemm/zgemm.h"
#include "level3/gemm_omp.h"
#include "support/buffers.h"
#include "tav_q7.h"

namespace {

using tavtest::Buffer;

bool direct(char flag) { return flag == 'N' || flag == 'n'; }

// Sets the team size for the scope, and puts the caller's back afterwards.
class PlannedThreads {
 public:
  explicit PlannedThreads(int threads) : saved_(omp_get_max_threads()) { omp_set_num_threads(threads); }
  ~PlannedThreads() { omp_set_num_threads(saved_); }

 private:
  int saved_;
};

// ---- the slab table, seen through a driver that only records its calls ------

struct Call {
  int m, n, k;
  std::ptrdiff_t a, b, c;  // element offsets from the caller's pointers
  const float *alpha, *beta;
  const int *lda, *ldb, *ldc;
  char ta, tb;
  int level;  // nesting level of parallel regions around the call
  int thread;
};

struct Recorder {
  const float *a = nullptr, *b = nullptr, *c = nullptr;
  std::vector<Call> calls;
};
Recorder recorder;

struct recording_traits {
  using element = float;
  static void seq(const char *ta, const char *tb, const int *m, const int *n, const int *k, const float *alpha,
                  const float *a, const int *lda, const float *b, const int *ldb, const float *beta, float *c,
                  const int *ldc) {
    Call call{*m, *n, *k, a - recorder.a, b - recorder.b, c - recorder.c, alpha, beta, lda, ldb, ldc,
              *ta, *tb, omp_get_level(), omp_get_thread_num()};
#pragma omp critical(gemm_omp_test_recorder)
    recorder.calls.push_back(call);
  }
};

// The calls of one front, sorted by the team member that made them.
struct Recorded {
  char ta, tb;
  int m, n, k, lda, ldb, ldc;
  float alpha = 2, beta = 3;
  std::vector<float> a, b, c;

  Recorded(char ta_, char tb_, int m_, int n_, int k_) : ta(ta_), tb(tb_), m(m_), n(n_), k(k_) {
    lda = (direct(ta) ? m : k) + 3;
    ldb = (direct(tb) ? k : n) + 5;
    ldc = m + 7;
    a.resize(std::size_t(lda) * std::max(m, k) + 1);
    b.resize(std::size_t(ldb) * std::max(n, k) + 1);
    c.resize(std::size_t(ldc) * std::max(n, 1) + 1);
  }
  std::vector<Call> run() {
    recorder = Recorder{a.data(), b.data(), c.data(), {}};
    tav::gemm_omp<recording_traits>(&ta, &tb, &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, c.data(),
                                    &ldc);
    std::vector<Call> calls = recorder.calls;
    std::sort(calls.begin(), calls.end(), [](const Call &x, const Call &y) { return x.thread < y.thread; });
    return calls;
  }
  // Everything but the cut dimension and the moved pointers is the caller's own.
  void expect_passed_through(const Call &call) const {
    EXPECT_TRUE(call.k == k && call.alpha == &alpha && call.beta == &beta && call.lda == &lda && call.ldb == &ldb &&
                call.ldc == &ldc && call.ta == ta && call.tb == tb);
  }
};

// Slab i goes to member i of a full team. Square products are cut by columns,
// one more row than columns by rows; k plays no part, however large. 10
// columns on 4 threads give 2, 2, 2, 4; 3 rows on 8 give chunk 0: seven empty
// slabs at row 0 and the last member doing all the work. One of m, n, k at 17
// is enough to fork.
TEST(GemmOmpSlabs, CutAlongTheLargerOfMAndN) {
  const std::array<int, 3> shapes[] = {{40, 40, 3}, {41, 40, 500}, {17, 90, 1}, {90, 17, 0}, {5, 10, 17},
                                       {3, 2, 20},  {16, 16, 17},  {17, 1, 1},  {1, 17, 0}};
  const char flags[][2] = {{'N', 'n'}, {'t', 'C'}, {'n', 'x'}, {'C', 'N'}};
  for (int threads : {2, 3, 4, 8}) {
    PlannedThreads planned(threads);
    for (auto [m, n, k] : shapes)
      for (const auto &f : flags) {
        Recorded r(f[0], f[1], m, n, k);
        std::vector<Call> calls = r.run();
        ASSERT_EQ(static_cast<int>(calls.size()), threads);
        const bool rows = m > n;
        const int total = rows ? m : n, chunk = total / threads;
        SCOPED_TRACE(testing::Message() << threads << " threads " << f[0] << f[1] << " " << m << "x" << n);
        EXPECT_TRUE(threads != 4 || total != 10 || calls[3].n == 4);
        EXPECT_TRUE(threads != 8 || total != 3 || calls[7].m == 3);
        int next = 0;
        for (int i = 0; i < threads; ++i) {
          const Call &call = calls[i];
          const int len = rows ? call.m : call.n;
          EXPECT_EQ(call.thread, i);
          EXPECT_EQ(len, i < threads - 1 ? chunk : total - chunk * (threads - 1));
          EXPECT_EQ(rows ? call.n : call.m, rows ? n : m);
          EXPECT_EQ(call.c, next * (rows ? 1 : std::ptrdiff_t(r.ldc))) << "slab " << i;
          // A direct operand moves by columns, a transposed one by rows.
          if (rows) {
            EXPECT_EQ(call.a, direct(f[0]) ? next : std::ptrdiff_t(next) * r.lda);
            EXPECT_EQ(call.b, 0);
          } else {
            EXPECT_EQ(call.a, 0);
            EXPECT_EQ(call.b, direct(f[1]) ? std::ptrdiff_t(next) * r.ldb : next);
          }
          EXPECT_EQ(call.level, 1);
          r.expect_passed_through(call);
          next += len;
        }
        EXPECT_EQ(next, total);
      }
  }
}

// All of m, n, k at most 16, or one planned thread: one call with the caller's
// pointers, outside any region. m or n not positive: no call at all. From
// inside a caller's region: one call on the calling thread, no nested team.
TEST(GemmOmpSlabs, SmallSingleThreadedOrNestedProductsNeverFork) {
  struct Case {
    int threads, m, n, k;
  } cases[] = {{4, 16, 16, 16}, {4, 1, 1, 1}, {4, 16, 3, 0}, {4, 16, 16, -5}, {1, 100, 100, 100}};
  for (const Case &cs : cases) {
    PlannedThreads planned(cs.threads);
    Recorded r('N', 'T', cs.m, cs.n, cs.k);
    std::vector<Call> calls = r.run();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].level, 0);
    EXPECT_EQ(calls[0].m, cs.m);
    EXPECT_EQ(calls[0].n, cs.n);
    EXPECT_EQ(calls[0].c, 0);
    r.expect_passed_through(calls[0]);
  }
  PlannedThreads planned(2);
  for (auto [m, n] : {std::pair<int, int>{0, 50}, {50, 0}, {-1, 50}, {50, -3}}) {
    Recorded r('?', '!', std::max(m, 0), std::max(n, 0), 40);
    r.m = m, r.n = n;
    EXPECT_TRUE(r.run().empty());
  }
  Recorded r('N', 'N', 100, 100, 100);
  std::vector<Call> calls;
#pragma omp parallel num_threads(2)
#pragma omp single
  calls = r.run();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].level, 1);  // the caller's region only
  EXPECT_EQ(calls[0].n, 100);
}

// A team smaller than the pieces (here the team of one of a region nested in
// a caller's) walks every piece once, in order.
TEST(GemmOmpRegion, EveryPieceRunsOnceWhateverTheTeam) {
  for (bool nested : {false, true}) {
    std::vector<int> seen;
    auto run = [&] {
      tav::parallel_pieces(7, [&](int i) {
#pragma omp critical(gemm_omp_test_pieces)
        seen.push_back(i);
      });
    };
    if (nested) {
#pragma omp parallel num_threads(2)
#pragma omp single
      run();
      EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    } else {
      run();
    }
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3, 4, 5, 6})) << "nested " << nested;
  }
}

// ---- the exported fronts against the serial driver on each slab --------------

// The scalar part of an element: the type itself for the real types, float or
// double for the two complex ones.
template <class T>
using part_t = std::conditional_t<std::is_floating_point_v<T>, T, std::conditional_t<sizeof(T) == 8, float, double>>;

template <class T>
Buffer<T> random_elements(std::size_t count, std::size_t offset, unsigned seed) {
  Buffer<T> out(count, offset);
  tavtest::fill_random(reinterpret_cast<part_t<T> *>(out.data()), count * sizeof(T) / sizeof(part_t<T>), seed);
  return out;
}

// An element with real part `re` and, where there is one, imaginary part `im`.
template <class T>
T element(double re, double im) {
  part_t<T> parts[2] = {part_t<T>(re), part_t<T>(im)};
  T out;
  std::memcpy(&out, parts, sizeof out);
  return out;
}

template <class T>
using seq_fn = void (*)(const char *, const char *, const int *, const int *, const int *, const T *, const T *,
                        const int *, const T *, const int *, const T *, T *, const int *);

template <class T>
struct Product {
  char ta, tb;
  int m, n, k, lda, ldb, ldc;
  T alpha = element<T>(4.0 / 3.0, -0.4), beta = element<T>(-0.7, 0.3);
  Buffer<T> a, b, c;

  Product(char ta_, char tb_, int m_, int n_, int k_, unsigned seed)
      : ta(ta_), tb(tb_), m(m_), n(n_), k(k_) {
    lda = (direct(ta) ? m : k) + 1;
    ldb = (direct(tb) ? k : n) + 2;
    ldc = m + 3;
    a = random_elements<T>(std::size_t(lda) * std::max(1, direct(ta) ? k : m), seed % 4, seed);
    b = random_elements<T>(std::size_t(ldb) * std::max(1, direct(tb) ? n : k), (seed + 1) % 4, seed + 1);
    c = random_elements<T>(std::size_t(ldc) * n, (seed + 2) % 4, seed + 2);
  }

  Buffer<T> front(seq_fn<T> f) const {
    Buffer<T> out = c;
    f(&ta, &tb, &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, out.data(), &ldc);
    return out;
  }
  // The serial driver once per slab, slabs as the cut promises for `threads`.
  Buffer<T> slabwise(seq_fn<T> seq, int threads) const {
    Buffer<T> out = c;
    const bool rows = m > n;
    const int total = rows ? m : n, chunk = total / threads;
    for (int i = 0, start = 0; i < threads; ++i) {
      const int len = i < threads - 1 ? chunk : total - start;
      if (rows) {
        const T *as = direct(ta) ? a.data() + start : a.data() + std::size_t(start) * lda;
        seq(&ta, &tb, &len, &n, &k, &alpha, as, &lda, b.data(), &ldb, &beta, out.data() + start, &ldc);
      } else {
        const T *bs = direct(tb) ? b.data() + std::size_t(start) * ldb : b.data() + start;
        seq(&ta, &tb, &m, &len, &k, &alpha, a.data(), &lda, bs, &ldb, &beta, out.data() + std::size_t(start) * ldc,
            &ldc);
      }
      start += len;
    }
    return out;
  }
};

// Each precision's exported front beside its serial driver.
template <class T, seq_fn<T> Front, seq_fn<T> Seq>
struct Fronts {
  using type = T;
  static constexpr seq_fn<T> front = Front, seq = Seq;
};
template <class P>
class GemmOmpFront : public ::testing::Test {};
using AllFronts = ::testing::Types<Fronts<float, tav_sgemm, tav::sgemm_seq>, Fronts<double, tav_dgemm, tav::dgemm_seq>,
                                   Fronts<tav_complex8, tav_cgemm, tav::cgemm_seq>,
                                   Fronts<tav_complex16, tav_zgemm, tav::zgemm_seq>>;
TYPED_TEST_SUITE(GemmOmpFront, AllFronts);

TYPED_TEST(GemmOmpFront, EqualsTheDriverOnEachSlab) {
  using T = typename TypeParam::type;
  const char flags[][2] = {{'N', 'N'}, {'T', 'n'}, {'n', 'C'}, {'x', 't'}};
  // Square: columns; one more row than columns: rows; a wide and a tall one
  // whose slabs straddle the drivers' 256- and 128-wide blocks.
  const std::array<int, 3> shapes[] = {{150, 150, 40}, {151, 150, 40}, {40, 600, 33}, {530, 20, 24}};
  for (int threads : {1, 2, 3, 4, 8}) {
    PlannedThreads planned(threads);
    unsigned seed = 10;
    for (const auto &shape : shapes)
      for (const auto &f : flags) {
        Product<T> p(f[0], f[1], shape[0], shape[1], shape[2], ++seed);
        EXPECT_TRUE(p.front(TypeParam::front).same_bits(p.slabwise(TypeParam::seq, threads)))
            << "threads " << threads << " " << f[0] << f[1] << " m=" << p.m << " n=" << p.n;
      }
  }
  // The comparison has teeth: two slabs, the first of odd length, give other
  // bits than one whole product.
  Product<T> p('N', 'N', 303, 300, 70, 3);
  EXPECT_FALSE(p.slabwise(TypeParam::seq, 2).same_bits(p.slabwise(TypeParam::seq, 1)));
}

// Chunk 0 and the bypass give the whole serial product; k = 0 scales each slab
// by beta (and clears it for beta 0, NaN in C included); m = 0 touches nothing.
// From inside the caller's parallel region each call runs serially on its own
// thread and gives the one-slab result.
TYPED_TEST(GemmOmpFront, EdgesAndCallsFromARegion) {
  using T = typename TypeParam::type;
  constexpr seq_fn<T> front = TypeParam::front, seq = TypeParam::seq;
  {
    PlannedThreads planned(8);
    Product<T> tiny('N', 'T', 3, 2, 20, 5);
    EXPECT_TRUE(tiny.front(front).same_bits(tiny.slabwise(seq, 1)));
    Product<T> small('T', 'N', 16, 16, 16, 6);
    EXPECT_TRUE(small.front(front).same_bits(small.slabwise(seq, 1)));
    for (double beta : {-0.7, 0.0}) {
      Product<T> empty_depth('N', 'N', 40, 90, 0, 7);
      empty_depth.beta = element<T>(beta, 0);
      empty_depth.c[5] = element<T>(std::numeric_limits<double>::quiet_NaN(), 0);
      Buffer<T> got = empty_depth.front(front);
      EXPECT_TRUE(got.same_bits(empty_depth.slabwise(seq, 8))) << "beta " << beta;
      part_t<T> re;
      std::memcpy(&re, &got[5], sizeof re);
      EXPECT_EQ(re != re, beta != 0);
    }
    Product<T> untouched('N', 'N', 40, 40, 40, 8);
    const int zero = 0;
    Buffer<T> c = untouched.c;
    front("?", "?", &zero, &untouched.n, &untouched.k, &untouched.alpha, untouched.a.data(), &untouched.lda,
          untouched.b.data(), &untouched.ldb, &untouched.beta, c.data(), &untouched.ldc);
    EXPECT_TRUE(c.same_bits(untouched.c));
  }
  PlannedThreads planned(4);
  Product<T> p('N', 'T', 200, 180, 50, 9);
  const Buffer<T> want = p.slabwise(seq, 1);
  int mismatches = 0;
#pragma omp parallel num_threads(2) reduction(+ : mismatches)
  {
    if (!p.front(front).same_bits(want)) ++mismatches;
  }
  EXPECT_EQ(mismatches, 0);
}

// Several of the caller's threads at once, each forking its own team over its
// own C: every result as when run alone. (ThreadSanitizer cannot judge this
// with the system's libgomp: the runtime is not instrumented, so its futex
// fork and join are invisible and each reuse of the front's stack across two
// regions is reported as a race.)
TYPED_TEST(GemmOmpFront, ConcurrentCallersOnDisjointOutputs) {
  using T = typename TypeParam::type;
  constexpr int callers = 4, rounds = 6;
  std::vector<Product<T>> products;
  std::vector<Buffer<T>> want;
  for (int t = 0; t < callers; ++t) {
    products.emplace_back(t % 2 ? 'N' : 'T', 'N', 120 + 7 * t, 110, 40, 20 + t);
    want.push_back(products.back().slabwise(TypeParam::seq, 2));
  }
  std::vector<int> mismatches(callers, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < callers; ++t)
    threads.emplace_back([&, t] {
      omp_set_num_threads(2);
      for (int r = 0; r < rounds; ++r)
        if (!products[t].front(TypeParam::front).same_bits(want[t])) ++mismatches[t];
    });
  for (std::thread &t : threads) t.join();
  for (int t = 0; t < callers; ++t) EXPECT_EQ(mismatches[t], 0) << "caller " << t;
}

// ---- worker stacks --------------------------------------------------------------

constexpr char stack_child_flag[] = "TAV_GEMM_OMP_STACK_CHILD";

// Run in a child process started under a stack limit of 512 KiB (also what
// the thread library would give new threads by default) and without the
// runtime's stack settings: the workers of a threaded product still get the
// 2 MiB the drivers' frames need.
TEST(GemmOmpStack, WorkersHoldTheDriversFramesUnderALowStackLimit) {
  if (std::getenv(stack_child_flag) == nullptr) {
    std::vector<std::string> env_text = {std::string(stack_child_flag) + "=1"};
    for (char **e = environ; *e != nullptr; ++e)
      if (std::strncmp(*e, "OMP_STACKSIZE=", 14) != 0 && std::strncmp(*e, "GOMP_STACKSIZE=", 15) != 0)
        env_text.push_back(*e);
    std::vector<char *> env;
    for (std::string &text : env_text) env.push_back(text.data());
    env.push_back(nullptr);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      struct rlimit limit = {512 * 1024, 512 * 1024};
      setrlimit(RLIMIT_STACK, &limit);
      execle("/proc/self/exe", "tav_tests", "--gtest_filter=GemmOmpStack.*", "--gtest_brief=1",
             static_cast<char *>(nullptr), env.data());
      _exit(127);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "child ended by signal " << (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    return;
  }
  // The child: no team has been formed yet in this process.
  PlannedThreads planned(3);
  Product<double> p('T', 'T', 300, 290, 200, 4);
  EXPECT_TRUE(p.front(tav_dgemm).same_bits(p.slabwise(tav::dgemm_seq, 3)));
  std::vector<std::size_t> stacks(3, 0);
  tav::parallel_pieces(3, [&](int i) {
    pthread_attr_t attr;
    if (omp_get_thread_num() != 0 && pthread_getattr_np(pthread_self(), &attr) == 0) {
      pthread_attr_getstacksize(&attr, &stacks[i]);
      pthread_attr_destroy(&attr);
    }
  });
  for (std::size_t size : stacks)
    EXPECT_TRUE(size == 0 || size >= std::size_t(tav::worker_stack_bytes)) << size;
}

}  // namespace
