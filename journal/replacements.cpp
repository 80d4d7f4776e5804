#include "journal/replacements.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace journal {
namespace {

unsigned startOf(const char* text) {
  return static_cast<unsigned char>(text[0]) * 256U + static_cast<unsigned char>(text[1]);
}

/// The longer texts of one start come first.
auto orderOf(std::string_view text) { return std::tuple(startOf(text.data()), ~text.size(), text); }

}  // namespace

void Replacements::add(std::string from, std::string to) {
  starts_.set(startOf(from.data()));
  for (std::size_t i = 0; i < 3; ++i) parts_.set(startOf(from.data() + i));
  const auto place = std::ranges::lower_bound(pairs_, orderOf(from), {},
                                              [](const Pair& pair) { return orderOf(pair.from); });
  if (place != pairs_.end() && place->from == from) {
    place->to = std::move(to);
  } else {
    pairs_.insert(place, {std::move(from), std::move(to)});
  }
}

const Replacements::Pair* Replacements::at(std::string_view text) const {
  if (text.size() < 2 || !starts_[startOf(text.data())]) return nullptr;
  const auto find = [&](auto begin, std::size_t size, std::string_view from) {
    return std::ranges::lower_bound(begin, pairs_.end(),
                                    std::tuple(startOf(text.data()), ~size, from), {},
                                    [](const Pair& pair) { return orderOf(pair.from); });
  };
  auto pair = find(pairs_.begin(), text.size(), text);
  while (pair != pairs_.end() && startOf(pair->from.data()) == startOf(text.data())) {
    const std::size_t size = pair->from.size();
    pair = find(pair, size, text.substr(0, size));
    if (pair != pairs_.end() && text.starts_with(pair->from)) return &*pair;
    pair = find(pair, size - 1, "");
  }
  return nullptr;
}

// Every third place is enough: what begins there or up to two places before is known by its first
// four bytes.
bool Replacements::matches(std::string_view text) const {
  for (std::size_t i = 0; i + 1 < text.size(); i += 3) {
    if (!parts_[startOf(text.data() + i)]) continue;
    for (std::size_t back = 0; back <= std::min<std::size_t>(i, 2); ++back) {
      if (at(text.substr(i - back)) != nullptr) return true;
    }
  }
  return false;
}

bool Replacements::apply(std::span<char> text) const {
  bool changed = false;
  while (text.size() > 1) {
    const Pair* const pair = at({text.data(), text.size()});
    if (pair != nullptr) std::ranges::copy(pair->to, text.begin());
    changed |= pair != nullptr;
    text = text.subspan(pair == nullptr ? 1 : pair->from.size());
  }
  return changed;
}

bool Replacements::apply(std::span<std::uint32_t> words) const {
  if (empty()) return false;
  std::string bytes(words.size() * 4, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<char>(words[i / 4] >> (i % 4 * 8));
  }
  if (!apply(std::span(bytes))) return false;
  std::ranges::fill(words, 0);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    words[i / 4] |= std::uint32_t{static_cast<unsigned char>(bytes[i])} << (i % 4 * 8);
  }
  return true;
}

}  // namespace journal
