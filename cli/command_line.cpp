#include "cli/command_line.h"

#include <stdexcept>
#include <utility>

#include "cli/usage.h"

namespace boardctl {
namespace {

bool isOption(const std::string& word) { return word.starts_with('-'); }

std::string groupKey(const OptionSpec& entry) {
  if (!isOption(entry.name) && !isOption(entry.longName)) return "cmd";
  return entry.name.empty() ? entry.longName : entry.name;
}

}  // namespace

CommandLine::CommandLine(std::vector<std::string> args, const std::vector<OptionSpec>& registry)
    : args_(std::move(args)), registry_(registry) {}

/// The last entry of that name: a short list is searched faster than a map of it is built.
const OptionSpec* CommandLine::find(std::string_view word) const {
  if (word.empty()) return nullptr;
  for (auto entry = registry_.rbegin(); entry != registry_.rend(); ++entry) {
    if (entry->name == word || entry->longName == word) return &*entry;
  }
  return nullptr;
}

std::int32_t CommandLine::parse() {
  required_.clear();
  for (const OptionSpec& entry : registry_) {
    if (entry.presence == Presence::required) required_[groupKey(entry)] = false;
  }
  for (position_ = 1; position_ < args_.size(); ++position_) {
    const std::string& word = args_[position_];
    const OptionSpec* const found = find(word);
    if (found == nullptr) throw std::runtime_error("Uknown argument: " + word + "!");
    const OptionSpec& entry = *found;
    const std::string key = groupKey(entry);
    if (entry.presence == Presence::required) required_[key] = true;
    if (entry.presence == Presence::exclusive) {
      selected_.clear();
      selected_.emplace(key, std::make_unique<OptionSpec>(entry));
      return 0;
    }
    // A second command does not replace the first: its words are taken by the first one's rules.
    auto& chosen = selected_[key];
    if (!chosen) chosen = std::make_unique<OptionSpec>(entry);
    takeWords(word, *chosen);
  }
  for (const auto& [key, seen] : required_) {
    if (!seen) throw std::runtime_error("Arg " + key + " is needed!");
  }
  return 0;
}

void CommandLine::takeWords(const std::string& word, OptionSpec& entry) {
  if (entry.argKind == ArgKind::none) return;
  for (std::int32_t taken = 0; taken < entry.paramCount; ++taken) {
    const std::size_t next = position_ + 1;
    if (next >= args_.size() || isOption(args_[next])) {
      throw std::runtime_error("Argument " + word + " needs parameter!");
    }
    position_ = next;
    if (entry.argKind == ArgKind::replace) entry.words.clear();
    entry.words.push_back(args_[next]);
  }
}

std::int32_t CommandLine::run() {
  if (selected_.empty()) {
    for (const char* help : {"-h", "--help"}) {
      const OptionSpec* const found = find(help);
      if (found == nullptr) continue;
      found->handler(found->words);
      return -1;
    }
    static_cast<void>(formatOptionTable(registry_, kUsageIndent, kUsageWidth));
    return -1;
  }
  bool exclusive = false;
  for (const auto& [key, entry] : selected_) {
    const std::int32_t result = entry->handler(entry->words);
    if (result != 0) return result;
    exclusive = entry->presence == Presence::exclusive;
  }
  return exclusive ? -1 : 0;
}

}  // namespace boardctl
