#include "tools/devmgr-check/isolation.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <system_error>

namespace {

/// For the signal handler: the process and the group that it leads, as far as they exist.
volatile sig_atomic_t watchedGroup = 0;
volatile sig_atomic_t watchedProcess = 0;

void killGroup() {
  if (watchedGroup != 0) kill(-watchedGroup, SIGKILL);
  // The group does not exist until the process has made it.
  if (watchedProcess != 0) kill(watchedProcess, SIGKILL);
}

void onInterrupt(int number) {
  killGroup();
  signal(number, SIG_DFL);
  raise(number);
}

time_t now() {
  timespec time = {};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec;
}

class Pipe {
 public:
  Pipe() {
    if (pipe2(ends_.data(), O_CLOEXEC) != 0) {
      throw std::system_error(errno, std::generic_category());
    }
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    closeReader();
    close(writer());
  }

  [[nodiscard]] int reader() const { return ends_[0]; }
  [[nodiscard]] int writer() const { return ends_[1]; }
  void closeReader() {
    if (ends_[0] >= 0) close(ends_[0]);
    ends_[0] = -1;
  }
  void closeWriter() {
    close(ends_[1]);
    ends_[1] = -1;
  }

 private:
  std::array<int, 2> ends_ = {-1, -1};
};

/// The process that runs the library.
class Isolated {
 public:
  explicit Isolated(Report& report) : report_(report) {}
  Isolated(const Isolated&) = delete;
  Isolated& operator=(const Isolated&) = delete;
  ~Isolated() { stop(); }

  void start(const std::function<void(Report&)>& work);
  /// Until the process has ended or has taken too long.
  void watch();
  void reportEnd();

 private:
  void stop();
  void takeOutput();
  void takeRecords();
  void take(const std::string& record);
  void reap();

  Report& report_;
  Pipe records_;
  Pipe output_;
  pid_t process_ = 0;
  bool ended_ = false;
  bool damaged_ = false;
  int secondsTaken_ = 0;  ///< by a step or by all of them, when that is too long
  int status_ = 0;
  time_t stepEnd_ = 0;
  time_t allEnd_ = 0;
  std::string received_;
  std::string place_ = kLoading;
  std::optional<std::string> exception_;
  bool overflow_ = false;
};

void Isolated::start(const std::function<void(Report&)>& work) {
  signal(SIGCHLD, SIG_DFL);
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    if (signal(number, onInterrupt) == SIG_IGN) signal(number, SIG_IGN);
  }
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, &before);
  process_ = fork();
  if (process_ == 0) {
    setsid();
    records_.closeReader();
    output_.closeReader();
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(null, STDIN_FILENO);
    dup2(output_.writer(), STDOUT_FILENO);
    dup2(output_.writer(), STDERR_FILENO);
    runWork(work, records_.writer());
  }
  const int error = errno;
  watchedGroup = process_ < 0 ? 0 : process_;
  watchedProcess = process_ < 0 ? 0 : process_;
  sigprocmask(SIG_SETMASK, &before, nullptr);
  if (process_ < 0) throw std::system_error(error, std::generic_category());
  records_.closeWriter();
  output_.closeWriter();
  stepEnd_ = now() + kStepSeconds;
  allEnd_ = now() + kAllSeconds;
}

void Isolated::watch() {
  // A process that the library has started may keep the pipes open, so their ends say nothing.
  constexpr int kMilliseconds = 50;
  while (!ended_ && !damaged_ && secondsTaken_ == 0) {
    std::array<pollfd, 2> ends = {{{records_.reader(), POLLIN, 0}, {output_.reader(), POLLIN, 0}}};
    const bool closed = records_.reader() < 0 && output_.reader() < 0;
    reap();
    poll(ends.data(), ends.size(), ended_ ? 0 : closed ? 1 : kMilliseconds);
    if (ends[1].revents != 0) takeOutput();
    if (ends[0].revents != 0) takeRecords();
    if (now() >= stepEnd_) secondsTaken_ = kStepSeconds;
    if (now() >= allEnd_) secondsTaken_ = kAllSeconds;
  }
}

void Isolated::reap() {
  if (ended_ || waitpid(process_, &status_, WNOHANG) != process_) return;
  ended_ = true;
  watchedProcess = 0;
}

void Isolated::stop() {
  killGroup();
  // Not even a kill ends a process that waits in a device driver.
  for (int i = 0; i < 100 && !ended_ && process_ > 0; ++i) {
    reap();
    if (!ended_) poll(nullptr, 0, 10);
  }
  watchedGroup = 0;
  watchedProcess = 0;
}

void Isolated::takeOutput() {
  std::array<char, 1 << 16> buffer;
  const ssize_t size = read(output_.reader(), buffer.data(), buffer.size());
  if (size == 0) output_.closeReader();
  if (size > 0) std::fwrite(buffer.data(), 1, static_cast<std::size_t>(size), stderr);
}

void Isolated::takeRecords() {
  std::array<char, 1 << 16> buffer;
  const ssize_t size = read(records_.reader(), buffer.data(), buffer.size());
  if (size == 0) records_.closeReader();
  if (size <= 0) return;
  received_.append(buffer.data(), static_cast<std::size_t>(size));
  std::size_t begin = 0;
  for (std::size_t end = 0; (end = received_.find('\n', begin)) != std::string::npos && !damaged_;
       begin = end + 1) {
    take(received_.substr(begin, end - begin));
  }
  received_.erase(0, begin);
  damaged_ = damaged_ || received_.size() >= buffer.size();
}

void Isolated::take(const std::string& record) {
  const std::size_t tab = record.find('\t');
  if (tab == std::string::npos) {
    damaged_ = true;
    return;
  }
  const std::string what = record.substr(1, tab - 1);
  const std::string detail = record.substr(tab + 1);
  switch (record[0]) {
    case kPlaceRecord:
      place_ = what;
      stepEnd_ = now() + kStepSeconds;
      break;
    case kExceptionRecord:
      exception_ = what;
      break;
    case kOverflowRecord:
      overflow_ = true;
      break;
    case static_cast<char>(Verdict::good):
    case static_cast<char>(Verdict::bad):
    case static_cast<char>(Verdict::unknown):
      report_.add(static_cast<Verdict>(record[0]), what, detail);
      break;
    default:
      damaged_ = true;
  }
}

void Isolated::reportEnd() {
  const bool ended = ended_;
  stop();
  const std::string in = " in " + place_;
  // The loader may be what crashes, on a damaged file.
  const std::string crashed = "crashed" + (place_ == kLoading ? " while loading" : in) + ": ";
  if (damaged_) {
    report_.unknown("wrote into the pipe of this report" + in);
  } else if (exception_) {
    report_.bad("threw an exception" + in + ": " + *exception_);
  } else if (overflow_) {
    report_.bad(crashed + "stack overflow");
  } else if (!ended) {
    report_.unknown(secondsTaken_ == kStepSeconds
                        ? "no answer from " + place_ + " within " + std::to_string(kStepSeconds) +
                              " seconds"
                        : "not finished within " + std::to_string(kAllSeconds) + " seconds," + in);
  } else if (WIFSIGNALED(status_)) {
    report_.bad(crashed + strsignal(WTERMSIG(status_)));
  } else if (WEXITSTATUS(status_) == kNoPipe) {
    report_.unknown("closed a file descriptor that is not its own" + in);
  } else if (WEXITSTATUS(status_) != kFinished || place_ != kEnding) {
    report_.bad("called exit" + in + ": status " + std::to_string(WEXITSTATUS(status_)));
  }
}

}  // namespace

void runIsolated(const std::function<void(Report&)>& work, Report& report) {
  Isolated isolated(report);
  isolated.start(work);
  isolated.watch();
  isolated.reportEnd();
}
