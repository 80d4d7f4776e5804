#include <algorithm>

#include "sim/config/fields.h"
#include "sim/config/readers.h"

namespace sim {
namespace {

constexpr auto kProfileKeys = std::to_array<std::string_view>(
    {"about", "$schema", "seed", "clock", "readyMs", "snapshot", "latencyMs", "callbacks",
     "mailbox", "journal", "faults", "timeline", "replay"});
constexpr auto kReplayProfileKeys = std::to_array<std::string_view>({"about", "$schema", "replay"});
constexpr auto kReplayKeys = std::to_array<std::string_view>({"journal", "match", "pace"});
constexpr auto kMatchWords = std::to_array<std::string_view>({"inOrder", "byRequest"});
constexpr auto kClockKeys = std::to_array<std::string_view>({"mode", "rate", "stepMs"});
constexpr auto kSnapshotKeys = std::to_array<std::string_view>({"periodMs", "refreshMs"});
constexpr auto kCallbackKeys = std::to_array<std::string_view>({"periodMs"});
constexpr auto kPostboxKeys =
    std::to_array<std::string_view>({"latencyMs", "timeoutMs", "selfTestMs"});

/// Replaces `time` by the member of that name, if there is one, in milliseconds.
void readTime(const Node& object, std::string_view key, std::int64_t low, Time& time) {
  if (const Node* node = object.find(key)) time = timeOf(*node, low, kMaxSpanMs);
}

ClockSettings readClock(const Node& node) {
  requireObject(node, kClockKeys);
  ClockSettings clock;
  clock.mode =
      static_cast<ClockMode>(wordOf(requireMember(node, "mode"), kClockWords, "a clock mode"));
  const Node* rate = node.find("rate");
  const Node* step = node.find("stepMs");
  if (rate != nullptr && clock.mode != ClockMode::scaled) rate->reject("only for mode 'scaled'");
  if (step != nullptr && clock.mode != ClockMode::stepped) step->reject("only for mode 'stepped'");
  if (rate != nullptr) {
    clock.rate = decimalOf(*rate).value;
    if (clock.rate < kOne / 1000 || clock.rate > 1000 * kOne) rate->reject("not in 0.001..1000");
  }
  readTime(node, "stepMs", 1, clock.step);
  return clock;
}

void readSnapshot(const Node& node, SnapshotSchedule& snapshot) {
  requireObject(node, kSnapshotKeys);
  snapshot.period = kSecond;
  readTime(node, "periodMs", 1, snapshot.period);
  readTime(node, "refreshMs", 0, snapshot.refresh);
  if (snapshot.refresh > snapshot.period) {
    node.reject("a refresh cannot take longer than the period");
  }
}

void readLatency(const Node& node, Profile& profile) {
  const auto words = kindWords();
  requireObject(node, words);
  for (std::size_t i = 0; i < words.size(); ++i) readTime(node, words[i], 0, profile.latency[i]);
}

}  // namespace

std::optional<ReplaySettings> readReplay(const Node& document) {
  const Node* const replay = document.find("replay");
  if (replay == nullptr) return {};
  for (const Node& member : document.items) {
    if (std::ranges::find(kReplayProfileKeys, member.key) == kReplayProfileKeys.end()) {
      member.reject("only '$schema' and 'about' may stand beside 'replay'");
    }
  }
  requireDocument(document, kReplayProfileKeys);
  requireObject(*replay, kReplayKeys);
  ReplaySettings settings;
  settings.journal = textOf(requireMember(*replay, "journal"));
  if (const Node* match = replay->find("match")) {
    settings.match =
        static_cast<ReplaySettings::Match>(wordOf(*match, kMatchWords, "a way to match calls"));
  }
  if (const Node* pace = replay->find("pace")) settings.paced = wholeOf(*pace, 0, 1) == 1;
  return settings;
}

Profile readProfile(const Node& document, const Topology& topology, const PropertyDb& properties) {
  requireDocument(document, kProfileKeys);
  Profile profile;
  if (const Node* seed = document.find("seed")) {
    profile.seed = static_cast<std::uint64_t>(wholeOf(*seed, 0, INT64_MAX));
  }
  if (const Node* clock = document.find("clock")) profile.clock = readClock(*clock);
  readTime(document, "readyMs", 0, profile.snapshot.ready);
  if (const Node* snapshot = document.find("snapshot")) readSnapshot(*snapshot, profile.snapshot);
  if (const Node* latency = document.find("latencyMs")) readLatency(*latency, profile);
  if (const Node* callbacks = document.find("callbacks")) {
    readTime(requireObject(*callbacks, kCallbackKeys), "periodMs", 1, profile.callbackPeriod);
  }
  if (const Node* postbox = document.find("mailbox")) {
    requireObject(*postbox, kPostboxKeys);
    readTime(*postbox, "latencyMs", 0, profile.postbox.latency);
    readTime(*postbox, "timeoutMs", 1, profile.postbox.timeout);
    readTime(*postbox, "selfTestMs", 1, profile.postbox.selfTest);
  }
  if (const Node* journal = document.find("journal")) profile.journal = textOf(*journal);
  if (const Node* faults = document.find("faults")) {
    profile.faults = readFaults(*faults, topology, properties);
  }
  if (const Node* timeline = document.find("timeline")) {
    profile.timeline = readTimeline(*timeline, topology, properties);
  }
  return profile;
}

}  // namespace sim
