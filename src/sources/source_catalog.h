// The lists of tables, views and sheets.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection.h"
#include "kestrel/export.h"

namespace kestrel {

struct SourceKind;

// SQL Server and Access: the tables of type "TABLE" in the provider's order, then those of type "VIEW".
std::vector<std::string> FillTableList(Connection& connection);
// Excel and dBase: every table of the catalog, whatever its type.
std::vector<std::string> FillSheetList(Connection& connection);

// How the list of the kind's tables shows a stored table: without the kind's ending, as that of dBase tables,
// which a file handed in by the host, or a specification, names them with; all others as they are.
KESTREL_INTERNAL std::string ListedTableName(const SourceKind& kind, std::string_view table);

// A drop-down list as SelectListEntry sees it.
class SelectableList {
 public:
  virtual ~SelectableList() = default;
  virtual int Count() const = 0;
  virtual void Select(int index) = 0;
  virtual std::string SelectedText() const = 0;
  virtual std::int64_t ItemData(int index) const = 0;
};

// Selects the entry whose text equals `text` in upper case; moving the selection before each comparison, so
// that the last entry stays selected where none is equal. For an empty text the first entry with that item
// data. Errors of the list are ignored.
KESTREL_INTERNAL void SelectListEntry(SelectableList& list, std::string_view text, std::int64_t item_data);

}  // namespace kestrel
