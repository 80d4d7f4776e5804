#include "journal/line.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

namespace journal {
namespace {

constexpr std::size_t kUsualSize = 512;
constexpr std::size_t kLongestNumber = 20;
constexpr std::size_t kLongestEscape = 6;

bool isPlain(char c) { return c >= 0x20 && c < 0x7f && c != '"' && c != '\\'; }

}  // namespace

Line::Line()
    : capacity_(kUsualSize),
      buffer_(std::make_unique_for_overwrite<char[]>(kUsualSize)),
      end_(buffer_.get()) {
  add('{');
}

void Line::grow(std::size_t count) {
  const std::size_t used = size();
  const std::size_t capacity = std::max(2 * capacity_, used + count);
  auto buffer = std::make_unique_for_overwrite<char[]>(capacity);
  std::memcpy(buffer.get(), buffer_.get(), used);
  buffer_ = std::move(buffer);
  capacity_ = capacity;
  end_ = buffer_.get() + used;
}

void Line::addKey(std::string_view key) {
  reserve(key.size() + 4);
  if (end_[-1] != '{') add(',');
  add('"');
  copy(key);
  add('"');
  add(':');
}

void Line::addQuoted(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  reserve(text.size() + 2);
  add('"');
  for (std::size_t i = 0;; ++i) {
    const std::size_t begin = i;
    while (i < text.size() && isPlain(text[i])) ++i;
    copy(text.substr(begin, i - begin));
    if (i == text.size()) break;
    reserve(text.size() - i + kLongestEscape);
    const auto byte = static_cast<unsigned char>(text[i]);
    add('\\');
    if (byte < 0x20 || byte >= 0x7f) {
      copy("u00");
      add(kDigits[byte / 16]);
      add(kDigits[byte % 16]);
    } else {
      add(text[i]);
    }
  }
  add('"');
}

void Line::addNumber(std::int64_t number) {
  reserve(kLongestNumber);
  end_ = std::to_chars(end_, end_ + kLongestNumber, number).ptr;
}

template <class List, class Add>
void Line::addList(const List& list, Add addItem) {
  reserve(2);
  add('[');
  for (const auto& item : list) {
    addItem(item);
    reserve(1);
    add(',');
  }
  if (!list.empty()) --end_;
  add(']');
}

Line& Line::addRaw(std::string_view key, std::string_view json) {
  addKey(key);
  reserve(json.size());
  copy(json);
  return *this;
}

Line& Line::add(std::string_view key, std::int64_t number) {
  addKey(key);
  addNumber(number);
  return *this;
}

Line& Line::addUnsigned(std::string_view key, std::uint64_t number) {
  addKey(key);
  if (number >= 10) addNumber(static_cast<std::int64_t>(number / 10));
  reserve(1);
  add(static_cast<char>('0' + number % 10));
  return *this;
}

Line& Line::add(std::string_view key, std::string_view text) {
  addKey(key);
  addQuoted(text);
  return *this;
}

Line& Line::add(std::string_view key, std::span<const std::uint32_t> words) {
  addKey(key);
  addList(words, [this](std::uint32_t word) { addNumber(word); });
  return *this;
}

Line& Line::add(std::string_view key, std::span<const std::string> texts) {
  addKey(key);
  addList(texts, [this](const std::string& text) { addQuoted(text); });
  return *this;
}

Line& Line::open(std::string_view key) {
  addKey(key);
  reserve(1);
  add('{');
  ++depth_;
  return *this;
}

Line& Line::close() {
  reserve(1);
  add('}');
  --depth_;
  return *this;
}

std::string_view Line::whole() {
  reserve(depth_ + 1);
  std::memset(end_, '}', depth_);
  end_[depth_] = '\n';
  return {buffer_.get(), size() + depth_ + 1};
}

}  // namespace journal
