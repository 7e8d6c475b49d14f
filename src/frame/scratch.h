#pragma once
// Scratch memory: blocks that live for one call of a routine and are freed
// before it returns. These two calls are the library's only allocator; no
// kernel allocates any other way.

#include <cstddef>
#include <cstdint>

namespace tav {

// A block of `bytes` bytes, not cleared, or null when the system refuses.
void *scratch_alloc(std::size_t bytes);
// Gives back a block of scratch_alloc (null is allowed and ignored).
void scratch_free(void *block);

// The aligned base of a scratch block or caller's work area: the address with
// its low bits cleared, plus `Align`, so 1 to `Align` bytes above p. A block
// asks for `Align` bytes more than its content. The library's rule is Align 32.
template <std::size_t Align = 32>
inline unsigned char *scratch_base(void *p) {
  static_assert((Align & (Align - 1)) == 0, "alignment must be a power of two");
  const std::uintptr_t u = reinterpret_cast<std::uintptr_t>(p);
  return reinterpret_cast<unsigned char *>((u & ~std::uintptr_t(Align - 1)) + Align);
}

}  // namespace tav
