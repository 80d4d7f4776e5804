#include "journal/line.h"

#include <array>
#include <charconv>

namespace journal {
namespace {

void append(std::string& text, std::int64_t number) {
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  text.append(digits.data(), end);
}

}  // namespace

void Line::addKey(std::string_view key) {
  if (text_.back() != '{') text_ += ',';
  text_ += '"';
  text_ += key;
  text_ += "\":";
}

void Line::addQuoted(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  text_ += '"';
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte >= 0x7f) {
      text_ += "\\u00";
      text_ += kDigits[byte / 16];
      text_ += kDigits[byte % 16];
    } else {
      if (c == '"' || c == '\\') text_ += '\\';
      text_ += c;
    }
  }
  text_ += '"';
}

void Line::addFiltered(std::string_view text) {
  if (filter_ == nullptr) {
    addQuoted(text);
  } else {
    addQuoted(filter_->apply(text));
  }
}

Line& Line::addRaw(std::string_view key, std::string_view json) {
  addKey(key);
  text_ += json;
  return *this;
}

Line& Line::addName(std::string_view key, std::string_view name) {
  addKey(key);
  addQuoted(name);
  return *this;
}

Line& Line::add(std::string_view key, std::int64_t number) {
  addKey(key);
  append(text_, number);
  return *this;
}

Line& Line::add(std::string_view key, std::string_view text) {
  addKey(key);
  addFiltered(text);
  return *this;
}

Line& Line::add(std::string_view key, std::span<const std::uint32_t> words) {
  std::vector<std::uint32_t> changed;
  if (filter_ != nullptr) {
    changed = filter_->applyWords(words);
    words = changed;
  }
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
    addFiltered(text);
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
