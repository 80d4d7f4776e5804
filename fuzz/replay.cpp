#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/target.h"

/// Gives a fuzz target the files of the folders that are named, without a fuzzer.
int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string content{std::istreambuf_iterator<char>(file), {}};
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
      ++count;
    }
  }
  std::fprintf(stderr, "%d inputs\n", count);
  return count == 0 ? 1 : 0;
}
