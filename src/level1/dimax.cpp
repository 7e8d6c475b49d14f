// Position of the largest / smallest magnitude of a double vector. Magnitudes
// are taken with fabs in extended precision and compared with an
// unordered-aware compare of the best so far against the new one:
//   idamax replaces the best unless best >= new, so an unordered result (a NaN
//   on either side) replaces: a NaN takes over, and so does the element after it;
//   idamin replaces only when best > new, so a NaN never takes over, and one in
//   position 1 stays.
// Ties keep the lowest position. The unit path takes 4 elements a round, the
// general path 2 (a negative stride counts positions from element 1 of the
// published order); the rest go one at a time.
#include <cmath>

#include "level1/double_kernels.h"
#include "level1/double_sums.h"

namespace tav {

namespace {
constexpr int idamax_unit_round = 4;
constexpr int idamax_unit_prefetch_bytes = 128;
constexpr int idamax_general_round = 2;
constexpr int idamax_general_prefetch_strides = 2;

struct Larger {
  static bool replaces(xreal best, xreal v) { return !(best >= v); }
};
struct Smaller {
  static bool replaces(xreal best, xreal v) { return best > v; }
};

// Scans elements 1 .. n-1 (from 0) after element 0, rounds of Round.
template <class Rule, int Round, class Element, class Prefetch>
int position_of(int n, const Element &element, const Prefetch &prefetch) {
  xreal best = std::fabs(element(0));
  int at = 0;
  auto visit = [&](int i) {
    xreal v = std::fabs(element(i));
    if (Rule::replaces(best, v)) {
      best = v;
      at = i;
    }
  };
  int i = 1;
  for (; n - i >= Round; i += Round) {
    prefetch(i);
    for (int k = i; k < i + Round; ++k) visit(k);
  }
  for (; i < n; ++i) visit(i);
  return at + 1;
}

template <class Rule>
int unit(int n, const double *x) {
  return position_of<Rule, idamax_unit_round>(
      n, [&](int i) { return (xreal)x[i]; },
      [&](int i) { prefetch_nta(x + i, idamax_unit_prefetch_bytes); });
}

template <class Rule>
int general(int n, const double *x, int incx) {
  x = dvec_start(x, n, incx);
  const std::ptrdiff_t s = incx;
  return position_of<Rule, idamax_general_round>(
      n, [&](int i) { return (xreal)x[i * s]; },
      [&](int i) { prefetch_nta(x + i * s, idamax_general_prefetch_strides * s * 8); });
}
}  // namespace

int idamax_unit(int n, const double *x) { return unit<Larger>(n, x); }
int idamax_general(int n, const double *x, int incx) { return general<Larger>(n, x, incx); }
int idamin_unit(int n, const double *x) { return unit<Smaller>(n, x); }
int idamin_general(int n, const double *x, int incx) { return general<Smaller>(n, x, incx); }

}  // namespace tav
