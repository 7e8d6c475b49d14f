#pragma once
// Test buffers: exactly sized (so AddressSanitizer sees any read past the
// end), starting a chosen number of elements past a 64-byte boundary, and
// filled with values that expose the order of rounding.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

namespace tavtest {

template <class T>
class Buffer {
 public:
  Buffer() = default;
  // `count` elements at `offset` elements past a 64-byte boundary.
  explicit Buffer(std::size_t count, std::size_t offset = 0) : count_(count), offset_(offset) {
    std::size_t bytes = (offset + count) * sizeof(T);
    raw_ = static_cast<unsigned char *>(::operator new(bytes ? bytes : 1, std::align_val_t(64)));
    std::memset(raw_, 0, bytes);
  }
  Buffer(const Buffer &other) : Buffer(other.count_, other.offset_) {
    if (count_) std::memcpy(data(), other.data(), count_ * sizeof(T));
  }
  Buffer &operator=(const Buffer &other) {
    if (this != &other) {
      Buffer copy(other);
      swap(copy);
    }
    return *this;
  }
  Buffer(Buffer &&other) noexcept { swap(other); }
  Buffer &operator=(Buffer &&other) noexcept {
    swap(other);
    return *this;
  }
  ~Buffer() {
    if (raw_) ::operator delete(raw_, std::align_val_t(64));
  }

  T *data() { return reinterpret_cast<T *>(raw_) + offset_; }
  const T *data() const { return reinterpret_cast<const T *>(raw_) + offset_; }
  std::size_t size() const { return count_; }
  T &operator[](std::size_t i) { return data()[i]; }
  const T &operator[](std::size_t i) const { return data()[i]; }
  std::vector<T> to_vector() const { return std::vector<T>(data(), data() + count_); }
  bool same_bits(const Buffer &other) const {
    return count_ == other.count_ && std::memcmp(data(), other.data(), count_ * sizeof(T)) == 0;
  }

 private:
  void swap(Buffer &other) noexcept {
    std::swap(raw_, other.raw_);
    std::swap(count_, other.count_);
    std::swap(offset_, other.offset_);
  }
  unsigned char *raw_ = nullptr;
  std::size_t count_ = 0;
  std::size_t offset_ = 0;
};

// Values in +-[1, 2) scaled by 2^e, e in [-spread, spread]: mixed magnitudes
// and mantissas with all bits used, so that a change of summation order shows.
template <class T>
void fill_random(T *p, std::size_t count, std::uint32_t seed, int spread = 6) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> mant(1.0, 2.0);
  std::uniform_int_distribution<int> ex(-spread, spread);
  std::bernoulli_distribution sign(0.5);
  for (std::size_t i = 0; i < count; ++i) {
    double v = std::ldexp(mant(gen), ex(gen));
    p[i] = static_cast<T>(sign(gen) ? -v : v);
  }
}

template <class T>
Buffer<T> random_buffer(std::size_t count, std::size_t offset, std::uint32_t seed, int spread = 6) {
  Buffer<T> b(count, offset);
  fill_random(b.data(), count, seed, spread);
  return b;
}

// Bit patterns, so that NaN payloads and signed zeros compare exactly.
inline std::uint32_t bits_of(float v) {
  std::uint32_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}
inline std::uint64_t bits_of(double v) {
  std::uint64_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}
inline float float_from_bits(std::uint32_t u) {
  float v;
  std::memcpy(&v, &u, sizeof v);
  return v;
}
inline double double_from_bits(std::uint64_t u) {
  double v;
  std::memcpy(&v, &u, sizeof v);
  return v;
}

// Number of elements a vector of n logical elements with stride inc spans.
inline std::size_t span(int n, int inc) {
  if (n <= 0) return 0;
  return static_cast<std::size_t>(1 + static_cast<long long>(n - 1) * std::llabs(inc));
}

// Element k (from 0, in the published order) of a strided vector: with a
// negative stride element 0 stands at (1 - n) * inc.
template <class T>
T &at(T *p, int n, int inc, int k) {
  std::ptrdiff_t start = inc < 0 ? static_cast<std::ptrdiff_t>(1 - n) * inc : 0;
  return p[start + static_cast<std::ptrdiff_t>(k) * inc];
}

// Positions (from 1) of the first largest and first smallest magnitude, by
// plain comparisons in the published order: the i?amax / i?amin oracle for
// data without NaNs.
template <class T>
std::pair<int, int> first_extremes(const T *p, int n, int inc) {
  int largest = 1, smallest = 1;
  for (int k = 1; k < n; ++k) {
    T v = std::fabs(at(p, n, inc, k));
    if (v > std::fabs(at(p, n, inc, largest - 1))) largest = k + 1;
    if (v < std::fabs(at(p, n, inc, smallest - 1))) smallest = k + 1;
  }
  return {largest, smallest};
}

// Tolerance for a sum of `terms` products of magnitude `scale`, in units of eps.
template <class T>
double sum_tolerance(int terms, double scale) {
  double eps = std::numeric_limits<T>::epsilon();
  return 2.0 * eps * (terms + 2) * scale;
}

}  // namespace tavtest

#define EXPECT_SAME_BITS(a, b) EXPECT_EQ(::tavtest::bits_of(a), ::tavtest::bits_of(b)) << (a) << " vs " << (b)
