#include "targets/target_store.h"

#include <algorithm>
#include <utility>

#include "kestrel/transaction.h"
#include "ledger/run_state.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "schema/default_destinations.h"
#include "schema/definition_watch.h"
#include "schema/host_schema.h"
#include "schema/own_tables.h"
#include "storage/group_lock.h"
#include "storage/grouped_writes.h"
#include "storage/log_details.h"
#include "storage/retried_transaction.h"
#include "targets/key_proposal.h"

namespace kestrel::host {

namespace {

// The values of a reference are offered where its table has no more rows; what it has won since is offered up to there.
constexpr int kMostOffered = 500;
constexpr int kMostAfterGrowth = 10000;
constexpr std::size_t kLongestRowSource = 255;
constexpr std::size_t kLongestName = 32;

[[noreturn]] void Refuse(const std::string& reason) {
  throw RuntimeError(ErrorNumber::kInvalidProcedureCall, reason);
}

std::string ProgIdOf(std::string_view name) { return kTargetPrefix + std::string(name); }

void RequirePossible(std::string_view name) {
  const auto is_possible = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
  };
  if (!name.empty() && name.size() <= kLongestName && std::ranges::all_of(name, is_possible)) return;
  Refuse("'" + std::string(name) +
         "' kann kein Importziel heißen. Ein Name hat 1 bis 32 Zeichen: Buchstaben von a bis z, Ziffern, - und "
         "_.");
}

struct RowSource {
  std::int64_t kind = 0;
  std::string text;
};

// Asked before reading: on a server a refusal would end the transaction.
bool MayRead(Connection& connection, const std::string& table) {
  if (IsSqlite(connection)) return true;
  const auto query =
      connection.Prepare("SELECT coalesce(has_table_privilege(to_regclass(?), 'SELECT'), false) AS readable");
  query->BindText(0, table);
  return query->Open()->ValueAt(0).ToBool();
}

bool IsLonger(Connection& connection, const std::string& table, int rows) {
  return connection
             .OpenRecordset("SELECT count(*) FROM (SELECT 1 FROM " + table + " LIMIT " +
                            std::to_string(rows + 1) + ") AS rows")
             ->ValueAt(0)
             .ToInteger() > rows;
}

// The query of the values that a reference takes; empty, with a remark, where there are too many to choose from.
std::string ReferencedValues(Connection& connection, const ReadColumn& column,
                             std::vector<TargetRemark>& remarks) {
  const std::string told = "Zulässig sind die Werte aus " + ShownName(column.foreign_table) + ".";
  // A reference to a table that is not there is the application's own business.
  bool is_offered = false;
  const auto look = [&] {
    is_offered =
        MayRead(connection, column.foreign_table) && !IsLonger(connection, column.foreign_table, kMostOffered);
  };
  Trap(look, [](const RuntimeError&) {});
  if (!is_offered) {
    remarks.push_back(
        {column.name, told + " Sie stehen nicht zur Auswahl, denn es sind mehr als " +
                          std::to_string(kMostOffered) +
                          ", oder sie dürfen nicht gelesen werden. Andere weist die Datenbank beim "
                          "Import ab."});
    return {};
  }
  remarks.push_back({column.name, told});
  return "SELECT " + column.foreign_column + ", " + column.foreign_label + " AS \"Description\" FROM " +
         column.foreign_table + " ORDER BY 1 LIMIT " + std::to_string(kMostAfterGrowth);
}

// What the editor of translations offers for a column; what it does not is told in `remarks`.
RowSource RowSourceOf(Connection& connection, const ReadColumn& column, std::vector<TargetRemark>& remarks) {
  RowSource source;
  if (!column.values.empty()) {
    source.kind = 1;
    for (const std::string& value : column.values) {
      source.text += (source.text.empty() ? "" : "#") + value + "*" + value;
    }
  } else if (column.kind == FieldKind::kTruth) {
    source = {1, "1*ja#0*nein"};
  } else if (!column.foreign_table.empty()) {
    source.text = ReferencedValues(connection, column, remarks);
  }
  if (LengthInCharacters(source.text) <= kLongestRowSource) return source;
  remarks.push_back({column.name, "Die zulässigen Werte sind zu lang, um zur Auswahl zu stehen."});
  return {};
}

const char* TypeOf(const ReadColumn& column) {
  switch (column.kind) {
    case FieldKind::kWhole: return "INT";
    case FieldKind::kReal: return "FLOAT";
    case FieldKind::kTruth: return kTruthType;
    case FieldKind::kDate: return "VARCHAR";
    case FieldKind::kText: break;
  }
  return column.size > 0 ? "VARCHAR" : "TEXT";
}

std::int64_t SizeOf(const ReadColumn& column) {
  constexpr std::int64_t kNumberDigits = 18;
  constexpr std::int64_t kDateSize = 14;
  constexpr std::int64_t kGreatestSize = 32767;
  constexpr std::int64_t kTruthSize = 10;  // "wahr", "falsch" and blanks
  if (column.kind == FieldKind::kTruth) return kTruthSize;
  if (column.kind == FieldKind::kDate) return kDateSize;
  if (column.kind == FieldKind::kWhole || column.kind == FieldKind::kReal) return kNumberDigits;
  return std::min(column.size, kGreatestSize);
}

void RequireKeyColumn(const ReadTable& table, std::string& name) {
  if (name.empty()) return;
  const auto column = std::ranges::find_if(
      table.columns, [&](const ReadColumn& one) { return EqualsIgnoringCase(one.name, name); });
  if (column == table.columns.end()) {
    Refuse("Die Tabelle hat keine Spalte '" + name +
           "', aus der ein Schlüssel der Dublettenprüfung werden könnte.");
  }
  if (column->kind != FieldKind::kText || !column->refusal.empty()) {
    Refuse("Aus der Spalte '" + column->name +
           "' kann kein Schlüssel der Dublettenprüfung werden, denn sie enthält " +
           "keine Texte, die importiert werden.");
  }
  name = column->name;
}

// A bit that no destination has; 0 where all are taken.
int FreeAddressType(Connection& connection) {
  std::vector<bool> taken(64);
  for (const RecordsetPtr rows = connection.OpenRecordset("SELECT Adressart FROM Importziele"); !rows->IsEof();
       rows->MoveNext()) {
    const std::int64_t type = rows->ValueAt(0).ToInteger();
    if (type > 0 && type < 64) taken[static_cast<std::size_t>(type)] = true;
  }
  for (int type = 1; type < 64; type *= 2) {
    if (!taken[static_cast<std::size_t>(type)]) return type;
  }
  return 0;
}

// An application mode that no other list has.
std::int64_t FreeApplicationMode(Connection& connection) {
  std::int64_t mode = kFirstApplicationMode;
  if (!AreOwnTablesApart(connection)) {
    for (const DefaultDestination& destination : kDefaultDestinations) {
      mode = std::max<std::int64_t>(mode, destination.app_mode + 1);
    }
  }
  const RecordsetPtr greatest = connection.OpenRecordset("SELECT max(Anwendung) FROM Importlisten");
  return greatest->IsNull(0) ? mode : std::max(mode, greatest->ValueAt(0).ToInteger() + 1);
}

// The bit for the duplicate check, or 0 and why there is none.
int ChooseAddressType(Connection& connection, const KeyColumns& keys, int wanted,
                      std::vector<TargetRemark>& remarks) {
  const auto off = [&](const std::string& reason) {
    remarks.push_back({"", "Die Dublettenprüfung ist aus: " + reason});
    return 0;
  };
  if (keys.is_off) return off("So ist es mit --no-keys verlangt.");
  if (keys.names.empty()) {
    return off(
        "Keine Spalte heißt wie ein Name. Nennen Sie sie mit --key-name, dazu --key-street, "
        "--key-postal-code und --key-place.");
  }
  if (keys.street.empty() && keys.postcode.empty() && keys.town.empty()) {
    return off(
        "Keine Spalte heißt wie Straße, Postleitzahl oder Ort. Nennen Sie sie mit --key-street, "
        "--key-postal-code oder --key-place.");
  }
  if (wanted != 0) return wanted;
  const int type = FreeAddressType(connection);
  return type != 0 ? type
                   : off("Sechs Importziele mit Dublettenprüfung sind das Höchste; so viele gibt es schon.");
}

// Where the values that a column of SQLite holds, which keeps anything, are written otherwise than an import does.
void TellOtherValues(Connection& connection, const ReadTable& table, const ReadColumn& column,
                     std::vector<TargetRemark>& remarks) {
  const bool is_date = column.kind == FieldKind::kDate;
  if (!IsSqlite(connection) || (!is_date && column.kind != FieldKind::kTruth)) return;
  const std::string name = "t." + Quoted(column.name);
  const std::string usual = is_date ? "[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]*" : "[01]";
  const RecordsetPtr other =
      connection.OpenRecordset("SELECT quote(" + name + ") FROM " + table.table + " AS t WHERE " + name +
                               " IS NOT NULL AND NOT " + name + " GLOB '" + usual + "' LIMIT 1");
  if (other->IsEof()) return;
  remarks.push_back({column.name, "Ein Import schreibt " + std::string(is_date ? "JJJJ-MM-TT" : "1 und 0") +
                                      "; in der Tabelle steht auch anderes, zum Beispiel " +
                                      std::string(other->TextAt(0)) +
                                      ". Prüfen Sie, ob die Anwendung beides liest."});
}

void StoreFields(Connection& connection, const std::string& prog_id, const ReadTable& table,
                 std::vector<TargetRemark>& remarks) {
  const auto row = connection.Prepare(
      "INSERT INTO Importfelder (ProgID, Position, FieldName, Obligation, RowSourceTyp, RowSource, Size, "
      "FieldTyp, "
      "DateField, Spalte) VALUES (?, ?, ?, CAST(? AS INTEGER) = 1, ?, ?, ?, ?, CAST(? AS INTEGER) = 1, ?)");
  const auto more =
      connection.Prepare("INSERT INTO Importspalten (ProgID, FieldName, Vorgabe, Rundung) VALUES (?, ?, ?, ?)");
  std::int64_t position = 0;
  for (const ReadColumn& column : table.columns) {
    if (!column.refusal.empty()) {
      remarks.push_back({column.name, "Bleibt außen vor. " + column.refusal});
      continue;
    }
    if (!column.remark.empty()) remarks.push_back({column.name, column.remark});
    TellOtherValues(connection, table, column, remarks);
    const RowSource source = RowSourceOf(connection, column, remarks);
    const std::string name = Quoted(column.name);
    row->BindText(0, prog_id);
    row->BindInteger(1, ++position);
    row->BindText(2, column.name);
    row->BindInteger(3, column.is_mandatory ? 1 : 0);
    row->BindInteger(4, source.kind);
    row->BindText(5, source.text);
    row->BindInteger(6, SizeOf(column));
    row->BindText(7, TypeOf(column));
    row->BindInteger(8, column.kind == FieldKind::kDate ? 1 : 0);
    row->BindText(9, name);
    row->Execute();
    more->BindText(0, prog_id);
    more->BindText(1, column.name);
    more->BindText(2, column.preset);
    const std::string rounding = TextOfRounding(column.rounding);
    more->BindText(3, rounding);
    more->Execute();
  }
}

void StoreKeys(Connection& connection, const std::string& prog_id, const KeyColumns& keys) {
  const auto update = connection.Prepare(
      "UPDATE Importspalten SET Schluesselteil = ?, Rang = ? WHERE ProgID = ? AND FieldName = ?");
  std::int64_t rank = 0;
  const auto store = [&](const char* part, const std::string& column) {
    if (column.empty()) return;
    update->BindText(0, part);
    update->BindInteger(1, ++rank);
    update->BindText(2, prog_id);
    update->BindText(3, column);
    update->Execute();
  };
  for (const std::string& name : keys.names) store("name", name);
  store("strasse", keys.street);
  store("plz", keys.postcode);
  store("ort", keys.town);
}

// Imports that know a destination as it was store nothing more: they look again in each group. What they know of its rows
// of the index all imports ask for again. In the order in which imports take the two, so that nobody waits in a circle.
void KeepImportsAway(Connection& connection) {
  TakeGroupLock(connection);
  KeepDefinitions(connection);
}

void DeleteDefinition(Connection& connection, const std::string& prog_id) {
  for (const char* table : {"Importspalten", "Importlisten", "Importfelder", "Importziele"}) {
    const auto remove = connection.Prepare("DELETE FROM " + std::string(table) + " WHERE ProgID = ?");
    remove->BindText(0, prog_id);
    remove->Execute();
  }
}

// Each column once: what is a part of the address has one place in it.
void RequireDifferent(const KeyColumns& keys) {
  constexpr std::size_t kMostNames = 3;
  if (keys.names.size() > kMostNames) Refuse("--key-name nimmt höchstens drei Spalten.");
  std::vector<std::string> all = keys.names;
  for (const std::string& column : {keys.street, keys.postcode, keys.town}) {
    if (!column.empty()) all.push_back(column);
  }
  for (auto one = all.begin(); one != all.end(); ++one) {
    if (std::find(all.begin(), one, *one) != one) {
      Refuse("Die Spalte '" + *one + "' ist für zwei Teile der Anschrift angegeben; sie kann nur einer sein.");
    }
  }
}

// What is not told stays as it was, as far as the table still has it.
void KeepKeys(const Destination& before, const ReadTable& table, KeyColumns& keys) {
  const auto keep = [&](std::size_t part) {
    if (!before.key_fields[part]) return std::string();
    const std::string& name = before.fields[*before.key_fields[part]].name;
    const bool is_there = std::ranges::any_of(
        table.columns, [&](const ReadColumn& column) { return EqualsIgnoringCase(column.name, name); });
    return is_there ? name : std::string();
  };
  if (keys.street.empty()) keys.street = keep(kStreet);
  if (keys.postcode.empty()) keys.postcode = keep(kPostcode);
  if (keys.town.empty()) keys.town = keep(kTown);
  for (std::size_t part = kName1; part < kKeyParts && keys.names.size() < part - kName1 + 1; ++part) {
    if (std::string name = keep(part); !name.empty()) keys.names.push_back(std::move(name));
  }
}

// Those of its addresses in the index.
void DeleteKeys(Connection& connection, const TargetSummary& target) {
  if (target.address_type == 0) return;
  connection.Execute("DELETE FROM Adressindex WHERE Adressart = " + std::to_string(target.address_type));
}

// `before` is what it was until now, where it is changed.
std::vector<TargetRemark> StoreTarget(Connection& connection, const TargetRequest& request,
                                      const ReadTable& table, const TargetSummary& before) {
  std::vector<TargetRemark> remarks;
  if (!table.why_number.empty()) remarks.push_back({table.columns[table.number].name, table.why_number});
  KeyColumns keys = request.keys;
  if (!keys.is_off) {
    for (std::string& name : keys.names) RequireKeyColumn(table, name);
    for (std::string* column : {&keys.street, &keys.postcode, &keys.town}) RequireKeyColumn(table, *column);
    ProposeKeys(table, keys);
    RequireDifferent(keys);
  }
  const std::string prog_id = ProgIdOf(request.name);
  const int type = ChooseAddressType(connection, keys, before.address_type, remarks);
  const auto target = connection.Prepare(
      "INSERT INTO Importziele (ProgID, Tabelle, Nummernfeld, Gruppenfeld, Adressart) VALUES (?, ?, ?, '', ?)");
  target->BindText(0, prog_id);
  target->BindText(1, table.table);
  target->BindText(2, table.columns[table.number].name);
  target->BindInteger(3, type);
  target->Execute();
  const auto list = connection.Prepare("INSERT INTO Importlisten (ProgID, Anwendung) VALUES (?, ?)");
  list->BindText(0, prog_id);
  list->BindInteger(1, before.application != 0 ? before.application : FreeApplicationMode(connection));
  list->Execute();
  StoreFields(connection, prog_id, table, remarks);
  if (type != 0) StoreKeys(connection, prog_id, keys);
  return remarks;
}

void RequireNoRunAtWork(Connection& connection, std::string_view name) {
  if (const auto run = RunAtWork(connection, ProgIdOf(name))) {
    Refuse("Der Importlauf " + std::to_string(*run) +
           " läuft noch, daher bleiben seine Protokolle. Warten Sie sein Ende ab, oder entfernen Sie nur das "
           "Importziel, ohne --yes; das hält den Lauf an");
  }
}

void RemoveRunsOfTarget(Connection& connection, std::string_view name) {
  const std::string key = UpperCase(ProgIdOf(name));
  const std::string logs = "(SELECT ProtokollNr FROM Protokollherkunft WHERE upper(Importklasse) = ?)";
  const std::string of_logs = " WHERE ProtokollNr IN " + logs;
  for (const std::string& text :
       {"DELETE FROM Importlaufzeilen WHERE LaufNr IN (SELECT LaufNr FROM Importlauf WHERE upper(ProgID) = "
        "?)" +
            std::string(),
        std::string("DELETE FROM Importlauf WHERE upper(ProgID) = ?"), "DELETE FROM Protokollzeilen" + of_logs,
        "DELETE FROM Protokolldetails" + of_logs, "DELETE FROM Protokoll" + of_logs,
        std::string("DELETE FROM Protokollherkunft WHERE upper(Importklasse) = ?")}) {
    const auto remove = connection.Prepare(text);
    remove->BindText(0, key);
    remove->Execute();
  }
}

}  // namespace

std::vector<TargetSummary> Targets(Connection& connection) {
  FindOwnTables(connection);
  std::vector<TargetSummary> targets;
  if (!HasTable(connection, "Importziele") || !HasTable(connection, "Importspalten")) return targets;
  for (const RecordsetPtr rows =
           connection.OpenRecordset("SELECT z.ProgID, z.Tabelle, z.Adressart, (SELECT count(*) FROM "
                                    "Importfelder f WHERE f.ProgID = z.ProgID), l.Anwendung "
                                    "FROM Importziele z LEFT JOIN Importlisten l ON l.ProgID = z.ProgID "
                                    "ORDER BY z.ProgID");
       !rows->IsEof(); rows->MoveNext()) {
    // Those that the host brings have plain names.
    if (!IsQuoted(rows->TextAt(1))) continue;
    const std::string prog_id(rows->TextAt(0));
    targets.push_back({prog_id.substr(std::string_view(kTargetPrefix).size()), prog_id,
                       ShownName(rows->TextAt(1)), rows->ValueAt(3).ToInteger(),
                       static_cast<int>(rows->ValueAt(2).ToInteger()), std::string(rows->TextAt(1)),
                       rows->IsNull(4) ? kFirstApplicationMode : rows->ValueAt(4).ToInteger()});
  }
  return targets;
}

TargetSummary RequireTarget(Connection& connection, std::string_view name) {
  for (TargetSummary& target : Targets(connection)) {
    if (EqualsIgnoringCase(target.name, name)) return std::move(target);
  }
  Refuse("Ein Importziel '" + std::string(name) +
         "' gibt es hier nicht. 'kestrel-import target list' zeigt alle.");
}

std::vector<TargetRemark> AddTarget(Connection& connection, const TargetRequest& request) {
  RequirePossible(request.name);
  FindOwnTables(connection);
  const ReadTable table = ReadTableOf(connection, request.table);
  std::vector<TargetRemark> remarks;
  GroupedWrites::Of(connection).Flush();
  InTransaction(connection, [&] {
    CreateOwnTables(connection);
    const auto find = connection.Prepare("SELECT 1 FROM Importziele WHERE upper(ProgID) = ?");
    const std::string key = UpperCase(ProgIdOf(request.name));
    find->BindText(0, key);
    if (!find->Open()->IsEof()) {
      Refuse("Ein Importziel '" + request.name +
             "' gibt es schon. Nehmen Sie einen anderen Namen, oder ändern Sie es mit 'kestrel-import target "
             "edit'.");
    }
    const std::vector<TargetSummary> others = Targets(connection);
    remarks = StoreTarget(connection, request, table, {});
    const int type = RequireTarget(connection, request.name).address_type;
    for (const TargetSummary& other : others) {
      if (type == 0 || other.statement_table != table.table) continue;
      remarks.push_back(
          {"", "Auch das Importziel '" + other.name +
                   "' schreibt in diese Tabelle. Was dort importiert oder zurückgenommen wird, kennt die "
                   "Dublettenprüfung hier erst nach 'kestrel-import target check " +
                   request.name + " --rebuild'."});
    }
  });
  return remarks;
}

std::vector<TargetRemark> EditTarget(Connection& connection, TargetRequest request) {
  // What is not there is refused before anybody is waited for.
  RequireTarget(connection, request.name);
  std::vector<TargetRemark> remarks;
  GroupedWrites::Of(connection).Flush();
  InRetriedTransaction(connection, [&] {
    KeepImportsAway(connection);
    // Somebody else may have been faster.
    const TargetSummary target = RequireTarget(connection, request.name);
    TargetRequest wanted = request;
    wanted.name = target.name;
    if (wanted.table.empty()) wanted.table = ToldName(target.statement_table);
    const ReadTable table = ReadTableOf(connection, wanted.table);
    KeepKeys(LoadDestination(connection, target.prog_id), table, wanted.keys);
    DeleteDefinition(connection, target.prog_id);
    remarks = StoreTarget(connection, wanted, table, target);
    if (RequireTarget(connection, target.name).address_type == 0) DeleteKeys(connection, target);
  });
  return remarks;
}

void RemoveTarget(Connection& connection, std::string_view name, Runs runs) {
  RequireTarget(connection, name);
  if (runs == Runs::kRemove) RequireNoRunAtWork(connection, name);
  GroupedWrites::Of(connection).Flush();
  InRetriedTransaction(connection, [&] {
    KeepImportsAway(connection);
    const TargetSummary target = RequireTarget(connection, name);
    // One that has begun meanwhile; none comes behind it.
    if (runs == Runs::kRemove) RequireNoRunAtWork(connection, name);
    DeleteDefinition(connection, target.prog_id);
    DeleteKeys(connection, target);
    if (runs == Runs::kRemove) RemoveRunsOfTarget(connection, name);
  });
}

std::int64_t RunsOfTarget(Connection& connection, std::string_view name) {
  const auto count = connection.Prepare("SELECT count(*) FROM Importlauf WHERE upper(ProgID) = ?");
  const std::string key = UpperCase(ProgIdOf(name));
  count->BindText(0, key);
  return count->Open()->ValueAt(0).ToInteger();
}

std::string TemplateOf(Connection& connection, std::string_view name) {
  const TargetSummary target = RequireTarget(connection, name);
  const Destination destination = LoadDestination(connection, target.prog_id);
  const bool checks = target.address_type != 0;
  std::string text =
      "[Common]\nDescription=" + target.name +
      " aus Textdatei\nApplication=" + std::to_string(target.application) + "\nImportClass=" + target.prog_id +
      "\nProvider=Textdatei\nFileName=\nColumnHeadings=True\nFileFormat=ANSI\nDelimiter=;\n"
      "TextRecognition=\"\nSaveFile=0\nSavePath=\nDeleteFile=0\n[CfgSettings]\nDublettenPruefen=";
  text += checks ? "1" : "0";
  text += "\nAddresstypeCode=" + std::to_string(target.address_type);
  for (const char* key : {"1", "2", "3"}) text += "\nDublettenKey" + std::string(key) + (checks ? "=1" : "=0");
  return text + "\n" + OverwriteKey(destination) + "=0\n";
}

std::string WriteTemplateOf(Connection& connection, std::string_view name, const std::string& folder) {
  const TargetSummary target = RequireTarget(connection, name);
  std::string path = JoinPath(folder, target.name + ".IMT");
  const auto write = [&] {
    CreateFolders(folder);
    if (FileExists(path)) return;
    WriteFileAtomically(path, ToWindows1252(ReplaceAll(TemplateOf(connection, target.name), "\n", "\r\n")));
  };
  Trap(write, [&](const RuntimeError& error) {
    throw RuntimeError(error.Number(), "Das Importziel '" + target.name +
                                           "' gibt es, doch seine Vorlage kann nicht geschrieben werden. " +
                                           error.Description() +
                                           ". Nach der Abhilfe schreibt sie 'kestrel-import "
                                           "target edit " +
                                           target.name + "'");
  });
  return path;
}

}  // namespace kestrel::host
