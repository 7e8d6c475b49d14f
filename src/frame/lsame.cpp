#include "frame/lsame.h"

namespace tav {

// Only a letter as the first byte folds case; two non-letters compare as they
// stand, so "[" and "{" (32 apart) differ.
int lsame(const char *a, const char *b) {
  unsigned ca = static_cast<unsigned char>(*a);
  unsigned cb = static_cast<unsigned char>(*b);
  bool a_upper = ca >= 'A' && ca <= 'Z';
  bool a_lower = ca >= 'a' && ca <= 'z';
  if (!a_upper && !a_lower) return ca == cb ? -1 : 0;
  if (a_upper) ca += 32;
  if (cb >= 'A' && cb <= 'Z') cb += 32;
  return ca == cb ? -1 : 0;
}

}  // namespace tav
