#pragma once

#include <fstream>
#include <functional>
#include <string>
#include <string_view>

#include "journal/reader.h"

/// The journal in a file, which can be read several times.
class JournalFile {
 public:
  explicit JournalFile(const std::string& name);

  /// Reads it from its beginning, with each record and the reader that has just read it.
  /// Returns the number of the last line, which is left out, if the file ends within it.
  std::optional<std::size_t> read(
      const std::function<void(const journal::Record&, const journal::Reader&)>& take);

  [[nodiscard]] const std::string& name() const { return name_; }
  std::istream& fromStart();

 private:
  std::string name_;
  std::ifstream stream_;
};

/// A file under construction, which gets its name only when it is complete. Nobody else can read
/// it.
class NewFile {
 public:
  /// Rejects a name that exists.
  explicit NewFile(const std::string& name);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  void write(std::string_view text);
  void finish();

 private:
  void flush();
  [[noreturn]] void fail() const;

  std::string name_;
  std::string temporary_;
  std::string waiting_;
  int descriptor_ = -1;
};
