#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <new>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

#include "devmgr/callbacks.h"
#include "devmgr/logger.h"
#include "devmgr/manager.h"
#include "devmgr/properties.h"
#include "tests/support/default_library.h"

/// A `libdevmgr.so.0` that misbehaves as it is told. The environment variable HOSTILE holds
/// "key=value" items, parted by ";". `*` stands for every call.
///
///     code.CALL=N        what the call returns
///     throw.CALL=KIND    what leaves it instead: std, alloc, other
///     text=KIND          what text buffers get: nonul, empty or an odd text; else "value"
///     names=N, size=N    how many names the list has, and how long each is at least
///     nametext=KIND      the odd text that each name has after its number
///     asked=FILE         the property names of requests go there, a NUL after each
///     words=N            how many words the postbox functions return
///     callbacks=N        threads that call the registered callback, from `when` on, until stopped
///     sequence=N         the number that the callback gets, else 7
///     when=TIME          run (from the registration), stop (only during the stop)
///     inner=1            a set reads the property first, with the library's own function
///     handler=1          a handler for SIGUSR1 that interrupts system calls
///     journal=FILE       each call's name goes there, a line each
///     kill=N             the N-th call kills the process
///     logthrows=1        the log stream raises its errors
///     logfails=N         the log stream takes N lines and fails from then on

namespace {

const std::map<std::string, std::string>& settings() {
  static const std::map<std::string, std::string> items = [] {
    std::map<std::string, std::string> found;
    const char* const variable = std::getenv("HOSTILE");
    std::string rest = variable == nullptr ? "" : variable;
    while (!rest.empty()) {
      const std::string item = rest.substr(0, rest.find(';'));
      rest.erase(0, std::min(item.size() + 1, rest.size()));
      const std::size_t sign = item.find('=');
      if (sign != std::string::npos) found[item.substr(0, sign)] = item.substr(sign + 1);
    }
    return found;
  }();
  return items;
}

std::string setting(const std::string& key) {
  const auto found = settings().find(key);
  return found == settings().end() ? "" : found->second;
}

int number(const std::string& key, int otherwise = 0) {
  const std::string text = setting(key);
  return text.empty() ? otherwise : std::stoi(text);
}

/// Journals the call, raises what it is to raise, and returns its code.
int answer(const std::string& call) {
  static int calls = 0;
  if (++calls == number("kill")) raise(SIGKILL);
  if (const std::string file = setting("journal"); !file.empty()) {
    std::ofstream(file, std::ios::app) << call + "\n";
  }
  std::string kind = setting("throw." + call);
  if (kind.empty()) kind = setting("throw.*");
  if (kind == "std") throw std::runtime_error("hostile %s\n\x1b[31m");
  if (kind == "alloc") throw std::bad_alloc();
  if (kind == "other") throw 42;
  return number("code." + call, number("code.*"));
}

/// The odd text of that kind: control, utf8, format or nul.
std::string oddText(const std::string& kind, const std::string& otherwise) {
  if (kind == "control") return "\x01\a\b\x1b[2J\r\n\x7f%s%n";
  if (kind == "utf8") return "\xc0\x80\xff\xfe\xed\xa0\x80\xf4\x90";
  if (kind == "format") return "%s%n%999999d%";
  if (kind == "nul") return {"a\0b", 3};
  return otherwise;
}

void fill(char* buffer, int size) {
  const auto length = static_cast<std::size_t>(size);
  const std::string kind = setting("text");
  if (kind == "nonul") {
    std::memset(buffer, 'x', length);
  } else if (kind == "empty") {
    std::memset(buffer, 'x', length);
    buffer[0] = '\0';
  } else {
    const std::string text = oddText(kind, "value");
    std::memcpy(buffer, text.c_str(), text.size() + 1);
  }
}

void keepAsked(const char* name) {
  const std::string file = setting("asked");
  if (!file.empty()) std::ofstream(file, std::ios::app) << name << '\0';
}

/// Lets so many lines through to the log's own buffer.
class FailingBuffer : public std::streambuf {
 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    return left_-- > 0 ? logger.output.rdbuf()->sputn(text, size) : 0;
  }

 private:
  int left_ = number("logfails");
};

UpdateCallback registered;
std::vector<std::thread> threads;
std::atomic<bool> stopping = false;

void callBack(std::uint64_t sequence) {
  data_info::DataInfo update;
  update.propertyName = std::string(100, 'p');
  update.observers.resize(3);
  registered(7, update, sequence);
}

void startThreads() {
  // The threads may outlive the settings.
  const std::string text = setting("sequence");
  const std::uint64_t sequence = text.empty() ? 7 : std::stoull(text);
  for (int i = 0; i < number("callbacks"); ++i) {
    threads.emplace_back([sequence] {
      do {
        callBack(sequence);
      } while (!stopping);
    });
  }
}

void joinThreads() {
  stopping = true;
  for (std::thread& thread : threads) thread.join();
  threads.clear();
}

/// A process may end without a stop; no thread may then be left to use what is destroyed.
struct AtExit {
  ~AtExit() { joinThreads(); }
} const atExit;

void onSignal(int /*signal*/) {}

std::vector<unsigned int> outputWords() {
  std::vector<unsigned int> words(static_cast<std::size_t>(number("words")));
  for (std::size_t i = 0; i < words.size(); ++i) words[i] = static_cast<unsigned int>(i);
  return words;
}

}  // namespace

void data_info::DataInfo::onChange() {}
void value_type::ValueType::onChange() {}

int DeviceGetSupportedProperties(int /*deviceType*/, std::vector<std::string>& names,
                                 std::vector<std::string>& details) {
  const auto size = static_cast<std::size_t>(number("size", 8));
  const std::string text = oddText(setting("nametext"), "");
  for (int i = 0; i < number("names"); ++i) {
    std::string name = "p" + std::to_string(i) + text;
    name.resize(std::max(name.size(), size), 'n');
    names.push_back(std::move(name));
  }
  details = {"never", "read"};
  return answer("DeviceGetSupportedProperties");
}

int postboxList(const char* name, int, unsigned char, unsigned char, unsigned char,
                const std::vector<unsigned int>&, std::vector<unsigned int>& output, bool) {
  output = outputWords();
  return answer(name);
}

int postboxSync(const char* name, int, unsigned char, unsigned char, unsigned char, unsigned int,
                unsigned int, unsigned int* output1, unsigned int* output2, unsigned int* output3,
                bool) {
  *output1 = *output2 = *output3 = 0xFFFFFFFF;
  return answer(name);
}

int postboxAsync(const char* name, int, unsigned char, const std::vector<unsigned int>&,
                 unsigned int* output1, unsigned int* output2, std::vector<unsigned int>& output,
                 unsigned int, bool) {
  *output1 = *output2 = 0xFFFFFFFF;
  output = outputWords();
  return answer(name);
}

extern "C" {

int GPUSetLogger(const char* fileName) {
  logger.output.open(fileName, std::ios::app);
  if (!setting("logfails").empty()) {
    static FailingBuffer buffer;
    static_cast<std::ostream&>(logger.output).rdbuf(&buffer);
  }
  if (number("logthrows") != 0) logger.output.exceptions(std::ios::badbit);
  return answer("GPUSetLogger");
}

int GPUSetLogLevel(int level) {
  logger.levelText = std::to_string(level);
  return answer("GPUSetLogLevel");
}

int GPUManagerInit(const char* /*manifest*/, const char* /*profile*/, const char* /*properties*/) {
  if (number("handler") != 0) {
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigaction(SIGUSR1, &action, nullptr);
  }
  return answer("GPUManagerInit");
}

int GPUManagerRun(int /*reserved0*/, int /*reserved1*/) { return answer("GPUManagerRun"); }

int GPUManagerStop() {
  if (setting("when") == "stop" && registered) {
    startThreads();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  joinThreads();
  registered = nullptr;
  return answer("GPUManagerStop");
}

int DeviceGetData(int /*deviceId*/, const char* name, int /*reserved0*/, int /*reserved1*/,
                  char* buffer, int size, int /*accessMode*/, int /*reserved2*/) {
  keepAsked(name);
  fill(buffer, size);
  return answer("DeviceGetData");
}
int DeviceSetData(int deviceId, const char* name, const void* /*value*/, int /*size*/,
                  int /*reserved*/) {
  char before[kPropertyValueSize];
  if (number("inner") != 0) DeviceGetData(deviceId, name, 0, 0, before, sizeof before, 0, 0);
  keepAsked(name);
  return answer("DeviceSetData");
}
int DeviceClearData(int /*deviceId*/, const char* name, int /*reserved*/) {
  keepAsked(name);
  return answer("DeviceClearData");
}
int DeviceGetSupportedProperties(int /*deviceType*/, char* buffer, int size) {
  fill(buffer, size);
  return answer("DeviceGetSupportedProperties");
}
int DeviceGetAllSupportedProperties(char* buffer, int size) {
  fill(buffer, size);
  return answer("DeviceGetAllSupportedProperties");
}
int SnapShotRefreshStatus(bool* running) {
  *running = true;
  return answer("SnapShotRefreshStatus");
}

int DeviceSetCallbackUpdateData(int /*deviceId*/, const std::string& /*apiName*/,
                                const UpdateCallback& callback, int /*reserved0*/,
                                const std::string& /*reserved1*/, const std::string& /*reserved2*/,
                                int /*reserved3*/) {
  if (!registered) {
    registered = callback;
    if (setting("when") == "run") startThreads();
  }
  return answer("DeviceSetCallbackUpdateData");
}

}  // extern "C"
