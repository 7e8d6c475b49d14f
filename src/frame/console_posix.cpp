#include "frame/platform.h"

#if !defined(_WIN32)
#include <unistd.h>

namespace tav {

void console_write(const char *bytes, std::size_t count) {
  // One write(2) to descriptor 2, no stdio buffer; the result is deliberately dropped.
  ssize_t written = ::write(2, bytes, count);
  (void)written;
}

}  // namespace tav
#endif
