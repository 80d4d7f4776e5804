#pragma once

#include <stdexcept>

namespace exporter {

/// A command line, or a file that it names, is wrong: one line that says where and what.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace exporter
