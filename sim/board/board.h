#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

#include "sim/board/call.h"
#include "sim/board/faults.h"
#include "sim/board/postbox.h"
#include "sim/board/profile.h"
#include "sim/board/state.h"
#include "sim/board/subscriptions.h"

namespace sim {

/// How a call waits, since the board itself has no clock.
class Waiter {
 public:
  virtual ~Waiter() = default;

  [[nodiscard]] virtual Time now() const = 0;

  /// Lets simulated time pass. Other calls may be made meanwhile, and the board may be destroyed:
  /// then this returns false.
  virtual bool elapse(Time span) = 0;

  /// Waits until the board is about to be destroyed.
  virtual void hang() = 0;
};

/// The simulated baseboard: the state of the devices and everything that happens to them in the
/// course of time. Knows nothing of threads, files and the outside clock.
///
/// Threads: not locked; the caller holds the lock.
class Board {
 public:
  Board(Topology topology, PropertyDb properties, Profile profile);

  /// Carries out a call: what is due happens, then the faults, the time that the device takes, and
  /// the call's own work. Fills in what the call means on this board.
  Result execute(Call& call, Waiter& waiter);

  /// The fault that the profile's rules have for the call. It is logged and counted.
  std::optional<Faults::Firing> nextFiring(const Call& call, Time now);

  /// Lets everything happen that is due, in the order of time.
  void advance(Time now);

  /// The next moment at which something happens by itself.
  [[nodiscard]] std::optional<Time> nextDue() const;

  [[nodiscard]] const BoardState& state() const { return state_; }
  [[nodiscard]] const Faults& faults() const { return faults_; }
  Subscriptions& subscriptions() { return subscriptions_; }

 private:
  int resolve(Call& call) const;
  [[nodiscard]] Time latencyOf(const Call& call) const;
  int resolveReadTime(const Call& call, Time now, Time& when) const;
  void applyDeviceFault(const FaultEffect& effect, const Call& call, Time now);

  int handleRequest(const Call& call, Time when, Result& result);
  int read(const Call& call, Time when, Result& result) const;
  int write(const Call& call, Time now);
  int clear(const Call& call, Time now);
  int subscribe(const Call& call, Time now);
  void list(const Call& call, Result& result) const;

  void apply(const Event& event, Time time);
  void applyTo(const Event& event, Device device, Time time);
  void pollChanges(Time time);
  void pollChanged(PropertyIndex property, int deviceId, Time time);
  void drop(Device device, Time time, std::optional<Time> until);
  void restore(Device device, Time time);
  [[nodiscard]] bool endsDrop(Device device, Time time) const;

  BoardState state_;
  std::uint64_t seed_;
  SnapshotSchedule snapshot_;
  std::array<Time, kDeviceKinds.size()> latency_;
  Faults faults_;
  Timeline timeline_;
  std::map<std::pair<KindIndex, int>, Time> returns_;  ///< Of devices whose drop has an end.
  Subscriptions subscriptions_;
  Postbox postbox_;
  Time callbackPeriod_;
  Time nextPoll_;
};

}  // namespace sim
