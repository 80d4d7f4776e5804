#pragma once

#include <memory_resource>
#include <string>

#include "sim/config/json_file.h"

namespace sim {

/// What the values of one file have in common.
struct Source {
  std::string file;  ///< As the operator named it.
  std::string content;
  std::pmr::monotonic_buffer_resource memory;  ///< Of the nodes, and of texts with escapes.
  Node root;
};

/// Throws `FileError` for the value that begins at `offset`; `pointer` is empty when there is none.
[[noreturn]] void rejectAt(const Source& source, std::size_t offset, const std::string& pointer,
                           const std::string& why);

/// The JSON pointer of the value that begins at `offset`.
std::string pointerTo(const Node& root, std::size_t offset);

/// Parses the content into the tree below `root`. With `whole` the parser is shown every character,
/// otherwise only those that it has to judge. Returns false when it found fault with what it was
/// shown; throws when that was the whole text.
bool buildTree(Source& source, bool whole);

}  // namespace sim
