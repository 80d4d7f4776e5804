#include "cli/usage.h"

#include "fuzz/reference.h"
#include "fuzz/target.h"

/// The usage table of any registry at any width.
void fuzz_usage(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned indent = input.byte();
  const unsigned width = input.byte();
  std::vector<reference::Entry> entries;
  std::vector<boardctl::OptionSpec> specs;
  while (!input.empty() && entries.size() < 20) {
    reference::Entry entry;
    entry.kind = input.byte() % 3;
    entry.name = input.line();
    entry.longName = input.line();
    entry.hint = input.line();
    // A "|" in the input is a line break of the help text.
    entry.help = input.line();
    for (char& character : entry.help) {
      if (character == '|') character = '\n';
    }
    specs.emplace_back(entry.name, entry.longName, static_cast<boardctl::ArgKind>(entry.kind),
                       entry.hint, boardctl::Presence::optional, entry.help, nullptr);
    entries.push_back(std::move(entry));
  }
  fuzz::expectEqual("table", reference::usageTable(entries, indent, width),
                    boardctl::formatOptionTable(specs, indent, width));
}
