#include "tools/boardctl-export/child.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <optional>

#include "devmgr/manager.h"
#include "tools/boardctl-export/text.h"

namespace exporter {
namespace {

constexpr time_t kStartupSeconds = 6;  // as boardctl

/// As the tool's process would be, but for what the library prints.
void resetProcess(int parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  setpgid(0, 0);
  for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  const rlimit noCore = {0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

class Child {
 public:
  Child(const Settings& settings, Shared& shared, int socket)
      : settings_(settings), shared_(shared), socket_(socket) {}

  [[noreturn]] void run() {
    load();
    start();
    put(Frame::What::ready);
    while (const auto request = nextRequest()) {
      const DeviceId& device = settings_.devices.at(*request);
      const auto [entry, isNew] = names_.try_emplace(device.kind);
      if (isNew) list(*device.kind, entry->second);
      for (const std::string& name : entry->second) read(device.number, name);
      put(Frame::What::done);
    }
    stop_();
    std::fflush(nullptr);
    _exit(0);
  }

 private:
  void load() {
    // The compiler takes `dlopen` for a function that throws nothing.
    void* (*volatile const open)(const char*, int) = dlopen;
    library_ = open(settings_.library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library_ == nullptr) fail(dlerror());
    find("GPUManagerInit", init_);
    find("GPUManagerRun", run_);
    find("GPUManagerStop", stop_);
    find("DeviceGetData", get_);
    find(kVectorForm, list_);
  }

  template <typename Function>
  void find(const char* symbol, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(library_, symbol));
    if (function == nullptr) fail(dlerror());
  }

  void start() {
    const int result = init_(settings_.manifest.c_str(), settings_.profile.c_str(),
                             settings_.propertiesFile.c_str());
    if (result != 0) fail("GPUManagerInit returned " + std::to_string(result));
    run_(0, 0);
    timespec left = {kStartupSeconds, 0};
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
  }

  void list(const DeviceKind& kind, std::vector<std::string>& names) {
    std::vector<std::string> details;
    const int result = list_(static_cast<int>(kind.type), names, details);
    if (result != 0) names.clear();
    std::erase_if(names, [&](const std::string& name) { return !isWanted(name); });
    for (const std::string& name : names) put(Frame::What::name, 0, name);
    put(Frame::What::listed, result);
  }

  [[nodiscard]] bool isWanted(const std::string& name) const {
    return settings_.patterns.empty() ||
           std::ranges::any_of(settings_.patterns,
                               [&](const std::string& pattern) { return matches(pattern, name); });
  }

  void read(int device, const std::string& name) {
    static std::array<char, kLongestText> buffer;
    buffer.fill('\0');
    const int result =
        get_(device, name.c_str(), 0, 0, buffer.data(), kPropertyValueSize, settings_.mode, 0);
    const std::size_t size = result == 0 ? strnlen(buffer.data(), buffer.size()) : 0;
    put(Frame::What::value, result, {buffer.data(), size});
  }

  void put(Frame::What what, int code = 0, std::string_view text = {}) {
    text = text.substr(0, kLongestText);
    const Frame frame = {
        .what = what, .code = code, .size = static_cast<std::uint32_t>(text.size())};
    // The program sets it back when it has taken everything and before it asks again.
    std::size_t written = shared_.written.load(std::memory_order_acquire);
    if (written + sizeof frame + text.size() > Shared::kSize) {
      notify(kFull);
      for (auto request = receive(); request != kGoOn; request = receive()) {
        if (!request) _exit(1);
        waiting_.push_back(*request);
      }
      written = 0;
    }
    char* const place = shared_.frames.data() + written;
    std::memcpy(place, &frame, sizeof frame);
    if (!text.empty()) std::memcpy(place + sizeof frame, text.data(), text.size());
    written += sizeof frame + text.size();
    shared_.written.store(static_cast<std::uint32_t>(written), std::memory_order_release);
  }

  void notify(char note) {
    while (send(socket_, &note, 1, MSG_NOSIGNAL) != 1) {
      if (errno != EINTR) _exit(1);
    }
  }

  /// Nothing when the program has closed its end.
  std::optional<Request> nextRequest() {
    if (waiting_.empty()) {
      int pending = 0;
      // Before it waits, since the program looks seldom unless it is told.
      if (ioctl(socket_, FIONREAD, &pending) == 0 && pending == 0) notify(kLook);
      return receive();
    }
    const Request request = waiting_.front();
    waiting_.pop_front();
    return request;
  }

  [[nodiscard]] std::optional<Request> receive() const {
    Request request = 0;
    ssize_t size = 0;
    do {
      size = recv(socket_, &request, sizeof request, MSG_WAITALL);
    } while (size < 0 && errno == EINTR);
    return size == sizeof request ? std::optional(request) : std::nullopt;
  }

  [[noreturn]] void fail(const std::string& reason) {
    put(Frame::What::failed, 0, reason);
    notify(kLook);
    _exit(1);
  }

  const Settings& settings_;
  Shared& shared_;
  int socket_;
  std::deque<Request> waiting_;
  void* library_ = nullptr;
  decltype(&GPUManagerInit) init_ = nullptr;
  decltype(&GPUManagerRun) run_ = nullptr;
  decltype(&GPUManagerStop) stop_ = nullptr;
  decltype(&DeviceGetData) get_ = nullptr;
  int (*list_)(int, std::vector<std::string>&, std::vector<std::string>&) = nullptr;
  std::map<const DeviceKind*, std::vector<std::string>> names_;
};

}  // namespace

void runChild(const Settings& settings, Shared& shared, int socket, int parent) noexcept {
  resetProcess(parent);
  Child(settings, shared, socket).run();
}

}  // namespace exporter
