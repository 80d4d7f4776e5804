#pragma once

#include <cstddef>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "journal/records.h"

namespace journal {

class Parser;

inline constexpr std::size_t kMaxLines = 1'000'000;
inline constexpr std::size_t kMaxFileSize = std::size_t{1} << 30U;
inline constexpr std::size_t kMaxNesting = 4;
inline constexpr std::size_t kMaxMembers = 64;  ///< Of one object.

/// Why a journal was rejected: one complete line, "FILE:LINE:COLUMN: what", without a newline.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads a journal of version 1 or 2, one line at a time. Members that it does not know are
/// ignored; everything else that is not as it should be is rejected with `Error`.
///
/// Memory: in proportion to the line that is read, whatever the file claims.
class Reader {
 public:
  /// `file` stands in messages only. Both must outlive the reader.
  Reader(std::istream& input, std::string file) : input_(input), file_(std::move(file)) {}

  /// The next record; nothing at the end. The header comes first. A call may come as its beginning,
  /// its end, or both; a beginning without an end is a call that never returned.
  std::optional<Record> next();

  /// The line of the record that was read last, without its newline, and its number.
  [[nodiscard]] std::string_view line() const { return line_; }
  [[nodiscard]] std::size_t lineNumber() const { return number_; }

  /// The number of the last line, when the file ends within it. That line is left out.
  [[nodiscard]] std::optional<std::size_t> cutAt() const { return cutAt_; }

 private:
  bool readLine();
  bool takeLine(const Parser& place);
  Record parse();

  std::istream& input_;
  std::string file_;
  std::string line_;
  std::size_t number_ = 0;
  std::size_t size_ = 0;  ///< Of what has been read.
  std::optional<std::size_t> cutAt_;
  int version_ = 0;
  std::int64_t calls_ = 0;  ///< Of a journal that does not number them.
  bool ended_ = false;
  std::vector<bool> begun_;  ///< By the number of the call.
  std::vector<bool> returned_;
};

/// A whole journal.
struct Recording {
  Header header;
  std::vector<Call> calls;  ///< In the order of entry, each once; without a code: never returned.
  std::vector<Update> updates;
  std::vector<FiredRule> rules;
  std::optional<End> end;            ///< Missing: the process was killed.
  std::optional<std::size_t> cutAt;  ///< The number of a last line that is cut.
};

/// Reads a journal from a stream or a file; throws `Error`, also for a file that cannot be opened.
Recording readRecording(std::istream& input, const std::string& file);
Recording readRecording(const std::string& file);

}  // namespace journal
