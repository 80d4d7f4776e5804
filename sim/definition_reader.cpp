#include "sim/definition_reader.h"

#include <algorithm>
#include <limits>

#include "sim/fields.h"

namespace sim {
namespace {

// Interpolation multiplies the span of a walk by 2^16, which has to fit.
constexpr std::uint64_t kMaxWalkSpan = 100'000'000 * kUnit;
constexpr std::int64_t kMaxPeriodMs = 86'400'000;
constexpr std::int64_t kDefaultWalkPeriodMs = 10'000;

constexpr std::array<std::string_view, 22> kPropertyKeys{
    "value",   "serial",  "first",  "counter", "perSecond", "walk",  "periodMs", "sum",
    "average", "highest", "scale",  "offset",  "integral",  "page",  "of",       "precision",
    "hex",     "names",   "access", "range",   "unit",      "device"};

/// Reads the model of a value; `format` starts as the literals suggest.
using ModelReader = Model (*)(const NameTable&, const Node& object, const Node& member, Format&);

void widen(Format& format, const Decimal& number) {
  if (number.precision == 0) return;
  format.shape = Shape::real;
  format.precision = std::max(format.precision, number.precision);
}

Model readConstant(const NameTable& /*names*/, const Node& /*object*/, const Node& member,
                   Format& format) {
  Constant constant;
  if (member.type == JsonType::string) {
    format.shape = Shape::text;
    if (!member.text.empty()) constant.text = textOf(member);
    return constant;
  }
  const Decimal number = decimalOf(member);
  constant.number = number.value;
  widen(format, number);
  return constant;
}

Model readSerial(const NameTable& /*names*/, const Node& object, const Node& member,
                 Format& format) {
  const std::string_view pattern = textOf(member);
  const std::size_t begin = pattern.find('#');
  if (begin == std::string_view::npos) member.refuse("a serial needs a run of '#' for its number");
  const std::size_t end = std::min(pattern.find_first_not_of('#', begin), pattern.size());
  if (pattern.find('#', end) != std::string_view::npos)
    member.refuse("a serial has one run of '#'");
  format.shape = Shape::text;
  Serial serial{std::string(pattern.substr(0, begin)), end - begin,
                std::string(pattern.substr(end)), 0};
  if (const Node* first = object.find("first")) serial.first = wholeOf(*first, 0, kMaxWhole);
  return serial;
}

Model readCounter(const NameTable& /*names*/, const Node& object, const Node& member,
                  Format& format) {
  Counter counter;
  const Decimal start = decimalOf(member);
  widen(format, start);
  counter.start = start.value;
  if (const Node* rate = object.find("perSecond")) counter.perSecond = decimalOf(*rate).value;
  return counter;
}

/// Reads "[low, high]" with low <= high.
std::pair<Decimal, Decimal> readBounds(const Node& node) {
  require(node, JsonType::array);
  if (node.items.size() != 2) node.refuse("expected two numbers, the lowest and the highest");
  const Decimal low = decimalOf(node.items[0]);
  const Decimal high = decimalOf(node.items[1]);
  if (low.value > high.value) node.refuse("the lowest number comes first");
  return {low, high};
}

Model readWalk(const NameTable& /*names*/, const Node& object, const Node& member, Format& format) {
  const auto [low, high] = readBounds(member);
  // Unsigned: the difference of the outermost numbers is beyond the signed range.
  const auto span = static_cast<std::uint64_t>(high.value) - static_cast<std::uint64_t>(low.value);
  if (span > kMaxWalkSpan) member.refuse("a walk spans at most 100000000");
  widen(format, low);
  widen(format, high);
  std::int64_t period = kDefaultWalkPeriodMs;
  if (const Node* node = object.find("periodMs")) period = wholeOf(*node, 1, kMaxPeriodMs);
  return Walk{low.value, high.value, period * 1000};
}

template <Combine::Rule rule>
Model readCombine(const NameTable& names, const Node& object, const Node& member,
                  Format& /*format*/) {
  Combine combine;
  combine.rule = rule;
  if (member.type == JsonType::string) {
    combine.sources.push_back(names.propertyNamed(member));
  } else {
    require(member, JsonType::array);
    if (member.items.empty()) member.refuse("at least one property has to be named");
    for (const Node& item : member.items) combine.sources.push_back(names.propertyNamed(item));
  }
  if (const Node* scale = object.find("scale")) combine.scale = decimalOf(*scale).value;
  if (const Node* offset = object.find("offset")) combine.offset = decimalOf(*offset).value;
  return combine;
}

Model readIntegral(const NameTable& names, const Node& object, const Node& member,
                   Format& /*format*/) {
  Integral integral{names.propertyNamed(member)};
  if (const Node* scale = object.find("scale")) integral.scale = decimalOf(*scale).value;
  return integral;
}

Model readPage(const NameTable& names, const Node& object, const Node& member, Format& format) {
  const std::size_t record = names.recordNamed(requireMember(object, "of"));
  const auto pages = static_cast<std::int64_t>(names.pagesOf(record));
  format.shape = Shape::text;
  return Page{record, static_cast<int>(wholeOf(member, 0, std::max<std::int64_t>(pages, 1) - 1))};
}

/// The keys that choose a model, and the further keys that the model understands.
struct ModelRow {
  std::string_view key;
  ModelReader read;
  std::array<std::string_view, 2> options;
};

constexpr std::array kModels{
    ModelRow{"value", readConstant, {}},
    ModelRow{"serial", readSerial, {"first", ""}},
    ModelRow{"counter", readCounter, {"perSecond", ""}},
    ModelRow{"walk", readWalk, {"periodMs", ""}},
    ModelRow{"sum", readCombine<Combine::Rule::sum>, {"scale", "offset"}},
    ModelRow{"average", readCombine<Combine::Rule::average>, {"scale", "offset"}},
    ModelRow{"highest", readCombine<Combine::Rule::highest>, {"scale", "offset"}},
    ModelRow{"integral", readIntegral, {"scale", ""}},
    ModelRow{"page", readPage, {"of", ""}},
};

constexpr std::array<std::string_view, 6> kOptions{"first", "perSecond", "periodMs",
                                                   "scale", "offset",    "of"};

const ModelRow& chooseModel(const Node& object) {
  std::array<bool, kModels.size()> given{};
  std::array<const Node*, kOptions.size()> options{};
  for (const Node& member : object.items) {
    const auto model = std::ranges::find(kModels, member.key, &ModelRow::key);
    if (model != kModels.end()) given[static_cast<std::size_t>(model - kModels.begin())] = true;
    const auto option = std::ranges::find(kOptions, member.key);
    if (option == kOptions.end()) continue;
    options[static_cast<std::size_t>(option - kOptions.begin())] = &member;
  }
  const ModelRow* chosen = nullptr;
  for (std::size_t i = 0; i < kModels.size(); ++i) {
    if (!given[i]) continue;
    if (chosen != nullptr) {
      object.refuse("'" + std::string(chosen->key) + "' and '" + std::string(kModels[i].key) +
                    "' exclude each other");
    }
    chosen = &kModels[i];
  }
  if (chosen == nullptr) {
    object.refuse(
        "one of value, serial, counter, walk, sum, average, highest, integral, page is "
        "missing");
  }
  for (const Node* option : options) {
    if (option == nullptr || std::ranges::count(chosen->options, option->key) != 0) continue;
    option->refuse("'" + std::string(option->key) + "' does not go with '" +
                   std::string(chosen->key) + "'");
  }
  return *chosen;
}

void readFormat(const Node& object, Format& format) {
  const Node* precision = object.find("precision");
  const Node* hex = object.find("hex");
  const Node* names = object.find("names");
  if ((precision != nullptr) + (hex != nullptr) + (names != nullptr) > 1) {
    object.refuse("'precision', 'hex' and 'names' exclude each other");
  }
  const Node* chosen = precision != nullptr ? precision : hex != nullptr ? hex : names;
  if (chosen == nullptr) return;
  if (format.shape == Shape::text) chosen->refuse("a text has no number format");
  if (precision != nullptr) {
    format.precision = static_cast<int>(wholeOf(*precision, 0, kMaxPrecision));
    format.shape = Shape::real;
  } else if (hex != nullptr) {
    format.digits = static_cast<int>(wholeOf(*hex, 1, 8));
    format.shape = Shape::hex;
  } else {
    if (require(*names, JsonType::array).items.empty()) names->refuse("no name is given");
    for (const Node& name : names->items) format.names.emplace_back(textOf(name));
    format.shape = Shape::enumeration;
  }
}

Definition readDefinition(const NameTable& names, const Node& node) {
  Definition definition;
  if (node.type != JsonType::object) {
    definition.model = readConstant(names, node, node, definition.format);
    return definition;
  }
  const ModelRow& row = chooseModel(node);
  definition.model = row.read(names, node, *node.find(row.key), definition.format);
  readFormat(node, definition.format);
  return definition;
}

void readAccess(Property& property, const Node& node) {
  property.readable = property.writable = property.clearable = false;
  for (const char letter : textOf(node)) {
    bool* const right = letter == 'r'   ? &property.readable
                        : letter == 'w' ? &property.writable
                        : letter == 'c' ? &property.clearable
                                        : nullptr;
    if (right == nullptr || *right) node.refuse("expected letters of 'rwc', each at most once");
    *right = true;
  }
  const Model& model = property.definition.model;
  const bool settable =
      property.definition.format.shape != Shape::text &&
      (std::holds_alternative<Constant>(model) || std::holds_alternative<Counter>(model) ||
       std::holds_alternative<Walk>(model));
  if ((property.writable || property.clearable) && !settable) {
    node.refuse("only numbers of the forms value, counter and walk can be written or cleared");
  }
}

void readRange(Property& property, const Node* node) {
  const Format& format = property.definition.format;
  property.low = std::numeric_limits<std::int32_t>::min() * kUnit;
  property.high = std::numeric_limits<std::int32_t>::max() * kUnit;
  if (format.shape == Shape::enumeration) {
    property.low = 0;
    property.high = (static_cast<Micro>(format.names.size()) - 1) * kUnit;
  }
  if (node == nullptr) return;
  if (format.shape == Shape::text) node->refuse("a text has no range");
  const auto [low, high] = readBounds(*node);
  if (format.shape == Shape::enumeration && (low.value < 0 || high.value > property.high)) {
    node->refuse("the range goes beyond the names");
  }
  property.low = low.value;
  property.high = high.value;
}

}  // namespace

Definition readEntry(const NameTable& names, const Node& node) {
  if (node.type == JsonType::object) requireObject(node, std::span(kPropertyKeys).first(18));
  return readDefinition(names, node);
}

void readProperty(const NameTable& names, Property& property, const Node& node) {
  const bool plain = node.type != JsonType::object;
  if (!plain) requireObject(node, kPropertyKeys);
  property.definition = readDefinition(names, node);
  const Node* access = plain ? nullptr : node.find("access");
  if (access != nullptr) readAccess(property, *access);
  readRange(property, plain ? nullptr : node.find("range"));
  if (const Node* unit = plain ? nullptr : node.find("unit")) property.unit = textOf(*unit);
}

}  // namespace sim
