#include "record/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "journal/redaction.h"

namespace record {
namespace {

/// Room for the line that says why the recording ends.
constexpr off_t kReserve = 64;

/// Keeps the signals that a write may raise from this thread, and those that were raised meanwhile
/// from the process.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigemptyset(&held_);
    sigaddset(&held_, SIGPIPE);
    sigaddset(&held_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &held_, &before_);
  }
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

  /// A signal that was already waiting for the process to take it stays one.
  void consume() const {
    const timespec now{};
    for (const int number : {SIGPIPE, SIGXFSZ}) {
      if (sigismember(&before_, number) != 0) continue;
      sigset_t one;
      sigemptyset(&one);
      sigaddset(&one, number);
      sigtimedwait(&one, nullptr, &now);
    }
  }

 private:
  sigset_t held_;
  sigset_t before_;
};

int writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

}  // namespace

void writeQuietly(int descriptor, std::string_view text) {
  const SignalsHeld held;
  if (writeAll(descriptor, text) != 0) held.consume();
}

int File::open(const char* name, off_t limit) {
  constexpr int kAboveOthers = 100;
  const int descriptor = ::open(name, O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY);
  if (descriptor < 0) return errno;
  for (int lowest = kAboveOthers; descriptor_ < 0 && lowest > 2; lowest /= 3) {
    descriptor_ = fcntl(descriptor, F_DUPFD_CLOEXEC, lowest);
  }
  int error = descriptor_ < 0 ? errno : 0;
  ::close(descriptor);
  struct stat status = {};
  if (error == 0 && fstat(descriptor_, &status) != 0) error = errno;
  if (error == 0 && flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    error = EBUSY;
  }
  if (error == 0 && (!S_ISREG(status.st_mode) || status.st_size != 0)) error = EEXIST;
  if (error != 0 && isOpen()) {
    ::close(descriptor_);
    descriptor_ = -1;
  }
  limit_ = limit;
  return error;
}

/// A write beyond the limit of the system would raise a signal. The limit hardly ever changes, and
/// to ask for it costs half as much as to write a line.
int File::checkSystemLimit(off_t added) {
  constexpr off_t kInterval = 64 << 10;
  if (size_ + added > checkedUpTo_) {
    rlimit limit = {};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0) return errno;
    checkedUpTo_ = size_ + added + kInterval;
    const auto end = static_cast<rlim_t>(checkedUpTo_);
    if (limit.rlim_cur < end) checkedUpTo_ = static_cast<off_t>(limit.rlim_cur);
  }
  return size_ + added > checkedUpTo_ ? EFBIG : 0;
}

int File::append(std::string_view lines, bool isLast) {
  const auto added = static_cast<off_t>(lines.size());
  if (added > limit_ - size_ - (isLast ? 0 : kReserve)) return EFBIG;
  if (const int error = checkSystemLimit(added); error != 0) return error;
  const int error = writeAll(descriptor_, lines);
  if (error == 0) {
    size_ += added;
  } else if (ftruncate(descriptor_, size_) == 0) {
    lseek(descriptor_, size_, SEEK_SET);
  }
  return error;
}

int File::addSlot() {
  std::string blank(kSlotSize, ' ');
  blank.back() = '\n';
  const off_t at = size_;
  if (const int error = append(blank); error != 0) return error;
  const off_t page = at / sysconf(_SC_PAGESIZE) * sysconf(_SC_PAGESIZE);
  const auto before = static_cast<std::size_t>(at - page);
  void* const place =
      mmap(nullptr, before + kSlotSize, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, page);
  if (place != MAP_FAILED) slot_ = static_cast<char*>(place) + before;
  return 0;
}

bool File::takeSlot(std::string_view line) {
  const std::string_view text = line.substr(0, line.size() - 1);
  if (slot_ == nullptr || used_ != 0 || text.size() >= kSlotSize) return false;
  used_ = text.size();
  std::memcpy(slot_ + 1, text.data() + 1, text.size() - 1);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  std::atomic_ref(*slot_).store(text[0], std::memory_order_release);
  return true;
}

void File::freeSlot() {
  if (used_ == 0) return;
  std::atomic_ref(*slot_).store(' ', std::memory_order_seq_cst);
  std::memset(slot_, ' ', used_);
  used_ = 0;
}

int File::replace(const journal::Replacements& replacements) const {
  const auto size = static_cast<std::size_t>(size_);
  void* const place = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor_, 0);
  if (place == MAP_FAILED) return errno;
  const char* const begin = static_cast<char*>(place);
  int error = 0;
  for (const char *line = begin, *end = begin; error == 0 && line != begin + size; line = end + 1) {
    end = std::find(line, begin + size, '\n');
    const std::string_view old(line, end);
    const std::string changed = journal::applyInPlace(replacements, old);
    if (changed == old) continue;
    const ssize_t count = pwrite(descriptor_, changed.data(), changed.size(), line - begin);
    if (count < 0) error = errno;
  }
  munmap(place, size);
  return error;
}

int File::clear() {
  if (slot_ != nullptr) std::memset(slot_, ' ', kSlotSize);
  slot_ = nullptr;
  used_ = 0;
  size_ = 0;
  limit_ = 0;
  return ftruncate(descriptor_, 0) == 0 && lseek(descriptor_, 0, SEEK_SET) == 0 ? 0 : errno;
}

}  // namespace record
