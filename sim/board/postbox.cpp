#include "sim/board/postbox.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "sim/base/codes.h"
#include "sim/base/random.h"

namespace sim {
namespace {

enum Opcode : std::uint8_t {
  kCapabilities = 0x01,
  kTemperature = 0x02,
  kPower = 0x03,
  kScratchRead = 0x04,
  kScratchWrite = 0x05,
  kRegisters = 0x06,
  kTestStart = 0x10,
  kTestProgress = 0x11,
  kTestCancel = 0x12,
};

constexpr std::uint32_t kVersion = 0x00010000;
constexpr std::uint8_t kPads = 8;
constexpr std::uint32_t kTests = 4;

/// An opcode and what understands it.
struct OpcodeRow {
  Opcode opcode;
  unsigned kinds;  ///< A bit for each kind, at the place of its index.
  bool async;
  bool whileWorking;  ///< Answered while a long-running request is under way.
};

constexpr unsigned kGpuBit = 1U << kGpu;
constexpr unsigned kKorswitchBit = 1U << kKorswitch;
constexpr unsigned kFpgaBit = 1U << kFpga;
constexpr unsigned kTested = kGpuBit | kKorswitchBit;
constexpr unsigned kAll = kGpuBit | kKorswitchBit | kFpgaBit;
constexpr auto kOpcodes = std::to_array<OpcodeRow>({
    {.opcode = kCapabilities, .kinds = kAll, .async = false, .whileWorking = true},
    {.opcode = kTemperature, .kinds = kAll, .async = false, .whileWorking = false},
    {.opcode = kPower, .kinds = kGpuBit | kFpgaBit, .async = false, .whileWorking = false},
    {.opcode = kScratchRead, .kinds = kAll, .async = false, .whileWorking = false},
    {.opcode = kScratchWrite, .kinds = kAll, .async = false, .whileWorking = false},
    {.opcode = kRegisters, .kinds = kAll, .async = false, .whileWorking = true},
    {.opcode = kTestStart, .kinds = kTested, .async = true, .whileWorking = false},
    {.opcode = kTestProgress, .kinds = kTested, .async = true, .whileWorking = true},
    {.opcode = kTestCancel, .kinds = kTested, .async = true, .whileWorking = true},
});

/// Which property a sensor number of a kind stands for.
struct SensorRow {
  Opcode opcode;
  KindIndex kind;
  std::uint8_t number;
  std::string_view property;
};

constexpr std::array kSensors{
    SensorRow{kTemperature, kGpu, 0, "gpu.thermal.temperature.primaryGPU.extendedPrecision"},
    SensorRow{kTemperature, kGpu, 1, "gpu.thermal.temperature.secondaryGPU.extendedPrecision"},
    SensorRow{kTemperature, kGpu, 2,
              "gpu.thermal.temperature.sensorMonitorBoard.extendedPrecision"},
    SensorRow{kTemperature, kGpu, 3,
              "gpu.thermal.temperature.sensorMonitorMemory.extendedPrecision"},
    SensorRow{kTemperature, kKorswitch, 0, "korswitch.thermal.temperature.extendedPrecision"},
    SensorRow{kTemperature, kFpga, 0, "fpga.thermal.temperature.extendedPrecision"},
    SensorRow{kPower, kGpu, 0, "gpu.power.consumption"},
    SensorRow{kPower, kGpu, 1, "gpu.hbm.power.consumption"},
    SensorRow{kPower, kFpga, 0, "fpga.totalhsc.power.consumption"},
};

const OpcodeRow* findOpcode(const PostboxRequest& request) {
  const auto found = std::ranges::find_if(kOpcodes, [&](const OpcodeRow& row) {
    return row.opcode == request.opcode && (row.kinds >> request.device.kind & 1U) != 0;
  });
  return found == kOpcodes.end() ? nullptr : &*found;
}

int capabilities(const PostboxRequest& request, PostboxReply& reply) {
  if (request.arg1 != 0) return kBadRequest;
  for (const OpcodeRow& row : kOpcodes) {
    if ((row.kinds >> request.device.kind & 1U) != 0) reply.data |= 1U << row.opcode;
  }
  reply.extended = kVersion;
  return kOk;
}

int readSensor(const BoardState& state, const PostboxRequest& request, Time time,
               PostboxReply& reply) {
  const auto row = std::ranges::find_if(kSensors, [&](const SensorRow& sensor) {
    return sensor.opcode == request.opcode && sensor.kind == request.device.kind &&
           sensor.number == request.arg1;
  });
  if (row == kSensors.end()) return kBadRequest;
  const auto property = state.properties().find(row->property);
  if (!property) return kNotSupported;
  const int id = request.device.id;
  if (state.properties().at(*property).definitionFor(id).format.isText()) return kNotSupported;
  // Temperatures are signed with eight binary digits after the point, power is in milliwatts. A
  // register stays at its limit instead of wrapping.
  const bool power = request.opcode == kPower;
  const Fixed scaled =
      multiplyClamped(state.numberAt(*property, id, time), (power ? 1000 : 256) * kOne);
  constexpr std::int64_t kLow = std::numeric_limits<std::int32_t>::min();
  const std::int64_t high = power ? std::int64_t{std::numeric_limits<std::uint32_t>::max()}
                                  : std::int64_t{std::numeric_limits<std::int32_t>::max()};
  reply.data = static_cast<std::uint32_t>(std::clamp(roundToWhole(scaled), kLow, high));
  return kOk;
}

}  // namespace

int Postbox::request(const BoardState& state, std::uint64_t seed, const PostboxRequest& request,
                     Time time, PostboxReply& reply) {
  Box& box = boxOf(request.device);
  const OpcodeRow* row = findOpcode(request);
  int code = kOk;
  if (row == nullptr || row->async != request.async) {
    code = kBadOpcode;
  } else if (!row->whileWorking && working(box, time)) {
    code = kBusy;
  } else if (request.async) {
    code = carryOutAsync(seed, request, time, box, reply);
  } else {
    code = carryOut(state, request, time, box, reply);
    reply.status = kPostboxDone;
  }
  if (code != kOk) reply.status = code == kBusy ? kPostboxWorking : kPostboxRejected;
  if (request.opcode != kRegisters) {
    box.lastRequest = std::uint32_t{request.opcode} | std::uint32_t{request.arg1} << 8U |
                      std::uint32_t{request.arg2} << 16U;
    box.lastCode = static_cast<std::uint32_t>(code);
  }
  return code;
}

int Postbox::carryOut(const BoardState& state, const PostboxRequest& request, Time time, Box& box,
                      PostboxReply& reply) {
  if (request.arg2 != 0) return kBadRequest;
  switch (request.opcode) {
    case kCapabilities:
      return capabilities(request, reply);
    case kTemperature:
    case kPower:
      return readSensor(state, request, time, reply);
    case kRegisters:
      if (request.arg1 != 0) return kBadRequest;
      reply.data = box.lastRequest;
      reply.extended = box.lastCode;
      return kOk;
    default:
      break;
  }
  if (request.arg1 >= kPads) return kBadRequest;
  auto& pad = box.pads[request.arg1];
  if (request.opcode == kScratchWrite) pad = {request.data, request.extended};
  reply.data = pad[0];
  reply.extended = pad[1];
  return kOk;
}

int Postbox::carryOutAsync(std::uint64_t seed, const PostboxRequest& request, Time time, Box& box,
                           PostboxReply& reply) const {
  switch (request.opcode) {
    case kTestStart:
      if (request.data >= kTests) return kBadRequest;
      box.testing = true;
      box.test = request.data;
      box.testStart = time;
      reply.status = kPostboxWorking;
      reply.data = ++box.handle;
      return kOk;
    case kTestCancel:
      box.testing = false;
      reply.status = kPostboxIdle;
      return kOk;
    default:
      return report(seed, request, time, box, reply);
  }
}

int Postbox::report(std::uint64_t seed, const PostboxRequest& request, Time time, Box& box,
                    PostboxReply& reply) const {
  if (!box.testing) {
    reply.status = kPostboxIdle;
    return kOk;
  }
  if (working(box, time)) {
    reply.status = kPostboxWorking;
    reply.data = static_cast<std::uint32_t>((time - box.testStart) * 100 / settings_.selfTest);
    return kOk;
  }
  const auto sequence = static_cast<std::uint64_t>(request.device.kind) << 8U |
                        static_cast<std::uint64_t>(request.device.id);
  reply.status = kPostboxDone;
  reply.data = 100;
  reply.words = {box.handle, box.test,
                 static_cast<std::uint32_t>(settings_.selfTest / kMillisecond),
                 static_cast<std::uint32_t>(draw(seed, sequence, box.handle))};
  return kOk;
}

}  // namespace sim
