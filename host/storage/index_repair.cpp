#include "storage/index_repair.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "kestrel/runtime_error.h"
#include "kestrel/transaction.h"
#include "platform/base/counted.h"
#include "schema/address_indexes.h"
#include "schema/destination.h"
#include "schema/host_schema.h"
#include "schema/own_tables.h"
#include "schema/settings.h"
#include "storage/address_index.h"
#include "storage/group_lock.h"

namespace kestrel::host {

namespace {

// The algorithm of today that does what an earlier one did; empty for one that is none of those.
std::string_view Successor(std::string_view code) {
  if (code == "1") return "4";
  if (code == "2" || code == "5") return "7";
  return code == "3" ? "6" : "";
}

// The settings that name an algorithm of an earlier version, and its successor; as they stand in the table.
std::vector<std::pair<std::string, std::string_view>> EarlierAlgorithms(Connection& connection) {
  std::vector<std::pair<std::string, std::string_view>> earlier;
  for (const RecordsetPtr rows = connection.OpenRecordset("SELECT Name, Wert FROM Einstellungen WHERE Gruppe = "
                                                          "'Adressindex' AND Name LIKE 'AlgorithmCode_'");
       !rows->IsEof(); rows->MoveNext()) {
    const std::string_view successor = Successor(rows->TextAt(1));
    if (!successor.empty()) earlier.emplace_back(rows->TextAt(0), successor);
  }
  return earlier;
}

// Tells that keys are built, once that has lasted.
class RenewalTold {
 public:
  explicit RenewalTold(const Connection& connection) : connection_(connection) {}
  void Tell() const {
    constexpr std::chrono::seconds kLong{1};
    const bool is_long = std::chrono::steady_clock::now() - start_ >= kLong;
    if (connection_.GoesOn(is_long
                               ? "Die Schlüssel der Dublettenprüfung werden neu gebildet, was für eine Million "
                                 "Adressen etwa eine Minute dauert ..."
                               : "")) {
      return;
    }
    throw RuntimeError(
        ErrorNumber::kDatabase,
        std::string(DescriptionOf(ErrorNumber::kDatabase)) +
            ": Die Schlüssel der Dublettenprüfung sind noch die einer früheren Version; sie neu zu "
            "bilden wurde abgebrochen und wird das nächste Mal wieder versucht");
  }

 private:
  const Connection& connection_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// Of one kind of addresses, a thousand at a time, as not every database changes rows while it reads them.
std::int64_t RenewKeysOf(Connection& connection, const Destination& destination,
                         const std::shared_ptr<KeyMemory>& keys, const RenewalTold& told) {
  constexpr std::size_t kAtOnce = 1000;
  const std::string& number = destination.fields[destination.number_field].column;
  std::string columns = number;
  for (std::size_t part = 0; part < kKeyParts; ++part) columns += ", " + destination.KeyColumn(part, "''");
  const auto query = connection.Prepare(
      "SELECT " + columns + " FROM " + destination.table + " JOIN Adressindex ON AdressId = CAST(" + number +
      " AS BIGINT) * 64 + " + std::to_string(destination.address_type) + " WHERE " + number + " > ? ORDER BY " +
      number + " LIMIT " + std::to_string(kAtOnce));
  AddressIndex index(connection, destination.address_type, keys);
  std::int64_t last = std::numeric_limits<std::int64_t>::min();
  std::int64_t count = 0;
  std::vector<std::pair<std::int64_t, std::array<std::string, 6>>> addresses;
  do {
    told.Tell();
    addresses.clear();
    query->BindInteger(0, last);
    for (const RecordsetPtr rows = query->Open(); !rows->IsEof(); rows->MoveNext()) {
      auto& [key, texts] = addresses.emplace_back();
      key = rows->ValueAt(0).ToInteger();
      for (std::size_t i = 0; i < texts.size(); ++i) texts[i] = rows->TextAt(i + 1);
    }
    for (const auto& [key, texts] : addresses) {
      index.Write(key,
                  {texts[0], texts[1], texts[2], {texts[3], texts[4], texts[5]}, {}, destination.joins_names});
      last = key;
    }
    count += static_cast<std::int64_t>(addresses.size());
  } while (addresses.size() == kAtOnce);
  return count;
}

}  // namespace

std::string RestoreAddressIndexes(Connection& connection) {
  if (StateOfAddressIndexes(connection) != AddressIndexes::kMissing) return {};
  RenewAddressIndexes(connection);
  return "Die Indizes der Tabelle 'Adressindex' fehlten in der Datenbank und wurden neu angelegt.";
}

void TuneAddressIndexes(Connection& connection) {
  const auto tune = [&] {
    const AddressIndexes state = StateOfAddressIndexes(connection);
    if (state == AddressIndexes::kEarlier) RenewAddressIndexes(connection);
    if (state == AddressIndexes::kUnknown) NoteAddressIndexStatistics(connection);
  };
  Trap(tune, [](const RuntimeError&) {});
}

std::string RenewAddressKeys(Connection& connection) {
  if (!HasTable(connection, "Einstellungen") || !HasTable(connection, "Adressindex")) return {};
  if (EarlierAlgorithms(connection).empty()) return {};
  std::int64_t count = 0;
  bool are_renewed = false;
  InTransaction(connection, [&] {
    // Keys of a program of an earlier version would come behind their renewal.
    KeepImportsOut(connection);
    // Somebody else may have been faster.
    const auto earlier = EarlierAlgorithms(connection);
    are_renewed = !earlier.empty();
    if (!are_renewed) return;
    for (const auto& [name, successor] : earlier) Settings::Of(connection).Set("Adressindex", name, successor);
    std::vector<std::string> prog_ids;
    for (const RecordsetPtr rows = connection.OpenRecordset(
             "SELECT min(ProgID) FROM Importziele WHERE Adressart > 0 GROUP BY Adressart ORDER BY Adressart");
         !rows->IsEof(); rows->MoveNext()) {
      prog_ids.emplace_back(rows->TextAt(0));
    }
    const auto keys = std::make_shared<KeyMemory>();
    const RenewalTold told(connection);
    for (const std::string& prog_id : prog_ids) {
      count += RenewKeysOf(connection, LoadDestination(connection, prog_id), keys, told);
    }
  });
  if (!are_renewed) return {};
  return "Die Schlüssel der Dublettenprüfung waren die einer früheren Version und wurden für " +
         Counted(count, "Adresse", "Adressen") + " neu gebildet.";
}

void KeepImportsOut(Connection& connection) {
  // SQLite's write transaction does, and every commit is seen.
  if (IsSqlite(connection)) return;
  // In the order in which imports take the two, so that nobody waits in a circle.
  TakeGroupLock(connection);
  // Who imports without a look-up takes no other lock.
  connection.Execute("LOCK TABLE Adressindex IN SHARE ROW EXCLUSIVE MODE");
}

}  // namespace kestrel::host
