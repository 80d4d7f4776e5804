#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "journal/capture.h"

/// The recording of this process, if its environment asks for one. Whatever fails here ends the
/// recording and nothing else: no function throws, prints or changes `errno`, and none is slow for
/// a process that is not recorded. All may be called from any thread.
namespace record {

/// Whether a call from this address is recorded. Those of the library to itself are not.
bool isRecorded(const void* caller);

/// How much of a line is known to hold no identity, and how many identities were known then.
struct Clean {
  std::size_t size = 0;
  std::size_t known = 0;
};

/// One call of the library. Its inputs are in the file before the library is called.
class Call {
 public:
  explicit Call(const journal::Capture& capture);
  /// The line of a call that threw has no code.
  ~Call();
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  void returned(int code);

  /// In the order of entry, from 1; 0 when it is not recorded.
  [[nodiscard]] std::int64_t number() const { return number_; }

 private:
  const journal::Capture& capture_;
  std::optional<journal::Line> line_;
  std::int64_t number_ = 0;
  std::int64_t at_ = 0;
  bool hasSlot_ = false;
  Clean clean_;
};

/// Records that the library is about to call a callback.
/// `registration`: the number of the call that registered it. `id`, `sequence`: what it gets.
void update(const std::string& apiName, std::int64_t registration, std::uint16_t id,
            std::uint64_t sequence);

}  // namespace record
