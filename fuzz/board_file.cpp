#include "fuzz/board_file.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "fuzz/costs.h"
#include "sim/base/text.h"

namespace fuzz {
namespace {

/// What reading may cost. The fixed part is for the built-in properties that most boards have.
constexpr Bound kPeakBytes{256U << 10U, 100};
constexpr Bound kAllocatedBytes{512U << 10U, 200};

/// Time stands still for the calls of one moment, and what hangs is stopped at once.
class Moment : public sim::Waiter {
 public:
  explicit Moment(sim::Time now) : now_(now) {}
  [[nodiscard]] sim::Time now() const override { return now_; }
  bool elapse(sim::Time /*span*/) override { return true; }
  void hang() override {}

 private:
  sim::Time now_;
};

sim::Call callFor(sim::Operation operation, const sim::Property& property, int deviceId) {
  sim::Call call;
  call.operation = operation;
  call.deviceId = deviceId;
  call.name = property.name;
  return call;
}

void useProperty(sim::Board& board, const sim::Property& property, int deviceId, Moment& moment) {
  for (const int mode : {0, 1}) {
    sim::Call call = callFor(sim::Operation::get, property, deviceId);
    call.accessMode = mode;
    board.execute(call, moment);
  }
  if (property.writable) {
    sim::Call call = callFor(sim::Operation::set, property, deviceId);
    const sim::Fixed number = moment.now() % 2 == 0 ? property.low : property.high;
    call.value = static_cast<std::int32_t>(number / sim::kOne);
    board.execute(call, moment);
  }
  if (property.clearable && moment.now() >= sim::kSecond) {
    sim::Call call = callFor(sim::Operation::clear, property, deviceId);
    board.execute(call, moment);
  }
}

void usePostbox(sim::Board& board, sim::Device device, Moment& moment) {
  if (device.kind > 2) return;
  for (std::uint8_t opcode = 0; opcode < 0x14; ++opcode) {
    for (std::uint8_t argument = 0; argument < 2; ++argument) {
      for (const auto operation : {sim::Operation::rawSyncCmd, sim::Operation::rawAsyncCmd}) {
        sim::Call call;
        call.operation = operation;
        call.device = device;
        call.postbox = {device, opcode, argument, 0, argument, 0, {}};
        board.execute(call, moment);
      }
    }
  }
}

}  // namespace

void readBoardFile(const std::uint8_t* data, std::size_t size,
                   const std::function<BoardFiles(const sim::Node&)>& read) {
  const Costs costs;
  std::optional<BoardFiles> files;
  try {
    files = read(sim::parseJson({reinterpret_cast<const char*>(data), size}, "file"));
  } catch (const sim::FileError& error) {
    const std::string_view why = error.what();
    expectEqual("start of the rejection", "file:", why.substr(0, 5));
    expectEqual("what is not printable in the rejection", why, sim::printable(why));
  }
  costs.check(size, kPeakBytes, kAllocatedBytes);
  if (files) runBoard(std::move(*files));
}

void runBoard(BoardFiles files) {
  static const char* const kSubscribed[] = {"GPUGetPowerConsumptionV2", "GPUGetVendorIdV2"};
  sim::Board board(std::move(files.topology), std::move(files.properties),
                   std::move(files.profile));
  for (const sim::Time now :
       {sim::Time{0}, sim::kMillisecond, 2 * sim::kSecond + 1, 120 * sim::kSecond}) {
    board.advance(now);
    Moment moment(now);
    for (const char* const name : kSubscribed) {
      sim::Call call;
      call.operation = sim::Operation::setCallback;
      call.name = name;
      call.callback = [](auto...) {};
      board.execute(call, moment);
    }
    for (sim::KindIndex kind = 0; kind < static_cast<sim::KindIndex>(kDeviceKinds.size()); ++kind) {
      const int count = board.state().topology().countOf(kind);
      if (count == 0) continue;
      for (const int id : std::set{0, count - 1}) {
        for (const sim::PropertyIndex index : board.state().properties().ofKind(kind)) {
          useProperty(board, board.state().properties().at(index), id, moment);
        }
        usePostbox(board, {kind, id}, moment);
      }
    }
    while (board.subscriptions().take()) {
    }
  }
}

}  // namespace fuzz
