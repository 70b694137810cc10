// Input: an Access file. Every table and query is read, system tables included.
#include "formats/access/database.h"
#include "read_all.h"

namespace {

using kestrel::access::CatalogEntry;
using kestrel::access::Database;

void ReadTable(const Database& database, const CatalogEntry& entry) {
  kestrel::access::TableReader table = database.OpenTable(entry);
  kestrel::fuzz::MayFail([&] { table.Loss(entry.name); });
  for (std::size_t row = 0; row < table.RowCount(); ++row) {
    kestrel::fuzz::MayFail([&] {
      table.GoTo(row);
      kestrel::fuzz::ReadCells(table.columns().size(), [&](std::size_t column) { table.Text(column); });
    });
  }
}

void ReadQuery(const Database& database, const CatalogEntry& entry) {
  const Database::QueryResult result = database.RunQuery(entry);
  for (std::size_t row = 0; row < result.rows->RowCount(); ++row) {
    result.rows->GoTo(row);
    kestrel::fuzz::ReadCells(result.names.size(), [&](std::size_t column) { result.rows->Text(column); });
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrel;
  fuzz::MayFail([&] {
    const Database database(fuzz::BytesAsString(data, size), "");
    for (const CatalogEntry& entry : database.Objects()) {
      const bool is_query = entry.kind == access::ObjectKind::kQuery;
      fuzz::MayFail([&] { is_query ? ReadQuery(database, entry) : ReadTable(database, entry); });
    }
  });
  return 0;
}
