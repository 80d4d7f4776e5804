#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace journal {
class Replacements;
}

namespace record {

/// The file of a recording: whole lines, and the slot, a line of fixed size that is mapped into
/// memory. What is in the slot survives the process without a `write`.
///
/// Functions that return an `int` return 0 or an error number. No signal that a write raises
/// reaches the process. Threads: the caller locks.
class File {
 public:
  static constexpr std::size_t kSlotSize = 4096;

  /// Takes over a file that is empty and belongs to no other recording. Its descriptor is none that
  /// the process would have got.
  int open(const char* name, off_t limit);
  [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }

  /// Writes whole lines with one `write`, or cuts them off again. `EFBIG`: they exceed the limit.
  int append(std::string_view lines, bool isLast = false);

  /// Adds the slot. Without shared mappings the file gets none.
  int addSlot();
  /// Puts a line into the slot, if there is one, it is free, and the line fits.
  bool takeSlot(std::string_view line);
  void freeSlot();

  /// Replaces in all lines.
  int replace(const journal::Replacements& replacements) const;

  /// Empties the file, into which nothing can be written any more.
  int clear();

 private:
  int checkSystemLimit(off_t added);

  int descriptor_ = -1;
  off_t size_ = 0;
  off_t limit_ = 0;
  off_t checkedUpTo_ = 0;
  char* slot_ = nullptr;
  std::size_t used_ = 0;
};

/// Writes a text; no signal is raised.
void writeQuietly(int descriptor, std::string_view text);

}  // namespace record
