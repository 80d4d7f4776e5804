#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace journal {

/// Byte strings and what takes the place of each, of the same length. Where several begin at one
/// place the longest is replaced, and what was put in is not looked at again.
class Replacements {
 public:
  [[nodiscard]] bool empty() const { return pairs_.empty(); }

  /// From now on `from`, of at least four bytes, is replaced by `to`.
  [[gnu::cold]] void add(std::string from, std::string to);

  /// Whether something in the text would be replaced.
  [[nodiscard]] bool matches(std::string_view text) const;

  /// Returns whether the text has changed.
  [[gnu::cold]] bool apply(std::span<char> text) const;

  /// The same for the bytes of words in little-endian order, wherever they begin in a word.
  [[gnu::cold]] bool apply(std::span<std::uint32_t> words) const;

 private:
  struct Pair {
    std::string from, to;
  };

  [[nodiscard]] const Pair* at(std::string_view text) const;

  std::vector<Pair> pairs_;        ///< By their first two bytes, the longer first.
  std::bitset<1U << 16U> starts_;  ///< The first two bytes.
  std::bitset<1U << 16U> parts_;   ///< Two bytes each of the first four.
};

}  // namespace journal
