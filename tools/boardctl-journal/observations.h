#pragma once

#include <array>
#include <compare>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "journal/reader.h"
#include "sim/base/kinds.h"

inline constexpr int kMaxDevices = 255;  ///< Of one kind, as a manifest takes them.

/// What a fault rule of the simulated board can tell apart. A kind, a number or a mode below 0 and
/// an empty property stand for none.
struct Question {
  std::string_view operation;  ///< As a profile spells it.
  std::string property;
  int kind = -1;
  int id = -1;
  int mode = -1;
  // NOLINTNEXTLINE(modernize-use-nullptr): there is no pointer; the check mistakes the default.
  auto operator<=>(const Question&) const = default;
};

struct ListedName {
  std::string name;
  int kind = 0;
  std::size_t line = 0;  ///< Where it was seen first.
  bool isListed = false;
};

/// The calls of a recording that say something about the board, made while the manager ran.
struct Observations {
  std::vector<ListedName> names;  ///< Each once, those of the listings first.
  std::array<bool, kDeviceKinds.size()> isListed{};
  std::map<Question, std::vector<const journal::Call*>> calls;  ///< In their order.
  std::vector<const journal::Call*> rawRequests;
  std::vector<const journal::Call*> unknown;  ///< No board can answer them, or be told how.
};

/// Refers to the recording.
Observations observe(const journal::Recording& recording);
