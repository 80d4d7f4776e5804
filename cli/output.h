#pragma once

#include <string_view>

/// Standard output. Everything goes through the one buffer of `stdout`, so lines never swap. A
/// write that fails is remembered and never stops a command: the tool reports it when it ends. Main
/// thread only.
namespace boardctl {

void print(std::string_view text);

/// As `print`, then hands everything printed so far to the operating system.
void printNow(std::string_view text);

/// As printf.
void printFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Hands everything printed so far to the operating system.
void flushOutput();

/// The `errno` of the first write to standard output that failed since the last call; 0 for none.
int takeOutputError();

}  // namespace boardctl
