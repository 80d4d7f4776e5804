#include "tools/boardctl-journal/text.h"

#include <algorithm>

std::string printable(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7f) {
      result += c;
    } else {
      (result += "\\x").append({kDigits[byte / 16], kDigits[byte % 16]});
    }
  }
  return result;
}

std::string inQuotes(std::string_view text) {
  constexpr std::size_t kShown = 100;
  return '\'' + printable(text.substr(0, kShown)) + (text.size() > kShown ? "...'" : "'");
}

namespace {

std::string shown(const journal::Value& value) {
  if (std::holds_alternative<std::nullptr_t>(value)) return "null";
  if (const auto* number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
  if (const auto* text = std::get_if<std::string>(&value)) return inQuotes(*text);
  if (const auto* words = std::get_if<std::vector<std::uint32_t>>(&value)) {
    constexpr std::size_t kShown = 8;
    std::string list;
    for (std::size_t i = 0; i < std::min(words->size(), kShown); ++i) {
      list.append(i == 0 ? "" : ", ").append(std::to_string((*words)[i]));
    }
    return '[' + list + (words->size() > kShown ? ", ...]" : "]");
  }
  return "?";
}

}  // namespace

std::string describe(const journal::Call& call) {
  std::string text(call.point().name);
  for (std::size_t i = 0; i < call.values.size(); ++i) {
    const journal::Parameter& parameter = call.point().all[i];
    const std::string_view name = parameter.name();
    const journal::Value& value = call.values[i];
    const auto* number = std::get_if<std::int64_t>(&value);
    const bool isReserved = name.starts_with("reserved") && number != nullptr && *number == 0;
    if (value.index() == 0 || journal::isOutput(parameter.kind) || name == "size" || isReserved)
      continue;
    text.append(" ").append(name).append(" ").append(shown(value));
  }
  return text;
}

const std::string* textOf(const journal::Call& call, std::string_view parameter) {
  const journal::Value* const value = call.find(parameter);
  return value == nullptr ? nullptr : std::get_if<std::string>(value);
}

std::int64_t numberOf(const journal::Call& call, std::string_view parameter,
                      std::int64_t otherwise) {
  const journal::Value* const value = call.find(parameter);
  const auto* const number = value == nullptr ? nullptr : std::get_if<std::int64_t>(value);
  return number == nullptr ? otherwise : *number;
}

void addTable(std::string& out, const std::vector<Column>& columns,
              const std::vector<std::vector<std::string>>& rows) {
  if (rows.empty()) return;
  std::vector<std::size_t> widths;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    std::size_t& width = widths.emplace_back(columns[i].title.size());
    for (const auto& row : rows) width = std::max(width, row[i].size());
  }
  const auto addRow = [&](const auto& cellAt) {
    std::string line;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const std::string_view cell = cellAt(i);
      const std::string blanks(widths[i] - cell.size(), ' ');
      line.append(i == 0 ? "" : "  ").append(columns[i].isNumber ? blanks : "").append(cell);
      if (!columns[i].isNumber) line += blanks;
    }
    out.append(line, 0, line.find_last_not_of(' ') + 1).append("\n");
  };
  out += '\n';
  addRow([&](std::size_t i) { return columns[i].title; });
  for (const auto& row : rows) addRow([&](std::size_t i) { return std::string_view(row[i]); });
}
