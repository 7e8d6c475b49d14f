#pragma once
// Captures what is written to file descriptor 2 while a callable runs.

#include <unistd.h>

#include <cstdio>
#include <string>

namespace tavtest {

template <class F>
std::string capture_stderr(F &&body) {
  std::fflush(stderr);
  char path[] = "/tmp/tav_stderr_XXXXXX";
  int file = mkstemp(path);
  int saved = dup(2);
  dup2(file, 2);
  body();
  dup2(saved, 2);
  close(saved);
  std::string text;
  lseek(file, 0, SEEK_SET);
  char chunk[256];
  ssize_t got;
  while ((got = read(file, chunk, sizeof chunk)) > 0) text.append(chunk, static_cast<size_t>(got));
  close(file);
  unlink(path);
  return text;
}

}  // namespace tavtest
