#include "frame/platform.h"

#include <windows.h>

namespace tav {

void console_write(const char *bytes, std::size_t count) {
  // Standard error console; the count written and the result are not looked at,
  // so with standard error redirected away from a console nothing is shown.
  HANDLE console = GetStdHandle(STD_ERROR_HANDLE);
  DWORD written = 0;
  WriteConsoleA(console, bytes, static_cast<DWORD>(count), &written, nullptr);
}

}  // namespace tav
