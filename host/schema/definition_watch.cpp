#include "schema/definition_watch.h"

#include "platform/base/text.h"
#include "schema/host_schema.h"

namespace kestrel::host {

DefinitionReading::DefinitionReading(Connection& connection, std::string_view prog_id)
    : select_(connection.Prepare(
          "SELECT z.Tabelle, z.Nummernfeld, z.Adressart, f.FieldName, f.Spalte, f.FieldTyp, f.Obligation, "
          "f.DateField, f.Size, s.Vorgabe, s.Rundung, s.Schluesselteil, s.Rang FROM Importziele z "
          "JOIN Importfelder f ON f.ProgID = z.ProgID "
          "LEFT JOIN Importspalten s ON s.ProgID = f.ProgID AND s.FieldName = f.FieldName "
          "WHERE upper(z.ProgID) = ? ORDER BY f.Position")),
      key_(UpperCase(prog_id)) {}

std::string DefinitionReading::Read() {
  std::string text;
  select_->BindText(0, key_);
  for (const RecordsetPtr rows = select_->Open(); !rows->IsEof(); rows->MoveNext()) {
    // With their lengths, so that no two definitions are one text.
    for (std::size_t column = 0; column < rows->ColumnCount(); ++column) {
      const std::string_view value = rows->TextAt(column);
      text.append(std::to_string(value.size())).append(" ").append(value);
    }
  }
  return text;
}

DefinitionWatch::DefinitionWatch(Connection& connection, const Destination& destination)
    : destination_(destination) {
  if (!destination.definition.empty()) reading_.emplace(connection, destination.prog_id);
}

std::string DefinitionWatch::WhyOther() {
  if (!reading_) return {};
  const std::string now = reading_->Read();
  if (now == destination_.definition) return {};
  return "Das Importziel '" + destination_.prog_id.substr(destination_.prog_id.find('.') + 1) + "' wurde " +
         (now.empty() ? "entfernt. 'kestrel-import target add' macht ein neues; prüfen" : "geändert. Prüfen") +
         " Sie, ob die Importspezifikation noch passt, bevor Sie fortfahren.";
}

void DefinitionWatch::RequireSame() {
  if (const std::string why = WhyOther(); !why.empty()) throw RuntimeError(ErrorNumber::kDatabase, why);
}

void KeepDefinitions(Connection& connection) {
  // SQLite's write transaction does. Elsewhere a look is enough to be waited for, for which a clerk has the right.
  if (!IsSqlite(connection)) connection.Execute("LOCK TABLE Importziele IN ACCESS EXCLUSIVE MODE");
}

}  // namespace kestrel::host
