#include "sim/config/value_reader.h"

#include <algorithm>
#include <limits>
#include <span>
#include <vector>

#include "sim/config/fields.h"

namespace sim {
namespace {

// Interpolation multiplies the span of a walk by 2^16, which has to fit.
constexpr std::uint64_t kMaxWalkSpan = 100'000'000 * kOne;
constexpr std::int64_t kMaxPeriodMs = 86'400'000;
constexpr std::int64_t kDefaultWalkPeriodMs = 10'000;

/// Reads the model of a value; `format` starts as the literals suggest.
using ModelReader = Model (*)(const DefinedNames&, const Node& object, const Node& member, Format&);

void widen(Format& format, const Decimal& number) {
  if (number.precision == 0) return;
  format.kind = Format::Kind::real;
  format.precision = std::max(format.precision, number.precision);
}

Model readConstant(const DefinedNames& /*names*/, const Node& /*object*/, const Node& member,
                   Format& format) {
  Constant constant;
  if (member.type == JsonType::string) {
    format.kind = Format::Kind::text;
    if (!member.text.empty()) constant.text = textOf(member);
    return constant;
  }
  const Decimal number = decimalOf(member);
  constant.number = number.value;
  widen(format, number);
  return constant;
}

Model readSerial(const DefinedNames& /*names*/, const Node& object, const Node& member,
                 Format& format) {
  const std::string_view pattern = textOf(member);
  const std::size_t begin = pattern.find('#');
  if (begin == std::string_view::npos) member.reject("a serial needs a run of '#' for its number");
  const std::size_t end = std::min(pattern.find_first_not_of('#', begin), pattern.size());
  if (pattern.find('#', end) != std::string_view::npos)
    member.reject("a serial may have only one run of '#'");
  format.kind = Format::Kind::text;
  Serial serial{std::string(pattern), begin, end - begin, 0};
  if (const Node* first = object.find("first")) serial.first = wholeOf(*first, 0, kMaxWhole);
  return serial;
}

Model readCounter(const DefinedNames& /*names*/, const Node& object, const Node& member,
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
  if (node.items.size() != 2) node.reject("expected two numbers, the lowest and the highest");
  const Decimal low = decimalOf(node.items[0]);
  const Decimal high = decimalOf(node.items[1]);
  if (low.value > high.value) node.reject("the bounds are in the wrong order");
  return {low, high};
}

Model readRandomWalk(const DefinedNames& /*names*/, const Node& object, const Node& member,
                     Format& format) {
  const auto [low, high] = readBounds(member);
  // Unsigned: the difference of the outermost numbers is beyond the signed range.
  const auto span = static_cast<std::uint64_t>(high.value) - static_cast<std::uint64_t>(low.value);
  if (span > kMaxWalkSpan) member.reject("a walk may span at most 100000000");
  widen(format, low);
  widen(format, high);
  std::int64_t period = kDefaultWalkPeriodMs;
  if (const Node* node = object.find("periodMs")) period = wholeOf(*node, 1, kMaxPeriodMs);
  return RandomWalk{low.value, high.value, period * 1000};
}

template <Aggregate::Rule rule>
Model readAggregate(const DefinedNames& names, const Node& object, const Node& member,
                    Format& /*format*/) {
  Aggregate aggregate;
  aggregate.rule = rule;
  if (member.type == JsonType::string) {
    aggregate.sources.push_back(names.propertyNamed(member));
  } else {
    require(member, JsonType::array);
    if (member.items.empty()) member.reject("expected at least one property name");
    for (const Node& item : member.items) aggregate.sources.push_back(names.propertyNamed(item));
  }
  if (const Node* scale = object.find("scale")) aggregate.scale = decimalOf(*scale).value;
  if (const Node* offset = object.find("offset")) aggregate.offset = decimalOf(*offset).value;
  return aggregate;
}

Model readIntegral(const DefinedNames& names, const Node& object, const Node& member,
                   Format& /*format*/) {
  Integral integral{names.propertyNamed(member)};
  if (const Node* scale = object.find("scale")) integral.scale = decimalOf(*scale).value;
  return integral;
}

Model readPage(const DefinedNames& names, const Node& object, const Node& member, Format& format) {
  const std::size_t record = names.recordNamed(requireMember(object, "of"));
  const auto pages = static_cast<std::int64_t>(names.pagesOf(record));
  format.kind = Format::Kind::text;
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
    ModelRow{"walk", readRandomWalk, {"periodMs", ""}},
    ModelRow{"sum", readAggregate<Aggregate::Rule::sum>, {"scale", "offset"}},
    ModelRow{"average", readAggregate<Aggregate::Rule::average>, {"scale", "offset"}},
    ModelRow{"highest", readAggregate<Aggregate::Rule::highest>, {"scale", "offset"}},
    ModelRow{"integral", readIntegral, {"scale", ""}},
    ModelRow{"page", readPage, {"of", ""}},
};

constexpr auto kFormatKeys = std::to_array<std::string_view>({"precision", "hex", "names"});
constexpr auto kPropertyOnlyKeys =
    std::to_array<std::string_view>({"access", "range", "unit", "device"});

/// The keys of a property, or of the value of something else.
std::span<const std::string_view> knownKeys(bool ofProperty) {
  static const auto keys = [] {
    std::vector<std::string_view> all;
    for (const ModelRow& row : kModels) {
      all.push_back(row.key);
      for (const std::string_view option : row.options) {
        if (!option.empty() && std::ranges::count(all, option) == 0) all.push_back(option);
      }
    }
    all.insert(all.end(), kFormatKeys.begin(), kFormatKeys.end());
    all.insert(all.end(), kPropertyOnlyKeys.begin(), kPropertyOnlyKeys.end());
    return all;
  }();
  return std::span(keys).first(keys.size() - (ofProperty ? 0 : kPropertyOnlyKeys.size()));
}

/// The first model that is named; every other key has to go with it. All keys are known ones.
const ModelRow& chooseModel(const Node& object) {
  const ModelRow* chosen = nullptr;
  for (auto member = object.items.begin(); member != object.items.end() && !chosen; ++member) {
    const auto row = std::ranges::find(kModels, member->key, &ModelRow::key);
    if (row != kModels.end()) chosen = &*row;
  }
  if (chosen == nullptr) {
    std::array<std::string_view, kModels.size()> keys;
    std::ranges::transform(kModels, keys.begin(), &ModelRow::key);
    rejectWithout(object, keys);
  }
  const auto isAmong = [](std::span<const std::string_view> keys, std::string_view key) {
    return std::ranges::find(keys, key) != keys.end();
  };
  for (const Node& member : object.items) {
    if (member.key == chosen->key || isAmong(chosen->options, member.key) ||
        isAmong(kFormatKeys, member.key) || isAmong(kPropertyOnlyKeys, member.key)) {
      continue;
    }
    member.reject("'" + std::string(member.key) + "' cannot be combined with '" +
                  std::string(chosen->key) + "'");
  }
  return *chosen;
}

void readFormat(const Node& object, Format& format) {
  const auto [precision, hex, names] = std::array{
      object.find(kFormatKeys[0]), object.find(kFormatKeys[1]), object.find(kFormatKeys[2])};
  if ((precision != nullptr) + (hex != nullptr) + (names != nullptr) > 1) {
    object.reject("'precision', 'hex' and 'names' cannot be combined");
  }
  const Node* chosen = precision != nullptr ? precision : hex != nullptr ? hex : names;
  if (chosen == nullptr) return;
  if (format.isText()) chosen->reject("a text cannot have a number format");
  if (precision != nullptr) {
    format.precision = static_cast<int>(wholeOf(*precision, 0, kMaxPrecision));
    format.kind = Format::Kind::real;
  } else if (hex != nullptr) {
    format.digits = static_cast<int>(wholeOf(*hex, 1, 8));
    format.kind = Format::Kind::hex;
  } else {
    if (require(*names, JsonType::array).items.empty()) names->reject("expected at least one name");
    for (const Node& name : names->items) format.names.emplace_back(textOf(name));
    format.kind = Format::Kind::enumeration;
  }
}

/// The numbers between which a value begins; nothing for one that is computed from others.
std::vector<Fixed> startOf(const Model& model) {
  if (const auto* constant = std::get_if<Constant>(&model)) return {constant->number};
  if (const auto* counter = std::get_if<Counter>(&model)) return {counter->start};
  if (const auto* walk = std::get_if<RandomWalk>(&model)) return {walk->low, walk->high};
  return {};
}

Definition readDefinition(const DefinedNames& names, const Node& node) {
  Definition definition;
  if (node.type != JsonType::object) {
    definition.model = readConstant(names, node, node, definition.format);
    return definition;
  }
  const ModelRow& row = chooseModel(node);
  const Node& member = *node.find(row.key);
  definition.model = row.read(names, node, member, definition.format);
  readFormat(node, definition.format);
  for (const Fixed number : startOf(definition.model)) {
    requireWord(member, definition.format, number);
  }
  return definition;
}

void readAccess(Property& property, const Node& node) {
  property.readable = property.writable = property.clearable = false;
  for (const char letter : textOf(node)) {
    bool* const right = letter == 'r'   ? &property.readable
                        : letter == 'w' ? &property.writable
                        : letter == 'c' ? &property.clearable
                                        : nullptr;
    if (right == nullptr || *right) node.reject("expected letters of 'rwc', each at most once");
    *right = true;
  }
  const Model& model = property.definition.model;
  const bool settable =
      !property.definition.format.isText() &&
      (std::holds_alternative<Constant>(model) || std::holds_alternative<Counter>(model) ||
       std::holds_alternative<RandomWalk>(model));
  if ((property.writable || property.clearable) && !settable) {
    node.reject("only numbers of the forms value, counter and walk can be written or cleared");
  }
}

void readRange(Property& property, const Node* node) {
  const Format& format = property.definition.format;
  property.low = std::numeric_limits<std::int32_t>::min() * kOne;
  property.high = std::numeric_limits<std::int32_t>::max() * kOne;
  if (format.kind == Format::Kind::enumeration) {
    property.low = 0;
    property.high = (static_cast<Fixed>(format.names.size()) - 1) * kOne;
  }
  if (node == nullptr) return;
  if (format.isText()) node->reject("a text cannot have a range");
  const auto [low, high] = readBounds(*node);
  if (format.kind == Format::Kind::enumeration && (low.value < 0 || high.value > property.high)) {
    node->reject("the range exceeds the list of names");
  }
  property.low = low.value;
  property.high = high.value;
}

}  // namespace

void requireWord(const Node& node, const Format& format, Fixed number) {
  if (format.covers(number)) return;
  node.reject(formatDecimal(number, 0) + " is not in 0.." +
              std::to_string(format.names.size() - 1) + ", the places in 'names'");
}

Definition readValue(const DefinedNames& names, const Node& node) {
  if (node.type == JsonType::object) requireObject(node, knownKeys(false));
  return readDefinition(names, node);
}

Property readProperty(const DefinedNames& names, const Node& node) {
  if (node.type == JsonType::object) requireObject(node, knownKeys(true));
  Property property;
  property.name = node.key;
  property.definition = readDefinition(names, node);
  if (const Node* access = node.find("access")) readAccess(property, *access);
  readRange(property, node.find("range"));
  if (const Node* unit = node.find("unit")) property.unit = textOf(*unit);
  return property;
}

}  // namespace sim
