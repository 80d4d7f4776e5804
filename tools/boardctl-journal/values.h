#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "journal/records.h"

/// A value as the files of the simulated board spell it.
struct ValueModel {
  std::string json;  ///< Empty: the board cannot have it.
  bool isNumber = false;
  std::string why;  ///< The board cannot have it.
};

/// A text in JSON. It must be UTF-8 without control characters.
std::string jsonText(std::string_view text);

/// What a property has been read as, in the order of the reads; the last one counts. Numbers that
/// only rise, over at least three reads at different times, make a counter if it may be one.
ValueModel modelOf(const std::vector<const journal::Call*>& reads, bool mayCount);
