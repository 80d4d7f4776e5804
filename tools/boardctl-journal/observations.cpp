#include "tools/boardctl-journal/observations.h"

#include <algorithm>
#include <set>

#include "catalogue/api_property_map.h"
#include "tools/boardctl-journal/text.h"

namespace {

using journal::Call;
using journal::Entry;

class Observer {
 public:
  explicit Observer(const journal::Recording& recording) {
    // The texts are for people, and may name less.
    for (const Entry entry : {Entry::listNames, Entry::listText}) {
      for (const Call& call : recording.calls) {
        if (call.code == 0 && call.entry == entry) takeListing(call);
      }
    }
    for (const Call& call : recording.calls) take(call);
  }

  Observations result;

 private:
  void takeListing(const Call& call) {
    const auto kind = sim::kindOfCode(static_cast<int>(numberOf(call, "type", -1)));
    if (!kind) return;
    std::vector<std::string> names;
    const journal::Value* const list = call.find("names");
    if (list != nullptr && std::holds_alternative<std::vector<std::string>>(*list)) {
      names = std::get<std::vector<std::string>>(*list);
    } else if (const std::string* const text = textOf(call, "text"); text && !call.unterminated) {
      names = wordsIn(*text, *kind);
    }
    if (names.empty()) return;
    result.isListed[static_cast<std::size_t>(*kind)] = true;
    for (const std::string& name : names) addName({name, *kind, call.line, true});
  }

  /// The layout of a listing is the library's; its names begin with the device type.
  static std::vector<std::string> wordsIn(std::string_view text, int kind) {
    constexpr std::string_view kBetween = " \t\r\n,;";
    const std::string start = std::string(sim::wordOf(kind)) + '.';
    std::vector<std::string> words;
    while (!text.empty()) {
      const std::string_view word = text.substr(0, text.find_first_of(kBetween));
      if (word.starts_with(start)) words.emplace_back(word);
      text.remove_prefix(std::min(word.size() + 1, text.size()));
    }
    return words;
  }

  void addName(ListedName name) {
    if (kinds_.emplace(name.name, name.kind).second) result.names.push_back(std::move(name));
  }

  void take(const Call& call) {
    switch (call.entry) {
      case Entry::managerInit:
        result.calls[{"init", "", -1, -1, -1}].push_back(&call);
        return;
      case Entry::managerRun:
      case Entry::managerStop:
        isRunning_ = call.entry == Entry::managerRun && call.code == 0;
        if (call.code != 0) result.unknown.push_back(&call);
        return;
      case Entry::setLogger:
      case Entry::setLogLevel:
        return;
      default:
        if (isRunning_) takeRequest(call);
    }
  }

  void takeRequest(const Call& call) {
    switch (call.entry) {
      case Entry::getData: {
        const auto mode = static_cast<int>(numberOf(call, "mode", -1));
        if (mode == 0 || mode == 1) return takeAccess(call, "get", textOf(call, "property"), mode);
        break;
      }
      case Entry::setData:
        return takeAccess(call, "set", textOf(call, "property"), -1);
      case Entry::clearData:
        return takeAccess(call, "clear", textOf(call, "property"), -1);
      case Entry::setCallback:
        if (const std::string* const api = textOf(call, "api")) {
          const auto name = PropertyCatalogue::ApiPropertyMap.find(*api);
          const std::string property(name.value_or(""));
          return takeAccess(call, "set_callback", name ? &property : nullptr, -1);
        }
        break;
      case Entry::snapshotStatus:
        result.calls[{"snapshot", "", -1, -1, -1}].push_back(&call);
        return;
      case Entry::listText:
      case Entry::listNames:
      case Entry::listAllText:
        // That there is no such device type needs no rule.
        if (call.entry == Entry::listAllText ||
            sim::kindOfCode(static_cast<int>(numberOf(call, "type", -1)))) {
          result.calls[{"list", "", -1, -1, -1}].push_back(&call);
        }
        return;
      default:
        result.rawRequests.push_back(&call);
        return;
    }
    result.unknown.push_back(&call);
  }

  void takeAccess(const Call& call, std::string_view operation, const std::string* property,
                  int mode) {
    const std::int64_t id = numberOf(call, "device", -1);
    if (property == nullptr || id < 0 || id >= kMaxDevices) {
      result.unknown.push_back(&call);
      return;
    }
    auto kind = kinds_.find(*property);
    if (kind == kinds_.end()) {
      const auto word = sim::kindOfWord(property->substr(0, property->find('.')));
      if (!word) {
        result.unknown.push_back(&call);
        return;
      }
      addName({*property, *word, call.line, false});
      kind = kinds_.find(*property);
    }
    result.calls[{operation, *property, kind->second, static_cast<int>(id), mode}].push_back(&call);
  }

  std::map<std::string, int, std::less<>> kinds_;
  bool isRunning_ = false;
};

}  // namespace

Observations observe(const journal::Recording& recording) { return Observer(recording).result; }
