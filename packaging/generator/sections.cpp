#include "packaging/generator/sections.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <vector>

#include "cli/registry.h"
#include "packaging/generator/export.h"
#include "packaging/generator/words.h"

namespace generator {
namespace {

constexpr std::size_t kManualWidth = 78;

std::string join(const std::vector<std::string>& words, const std::string& separator) {
  std::string text;
  for (const std::string& word : words) text.append(text.empty() ? "" : separator).append(word);
  return text;
}

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

}  // namespace

std::string manualText(const std::string& help) {
  std::string text;
  std::size_t column = 0;
  int brackets = 0;
  const auto startLine = [&](const char* separator) {
    text += separator;
    column = 0;
  };
  std::istringstream lines(help);
  for (std::string line; std::getline(lines, line);) {
    if (!text.empty()) startLine(brackets > 0 ? "\n" : "\n.br\n");
    std::istringstream words(line);
    for (std::string word; words >> word;) {
      const bool sentence = column > 0 && text.ends_with('.') && std::isupper(word[0]) != 0;
      if (sentence || column + word.size() >= kManualWidth) startLine("\n");
      // A leading dot or quote would make the line a request, a backslash begins an escape.
      if (column > 0) text += ' ';
      if (column == 0 && (word[0] == '.' || word[0] == '\'')) text += "\\&";
      text += replaceAll(word, "\\", "\\e");
      column += word.size() + 1;
      brackets += static_cast<int>(std::count(word.begin(), word.end(), '['));
      brackets -= static_cast<int>(std::count(word.begin(), word.end(), ']'));
    }
  }
  return text;
}

namespace {

/// List items with the labels and help texts of the usage, in its order.
std::string manualList(bool options) {
  std::string list;
  for (const boardctl::OptionSpec& entry : boardctl::optionRegistry) {
    if (entry.name.starts_with('-') != options) continue;
    list += options ? ".It Fl " + entry.name.substr(1) : ".It Ic " + entry.name;
    if (!entry.longName.empty()) list += " , Fl " + entry.longName.substr(1);
    std::istringstream tokens(entry.paramCount > 0 ? entry.hint : "");
    for (std::string token; tokens >> token;) list += " Ar " + token.substr(1, token.size() - 2);
    list += "\n" + manualText(entry.help) + "\n";
  }
  list.pop_back();
  return list;
}

/// Branches of a shell's `case`: what is due after each option and command.
std::string slotBranches() {
  std::string branches;
  for (const boardctl::OptionSpec& entry : boardctl::optionRegistry) {
    branches += "      " + entry.name + (entry.longName.empty() ? "" : " | " + entry.longName);
    branches += ") ";
    if (entry.presence == boardctl::Presence::exclusive) {
      branches += "wanted=nothing; return ;;\n";
      continue;
    }
    if (!entry.name.starts_with('-')) branches += "wanted=option; ";
    branches += "slots='" + join(slotKinds(entry), " ") + (entry.paramCount > 0 ? " " : "");
    branches += "' ;;\n";
  }
  branches.pop_back();
  return branches;
}

std::string branch(const std::string& pattern, const std::vector<std::string>& words) {
  const std::string line = join(words, " ");
  return "    " + pattern + ") candidates='" +
         (line.size() < 80 ? line : "\n" + join(words, "\n") + "\n") + "' ;;\n";
}

std::string kindBranches() {
  std::string branches;
  for (const WordKind& kind : wordKinds()) branches += branch(kind.name, kind.words);
  branches.pop_back();
  return branches;
}

std::vector<std::string> kindWords(const std::string& name) {
  for (const WordKind& kind : wordKinds()) {
    if (kind.name == name) return kind.words;
  }
  return {};
}

std::string propertyBranches() {
  std::string branches;
  for (const std::string& device : kindWords("device")) {
    const std::vector<std::string> names = propertiesOf(device);
    if (!names.empty()) branches += branch(device, names);
  }
  branches.pop_back();
  return branches;
}

std::string propertyKinds() {
  std::vector<std::string> kinds;
  for (const std::string& device : kindWords("device")) {
    if (!propertiesOf(device).empty()) kinds.push_back(device + ".");
  }
  return join(kinds, " ");
}

/// "name:help" for zsh, quoted, one for each option and command.
std::string descriptions() {
  std::vector<std::string> lines;
  for (const boardctl::OptionSpec& entry : boardctl::optionRegistry) {
    const std::string help = replaceAll(entry.help.substr(0, entry.help.find('\n')), "'", "'\\''");
    for (const std::string& name : {entry.name, entry.longName}) {
      if (!name.empty())
        lines.push_back(std::string("    '").append(name).append(":").append(help) + "'");
    }
  }
  return join(lines, "\n");
}

}  // namespace

std::map<std::string, std::string> makeSections() {
  return {
      {"MANUAL_OPTIONS", manualList(true)},
      {"MANUAL_COMMANDS", manualList(false)},
      {"MANUAL_DEVICES", join(kindWords("device"), ",\n")},
      {"MANUAL_RAW_DEVICES", join(kindWords("rawDevice"), ",\n")},
      {"MANUAL_RAW_SYNC_DEVICES", join(kindWords("rawSyncDevice"), ",\n")},
      {"MANUAL_RAW_ASYNC_DEVICES", join(kindWords("rawAsyncDevice"), ",\n")},
      {"SLOT_BRANCHES", slotBranches()},
      {"KIND_BRANCHES", kindBranches()},
      {"PROPERTY_BRANCHES", propertyBranches()},
      {"PROPERTY_KINDS", propertyKinds()},
      {"DESCRIPTIONS", descriptions()},
      {"SESSION_WORDS", join(sessionWords(), "\n")},
      {"EXPORT_MANUAL", exportManual()},
      {"EXPORT_OPTIONS", exportOptions()},
      {"EXPORT_BRANCHES", exportBranches()},
  };
}

}  // namespace generator
