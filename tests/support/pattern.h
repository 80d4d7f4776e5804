#pragma once

#include <string>

/// Regular expressions, kept out of the tests because they are slow to compile.

/// Whether the whole of `text` matches.
bool matches(const std::string& text, const std::string& pattern);

/// `text` with `replacement` for whatever matches.
std::string replaced(const std::string& text, const std::string& pattern,
                     const std::string& replacement);
