#include <stdexcept>

#include "catalogue/api_property_map.h"
#include "catalogue/identities.h"
#include "journal/parser.h"
#include "journal/redaction.h"
#include "tools/boardctl-journal/commands.h"
#include "tools/boardctl-journal/files.h"
#include "tools/boardctl-journal/text.h"

namespace {

using journal::Redaction;

/// The value of an identity property in a call or in an update, which only the simulated board
/// records; null when there is none.
std::optional<std::string> identityIn(const journal::Record& record, const std::string& file,
                                      std::string_view line) {
  if (const auto* const call = std::get_if<journal::Call>(&record)) {
    const std::string* const property = textOf(*call, "property");
    const std::string* const value = textOf(*call, "value");
    const bool isIdentity = call->entry == journal::Entry::getData && property != nullptr &&
                            value != nullptr && PropertyCatalogue::isIdentity(*property);
    return isIdentity ? std::optional(*value) : std::nullopt;
  }
  const auto* const update = std::get_if<journal::Update>(&record);
  if (update == nullptr) return {};
  const auto property = PropertyCatalogue::ApiPropertyMap.find(update->api);
  if (!PropertyCatalogue::isIdentity(property.value_or(update->api))) return {};
  const journal::Parser parser(file, update->line, line);
  const auto value = parser.whole().find("value");
  return value ? std::optional(parser.textAt(*value)) : std::nullopt;
}

Redaction learnAll(JournalFile& file) {
  Redaction redaction;
  file.read([&](const journal::Record& record, const journal::Reader& reader) {
    if (const auto value = identityIn(record, file.name(), reader.line())) redaction.learn(*value);
  });
  if (redaction.isFull()) {
    throw std::runtime_error(file.name() + ": holds " + std::to_string(Redaction::kMostValues) +
                             " identities or more, which is too many");
  }
  return redaction;
}

/// The header of a journal that is not redacted, as that of one that is.
std::string asRedacted(std::string header, const std::string& file) {
  const auto place = journal::Parser(file, 1, header).whole().find("redacted");
  if (place) return header.replace(*place, std::string_view("false").size(), "true");
  return header.insert(header.rfind('}'), R"(,"redacted":true)");
}

bool isRedacted(JournalFile& file) {
  journal::Reader reader(file.fromStart(), file.name());
  return std::get<journal::Header>(*reader.next()).redacted;
}

void copy(JournalFile& file, NewFile& to) {
  std::istream& from = file.fromStart();
  for (std::string part(1U << 16U, '\0'); from.read(part.data(), 1U << 16U), from.gcount() > 0;) {
    to.write({part.data(), static_cast<std::size_t>(from.gcount())});
  }
}

}  // namespace

int redactJournal(const std::vector<std::string>& words, std::string& out) {
  JournalFile file(words[0]);
  NewFile redacted(words[1]);
  if (isRedacted(file)) {
    copy(file, redacted);
    redacted.finish();
    out +=
        printable(words[1]) + ": a copy, since " + printable(words[0]) + " is redacted already\n";
    return 0;
  }
  const Redaction redaction = learnAll(file);
  std::size_t written = 0;
  std::size_t changed = 0;
  const auto cutAt = file.read([&](const journal::Record& record, const journal::Reader& reader) {
    // Behind the first blank of the place for a call under way there is still the call before.
    for (; written + 1 < reader.lineNumber(); ++written) redacted.write(" \n");
    std::string line = redaction.apply(reader.line());
    changed += line == reader.line() ? 0U : 1U;
    if (std::holds_alternative<journal::Header>(record)) line = asRedacted(line, file.name());
    redacted.write(line + '\n');
    ++written;
  });
  redacted.finish();
  out += printable(words[1]) + ": identities replaced in " + std::to_string(changed) + " of " +
         std::to_string(written) + " lines\n";
  if (cutAt) {
    out += printable(words[0]) + ':' + std::to_string(*cutAt) + ": the line is cut and left out\n";
  }
  return 0;
}
