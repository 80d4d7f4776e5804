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
    : argc_(static_cast<std::int32_t>(args.size())), args_(std::move(args)), registry_(registry) {}

void CommandLine::index() {
  byName_.clear();
  required_.clear();
  for (const OptionSpec& entry : registry_) {
    for (const std::string* name : {&entry.name, &entry.longName}) {
      if (!name->empty()) byName_[*name] = &entry;
    }
    if (entry.presence == Presence::required) required_[groupKey(entry)] = false;
  }
}

const std::string& CommandLine::arg(std::int32_t position) const {
  return args_[static_cast<std::size_t>(position)];
}

std::int32_t CommandLine::parse() {
  index();
  for (position_ = 1; position_ < argc_; ++position_) {
    const std::string& word = arg(position_);
    const auto found = byName_.find(word);
    if (found == byName_.end()) throw std::runtime_error("Uknown argument: " + word + "!");
    const OptionSpec& entry = *found->second;
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
    const std::int32_t next = position_ + 1;
    if (next >= argc_ || isOption(arg(next))) {
      throw std::runtime_error("Argument " + word + " needs parameter!");
    }
    position_ = next;
    if (entry.argKind == ArgKind::replace) entry.words.clear();
    entry.words.push_back(arg(next));
  }
}

std::int32_t CommandLine::run() {
  if (selected_.empty()) {
    for (const char* help : {"-h", "--help"}) {
      const auto found = byName_.find(help);
      if (found == byName_.end()) continue;
      found->second->handler(found->second->words);
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
