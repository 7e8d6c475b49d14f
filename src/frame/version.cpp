// Version query: the kernel name string, in a form that depends on the
// caller's buffer length (see the cases below).
#include <cstring>

#include "frame/export.h"

namespace {

constexpr char first_text[] = "Ovrin(R) TAV V5.2.1 ";  // 20 bytes
constexpr char second_text[] = "Torvane(R) VII ";      // 15 bytes
constexpr int first_length = sizeof(first_text) - 1;
constexpr int both_length = first_length + sizeof(second_text) - 1;

}  // namespace

// Lengths 1..21: the first text cut to length-1 and a zero in the last place.
// 22..36: both texts cut to length-1 with their terminator. 37 and more: the
// 35 characters, the terminator in place 35 left standing, and blanks behind it
// up to the last place. A length of 0 writes the zero byte before the buffer;
// a negative length must not be given.
TAV_EXPORT void _get_kerver(char *buffer, int length) {
  std::strncpy(buffer, first_text, static_cast<std::size_t>(length));
  if (length <= first_length + 1) {
    buffer[length - 1] = '\0';
    return;
  }
  std::strncat(buffer, second_text, static_cast<std::size_t>(length - (first_length + 1)));
  if (length <= both_length + 1) return;
  std::memset(buffer + both_length + 1, ' ', static_cast<std::size_t>(length - (both_length + 1)));
}
