#include "tools/boardctl-export/text.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace exporter {
namespace {

constexpr std::size_t kLongestNumber = 32;

std::size_t digitsAt(std::string_view text, std::size_t begin) {
  return std::min(text.find_first_not_of("0123456789", begin), text.size()) - begin;
}

/// The size of the UTF-8 character that the text begins with; 0 if it begins with none.
std::size_t characterSize(std::string_view text) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned first = byte(0);
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4) return 0;
  const unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  if (byte(1) < low || byte(1) > high) return 0;
  const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  for (std::size_t i = 2; i < size; ++i) {
    if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
  }
  return size;
}

std::string clean(std::string_view text, bool controls) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  const auto plain = [](char c) { return c >= ' ' && c < 0x7F; };
  if (std::ranges::all_of(text, plain)) return std::string(text);
  std::string result;
  while (!text.empty()) {
    const auto byte = static_cast<unsigned char>(text.front());
    std::size_t size = characterSize(text);
    if (size == 0 || (controls && (byte < ' ' || byte == 0x7F))) {
      result.append("\\x").append(1, kDigits[byte / 16]).append(1, kDigits[byte % 16]);
      size = 1;
    } else {
      result.append(text.substr(0, size));
    }
    text.remove_prefix(size);
  }
  return result;
}

}  // namespace

bool isNumber(std::string_view text) {
  if (text.size() > kLongestNumber) return false;
  if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
  const std::size_t whole = digitsAt(text, 0);
  if (whole == 0 || whole == text.size()) return whole > 0;
  const std::size_t fraction = digitsAt(text, whole + 1);
  return text[whole] == '.' && fraction > 0 && whole + 1 + fraction == text.size();
}

std::string movePoint(std::string_view number, int places) {
  const bool negative = number.starts_with('-');
  if (negative || number.starts_with('+')) number.remove_prefix(1);
  const std::size_t point = std::min(number.find('.'), number.size());
  std::string digits(number.substr(0, point));
  if (point < number.size()) digits += number.substr(point + 1);
  auto whole = static_cast<std::ptrdiff_t>(point) + places;
  if (whole < 1) {
    digits.insert(0, static_cast<std::size_t>(1 - whole), '0');
    whole = 1;
  }
  const auto end = static_cast<std::size_t>(whole);
  digits.resize(std::max(digits.size(), end), '0');
  const std::size_t begin = std::min(digits.find_first_not_of('0'), end - 1);
  std::string result = negative ? "-" : "";
  result.append(digits, begin, end - begin);
  if (end < digits.size()) result.append(".").append(digits, end);
  return result;
}

std::string decimal(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.3f", value);
  return text;
}

std::string toUtf8(std::string_view text) { return clean(text, false); }

std::string toPrintable(std::string_view text) { return clean(text, true); }

bool matches(std::string_view pattern, std::string_view name) {
  std::size_t star = std::string_view::npos;
  std::size_t retry = 0;
  std::size_t at = 0;
  for (std::size_t i = 0; i < name.size();) {
    if (at < pattern.size() && pattern[at] == '*') {
      star = at++;
      retry = i;
    } else if (at < pattern.size() && pattern[at] == name[i]) {
      ++at;
      ++i;
    } else if (star != std::string_view::npos) {
      at = star + 1;
      i = ++retry;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

bool overlap(std::string_view one, std::string_view other) {
  // What precedes the first asterisk, and what follows the last, must agree; between them anything
  // fits if both have one.
  const auto stars = [](std::string_view text) { return text.find('*') != std::string_view::npos; };
  if (!stars(one)) return matches(other, one);
  if (!stars(other)) return matches(one, other);
  const auto agree = [](std::string_view a, std::string_view b) {
    return a.starts_with(b) || b.starts_with(a);
  };
  const auto end = [](std::string_view text) {
    const std::string_view tail = text.substr(text.rfind('*') + 1);
    return std::string(tail.rbegin(), tail.rend());
  };
  return agree(one.substr(0, one.find('*')), other.substr(0, other.find('*'))) &&
         agree(end(one), end(other));
}

}  // namespace exporter
