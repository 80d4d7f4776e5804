#pragma once

#include <cstdint>
#include <vector>

namespace value_type {

/// Base of the library's value holders.
///
/// Layout, which both sides must agree on: the virtual-table pointer, then one owned buffer. The
/// virtual table has exactly one slot, `onChange`. There is no virtual destructor, so a `ValueType`
/// must never be deleted through a pointer to this class.
///
/// The library exports nothing of this class. `onChange` has no body here: each side that creates
/// holders defines its own and emits its own virtual table.
///
/// Threads: a holder is not locked; it belongs to the thread that uses it.
class ValueType {
 public:
  /// Called when the held value has been replaced. The tool's body writes one log line at level 4
  /// with the dynamic type's name; it changes nothing and does not fail.
  virtual void onChange();

 private:
  std::vector<std::uint8_t> buffer_;
};

}  // namespace value_type
