#include "tools/boardctl-export/process.h"

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <new>
#include <system_error>

namespace exporter {
namespace {

using std::chrono::milliseconds;

bool signalled = false;
int signals = -1;  ///< A file that can be read when a signal is held back.

/// For a negative number of a file, waits only.
void waitFor(int file, Clock::time_point end) {
  const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
  const auto time = std::clamp(left, milliseconds(0), milliseconds(std::chrono::hours(1)));
  pollfd entries[] = {{signals, POLLIN, 0}, {file, POLLIN, 0}};
  if (poll(entries, std::size(entries), static_cast<int>(time.count())) <= 0) return;
  signalfd_siginfo signal;
  if (read(signals, &signal, sizeof signal) == sizeof signal) signalled = true;
}

}  // namespace

void holdSignals() {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  signal(SIGCHLD, SIG_DFL);
  sigset_t held;
  sigemptyset(&held);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    struct sigaction before = {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaddset(&held, number);
  }
  sigprocmask(SIG_BLOCK, &held, nullptr);
  signals = signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK);
}

bool interrupted() { return signalled; }

void waitUntil(Clock::time_point end) {
  while (!interrupted() && Clock::now() < end) waitFor(-1, end);
}

Process::Process() {
  void* const memory =
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "memory");
  shared_ = new (memory) Shared;
}

Process::~Process() {
  kill();
  munmap(shared_, sizeof(Shared));
}

int Process::start(const Settings& settings) {
  std::array<int, 2> ends = {};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return errno;
  shared_->written = 0;
  taken_ = 0;
  full_ = ended_ = false;
  status_ = 0;
  const pid_t parent = getpid();
  id_ = fork();
  if (id_ == 0) {
    close(ends[0]);
    runChild(settings, *shared_, ends[1], parent);
  }
  const int error = errno;
  close(ends[1]);
  socket_ = ends[0];
  if (id_ > 0) {
    setpgid(id_, id_);
    return 0;
  }
  close(socket_);
  id_ = 0;
  return error;
}

void Process::ask(const std::vector<Request>& requests) {
  shared_->written = 0;
  taken_ = 0;
  send(socket_, requests.data(), requests.size() * sizeof(Request), MSG_NOSIGNAL);
}

bool Process::takeFrame(Frame& frame, std::string_view& text) {
  const std::size_t written = shared_->written.load(std::memory_order_acquire);
  if (written == taken_) return false;
  frame.mark = 0;
  const std::size_t begin = taken_ + sizeof frame;
  if (written > Shared::kSize || written < begin) return true;
  // Copied before they are looked at: a thread of the library may change them.
  std::memcpy(&frame, shared_->frames.data() + taken_, sizeof frame);
  if (frame.size > kLongestText || frame.size > written - begin) frame.mark = 0;
  if (frame.mark != Frame::kMark) return true;
  std::memcpy(text_.data(), shared_->frames.data() + begin, frame.size);
  text = {text_.data(), frame.size};
  taken_ = begin + frame.size;
  return true;
}

void Process::look() {
  std::array<char, 64> notes;
  const ssize_t size = recv(socket_, notes.data(), notes.size(), MSG_DONTWAIT);
  if (size > 0) full_ = std::ranges::count(notes.begin(), notes.begin() + size, kFull) > 0;
  ended_ = size == 0 || (size < 0 && errno != EAGAIN && errno != EINTR);
}

Process::Event Process::next(Clock::duration time, Clock::time_point end, Frame& frame,
                             std::string_view& text) {
  // How much later than its time a read may be noticed: nothing tells of each answer.
  constexpr milliseconds kTick{20};
  if (!takeFrame(frame, text)) {
    const Clock::time_point due = Clock::now() + time;
    const Clock::time_point limit = std::min(due, end);
    for (bool last = false; !takeFrame(frame, text); look()) {
      if (ended_ && last) return Event::ended;
      if (interrupted()) return Event::interrupted;
      const Clock::time_point now = Clock::now();
      if (full_ && !ended_) {
        full_ = false;
        ask({kGoOn});
      } else if (!ended_ && now >= limit) {
        return due < end ? Event::late : Event::over;
      }
      // What was written before the end is looked at once more.
      last = ended_;
      if (!ended_) waitFor(socket_, std::min(limit, now + kTick));
    }
  }
  return frame.mark == Frame::kMark ? Event::frame : Event::damaged;
}

bool Process::reap(milliseconds time) {
  const auto end = Clock::now() + time;
  while (waitpid(id_, &status_, WNOHANG) != id_) {
    if (Clock::now() >= end) return false;
    waitFor(-1, std::min(end, Clock::now() + milliseconds(2)));
  }
  id_ = 0;
  return true;
}

void Process::stop(milliseconds time) {
  if (!exists()) return;
  shutdown(socket_, SHUT_WR);
  reap(time);
  kill();
}

bool Process::kill() {
  constexpr milliseconds kEnough{1000};
  if (socket_ >= 0) close(socket_);
  socket_ = -1;
  if (!exists()) return true;
  // The group as well: the library may have started processes.
  ::kill(-id_, SIGKILL);
  ::kill(id_, SIGKILL);
  return reap(kEnough);
}

std::string Process::end() const {
  if (WIFSIGNALED(status_)) return strsignal(WTERMSIG(status_));
  return "it ended with status " + std::to_string(WEXITSTATUS(status_));
}

}  // namespace exporter
