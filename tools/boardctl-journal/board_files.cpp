#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "tools/boardctl-journal/board.h"
#include "tools/boardctl-journal/commands.h"
#include "tools/boardctl-journal/files.h"
#include "tools/boardctl-journal/text.h"

namespace {

/// What the simulated board takes: the size of a file, and of an object in it.
constexpr std::size_t kMaxFile = std::size_t{4} << 20U;
constexpr std::size_t kMaxMembers = 4096;

/// The lines of an object or a list of JSON, one for each member.
class Members {
 public:
  void add(const std::string& json) { (text_ += count_++ == 0 ? "\n    " : ",\n    ") += json; }
  void add(const std::string& name, const std::string& json) { add(jsonText(name) + ": " + json); }

  [[nodiscard]] std::string between(char open, char close) const {
    if (open == '{' && count_ > kMaxMembers) {
      throw std::runtime_error("the board would need more than 4096 members in one object");
    }
    return open + text_ + (count_ == 0 ? "" : "\n  ") + close;
  }
  [[nodiscard]] std::size_t count() const { return count_; }

 private:
  std::string text_;
  std::size_t count_ = 0;
};

/// The value that most devices have, of the numbers if it is to be set.
std::string usualValue(const BoardProperty& property) {
  const bool mustBeNumber = property.isWritable || property.isClearable;
  std::map<std::string_view, int> counts;
  const ValueModel* usual = nullptr;
  for (const auto& [id, value] : property.values) {
    if (!mustBeNumber || value.isNumber) ++counts[value.json];
  }
  for (const auto& [id, value] : property.values) {
    if (counts.contains(value.json) &&
        (usual == nullptr || counts[value.json] > counts[usual->json])) {
      usual = &value;
    }
  }
  if (usual != nullptr) return usual->json;
  return mustBeNumber ? "0" : "\"\"";
}

std::string definitionOf(const BoardProperty& property, const std::string& value) {
  std::string options;
  if (property.name.substr(0, property.name.find('.')) != sim::wordOf(property.kind)) {
    options += ", \"device\": " + jsonText(sim::wordOf(property.kind));
  }
  if (property.isWritable || property.isClearable) {
    options += std::string(R"(, "access": "r)") + (property.isWritable ? "w" : "") +
               (property.isClearable ? "c\"" : "\"");
  }
  if (options.empty()) return value;
  const bool isObject = value.front() == '{';
  return (isObject ? value.substr(0, value.size() - 2) : "{ \"value\": " + value) + options + " }";
}

std::string deviceOf(const Question& of) {
  const std::string word(sim::wordOf(of.kind));
  return of.id < 0 ? word + '*' : word + std::to_string(of.id);
}

std::string ruleOf(const BoardFault& fault) {
  std::string rule;
  const auto add = [&](const char* key, const std::string& json) {
    rule.append(rule.empty() ? "{ \"" : ", \"").append(key).append("\": ").append(json);
  };
  if (!fault.of.operation.empty()) add("operation", jsonText(fault.of.operation));
  if (fault.of.kind >= 0) add("device", jsonText(deviceOf(fault.of)));
  if (!fault.of.property.empty()) add("property", jsonText(fault.of.property));
  if (fault.of.mode >= 0) add("accessMode", std::to_string(fault.of.mode));
  if (fault.every > 1) add("every", std::to_string(fault.every));
  if (fault.code) add("code", std::to_string(*fault.code));
  if (!fault.code) add("hang", "true");
  return rule + " }";
}

std::string shown(const BoardFault& fault) {
  std::string text(fault.of.operation.empty() ? "every call" : fault.of.operation);
  if (fault.of.kind >= 0) text += ' ' + deviceOf(fault.of);
  if (!fault.of.property.empty()) text += ' ' + fault.of.property;
  if (fault.of.mode >= 0) text += " in mode " + std::to_string(fault.of.mode);
  text += fault.code ? ": code " + std::to_string(*fault.code) : ": hangs";
  return fault.every == 1 ? text : text + ", every " + std::to_string(fault.every) + " calls";
}

std::string countOf(std::size_t count, const std::string& one, const std::string& many) {
  return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

/// The folder and what has been put into it; taken away again unless it is kept.
class BoardFolder {
 public:
  explicit BoardFolder(const std::string& name) : name_(name) {
    isNew_ = mkdir(name.c_str(), 0777) == 0;
    if (isNew_) return;
    std::error_code error(errno, std::generic_category());
    if (error == std::errc::file_exists) {
      const std::filesystem::directory_iterator first(name, error);
      if (!error && first == std::filesystem::directory_iterator()) return;
    }
    throw std::runtime_error(name + ": " + (error ? error.message() : "is not empty"));
  }
  BoardFolder(const BoardFolder&) = delete;
  BoardFolder& operator=(const BoardFolder&) = delete;
  ~BoardFolder() {
    for (const std::string& file : files_) unlink(file.c_str());
    if (isNew_) rmdir(name_.c_str());
  }

  std::string put(const std::string& file, const std::string& members) {
    const std::string path = name_ + '/' + file;
    const std::string content = "{\n  \"about\": \"Made from a recording.\",\n" + members + "}\n";
    if (content.size() > kMaxFile) throw std::runtime_error(path + ": would exceed 4 MiB");
    NewFile created(path);
    created.write(content);
    created.finish();
    files_.push_back(path);
    return printable(path) + ": ";
  }

  void keep() {
    files_.clear();
    isNew_ = false;
  }

 private:
  std::string name_;
  bool isNew_ = false;
  std::vector<std::string> files_;
};

std::string putManifest(const Board& board, const std::map<std::string, std::string>& usual,
                        BoardFolder& folder) {
  Members devices;
  Members overrides;
  std::string list;
  std::size_t own = 0;
  for (int kind = 0; kind < static_cast<int>(kDeviceKinds.size()); ++kind) {
    const int count = board.counts[static_cast<std::size_t>(kind)];
    if (count == 0) continue;
    const std::string word(sim::wordOf(kind));
    devices.add(word, std::to_string(count));
    list += (list.empty() ? "" : ", ") + std::to_string(count) + ' ' + word;
    std::vector<std::string> values(static_cast<std::size_t>(count));
    for (const BoardProperty& property : board.properties) {
      if (property.kind != kind) continue;
      for (const auto& [id, value] : property.values) {
        if (value.json == usual.at(property.name)) continue;
        std::string& text = values[static_cast<std::size_t>(id)];
        text +=
            (text.empty() ? "\n      " : ",\n      ") + jsonText(property.name) + ": " + value.json;
        ++own;
      }
    }
    for (int id = 0; id < count; ++id) {
      const std::string& text = values[static_cast<std::size_t>(id)];
      if (board.absent.contains({kind, id})) {
        overrides.add(word + std::to_string(id), "{ \"absent\": true }");
      } else if (!text.empty()) {
        overrides.add(word + std::to_string(id), "{ \"properties\": {" + text + "\n    } }");
      }
    }
  }
  return folder.put(
             "manifest.json",
             "  \"board\": \"recorded board\",\n  \"devices\": " + devices.between('{', '}') +
                 ",\n  \"overrides\": " + overrides.between('{', '}') + "\n") +
         (list.empty() ? "no device" : list) + "; " + std::to_string(board.absent.size()) +
         " absent; " + countOf(own, "value", "values") + " of single devices\n";
}

std::string putProperties(const Board& board, const std::map<std::string, std::string>& usual,
                          BoardFolder& folder) {
  Members members;
  std::size_t counters = 0;
  std::size_t unread = 0;
  for (const BoardProperty& property : board.properties) {
    members.add(property.name, definitionOf(property, usual.at(property.name)));
    unread += property.values.empty() ? 1U : 0U;
    counters +=
        std::ranges::any_of(property.values,
                            [](const auto& value) { return value.second.json.front() == '{'; })
            ? 1U
            : 0U;
  }
  return folder.put("properties.json", "  \"properties\": " + members.between('{', '}') + "\n") +
         countOf(members.count(), "property", "properties") + ", of which " +
         countOf(counters, "counts", "count") + " and " +
         countOf(unread, "was never read", "were never read") + '\n';
}

std::string putProfile(const Board& board, BoardFolder& folder) {
  Members rules;
  std::string lines;
  for (const BoardFault& fault : board.faults) {
    rules.add(ruleOf(fault));
    lines += "  " + printable(shown(fault)) + " (line " + std::to_string(fault.line) + ")\n";
  }
  return folder.put("profile.json", "  \"faults\": " + rules.between('[', ']') + "\n") +
         countOf(rules.count(), "fault rule", "fault rules") + '\n' + lines;
}

}  // namespace

int makeBoard(const std::vector<std::string>& words, std::string& out) {
  const journal::Recording recording = journal::readRecording(words[0]);
  const Board board = boardOf(observe(recording));
  std::map<std::string, std::string> usual;
  for (const BoardProperty& property : board.properties) {
    usual[property.name] = usualValue(property);
  }
  BoardFolder folder(words[1]);
  out += putManifest(board, usual, folder) + putProperties(board, usual, folder) +
         putProfile(board, folder);
  folder.keep();
  for (const auto& [line, what] : board.leftOut) {
    out += printable(words[0]) + ':' + std::to_string(line) + ": left out: " + what + '\n';
  }
  return 0;
}
