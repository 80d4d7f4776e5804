#include "packaging/generator/export.h"

#include "packaging/generator/sections.h"
#include "tools/boardctl-export/option_table.h"

namespace generator {

using exporter::kOptionRows;
using exporter::OptionRow;

std::string exportManual() {
  std::string list;
  for (const OptionRow& row : kOptionRows) {
    list += ".It";
    if (row.letter != 0) list += std::string(" Fl ") + row.letter + " ,";
    list += std::string(" Fl -") + row.name;
    if (*row.hint != '\0') list += std::string(" Ar ") + row.hint;
    list += '\n' + manualText(row.help) + '\n';
  }
  list.pop_back();
  return list;
}

std::string exportOptions() {
  std::string words;
  for (const OptionRow& row : kOptionRows) {
    if (row.letter != 0) words += std::string("-") + row.letter + ' ';
    words += std::string("--") + row.name + ' ';
  }
  words.pop_back();
  return words;
}

std::string exportBranches() {
  std::string branches;
  for (const OptionRow& row : kOptionRows) {
    std::string hint = row.hint;
    const bool choice = hint.find('|') != std::string::npos;
    const bool file = hint == "FILE";
    if (hint.empty()) continue;
    for (char& letter : hint) letter = letter == '|' ? ' ' : letter;
    branches += "    ";
    if (row.letter != 0) branches += std::string("-") + row.letter + " | ";
    branches += std::string("--") + row.name + ") ";
    branches += (choice ? "candidates='" + hint + "' " : file ? "file=1 " : "") + ";;\n";
  }
  branches.pop_back();
  return branches;
}

}  // namespace generator
