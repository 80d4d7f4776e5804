#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "journal/capture.h"
#include "journal/reader.h"
#include "sim/config/readers.h"

namespace sim {

/// Finds the recorded call that answers a call, and the updates that came with it.
///
/// In order, the next call must be the next recorded one; after the first difference nothing is
/// answered. By request, a call gets the next answer that was recorded for the same inputs, then
/// always the last one. Inputs differ if one differs that was recorded; the names of the files that
/// the manager is initialised with are not compared.
///
/// Threads: not locked.
class Replay {
 public:
  using Updates = std::vector<const journal::Update*>;  ///< Of this replay's recording.

  struct Answer {
    const journal::Call* call = nullptr;  ///< Of this replay's recording; null: there is none.
    Updates updates;                      ///< Those to deliver before the call returns.
    std::string difference;               ///< Why there is none, unless that has been said before.
  };

  /// Throws `FileError` for a recording that does not hold enough.
  Replay(ReplaySettings settings, journal::Recording recording);
  Replay(Replay&&) = default;
  Replay& operator=(Replay&&) = default;
  ~Replay() = default;

  /// The updates to deliver before the next call is answered.
  Updates due();
  Answer next(const journal::Capture& capture);

  /// Whether every recorded call has been made, or a difference ended the replay.
  [[nodiscard]] bool finished() const;
  /// Whether the next recorded call begins another run of the manager.
  [[nodiscard]] bool hasAnotherRun() const;
  /// What to say of recorded calls that were not made; empty when there is nothing to say.
  [[nodiscard]] std::string leftOver() const;

  [[nodiscard]] bool paced() const { return settings_.paced; }
  /// The place of a recorded call, for messages: "FILE:LINE".
  [[nodiscard]] std::string placeOf(const journal::Call& call) const;

 private:
  Answer nextInOrder(const journal::Capture& capture);
  Answer nextByRequest(const journal::Capture& capture);
  [[nodiscard]] Updates updatesBetween(std::int64_t begin, std::int64_t end) const;
  Updates takeUpdates(std::int64_t end);
  [[nodiscard]] std::string difference(const journal::Capture& capture) const;
  [[nodiscard]] std::string nearestMatch(const journal::Capture& capture) const;

  ReplaySettings settings_;
  journal::Recording recording_;
  Updates updates_;         ///< In the order of delivery.
  std::size_t next_ = 0;    ///< Position of the next recorded call.
  std::int64_t taken_ = 0;  ///< In order: where the next updates begin.
  bool differs_ = false;
  std::vector<bool> made_;       ///< By request: which recorded calls have been made.
  std::set<std::string> named_;  ///< By request: which calls have been said to be missing.
};

}  // namespace sim
