#pragma once

#include <cstdint>

namespace sim {

/// A well mixed function of its argument: the same on every machine, without any state.
constexpr std::uint64_t mix(std::uint64_t value) {
  value += 0x9e3779b97f4a7c15U;
  value = (value ^ (value >> 30U)) * 0xbf58476d1ce4e5b9U;
  value = (value ^ (value >> 27U)) * 0x94d049bb133111ebU;
  return value ^ (value >> 31U);
}

/// A random number for the `index`-th draw of one of many independent sequences.
constexpr std::uint64_t draw(std::uint64_t seed, std::uint64_t sequence, std::uint64_t index) {
  return mix(mix(mix(seed) ^ sequence) ^ index);
}

}  // namespace sim
