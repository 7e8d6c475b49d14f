#pragma once

namespace tav {

// Compares the first bytes of two option letters without regard to ASCII case.
// Returns -1 (all bits set) when they match, 0 otherwise.
int lsame(const char *a, const char *b);

}  // namespace tav
