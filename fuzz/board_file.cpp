#include "fuzz/board_file.h"

#include <algorithm>
#include <set>

namespace fuzz {
namespace {

/// What the manager does with one request, without its clock and its thread.
template <typename Body>
void request(sim::Board& board, sim::Call call, int deviceId, sim::Time now, Body body) {
  if (board.resolve(call, deviceId) != sim::kOk) return;
  sim::CallFacts facts{call.operation, call.device, "", call.accessMode, now};
  if (call.property) facts.property = board.world().properties().at(*call.property).name;
  if (const auto hit = board.faults().strike(facts)) board.suffer(hit->effect, call, now);
  sim::Time when = 0;
  if (board.reach(call, now, when) == sim::kOk) body(call, when);
}

sim::Call callFor(sim::Operation operation, const sim::Property& property) {
  sim::Call call;
  call.operation = operation;
  call.name = property.name;
  return call;
}

void useProperty(sim::Board& board, const sim::Property& property, int deviceId, sim::Time now) {
  for (const int mode : {0, 1}) {
    sim::Call call = callFor(sim::Operation::get, property);
    call.accessMode = mode;
    request(board, call, deviceId, now, [&](const sim::Call& resolved, sim::Time when) {
      std::string text;
      board.read(resolved, when, text);
    });
  }
  if (property.writable) {
    request(board, callFor(sim::Operation::set, property), deviceId, now,
            [&](const sim::Call& resolved, sim::Time) {
              const sim::Micro number = now % 2 == 0 ? property.low : property.high;
              board.write(resolved, now, static_cast<std::int32_t>(number / sim::kUnit));
            });
  }
  if (property.clearable && now >= sim::kSecond) {
    request(board, callFor(sim::Operation::clear, property), deviceId, now,
            [&](const sim::Call& resolved, sim::Time) { board.clear(resolved, now); });
  }
}

void usePostbox(sim::Board& board, sim::Device device, sim::Time now) {
  if (device.kind > 2) return;
  for (std::uint8_t opcode = 0; opcode < 0x14; ++opcode) {
    for (std::uint8_t argument = 0; argument < 2; ++argument) {
      const sim::MailboxRequest asked{device, opcode, argument, 0, argument, 0};
      sim::MailboxReply reply;
      board.request(asked, now, reply);
      board.asyncRequest(asked, now, reply);
    }
  }
}

}  // namespace

void live(sim::Topology topology, sim::PropertyDb properties, sim::Profile profile) {
  static const char* const kListened[] = {"GPUGetPowerConsumptionV2", "GPUGetVendorIdV2"};
  sim::Board board(std::move(topology), std::move(properties), std::move(profile));
  for (const sim::Time now :
       {sim::Time{0}, sim::kMillisecond, 2 * sim::kSecond + 1, 120 * sim::kSecond}) {
    board.advance(now);
    for (const char* const name : kListened) {
      sim::Call call;
      call.operation = sim::Operation::setCallback;
      call.name = name;
      request(board, call, 0, now, [&](const sim::Call& resolved, sim::Time) {
        board.listen(resolved, now, [](auto...) {});
      });
    }
    for (sim::KindIndex kind = 0; kind < static_cast<sim::KindIndex>(kDeviceKinds.size()); ++kind) {
      const int count = board.world().topology().countOf(kind);
      if (count == 0) continue;
      for (const int id : std::set{0, count - 1}) {
        for (const sim::PropertyIndex index : board.world().properties().ofKind(kind)) {
          useProperty(board, board.world().properties().at(index), id, now);
        }
        usePostbox(board, {kind, id}, now);
      }
    }
    while (board.updates().take()) {
    }
  }
}

}  // namespace fuzz
