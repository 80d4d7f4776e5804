#include <cstring>

#include "devmgr/data_info.h"
#include "devmgr/manager.h"
#include "devmgr/properties.h"

/// A small device library with one fault, chosen when it is compiled; with none it fits.

#ifdef SMALL_LOGGER
extern DEVMGR_API char smallLogger[8] __asm__("logger");
char smallLogger[8];
#endif

// What is hidden in one object is hidden in the whole library.
#if defined(ENTRY_POINT_MISSING) || defined(CXX_LINKAGE)
__asm__(".hidden TesselCmd");
#elif defined(NO_COPY_CONSTRUCTOR)
__asm__(".hidden _ZN9data_info8DataInfoC1ERKS0_");
#elif defined(VECTOR_FORM_MISSING)
__asm__(
    ".hidden _Z28DeviceGetSupportedPropertiesi"
    "RSt6vectorINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEESaIS5_EES8_");
#endif

void value_type::ValueType::onChange() {}
void data_info::DataInfo::onChange() {}

namespace {

constexpr const char* kListing = "gpu.a\ngpu.b";

int writeText(const char* text, char* buffer, int size) {
  std::strncpy(buffer, text, static_cast<std::size_t>(size) - 1);
#ifdef TEXT_OVERRUNS
  buffer[size] = '\0';
#endif
#ifdef TEXT_WITHOUT_NUL
  std::memset(buffer, 'x', static_cast<std::size_t>(size));
#endif
  return 0;
}

}  // namespace

int DeviceGetSupportedProperties(int deviceType, std::vector<std::string>& names,
                                 std::vector<std::string>& /*details*/) {
  if (deviceType != 0) return 4;
  names = {"gpu.a", "gpu.b"};
#ifdef NAME_IN_VECTOR_ONLY
  names.emplace_back("gpu.c");
#endif
#ifdef NAME_IN_TEXT_ONLY
  names.pop_back();
#endif
  return 0;
}

#ifdef CXX_LINKAGE
DEVMGR_API int TesselCmd(int, unsigned char, unsigned char, unsigned char, const std::vector<int>&);
int TesselCmd(int, unsigned char, unsigned char, unsigned char, const std::vector<int>&) {
  return 0;
}
#endif

extern "C" {

int GPUManagerInit(const char* /*manifest*/, const char* /*profile*/, const char* /*properties*/) {
#ifdef INIT_FAILS
  return 14;
#endif
#ifdef CRASHES
  *static_cast<volatile int*>(nullptr) = 1;
#endif
  return 0;
}
int DeviceGetData(int /*deviceId*/, const char* /*name*/, int /*reserved0*/, int /*reserved1*/,
                  char* buffer, int size, int /*accessMode*/, int /*reserved2*/) {
  return writeText("value", buffer, size);
}
int DeviceGetSupportedProperties(int deviceType, char* buffer, int size) {
  return deviceType == 0 ? writeText(kListing, buffer, size) : 4;
}
int DeviceGetAllSupportedProperties(char* buffer, int size) {
  return writeText(kListing, buffer, size);
}
#ifdef STATUS_NOT_STORED
int SnapShotRefreshStatus(bool* /*running*/) { return 0; }
#endif

}  // extern "C"
