#include "fuzz/target.h"

#include <cstdlib>

namespace fuzz {

void expectEqual(const char* what, std::string_view expected, std::string_view found) {
  if (expected == found) return;
  std::fprintf(stderr, "%s differs\nexpected: %.*s\nfound:    %.*s\n", what,
               static_cast<int>(expected.size()), expected.data(), static_cast<int>(found.size()),
               found.data());
  std::abort();
}

std::uint8_t Input::byte() {
  if (rest_.empty()) return 0;
  const auto first = static_cast<std::uint8_t>(rest_.front());
  rest_.remove_prefix(1);
  return first;
}

std::uint32_t Input::word() {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | byte();
  return value;
}

std::string Input::line() {
  const std::string taken(rest_.substr(0, rest_.find('\n')));
  rest_.remove_prefix(taken.size() < rest_.size() ? taken.size() + 1 : taken.size());
  return taken;
}

Capture::Capture() : before_(stdout) { stdout = open_memstream(&text_, &size_); }

Capture::~Capture() {
  std::fclose(stdout);
  stdout = before_;
  std::free(text_);
}

std::string_view Capture::text() {
  std::fflush(stdout);
  return {text_, size_};
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text.append(line).append("\n");
  return text;
}

}  // namespace fuzz
