#include "tests/support/pattern.h"

#include <regex.h>

#include <stdexcept>

namespace {

// The C library's, which is neither compiled with the tests nor slowed down by a sanitizer.
class Regex {
 public:
  explicit Regex(const std::string& pattern) {
    if (regcomp(&compiled_, pattern.c_str(), REG_EXTENDED) != 0) {
      throw std::invalid_argument("not a regular expression: " + pattern);
    }
  }
  ~Regex() { regfree(&compiled_); }
  Regex(const Regex&) = delete;
  Regex& operator=(const Regex&) = delete;

  bool search(const char* text, regmatch_t& found, int flags = 0) const {
    return regexec(&compiled_, text, 1, &found, flags) == 0;
  }

 private:
  regex_t compiled_{};
};

}  // namespace

bool matches(const std::string& text, const std::string& pattern) {
  regmatch_t found{};
  return Regex("^(" + pattern + ")$").search(text.c_str(), found);
}

std::string replaced(const std::string& text, const std::string& pattern,
                     const std::string& replacement) {
  const Regex regex(pattern);
  std::string result;
  const char* rest = text.c_str();
  regmatch_t found{};
  for (int flags = 0; regex.search(rest, found, flags) && found.rm_eo > 0; flags = REG_NOTBOL) {
    result.append(rest, static_cast<std::size_t>(found.rm_so)) += replacement;
    rest += found.rm_eo;
  }
  return result + rest;
}
