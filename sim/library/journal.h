#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/base/time.h"
#include "sim/base/used_files.h"

namespace sim {

/// One line of JSON under construction. Texts come out in ASCII: every other byte is written as the
/// character of its number, so that any bytes make a valid line.
class JsonLine {
 public:
  JsonLine& add(std::string_view key, std::int64_t number);
  JsonLine& add(std::string_view key, std::string_view text);
  JsonLine& add(std::string_view key, std::span<const std::uint32_t> words);
  /// Adds a member that is JSON already.
  JsonLine& addRaw(std::string_view key, std::string_view json);
  [[nodiscard]] std::string text() const { return '{' + members_ + '}'; }

 private:
  std::string members_;
};

/// The record of every call into the library, one line of JSON each, written through at once so
/// that nothing is lost when the process dies. The first line carries the version of the format.
/// When a line cannot be written, the log says so and the journal is closed.
///
/// Threads: not locked; the caller holds the board's lock.
class Journal {
 public:
  static constexpr int kVersion = 1;

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

  /// Writes a line, if the journal is open.
  void write(const JsonLine& line);

  /// Buffers a line, one of a few, for the beginning of a journal that may be opened later.
  void buffer(const JsonLine& line);
  void dropBuffered() { buffered_.clear(); }

 private:
  [[nodiscard]] std::string claim(const UsedFiles& others) const;
  [[nodiscard]] bool append(const std::string& lines) const;

  int descriptor_ = -1;
  std::string file_;
  std::vector<std::string> buffered_;
};

}  // namespace sim
