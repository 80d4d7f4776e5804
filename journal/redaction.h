#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "journal/replacements.h"

namespace journal {

/// For a line of a journal, which keeps its length: a token that has become shorter gets blanks,
/// and one that would be longer is emptied.
std::string applyInPlace(const Replacements& replacements, std::string_view line);

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
  [[gnu::cold]] std::optional<Replacements> learn(std::string_view value);

  [[nodiscard]] bool isFull() const { return known_.size() >= kMostValues; }

  /// A line of a journal with pseudonyms in the place of identities, in texts and words. Names of
  /// members, entry points and build ids stay.
  [[nodiscard, gnu::cold]] std::string apply(std::string_view line) const;

  /// Whether `apply` certainly leaves these members of a line as they are. Takes much less time
  /// than `apply`; holds for nearly every line. It goes on to hold until `size` changes.
  [[nodiscard]] bool leaves(std::string_view members) const;

  /// How many values have been learned.
  [[nodiscard]] std::size_t size() const { return known_.size(); }

 private:
  std::string fresh(const std::string& value, bool isShort);

  /// How many pseudonyms texts of these classes have got.
  struct Count {
    std::string classes;
    std::uint64_t number = 0;
  };

  std::map<std::string, std::string, std::less<>> known_;
  std::map<std::string, std::string, std::less<>> used_;  ///< Whose each pseudonym is or was.
  std::vector<Count> counts_;
  Replacements now_;
  bool hasShort_ = false;
};

}  // namespace journal
