#include "tests/support/pattern.h"

#include <regex>

bool matches(const std::string& text, const std::string& pattern) {
  return std::regex_match(text, std::regex(pattern));
}

std::string replaced(const std::string& text, const std::string& pattern,
                     const std::string& replacement) {
  return std::regex_replace(text, std::regex(pattern), replacement);
}
