#include "sim/library/calls.h"

#include <array>

namespace sim {
namespace {

void addArguments(const Call& call, JsonLine& line) {
  switch (call.operation) {
    case Operation::init:
    case Operation::snapshot:
      break;
    case Operation::list:
      if (call.kind) line.add("kind", wordOf(*call.kind));
      break;
    case Operation::get:
      line.add("device", call.deviceId).add("property", call.name);
      line.add("mode", call.accessMode.value_or(0));
      break;
    case Operation::set:
      line.add("device", call.deviceId).add("property", call.name).add("value", call.value);
      break;
    case Operation::clear:
      line.add("device", call.deviceId).add("property", call.name);
      break;
    case Operation::setCallback:
      line.add("device", call.deviceId).add("api", call.name);
      break;
    case Operation::raw:
    case Operation::rawSyncCmd:
      line.add("device", call.postbox.device.id).add("opcode", call.postbox.opcode);
      line.add("arg1", call.postbox.arg1).add("arg2", call.postbox.arg2);
      line.add("data", call.postbox.data).add("extended", call.postbox.extended);
      break;
    case Operation::rawAsyncCmd:
      line.add("device", call.postbox.device.id).add("opcode", call.postbox.opcode);
      line.add("input", call.postbox.input);
      break;
  }
}

void addAnswer(const Call& call, const Result& result, JsonLine& line) {
  const PostboxReply& reply = result.postbox;
  if (call.operation == Operation::get) {
    if (result.code == kOk) line.add("value", result.text);
  } else if (call.operation == Operation::list) {
    if (result.code == kOk) line.add("names", static_cast<std::int64_t>(result.names.size()));
  } else if (call.operation == Operation::snapshot) {
    line.add("running", static_cast<std::int64_t>(result.refreshing));
  } else if (call.operation == Operation::rawAsyncCmd) {
    line.add("reply", std::array{reply.status, reply.data}).add("output", reply.words);
  } else if (call.usesPostbox()) {
    line.add("reply", std::array{reply.status, reply.data, reply.extended});
  }
}

}  // namespace

JsonLine describe(const Call& call, const Result& result) {
  JsonLine line;
  addArguments(call, line);
  if (result.firedRule) line.add("fault", static_cast<std::int64_t>(*result.firedRule));
  if (result.answered) addAnswer(call, result, line);
  return line;
}

}  // namespace sim
