#include "sim/board/profile.h"

#include <gtest/gtest.h>

#include "sim/config/readers.h"
#include "sim/library/builtin.h"

namespace sim {
namespace {

Profile read(const std::string& text, std::string_view manifestText = kBuiltinManifest) {
  const Document manifest = parseJson(manifestText, "m");
  const Document builtin = parseJson(kBuiltinProperties, "b");
  const Topology board = readTopology(manifest);
  const PropertyDb properties = readProperties(builtin, builtin, manifest, board);
  const Document document = parseJson(text, "f");
  return readProfile(document, board, properties);
}

std::string profileRejection(const std::string& text,
                             std::string_view manifest = kBuiltinManifest) {
  try {
    read(text, manifest);
  } catch (const FileError& error) {
    return error.what();
  }
  return "accepted";
}

std::string faultRejection(const std::string& rule) {
  return profileRejection("{\"faults\": [{" + rule + "}]}");
}

std::string eventRejection(const std::string& event, std::string_view manifest = kBuiltinManifest) {
  return profileRejection("{\"timeline\": [{" + event + "}]}", manifest);
}

TEST(Profile, AnEmptyOneIsAReadyBoardWithoutFaults) {
  const Profile profile = read("{}");
  EXPECT_EQ(profile.snapshot.takenAt(0), 0);
  EXPECT_EQ(profile.snapshot.takenAt(12345), 12345);
  EXPECT_EQ(profile.clock.mode, ClockMode::real);
  EXPECT_TRUE(profile.faults.empty());
  EXPECT_FALSE(profile.timeline.next());
}

TEST(Profile, ReadsEveryKey) {
  const Profile profile = read(R"({"seed": 9223372036854775807,
    "clock": {"mode": "scaled", "rate": 2.5}, "readyMs": 10,
    "snapshot": {"periodMs": 20, "refreshMs": 20}, "latencyMs": {"cpu": 3},
    "callbacks": {"periodMs": 4}, "mailbox": {"latencyMs": 5, "timeoutMs": 6, "selfTestMs": 7},
    "journal": "j", "faults": [{"hang": true}],
    "timeline": [{"atMs": 8, "drop": "gpu*"}, {"atMs": 2, "restore": "gpu0"}]})");
  EXPECT_EQ(profile.seed, 9223372036854775807U);
  EXPECT_EQ(profile.clock.rate, 2'500'000);
  EXPECT_EQ(profile.snapshot.firstComplete(), 30'000);
  EXPECT_TRUE(profile.snapshot.refreshing(29'999));
  EXPECT_EQ(profile.latency.back(), 3'000);
  EXPECT_EQ(profile.callbackPeriod, 4'000);
  EXPECT_EQ(profile.postbox.selfTest, 7'000);
  EXPECT_EQ(profile.journal, "j");
  EXPECT_EQ(profile.faults.size(), 1U);
  EXPECT_EQ(profile.timeline.next(), 2'000) << "events are in the order of time";
}

TEST(Profile, TakesTheLimitsThemselves) {
  EXPECT_EQ(profileRejection(R"({"mailbox": {"timeoutMs": 1, "selfTestMs": 1, "latencyMs": 0}})"),
            "accepted");
  EXPECT_EQ(faultRejection(R"("code": 1, "probability": 0)"), "accepted");
  EXPECT_EQ(faultRejection(R"("code": 1, "probability": 1)"), "accepted");
  for (const char* beyond : {"-0.000001", "1.000001"}) {
    SCOPED_TRACE(beyond);
    EXPECT_EQ(faultRejection(R"("code": 1, "probability": )" + std::string(beyond)),
              "f:1:40: /faults/0/probability: not in 0..1");
  }
}

TEST(Profile, ASnapshotIsTakenEachSecondUnlessItSaysOtherwise) {
  const Profile profile = read(R"({"snapshot": {"refreshMs": 10}})");
  EXPECT_EQ(profile.snapshot.period, 1'000'000);
}

TEST(Profile, RejectionsNameThePlaceAndTheReason) {
  for (const char* control : {"\\u0001", "\\u007f", "\\u009b", "\xc2\x9b", "\\u202e"}) {
    SCOPED_TRACE(control);
    EXPECT_EQ(profileRejection("{\"journal\": \"a" + std::string(control) + "b\"}"),
              "f:1:13: /journal: the text contains a control character");
  }
  EXPECT_EQ(profileRejection(R"({"seed": -1})"),
            "f:1:10: /seed: -1 is not in 0..9223372036854775807");
  EXPECT_EQ(profileRejection(R"({"clock": {}})"), "f:1:11: /clock: the key 'mode' is missing");
  EXPECT_EQ(profileRejection(R"({"clock": {"mode": "steped"}})"),
            "f:1:20: /clock/mode: 'steped' is not a clock mode; did you mean 'stepped'?");
  EXPECT_EQ(profileRejection(R"({"clock": {"mode": "real", "rate": 2}})"),
            "f:1:36: /clock/rate: only for mode 'scaled'");
  EXPECT_EQ(profileRejection(R"({"clock": {"mode": "real", "stepMs": 2}})"),
            "f:1:38: /clock/stepMs: only for mode 'stepped'");
  EXPECT_EQ(profileRejection(R"({"clock": {"mode": "scaled", "rate": 0}})"),
            "f:1:38: /clock/rate: not in 0.001..1000");
  EXPECT_EQ(profileRejection(R"({"snapshot": {"periodMs": 5, "refreshMs": 6}})"),
            "f:1:14: /snapshot: a refresh cannot take longer than the period");
  EXPECT_EQ(profileRejection(R"({"latencyMs": {"gpus": 5}})"),
            "f:1:24: /latencyMs/gpus: unknown key 'gpus'; did you mean 'gpu'?");
  EXPECT_EQ(profileRejection(R"({"readyMs": 3600001})"),
            "f:1:13: /readyMs: 3600001 is not in 0..3600000");
}

std::string replayRejection(const std::string& members) {
  try {
    readReplay(parseJson("{" + members + "}", "f"));
  } catch (const FileError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(Profile, AReplayNeedsAJournalAlone) {
  EXPECT_FALSE(readReplay(parseJson(R"({"seed": 1})", "f")));
  const auto replay = readReplay(parseJson(R"({"replay": {"journal": "j"}})", "f")).value();
  EXPECT_EQ(replay.journal, "j");
  EXPECT_EQ(replay.match, ReplaySettings::Match::inOrder);
  EXPECT_FALSE(replay.paced);
}

TEST(Profile, AReplayMayBeByRequestAndPaced) {
  const auto replay = readReplay(parseJson(R"({"about": "a", "$schema": "s",
    "replay": {"journal": "j", "match": "byRequest", "pace": 1}})",
                                           "f"))
                          .value();
  EXPECT_EQ(replay.match, ReplaySettings::Match::byRequest);
  EXPECT_TRUE(replay.paced);
  EXPECT_EQ(replayRejection(R"("replay": {"journal": "j", "match": "inOrder", "pace": 0})"),
            "accepted");
}

TEST(Profile, AReplayThatMeansNothingIsRejected) {
  EXPECT_EQ(replayRejection(R"("replay": {"journal": "j"}, "seed": 1)"),
            "f:1:38: /seed: only '$schema' and 'about' may stand beside 'replay'");
  EXPECT_EQ(replayRejection(R"("about": 1, "replay": {"journal": "j"})"),
            "f:1:11: /about: expected a string, found a number");
  EXPECT_EQ(replayRejection(R"("replay": "j")"),
            "f:1:12: /replay: expected an object, found a string");
  EXPECT_EQ(replayRejection(R"("replay": {})"), "f:1:12: /replay: the key 'journal' is missing");
  EXPECT_EQ(replayRejection(R"("replay": {"journal": ""})"),
            "f:1:24: /replay/journal: the text is empty");
  EXPECT_EQ(replayRejection(R"("replay": {"journal": "j", "speed": 1})"),
            "f:1:38: /replay/speed: unknown key 'speed'");
  EXPECT_EQ(replayRejection(R"("replay": {"journal": "j", "match": "inorder"})"),
            "f:1:38: /replay/match: 'inorder' is not a way to match calls; did you mean "
            "'inOrder'?");
  EXPECT_EQ(replayRejection(R"("replay": {"journal": "j", "pace": 2})"),
            "f:1:37: /replay/pace: 2 is not in 0..1");
  EXPECT_EQ(profileRejection(R"({"repaly": {}})"),
            "f:1:12: /repaly: unknown key 'repaly'; did you mean 'replay'?");
}

TEST(Profile, FaultsThatMeanNothingAreRejected) {
  EXPECT_EQ(faultRejection(R"("device": "gpu0")"),
            "f:1:13: /faults/0: one of code, delayMs, hang, text, dropMs, storm is missing");
  EXPECT_EQ(faultRejection(R"("code": "ioEror")"),
            "f:1:22: /faults/0/code: 'ioEror' is not a code; did you mean 'ioError'?");
  EXPECT_EQ(faultRejection(R"("code": 1, "device": "gpu8")"),
            "f:1:35: /faults/0/device: the board has no gpu8");
  EXPECT_EQ(faultRejection(R"("code": 1, "device": "gpux")"),
            "f:1:35: /faults/0/device: 'gpux' is not a device name (expected e.g. 'gpu3')");
  EXPECT_EQ(faultRejection(R"("code": 1, "device": "gpo*")"),
            "f:1:35: /faults/0/device: 'gpo' is not a device kind; did you mean 'gpu'?");
  EXPECT_EQ(faultRejection(R"("code": 1, "fromMs": 5, "untilMs": 5)"),
            "f:1:49: /faults/0/untilMs: the rule would never match");
  EXPECT_EQ(faultRejection(R"("code": 1, "untilMs": 0)"),
            "f:1:36: /faults/0/untilMs: the rule would never match");
  EXPECT_EQ(faultRejection(R"("code": 1, "probability": 1.01)"),
            "f:1:40: /faults/0/probability: not in 0..1");
  EXPECT_EQ(faultRejection(R"("text": "empty")"),
            "f:1:22: /faults/0/text: only operation 'get' returns a text");
}

TEST(Profile, FaultsThatCanNeverMatchAreRejected) {
  struct Case {
    const char* operation;
    const char* selection;
    const char* why;
  };
  for (const auto& [operation, selection, why] : std::initializer_list<Case>{
           {"init", R"("device":"gpu0")", "device: 'init' involves no device"},
           {"init", R"("hang":true)", "hang: 'init' can only fail or be delayed"},
           {"init", R"("dropMs":0)", "dropMs: 'init' involves no device"},
           {"init", R"("storm":1)", "storm: 'init' involves no device"},
           {"init", R"("property":"gpu.*")", "property: 'init' involves no property"},
           {"init", R"("accessMode":0)", "accessMode: 'init' has no access mode"},
           {"init", R"("fromMs":1)", "fromMs: 'init' happens at 0"},
           {"init", R"("every":2)", "every: 'init' happens once"},
           {"list", R"("device":"gpu*")", "device: 'list' involves no device"},
           {"list", R"("dropMs":0)", "dropMs: 'list' involves no device"},
           {"list", R"("property":"*.*")", "property: 'list' involves no property"},
           {"snapshot", R"("storm":1)", "storm: 'snapshot' involves no device"},
           {"snapshot", R"("accessMode":1)", "accessMode: 'snapshot' has no access mode"},
           {"set", R"("accessMode":1)", "accessMode: 'set' has no access mode"},
           {"raw", R"("property":"gpu.*")", "property: 'raw' involves no property"},
           {"raw", R"("device":"hsc0")", "device: 'raw' cannot be sent to such a device"},
           {"rawSyncCmd", R"("device":"cpu*")",
            "device: 'rawSyncCmd' cannot be sent to such a device"},
           {"rawAsyncCmd", R"("device":"fpga0")",
            "device: 'rawAsyncCmd' cannot be sent to such a device"},
           {"get", R"("property":"gpu.power.consumtion")",
            "property: no property is named 'gpu.power.consumtion'; did you mean "
            "'gpu.power.consumption'?"},
           {"set", R"("property":"gpu.pwoer.*")", "property: no property matches 'gpu.pwoer.*'"},
           {"set_callback", R"("property":"gpu.*PerInstance*.page0")",
            "property: no property that can be registered matches 'gpu.*PerInstance*.page0'"}}) {
    SCOPED_TRACE(std::string(operation) + ' ' + selection);
    const std::string before = "\"operation\": \"" + std::string(operation) + "\", ";
    const std::string selector = selection;
    const auto column = 15 + before.size() + selector.find(':');
    EXPECT_EQ(faultRejection(before + selector + R"(, "code": 1)"),
              "f:1:" + std::to_string(column) + ": /faults/0/" + why);
  }
  EXPECT_EQ(faultRejection(R"("device": "hsc*", "property": "gpu.*", "code": 1)"),
            "f:1:44: /faults/0/property: no property of hsc matches 'gpu.*'");
  EXPECT_EQ(faultRejection(R"("device": "hsc0", "property": "gpu.power.consumption", "code": 1)"),
            "f:1:44: /faults/0/property: no property of hsc matches 'gpu.power.consumption'");
  EXPECT_EQ(faultRejection(R"("property": "gpu.x*", "code": 1)"),
            "f:1:26: /faults/0/property: no property matches 'gpu.x*'");
}

TEST(Profile, FaultsThatCanMatchAreAccepted) {
  for (const char* rule :
       {R"("operation": "list", "device": "*", "property": "**", "hang": true)",
        R"("operation": "snapshot", "device": "*", "every": 2, "fromMs": 1, "code": 1)",
        R"("operation": "init", "device": "*", "untilMs": 1, "every": 1, "fromMs": 0, "code": 1)",
        R"("operation": "raw", "device": "fpga0", "dropMs": 0)",
        R"("operation": "rawSyncCmd", "device": "fpga*", "property": "*", "storm": 1)",
        R"("operation": "rawAsyncCmd", "device": "korswitch0", "code": 1)",
        R"("operation": "set_callback", "property": "hsc.*", "code": 1)",
        R"("device": "cpu*", "code": 1)", R"("accessMode": 1, "device": "*", "code": 1)",
        R"("property": "*Mode", "dropMs": 0)", R"("dropMs": 0, "storm": 1)"}) {
    EXPECT_EQ(faultRejection(rule), "accepted") << rule;
  }
}

TEST(Profile, ARuleNeedsAPropertyOfTheBoard) {
  const Document manifest = parseJson(R"({"board": "b", "devices": {"gpu": 1, "cpu": 1}})", "m");
  const Document properties = parseJson(R"({"properties": {"gpu.x": 1}})", "p");
  const Topology board = readTopology(manifest);
  const PropertyDb db = readProperties(properties, properties, manifest, board);
  const auto rejection = [&](const std::string& rule) -> std::string {
    try {
      readProfile(parseJson("{\"faults\": [{" + rule + "}]}", "f"), board, db);
    } catch (const FileError& error) {
      return error.what();
    }
    return "accepted";
  };
  EXPECT_EQ(rejection(R"("device": "cpu0", "code": 1)"),
            "f:1:24: /faults/0/device: no property of cpu matches '*'");
  EXPECT_EQ(rejection(R"("device": "gpu0", "code": 1)"), "accepted");
  EXPECT_EQ(rejection(R"("operation": "set_callback", "code": 1)"),
            "f:1:13: /faults/0: no property that can be registered matches '*'");
}

TEST(Profile, EventsThatMeanNothingAreRejected) {
  const std::string set = R"("set": "gpu.power.consumption")";
  EXPECT_EQ(eventRejection(R"("atMs": 1)"),
            "f:1:15: /timeline/0: one of set, clear, drop, restore, burst, lose is missing");
  EXPECT_EQ(eventRejection(R"("drop": "gpu0")"), "f:1:15: /timeline/0: the key 'atMs' is missing");
  EXPECT_EQ(eventRejection(R"("atMs": 1, "drop": "gpu0", "restore": "gpu0")"),
            "f:1:15: /timeline/0: an event needs exactly one action key");
  EXPECT_EQ(eventRejection(R"("atMs": 1, "device": "gpu0", )" + set),
            "f:1:15: /timeline/0: the key 'value' is missing");
  EXPECT_EQ(eventRejection(R"("atMs": 1, "value": 1, )" + set),
            "f:1:15: /timeline/0: the key 'device' is missing");
  EXPECT_EQ(eventRejection(R"("atMs": 1, "value": 1, "device": "hsc0", )" + set),
            "f:1:49: /timeline/0/device: 'gpu.power.consumption' is a property of gpu");
  EXPECT_EQ(eventRejection(R"("atMs": 1, "value": "x", "device": "gpu0", )" + set),
            "f:1:36: /timeline/0/value: expected a number, found a string");
  const std::string mode = R"("set": "gpu.clock.getSpeedLocked", "device": "gpu0")";
  EXPECT_EQ(eventRejection(R"("atMs": 1, "value": 1, )" + mode), "accepted");
  EXPECT_EQ(eventRejection(R"("atMs": 1, "value": 2, )" + mode),
            "f:1:36: /timeline/0/value: 2 is not in 0..1, the places in 'names'");
  EXPECT_EQ(eventRejection(R"("atMs": 1, "drop": "gpu0", "count": 2)"),
            "f:1:52: /timeline/0/count: the key has no meaning for this event");
  EXPECT_EQ(eventRejection(R"("atMs": 1, "clear": "gpu.power.consumtion", "device": "gpu0")"),
            "f:1:36: /timeline/0/clear: no property is named 'gpu.power.consumtion'; did you mean "
            "'gpu.power.consumption'?");
}

TEST(Profile, AnEventSuitsEachDeviceThatItSets) {
  const std::string_view manifest = R"({"board": "b", "devices": {"gpu": 3}, "overrides": {
    "gpu1": {"properties": {"gpu.clock.getSpeedLocked": "n/a"}},
    "gpu2": {"properties": {"gpu.pcie.maxWidth": {"value": 0, "names": ["off", "on"]}}}}})";
  const auto rejection = [&](const std::string& property, const std::string& device,
                             const std::string& value) {
    return eventRejection(R"("atMs": 1, "set": ")" + property + R"(", "device": ")" + device +
                              R"(", "value": )" + value,
                          manifest);
  };
  const std::string locked = "gpu.clock.getSpeedLocked";
  EXPECT_EQ(rejection(locked, "gpu0", "1"), "accepted");
  EXPECT_EQ(rejection(locked, "gpu1", R"("off")"), "accepted");
  EXPECT_EQ(rejection(locked, "gpu1", R"("")"), "accepted");
  EXPECT_EQ(rejection(locked, "gpu1", R"("\n")"),
            "f:1:89: /timeline/0/value: the text contains a control character");
  EXPECT_EQ(rejection(locked, "gpu1", "1"),
            "f:1:89: /timeline/0/value: expected a string, found a number");
  for (const char* value : {"1", R"("off")"}) {
    SCOPED_TRACE(value);
    EXPECT_EQ(rejection(locked, "gpu*", value),
              "f:1:72: /timeline/0/device: 'gpu.clock.getSpeedLocked' is a text on some devices "
              "and a number on others; expected one device");
  }
  EXPECT_EQ(rejection("gpu.pcie.maxWidth", "gpu0", "2"), "accepted");
  EXPECT_EQ(rejection("gpu.pcie.maxWidth", "gpu*", "1"), "accepted");
  for (const char* device : {"gpu2", "gpu*"}) {
    SCOPED_TRACE(device);
    EXPECT_EQ(rejection("gpu.pcie.maxWidth", device, "2"),
              "f:1:82: /timeline/0/value: 2 is not in 0..1, the places in 'names'");
  }
}

}  // namespace
}  // namespace sim
