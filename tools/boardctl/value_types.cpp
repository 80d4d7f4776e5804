#include <typeinfo>

#include "devmgr/data_info.h"
#include "devmgr/value_type.h"
#include "logging/log.h"

// The tool's bodies of the library classes' virtual operation; they also settle where the tool's
// virtual tables are emitted.

void value_type::ValueType::onChange() {
  BOARDCTL_LOG(boardctl::kLogDebug, "[%s][%s]: ValueType\n", typeid(*this).name(), "onChange");
}

void data_info::DataInfo::onChange() {
  BOARDCTL_LOG(boardctl::kLogDebug, "[%s][%s]: Entry(DataInfo (%s)).\n", typeid(*this).name(),
               "onChange", propertyName.c_str());
}
