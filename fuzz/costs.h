#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// A bound of what the work on an input may cost: so much for the work itself, and so much for each
/// byte of the input.
struct Bound {
  std::uint64_t fixed;
  std::uint64_t perByte;
};

/// Counts what happens from its construction on. Memory is counted where a sanitizer's allocator is
/// linked, processor time only in programs that the fuzzer drives.
class Costs {
 public:
  Costs();

  /// Ends the process with the bound, the figure and the size of the input when the memory that was
  /// in use at any moment, the memory that was allocated in all, or the time exceeds its bound.
  void check(std::size_t inputSize, Bound peakBytes, Bound allocatedBytes) const;

 private:
  std::int64_t liveBefore_;
  std::uint64_t allocatedBefore_;
  std::uint64_t begin_;
};

}  // namespace fuzz
