#include "sim/library/replay_text.h"

#include <algorithm>

namespace sim {
namespace {

using journal::Value;

constexpr std::size_t kShownBytes = 60;
constexpr std::size_t kShownWords = 16;

std::string textOf(const std::string& text) {
  return '\'' + text.substr(0, kShownBytes) + (text.size() > kShownBytes ? "...'" : "'");
}

std::string textOf(const std::vector<std::uint32_t>& words) {
  std::string text = "[";
  for (std::size_t i = 0; i < std::min(words.size(), kShownWords); ++i) {
    text.append(i == 0 ? "" : " ").append(std::to_string(words[i]));
  }
  return text + (words.size() > kShownWords ? " ...]" : "]");
}

std::string textOf(const Value& value) {
  if (const auto* const number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
  if (const auto* const text = std::get_if<std::string>(&value)) return textOf(*text);
  if (const auto* const words = std::get_if<std::vector<std::uint32_t>>(&value)) {
    return textOf(*words);
  }
  return "null";
}

bool isAlwaysTheSame(std::string_view name) {
  return name.starts_with("reserved") || name == "size" || name == "flag";
}

/// `inputAt`: the value of the parameter at a position.
template <class InputAt>
std::string describe(journal::Entry entry, InputAt inputAt) {
  const journal::EntryPoint& point = journal::entryPoint(entry);
  std::string text(point.name);
  std::string_view before = "(";
  for (std::size_t i = 0; i < point.count; ++i) {
    const std::string_view name = point.all[i].name();
    if (journal::isOutput(point.all[i].kind) || isAlwaysTheSame(name)) continue;
    text.append(before).append(name).append(" ").append(textOf(inputAt(i)));
    before = ", ";
  }
  return text + (before == "(" ? "()" : ")");
}

}  // namespace

std::string textOf(const journal::Call& call) {
  return describe(call.entry, [&](std::size_t place) { return call.values.at(place); });
}

std::string textOf(const journal::Capture& capture) {
  return describe(capture.entry(), [&](std::size_t place) { return capture.input(place); });
}

std::string whatDiffers(const journal::Call& recorded, const journal::Capture& capture) {
  if (recorded.entry != capture.entry()) return "another function";
  const std::string_view name = capture.difference(recorded);
  const std::size_t place = recorded.point().find(name);
  return '\'' + std::string(name) + "' is " + textOf(capture.input(place)) + " instead of " +
         textOf(recorded.values.at(place));
}

}  // namespace sim
