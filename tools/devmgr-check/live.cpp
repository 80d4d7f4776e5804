#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <set>
#include <sstream>
#include <vector>

#include "devmgr/device_type.h"
#include "devmgr/manager.h"
#include "devmgr/properties.h"
#include "tools/devmgr-check/checks.h"

namespace {

constexpr time_t kStartupSeconds = 6;

using VectorForm = int(int, std::vector<std::string>&, std::vector<std::string>&);
using TextForm = int(int, char*, int);

/// A buffer for the library with a margin behind it that must stay untouched.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(int size)
      : size_(static_cast<std::size_t>(size)), bytes_(size_ + kMargin, kMark) {
    std::fill_n(bytes_.begin(), size_, '\0');
  }

  char* data() { return bytes_.data(); }
  [[nodiscard]] bool overrun() const {
    return std::any_of(bytes_.begin() + static_cast<std::ptrdiff_t>(size_), bytes_.end(),
                       [](char byte) { return byte != kMark; });
  }
  [[nodiscard]] bool terminated() const {
    return std::memchr(bytes_.data(), '\0', size_) != nullptr;
  }
  [[nodiscard]] std::string text() const { return {bytes_.data(), strnlen(bytes_.data(), size_)}; }

  /// What is wrong with the text that was written; empty for nothing.
  [[nodiscard]] std::string fault() const {
    if (overrun()) return "writes past the end of its buffer";
    if (!terminated()) return "writes a string without a NUL at its end";
    return {};
  }

 private:
  static constexpr std::size_t kMargin = 1 << 16;
  static constexpr char kMark = '\x5A';
  std::size_t size_;
  std::vector<char> bytes_;
};

class Live {
 public:
  Live(const Library& library, Report& report)
      : report_(report),
        init_(library.entryPoint<decltype(GPUManagerInit)>("GPUManagerInit")),
        run_(library.entryPoint<decltype(GPUManagerRun)>("GPUManagerRun")),
        stop_(library.entryPoint<decltype(GPUManagerStop)>("GPUManagerStop")),
        get_(library.entryPoint<decltype(DeviceGetData)>("DeviceGetData")),
        listAll_(library.entryPoint<decltype(DeviceGetAllSupportedProperties)>(
            "DeviceGetAllSupportedProperties")),
        status_(library.entryPoint<decltype(SnapShotRefreshStatus)>("SnapShotRefreshStatus")),
        listText_(library.entryPoint<TextForm>("DeviceGetSupportedProperties")),
        listNames_(library.entryPoint<VectorForm>(kVectorForm)) {}

  [[nodiscard]] bool complete() const {
    return init_ && run_ && stop_ && get_ && listAll_ && status_ && listText_ && listNames_;
  }

  void check(const std::string& manifest, const std::string& profile,
             const std::string& properties) {
    const int result = calling("GPUManagerInit", [&] {
      return init_(manifest.c_str(), profile.c_str(), properties.c_str());
    });
    if (result != 0) {
      report_.unknown("GPUManagerInit", "returned " + std::to_string(result));
      return;
    }
    report_.good("GPUManagerInit");
    calling("GPUManagerRun", [&] { return run_(0, 0); });
    report_.enter("the wait after GPUManagerRun");
    timespec left = {kStartupSeconds, 0};
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
    checkStatus();
    checkListings();
    calling("GPUManagerStop", [&] { return stop_(); });
    report_.good("GPUManagerStop");
  }

 private:
  template <typename Call>
  int calling(const char* name, Call call) {
    report_.enter(name);
    return call();
  }

  void checkStatus() {
    bool stored = true;
    for (const unsigned char before : std::initializer_list<unsigned char>{0x5A, 0xA5}) {
      unsigned char cell = before;
      calling("SnapShotRefreshStatus", [&] { return status_(reinterpret_cast<bool*>(&cell)); });
      stored = stored && cell <= 1;
    }
    report_.check(stored, "SnapShotRefreshStatus", "stores neither true nor false");
  }

  void checkListings() {
    GuardedBuffer all(kPropertyListSize);
    const int result = calling("DeviceGetAllSupportedProperties",
                               [&] { return listAll_(all.data(), kPropertyListSize); });
    const std::string fault = result == 0     ? all.fault()
                              : all.overrun() ? all.fault()
                                              : "returned " + std::to_string(result);
    report_.check(fault.empty(), "DeviceGetAllSupportedProperties", fault);
    // Codes that no kind has are asked as well: both forms then have to give the same answer.
    const int last = static_cast<int>(kDeviceKinds.back().type);
    for (int type = 0; type <= last; ++type) checkKind(type);
    report_.good("listings", std::to_string(names_) + " names, both forms compared");
    report_.good("reads", std::to_string(values_) + " values, " + std::to_string(codes_) +
                              " result codes, device 0 of each type");
  }

  void checkKind(int type) {
    const std::string kind = "device type " + std::to_string(type);
    GuardedBuffer listing(kPropertyListSize);
    std::vector<std::string> names;
    std::vector<std::string> details;
    const int textResult = calling("DeviceGetSupportedProperties", [&] {
      return listText_(type, listing.data(), kPropertyListSize);
    });
    const int namesResult = calling("DeviceGetSupportedProperties (vectors)",
                                    [&] { return listNames_(type, names, details); });
    if (textResult != namesResult) {
      report_.bad(kind, "the text form returns " + std::to_string(textResult) +
                            ", the vector form " + std::to_string(namesResult));
    }
    if (const std::string fault = listing.fault(); !fault.empty()) {
      report_.bad(kind, "the text form " + fault);
    }
    if (textResult != 0 || namesResult != 0) return;
    compareForms(kind, listing.text(), names);
    names_ += names.size();
    for (const std::string& name : names) read(name);
  }

  /// Every name of the vector stands in the text, and every word of the text that could be one of
  /// the kind's names stands in the vector.
  void compareForms(const std::string& kind, const std::string& text,
                    const std::vector<std::string>& names) {
    std::set<std::string> words;
    std::istringstream stream(text);
    for (std::string word; stream >> word;) words.insert(word);
    const std::set<std::string> listed(names.begin(), names.end());
    for (const std::string& name : listed) {
      if (words.count(name) == 0) report_.bad(kind, name + " is in the vector form only");
    }
    for (const std::string& word : words) {
      const std::string prefix = word.substr(0, word.find('.') + 1);
      const auto like = listed.lower_bound(prefix);
      const bool candidate =
          word.find('.') != std::string::npos && like != listed.end() && like->starts_with(prefix);
      if (candidate && listed.count(word) == 0) {
        report_.bad(kind, word + " is in the text form only");
      }
    }
  }

  void read(const std::string& name) {
    GuardedBuffer value(kPropertyValueSize);
    const int result = calling("DeviceGetData", [&] {
      return get_(0, name.c_str(), 0, 0, value.data(), kPropertyValueSize, 0, 0);
    });
    ++(result == 0 ? values_ : codes_);
    const std::string fault = value.fault();
    if (value.overrun() || (result == 0 && !fault.empty())) report_.bad(name, fault);
  }

  Report& report_;
  decltype(&GPUManagerInit) init_;
  decltype(&GPUManagerRun) run_;
  decltype(&GPUManagerStop) stop_;
  decltype(&DeviceGetData) get_;
  decltype(&DeviceGetAllSupportedProperties) listAll_;
  decltype(&SnapShotRefreshStatus) status_;
  TextForm* listText_;
  VectorForm* listNames_;
  std::size_t names_ = 0;
  std::size_t values_ = 0;
  std::size_t codes_ = 0;
};

}  // namespace

void checkLive(const Library& library, const std::string& manifest, const std::string& profile,
               const std::string& properties, Report& report) {
  Live live(library, report);
  if (!live.complete()) {
    report.unknown("live checks", "skipped: an entry point is missing");
    return;
  }
  live.check(manifest, profile, properties);
}
