#include "targets/target_check.h"

#include <algorithm>
#include <optional>

#include "platform/base/text.h"
#include "storage/missing_rights.h"

namespace kestrel::host {

namespace {

const ReadColumn* Find(const ReadTable& table, std::string_view name) {
  const auto column =
      std::ranges::find_if(table.columns, [&](const ReadColumn& one) { return one.name == name; });
  return column == table.columns.end() ? nullptr : &*column;
}

// Dates and texts without a length have a size of their own in the definition.
bool IsNarrower(const ReadColumn& column, const DestinationField& field) {
  return field.kind == FieldKind::kText && column.size > 0 && (field.size == 0 || column.size < field.size);
}

}  // namespace

std::vector<TargetRemark> CheckTarget(Connection& connection, std::string_view name) {
  const TargetSummary target = RequireTarget(connection, name);
  const Destination destination = LoadDestination(connection, target.prog_id);
  const std::string way = " 'kestrel-import target edit " + target.name + "' liest die Tabelle neu.";
  std::vector<TargetRemark> remarks;
  std::optional<ReadTable> table;
  Trap([&] { table = ReadTableOf(connection, ToldName(target.statement_table)); },
       [&](const RuntimeError& error) {
         remarks.push_back({"", error.Description() +
                                    " Heißt sie jetzt anders, so nennt sie 'kestrel-import target edit " +
                                    target.name + " --table TABELLE'."});
       });
  if (!table) return remarks;
  for (const DestinationField& field : destination.fields) {
    const ReadColumn* const column = Find(*table, field.name);
    if (column == nullptr) {
      remarks.push_back(
          {field.name, "Die Spalte gibt es nicht mehr; sie wurde umbenannt oder gelöscht." + way});
    } else if (!column->refusal.empty()) {
      remarks.push_back({field.name, "Die Spalte kann nicht mehr gefüllt werden. " + column->refusal + way});
    } else if (column->kind != field.kind) {
      remarks.push_back({field.name, "Die Spalte hat einen anderen Typ (" + column->type + ")." + way});
    } else if (column->rounding != field.rounding) {
      remarks.push_back(
          {field.name, "Die Spalte rundet Zahlen anders, als bekannt ist (" + column->type + ")." + way});
    } else if (IsNarrower(*column, field)) {
      remarks.push_back(
          {field.name, "Die Spalte nimmt nur noch " + std::to_string(column->size) + " Zeichen." + way});
    } else if (column->is_mandatory && !field.obligation) {
      remarks.push_back({field.name, "Die Spalte ist eine Pflichtspalte geworden." + way});
    }
  }
  for (const ReadColumn& column : table->columns) {
    if (column.is_mandatory && !destination.FindField(column.name)) {
      remarks.push_back(
          {column.name, "Diese Pflichtspalte ist neu; ohne sie wird kein Datensatz gespeichert." + way});
    }
  }
  if (!remarks.empty()) return remarks;
  const std::string missing = MissingRights(connection, destination, true);
  for (const std::string_view sentence : Split(missing, '\n')) {
    if (!sentence.empty()) remarks.push_back({"", std::string(sentence)});
  }
  return remarks;
}

}  // namespace kestrel::host
