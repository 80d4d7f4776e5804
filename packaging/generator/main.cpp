#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

#include "packaging/generator/sections.h"

/// boardctl_generate TEMPLATE OUTPUT: copies the template; @NAME@ becomes the section of that name,
/// and @file.name@ the template of that name in the same folder.
namespace {

using Sections = std::map<std::string, std::string>;

std::string read(const std::filesystem::path& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string expand(const std::filesystem::path& path, const Sections& sections) {
  constexpr const char* kNameLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_.";
  const std::string text = read(path);
  std::string output;
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t open = text.find('@', position);
    output.append(text, position, open - position);
    if (open == std::string::npos) break;
    const std::size_t close = text.find_first_not_of(kNameLetters, open + 1);
    if (close == std::string::npos || close == open + 1 || text[close] != '@') {
      output += '@';
      position = open + 1;
      continue;
    }
    const std::string name = text.substr(open + 1, close - open - 1);
    if (name.find('.') != std::string::npos) {
      output += expand(path.parent_path() / name, sections);
    } else if (const auto section = sections.find(name); section != sections.end()) {
      output += section->second;
    } else {
      throw std::runtime_error("no section @" + name + "@ for " + path.string());
    }
    position = close + 1;
  }
  return output;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 3) throw std::runtime_error("usage: boardctl_generate TEMPLATE OUTPUT");
    std::ofstream output(argv[2]);
    output << expand(argv[1], generator::makeSections()) << std::flush;
    if (!output) throw std::runtime_error(std::string("cannot write ") + argv[2]);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "boardctl_generate: %s\n", error.what());
    return 1;
  }
}
