/* Compiled as C99 with -pedantic -Werror: the public header must stay plain C. */
#include "tav_q7.h"

int tav_header_c_check(void) {
  int n = 1, inc = 1;
  float x = 1.0f;
  return tav_isamax(&n, &x, &inc);
}
