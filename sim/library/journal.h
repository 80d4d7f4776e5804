#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "journal/capture.h"
#include "journal/line.h"
#include "sim/base/time.h"
#include "sim/base/used_files.h"

namespace sim {

/// The record of every call into the library, one line of JSON each, written through at once so
/// that nothing is lost when the process dies. When a line cannot be written, the log says so and
/// the journal is closed. While it is closed, nothing is done for a call.
///
/// Threads: not locked; the caller holds the board's lock.
class Journal {
 public:
  static constexpr int kVersion = 2;

  Journal() = default;
  ~Journal() { close(); }
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// Begins a new file, which no other process may use as a journal until it is closed. Returns why
  /// it cannot be written, or an empty text: a file with another use is refused as it is.
  std::string open(const std::string& file, const UsedFiles& others, std::uint64_t seed,
                   std::string_view clock);
  void close();
  [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }

  /// The regular file that is written.
  [[nodiscard]] std::optional<FileId> file() const { return fileBehind(descriptor_); }

  /// Counts a call, and returns its number; 0 while the journal is closed.
  std::int64_t enter();
  /// Notes that the call of that number returns.
  void leave(std::int64_t number) { inside_ = inside_ && number != entered_; }

  /// Writes the line of a call that has been carried out, or of one that hangs.
  void writeCall(const journal::Capture& capture, std::int64_t number, Time at, int code, Time took,
                 std::optional<std::size_t> fault = {});
  void writeHang(const journal::Capture& capture, std::int64_t number, Time at);
  /// Writes the line of a callback's call: `at` and what it is called with are in the line already.
  void writeUpdate(journal::Line line, std::int64_t registration);
  /// Writes the last line.
  void writeEnd(std::string_view how);
  void write(const journal::Line& line);

  /// Buffers the line of a call, one of a few, for the beginning of a journal that may be opened
  /// later.
  void buffer(const journal::Capture& capture, int code);
  void dropBuffered() { buffered_.clear(); }

 private:
  [[nodiscard]] std::string claim(const UsedFiles& others) const;
  [[nodiscard]] bool append(const std::string& lines) const;

  int descriptor_ = -1;
  std::string file_;
  std::vector<std::string> buffered_;
  std::int64_t entered_ = 0;
  bool inside_ = false;  ///< The call that was entered last has not returned.
};

}  // namespace sim
