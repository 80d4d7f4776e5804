#include "cli/usage.h"

#include <string_view>

#include "cli/handlers.h"
#include "cli/output.h"
#include "cli/registry.h"

namespace boardctl {
namespace {

void appendLabel(std::string& table, const OptionSpec& entry) {
  table.append(entry.name);
  if (!entry.longName.empty()) table.append(", ").append(entry.longName);
  if (entry.argKind != ArgKind::none) table.append(" ").append(entry.hint);
}

/// Appends a help text whose lines are cut after `columns` characters, or never when that is 0.
void appendHelp(std::string& table, std::string_view help, std::string_view newLine,
                std::size_t columns) {
  while (true) {
    std::string_view line = help.substr(0, help.find('\n'));
    help.remove_prefix(line.size());
    for (; columns != 0 && line.size() > columns; line.remove_prefix(columns)) {
      table.append(line.substr(0, columns)).append(newLine);
    }
    table.append(line);
    if (help.empty()) return;
    table.append(newLine);
    help.remove_prefix(1);
  }
}

}  // namespace

std::string formatOptionTable(const std::vector<OptionSpec>& registry, std::uint32_t indent,
                              std::uint32_t width) {
  const std::string newLine = "\n" + std::string(indent, ' ');
  const std::uint32_t columns = width > indent ? width - indent : 0;
  std::string table;
  table.reserve(registry.size() * 256);
  for (const OptionSpec& entry : registry) {
    const std::size_t start = table.size();
    appendLabel(table, entry);
    if (const std::size_t length = table.size() - start; length >= indent) {
      table += newLine;
    } else {
      table.append(indent - length, ' ');
    }
    appendHelp(table, entry.help, newLine, columns);
    table += "\n\n";
  }
  return table;
}

std::int32_t printUsage(std::vector<std::string> /*words*/) {
  // Before anything is printed: without the memory for it nothing is.
  const std::string table = formatOptionTable(optionRegistry, kUsageIndent, kUsageWidth);
  print("A Tool for OOB Device Information via Valdor FW OOB Module, ver = " BOARDCTL_VERSION
        "\n"
        "<usage>\n"
        "  ./boardctl [options] <cmd>\n"
        "\n"
        "options & cmds:\n");
  print(table);
  print(
      "\n"
      "examples:\n"
      "1. List all supported OOB Device properties,\n"
      "   $ ./boardctl -m oob_manifest.json -t oob_properties.json list all\n"
      "2. Get GPU 0 Part Number from Snapshot,\n"
      "   $ ./boardctl -m oob_manifest.json -t oob_properties.json get gpu 0 "
      "gpu.inventory.gpuPartNumber 0\n"
      "3. Set GPU 0 Firmware W/P Mode to enable,\n"
      "   $ ./boardctl -m oob_manifest.json -t oob_properties.json set 0 "
      "gpu.firmware.writeProtectMode 1\n"
      "4. Enter shell mode,\n"
      "   $ ./boardctl -m oob_manifest.json -t oob_properties.json shell\n"
      "\n");
  return 0;
}

}  // namespace boardctl
