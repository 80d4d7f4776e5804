#include "sim/config/fields.h"

#include <algorithm>
#include <numeric>

#include "devmgr/properties.h"
#include "sim/base/text.h"

namespace sim {
namespace {

/// What fits the buffer for a value, with its NUL.
constexpr std::size_t kMaxText = kPropertyValueSize - 1;

/// The number of single-character changes between two words.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t above = row[j];
      row[j] = std::min({above + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0U : 1U)});
      diagonal = above;
    }
  }
  return row.back();
}

[[noreturn]] void rejectRange(const Node& node, std::int64_t low, std::int64_t high) {
  node.reject(shortened(node.text) + " is not in " + std::to_string(low) + ".." +
              std::to_string(high));
}

}  // namespace

const Node& require(const Node& node, JsonType type) {
  if (node.type != type) {
    node.reject("expected " + std::string(describe(type)) + ", found " +
                std::string(describe(node.type)));
  }
  return node;
}

std::string_view textOf(const Node& node) {
  const std::string_view text = require(node, JsonType::string).text;
  if (text.empty()) node.reject("the text is empty");
  if (text.size() > kMaxText) {
    node.reject("the text is longer than " + std::to_string(kMaxText) + " bytes");
  }
  if (!isPrintable(text)) node.reject("the text contains a control character");
  return text;
}

std::int64_t wholeOf(const Node& node, std::int64_t low, std::int64_t high) {
  const Spelled number = parseNumber(require(node, JsonType::number).text);
  if (!number.isMultipleOf(0))
    node.reject("expected a whole number, found " + shortened(node.text));
  const std::optional<std::int64_t> value = number.inUnitsOf(0);
  if (!value || *value < low || *value > high) rejectRange(node, low, high);
  return *value;
}

Decimal decimalOf(const Node& node) {
  const Spelled number = parseNumber(require(node, JsonType::number).text);
  if (number.precision > kMaxPrecision) {
    node.reject(shortened(node.text) + " has more than 6 digits after the point");
  }
  const std::optional<Fixed> value = number.inUnitsOf(-kMaxPrecision);
  if (!value || *value < -kMaxWhole * kOne || *value > kMaxWhole * kOne) {
    rejectRange(node, -kMaxWhole, kMaxWhole);
  }
  return {*value, static_cast<int>(number.precision)};
}

Time timeOf(const Node& node, std::int64_t lowMs, std::int64_t highMs) {
  return wholeOf(node, lowMs, highMs) * kMillisecond;
}

bool truthOf(const Node& node) { return require(node, JsonType::boolean).truth; }

std::size_t wordOf(const Node& node, std::span<const std::string_view> words,
                   std::string_view what) {
  const std::string_view text = require(node, JsonType::string).text;
  const auto found = std::ranges::find(words, text);
  if (found == words.end()) {
    node.reject(inQuotes(text) + " is not " + std::string(what) + suggestion(text, words));
  }
  return static_cast<std::size_t>(found - words.begin());
}

std::string suggestion(std::string_view typed, std::span<const std::string_view> words) {
  constexpr std::size_t kLongest = 200;
  if (typed.size() > kLongest) return "";
  std::string_view nearest;
  std::size_t fewest = std::max<std::size_t>(typed.size() / 2, 2) + 1;
  for (const std::string_view word : words) {
    // It takes at least as many changes as one of them is longer.
    if (typed.size() + fewest <= word.size() || word.size() + fewest <= typed.size()) continue;
    if (const std::size_t changes = distance(typed, word); changes < fewest) {
      fewest = changes;
      nearest = word;
    }
  }
  return nearest.empty() ? "" : "; did you mean " + inQuotes(nearest) + "?";
}

void rejectName(const Node& node, std::string_view what, std::span<const std::string_view> names) {
  node.reject("no " + std::string(what) + " is named " + inQuotes(node.text) +
              suggestion(node.text, names));
}

void rejectWithout(const Node& object, std::span<const std::string_view> keys) {
  std::string list;
  for (const std::string_view key : keys) list.append(list.empty() ? "" : ", ").append(key);
  object.reject("one of " + list + " is missing");
}

const Node& requireObject(const Node& node, std::span<const std::string_view> known) {
  require(node, JsonType::object);
  for (const Node& member : node.items) {
    if (std::ranges::find(known, member.key) == known.end()) {
      member.reject("unknown key " + inQuotes(member.key) + suggestion(member.key, known));
    }
  }
  return node;
}

const Node& requireDocument(const Node& node, std::span<const std::string_view> known) {
  requireObject(node, known);
  for (const std::string_view key : {"$schema", "about"}) {
    if (const Node* text = node.find(key)) textOf(*text);
  }
  return node;
}

const Node& requireMember(const Node& object, std::string_view key) {
  const Node* member = object.find(key);
  if (member == nullptr) object.reject("the key '" + std::string(key) + "' is missing");
  return *member;
}

}  // namespace sim
