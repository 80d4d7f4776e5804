#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "devmgr/properties.h"
#include "tools/boardctl-export/settings.h"

namespace exporter {

/// What the process of the library answers with. The text follows.
struct Frame {
  enum class What : std::uint8_t {
    ready,   ///< the manager has been started and given its time
    failed,  ///< it cannot be started; the text says why
    name,    ///< a property of the device's kind that was asked for
    listed,  ///< that was all; the code of the listing
    value,   ///< the code of the read of the next property, in the order of the names, and its text
    done,    ///< that was all of the device
  };
  static constexpr std::uint32_t kMark = 0x626F6172;

  std::uint32_t mark = kMark;
  What what = What::done;
  std::int32_t code = 0;
  std::uint32_t size = 0;  ///< of the text
};

inline constexpr std::size_t kLongestText = kPropertyValueSize;
inline constexpr std::size_t kMostNames = 4096;  ///< of a kind

/// Memory of both processes: frames one after the other, so that an answer is there as soon as it
/// is written, and none takes a system call. Each byte on the socket is a note to look at it.
struct Shared {
  static constexpr std::size_t kSize = std::size_t{1} << 20;

  std::atomic<std::uint32_t> written;  ///< set to 0 by the program before each request
  std::array<char, kSize> frames;
};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

inline constexpr char kLook = 'l';
inline constexpr char kFull = 'f';  ///< the child waits for `kGoOn`

/// A request: the place of a device in `Settings::devices`. The names of a kind are sent with its
/// first device only.
using Request = std::uint16_t;
inline constexpr Request kGoOn = 0xFFFF;

/// Loads the library into this process, a child of `parent`, and answers requests until the other
/// end of the socket is closed.
[[noreturn]] void runChild(const Settings& settings, Shared& shared, int socket,
                           int parent) noexcept;

}  // namespace exporter
