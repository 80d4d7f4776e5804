#include <algorithm>
#include <map>
#include <tuple>

#include "tools/boardctl-journal/commands.h"
#include "tools/boardctl-journal/files.h"
#include "tools/boardctl-journal/text.h"

namespace {

using journal::Call;
using journal::Recording;
using Rows = std::vector<std::vector<std::string>>;

constexpr std::size_t kSlowest = 10;

bool hasReturned(const Call& call) { return call.code.has_value(); }

/// How the recording ended; `isWhole` becomes whether nothing is missing.
std::string ending(const Recording& recording, bool& isWhole) {
  const auto calls = static_cast<std::int64_t>(recording.calls.size());
  const std::vector<Call>& all = recording.calls;
  isWhole = false;
  if (recording.cutAt) return "cut: line " + std::to_string(*recording.cutAt) + " is not complete";
  if (!recording.end) {
    // Version 1 has no line for the end.
    isWhole = recording.header.version == 1 && !all.empty() && hasReturned(all.back()) &&
              all.back().entry == journal::Entry::managerStop;
    return isWhole ? "whole: the manager was stopped"
                   : "not whole: the process was killed, or the recording goes on";
  }
  if (recording.end->how == "limit") return "not whole: it reached its size limit";
  if (recording.end->how == "error") return "not whole: the recorder failed";
  if (recording.end->calls != calls) {
    return "not whole: " + std::to_string(recording.end->calls) + " calls were made, and " +
           std::to_string(calls) + " are here";
  }
  isWhole = recording.end->how == "exit" || recording.end->how == "stop";
  if (!isWhole) return "not whole: it ended with " + inQuotes(recording.end->how);
  if (recording.end->how == "stop") return "whole: the manager was stopped";
  return "whole: the process exited" +
         (recording.end->status ? " with status " + std::to_string(*recording.end->status) : "");
}

void addHeader(const Recording& recording, std::string& out) {
  const journal::Header& header = recording.header;
  const auto add = [&](std::string_view title, const std::string& text) {
    if (text.empty()) return;
    out.append(title).append(12 - title.size(), ' ').append(text).append("\n");
  };
  std::string arguments;
  for (const std::string& word : header.arguments) {
    const bool isPlain = !word.empty() && word.find_first_of(" '\"\\") == std::string::npos;
    arguments.append(arguments.empty() ? "" : " ");
    arguments += isPlain ? printable(word) : '\'' + printable(word) + '\'';
  }
  add("version", std::to_string(header.version));
  add("arguments", arguments);
  add("tool", printable(header.tool));
  add("library", printable(header.library));
  add("clock", printable(header.clock));
  add("redacted", header.redacted ? "yes" : "no");
  add("calls", std::to_string(recording.calls.size()));
  add("updates", std::to_string(recording.updates.size()));
}

/// By entry point and code; calls that never returned come last of theirs, with "-".
Rows countedCalls(const Recording& recording) {
  std::map<std::tuple<std::string_view, bool, int>, std::size_t> counts;
  for (const Call& call : recording.calls) {
    ++counts[{call.point().name, !hasReturned(call), call.code.value_or(0)}];
  }
  Rows rows;
  for (const auto& [key, count] : counts) {
    const auto& [name, isOpen, code] = key;
    rows.push_back({std::string(name), isOpen ? "-" : std::to_string(code), std::to_string(count)});
  }
  return rows;
}

Rows slowestCalls(const Recording& recording) {
  std::vector<const Call*> slowest;
  for (const Call& call : recording.calls) {
    if (hasReturned(call) && call.took > 0) slowest.push_back(&call);
  }
  std::ranges::stable_sort(slowest, std::greater(), &Call::took);
  slowest.resize(std::min(slowest.size(), kSlowest));
  Rows rows;
  for (const Call* call : slowest) {
    const std::string digits = std::to_string(call->took % 1'000'000);
    rows.push_back({std::to_string(call->took / 1'000'000) + '.' +
                        std::string(6 - digits.size(), '0') + digits,
                    std::to_string(*call->code), std::to_string(call->line), describe(*call)});
  }
  return rows;
}

Rows openCalls(const Recording& recording) {
  Rows rows;
  for (const Call& call : recording.calls) {
    if (!hasReturned(call)) rows.push_back({std::to_string(call.line), describe(call)});
  }
  return rows;
}

}  // namespace

int checkJournal(const std::vector<std::string>& words, std::string& out) {
  const Recording recording = journal::readRecording(words[0]);
  bool isWhole = false;
  out += printable(words[0]) + ": " + ending(recording, isWhole) + '\n';
  addHeader(recording, out);
  addTable(out, {{"entry point"}, {"code", true}, {"calls", true}}, countedCalls(recording));
  addTable(out, {{"seconds", true}, {"code", true}, {"line", true}, {"slowest calls"}},
           slowestCalls(recording));
  const Rows open = openCalls(recording);
  addTable(out, {{"line", true}, {"calls that never returned"}}, open);
  return isWhole && open.empty() ? 0 : 1;
}
