#include "tools/devmgr-check/library.h"

#include <dlfcn.h>

#include <stdexcept>

namespace {

/// An exception that leaves a constructor of the library ends the process here. The compiler takes
/// `dlopen` for a function that throws nothing, unless it does not know what is called.
void* load(const std::string& file) noexcept {
  void* (*volatile const open)(const char*, int) = dlopen;
  return open(file.c_str(), RTLD_NOW | RTLD_LOCAL);
}

}  // namespace

Library::Library(const std::string& file, const ElfFile& contents)
    : contents_(contents), handle_(load(file)) {
  const link_map* map = nullptr;
  if (handle_ == nullptr || dlinfo(handle_, RTLD_DI_LINKMAP, &map) != 0) {
    throw std::runtime_error(dlerror());
  }
  if (map->l_name != file && !contents.isNamed(map->l_name)) {
    throw std::runtime_error(std::string("the dynamic loader took another file: ") + map->l_name);
  }
}

void* Library::find(const std::string& symbol) const { return dlsym(handle_, symbol.c_str()); }

const ElfW(Sym) * Library::symbol(const std::string& name) const {
  if (const ElfW(Sym)* const own = contents_.find(name); own != nullptr) return own;
  Dl_info info = {};
  void* entry = nullptr;
  void* const address = find(name);
  if (address == nullptr || dladdr1(address, &info, &entry, RTLD_DL_SYMENT) == 0) return nullptr;
  return static_cast<const ElfW(Sym)*>(entry);
}

bool Library::isData(const std::string& name) const {
  const ElfW(Sym)* const entry = symbol(name);
  if (entry == nullptr) return false;
  const SymbolKind kind = kindOf(*entry);
  return kind == SymbolKind::data || kind == SymbolKind::threadLocal;
}
