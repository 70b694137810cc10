#include "targets/address_reindex.h"

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "storage/index_repair.h"
#include "storage/retried_transaction.h"

namespace kestrel::host {

namespace {

constexpr std::size_t kAtOnce = 1000;

// The table's row of the index, by the index's key.
std::string JoinedIndex(const Destination& destination, const std::string& number) {
  return " ON AdressId = CAST(" + number + " AS BIGINT) * 64 + " + std::to_string(destination.address_type);
}

}  // namespace

AddressReindex::AddressReindex(Connection& connection, const Destination& destination, Way way,
                               std::shared_ptr<KeyMemory> keys)
    : connection_(connection),
      destination_(destination),
      way_(way),
      watch_(connection, destination),
      index_(connection, destination.address_type, std::move(keys)),
      last_(std::numeric_limits<std::int64_t>::min()) {
  const std::string& number = destination.fields[destination.number_field].column;
  std::string columns = "t." + number;
  for (std::size_t part = 0; part < kKeyParts; ++part) {
    const std::string column = destination.KeyColumn(part, "");
    columns += ", " + (column.empty() ? "''" : "t." + column);
  }
  // Numbers that the index cannot hold have no row there, and their product would not fit.
  query_ = connection.Prepare(
      "SELECT " + columns + ", Doubletkey1, Doubletkey2, Doubletkey3, AdressId FROM " + destination.table +
      " t LEFT JOIN Adressindex" + JoinedIndex(destination, "t." + number) + " AND t." + number +
      " BETWEEN 0 AND 100000000000000000 WHERE t." + number + " > CAST(? AS BIGINT) ORDER BY t." + number +
      " LIMIT " + std::to_string(kAtOnce));
  total_ = connection.OpenRecordset("SELECT count(*) FROM " + destination.table)->ValueAt(0).ToInteger();
}

std::vector<AddressReindex::Row> AddressReindex::Read() {
  std::vector<Row> rows;
  query_->BindInteger(0, last_);
  for (const RecordsetPtr found = query_->Open(); !found->IsEof(); found->MoveNext()) {
    Row& row = rows.emplace_back();
    row.number = found->ValueAt(0).ToInteger();
    for (std::size_t part = 0; part < kKeyParts; ++part) row.parts[part] = found->TextAt(part + 1);
    for (std::size_t key = 0; key < row.keys.size(); ++key) row.keys[key] = found->TextAt(kKeyParts + 1 + key);
    row.is_indexed = !found->IsNull(kKeyParts + 1 + row.keys.size());
  }
  return rows;
}

AddressReindex::Faults AddressReindex::Compare(const std::vector<Row>& rows, Way way) {
  Faults faults;
  IndexRow wanted;
  for (const Row& row : rows) {
    const auto& parts = row.parts;
    const IndexedAddress address{parts[kPostcode],
                                 parts[kTown],
                                 parts[kStreet],
                                 {parts[kName1], parts[kName2], parts[kName3]},
                                 {},
                                 destination_.joins_names};
    if (!Trap([&] { index_.MakeRow(row.number, address, wanted); },
              [&](const RuntimeError& error) {
                if (error.Is(ErrorNumber::kDatabase)) throw;
                ++faults.unfit;
              })) {
      continue;
    }
    if (row.is_indexed && row.keys == wanted.keys) continue;
    ++(row.is_indexed ? faults.changed : faults.missing);
    if (way == Way::kRepair) index_.Write(row.number, address);
  }
  return faults;
}

bool AddressReindex::Next() {
  if (has_ended_) return false;
  std::vector<Row> rows = Read();
  if (rows.empty()) {
    FindOrphans();
    has_ended_ = true;
    return false;
  }
  Faults faults = Compare(rows, Way::kLook);
  if (way_ == Way::kRepair && faults.missing + faults.changed > 0) {
    InRetriedTransaction(connection_, [&] {
      KeepImportsOut(connection_);
      watch_.RequireSame();
      rows = Read();
      faults = Compare(rows, Way::kRepair);
    });
  }
  if (!rows.empty()) last_ = rows.back().number;
  done_ += static_cast<std::int64_t>(rows.size());
  missing_ += faults.missing;
  changed_ += faults.changed;
  unfit_ += faults.unfit;
  return true;
}

void AddressReindex::FindOrphans() {
  const std::string& number = destination_.fields[destination_.number_field].column;
  const std::string orphans =
      " FROM Adressindex WHERE Adressart = " + std::to_string(destination_.address_type) +
      " AND NOT EXISTS (SELECT 1 FROM " + destination_.table + " t WHERE t." + number +
      " = (Adressindex.AdressId - " + std::to_string(destination_.address_type) + ") / 64)";
  orphaned_ = connection_.OpenRecordset("SELECT count(*)" + orphans)->ValueAt(0).ToInteger();
  if (way_ != Way::kRepair || orphaned_ == 0) return;
  InRetriedTransaction(connection_, [&] {
    KeepImportsOut(connection_);
    watch_.RequireSame();
    orphaned_ = connection_.Execute("DELETE" + orphans);
  });
}

}  // namespace kestrel::host
