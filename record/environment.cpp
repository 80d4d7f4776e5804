#include "record/environment.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>

namespace record {
namespace {

const char* take(const char* name) {
  const char* const value = std::getenv(name);
  if (value != nullptr) unsetenv(name);
  return value;
}

/// Takes this library out of the list in place: whatever else stands there stays, and an empty list
/// does too.
void leavePreloads() {
  Dl_info self = {};
  char* const list = std::getenv("LD_PRELOAD");
  if (list == nullptr || dladdr(kFileVariable, &self) == 0) return;
  const std::size_t size = std::strlen(self.dli_fname);
  for (char* item = list; item != nullptr;) {
    const bool isSelf = std::strncmp(item, self.dli_fname, size) == 0;
    char* const next = std::strchr(item, ':');
    if (!isSelf || (item[size] != ':' && item[size] != '\0')) {
      item = next == nullptr ? nullptr : next + 1;
    } else if (next != nullptr) {
      std::memmove(item, next + 1, std::strlen(next));
    } else if (item != list) {
      item[-1] = '\0';
      return;
    } else {
      unsetenv("LD_PRELOAD");
      return;
    }
  }
}

}  // namespace

Settings takeSettings() {
  Settings settings;
  settings.file = take(kFileVariable);
  if (const char* const limit = take(kLimitVariable)) settings.limit = std::atoll(limit);
  settings.keepsIdentities = take(kKeepVariable) != nullptr;
  if (settings.file != nullptr) leavePreloads();
  return settings;
}

}  // namespace record
