#include <algorithm>
#include <functional>
#include <optional>
#include <set>

#include "catalogue/identities.h"
#include "journal/parser.h"
#include "tools/boardctl-journal/commands.h"
#include "tools/boardctl-journal/files.h"
#include "tools/boardctl-journal/text.h"

namespace {

using journal::Call;
using Take = std::function<void(std::string_view)>;

/// Members of a line whose values say nothing of the board.
constexpr std::string_view kNeverIdentities[] = {"call", "clock", "end", "library", "tool"};

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isAlphanumeric(char c) { return isDigit(c) || isUpper(c) || (c >= 'a' && c <= 'z'); }
bool isHex(char c) { return isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }

void split(std::string_view text, char separator, const Take& take) {
  for (std::size_t end = 0; end != std::string_view::npos;) {
    end = text.find(separator);
    take(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

/// Whether it consists of groups of hexadecimal digits of these sizes.
bool hasGroups(std::string_view text, char separator, const std::vector<std::size_t>& sizes) {
  std::vector<std::size_t> found;
  bool hex = true;
  split(text, separator, [&](std::string_view group) {
    hex &= std::ranges::all_of(group, isHex);
    found.push_back(group.size());
  });
  return hex && found == sizes;
}

/// 64 or 128 bits in hexadecimal that are neither a small number nor a mask.
bool isPlainGuid(std::string_view text) {
  const bool prefixed = text.starts_with("0x") || text.starts_with("0X");
  if (prefixed) text.remove_prefix(2);
  if (text.size() != 16 && text.size() != 32) return false;
  if (!std::ranges::all_of(text, isHex) || text.starts_with("0000")) return false;
  return std::set<char>(text.begin(), text.end()).size() >= 4 &&
         (prefixed || !std::ranges::all_of(text, isDigit));
}

bool isSerial(std::string_view text) {
  const auto digits = std::ranges::count_if(text, isDigit);
  const auto letters = std::ranges::count_if(text, isUpper);
  const auto dashes = std::ranges::count(text, '-');
  return digits >= 4 && letters >= 2 && digits + letters >= 8 &&
         static_cast<std::size_t>(digits + letters + dashes) == text.size();
}

/// What kind of identity a word looks like; empty when it looks like none.
std::string_view formOf(std::string_view word) {
  if (hasGroups(word, '-', {8, 4, 4, 4, 12})) return "a UUID";
  if (hasGroups(word, ':', {2, 2, 2, 2, 2, 2})) return "a hardware address";
  if (hasGroups(word, ':', std::vector<std::size_t>(8, 2)) || hasGroups(word, ':', {4, 4, 4, 4}) ||
      isPlainGuid(word)) {
    return "a GUID";
  }
  if (!isSerial(word)) return "";
  return word.find('-') == std::string_view::npos ? "a serial number" : "a part number";
}

/// Takes the words of a text that have some form of an identity.
void findForms(std::string_view text, const Take& take) {
  const auto isPart = [](char c) { return isAlphanumeric(c) || c == '-' || c == ':'; };
  for (auto begin = text.begin(); begin != text.end();) {
    begin = std::find_if(begin, text.end(), isPart);
    const auto end = std::find_if_not(begin, text.end(), isPart);
    const std::string_view run(begin, end);
    begin = end;
    if (!formOf(run).empty()) {
      take(run);
      continue;
    }
    split(run, ':', [&](std::string_view word) {
      const std::size_t first = std::min(word.find_first_not_of('-'), word.size());
      word.remove_prefix(first);
      word = word.substr(0, word.find_last_not_of('-') + 1);
      if (!formOf(word).empty()) take(word);
    });
  }
}

/// A list of words as bytes; nothing if it holds anything else.
std::optional<std::string> bytesAt(const journal::Parser& line, std::size_t place) {
  try {
    std::string bytes;
    for (const std::uint32_t word : line.wordsAt(place)) {
      for (unsigned shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(word >> shift);
    }
    return bytes;
  } catch (const journal::Error&) {
    return {};
  }
}

/// Takes the texts of a value in a line and, as bytes, its lists of words.
void findTexts(const journal::Parser& line, std::size_t place, const Take& take) {
  const char first = line.firstAt(place);
  if (first == '"') {
    take(line.textAt(place));
  } else if (first == '{') {
    for (const auto& member : line.objectAt(place).members) findTexts(line, member.place, take);
  } else if (first == '[') {
    if (const auto bytes = bytesAt(line, place)) return take(*bytes);
    for (const std::size_t item : line.itemsAt(place)) findTexts(line, item, take);
  }
}

/// The value that a call has left of a property that holds an identity.
const std::string* identityOf(const journal::Record& record) {
  const auto* const call = std::get_if<Call>(&record);
  const std::string* const property = call == nullptr ? nullptr : textOf(*call, "property");
  if (property == nullptr || !PropertyCatalogue::isIdentity(*property)) return nullptr;
  const std::string* const value = textOf(*call, "value");
  return value == nullptr || std::ranges::none_of(*value, isAlphanumeric) ? nullptr : value;
}

std::string placeOf(const journal::Record& record) {
  if (const auto* const call = std::get_if<Call>(&record)) return describe(*call);
  if (const auto* const update = std::get_if<journal::Update>(&record)) {
    return "update of " + inQuotes(update->api);
  }
  return std::holds_alternative<journal::Header>(record) ? "header" : "other line";
}

}  // namespace

int scanJournal(const std::vector<std::string>& words, std::string& out) {
  JournalFile file(words[0]);
  // Of a redacted journal the values of identity properties are pseudonyms.
  std::set<std::string, std::less<>> pseudonyms;
  bool redacted = false;
  file.read([&](const journal::Record& record, const journal::Reader& /*reader*/) {
    if (const auto* const header = std::get_if<journal::Header>(&record))
      redacted = header->redacted;
    const std::string* const identity = redacted ? identityOf(record) : nullptr;
    if (identity == nullptr || std::get<Call>(record).entry != journal::Entry::getData) return;
    pseudonyms.insert(*identity);
    findForms(*identity, [&](std::string_view word) { pseudonyms.emplace(word); });
  });
  std::size_t found = 0;
  const auto cutAt = file.read([&](const journal::Record& record, const journal::Reader& reader) {
    const auto report = [&](std::string_view text, const std::string& why) {
      if (pseudonyms.contains(text)) return;
      ++found;
      out += printable(words[0]) + ':' + std::to_string(reader.lineNumber()) + ": " +
             placeOf(record) + ": " + inQuotes(text) + ' ' + why + '\n';
    };
    const std::string* const identity = identityOf(record);
    if (identity != nullptr) report(*identity, "is the value of a property that holds an identity");
    const auto findAll = [&](std::string_view text) {
      if (identity != nullptr && text == *identity) return;
      findForms(text, [&](std::string_view word) {
        report(word, "looks like " + std::string(formOf(word)));
      });
    };
    const journal::Parser line(words[0], reader.lineNumber(), reader.line());
    for (const auto& member : line.whole().members) {
      if (std::ranges::count(kNeverIdentities, member.name) == 0)
        findTexts(line, member.place, findAll);
    }
  });
  if (cutAt) {
    out +=
        printable(words[0]) + ':' + std::to_string(*cutAt) + ": the line is cut and not searched\n";
  }
  if (found == 0) out += printable(words[0]) + ": nothing looks like an identity\n";
  return found == 0 ? 0 : 1;
}
