#include <array>
#include <string_view>

#include "devmgr/logger.h"
#include "devmgr/properties.h"
#include "tools/devmgr-check/checks.h"

namespace {

struct Symbol {
  const char* what;
  const char* name;
  bool data = false;
};

constexpr Symbol function(const char* name) { return {name, name}; }

constexpr std::array kSymbols = {
    function("GPUSetLogger"),
    function("GPUSetLogLevel"),
    function("GPUManagerInit"),
    function("GPUManagerRun"),
    function("GPUManagerStop"),
    function("DeviceGetData"),
    function("DeviceSetData"),
    function("DeviceClearData"),
    function("DeviceGetSupportedProperties"),
    function("DeviceGetAllSupportedProperties"),
    function("SnapShotRefreshStatus"),
    function("DeviceSetCallbackUpdateData"),
    function("TesselCmd"),
    function("TesselCmdKorswitch"),
    function("TesselCmdFpga"),
    function("TesselSyncCmdGpu"),
    function("TesselSyncCmdKorswitch"),
    function("TesselSyncCmdFpga"),
    function("TesselAsyncCmdGpu"),
    function("TesselAsyncCmdKorswitch"),
    Symbol{"DeviceGetSupportedProperties (vectors)", kVectorForm},
    Symbol{"DataInfo copy constructor", "_ZN9data_info8DataInfoC1ERKS0_"},
    Symbol{"logger", "logger", true},
};

std::string describe(SymbolKind kind) {
  switch (kind) {
    case SymbolKind::function:
      return "a function";
    case SymbolKind::data:
      return "data";
    case SymbolKind::threadLocal:
      return "thread-local data";
    default:
      return "of unknown type";
  }
}

void checkSize(const Symbol& symbol, std::size_t size, Report& report) {
  if (size == 0) {
    report.unknown(symbol.what, "its symbol has no size");
    return;
  }
  const std::string sizes =
      std::to_string(size) + " bytes; boardctl uses " + std::to_string(sizeof(Logger));
  report.add(size < sizeof(Logger) ? Verdict::bad : Verdict::good, symbol.what, sizes);
}

void checkSymbol(const Symbol& symbol, const ElfW(Sym) & entry, Report& report) {
  const SymbolKind due = symbol.data ? SymbolKind::data : SymbolKind::function;
  const SymbolKind kind = kindOf(entry);
  if (kind == SymbolKind::untyped) {
    report.unknown(symbol.what, "its symbol has no type");
  } else if (kind != due) {
    report.bad(symbol.what, "is " + describe(kind) + ", not " + describe(due));
  } else if (symbol.data) {
    checkSize(symbol, static_cast<std::size_t>(entry.st_size), report);
  } else {
    report.good(symbol.what);
  }
}

/// Why there is no such symbol.
std::string absence(const Symbol& symbol, const ElfFile& file) {
  if (symbol.data) return "missing";
  if (std::string_view(symbol.what) != symbol.name) return std::string("missing: ") + symbol.name;
  const std::string cxxName = file.cxxNameOf(symbol.name);
  return cxxName.empty() ? "missing" : "has C++ linkage instead of C linkage: " + cxxName;
}

}  // namespace

void checkFile(const ElfFile& file, Report& report) {
  constexpr const char* kSoname = "libdevmgr.so.0";
  const std::string& soname = file.soname();
  report.check(soname == kSoname, "soname",
               soname.empty() ? "the library has none" : soname + " instead of " + kSoname);
  for (const Symbol& symbol : kSymbols) {
    const ElfW(Sym)* const entry = file.find(symbol.name);
    if (entry != nullptr) checkSymbol(symbol, *entry, report);
  }
}

void checkLoaded(const ElfFile& file, const Library& library, Report& report) {
  for (const Symbol& symbol : kSymbols) {
    const bool found = library.find(symbol.name) != nullptr;
    if (file.find(symbol.name) != nullptr) {
      if (!found) report.bad(symbol.what, "the dynamic loader does not find it");
    } else if (!found) {
      report.bad(symbol.what, absence(symbol, file));
    } else if (const ElfW(Sym)* const entry = library.symbol(symbol.name); entry != nullptr) {
      checkSymbol(symbol, *entry, report);
    } else {
      report.unknown(symbol.what, "its symbol has no type");
    }
  }
}
