#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "tools/devmgr-check/isolation.h"

namespace {

int pipeEnd = -1;
struct stat pipeStatus = {};
pid_t ownProcess = 0;
std::uintptr_t stackLimit = 0;

/// The library may have closed the pipe, and its number may be another file's by now.
bool pipeIsOurs() {
  struct stat status = {};
  return fstat(pipeEnd, &status) == 0 && status.st_dev == pipeStatus.st_dev &&
         status.st_ino == pipeStatus.st_ino;
}

/// Safe in signal handlers. A record is short enough for the pipe to take it in one piece.
void sendLine(const char* line, std::size_t size) {
  if (!pipeIsOurs()) _exit(kNoPipe);
  ssize_t sent = 0;
  do {
    sent = write(pipeEnd, line, size);
  } while (sent < 0 && errno == EINTR);
  if (sent < 0) _exit(kNoPipe);
}

/// On one line, without what would act on a terminal.
std::string printable(const std::string& text) {
  constexpr std::size_t kLongest = 500;
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string shown;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (shown.size() >= kLongest) return shown + "...";
    if (byte >= ' ' && byte != 0x7F) {
      shown += character;
    } else {
      shown.append("\\x").append(1, kDigits[byte / 16]).append(1, kDigits[byte % 16]);
    }
  }
  return shown;
}

void send(char letter, const std::string& what, const std::string& detail) {
  if (getpid() != ownProcess) {
    constexpr char kLine[] = "-fork\tboth processes returned to the caller\n";
    sendLine(kLine, sizeof kLine - 1);
    _exit(0);
  }
  const std::string line = letter + printable(what) + '\t' + printable(detail) + '\n';
  sendLine(line.data(), line.size());
}

/// The library may have threads, whose stacks are not looked at.
void onBadAddress(int number, siginfo_t* info, void* /*context*/) {
  constexpr std::uintptr_t kGap = std::uintptr_t{1} << 20;  // what the system leaves free below it
  const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
  if (info->si_code > 0 && address - (stackLimit - kGap) < 2 * kGap) {
    constexpr char kLine[] = {kOverflowRecord, '\t', '\n'};
    sendLine(kLine, sizeof kLine);
  }
  raise(number);  // once it has returned, and with the default action
}

void watchStack() {
  alignas(std::max_align_t) static char stack[1 << 16];
  pthread_attr_t attributes;
  void* lowest = nullptr;
  std::size_t size = 0;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return;
  pthread_attr_getstack(&attributes, &lowest, &size);
  pthread_attr_destroy(&attributes);
  stackLimit = reinterpret_cast<std::uintptr_t>(lowest);
  stack_t alternate = {};
  alternate.ss_sp = stack;
  alternate.ss_size = sizeof stack;
  sigaltstack(&alternate, nullptr);
  struct sigaction action = {};
  action.sa_sigaction = onBadAddress;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | static_cast<int>(SA_RESETHAND);
  sigaction(SIGSEGV, &action, nullptr);
}

[[noreturn]] void onTerminate() {
  const std::exception_ptr thrown = std::current_exception();
  if (thrown == nullptr) std::abort();
  try {
    std::rethrow_exception(thrown);
  } catch (const std::exception& error) {
    send(kExceptionRecord, error.what(), "");
  } catch (...) {
    send(kExceptionRecord, "not a standard one", "");
  }
  _exit(kNoPipe);
}

/// As the tool's process would be, whatever this program's caller has blocked or ignores.
void resetProcess() {
  for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const rlimit noCore = {0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  std::set_terminate(onTerminate);
}

}  // namespace

void runWork(const std::function<void(Report&)>& work, int records) noexcept {
  pipeEnd = records;
  ownProcess = getpid();
  if (fstat(pipeEnd, &pipeStatus) != 0) _exit(kNoPipe);
  resetProcess();
  watchStack();
  Report report({[](Verdict verdict, const std::string& what, const std::string& detail) {
                   send(static_cast<char>(verdict), what, detail);
                 },
                 [](const std::string& place) { send(kPlaceRecord, place, ""); }});
  work(report);
  report.enter(kEnding);
  // As in the case of `dlopen`: a destructor of the library may throw.
  void (*volatile const leave)(int) = std::exit;
  leave(kFinished);
  std::abort();
}
