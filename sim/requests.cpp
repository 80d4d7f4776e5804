#include <algorithm>

#include "sim/manager.h"

// The requests of the manager: what each puts into the journal, and what it asks of the board.

namespace sim {
namespace {

JsonLine propertyLine(int deviceId, const std::string& name) {
  JsonLine line;
  line.add("device", deviceId).add("property", name);
  return line;
}

Call propertyCall(std::string_view entry, Operation operation, const std::string& name) {
  Call call;
  call.entry = entry;
  call.operation = operation;
  call.name = name;
  return call;
}

void applyTextFault(TextFault fault, Reading& reading) {
  switch (fault) {
    case TextFault::none:
      break;
    case TextFault::truncated:
      reading.text.resize(reading.text.size() / 2);
      break;
    case TextFault::unterminated:
      reading.unterminated = true;
      break;
    case TextFault::empty:
      reading.text.clear();
      break;
  }
}

}  // namespace

int Manager::get(int deviceId, const std::string& name, int accessMode, Reading& reading) {
  Call call = propertyCall("DeviceGetData", Operation::get, name);
  call.accessMode = accessMode;
  JsonLine line = propertyLine(deviceId, name);
  line.add("mode", accessMode);
  return perform(call, deviceId, line, [&](const Call& resolved, Time when) {
    const int code = board_->read(resolved, when, reading.text);
    if (code != kOk) return code;
    applyTextFault(textFault_, reading);
    line.add("value", reading.text);
    return code;
  });
}

int Manager::set(int deviceId, const std::string& name, std::int32_t value) {
  Call call = propertyCall("DeviceSetData", Operation::set, name);
  JsonLine line = propertyLine(deviceId, name);
  line.add("value", value);
  return perform(call, deviceId, line, [&](const Call& resolved, Time when) {
    return board_->write(resolved, when, value);
  });
}

int Manager::clear(int deviceId, const std::string& name) {
  Call call = propertyCall("DeviceClearData", Operation::clear, name);
  JsonLine line = propertyLine(deviceId, name);
  return perform(call, deviceId, line,
                 [&](const Call& resolved, Time when) { return board_->clear(resolved, when); });
}

int Manager::list(std::string_view entry, std::optional<KindIndex> kind,
                  std::vector<std::string>& names, std::vector<std::string>& details) {
  Call call = propertyCall(entry, Operation::list, "");
  JsonLine line;
  if (kind) line.add("kind", wordOf(*kind));
  return perform(call, 0, line, [&](const Call& /*resolved*/, Time /*when*/) {
    board_->list(kind, names, details);
    line.add("names", static_cast<std::int64_t>(names.size()));
    return kOk;
  });
}

int Manager::refreshStatus(bool& running) {
  Call call = propertyCall("SnapShotRefreshStatus", Operation::snapshot, "");
  JsonLine line;
  return perform(call, 0, line, [&](const Call& /*resolved*/, Time when) {
    running = board_->refreshing(when);
    line.add("running", static_cast<std::int64_t>(running));
    return kOk;
  });
}

int Manager::listen(int deviceId, const std::string& apiName, const UpdateCallback& callback) {
  Call call = propertyCall("DeviceSetCallbackUpdateData", Operation::setCallback, apiName);
  JsonLine line;
  line.add("device", deviceId).add("api", apiName);
  return perform(call, deviceId, line, [&](const Call& resolved, Time when) {
    const int code = board_->listen(resolved, when, callback);
    work_.notify_all();
    return code;
  });
}

int Manager::request(std::string_view entry, Operation operation, const MailboxRequest& request,
                     MailboxReply& reply) {
  Call call = propertyCall(entry, operation, "");
  call.device = request.device;
  JsonLine line;
  line.add("device", request.device.id).add("opcode", request.opcode);
  line.add("arg1", request.arg1).add("arg2", request.arg2);
  line.add("data", request.data).add("extended", request.extended);
  return perform(call, request.device.id, line, [&](const Call& /*resolved*/, Time when) {
    const int code = board_->request(request, when, reply);
    const std::array<std::uint32_t, 3> words{reply.status, reply.data, reply.extended};
    line.add("reply", words);
    return code;
  });
}

int Manager::asyncRequest(std::string_view entry, const MailboxRequest& request,
                          std::span<const std::uint32_t> input, MailboxReply& reply) {
  Call call = propertyCall(entry, Operation::rawAsyncCmd, "");
  call.device = request.device;
  JsonLine line;
  line.add("device", request.device.id).add("opcode", request.opcode).add("input", input);
  return perform(call, request.device.id, line, [&](const Call& /*resolved*/, Time when) {
    const int code = board_->asyncRequest(request, when, reply);
    const std::array<std::uint32_t, 2> words{reply.status, reply.data};
    line.add("reply", words).add("output", reply.words);
    return code;
  });
}

}  // namespace sim
