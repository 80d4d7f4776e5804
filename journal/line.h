#pragma once

#include <cstddef>
#include <cstdint>
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

  Line& add(std::string_view key, std::int64_t number);
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
    std::string text;
    appendTo(text);
    return text;
  }
  void appendTo(std::string& text) const { text.append(text_).append(depth_, '}'); }

 private:
  void addKey(std::string_view key);
  void addQuoted(std::string_view text);

  std::string text_;
  std::size_t depth_ = 1;
};

}  // namespace journal
