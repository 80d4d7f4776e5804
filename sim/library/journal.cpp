#include "sim/library/journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "journal/process.h"
#include "sim/base/log.h"

namespace sim {
namespace {

constexpr std::size_t kMaxBuffered = 16;

/// Lies in this library.
constexpr char kHere = 0;

journal::Line lineOf(const journal::Capture& capture, std::int64_t number, Time at,
                     std::optional<std::size_t> fault) {
  journal::Line line;
  capture.begin(line, number, at);
  if (fault) line.add("fault", static_cast<std::int64_t>(*fault));
  return line;
}

}  // namespace

std::string Journal::open(const std::string& file, const UsedFiles& others, std::uint64_t seed,
                          std::string_view clock) {
  file_ = file;
  descriptor_ = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (descriptor_ < 0) return std::string("cannot be opened: ") + std::strerror(errno);
  std::string error = claim(others);
  journal::Line first;
  first.add("journal", kVersion).add("seed", static_cast<std::int64_t>(seed)).add("clock", clock);
  journal::addProcess(first, &kHere);
  entered_ = static_cast<std::int64_t>(buffered_.size());
  inside_ = false;
  std::string lines = first.text() + '\n';
  for (const std::string& line : buffered_) lines += line + '\n';
  if (error.empty() && !append(lines)) {
    error = std::string("cannot be written: ") + std::strerror(errno);
  }
  if (!error.empty()) close();
  return error;
}

// What is no regular file, like a pipe, has no contents to lose and may be shared. A file system
// without locks is no reason to do without a journal.
std::string Journal::claim(const UsedFiles& others) const {
  const std::optional<FileId> id = file();
  if (!id) return "";
  if (const std::string_view use = others.useOf(id); !use.empty()) {
    return "is " + std::string(use) + "; the journal needs a file of its own";
  }
  if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    return "is the journal of another process; each needs a file of its own";
  }
  if (ftruncate(descriptor_, 0) == 0) return "";
  return std::string("cannot be written: ") + std::strerror(errno);
}

bool Journal::append(const std::string& lines) const {
  for (std::string_view rest = lines; !rest.empty();) {
    const ssize_t count = ::write(descriptor_, rest.data(), rest.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) rest.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void Journal::close() {
  if (isOpen()) ::close(std::exchange(descriptor_, -1));
}

std::int64_t Journal::enter() {
  if (!isOpen()) return 0;
  inside_ = true;
  return ++entered_;
}

void Journal::write(const journal::Line& line) {
  if (!isOpen() || append(line.text() + '\n')) return;
  logLine(Level::error, file_ + ": the journal ends here: " + std::strerror(errno));
  close();
}

void Journal::writeCall(const journal::Capture& capture, std::int64_t number, Time at, int code,
                        Time took, std::optional<std::size_t> fault) {
  if (!isOpen()) return;
  journal::Line line = lineOf(capture, number, at, fault);
  capture.end(line, code, took);
  write(line);
}

void Journal::writeHang(const journal::Capture& capture, std::int64_t number, Time at) {
  if (isOpen()) write(lineOf(capture, number, at, {}).close().add("hang", 1));
}

void Journal::writeUpdate(journal::Line line, std::int64_t registration) {
  line.add("registration", registration).add("after", entered_);
  if (inside_) line.add("during", 1);
  write(line);
}

void Journal::writeEnd(std::string_view how) {
  write(journal::Line().add("end", how).add("calls", entered_));
}

void Journal::buffer(const journal::Capture& capture, int code) {
  if (buffered_.size() == kMaxBuffered) return;
  journal::Line line = lineOf(capture, static_cast<std::int64_t>(buffered_.size()) + 1, 0, {});
  capture.end(line, code, 0);
  buffered_.push_back(line.text());
}

}  // namespace sim
