#include "tools/boardctl-journal/files.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace {

[[noreturn]] void rejectFile(const std::string& name, const std::string& why) {
  throw std::runtime_error(name + ": " + why);
}

std::string lastError() { return std::generic_category().message(errno); }

}  // namespace

JournalFile::JournalFile(const std::string& name) : name_(name), stream_(name, std::ios::binary) {
  if (!stream_) rejectFile(name, "cannot be opened: " + lastError());
}

std::istream& JournalFile::fromStart() {
  stream_.clear();
  if (!stream_.seekg(0)) rejectFile(name_, "cannot be read twice: " + lastError());
  return stream_;
}

std::optional<std::size_t> JournalFile::read(
    const std::function<void(const journal::Record&, const journal::Reader&)>& take) {
  journal::Reader reader(fromStart(), name_);
  while (const auto record = reader.next()) take(*record, reader);
  return reader.cutAt();
}

NewFile::NewFile(const std::string& name) : name_(name), temporary_(name + ".XXXXXX") {
  if (faccessat(AT_FDCWD, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0) {
    rejectFile(name, "exists already");
  }
  descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
  if (descriptor_ < 0) rejectFile(name, "cannot be created: " + lastError());
}

NewFile::~NewFile() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void NewFile::fail() const { rejectFile(name_, "cannot be written: " + lastError()); }

void NewFile::write(std::string_view text) {
  constexpr std::size_t kEnough = std::size_t{1} << 16U;
  waiting_ += text;
  if (waiting_.size() >= kEnough) flush();
}

void NewFile::flush() {
  for (std::string_view rest = waiting_; !rest.empty();) {
    const ssize_t count = ::write(descriptor_, rest.data(), rest.size());
    if (count < 0 && errno != EINTR) fail();
    if (count > 0) rest.remove_prefix(static_cast<std::size_t>(count));
  }
  waiting_.clear();
}

void NewFile::finish() {
  flush();
  if (fsync(descriptor_) != 0 && errno != EINVAL) fail();
  if (close(std::exchange(descriptor_, -1)) != 0) fail();
  // Not every file system can keep a file that has come into being meanwhile.
  if (renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, name_.c_str(), RENAME_NOREPLACE) != 0 &&
      (errno != EINVAL || std::rename(temporary_.c_str(), name_.c_str()) != 0)) {
    fail();
  }
  temporary_.clear();
}
