#include "duplicates/kept_columns.h"

namespace kestrel {

// A look-up finds the first column of a name, so those behind the last one found do not matter.
void KeptColumns::Begin(const Recordset& record, bool same_object) {
  if (same_object) return;
  bool same = record.ColumnCount() >= names_.size();
  for (std::size_t i = 0; same && i < names_.size(); ++i) same = record.ColumnName(i) == names_[i];
  if (same) return;
  names_.clear();
  found_.fill(kNowhere);
}

std::size_t KeptColumns::Require(const Recordset& record, Place place, std::string_view name) {
  std::size_t& column = found_[place];
  if (column < names_.size() && names_[column] == name) return column;
  column = record.RequireColumn(name);
  while (names_.size() <= column) names_.emplace_back(record.ColumnName(names_.size()));
  return column;
}

}  // namespace kestrel
