#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "devmgr/api.h"
#include "devmgr/value_type.h"

namespace data_info {

/// One property update, as the library hands it to an update callback.
///
/// Layout, which both sides must agree on: the `ValueType` part, then the members in the order
/// below. What the tool relies on is their kind and order (four texts, two callables, a list of
/// callables, one more callable, one value holder), because its copies are destroyed by code that
/// is compiled into the tool. The plain fields are never read by the tool; their place matters all
/// the same, and is an assumption that an integrator has to confirm for a given library build.
///
/// Virtual table, in slot order: `onChange`, complete destructor, deleting destructor.
///
/// Threads: a `DataInfo` belongs to the thread that holds it. The library passes a callback an
/// object of its own and keeps ownership; the callback owns the copies that it makes.
class DataInfo : public value_type::ValueType {
 public:
  /// An empty update. Not exported: only code that produces updates needs it.
  DataInfo() = default;

  /// The one member that the library exports. Copies every member deeply; throws `std::bad_alloc`
  /// (or what a stored callable's copy throws) and then leaves nothing behind.
  DEVMGR_API DataInfo(const DataInfo& other);

  DataInfo& operator=(const DataInfo&) = delete;

  virtual ~DataInfo() = default;

  /// As `ValueType::onChange`, with the property's name in the line. No body here; each side
  /// defines its own.
  void onChange() override;

  std::string propertyName;
  std::string apiName;
  std::string valueText;
  std::string unit;
  std::int32_t deviceType = -1;
  std::int32_t deviceId = -1;
  std::function<void()> reader;
  std::function<void()> writer;
  std::vector<std::function<void()>> observers;
  std::uint64_t updateCount = 0;
  std::function<void()> eraser;
  value_type::ValueType value;
};

}  // namespace data_info
