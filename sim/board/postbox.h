#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "sim/base/kinds.h"
#include "sim/base/time.h"
#include "sim/board/state.h"

namespace sim {

/// How the postbox of every device behaves.
struct PostboxSettings {
  Time latency = 0;
  Time timeout = kSecond;       ///< A device that takes longer has not answered.
  Time selfTest = 5 * kSecond;  ///< How long the long-running request runs.
};

/// One request to a device's postbox.
struct PostboxRequest {
  Device device;
  std::uint8_t opcode = 0;
  std::uint8_t arg1 = 0;
  std::uint8_t arg2 = 0;
  std::uint32_t data = 0;
  std::uint32_t extended = 0;
  std::span<const std::uint32_t> input{};  ///< All words of an asynchronous request.
  bool async = false;
};

/// The registers after a request.
struct PostboxReply {
  std::uint32_t status = 0;
  std::uint32_t data = 0;
  std::uint32_t extended = 0;
  std::vector<std::uint32_t> words;  ///< Of an asynchronous request that is done.
};

/// Values of the status register.
enum PostboxStatus : std::uint32_t {
  kPostboxIdle = 0,
  kPostboxWorking = 1,
  kPostboxDone = 2,
  kPostboxRejected = 3,
};

/// The postboxes of GPUs, link switches and the FPGA: what each opcode does, the scratch pads, and
/// the one long-running request that a device can work on.
///
/// Threads: not locked; the caller holds the board's lock.
class Postbox {
 public:
  explicit Postbox(PostboxSettings settings) : settings_(settings) {}

  /// Carries out a request: one that is answered at once, or one that starts, asks after or cancels
  /// the long-running request. Returns a code; the reply is filled in any case.
  int request(const BoardState& state, std::uint64_t seed, const PostboxRequest& request, Time time,
              PostboxReply& reply);

  /// What a device that falls off the bus forgets.
  void reset(Device device) { boxes_.erase({device.kind, device.id}); }

  [[nodiscard]] const PostboxSettings& settings() const { return settings_; }

 private:
  /// What the postbox of one device remembers.
  struct Box {
    std::uint32_t lastRequest = 0;  ///< Opcode and arguments, from the low byte up.
    std::uint32_t lastCode = 0;
    std::array<std::array<std::uint32_t, 2>, 8> pads{};
    bool testing = false;
    std::uint32_t handle = 0;  ///< Counts the tests of the device.
    std::uint32_t test = 0;
    Time testStart = 0;
  };

  Box& boxOf(Device device) { return boxes_[{device.kind, device.id}]; }
  [[nodiscard]] bool working(const Box& box, Time time) const {
    return box.testing && time - box.testStart < settings_.selfTest;
  }
  int carryOut(const BoardState& state, const PostboxRequest& request, Time time, Box& box,
               PostboxReply& reply);
  int carryOutAsync(std::uint64_t seed, const PostboxRequest& request, Time time, Box& box,
                    PostboxReply& reply) const;
  int report(std::uint64_t seed, const PostboxRequest& request, Time time, Box& box,
             PostboxReply& reply) const;

  PostboxSettings settings_;
  std::map<std::pair<KindIndex, int>, Box> boxes_;
};

}  // namespace sim
