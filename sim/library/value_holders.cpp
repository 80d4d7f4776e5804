#include <typeinfo>

#include "devmgr/data_info.h"
#include "devmgr/value_type.h"
#include "sim/base/log.h"

// The bodies that each side of the interface defines for itself.

void value_type::ValueType::onChange() {
  if (!sim::isLogged(sim::Level::debug)) return;
  sim::logLine(sim::Level::debug,
               std::string("[") + typeid(*this).name() + "][onChange]: ValueType");
}

void data_info::DataInfo::onChange() {
  if (!sim::isLogged(sim::Level::debug)) return;
  sim::logLine(sim::Level::debug, std::string("[") + typeid(*this).name() +
                                      "][onChange]: Entry(DataInfo (" + propertyName + ")).");
}

data_info::DataInfo::DataInfo(const DataInfo& other) = default;
