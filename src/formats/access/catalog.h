// What a database holds: its tables and saved queries.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/access/table_definition.h"

namespace kestrel::access {

enum class ObjectKind { kTable, kQuery, kLinkedTable, kOdbcTable };

struct CatalogEntry {
  std::string name;
  ObjectKind kind = ObjectKind::kTable;
  std::int32_t id = 0;      // as other system tables name it
  bool listed = true;       // false for system and temporary objects, and for queries without rows
  std::string linked_file;  // of a linked table
  std::string linked_table;
  std::string properties;  // of a table, see TablePlace
  TablePlace Place() const { return {static_cast<std::uint32_t>(id) & 0xFFFFFFU, properties}; }
};

class Catalog {
 public:
  // Raises 3000 where the catalog cannot be read at all.
  explicit Catalog(const JetFilePtr& file);
  // Why entries may be missing; none where the catalog is whole.
  const std::optional<RuntimeError>& damage() const { return damage_; }

  // Tables before queries, each by name in dictionary order.
  const std::vector<CatalogEntry>& entries() const { return entries_; }
  // Names are compared without case. Null where there is none. System objects are found too.
  const CatalogEntry* Find(std::string_view name) const;

 private:
  std::vector<CatalogEntry> entries_;
  std::optional<RuntimeError> damage_;
};

// The error for a linked table: 3000, naming table and file.
FormatError LinkedTableError(const CatalogEntry& entry);

}  // namespace kestrel::access
