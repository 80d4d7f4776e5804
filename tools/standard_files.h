#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

/// What the companions of boardctl do alike with their standard files.
namespace standard_files {

/// What is closed must not become another file, which the output would be written into. To be
/// called first.
inline void hold() {
  for (int file = STDIN_FILENO; file <= STDERR_FILENO; ++file) {
    if (fcntl(file, F_GETFD) == -1) open("/dev/null", O_RDONLY);
  }
}

/// Writes to standard output at once. Throws `std::system_error` when that fails.
inline void print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    throw std::system_error(errno, std::generic_category(), "standard output");
  }
}

}  // namespace standard_files
