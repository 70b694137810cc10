#include "components/held_back_records.h"

#include <algorithm>
#include <memory>
#include <optional>

#include "components/single_record_run.h"
#include "kestrel/memory_recordset.h"
#include "kestrel/transaction.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "schema/own_tables.h"
#include "storage/address_lookup.h"
#include "storage/field_value.h"
#include "storage/group_lock.h"
#include "storage/grouped_writes.h"
#include "storage/log_details.h"

namespace kestrel::host {

namespace {

// More than a record has fields; those of the log follow one another.
constexpr const char* kFieldRows =
    "SELECT Spalte0, Spalte1, Spalte2 FROM Protokollzeilen WHERE ZeilenNr >= ? ORDER BY ZeilenNr LIMIT 1000";
constexpr const char* kImported = "trotzdem importiert";
constexpr const char* kDiscarded = "nicht importiert";

[[noreturn]] void Refuse(const std::string& why) {
  throw RuntimeError(ErrorNumber::kInvalidProcedureCall, why);
}

// The value as the address table would show it; the text itself where it could not be stored.
std::string AsStored(const DestinationField* field, const std::string& text) {
  if (field == nullptr) return text;
  std::string shown = text;
  const auto convert = [&] {
    IsoDate date;
    const StoredValue value = ConvertFieldText(*field, text, date);
    if (const auto* whole = std::get_if<std::int64_t>(&value)) shown = std::to_string(*whole);
    if (const auto* real = std::get_if<double>(&value)) shown = Value(*real).ToText();
    if (const auto* view = std::get_if<std::string_view>(&value)) shown = std::string(*view);
  };
  Trap(convert, [](const RuntimeError&) {});
  return shown;
}

const DestinationField* FieldOf(const Destination* destination, std::string_view name) {
  const auto field = destination == nullptr ? std::nullopt : destination->FindField(name);
  return field ? &destination->fields[*field] : nullptr;
}

// The stored address, its columns as the destination's fields; null where there is none.
RecordsetPtr StoredAddress(Connection& connection, const Destination& destination, const std::string& number) {
  const auto whole_number = ParseWholeNumber(number);
  if (!whole_number) return nullptr;
  std::string columns;
  for (const DestinationField& field : destination.fields) {
    columns += (columns.empty() ? "" : ", ") + field.column;
  }
  const auto query = connection.Prepare("SELECT " + columns + " FROM " + destination.table + " WHERE " +
                                        destination.fields[destination.number_field].column + " = ?");
  query->BindInteger(0, *whole_number);
  RecordsetPtr address = query->Open();
  return address->IsEof() ? nullptr : address;
}

// Real numbers in the writing that AsStored uses, as databases write them differently.
std::string StoredText(const Recordset& address, const Destination& destination, std::size_t field) {
  if (destination.fields[field].kind != FieldKind::kReal || address.IsNull(field)) {
    return std::string(address.TextAt(field));
  }
  return Value(address.ValueAt(field).ToDouble()).ToText();
}

}  // namespace

void HeldBackRecords::Bind(Members& members) {
  members.Set("Connection", &HeldBackRecords::SetConnection);
  members.Method("Compare", &HeldBackRecords::Compare);
  members.Method("ImportAnyway", &HeldBackRecords::ImportAnyway);
  members.Method("Discard", &HeldBackRecords::Discard);
}

void HeldBackRecords::SetConnection(const ObjectPtr& connection) {
  RequireHost(connection);
  connection_ = connection;
}

HeldBackRecords::Head HeldBackRecords::HeadOf(std::int64_t record) const {
  Connection& connection = OpenConnection();
  if (!HasLogDetails(connection)) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  const auto query = connection.Prepare(
      "SELECT d.Adressart, d.Adresse, d.Entscheidung, h.Importklasse, h.Spezifikation, h.Quelle, "
      "d.Datensatz FROM Protokolldetails d LEFT JOIN Protokollherkunft h ON h.ProtokollNr = d.ProtokollNr "
      "WHERE d.ZeilenNr = ?");
  query->BindInteger(0, record);
  const RecordsetPtr row = query->Open();
  if (row->IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  Head head{.address = std::string(row->TextAt(1)),
            .decision = std::string(row->TextAt(2)),
            .import_class = std::string(row->TextAt(3)),
            .specification = std::string(row->TextAt(4)),
            .source = std::string(row->TextAt(5))};
  if (!row->IsNull(0)) head.address_type = row->ValueAt(0).ToInteger();
  if (!row->IsNull(6)) head.record = row->ValueAt(6).ToInteger();
  return head;
}

HeldBackRecords::Head HeldBackRecords::UndecidedHeadOf(std::int64_t record) const {
  Head head = HeadOf(record);
  if (!head.decision.empty()) Refuse("Über diesen Datensatz ist schon entschieden: " + head.decision + ".");
  return head;
}

// The rows of a record share a mark.
SingleRecordRun::Fields HeldBackRecords::FieldsOf(std::int64_t record) const {
  const auto query = OpenConnection().Prepare(kFieldRows);
  query->BindInteger(0, record);
  const RecordsetPtr rows = query->Open();
  const std::string mark = rows->IsEof() ? std::string() : std::string(rows->TextAt(0));
  SingleRecordRun::Fields fields;
  for (; !rows->IsEof() && rows->TextAt(0) == mark; rows->MoveNext()) {
    fields.emplace_back(rows->TextAt(1), rows->TextAt(2));
  }
  return fields;
}

ObjectPtr HeldBackRecords::Compare(std::int64_t record) {
  Connection& connection = OpenConnection();
  const Head head = HeadOf(record);
  std::optional<Destination> own;
  Trap([&] { own = LoadDestination(connection, head.import_class); }, [](const RuntimeError&) {});
  AddressLookup addresses(connection);
  const Destination* const destination = addresses.DestinationOf(head.address_type);
  RecordsetPtr address;
  if (destination != nullptr) address = StoredAddress(connection, *destination, head.address);

  auto compared = std::make_shared<MemoryRecordset>();
  for (const char* column : {"Feld", "Neu", "Vorhanden"}) compared->AppendColumn(column);
  const auto append = [&](const std::string& name, const std::string* text) {
    const auto field = address == nullptr ? std::nullopt : destination->FindField(name);
    const std::string stored = field ? StoredText(*address, *destination, *field) : std::string();
    if (stored.empty() && (text == nullptr || text->empty())) return;
    compared->AddNew();
    compared->SetText(0, name);
    if (text != nullptr) compared->SetText(1, AsStored(FieldOf(own ? &*own : destination, name), *text));
    if (address != nullptr) compared->SetText(2, stored);
  };
  const SingleRecordRun::Fields fields = FieldsOf(record);
  for (const auto& [name, text] : fields) append(name, &text);
  if (address != nullptr) {
    for (const DestinationField& field : destination->fields) {
      const auto is_field = [&](const auto& filled) { return EqualsIgnoringCase(filled.first, field.name); };
      if (std::ranges::none_of(fields, is_field)) append(field.name, nullptr);
    }
  }
  if (compared->RecordCount() != 0) compared->MoveFirst();
  return compared;
}

void HeldBackRecords::Note(std::int64_t record, std::string_view decision) const {
  const auto update = OpenConnection().Prepare(
      "UPDATE Protokolldetails SET Entscheidung = ? WHERE ZeilenNr = ? AND Entscheidung IS NULL");
  update->BindText(0, decision);
  update->BindInteger(1, record);
  // Somebody else was faster.
  if (update->Execute() == 0) UndecidedHeadOf(record);
}

std::string HeldBackRecords::ImportAnyway(std::int64_t record, const std::string& personal_nr) {
  Connection& connection = OpenConnection();
  const Head head = UndecidedHeadOf(record);
  if (head.import_class.empty()) {
    Refuse("Zu diesem Protokoll ist kein Importziel bekannt. Bitte importieren Sie die Quelle erneut.");
  }
  SingleRecordRun run(components_, connection_,
                      {.import_class = head.import_class,
                       .specification = head.specification,
                       .source = (head.source.empty() ? "" : head.source + ", ") + "zurückgehaltener Datensatz",
                       .record = head.record,
                       .personal_nr = personal_nr});
  GroupedWrites::Of(connection).Flush();
  InTransaction(connection, [&] {
    TakeGroupLock(connection);
    run.HandOver(FieldsOf(record));
    // A statement of its own: the database has then answered everything before it.
    Note(record, kImported);
    run.RequireTaken();
  });
  Trap([&] { run.Stored(); },
       [](const RuntimeError& error) {
         throw RuntimeError(error.Number(), "Der Datensatz ist gespeichert, aber: " + error.Description());
       });
  return kImported;
}

std::string HeldBackRecords::Discard(std::int64_t record) {
  Connection& connection = OpenConnection();
  UndecidedHeadOf(record);
  GroupedWrites::Of(connection).Flush();
  InTransaction(connection, [&] { Note(record, kDiscarded); });
  connection.MakeDurable();
  return kDiscarded;
}

}  // namespace kestrel::host
