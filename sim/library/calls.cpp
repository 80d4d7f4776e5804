#include "sim/library/calls.h"

#include <algorithm>
#include <array>

namespace sim {
namespace {

using journal::Argument;
using journal::Kind;

/// The text fits, as the board has seen to.
void copyText(const Result& result, const Argument& argument) {
  if (result.code != kOk) return;
  char* const buffer = argument.output<char>();
  char* const end = std::ranges::copy(result.text, buffer).out;
  if (result.unterminated) {
    std::fill(end, buffer + argument.number, '#');
  } else {
    *end = '\0';
  }
}

/// An asynchronous request gives its words. Another one gives the registers, even when it was
/// rejected, unless it never reached the device.
void copyWords(const PostboxReply& reply, bool registers, const Argument& argument) {
  auto& output = *argument.output<std::vector<unsigned int>>();
  if (!registers) {
    output.assign(reply.words.begin(), reply.words.end());
  } else if (reply.status != kPostboxIdle) {
    output = {reply.status, reply.data, reply.extended};
  }
}

}  // namespace

void handOver(const Result& result, const journal::Capture& capture) {
  const PostboxReply& reply = result.postbox;
  const std::array registers{reply.status, reply.data, reply.extended};
  const std::vector<std::string>* texts = &result.names;
  std::size_t next = 0;
  for (const Argument& argument : capture.arguments()) {
    if (argument.kind == Kind::textOut) {
      copyText(result, argument);
    } else if (argument.kind == Kind::textsOut) {
      auto& output = *argument.output<std::vector<std::string>>();
      output.insert(output.end(), texts->begin(), texts->end());
      texts = &result.units;
    } else if (argument.kind == Kind::wordOut) {
      *argument.output<unsigned int>() = registers[next++];
    } else if (argument.kind == Kind::wordsOut) {
      copyWords(reply, next == 0, argument);
    } else if (argument.kind == Kind::flagOut) {
      *argument.output<bool>() = result.refreshing;
    }
  }
}

}  // namespace sim
