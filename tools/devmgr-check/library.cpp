#include "tools/devmgr-check/library.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace {

/// The number of symbols follows from the hash table alone: the last symbol is the end of the
/// longest chain.
std::size_t countSymbols(const std::uint32_t* hash) {
  const std::uint32_t buckets = hash[0];
  const std::uint32_t firstHashed = hash[1];
  const std::uint32_t filterWords = hash[2];
  const auto* const bucket = hash + 4 + filterWords * (sizeof(ElfW(Addr)) / sizeof(std::uint32_t));
  const std::uint32_t* const chain = bucket + buckets;
  std::uint32_t last = *std::max_element(bucket, bucket + buckets);
  if (last < firstHashed) return firstHashed;
  while ((chain[last - firstHashed] & 1) == 0) ++last;
  return last + std::size_t{1};
}

}  // namespace

Library::Library(const std::string& file) : handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) throw std::runtime_error(dlerror());
  if (dlinfo(handle_, RTLD_DI_LINKMAP, &map_) != 0) throw std::runtime_error(dlerror());
  for (const ElfW(Dyn)* entry = map_->l_ld; entry->d_tag != DT_NULL; ++entry) {
    const auto pointer = reinterpret_cast<const void*>(entry->d_un.d_ptr);
    if (entry->d_tag == DT_SYMTAB) symbols_ = static_cast<const ElfW(Sym)*>(pointer);
    if (entry->d_tag == DT_STRTAB) strings_ = static_cast<const char*>(pointer);
    if (entry->d_tag == DT_GNU_HASH) {
      symbolCount_ = countSymbols(static_cast<const std::uint32_t*>(pointer));
    }
    if (entry->d_tag == DT_SONAME) sonameOffset_ = entry->d_un.d_val;
  }
}

void* Library::find(const std::string& symbol) const { return dlsym(handle_, symbol.c_str()); }

std::optional<std::size_t> Library::sizeOf(const std::string& symbol) const {
  Dl_info info = {};
  const ElfW(Sym)* entry = nullptr;
  void* const address = find(symbol);
  if (address == nullptr ||
      dladdr1(address, &info, reinterpret_cast<void**>(const_cast<ElfW(Sym)**>(&entry)),
              RTLD_DL_SYMENT) == 0 ||
      entry == nullptr) {
    return std::nullopt;
  }
  return entry->st_size;
}

std::string Library::soname() const {
  return sonameOffset_ == 0 ? std::string() : strings_ + sonameOffset_;
}

std::string Library::cxxNameOf(const std::string& name) const {
  const std::string prefix = "_Z" + std::to_string(name.size()) + name;
  for (std::size_t i = 0; i < symbolCount_; ++i) {
    std::string symbol = strings_ + symbols_[i].st_name;
    if (symbols_[i].st_shndx != SHN_UNDEF && symbol.starts_with(prefix)) return symbol;
  }
  return {};
}
