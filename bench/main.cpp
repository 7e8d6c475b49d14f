// tav_bench: times each implemented routine beside the reference BLAS and,
// when installed, OpenBLAS (its own choice of core and, in a second copy, the
// SSE-era Core2 kernels of the same 128-bit width), and prints one table.
//
// Usage: tav_bench [--quick] [--full] [family ...]   (families: the TAV_BENCH names)
#define _GNU_SOURCE 1
#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench.h"

namespace bench {

void *peer_symbol(void *handle, const char *name) { return dlsym(handle, name); }

std::vector<Registered> &registry() {
  static std::vector<Registered> all;
  return all;
}

Registrar::Registrar(const char *name, BenchFn fn) { registry().push_back({name, fn}); }

void Bench::load_peers() {
  if (void *ref = dlopen(TAV_REFBLAS_PATH, RTLD_NOW | RTLD_LOCAL)) peers_.push_back({"refblas", ref});
  // Each copy of OpenBLAS reads OPENBLAS_CORETYPE when it loads: the default
  // copy loads with it cleared (the machine may preset one), so it picks its own
  // kernels; a second copy in its own link namespace gets the Core2 kernels.
  unsetenv("OPENBLAS_CORETYPE");
  if (void *ob = dlopen(TAV_OPENBLAS_PATH, RTLD_NOW | RTLD_LOCAL)) {
    peers_.push_back({"openblas", ob});
    setenv("OPENBLAS_CORETYPE", "Core2", 1);
    if (void *core2 = dlmopen(LM_ID_NEWLM, TAV_OPENBLAS_PATH, RTLD_NOW | RTLD_LOCAL))
      peers_.push_back({"ob-core2", core2});
    unsetenv("OPENBLAS_CORETYPE");
  }
  // The peers run on one thread, like the serial routines they are compared with.
  for (const Peer &p : peers_) {
    if (auto set = p.fn<void (*)(int)>("openblas_set_num_threads")) set(1);
  }
  for (const Peer &p : peers_) {
    if (auto core = p.fn<char *(*)()>("openblas_get_corename"))
      std::printf("%s: OpenBLAS kernels for %s\n", p.label.c_str(), core());
  }
}

double Bench::time(const std::function<void()> &call, double seconds) const {
  using clock = std::chrono::steady_clock;
  if (quick_) seconds /= 4;
  call();  // warm caches and pages
  double best = 1e30;
  for (int batch = 0; batch < 3; ++batch) {
    long reps = 0;
    auto start = clock::now();
    double elapsed = 0;
    do {
      call();
      ++reps;
      elapsed = std::chrono::duration<double>(clock::now() - start).count();
    } while (elapsed < seconds / 3);
    best = std::min(best, elapsed / reps);
  }
  return best;
}

void Bench::print_header() const {
  std::printf("%-10s %-26s %10s %10s", "routine", "shape", "tav us", "tav rate");
  for (const Peer &p : peers_) std::printf(" %10s", (p.label + " x").c_str());
  std::printf("\n");
}

// Peer columns show the peer's time divided by tav's: above 1, tav is faster.
void Bench::add(const Row &row) {
  std::printf("%-10s %-26s %10.2f", row.routine.c_str(), row.shape.c_str(), row.tav * 1e6);
  if (row.work > 0)
    std::printf(" %6.2f%-4s", row.work / row.tav * 1e-9, row.unit);
  else
    std::printf(" %10s", "");
  for (size_t i = 0; i < peers_.size(); ++i) {
    double t = i < row.peers.size() ? row.peers[i] : 0;
    if (t > 0)
      std::printf(" %10.2f", t / row.tav);
    else
      std::printf(" %10s", "-");
  }
  std::printf("\n");
  std::fflush(stdout);
}

void Bench::note(const std::string &text) {
  std::printf("  %s\n", text.c_str());
  std::fflush(stdout);
}

}  // namespace bench

int main(int argc, char **argv) {
  bench::Bench b;
  std::vector<std::string> wanted;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--quick") == 0)
      b.set_quick(true);
    else if (std::strcmp(argv[i], "--full") == 0)
      b.set_full(true);
    else
      wanted.push_back(argv[i]);
  }
  b.load_peers();
  std::printf("tav_bench: times per call of one thread; rate = tav's GFLOP/s or GB/s;\n"
              "peer columns = peer time / tav time (above 1: tav faster).\n\n");
  b.print_header();
  auto &all = bench::registry();
  std::sort(all.begin(), all.end(),
            [](const bench::Registered &x, const bench::Registered &y) { return std::strcmp(x.name, y.name) < 0; });
  for (const auto &r : all) {
    if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), r.name) == wanted.end()) continue;
    r.fn(b);
  }
  return 0;
}
