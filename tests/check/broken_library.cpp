#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "devmgr/data_info.h"
#include "devmgr/manager.h"
#include "devmgr/properties.h"

/// A small device library with one fault; with none it fits. A fault of the file is chosen when the
/// library is compiled. A fault of what it does is chosen by the environment: DEVMGR_FAULT holds
/// the place, a blank and the fault.

#ifdef SMALL_LOGGER
extern DEVMGR_API char smallLogger[8] __asm__("logger");
char smallLogger[8];
#endif

// What is hidden in one object is hidden in the whole library.
#if defined(ENTRY_POINT_MISSING) || defined(CXX_LINKAGE)
__asm__(".hidden TesselCmd");
#elif defined(NO_COPY_CONSTRUCTOR)
__asm__(".hidden _ZN9data_info8DataInfoC1ERKS0_");
#elif defined(VECTOR_FORM_MISSING)
__asm__(
    ".hidden _Z28DeviceGetSupportedPropertiesi"
    "RSt6vectorINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEESaIS5_EES8_");
#endif

void value_type::ValueType::onChange() {}
void data_info::DataInfo::onChange() {}

namespace {

constexpr const char* kListing = "gpu.a\ngpu.b";

bool wanted(const std::string& place, const char* fault) {
  const char* const wish = std::getenv("DEVMGR_FAULT");
  return wish != nullptr && place + ' ' + fault == wish;
}

int overflow(volatile char* above) {
  if (above == nullptr) return 0;
  volatile char frame[4096];
  frame[0] = above[0];
  return overflow(frame) + frame[0];
}

/// By the clock of the checking program, as it does nothing but wait.
void passHalfAMinute() {
  const char* const request = std::getenv("SKIP_WAIT_HALF_MINUTE");
  if (request == nullptr) {
    pause();
    return;
  }
  close(open(request, O_CREAT | O_WRONLY, 0600));
  while (access(request, F_OK) == 0) usleep(1000);
}

[[noreturn]] void hang() {
  for (;;) passHalfAMinute();
}

[[noreturn]] void hangUninterrupted() {
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, nullptr);
  alarm(0);
  signal(SIGALRM, SIG_IGN);
  hang();
}

void closeEverything() {
  for (int file = 0; file < 256; ++file) close(file);
}

void writeEverywhere() {
  int written = 0;
  for (int file = 0; file < 256; ++file) written += write(file, "+\n", 2) > 0;
  if (written == 0) std::abort();
}

/// Another process, which is still there when the checking program looks at the end of this one and
/// holds all that is open.
void leaveProcess() {
  const pid_t checker = getppid();
  if (fork() != 0) return;
  setsid();
  while (kill(checker, 0) == 0) usleep(1000);
  _exit(0);
}

void startProcess() {
  const pid_t other = fork();
  if (other == 0) {
    for (;;) pause();
  }
  std::fprintf(stderr, "%d\n", static_cast<int>(other));
}

void forkTwice() {
  const pid_t other = fork();
  if (other != 0) waitpid(other, nullptr, 0);
}

void* useBadAddress(void* address) {
  *static_cast<volatile int*>(address) = 1;
  return nullptr;
}

void crashInThread() {
  pthread_t thread;
  pthread_create(&thread, nullptr, useBadAddress, nullptr);
  pthread_join(thread, nullptr);
}

void writeToBrokenPipe() {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  close(ends[0]);
  if (write(ends[1], "", 1) < 0) std::abort();
}

constexpr struct {
  const char* name;
  void (*act)();
} kFaults[] = {
    {"abort", [] { std::abort(); }},
    {"bad address", [] { useBadAddress(nullptr); }},
    {"bad address in a thread", crashInThread},
    {"broken pipe", writeToBrokenPipe},
    {"close", closeEverything},
    {"exec",
     [] {
       char* const nothing = nullptr;
       execle("/bin/true", "true", nullptr, &nothing);
     }},
    {"exit", [] { std::exit(0); }},
    {"exit 167", [] { std::exit(167); }},
    {"_exit", [] { _exit(0); }},
    {"fork", forkTwice},
    {"hang", hang},
    {"hang uninterrupted", hangUninterrupted},
    {"kill", [] { raise(SIGKILL); }},
    {"leave a process", leaveProcess},
    {"number", [] { throw 1; }},
    {"overflow",
     [] {
       char top = 0;
       overflow(&top);
     }},
    {"print",
     [] {
       std::puts("ok    printed");
       std::fputs("and an error\n", stderr);
     }},
    {"start a process", startProcess},
    {"start a process and hang",
     [] {
       startProcess();
       hang();
     }},
    {"system call", [] { raise(SIGSYS); }},
    {"tell and hang",
     [] {
       std::fprintf(stderr, "%d\n", static_cast<int>(getpid()));
       hang();
     }},
    {"throw", [] { throw std::runtime_error("a reason\nof two lines"); }},
    {"trap", [] { raise(SIGTRAP); }},
    {"write", writeEverywhere},
};

void at(const char* place) {
  for (const auto& fault : kFaults) {
    if (wanted(place, fault.name)) fault.act();
  }
}

__attribute__((constructor)) void load() { at("constructor"); }
__attribute__((destructor)) void unload() { at("destructor"); }
struct Global {
  ~Global() { at("global's destructor"); }
} global;

int writeText(const char* text, char* buffer, int size) {
  std::strncpy(buffer, text, static_cast<std::size_t>(size) - 1);
  if (wanted("text", "overruns")) buffer[size] = '\0';
  if (wanted("text", "without NUL")) {
    std::memset(buffer + std::strlen(buffer), ' ',
                static_cast<std::size_t>(size) - std::strlen(buffer));
  }
  return 0;
}

}  // namespace

int DeviceGetSupportedProperties(int deviceType, std::vector<std::string>& names,
                                 std::vector<std::string>& /*details*/) {
  if (deviceType != 0) return 4;
  names = {"gpu.a", "gpu.b"};
  if (wanted("names", "more")) names.emplace_back("gpu.c\n");
  if (wanted("names", "fewer")) names.pop_back();
  if (wanted("DeviceGetData", "slow")) names.resize(30, "gpu.a");
  return 0;
}

#ifdef CXX_LINKAGE
DEVMGR_API int TesselCmd(int, unsigned char, unsigned char, unsigned char, const std::vector<int>&);
int TesselCmd(int, unsigned char, unsigned char, unsigned char, const std::vector<int>&) {
  return 0;
}
#endif

extern "C" {

int GPUManagerInit(const char* /*manifest*/, const char* /*profile*/, const char* /*properties*/) {
  at("GPUManagerInit");
  return wanted("GPUManagerInit", "fails") ? 14 : 0;
}
int GPUManagerStop() {
  at("GPUManagerStop");
  return 0;
}
int DeviceGetData(int /*deviceId*/, const char* /*name*/, int /*reserved0*/, int /*reserved1*/,
                  char* buffer, int size, int /*accessMode*/, int /*reserved2*/) {
  if (wanted("DeviceGetData", "slow")) passHalfAMinute();
  return writeText("value", buffer, size);
}
int DeviceGetSupportedProperties(int deviceType, char* buffer, int size) {
  return deviceType == 0 ? writeText(kListing, buffer, size) : 4;
}
int DeviceGetAllSupportedProperties(char* buffer, int size) {
  return writeText(kListing, buffer, size);
}
int SnapShotRefreshStatus(bool* running) {
  if (!wanted("SnapShotRefreshStatus", "stores nothing")) *running = false;
  return 0;
}

}  // extern "C"
