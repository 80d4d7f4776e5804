#include "sim/base/used_files.h"

#include <sys/stat.h>

#include <algorithm>

namespace sim {
namespace {

std::optional<FileId> identify(const struct stat& about) {
  if (!S_ISREG(about.st_mode)) return {};
  return FileId{about.st_dev, about.st_ino};
}

}  // namespace

std::optional<FileId> fileNamed(const char* name) {
  struct stat about {};
  return stat(name, &about) == 0 ? identify(about) : std::nullopt;
}

std::optional<FileId> fileBehind(int descriptor) {
  struct stat about {};
  return fstat(descriptor, &about) == 0 ? identify(about) : std::nullopt;
}

std::string_view UsedFiles::useOf(std::optional<FileId> file) const {
  if (!file) return "";
  const auto found = std::ranges::find(files_, *file, &Entry::file);
  return found == files_.end() ? "" : found->use;
}

}  // namespace sim
