#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "devmgr/manager.h"
#include "devmgr/properties.h"

/// A device library that has GPUs only. EXPORT_PROPERTIES in the environment names a file with the
/// names and values of their properties, each with a NUL behind it. EXPORT_FAULT holds a place, a
/// blank and what happens there; the place "read" is a read of GPU 7.

namespace {

/// By the clock of the program, as it does nothing but wait: see tests/support/skip_wait.cpp.
[[noreturn]] void hang() {
  const char* const request = std::getenv("SKIP_WAIT_HALF_MINUTE");
  for (;;) {
    if (request == nullptr) pause();
    close(open(request, O_CREAT | O_WRONLY, 0600));
    while (access(request, F_OK) == 0) usleep(1000);
    // The program may have had answers to take, and only then have begun to wait for this one.
    usleep(300'000);
  }
}

void writeEverywhere() {
  const std::string text = std::string(99, '+') + '\n';
  int written = 0;
  for (int file = 0; file < 256; ++file) {
    written += write(file, text.data(), text.size()) > 0;
  }
  if (written == 0) std::abort();
}

/// All memory that this process shares with another one.
void damageSharedMemory() {
  std::ifstream maps("/proc/self/maps");
  bool done = false;
  for (std::string line; std::getline(maps, line);) {
    char* end = nullptr;
    const std::uintptr_t first = std::strtoul(line.c_str(), &end, 16);
    const std::uintptr_t last = std::strtoul(end + 1, &end, 16);
    if (std::strncmp(end, " rw-s", 5) != 0) continue;
    std::memset(reinterpret_cast<void*>(first), 0xff, last - first);
    done = true;
  }
  if (!done) std::abort();
}

constexpr struct {
  const char* name;
  void (*act)();
} kFaults[] = {
    {"hang", [] { hang(); }},
    {"abort", [] { std::abort(); }},
    {"exit", [] { std::exit(0); }},
    {"throw", [] { throw 1; }},
    {"write", writeEverywhere},
    {"damage", damageSharedMemory},
    {"print", [] { std::puts("printed by the library"); }},
    {"start a process and hang",
     [] {
       const pid_t other = fork();
       if (other == 0) {
         for (;;) pause();
       }
       hang();
     }},
};

bool at(const std::string& place) {
  const char* const wish = std::getenv("EXPORT_FAULT");
  const std::string wanted = wish == nullptr ? "" : wish;
  for (const auto& fault : kFaults) {
    if (wanted == place + ' ' + fault.name) fault.act();
  }
  return wanted == place + " fails";
}

__attribute__((constructor)) void load() { at("constructor"); }

std::vector<std::string> properties() {
  std::vector<std::string> words;
  std::ifstream file(std::getenv("EXPORT_PROPERTIES"));
  for (std::string word; std::getline(file, word, '\0');) words.push_back(word);
  return words;
}

}  // namespace

int DeviceGetSupportedProperties(int deviceType, std::vector<std::string>& names,
                                 std::vector<std::string>& /*details*/) {
  if (at("list") || deviceType != 0) return 4;
  const std::vector<std::string> words = properties();
  for (std::size_t i = 0; i < words.size(); i += 2) names.push_back(words[i]);
  return 0;
}

extern "C" {

int GPUManagerInit(const char* /*manifest*/, const char* /*profile*/, const char* /*properties*/) {
  return at("init") ? 14 : 0;
}
int GPUManagerRun(int /*reserved0*/, int /*reserved1*/) { return 0; }
int GPUManagerStop() {
  at("stop");
  return 0;
}
int DeviceGetData(int deviceId, const char* name, int /*reserved0*/, int /*reserved1*/,
                  char* buffer, int size, int accessMode, int /*reserved2*/) {
  if (deviceId == 7 && at("read")) return 23;
  static const std::vector<std::string> words = properties();
  for (std::size_t i = 0; i + 1 < words.size(); i += 2) {
    if (words[i] != name) continue;
    const std::string& value = words[i + 1];
    if (value == "without NUL") {
      std::memset(buffer, '1', static_cast<std::size_t>(size));
    } else {
      std::strncpy(buffer, value == "mode" ? std::to_string(accessMode).c_str() : value.c_str(),
                   static_cast<std::size_t>(size));
    }
    return 0;
  }
  return 3;
}

}  // extern "C"
