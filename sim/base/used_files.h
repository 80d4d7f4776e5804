#pragma once

#include <sys/types.h>

#include <optional>
#include <string_view>
#include <vector>

namespace sim {

/// Tells a regular file from every other one, whatever name leads to it.
struct FileId {
  dev_t device = 0;
  ino_t number = 0;
  friend bool operator==(const FileId&, const FileId&) = default;
};

/// The regular file of that name, or behind that descriptor; nothing when there is none.
std::optional<FileId> fileNamed(const char* name);
std::optional<FileId> fileBehind(int descriptor);

/// Files with what each is used for.
class UsedFiles {
 public:
  /// `use` is what messages call the file: "the manifest". Refers to it.
  void add(std::string_view use, std::optional<FileId> file) {
    if (file) files_.push_back({use, *file});
  }

  /// What the file is used for; empty when it is for nothing.
  [[nodiscard]] std::string_view useOf(std::optional<FileId> file) const;

 private:
  struct Entry {
    std::string_view use;
    FileId file;
  };
  std::vector<Entry> files_;
};

}  // namespace sim
