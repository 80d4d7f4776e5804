#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "sim/board/property_db.h"
#include "sim/config/json_file.h"

namespace sim {

/// The first step of reading properties: the names that files define, each with the place of its
/// definition, so that a definition may mention names that come later. Refers to the documents.
class DefinedNames {
 public:
  struct Entry {
    const Node* node;  ///< The definition; its key is the name.
    KindIndex kind;
  };

  /// Adds the names of a file; its entries replace earlier ones of the same name, in their place.
  /// Throws `FileError`.
  void collect(const Node& document);

  [[nodiscard]] const std::vector<Entry>& properties() const { return properties_; }
  [[nodiscard]] const std::vector<const Node*>& records() const { return records_; }

  /// Both throw `FileError` for an unknown name.
  [[nodiscard]] PropertyIndex propertyNamed(const Node& name) const;
  [[nodiscard]] std::size_t recordNamed(const Node& name) const;

  [[nodiscard]] const PropertyIndex* find(std::string_view name) const;
  [[nodiscard]] std::size_t pagesOf(std::size_t record) const;

  /// Of the definition of a record. Throws `FileError`.
  static std::size_t entriesPerPage(const Node& record);

 private:
  void addProperty(const Node& node);
  void addRecord(const Node& node);

  std::vector<Entry> properties_;
  std::vector<const Node*> records_;
  std::unordered_map<std::string_view, PropertyIndex> byName_;
  std::unordered_map<std::string_view, std::size_t> recordsByName_;
};

}  // namespace sim
