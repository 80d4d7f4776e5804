#include <cctype>

#include "fuzz/reference.h"

namespace reference {
namespace {

int tokens(const std::string& hint) {
  Words list;
  std::string token;
  for (const char character : hint + " ") {
    if (std::isspace(static_cast<unsigned char>(character)) == 0) {
      token += character;
    } else if (!token.empty()) {
      list.push_back(token);
      token.clear();
    }
  }
  return static_cast<int>(list.size());
}

bool dashed(const std::string& text) { return !text.empty() && text[0] == '-'; }

std::string group(const Entry& entry) {
  if (dashed(entry.name) || dashed(entry.longName)) {
    return entry.name.empty() ? entry.longName : entry.name;
  }
  return "cmd";
}

std::optional<std::size_t> lookUp(const std::string& word, const std::vector<Entry>& entries) {
  std::optional<std::size_t> found;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (!word.empty() && (entries[i].name == word || entries[i].longName == word)) found = i;
  }
  return found;
}

}  // namespace

const std::vector<Entry>& toolEntries() {
  static const std::string raw =
      "<deviceType> <gpuId> <opcode> <arg1> <arg2> <data0> <data1> <data2> <data3> <data4> <data5> "
      "<data6> <data7>";
  static const std::vector<Entry> entries = {
      {"-h", "--help", 0, "", 2, ""},
      {"-m", "", 1, "f", 1, ""},
      {"-p", "", 1, "f", 0, ""},
      {"-t", "", 1, "f", 0, ""},
      {"-l", "", 1, "l", 0, ""},
      {"-L", "", 1, "f", 0, ""},
      {"list", "", 2, "1", 1, ""},
      {"get", "", 2, "1 2 3 4", 1, ""},
      {"set", "", 2, "1 2 3", 1, ""},
      {"clear", "", 2, "1 2", 1, ""},
      {"set_callback", "", 2, "1 2", 1, ""},
      {"raw", "", 2, raw, 1, ""},
      {"rawSyncCmd", "", 2, raw, 1, ""},
      {"rawAsyncCmd", "", 2, raw + " <data8> <data9> <data10> <data11>", 1, ""},
      {"shell", "", 0, "", 1, ""},
  };
  return entries;
}

Parsed parse(const Words& words, const std::vector<Entry>& entries) {
  std::map<std::string, bool> needed;
  for (const Entry& entry : entries) {
    if (entry.presence == 1) needed[group(entry)] = false;
  }
  std::map<std::string, std::pair<std::size_t, Words>> chosen;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string word = words[i];
    const auto found = lookUp(word, entries);
    if (!found) return {"Uknown argument: " + word + "!", {}};
    const std::string key = group(entries[*found]);
    if (entries[*found].presence == 1) needed[key] = true;
    if (entries[*found].presence == 2) return {"", {{*found, {}}}};
    if (chosen.count(key) == 0) chosen[key] = {*found, {}};
    const Entry& taker = entries[chosen[key].first];
    if (taker.kind == 0) continue;
    for (int taken = 0; taken < tokens(taker.hint); ++taken) {
      if (i + 1 == words.size() || dashed(words[i + 1])) {
        return {"Argument " + word + " needs parameter!", {}};
      }
      ++i;
      if (taker.kind == 1) chosen[key].second.clear();
      chosen[key].second.push_back(words[i]);
    }
  }
  for (const auto& [key, seen] : needed) {
    if (!seen) return {"Arg " + key + " is needed!", {}};
  }
  Parsed result;
  for (const auto& [key, choice] : chosen) result.chosen.push_back(choice);
  return result;
}

std::string usageTable(const std::vector<Entry>& entries, unsigned indent, unsigned width) {
  std::string table;
  for (const Entry& entry : entries) {
    std::string label = entry.name;
    if (!entry.longName.empty()) label += ", " + entry.longName;
    if (entry.kind != 0) label += " " + entry.hint;
    // One help line at a time, cut into pieces.
    std::vector<std::string> rows;
    std::string line;
    for (const char character : entry.help + "\n") {
      if (character != '\n') {
        line += character;
        continue;
      }
      const std::size_t piece = width > indent ? width - indent : line.size() + 1;
      do {
        rows.push_back(line.substr(0, piece));
        line.erase(0, piece);
      } while (!line.empty());
    }
    if (label.size() >= indent) {
      table += label + "\n" + std::string(indent, ' ');
    } else {
      table += label + std::string(indent - label.size(), ' ');
    }
    for (std::size_t row = 0; row < rows.size(); ++row) {
      if (row > 0) table += "\n" + std::string(indent, ' ');
      table += rows[row];
    }
    table += "\n\n";
  }
  return table;
}

}  // namespace reference
