#include "record/recorder.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "journal/process.h"
#include "journal/redaction.h"
#include "record/environment.h"
#include "record/file.h"

namespace record {
namespace {

/// Never destroyed: the library may call until the process is gone.
struct Recording {
  std::atomic<bool> isOn = false;
  std::atomic<std::int64_t> entered = 0;
  std::atomic<std::int64_t> returned = 0;
  const char* libraryBegin = nullptr;
  const char* libraryEnd = nullptr;
  std::int64_t start = 0;
  bool redacts = true;
  bool hasStandardError = false;
  Settings settings;

  /// Held while the file is written, never while the library is called.
  std::mutex lock;
  File file;
  journal::Redaction redaction;
  std::string text;
  int error = 0;
};

alignas(Recording) std::byte storage[sizeof(Recording)];
Recording* recording = nullptr;

std::int64_t microseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000;
}

[[gnu::cold]] int appendEnd(std::string_view how, std::optional<int> status) {
  journal::Line line;
  line.add("end", how);
  if (status) line.add("status", *status);
  return recording->file.append(line.add("calls", recording->entered.load()).whole(), true);
}

/// With the lock held.
[[gnu::cold]] void stop(int error) {
  recording->isOn = false;
  recording->error = error;
  recording->file.freeSlot();
  try {
    appendEnd(error == EFBIG ? "limit" : "error", {});
  } catch (const std::bad_alloc&) {
    // Without its last line a recording looks as if the process had been killed.
  }
}

struct ErrnoKept {
  const int value = errno;
  ~ErrnoKept() { errno = value; }
};

/// Runs what may fail, with the lock held.
template <class Work>
void contained(Work work) {
  const ErrnoKept kept;
  const std::scoped_lock held(recording->lock);
  int error = 0;
  try {
    if (recording->isOn) error = work();
  } catch (const std::bad_alloc&) {
    error = ENOMEM;
  }
  if (error != 0) stop(error);
}

/// The line as it is written, until it or another one changes. Of one that grows, what has been
/// found to hold no identity is not looked at again.
std::string_view redacted(journal::Line& line, Clean& clean) {
  const journal::Redaction& redaction = recording->redaction;
  const std::string_view text = line.whole();
  if (clean.known != redaction.size()) clean = {0, redaction.size()};
  if (!redaction.leaves(text.substr(clean.size))) return recording->text = redaction.apply(text);
  clean.size = line.size();
  return text;
}

int append(journal::Line& line, Clean clean = {}) {
  return recording->file.append(redacted(line, clean));
}

/// What cannot be replaced where it was written before must not stay there.
[[gnu::cold]] int learn(std::string_view value) {
  int error = recording->redaction.isFull() ? ENOBUFS : 0;
  try {
    const auto earlier = recording->redaction.learn(value);
    if (error == 0 && earlier) error = recording->file.replace(*earlier);
  } catch (const std::bad_alloc&) {
    error = ENOMEM;
  }
  if (error != 0) recording->file.clear();
  return error;
}

[[gnu::cold]] void forgetInChild() {
  recording->isOn = false;
  recording->hasStandardError = false;
}

[[gnu::cold]] int writeHead(const void* inLibrary) {
  journal::Line line;
  line.add("journal", 2).add("clock", std::string_view("monotonic"));
  journal::addProcess(line, inLibrary);
  if (recording->redacts) line.addRaw("redacted", "true");
  const int error = recording->file.append(line.whole());
  return error != 0 ? error : recording->file.addSlot();
}

/// Registered before everything else that runs when the process exits, and so run after it. In a
/// child of the process, the lock may be held by a thread that is not there.
[[gnu::cold]] void finish(int status, void* /*unused*/) {
  const ErrnoKept kept;
  if (recording->isOn) {
    contained([status] {
      const int error = appendEnd("exit", status & 0xff);
      if (error == 0) recording->isOn = false;
      return error;
    });
  }
  if (recording->error == 0 || !recording->hasStandardError) return;
  char text[512];
  const char* reason = std::strerror(recording->error);
  if (recording->error == EFBIG) reason = "the limit of its size is reached";
  if (recording->error == ENOBUFS) reason = "too many identities";
  const int size = std::snprintf(text, sizeof text,
                                 "boardctl-record: %.300s: the recording is not complete: %s\n",
                                 recording->settings.file, reason);
  writeQuietly(STDERR_FILENO, {text, static_cast<std::size_t>(size)});
}

/// Runs before `main`, after the library's own constructors. What does not load the library, like a
/// script that starts the tool, hands the settings on to what it starts.
__attribute__((constructor, cold)) void start() {
  const ErrnoKept kept;
  const void* const inLibrary = dlsym(RTLD_NEXT, "GPUManagerInit");
  dl_find_object library = {};
  if (inLibrary == nullptr || _dl_find_object(const_cast<void*>(inLibrary), &library) != 0) {
    dlerror();  // What was not found is nobody's error.
    return;
  }
  Recording* const made = new (&storage) Recording;
  made->settings = takeSettings();
  if (made->settings.file == nullptr) return;
  recording = made;
  recording->libraryBegin = static_cast<const char*>(library.dlfo_map_start);
  recording->libraryEnd = static_cast<const char*>(library.dlfo_map_end);
  recording->start = microseconds();
  recording->redacts = !recording->settings.keepsIdentities;
  recording->hasStandardError = fcntl(STDERR_FILENO, F_GETFD) >= 0;
  recording->error = recording->file.open(recording->settings.file, recording->settings.limit);
  on_exit(finish, nullptr);
  if (recording->error == 0) {
    recording->isOn = true;
    contained([&] { return writeHead(inLibrary); });
    pthread_atfork(nullptr, nullptr, forgetInChild);
  }
}

}  // namespace

bool isRecorded(const void* caller) {
  return recording != nullptr && recording->isOn.load(std::memory_order_relaxed) &&
         (caller < recording->libraryBegin || caller >= recording->libraryEnd);
}

Call::Call(const journal::Capture& capture) : capture_(capture) {
  number_ = ++recording->entered;
  at_ = microseconds() - recording->start;
  contained([&] {
    clean_ = {capture_.begin(line_.emplace(), number_, at_), recording->redaction.size()};
    const std::string_view line = redacted(*line_, clean_);
    hasSlot_ = recording->file.takeSlot(line);
    return hasSlot_ ? 0 : recording->file.append(line);
  });
}

Call::~Call() {
  if (!line_) return;
  contained([&] {
    if (!hasSlot_) return 0;
    recording->file.freeSlot();
    return append(*line_, clean_);
  });
}

void Call::returned(int code) {
  const std::int64_t took = microseconds() - recording->start - at_;
  if (recording->entered == number_) recording->returned = number_;
  if (!line_) return;
  contained([&] {
    capture_.end(*line_, code, took);
    int error = 0;
    if (recording->redacts && capture_.readsIdentity()) {
      error = learn(capture_.text("value"));
    }
    if (error == 0) error = append(*line_, clean_);
    if (hasSlot_) recording->file.freeSlot();
    return error;
  });
  line_.reset();
}

void update(const std::string& apiName, std::int64_t registration, std::uint16_t id,
            std::uint64_t sequence) {
  if (!recording->isOn) return;
  const std::int64_t at = microseconds() - recording->start;
  contained([&] {
    const std::int64_t after = recording->entered;
    journal::Line line;
    line.add("at", at).add("update", apiName).add("registration", registration);
    line.add("id", id).addUnsigned("sequence", sequence).add("after", after);
    if (recording->returned != after) line.add("during", 1);
    return append(line);
  });
}

}  // namespace record
