#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <vector>

#include "sim/kinds.h"
#include "sim/profile.h"
#include "sim/world.h"

namespace sim {

/// One request to a device's post-box.
struct MailboxRequest {
  Device device;
  std::uint8_t opcode = 0;
  std::uint8_t arg1 = 0;
  std::uint8_t arg2 = 0;
  std::uint32_t data = 0;
  std::uint32_t extended = 0;
};

/// The registers after a request.
struct MailboxReply {
  std::uint32_t status = 0;
  std::uint32_t data = 0;
  std::uint32_t extended = 0;
  std::vector<std::uint32_t> words;  ///< Of an asynchronous request that is done.
};

/// Values of the status register.
enum MailboxStatus : std::uint32_t {
  kMailboxIdle = 0,
  kMailboxWorking = 1,
  kMailboxDone = 2,
  kMailboxRefused = 3,
};

/// The post-boxes of GPUs, link switches and the FPGA: what each opcode does, the scratch pads, and
/// the one long-running request that a device can work on.
///
/// Threads: not locked; the caller holds the board's lock.
class Mailbox {
 public:
  explicit Mailbox(MailboxSettings settings) : settings_(settings) {}

  /// Carries out a request that is answered at once. Returns a code; the reply is filled in any
  /// case.
  int request(const World& world, const MailboxRequest& request, Time time, MailboxReply& reply);

  /// Starts, asks after, or cancels the long-running request.
  int asyncRequest(std::uint64_t seed, const MailboxRequest& request, Time time,
                   MailboxReply& reply);

  /// What a device that falls off the bus forgets.
  void reset(Device device) { states_.erase({device.kind, device.id}); }

  [[nodiscard]] const MailboxSettings& settings() const { return settings_; }

 private:
  struct State {
    std::uint32_t lastRequest = 0;  ///< Opcode and arguments, from the low byte up.
    std::uint32_t lastCode = 0;
    std::array<std::array<std::uint32_t, 2>, 8> pads{};
    bool testing = false;
    std::uint32_t handle = 0;  ///< Counts the tests of the device.
    std::uint32_t test = 0;
    Time testStart = 0;
  };

  State& stateOf(Device device) { return states_[{device.kind, device.id}]; }
  [[nodiscard]] bool working(const State& state, Time time) const {
    return state.testing && time - state.testStart < settings_.selfTest;
  }
  int carryOut(const World& world, const MailboxRequest& request, Time time, State& state,
               MailboxReply& reply);
  int report(std::uint64_t seed, const MailboxRequest& request, Time time, State& state,
             MailboxReply& reply) const;

  MailboxSettings settings_;
  std::map<std::pair<KindIndex, int>, State> states_;
};

}  // namespace sim
