#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/target.h"

#ifdef FUZZ_TARGET

/// What the fuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FUZZ_TARGET(data, size);
  return 0;
}

#else

namespace {

struct NamedTarget {
  std::string_view name;
  FuzzTarget* run;
};

#define NAMED(target) {#target, fuzz_##target},
constexpr NamedTarget kTargets[] = {FUZZ_TARGETS};
#undef NAMED

}  // namespace

/// Gives a target the files of a folder, without a fuzzer. Arguments: the target and the folder.
int main(int argc, char** argv) {
  int count = 0;
  for (const NamedTarget& target : kTargets) {
    if (argc != 3 || argv[1] != target.name) continue;
    for (const auto& entry : std::filesystem::directory_iterator(argv[2])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string content{std::istreambuf_iterator<char>(file), {}};
      target.run(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
      ++count;
    }
  }
  std::fprintf(stderr, "%d inputs\n", count);
  return count == 0 ? 1 : 0;
}

#endif
