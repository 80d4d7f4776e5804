#include "packaging/generator/words.h"

#include <algorithm>
#include <array>
#include <set>
#include <sstream>
#include <stdexcept>

#include "catalogue/api_property_map.h"
#include "catalogue/property_groups.h"
#include "cli/registry.h"
#include "devmgr/device_type.h"
#include "devmgr/logger.h"
#include "tools/boardctl/postboxes.h"
#include "tools/boardctl/shell_commands.h"

namespace generator {
namespace {

using Strings = std::vector<std::string>;

/// What stands in for a hint's token in an entry; the first row that matches counts, and an empty
/// `entry` matches all.
struct SlotRule {
  const char* entry;
  const char* token;
  const char* kind;
};

constexpr SlotRule kSlotRules[] = {
    {"list", "<DeviceType>", "deviceOrAll"},
    {"raw", "<deviceType>", "rawDevice"},
    {"rawSyncCmd", "<deviceType>", "rawSyncDevice"},
    {"rawAsyncCmd", "<deviceType>", "rawAsyncDevice"},
    {"set_callback", "<propName>", "api"},
    {"get", "<propName>", "propertyOfDevice"},
    {"", "<file>", "file"},
    {"", "<level>", "level"},
    {"", "<deviceType>", "device"},
    {"", "<propName>", "property"},
    {"", "<accMode>", "accessMode"},
    {"", "<devId>", "number"},
    {"", "<gpuId>", "number"},
    {"", "<propValue>", "number"},
    {"", "<opcode>", "number"},
    {"", "<arg", "number"},
    {"", "<data", "number"},
};

Strings deviceStrings() {
  Strings words;
  for (const DeviceKind& kind : kDeviceKinds) words.emplace_back(kind.word);
  return words;
}

Strings acceptedLevels() {
  Strings levels;
  for (int level = 0; level <= kHighestLogLevel; ++level) levels.push_back(std::to_string(level));
  return levels;
}

/// The devices with a postbox function of one kind. The table is read while compiling: the
/// functions are those of a library that is not linked here.
template <auto kFunction>
Strings devicesWith() {
  constexpr auto kTypes = [] {
    std::array<DeviceType, std::size(boardctl::kPostboxes)> types = {};
    std::ranges::transform(boardctl::kPostboxes, types.begin(), [](const auto& postbox) {
      return postbox.*kFunction != nullptr ? postbox.type : DeviceType::unknown;
    });
    return types;
  }();
  Strings devices;
  for (const DeviceKind& kind : kDeviceKinds) {
    if (std::ranges::count(kTypes, kind.type) > 0) devices.emplace_back(kind.word);
  }
  return devices;
}

Strings namesOfEntries(bool options) {
  Strings names;
  for (const boardctl::OptionSpec& entry : boardctl::optionRegistry) {
    for (const std::string& name : {entry.name, entry.longName}) {
      if (!name.empty() && name.starts_with('-') == options) names.push_back(name);
    }
  }
  return names;
}

}  // namespace

std::vector<WordKind> wordKinds() {
  const Strings options = namesOfEntries(true);
  Strings entries = namesOfEntries(false);
  entries.insert(entries.end(), options.begin(), options.end());
  Strings devices = deviceStrings();
  Strings devicesAndAll = devices;
  devicesAndAll.emplace_back("all");
  return {
      {"entry", entries},
      {"option", options},
      {"level", acceptedLevels()},
      {"device", devices},
      {"deviceOrAll", devicesAndAll},
      {"rawDevice", devicesWith<&boardctl::Postbox::list>()},
      {"rawSyncDevice", devicesWith<&boardctl::Postbox::sync>()},
      {"rawAsyncDevice", devicesWith<&boardctl::Postbox::async>()},
      {"accessMode", {"0", "1"}},
      {"api", apiNames()},
  };
}

Strings slotKinds(const boardctl::OptionSpec& entry) {
  Strings kinds;
  std::istringstream tokens(entry.hint);
  for (std::string token; tokens >> token;) {
    const auto rule =
        std::find_if(std::begin(kSlotRules), std::end(kSlotRules), [&](const SlotRule& candidate) {
          const std::string prefix = candidate.token;
          return (*candidate.entry == '\0' || candidate.entry == entry.name) &&
                 (prefix.ends_with('>') ? token == prefix : token.starts_with(prefix));
        });
    if (rule == std::end(kSlotRules)) {
      throw std::runtime_error("no completion for " + token + " of " + entry.name);
    }
    kinds.emplace_back(rule->kind);
  }
  return kinds;
}

Strings propertiesOf(const std::string& device) {
  std::set<std::string> names;
  const auto add = [&](std::string_view name) {
    if (name.substr(0, name.find('.')) == device) names.emplace(name);
  };
  for (std::size_t i = 0; i < PropertyCatalogue::ApiPropertyMap.size(); ++i) {
    add(PropertyCatalogue::ApiPropertyMap.entry(i).propertyName);
  }
  for (const std::string_view name : PropertyCatalogue::PagedPropertyList) add(name);
  return {names.begin(), names.end()};
}

Strings apiNames() {
  Strings names;
  for (std::size_t i = 0; i < PropertyCatalogue::ApiPropertyMap.size(); ++i) {
    names.emplace_back(PropertyCatalogue::ApiPropertyMap.entry(i).apiName);
  }
  return names;
}

Strings sessionWords() {
  std::set<std::string> words = {"all", "refresh_status", std::string(boardctl::kShellHelp)};
  for (const std::string_view word : boardctl::kShellEnds) words.emplace(word);
  for (const boardctl::ShellCommand& command : boardctl::kShellCommands)
    words.emplace(command.word);
  for (const std::string& name : apiNames()) words.insert(name);
  for (const std::string& device : deviceStrings()) {
    words.insert(device);
    for (const std::string& name : propertiesOf(device)) words.insert(name);
  }
  return {words.begin(), words.end()};
}

}  // namespace generator
