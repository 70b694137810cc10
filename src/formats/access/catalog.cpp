#include "formats/access/catalog.h"

#include <algorithm>

#include "formats/access/cell_value.h"
#include "formats/access/table_reader.h"
#include "formats/access_sql/access_text.h"

namespace kestrel::access {
namespace {

constexpr std::uint32_t kCatalogPage = 2;
constexpr const char* kCatalogName = "MSysObjects";

// Values of MSysObjects.Type.
constexpr std::int64_t kTableType = 1;
constexpr std::int64_t kOdbcTableType = 4;
constexpr std::int64_t kQueryType = 5;
constexpr std::int64_t kLinkedTableType = 6;

// Bits of MSysObjects.Flags.
constexpr std::uint32_t kSystemFlags = 0x80000002;
// Which kind of query; the bits below say that it belongs to a form or a report.
constexpr std::uint32_t kQueryKindMask = 0xF0;
constexpr std::uint32_t kSelectQuery = 0x00;
constexpr std::uint32_t kCrosstabQuery = 0x10;
constexpr std::uint32_t kUnionQuery = 0x80;

bool IsListed(const CatalogEntry& entry, std::uint32_t flags) {
  if (entry.name.starts_with('~') || entry.name.starts_with("MSys")) return false;
  if (entry.kind != ObjectKind::kQuery) return (flags & kSystemFlags) == 0;
  const std::uint32_t kind = flags & kQueryKindMask;
  return kind == kSelectQuery || kind == kCrosstabQuery || kind == kUnionQuery;
}

}  // namespace

Catalog::Catalog(const JetFilePtr& file) {
  TableReader objects(file, {kCatalogPage, ""});
  const std::size_t id = objects.RequireColumn("Id");
  const std::size_t name = objects.RequireColumn("Name");
  const std::size_t type = objects.RequireColumn("Type");
  const std::size_t flags = objects.RequireColumn("Flags");
  const std::size_t database = objects.RequireColumn("Database");
  const std::size_t foreign_name = objects.RequireColumn("ForeignName");
  const std::optional<std::size_t> properties = objects.FindColumn("LvProp");
  const auto number = [&](std::size_t column) -> std::int64_t {
    const auto cell = objects.Cell(column);
    const ColumnKind kind = objects.columns()[column].kind;
    return cell && IsWhole(kind) ? WholeNumber(kind, *cell) : 0;
  };
  if (objects.LacksPages()) damage_ = objects.Loss(kCatalogName);
  const auto read_row = [&](std::size_t row) {
    objects.GoTo(row);
    CatalogEntry entry;
    switch (number(type)) {
      case kTableType: entry.kind = ObjectKind::kTable; break;
      case kQueryType: entry.kind = ObjectKind::kQuery; break;
      case kLinkedTableType: entry.kind = ObjectKind::kLinkedTable; break;
      case kOdbcTableType: entry.kind = ObjectKind::kOdbcTable; break;
      default: return;
    }
    entry.id = static_cast<std::int32_t>(number(id));
    entry.name = objects.Text(name);
    entry.listed = IsListed(entry, static_cast<std::uint32_t>(number(flags)));
    if (entry.kind == ObjectKind::kLinkedTable) entry.linked_file = objects.Text(database);
    entry.linked_table = objects.Text(foreign_name);
    if (entry.kind == ObjectKind::kTable && properties)
      entry.properties = objects.Cell(*properties).value_or("");
    entries_.push_back(std::move(entry));
  };
  // An entry that is damaged does not hide the others.
  for (std::size_t row = 0; row < objects.RowCount(); ++row) {
    Trap([&] { read_row(row); },
         [&](const RuntimeError& error) {
           if (!damage_) damage_ = error;
         });
  }
  std::stable_sort(entries_.begin(), entries_.end(), [](const CatalogEntry& a, const CatalogEntry& b) {
    const bool a_is_query = a.kind == ObjectKind::kQuery;
    const bool b_is_query = b.kind == ObjectKind::kQuery;
    return a_is_query != b_is_query ? b_is_query : access_sql::CompareText(a.name, b.name) < 0;
  });
}

const CatalogEntry* Catalog::Find(std::string_view name) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const CatalogEntry& entry) {
    return access_sql::EqualText(entry.name, name);
  });
  return found == entries_.end() ? nullptr : &*found;
}

FormatError LinkedTableError(const CatalogEntry& entry) {
  std::string text = "Die Tabelle '" + entry.name + "' ist nur verknüpft; ihre Daten liegen ";
  if (entry.kind == ObjectKind::kOdbcTable) {
    text += "in einer ODBC-Datenquelle";
  } else {
    text += "in der Datei '" + entry.linked_file + "'";
  }
  if (!entry.linked_table.empty()) text += " (Tabelle '" + entry.linked_table + "')";
  return FormatError(text + ". Bitte diese Quelle unmittelbar angeben.");
}

}  // namespace kestrel::access
