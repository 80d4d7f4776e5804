#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace PropertyCatalogue {

/// What the names of properties contain, in any case, whose values tell one board from all others:
/// serial numbers, global identifiers, and what a part was made as and when.
inline constexpr std::string_view kIdentityWords[] = {
    "serial",  "guid",    "uuid",      "partnumber",        "assettag",
    "boardid", "buildid", "builddate", "manufacturingdate",
};

namespace identity_words {

constexpr char toLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

/// The last four letters, in lower case, one in each byte.
constexpr std::uint32_t with(std::uint32_t letters, char next) {
  return letters << 8U | static_cast<unsigned char>(next) | 0x20U;
}
/// Names are looked at with every read, and hold hardly any place that is worth a second look.
constexpr std::uint64_t bitOf(std::uint32_t letters) {
  return std::uint64_t{1} << ((letters * 0x9E3779B1U) >> 26U);
}

constexpr auto startsOfWords() {
  std::array<std::uint32_t, std::size(kIdentityWords)> starts = {};
  for (std::size_t i = 0; i < starts.size(); ++i) {
    for (const char c : kIdentityWords[i].substr(0, 4)) starts[i] = with(starts[i], c);
  }
  return starts;
}
inline constexpr auto kStarts = startsOfWords();

constexpr std::uint64_t bitsOfStarts() {
  std::uint64_t bits = 0;
  for (const std::uint32_t start : kStarts) bits |= bitOf(start);
  return bits;
}
inline constexpr std::uint64_t kBits = bitsOfStarts();

}  // namespace identity_words

/// Whether the value of that property is an identity.
constexpr bool isIdentity(std::string_view propertyName) {
  std::uint32_t last = 0;
  for (std::size_t i = 0; i < propertyName.size(); ++i) {
    last = identity_words::with(last, propertyName[i]);
    if ((identity_words::kBits & identity_words::bitOf(last)) == 0) continue;
    for (std::size_t word = 0; word < std::size(kIdentityWords); ++word) {
      if (last != identity_words::kStarts[word]) continue;
      const std::string_view part = propertyName.substr(i - 3, kIdentityWords[word].size());
      if (std::ranges::equal(kIdentityWords[word], part, {}, {}, identity_words::toLower)) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace PropertyCatalogue
