// Scratch memory on the platform's allocator: LocalAlloc/LocalFree with fixed,
// uncleared memory on Windows, the C runtime's heap elsewhere.
#include "frame/scratch.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <cstdlib>
#endif

namespace tav {

void *scratch_alloc(std::size_t bytes) {
#if defined(_WIN32)
  return LocalAlloc(0, bytes);
#else
  return std::malloc(bytes);
#endif
}

void scratch_free(void *block) {
#if defined(_WIN32)
  (void)LocalFree(block);
#else
  std::free(block);
#endif
}

}  // namespace tav
