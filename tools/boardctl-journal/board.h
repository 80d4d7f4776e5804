#pragma once

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/boardctl-journal/observations.h"
#include "tools/boardctl-journal/values.h"

struct BoardProperty {
  std::string name;
  int kind = 0;
  bool isWritable = false;
  bool isClearable = false;
  std::map<int, ValueModel> values;  ///< By the device's number.
};

/// A call that fails, always or every so many times, or never returns.
struct BoardFault {
  Question of;              ///< No number: every device of the kind.
  std::optional<int> code;  ///< Missing: the call hangs.
  std::int64_t every = 1;
  std::size_t line = 0;  ///< Of the recording, where it came last.

  [[nodiscard]] bool isSameAs(const BoardFault& other) const {
    return code == other.code && every == other.every;
  }
};

struct LeftOut {
  std::size_t line = 0;
  std::string what;
};

/// A simulated board that answers as the recorded one did.
struct Board {
  std::array<int, kDeviceKinds.size()> counts{};
  std::set<std::pair<int, int>> absent;  ///< Kind and number.
  std::vector<BoardProperty> properties;
  std::vector<BoardFault> faults;
  std::vector<LeftOut> leftOut;
};

Board boardOf(const Observations& observations);
