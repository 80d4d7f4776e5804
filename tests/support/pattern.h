#pragma once

#include <string>

/// Extended regular expressions of POSIX. A faulty one throws `std::invalid_argument`.

/// Whether the whole of `text` matches.
bool matches(const std::string& text, const std::string& pattern);

/// `text` with `replacement` for whatever matches.
std::string replaced(const std::string& text, const std::string& pattern,
                     const std::string& replacement);
