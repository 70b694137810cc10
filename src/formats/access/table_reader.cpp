#include "formats/access/table_reader.h"

#include <algorithm>
#include <utility>

#include "formats/access/cell_value.h"
#include "platform/base/text.h"
#include "platform/base/value_text.h"

namespace kestrel::access {

TableReader::TableReader(JetFilePtr file, const TablePlace& place)
    : file_(std::move(file)),
      table_(ReadTableDefinition(*file_, place)),
      rows_(ListRows(*file_, table_, place.page)),
      texts_(table_.columns.size()) {}

std::optional<FormatError> TableReader::Loss(std::string_view table) const {
  const bool fewer = RowCount() < PromisedRows();
  if (!rows_.missing_page && !fewer) return std::nullopt;
  std::string text = "Von der Tabelle '" + std::string(table) + "' fehlen Datensätze: lesbar sind " +
                     std::to_string(RowCount());
  if (fewer) text += " von " + std::to_string(PromisedRows());
  text += ". ";
  if (rows_.missing_page)
    return FormatError(text + file_->Shortage(*rows_.missing_page), file_->PlaceOf(*rows_.missing_page));
  text += "Die Access-Datei " + (file_->name().empty() ? "" : file_->name() + " ") +
          "ist beschädigt. Bitte die Datei in Access komprimieren und reparieren oder neu exportieren.";
  return FormatError(std::move(text), {.file = file_->name()});
}

std::optional<std::size_t> TableReader::FindColumn(std::string_view name) const {
  const auto found = std::find_if(columns().begin(), columns().end(),
                                  [&](const Column& column) { return EqualsIgnoringCase(column.name, name); });
  if (found == columns().end()) return std::nullopt;
  return static_cast<std::size_t>(found - columns().begin());
}

std::size_t TableReader::RequireColumn(std::string_view name) const {
  const auto found = FindColumn(name);
  if (!found) throw Damaged("einer Systemtabelle fehlt die Spalte " + std::string(name));
  return *found;
}

void TableReader::GoTo(std::size_t row) { cells_ = RowCells(*file_, table_, file_->Row(rows_.pointers[row])); }

std::string_view TableReader::Text(std::size_t column) {
  const Column& shape = columns()[column];
  const auto cell = cells_.Cell(shape);
  if (!cell) {
    if (CanBeNull(shape)) return {};
    texts_[column] = BoolText(false);
    return texts_[column];
  }
  return CellText(*file_, shape, *cell, texts_[column]);
}

}  // namespace kestrel::access
