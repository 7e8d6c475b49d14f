#pragma once
// Side-by-side benchmark frame. Each routine family registers one function
// (TAV_BENCH) that times the library's routine beside the peers installed on
// the machine and adds rows to one table.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

void *peer_symbol(void *handle, const char *name);

// A peer BLAS loaded by explicit path, symbols looked up by Fortran name.
struct Peer {
  std::string label;
  void *handle = nullptr;
  template <class F>
  F fn(const char *name) const;
};

// One timed run: seconds per call of each contender; 0 means "not run".
struct Row {
  std::string routine;   // "sdot"
  std::string shape;     // "n=4096 inc=1"
  double work = 0;       // flops or bytes per call, for the rate column
  const char *unit = ""; // "GFLOP/s", "GB/s"
  double tav = 0;
  std::vector<double> peers;  // in the order of Bench::peers()
};

class Bench {
 public:
  const std::vector<Peer> &peers() const { return peers_; }
  bool quick() const { return quick_; }
  // --full: the long sweeps (large matrices, every shape); off by default so
  // that the default run stays around a minute.
  bool full() const { return full_; }
  // Times `call` repeatedly for at least `seconds` (best of several batches);
  // returns seconds per call.
  double time(const std::function<void()> &call, double seconds = 0.05) const;
  void add(const Row &row);
  void note(const std::string &text);

  // Set up by main.
  void load_peers();
  void set_quick(bool quick) { quick_ = quick; }
  void set_full(bool full) { full_ = full; }
  void print_header() const;

 private:
  std::vector<Peer> peers_;
  bool quick_ = false;
  bool full_ = false;
};

using BenchFn = void (*)(Bench &);
struct Registrar {
  Registrar(const char *name, BenchFn fn);
};
struct Registered {
  const char *name;
  BenchFn fn;
};
std::vector<Registered> &registry();

// Keeps the optimiser from dropping a result.
template <class T>
inline void keep(const T &value) {
  asm volatile("" : : "g"(&value) : "memory");
}

template <class F>
F Peer::fn(const char *name) const {
  return handle ? reinterpret_cast<F>(peer_symbol(handle, name)) : nullptr;
}

// Times `run(fn)` for tav's routine and for each peer's routine of the BLAS
// name `name` ("sdot" -> "sdot_"), at length n with unit strides, and adds
// the row; returns tav's rate in units of `work` per second (1e9).
template <class F, class Run>
double compare_named(Bench &b, const char *name, F tav, int n, double work, const char *unit, Run run) {
  Row row;
  row.routine = name;
  row.shape = "n=" + std::to_string(n) + " inc=1";
  row.work = work;
  row.unit = unit;
  row.tav = b.time([&] { run(tav); });
  std::string symbol = std::string(name) + "_";
  for (const Peer &p : b.peers()) {
    F peer = p.fn<F>(symbol.c_str());
    row.peers.push_back(peer ? b.time([&] { run(peer); }) : 0.0);
  }
  b.add(row);
  return work / row.tav * 1e-9;
}

}  // namespace bench

#define TAV_BENCH(name)                                              \
  static void tav_bench_##name(::bench::Bench &);                   \
  static ::bench::Registrar tav_bench_reg_##name(#name, tav_bench_##name); \
  static void tav_bench_##name(::bench::Bench &b)
