#include "tools/boardctl-journal/board.h"

#include <algorithm>
#include <tuple>

#include "sim/base/codes.h"
#include "tools/boardctl-journal/text.h"

namespace {

using journal::Call;
using Calls = std::vector<const Call*>;

constexpr std::size_t kMaxName = 255;
constexpr std::size_t kMaxProperties = 4096;

bool isName(const std::string& name) {
  return !name.empty() && name.size() <= kMaxName &&
         std::ranges::all_of(name, [](char c) { return c > 0x20 && c < 0x7f; });
}

/// The fault that the calls show; nothing when they succeed.
std::optional<BoardFault> faultOf(const Question& of, const Calls& calls) {
  const Call* failed = nullptr;
  std::int64_t failures = 0;
  for (const Call* call : calls) {
    if (call->code == 0) continue;
    failed = call;
    ++failures;
  }
  if (failed == nullptr) return {};
  BoardFault fault{of, failed->code, 1, failed->line};
  const auto count = static_cast<std::int64_t>(calls.size());
  // The first of them succeeds, so that the value is seen.
  if (failed != calls.back()) fault.every = std::max<std::int64_t>(2, count / failures);
  return fault;
}

class BoardMaker {
 public:
  explicit BoardMaker(const Observations& observations) : observations_(observations) {
    findDevices();
    findProperties();
    findValues();
    findFaults();
    for (const Call* call : observations.unknown) {
      leaveOut(call->line, describe(*call) + ": no file can say how it is answered");
    }
    if (!observations.rawRequests.empty()) {
      const std::size_t count = observations.rawRequests.size();
      leaveOut(observations.rawRequests.front()->line,
               std::to_string(count) + (count == 1 ? " raw request" : " raw requests") +
                   ", this and later ones: the board has its built-in postbox");
    }
    std::ranges::stable_sort(board_.leftOut, {}, &LeftOut::line);
  }

  Board take() { return std::move(board_); }

 private:
  using DeviceKey = std::pair<int, int>;

  /// What all the calls of a device have in common.
  struct Seen {
    std::set<int> codes;
    std::set<std::string_view> properties;
    bool hangs = false;
    std::size_t line = 0;
  };

  void leaveOut(std::size_t line, std::string what) {
    board_.leftOut.push_back({line, std::move(what)});
  }

  void findDevices() {
    std::map<DeviceKey, Seen> devices;
    for (const auto& [question, calls] : observations_.calls) {
      if (question.id < 0) continue;
      for (const Call* call : calls) {
        // Which properties there are does not depend on the device.
        if (call->code == sim::kNoSuchProperty) continue;
        Seen& seen = devices[{question.kind, question.id}];
        if (call->code) seen.codes.insert(*call->code);
        seen.hangs |= !call->code;
        seen.properties.insert(question.property);
        seen.line = std::max(seen.line, call->line);
      }
    }
    for (const auto& [key, seen] : devices) {
      const bool isUnknown = !seen.hangs && seen.codes == std::set<int>{sim::kNoSuchDevice};
      int& count = board_.counts[static_cast<std::size_t>(key.first)];
      if (!isUnknown) count = std::max(count, key.second + 1);
    }
    for (int kind = 0; kind < static_cast<int>(kDeviceKinds.size()); ++kind) {
      for (int id = 0; id < countOf(kind); ++id) {
        const auto found = devices.find({kind, id});
        if (found == devices.end()) {
          board_.absent.emplace(kind, id);
        } else {
          findDeviceFault({kind, id}, found->second);
        }
      }
    }
  }

  void findDeviceFault(const DeviceKey& key, const Seen& seen) {
    if (seen.hangs || seen.codes.size() != 1 || seen.codes.contains(sim::kOk)) return;
    const int code = *seen.codes.begin();
    if (code == sim::kDeviceAbsent) {
      board_.absent.insert(key);
    } else if (seen.properties.size() > 1 || code == sim::kNoSuchDevice) {
      failed_.insert(key);
      board_.faults.push_back({{"", "", key.first, key.second, -1}, code, 1, seen.line});
    }
  }

  [[nodiscard]] int countOf(int kind) const {
    return board_.counts[static_cast<std::size_t>(kind)];
  }

  /// The names of the listings, and of the others those that the board must know to answer alike.
  void findProperties() {
    std::set<std::string_view> answered;
    std::map<std::string_view, const Call*> refused;
    for (const auto& [question, calls] : observations_.calls) {
      for (const Call* call : calls) {
        if (call->code == 0) {
          answered.insert(question.property);
        } else if (call->code != sim::kNoSuchProperty) {
          refused[question.property] = call;
        }
      }
    }
    for (const ListedName& name : observations_.names) {
      const bool isListed = observations_.isListed[static_cast<std::size_t>(name.kind)];
      const bool isAnswered = answered.contains(name.name);
      if (!name.isListed && !isAnswered && (isListed || !refused.contains(name.name))) {
        if (const auto call = refused.find(name.name); call != refused.end()) {
          leaveOut(call->second->line, describe(*call->second) + ": not in the listing");
        }
      } else if (!isName(name.name)) {
        leaveOut(name.line, inQuotes(name.name) + ": not a name that the board can have");
      } else if (board_.properties.size() == kMaxProperties) {
        leaveOut(name.line, inQuotes(name.name) + ": the board has " +
                                std::to_string(kMaxProperties) + " properties already");
      } else {
        places_.emplace(name.name, board_.properties.size());
        board_.properties.push_back({name.name, name.kind, false, false, {}});
      }
    }
  }

  BoardProperty* find(std::string_view name) {
    const auto place = places_.find(name);
    return place == places_.end() ? nullptr : &board_.properties[place->second];
  }

  void findValues() {
    std::map<DeviceProperty, Calls> reads;
    for (const auto& [question, calls] : observations_.calls) {
      BoardProperty* const property = find(question.property);
      if (property == nullptr) continue;
      for (const Call* call : calls) {
        if (call->code != 0) continue;
        property->isWritable |= question.operation == "set";
        property->isClearable |= question.operation == "clear";
        if (question.operation == "get" && textOf(*call, "value") != nullptr) {
          reads[{question.property, question.id}].push_back(call);
        }
      }
    }
    for (auto& [key, calls] : reads) {
      BoardProperty& property = *find(key.first);
      std::ranges::stable_sort(calls, {}, &Call::number);
      ValueModel model = modelOf(calls, !property.isWritable && !property.isClearable);
      if (model.json.empty()) {
        leaveOut(calls.back()->line,
                 sim::nameOf({property.kind, key.second}) + ' ' + property.name + ": " + model.why);
      } else {
        property.values.emplace(key.second, std::move(model));
      }
    }
  }

  void findFaults() {
    std::vector<BoardFault> faults;
    for (const auto& [question, calls] : observations_.calls) {
      auto fault = faultOf(question, calls);
      if (!fault || !needsRule(*fault)) continue;
      const bool isMixed =
          std::ranges::any_of(calls, [](const Call* call) { return call->code == 0; });
      if (question.kind < 0 && isMixed) {
        leaveOut(fault->line, describe(*calls.front()) + ": succeeds and fails by turns");
      } else if (question.operation == "set" && isMixed) {
        leaveOut(fault->line, sim::nameOf({question.kind, question.id}) + ' ' + question.property +
                                  ": whether it can be set depends on the value");
      } else if (!fault->code && question.operation == "init") {
        leaveOut(fault->line, "GPUManagerInit never returned: no file can say so");
      } else {
        faults.push_back(dropMode(std::move(*fault)));
      }
    }
    joinAlike(faults);
    // A call that hangs must not be answered by a rule before it.
    std::ranges::stable_sort(board_.faults, {},
                             [](const BoardFault& f) { return f.code.has_value(); });
  }

  /// Whether the board would answer in another way without a rule.
  bool needsRule(const BoardFault& fault) {
    const Question& of = fault.of;
    if (of.kind < 0) return true;
    const BoardProperty* const property = find(of.property);
    const DeviceKey device{of.kind, of.id};
    if (property == nullptr || of.id >= countOf(of.kind)) return false;
    if (board_.absent.contains(device) || failed_.contains(device)) return false;
    if (of.operation == "set" && fault.code == sim::kNotWritable) return property->isWritable;
    if (of.operation == "clear" && fault.code == sim::kNotClearable) return property->isClearable;
    return true;
  }

  /// The access mode matters only where the other one does not fail alike.
  BoardFault dropMode(BoardFault fault) const {
    if (fault.of.mode < 0) return fault;
    Question other = fault.of;
    other.mode = 1 - fault.of.mode;
    const auto calls = observations_.calls.find(other);
    const auto same = calls == observations_.calls.end() ? fault : faultOf(other, calls->second);
    if (same && same->isSameAs(fault)) fault.of.mode = -1;
    return fault;
  }

  /// One rule for all devices of a kind, where every one of them always fails alike.
  void joinAlike(const std::vector<BoardFault>& faults) {
    using Alike = std::tuple<Question, std::optional<int>, std::int64_t>;
    const auto keyOf = [](const BoardFault& fault, int id) {
      Question of = fault.of;
      of.id = id;
      return Alike(std::move(of), fault.code, fault.every);
    };
    std::map<Alike, std::set<int>> devices;
    for (const BoardFault& fault : faults) devices[keyOf(fault, -1)].insert(fault.of.id);
    std::map<Alike, std::size_t> rules;
    for (BoardFault fault : faults) {
      const std::size_t count = devices[keyOf(fault, -1)].size();
      const bool isJoined =
          count > 1 && fault.every == 1 && static_cast<int>(count) == countOf(fault.of.kind);
      if (isJoined) fault.of.id = -1;
      const auto [rule, isNew] = rules.emplace(keyOf(fault, fault.of.id), board_.faults.size());
      if (isNew) board_.faults.push_back(fault);
      std::size_t& line = board_.faults[rule->second].line;
      line = std::max(line, fault.line);
    }
  }

  using DeviceProperty = std::pair<std::string, int>;

  const Observations& observations_;
  std::map<std::string_view, std::size_t> places_;
  std::set<DeviceKey> failed_;  ///< Those whose every call fails by one rule.
  Board board_;
};

}  // namespace

Board boardOf(const Observations& observations) { return BoardMaker(observations).take(); }
