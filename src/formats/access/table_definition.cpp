#include "formats/access/table_definition.h"

#include <algorithm>
#include <map>
#include <set>

#include "formats/access/column_properties.h"

namespace kestrel::access {
namespace {

constexpr std::uint8_t kDefinitionPage = 2;
constexpr std::size_t kPageHead = 8;  // what every page of a definition starts with

// Where the parts of a definition stand.
struct Layout {
  std::size_t row_count, variable_columns, columns, indexes, usage_map, head, index_size, column_size;
  struct {
    std::size_t number, var_index, precision, flags, fixed_offset, length, more_flags;
  } column;
};
constexpr Layout kJet3{12, 23, 25, 31, 35, 43, 8, 18, {1, 3, 9, 13, 14, 16, 0}};
constexpr Layout kJet4{16, 43, 45, 51, 55, 63, 12, 25, {5, 7, 11, 15, 21, 23, 16}};
constexpr std::uint8_t kFixedLength = 0x01;
constexpr std::uint8_t kCalculated = 0xC0;  // of the further flags, which Jet 3 does not have

// The definition's pages, put together.
std::string GatherPages(const JetFile& file, std::uint32_t first) {
  std::string whole;
  std::set<std::uint32_t> seen;
  for (std::uint32_t page = first; page != 0;) {
    if (!seen.insert(page).second) throw Damaged("eine Tabellendefinition verweist im Kreis");
    const RawBytes bytes = file.Page(page);
    if (bytes.U8(0) != kDefinitionPage) throw Damaged("eine Tabellendefinition fehlt");
    whole += whole.empty() ? bytes.view() : bytes.view().substr(kPageHead);
    page = bytes.U32(4);
  }
  return whole;
}

Column ReadColumn(const RawBytes& bytes, std::size_t at, const Layout& layout) {
  Column column;
  column.kind = static_cast<ColumnKind>(bytes.U8(at));
  column.number = bytes.U16(at + layout.column.number);
  column.var_index = bytes.U16(at + layout.column.var_index);
  column.fixed_offset = bytes.U16(at + layout.column.fixed_offset);
  column.length = bytes.U16(at + layout.column.length);
  column.fixed = (bytes.U8(at + layout.column.flags) & kFixedLength) != 0;
  column.calculated =
      layout.column.more_flags != 0 && (bytes.U8(at + layout.column.more_flags) & kCalculated) == kCalculated;
  column.scale = bytes.U8(at + layout.column.precision + 1);
  return column;
}

// Calls `use` for each page a bitmap names.
template <class Use>
void ForEachPage(std::string_view bitmap, std::uint64_t first, Use&& use) {
  for (std::size_t i = 0; i < bitmap.size(); ++i) {
    const auto bits = static_cast<std::uint8_t>(bitmap[i]);
    for (unsigned bit = 0; bits >> bit != 0; ++bit) {
      if ((bits >> bit & 1U) != 0) use(first + i * 8 + bit);
    }
  }
}

// Calls `use` for each page of a usage map. The number of a page of the map itself that the file does not have;
// nothing is told of the pages that stand there.
template <class Use>
std::optional<std::uint64_t> ForEachMappedPage(const JetFile& file, RowPointer pointer, Use&& use) {
  constexpr std::uint8_t kInline = 0;
  constexpr std::uint8_t kByPages = 1;
  constexpr std::uint8_t kMapPage = 5;
  constexpr std::size_t kMapPageHead = 4;
  if (!file.HasPage(PageOf(pointer))) return PageOf(pointer);
  const RawBytes map(file.Row(pointer));
  const std::uint8_t type = map.U8(0);
  if (type == kInline) {
    ForEachPage(map.view().substr(std::min<std::size_t>(5, map.size())), map.U32(1), use);
    return std::nullopt;
  }
  if (type != kByPages) throw Damaged("eine Seitenliste ist von unbekannter Art");
  std::optional<std::uint64_t> missing;
  std::uint64_t first = 0;
  for (std::size_t at = 1; at + 4 <= map.size(); at += 4) {
    const std::uint32_t map_page = map.U32(at);
    const std::size_t bits = (file.Page(0).size() - kMapPageHead) * 8;
    if (map_page != 0 && !file.HasPage(map_page)) {
      missing = std::max<std::uint64_t>(missing.value_or(0), map_page);
    } else if (map_page != 0) {
      const RawBytes page = file.Page(map_page);
      if (page.U8(0) != kMapPage) throw Damaged("eine Seitenliste fehlt");
      ForEachPage(page.view().substr(kMapPageHead), first, use);
    }
    first += bits;
  }
  return missing;
}

// Adds the rows of a page, where it is one of the table's.
void AddRowsOf(const JetFile& file, std::uint32_t page_number, std::uint32_t definition,
               std::vector<RowPointer>& rows) {
  constexpr std::uint8_t kDataPage = 1;
  const RawBytes page = file.Page(page_number);
  // A table owns pages of other kinds too (definition, index, long values).
  if (page.U8(0) != kDataPage || page.U32(4) != definition) return;
  const std::uint32_t count = std::min<std::uint32_t>(file.RowsOnPage(page), 256);
  for (std::uint32_t row = 0; row < count; ++row) {
    if (!file.RowOnPage(page, row).skipped) rows.push_back(page_number << 8 | row);
  }
}

// The kind in the definition of a calculated column says how it would be edited; what it stores is its result.
void ApplyResultTypes(const JetFile& file, const std::string& properties, std::vector<Column>& columns) {
  const auto calculated = [](const Column& column) { return column.calculated; };
  if (std::none_of(columns.begin(), columns.end(), calculated)) return;
  std::map<std::string, std::uint8_t> types;
  std::string content;
  // Without them the columns are left out, and the others can be read.
  Trap([&] { types = ReadResultTypes(file, LongValue(file, properties, content)); },
       [](const RuntimeError&) {});
  for (Column& column : columns) {
    if (!column.calculated) continue;
    const auto type = types.find(column.name);
    column.kind = type == types.end() ? ColumnKind{} : static_cast<ColumnKind>(type->second);
  }
}

}  // namespace

std::optional<std::string> WhyUnreadable(const Column& column) {
  const ColumnKind kind = column.kind;
  if (kind == ColumnKind::kComplex) {
    return column.name.starts_with("VersionHistory_")
               ? "es sind die früheren Fassungen eines Memofelds, dessen jetzige gelesen wird"
               : "es ist eine Anlage oder ein Feld mit mehreren Werten";
  }
  const bool known = (kind >= ColumnKind::kBoolean && kind <= ColumnKind::kMemo) || kind == ColumnKind::kGuid ||
                     kind == ColumnKind::kNumeric || kind == ColumnKind::kBigInteger ||
                     kind == ColumnKind::kExtendedDate;
  if (known) return std::nullopt;
  if (column.calculated) return "es ist ein berechnetes Feld, dessen Datentyp in der Datei fehlt";
  return "sein Datentyp (Nummer " + std::to_string(static_cast<int>(kind)) + ") ist nicht bekannt";
}

TableDefinition ReadTableDefinition(const JetFile& file, const TablePlace& place) {
  const Layout& layout = file.IsJet3() ? kJet3 : kJet4;
  const std::string whole = GatherPages(file, place.page);
  const RawBytes bytes(whole);
  TableDefinition table;
  table.row_count = bytes.U32(layout.row_count);
  table.variable_columns = bytes.U16(layout.variable_columns);
  table.usage_map = bytes.U32(layout.usage_map);
  const std::size_t count = bytes.U16(layout.columns);
  const std::size_t columns = layout.head + std::size_t{bytes.U32(layout.indexes)} * layout.index_size;
  std::size_t name = columns + count * layout.column_size;
  if (name > bytes.size()) throw Damaged("eine Tabellendefinition ist zu kurz");
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    Column column = ReadColumn(bytes, columns + i * layout.column_size, layout);
    const std::size_t size = file.IsJet3() ? bytes.U8(name) : bytes.U16(name);
    name += file.IsJet3() ? 1 : 2;
    column.name = file.DecodeText(bytes.Part(name, size), text);
    name += size;
    table.columns.push_back(std::move(column));
  }
  std::stable_sort(table.columns.begin(), table.columns.end(),
                   [](const Column& a, const Column& b) { return a.number < b.number; });
  ApplyResultTypes(file, place.properties, table.columns);
  const auto readable = [](const Column& column) { return !WhyUnreadable(column); };
  const auto left_out = std::stable_partition(table.columns.begin(), table.columns.end(), readable);
  table.left_out.assign(left_out, table.columns.end());
  table.columns.erase(left_out, table.columns.end());
  return table;
}

StoredRows ListRows(const JetFile& file, const TableDefinition& table, std::uint32_t definition) {
  StoredRows rows;
  const auto missing_map = ForEachMappedPage(file, table.usage_map, [&](std::uint64_t page) {
    if (file.HasPage(page)) {
      AddRowsOf(file, static_cast<std::uint32_t>(page), definition, rows.pointers);
    } else {
      rows.missing_page = std::max(rows.missing_page.value_or(0), page);
    }
  });
  if (missing_map) {
    rows.missing_page = std::max(rows.missing_page.value_or(0), *missing_map);
    rows.pointers.clear();
    for (std::uint32_t page = 0; page < file.PageCount(); ++page)
      AddRowsOf(file, page, definition, rows.pointers);
  }
  return rows;
}

RowCells::RowCells(const JetFile& file, const TableDefinition& table, std::string_view bytes)
    : bytes_(bytes), jet3_(file.IsJet3()) {
  columns_ = jet3_ ? bytes_.U8(0) : bytes_.U16(0);
  const std::size_t mask_size = (columns_ + 7) / 8;
  const std::size_t counter_size = jet3_ ? 1 : 2;
  if (mask_size + counter_size > bytes_.size()) throw Damaged("ein Datensatz ist zu kurz");
  null_mask_ = bytes_.size() - mask_size;
  if (table.variable_columns == 0) return;

  const std::size_t counter = null_mask_ - counter_size;
  if (jet3_) {
    variable_columns_ = bytes_.U8(counter);
    jumps_ = (bytes_.size() - 1) / 256;
    variable_table_ = counter - jumps_ - 1;
    // The jump table has an entry for each 256 bytes of the row; its last may lie behind all data.
    if (counter < jumps_ + variable_columns_ + 1) throw Damaged("ein Datensatz ist zu kurz");
    if ((variable_table_ - variable_columns_) / 256 < jumps_) --jumps_;
  } else {
    variable_columns_ = bytes_.U16(counter);
    if (counter < 2 * (variable_columns_ + 1)) throw Damaged("ein Datensatz ist zu kurz");
    variable_table_ = counter - 2;
  }
}

std::size_t RowCells::VariableStart(std::size_t index) const {
  if (!jet3_) return bytes_.U16(variable_table_ - 2 * index);
  // Jet 3 keeps offsets in single bytes; each entry of the jump table names the column from which on
  // another 256 is to be added.
  std::size_t jumped = 0;
  while (jumped < jumps_ && bytes_.U8(null_mask_ - 2 - jumped) <= index) ++jumped;
  return bytes_.U8(variable_table_ - index) + jumped * 256;
}

std::optional<std::string_view> RowCells::Cell(const Column& column) const {
  // Columns added after the row was written are null in it.
  if (column.number >= columns_) return std::nullopt;
  if ((bytes_.U8(null_mask_ + column.number / 8) >> column.number % 8 & 1) == 0) return std::nullopt;
  if (column.kind == ColumnKind::kBoolean && !column.calculated) return std::string_view();
  if (column.fixed) {
    const std::size_t start = column.fixed_offset + std::size_t{jet3_ ? 1U : 2U};
    return bytes_.Part(start, column.length);
  }
  if (column.var_index >= variable_columns_) return std::nullopt;
  const std::size_t start = VariableStart(column.var_index);
  const std::size_t end = VariableStart(column.var_index + std::size_t{1});
  if (start > end) throw Damaged("ein Feld endet vor seinem Anfang");
  const std::string_view cell = bytes_.Part(start, end - start);
  if (!column.calculated || column.kind == ColumnKind::kMemo || column.kind == ColumnKind::kOle) return cell;
  const std::string_view value = UnwrapCalculated(cell);
  // Only a text can be empty.
  if (value.empty() && column.kind != ColumnKind::kText) return std::nullopt;
  return value;
}

std::string_view UnwrapCalculated(std::string_view wrapped) {
  constexpr std::size_t kLength = 16;
  constexpr std::size_t kValue = 20;
  if (wrapped.empty()) return wrapped;
  const RawBytes bytes(wrapped);
  return bytes.Part(kValue, bytes.U32(kLength));
}

std::string_view LongValue(const JetFile& file, std::string_view head, std::string& content) {
  constexpr std::uint32_t kInline = 0x80000000;
  constexpr std::uint32_t kOnePage = 0x40000000;
  constexpr std::size_t kHeadSize = 12;
  const RawBytes bytes(head);
  const std::uint32_t word = bytes.U32(0);
  const std::size_t length = word & 0x3FFFFFFFU;
  if (length == 0) return {};
  if ((word & kInline) != 0) return bytes.Part(kHeadSize, length);
  RowPointer pointer = bytes.U32(4);
  if ((word & kOnePage) != 0) return RawBytes(file.Row(pointer)).Part(0, length);

  if (length > file.FileSize()) throw Damaged("ein langes Feld ist länger als die Datei");
  content.clear();
  while (content.size() < length) {
    if (pointer == 0) throw Damaged("ein langes Feld bricht ab");
    const RawBytes piece(file.Row(pointer));
    pointer = piece.U32(0);
    // A piece without content would let a circle go on for ever.
    if (piece.size() == 4) throw Damaged("ein langes Feld hat ein leeres Stück");
    content += piece.Part(4, std::min(piece.size() - 4, length - content.size()));
  }
  return content;
}

}  // namespace kestrel::access
