#include "catalogue/identities.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace PropertyCatalogue {
namespace {

constexpr std::string_view kIdentityWords[] = {
    "serial",  "guid",    "uuid",      "partnumber",        "assettag",
    "boardid", "buildid", "builddate", "manufacturingdate",
};

constexpr unsigned lower(char c) { return static_cast<unsigned char>(c) | 0x20U; }
constexpr bool isAt(std::string_view word, std::string_view text) {
  return lower(word[0]) == lower(text[0]) &&
         std::ranges::equal(word, text.substr(0, word.size()), {}, lower, lower);
}

/// By a letter, those that may follow it, where both are among the first four of a word; a bit
/// each. Names are looked at with every read, and few of their places hold such a pair.
constexpr auto followersOfLetters() {
  std::array<std::uint32_t, 32> followers = {};
  for (const std::string_view word : kIdentityWords) {
    for (std::size_t i = 0; i < 3; ++i)
      followers[lower(word[i]) % 32] |= 1U << lower(word[i + 1]) % 32;
  }
  return followers;
}
constexpr auto kFollowers = followersOfLetters();

constexpr std::uint32_t firstLetters() {
  std::uint32_t letters = 0;
  for (const std::string_view word : kIdentityWords) letters |= 1U << lower(word[0]) % 32;
  return letters;
}
constexpr std::uint32_t kFirstLetters = firstLetters();

constexpr bool mayBegin(char one, char next) {
  return (kFollowers[lower(one) % 32] >> lower(next) % 32 & 1U) != 0;
}

}  // namespace

bool isIdentity(std::string_view propertyName) {
  // Of the three pairs that a word begins with, one is at every third place.
  for (std::size_t i = 0; i + 1 < propertyName.size(); i += 3) {
    if (!mayBegin(propertyName[i], propertyName[i + 1])) continue;
    for (std::size_t start = i - std::min<std::size_t>(i, 2); start <= i; ++start) {
      if ((kFirstLetters >> lower(propertyName[start]) % 32 & 1U) == 0) continue;
      const std::string_view rest = propertyName.substr(start);
      for (const std::string_view word : kIdentityWords) {
        if (isAt(word, rest)) return true;
      }
    }
  }
  return false;
}

}  // namespace PropertyCatalogue
