#include "tools/boardctl-journal/values.h"

#include <algorithm>
#include <optional>

#include "devmgr/properties.h"
#include "sim/base/decimal.h"
#include "sim/base/text.h"
#include "tools/boardctl-journal/text.h"

namespace {

using journal::Call;
using sim::Decimal;

/// The number that the board would print as that text.
std::optional<Decimal> numberIn(const std::string& text) {
  const sim::Spelled spelled = sim::parseNumber(text);
  if (spelled.precision > sim::kMaxPrecision) return {};
  const auto value = spelled.inUnitsOf(-sim::kMaxPrecision);
  const sim::Fixed limit = sim::kMaxWhole * sim::kOne;
  if (!value || *value < -limit || *value > limit) return {};
  const auto precision = static_cast<int>(spelled.precision);
  if (sim::formatDecimal(*value, precision) != text) return {};
  return Decimal{*value, precision};
}

ValueModel constantOf(const Call& call) {
  const std::string& text = *textOf(call, "value");
  if (numberIn(text)) return {text, true, ""};
  if (call.unterminated) return {"", false, "the text has no NUL"};
  if (text.size() >= kPropertyValueSize) return {"", false, "the text is too long"};
  if (!sim::isPrintable(text)) return {"", false, "the text is not printable UTF-8"};
  return {jsonText(text), false, ""};
}

/// A counter that begins with the last of the numbers and goes on at their pace.
std::optional<ValueModel> counterOf(const std::vector<const Call*>& reads) {
  std::vector<std::pair<std::int64_t, sim::Fixed>> rises;
  const Call* const last = reads.back();
  const auto latest = numberIn(*textOf(*last, "value"));
  for (const Call* read : reads) {
    const auto number = numberIn(*textOf(*read, "value"));
    if (!number || number->precision != latest->precision) return {};
    if (!rises.empty() && number->value < rises.back().second) return {};
    const bool rose = rises.empty() || number->value > rises.back().second;
    if (rose && (rises.empty() || read->at > rises.back().first)) {
      rises.emplace_back(read->at, number->value);
    } else if (rose) {
      return {};
    }
  }
  if (rises.size() < 3) return {};
  const auto micros = static_cast<double>(last->at - rises.front().first);
  const double perSecond = static_cast<double>(latest->value - rises.front().second) / micros;
  const double limit = static_cast<double>(sim::kMaxWhole);
  const auto rate = static_cast<sim::Fixed>(std::min(perSecond, limit) * sim::kOne);
  return ValueModel{"{ \"counter\": " + *textOf(*last, "value") +
                        ", \"perSecond\": " + sim::formatDecimal(rate, sim::kMaxPrecision) + " }",
                    true, ""};
}

}  // namespace

std::string jsonText(std::string_view text) {
  std::string json = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') json += '\\';
    json += c;
  }
  return json + '"';
}

ValueModel modelOf(const std::vector<const Call*>& reads, bool mayCount) {
  ValueModel constant = constantOf(*reads.back());
  if (!mayCount || !constant.isNumber) return constant;
  return counterOf(reads).value_or(constant);
}
