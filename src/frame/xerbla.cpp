#include "frame/xerbla.h"

#include "frame/platform.h"

namespace {

// The process-wide error hook: the library's only state between calls.
tav::xerbla_handler error_hook = nullptr;

constexpr int name_limit = 10;

template <std::size_t N>
void write_text(const char (&text)[N]) {
  tav::console_write(text, N - 1);
}

void write_digit(int digit) {
  char c = static_cast<char>('0' + digit);
  tav::console_write(&c, 1);
}

}  // namespace

namespace tav {

void xerbla(const char *name, const int *info, int length) {
  if (error_hook != nullptr) {
    error_hook(name, info, length);
    return;
  }
  _default_xerbla(name, info, length);
}

void xerbla_set_hook(xerbla_handler handler) { error_hook = handler; }

}  // namespace tav

// One line in pieces, each its own unbuffered write. The number is never
// written in full: a parameter number gets a constant leading "1" when above 9
// and its last digit; a condition loses its sign, keeps its last digit, and
// gets "100" in front from -1000 downwards.
TAV_EXPORT void _default_xerbla(const char *name, const int *info, int length) {
  const int code = *info;
  if (code >= 1) {
    write_text("TAV ERROR : Parameter ");
    if (code > 9) write_text("1");
    write_digit(code % 10);
    write_text(" was incorrect on entry to ");
  } else {
    write_text("TAV INTERNAL ERROR : Condition ");
    if (code <= -1000) write_text("100");
    // -code overflows for INT_MIN; the last digit of its magnitude is 8 either way.
    write_digit(static_cast<int>(-(static_cast<long long>(code)) % 10));
    write_text(" detected in function ");
  }
  int shown = length < name_limit ? length : name_limit;
  if (shown > 0) tav::console_write(name, static_cast<std::size_t>(shown));
  write_text("\n");
}
