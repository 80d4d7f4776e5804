#include "tools/boardctl-export/output.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <system_error>

#include "tools/boardctl-export/process.h"

namespace exporter {
namespace {

constexpr int kFlags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW;

[[noreturn]] void fail(const std::string& what, int error = errno) {
  throw std::system_error(error, std::generic_category(), what);
}

void writeAll(int file, const std::string& text, const std::string& name) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t written = write(file, text.data() + done, text.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(name);
    done += static_cast<std::size_t>(written);
  }
}

}  // namespace

Output::Output(std::string file) : file_(std::move(file)), temporary_(file_ + ".tmp") {
  if (file_.empty()) return;
  const std::string name = file_ + ".lock";
  lock_ = open(name.c_str(), kFlags, 0644);
  if (lock_ < 0) fail(name);
  // The process of an instance that was killed may end a little later than it.
  const auto end = Clock::now() + std::chrono::seconds(1);
  while (flock(lock_, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) fail(name);
    if (Clock::now() >= end || interrupted()) {
      throw std::runtime_error(name +
                               ": held by another instance, or by its process of the library");
    }
    waitUntil(Clock::now() + std::chrono::milliseconds(10));
  }
}

Output::~Output() {
  if (lock_ >= 0) close(lock_);
}

void Output::deliver(const std::string& text) const {
  if (file_.empty()) {
    writeAll(STDOUT_FILENO, text, "standard output");
    return;
  }
  const int file = open(temporary_.c_str(), kFlags | O_TRUNC, 0600);
  if (file < 0) fail(temporary_);
  try {
    writeAll(file, text, temporary_);
    if (fchmod(file, 0644) != 0 || fsync(file) != 0) fail(temporary_);
    if (rename(temporary_.c_str(), file_.c_str()) != 0) fail(file_);
  } catch (...) {
    close(file);
    unlink(temporary_.c_str());
    throw;
  }
  close(file);
}

void Output::remove() const {
  if (!file_.empty() && unlink(file_.c_str()) != 0 && errno != ENOENT) fail(file_);
}

}  // namespace exporter
