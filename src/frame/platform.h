#pragma once
// The library's only contact with the operating system. Kernels never include a
// platform header; they go through these.

#include <cstddef>

namespace tav {

// Writes `count` bytes to the standard error console, unbuffered, in one call.
// A failed or partial write is ignored.
void console_write(const char *bytes, std::size_t count);

}  // namespace tav
