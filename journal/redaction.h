#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
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
  void add(std::string from, std::string to);

  /// Whether something in the text would be replaced.
  [[nodiscard]] bool matches(std::string_view text) const;

  /// Returns whether the text has changed.
  bool apply(std::span<char> text) const;

  /// The same for the bytes of words in little-endian order, wherever they begin in a word.
  bool apply(std::span<std::uint32_t> words) const;

  /// For a line of a journal, which keeps its length: a token that has become shorter gets blanks,
  /// and one that would be longer is emptied.
  [[nodiscard]] std::string applyInPlace(std::string_view line) const;

 private:
  struct Pair {
    std::string from, to;
  };

  [[nodiscard]] const Pair* at(std::string_view text) const;

  std::vector<Pair> pairs_;        ///< By their first two bytes, the longer first.
  std::bitset<1U << 16U> starts_;  ///< The first two bytes.
  std::bitset<1U << 16U> parts_;   ///< Two bytes each of the first four.
};

/// The pseudonyms of the identities in one recording. The same value always gets the same
/// pseudonym, and two values never do. A pseudonym keeps the length, and of each character the
/// class: digit, upper or lower case, hexadecimal digit. Nothing is drawn by lot, so the same
/// recording gets the same pseudonyms again.
///
/// A "0x" in front does not belong to an identity. Hexadecimal digits are replaced in both cases,
/// and from 16 of them on as bytes as well, in both orders. A value with fewer than four letters
/// and digits is replaced only where it is the whole value of a property that holds an identity.
///
/// May throw `std::bad_alloc`, and is of no use after that. Threads: the caller locks.
class Redaction {
 public:
  /// How many values a recording may hold; further ones are not learned.
  static constexpr std::size_t kMostValues = 1024;

  /// Learns the value of a property for which `PropertyCatalogue::isIdentity` holds; blanks around
  /// it do not count. Returns what is to be replaced in the lines so far, if there is anything:
  /// they may hold the value, or a pseudonym that looks like it, whose owner has got another.
  std::optional<Replacements> learn(std::string_view value);

  [[nodiscard]] bool isFull() const { return known_.size() >= kMostValues; }

  /// A line of a journal with pseudonyms in the place of identities, in texts and words. Names of
  /// members, entry points and build ids stay.
  void apply(std::string& line) const;
  [[nodiscard]] std::string apply(std::string_view line) const {
    std::string changed(line);
    apply(changed);
    return changed;
  }

 private:
  std::string fresh(const std::string& value, bool isShort);

  std::map<std::string, std::string, std::less<>> known_;
  std::set<std::string, std::less<>> used_;
  std::map<std::string, std::uint64_t> numbers_;
  Replacements now_;
  bool hasShort_ = false;
};

}  // namespace journal
