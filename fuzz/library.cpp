#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "fuzz/target.h"
#include "tools/devmgr-check/elf_file.h"

/// A device library's file, whole, truncated or damaged, as `devmgr-check` reads it.
void fuzz_library(const std::uint8_t* data, std::size_t size) {
  static const int file = memfd_create("library", MFD_CLOEXEC);
  if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size)) {
    std::abort();
  }
  try {
    const ElfFile library(file);
    const std::string cxxName = library.cxxNameOf("TesselCmd");
    if (!cxxName.empty() && library.find(cxxName) == nullptr) std::abort();
    if (const auto* const symbol = library.find("logger"); symbol != nullptr) kindOf(*symbol);
  } catch (const std::runtime_error&) {
  }
}
