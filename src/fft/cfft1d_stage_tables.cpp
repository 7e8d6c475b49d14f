// Static stage tables of the single-precision kernels, made once when the
// library loads. Stage sizes 2^10 down to 2^4 follow each other, then the
// 48-byte tail for size 8. A value is cos or -sin of 2pi*j/2^s with the angle
// formed in extended precision as (j * 2pi) / 2^s, rounded once when stored.
#include <cmath>

#include "fft/fft_tables.h"
#include "frame/xreal.h"

namespace tav {

namespace {

constexpr int stage_floats(int s) { return 6 * (1 << s) / 4; }
constexpr int tail_offset = 6 * ((1 << (stage_table_max_log + 1)) - (1 << stage_table_min_log)) / 4;
constexpr int total_floats = tail_offset + 12;

struct stage_tables {
  alignas(32) float values[total_floats];

  static int offset(int s) { return 6 * ((1 << (stage_table_max_log + 1)) - (1 << (s + 1))) / 4; }

  stage_tables() {
    const xreal two_pi = static_cast<xreal>(std::atan(1.0)) * 8;
    for (int s = stage_table_max_log; s >= stage_table_min_log; --s) {
      float *stage = values + offset(s);
      const int size = 1 << s;
      for (int j = 0; j < size / 4; ++j) {
        float *group = stage + 24 * (j / 4) + (j % 4);
        for (int power = 1; power <= 3; ++power) {
          xreal angle = static_cast<xreal>(power * j) * two_pi / static_cast<xreal>(size);
          group[8 * (power - 1)] = static_cast<float>(std::cos(angle));
          group[8 * (power - 1) + 4] = static_cast<float>(-std::sin(angle));
        }
      }
    }
    // Size 8: (1, -0) beside w, w^2 = (0, -1) and w^3, w = cos(pi/4) - i sin(pi/4).
    const float c = static_cast<float>(std::cos(two_pi / 8));
    const float s = static_cast<float>(std::sin(two_pi / 8));
    const float tail[12] = {1.0f, -0.0f, c, -s, 1.0f, -0.0f, 0.0f, -1.0f, 1.0f, -0.0f, -c, -s};
    for (int i = 0; i < 12; ++i) values[tail_offset + i] = tail[i];
  }
};

const stage_tables tables;

static_assert(stage_floats(stage_table_min_log) == 24, "one group at the smallest stage");

}  // namespace

const float *cfft1d_stage_table(int s) {
  if (s < stage_table_min_log) return tables.values + tail_offset;
  return tables.values + stage_tables::offset(s);
}

}  // namespace tav
