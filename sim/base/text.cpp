#include "sim/base/text.h"

#include <algorithm>
#include <array>
#include <bit>

namespace sim {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

/// The control characters, line and paragraph separators, what sets the direction of writing, and
/// the surrogates, which are no characters.
constexpr std::array kNotPrintable{
    Range{0, 0x1f},        Range{0x7f, 0x9f},     Range{0x61c, 0x61c},  Range{0x200e, 0x200f},
    Range{0x2028, 0x202e}, Range{0x2066, 0x2069}, Range{0xd800, 0xdfff}};

/// How many bytes the first character takes, and whether it is printable.
struct Character {
  std::size_t length;
  bool printable;
};

bool isContinuation(char c) { return (c & 0xc0) == 0x80; }

Character firstOf(std::string_view text) {
  constexpr Character kNotUtf8{1, false};
  constexpr std::array<char32_t, 5> kLeast{0, 0, 0x80, 0x800, 0x10000};
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead >= 0x20 && lead < 0x7f) return {1, true};  // As nearly all are.
  const int ones = std::countl_one(lead);
  const auto length = static_cast<std::size_t>(std::max(ones, 1));
  if (ones == 1 || ones > 4 || length > text.size()) return kNotUtf8;
  char32_t code = lead & (0x7fU >> static_cast<unsigned>(ones));
  for (const char c : text.substr(1, length - 1)) {
    if (!isContinuation(c)) return kNotUtf8;
    code = code << 6U | (static_cast<unsigned char>(c) & 0x3fU);
  }
  if (code < kLeast[length] || code > 0x10ffff) return kNotUtf8;
  return {length, std::ranges::none_of(kNotPrintable, [code](const Range& range) {
            return code >= range.first && code <= range.last;
          })};
}

}  // namespace

bool isPrintable(std::string_view text) {
  while (!text.empty()) {
    const Character character = firstOf(text);
    if (!character.printable) return false;
    text.remove_prefix(character.length);
  }
  return true;
}

std::string printable(std::string_view text) {
  std::string line;
  while (!text.empty()) {
    const Character character = firstOf(text);
    line += character.printable ? text.substr(0, character.length) : "?";
    text.remove_prefix(character.length);
  }
  return line;
}

std::string shortened(std::string_view text) {
  constexpr std::size_t kLongest = 255;
  if (text.size() <= kLongest) return std::string(text);
  std::size_t end = kLongest;
  while (end > 0 && isContinuation(text[end])) --end;
  return std::string(text.substr(0, end)) + "...";
}

std::string inQuotes(std::string_view text) { return '\'' + shortened(text) + '\''; }

}  // namespace sim
