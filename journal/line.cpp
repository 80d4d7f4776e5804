#include "journal/line.h"

#include <array>
#include <charconv>

namespace journal {
namespace {

bool isPlain(char c) { return c >= 0x20 && c < 0x7f && c != '"' && c != '\\'; }

void append(std::string& text, std::int64_t number) {
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  text.append(digits.data(), end);
}

}  // namespace

// Most lines fit without another allocation.
Line::Line() {
  text_.reserve(512);
  text_ = '{';
}

void Line::addKey(std::string_view key) {
  if (text_.back() != '{') text_ += ',';
  text_ += '"';
  text_ += key;
  text_ += "\":";
}

void Line::addQuoted(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  text_ += '"';
  for (std::size_t begin = 0, i = 0;; ++i) {
    if (i < text.size() && isPlain(text[i])) continue;
    text_ += text.substr(begin, i - begin);
    if (i == text.size()) break;
    const auto byte = static_cast<unsigned char>(text[i]);
    text_ += '\\';
    if (byte < 0x20 || byte >= 0x7f) {
      text_ += "u00";
      text_ += kDigits[byte / 16];
      text_ += kDigits[byte % 16];
    } else {
      text_ += text[i];
    }
    begin = i + 1;
  }
  text_ += '"';
}

Line& Line::addRaw(std::string_view key, std::string_view json) {
  addKey(key);
  text_ += json;
  return *this;
}

Line& Line::add(std::string_view key, std::int64_t number) {
  addKey(key);
  append(text_, number);
  return *this;
}

Line& Line::add(std::string_view key, std::string_view text) {
  addKey(key);
  addQuoted(text);
  return *this;
}

Line& Line::add(std::string_view key, std::span<const std::uint32_t> words) {
  addKey(key);
  char before = '[';
  for (const std::uint32_t word : words) {
    text_ += before;
    append(text_, word);
    before = ',';
  }
  text_ += words.empty() ? "[]" : "]";
  return *this;
}

Line& Line::add(std::string_view key, std::span<const std::string> texts) {
  addKey(key);
  char before = '[';
  for (const std::string& text : texts) {
    text_ += before;
    addQuoted(text);
    before = ',';
  }
  text_ += texts.empty() ? "[]" : "]";
  return *this;
}

Line& Line::open(std::string_view key) {
  addKey(key);
  text_ += '{';
  ++depth_;
  return *this;
}

Line& Line::close() {
  text_ += '}';
  --depth_;
  return *this;
}

}  // namespace journal
