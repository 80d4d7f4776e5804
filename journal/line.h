#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace journal {

/// The longest line that a reader takes, without its newline.
inline constexpr std::size_t kMaxLineSize = std::size_t{16} << 20U;

/// One line of JSON under construction: an object whose members appear in the order in which they
/// are added. Texts come out in ASCII: every other byte is written as the character of its number,
/// so that any bytes make a valid line. Keys are written as they are. May throw `std::bad_alloc`.
class Line {
 public:
  Line();
  Line(Line&&) = default;
  Line& operator=(Line&&) = default;

  Line& add(std::string_view key, std::int64_t number);
  Line& addUnsigned(std::string_view key, std::uint64_t number);
  Line& add(std::string_view key, std::string_view text);
  Line& add(std::string_view key, std::span<const std::uint32_t> words);
  Line& add(std::string_view key, std::span<const std::string> texts);
  /// Adds a member that is JSON already.
  Line& addRaw(std::string_view key, std::string_view json);

  /// The members that follow, up to `close`, belong to an object of that name.
  Line& open(std::string_view key);
  Line& close();

  /// The object so far, with everything closed and without a newline.
  [[nodiscard]] std::string text() const {
    return std::string(buffer_.get(), size()).append(depth_, '}');
  }
  /// The same with a newline, until the next change.
  std::string_view whole();
  /// The size of the object so far, without what closes it.
  [[nodiscard]] std::size_t size() const { return static_cast<std::size_t>(end_ - buffer_.get()); }

 private:
  /// Makes room for so many characters.
  void reserve(std::size_t count) {
    if (capacity_ - size() < count) grow(count);
  }
  void grow(std::size_t count);
  void add(char c) { *end_++ = c; }
  void copy(std::string_view text) { end_ += text.copy(end_, text.size()); }
  void addKey(std::string_view key);
  void addQuoted(std::string_view text);
  void addNumber(std::int64_t number);
  template <class List, class Add>
  void addList(const List& list, Add addItem);

  std::size_t capacity_;
  std::unique_ptr<char[]> buffer_;
  char* end_;  ///< In the buffer, behind what has been added.
  std::size_t depth_ = 1;
};

}  // namespace journal
