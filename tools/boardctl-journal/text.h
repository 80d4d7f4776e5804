#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "journal/records.h"

/// On one line, with "\x0A" for a control character and for what is not ASCII.
std::string printable(std::string_view text);

/// The same, in quotation marks; a long text is cut.
std::string inQuotes(std::string_view text);

/// The entry point and what it was called with, on one line. Reserved arguments that are 0 and the
/// sizes of buffers are left out.
std::string describe(const journal::Call& call);

/// The text of that parameter; null when it is none or was not recorded.
const std::string* textOf(const journal::Call& call, std::string_view parameter);

/// The number of that parameter; `otherwise` when it is none or was not recorded.
std::int64_t numberOf(const journal::Call& call, std::string_view parameter,
                      std::int64_t otherwise);

struct Column {
  std::string_view title;
  bool isNumber = false;  ///< Aligned to the right.
};

/// Adds a table with aligned columns, below an empty line; without rows, nothing.
void addTable(std::string& out, const std::vector<Column>& columns,
              const std::vector<std::vector<std::string>>& rows);
