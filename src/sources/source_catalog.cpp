#include "sources/source_catalog.h"

#include "kestrel/runtime_error.h"
#include "platform/base/text.h"
#include "sources/source_kind.h"

namespace kestrel {

std::vector<std::string> FillTableList(Connection& connection) {
  const std::vector<CatalogTable> catalog = connection.Tables();
  std::vector<std::string> names;
  for (const char* type : {"TABLE", "VIEW"}) {
    for (const CatalogTable& table : catalog) {
      if (table.type == type) names.push_back(table.name);
    }
  }
  return names;
}

std::vector<std::string> FillSheetList(Connection& connection) {
  std::vector<std::string> names;
  for (CatalogTable& table : connection.Tables()) names.push_back(std::move(table.name));
  return names;
}

std::string ListedTableName(const SourceKind& kind, std::string_view table) {
  const std::string_view ending = kind.table_ending;
  if (table.size() > ending.size() && UpperCase(table).ends_with(ending)) table.remove_suffix(ending.size());
  return std::string(table);
}

void SelectListEntry(SelectableList& list, std::string_view text, std::int64_t item_data) {
  const auto select = [&] {
    const std::string wanted = UpperCase(text);
    const int count = list.Count();
    for (int index = 0; index < count; ++index) {
      if (!text.empty()) {
        list.Select(index);
        if (UpperCase(list.SelectedText()) == wanted) return;
      } else if (list.ItemData(index) == item_data) {
        list.Select(index);
        return;
      }
    }
  };
  Trap(select, [](const RuntimeError&) {});
}

}  // namespace kestrel
