#include <stdexcept>

#include "cli/command_line.h"
#include "cli/registry.h"
#include "fuzz/reference.h"
#include "fuzz/target.h"

/// The front end: a line of words against the tool's own registry, or against one of the input's
/// own making, with handlers that only say that they were run.

namespace {

using boardctl::OptionSpec;

struct Registry {
  std::vector<reference::Entry> entries;
  std::vector<OptionSpec> specs;
};

std::vector<std::string>* ran = nullptr;  ///< what the handlers say
std::size_t failingPlace = 0;             ///< the handler with this place returns its place

boardctl::CommandHandler handler(std::size_t place) {
  return [place](std::vector<std::string> words) {
    ran->push_back(std::to_string(place) + ":" + fuzz::joined(words));
    return place == failingPlace ? static_cast<std::int32_t>(place) : 0;
  };
}

Registry toolRegistry() {
  Registry registry = {reference::toolEntries(), boardctl::optionRegistry};
  for (std::size_t i = 0; i < registry.specs.size(); ++i) registry.specs[i].handler = handler(i);
  return registry;
}

Registry ownRegistry(fuzz::Input& input) {
  Registry registry;
  const unsigned count = input.byte() % 8;
  for (unsigned i = 0; i < count; ++i) {
    const unsigned kinds = input.byte();
    reference::Entry entry;
    entry.kind = static_cast<int>(kinds % 3);
    entry.presence = static_cast<int>(kinds / 3 % 3);
    entry.name = input.line();
    entry.longName = input.line();
    entry.hint = input.line();
    registry.specs.emplace_back(entry.name, entry.longName,
                                static_cast<boardctl::ArgKind>(entry.kind), entry.hint,
                                static_cast<boardctl::Presence>(entry.presence), "", handler(i));
    registry.entries.push_back(std::move(entry));
  }
  return registry;
}

}  // namespace

void fuzz_front_end(const std::uint8_t* data, std::size_t size) {
  static const Registry tool = toolRegistry();
  fuzz::Input input(data, size);
  const unsigned mode = input.byte();
  failingPlace = mode / 2 % 16;
  const Registry own = mode % 2 == 0 ? Registry() : ownRegistry(input);
  const Registry& registry = mode % 2 == 0 ? tool : own;
  std::vector<std::string> words;
  while (!input.empty()) words.push_back(input.line());

  const reference::Parsed expected = reference::parse(words, registry.entries);
  std::vector<std::string> calls;
  int status = 0;
  std::size_t last = 0;
  for (const auto& [place, taken] : expected.chosen) {
    calls.push_back(std::to_string(place) + ":" + fuzz::joined(taken));
    last = place;
    if (place == failingPlace && failingPlace != 0) {
      status = static_cast<int>(place);
      break;
    }
  }
  if (expected.chosen.empty() && expected.error.empty()) {
    // Nothing was needed and nothing was given: help is run where there is one.
    status = -1;
    for (const char* help : {"-h", "--help"}) {
      for (std::size_t i = registry.entries.size(); i-- > 0 && calls.empty();) {
        const reference::Entry& entry = registry.entries[i];
        if (entry.name == help || entry.longName == help) calls.push_back(std::to_string(i) + ":");
      }
    }
  } else if (status == 0 && !expected.chosen.empty() && registry.entries[last].presence == 2) {
    status = -1;
  }

  words.insert(words.begin(), "./boardctl");
  std::vector<std::string> found;
  ran = &found;
  boardctl::CommandLine line(words, registry.specs);
  std::string error;
  int result = 0;
  try {
    line.parse();
    result = line.run();
  } catch (const std::runtime_error& refused) {
    error = refused.what();
  }
  // A message ends at its first NUL where it is printed and compared.
  fuzz::expectEqual("message", expected.error.c_str(), error);
  fuzz::expectEqual("calls", fuzz::joined(calls), fuzz::joined(found));
  fuzz::expectEqual("status", std::to_string(status), std::to_string(result));
}
