#pragma once

#include <string>

namespace exporter {

/// Where each collection goes. All functions raise `std::system_error` with what failed.
class Output {
 public:
  /// Empty: standard output. A file is kept from other instances by a lock on FILE.lock, which the
  /// process of the library holds as well: as long as one cannot be killed, no other is started.
  explicit Output(std::string file);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output();

  /// The file is the old one or the new one at any time. The new one is written as FILE.tmp, which
  /// replaces what an earlier run may have left.
  void deliver(const std::string& text) const;
  void remove() const;

 private:
  std::string file_;
  std::string temporary_;
  int lock_ = -1;
};

}  // namespace exporter
