#include "targets/table_reading.h"

#include <algorithm>

#include "keys/folded_text.h"
#include "platform/base/text.h"
#include "schema/host_schema.h"
#include "targets/table_catalog.h"

namespace kestrel::host {

namespace {

// The name becomes a key of the specification.
std::string WhyNoFieldName(std::string_view name) {
  constexpr std::size_t kLongestName = 255;
  if (LengthInCharacters(name) > kLongestName) return "Der Name ist länger als 255 Zeichen.";
  if (FromWindows1252(ToWindows1252(name)) != name) {
    return "Ihr Name enthält Zeichen, die in keiner Importspezifikation stehen können (andere als die "
           "westeuropäischen).";
  }
  const bool is_key = !name.empty() && name.front() != ';' && name.front() != '[' &&
                      name.find_first_of("=\r\n") == std::string_view::npos && TrimBlanks(name) == name;
  return is_key ? std::string()
                : "Ihr Name kann in keiner Importspezifikation stehen (Gleichheitszeichen, Zeilenwechsel, "
                  "Semikolon oder Klammer am Anfang, Leerzeichen am Rand).";
}

void JudgeNames(ReadTable& read) {
  for (auto column = read.columns.begin(); column != read.columns.end(); ++column) {
    if (column->refusal.empty()) column->refusal = WhyNoFieldName(column->name);
    const bool is_second = std::any_of(read.columns.begin(), column, [&](const ReadColumn& other) {
      return UpperCase(other.name) == UpperCase(column->name);
    });
    if (is_second) column->refusal = "Eine andere Spalte heißt bis auf Groß- und Kleinschreibung ebenso.";
  }
}

}  // namespace

void RefuseTable(std::string_view name, const std::string& reason) {
  throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                     "Die Tabelle '" + std::string(name) + "' kann kein Importziel sein. " + reason);
}

std::optional<std::string> ConstantOf(std::string_view text) {
  text = TrimBlanks(text);
  if (text.empty()) return std::nullopt;
  if (text.front() == '\'') {
    std::string constant;
    std::size_t at = 1;
    for (; at < text.size(); ++at) {
      if (text[at] == '\'') {
        if (at + 1 == text.size() || text[at + 1] != '\'') break;
        ++at;
      }
      constant += text[at];
    }
    const std::string_view rest = text.substr(std::min(at + 1, text.size()));
    if (!rest.empty() && !rest.starts_with("::")) return std::nullopt;
    return constant;
  }
  std::string_view bare = text.substr(0, text.find("::"));
  if (bare.starts_with('(') && bare.ends_with(')')) bare = TrimBlanks(bare.substr(1, bare.size() - 2));
  const bool is_number = !bare.empty() && bare.find_first_not_of("+-0123456789.") == std::string_view::npos;
  if (is_number || EqualsIgnoringCase(bare, "true") || EqualsIgnoringCase(bare, "false"))
    return std::string(bare);
  return std::nullopt;
}

std::string FoldedName(std::string_view name) {
  std::string folded;
  AppendFolded(folded, name);
  std::erase(folded, ' ');
  return folded;
}

std::string LabelAmong(const std::vector<std::pair<std::string, bool>>& columns) {
  for (const char* usual : {"DESCRIPTION", "BEZEICHNUNG", "BESCHREIBUNG", "NAME", "TITLE", "TITEL", "LABEL",
                            "LASTNAME", "NACHNAME", "COMPANYNAME", "FIRMA"}) {
    for (const auto& [name, is_text] : columns) {
      if (is_text && FoldedName(name) == usual) return name;
    }
  }
  const auto text = std::ranges::find_if(columns, [](const auto& column) { return column.second; });
  return text == columns.end() ? std::string() : text->first;
}

namespace {

// The column by which rows are known, or why there is none.
std::vector<ReadColumn>::iterator ChooseNumber(std::string_view name, TableCatalog& catalog) {
  ReadTable& read = catalog.read;
  const auto number_called = [&](const std::string& column) {
    const auto found = std::ranges::find(read.columns, column, &ReadColumn::name);
    const bool fits = found != read.columns.end() && found->kind == FieldKind::kWhole && found->refusal.empty();
    return fits ? found : read.columns.end();
  };
  std::string why = catalog.keys.empty()
                        ? "Sie hat keinen Primärschlüssel."
                        : "Ihr Primärschlüssel hat " + std::to_string(catalog.keys.size()) + " Spalten.";
  if (catalog.keys.size() == 1) {
    if (const auto number = number_called(catalog.keys.front()); number != read.columns.end()) return number;
    why = "Ihr Primärschlüssel '" + catalog.keys.front() + "' enthält keine ganzen Zahlen.";
  }
  for (const std::string& column : catalog.unique_columns) {
    const auto number = number_called(column);
    if (number == read.columns.end()) continue;
    read.why_number = "Nummer der Datensätze ist die eindeutige Spalte '" + column + "'. " + why;
    return number;
  }
  RefuseTable(name,
              why +
                  " Gebraucht wird ein Primärschlüssel aus einer Spalte mit ganzen Zahlen oder eine andere "
                  "Spalte mit ganzen Zahlen, die eindeutig ist und nie leer (UNIQUE, NOT NULL), denn daran "
                  "erkennt ein Import seine Datensätze wieder, auch um sie zurückzunehmen. Geben Sie der "
                  "Tabelle eine solche Spalte.");
}

}  // namespace

namespace {

// Where the database lets a number be something else, and a row has used that.
void RequireWholeNumbers(Connection& connection, std::string_view name, const TableCatalog& catalog,
                         const ReadColumn& number) {
  const bool is_key = catalog.keys.size() == 1 && catalog.keys.front() == number.name;
  if (!catalog.takes_any_value || (is_key && catalog.has_whole_key)) return;
  const std::string column = Quoted(number.name);
  const RecordsetPtr other =
      connection.OpenRecordset("SELECT quote(t." + column + ") FROM " + catalog.read.table +
                               " AS t WHERE typeof(t." + column + ") NOT IN ('integer', 'null') LIMIT 1");
  if (other->IsEof()) return;
  RefuseTable(name, "Ihre Spalte '" + number.name +
                        "', an der ein Import seine Datensätze wiedererkennt, enthält nicht nur "
                        "ganze Zahlen, sondern auch " +
                        std::string(other->TextAt(0)) + ".");
}

}  // namespace

ReadTable ReadTableOf(Connection& connection, std::string_view name) {
  TableCatalog catalog =
      IsSqlite(connection) ? ReadSqliteTable(connection, name) : ReadPostgresTable(connection, name);
  ReadTable& read = catalog.read;
  const auto number = ChooseNumber(name, catalog);
  for (auto column = read.columns.begin(); column != read.columns.end(); ++column) {
    if (column != number && column->refusal.empty()) column->refusal = column->filled_by;
  }
  JudgeNames(read);
  if (!number->refusal.empty()) {
    RefuseTable(name, "Die Spalte '" + number->name + "' mit ihren Nummern lässt sich nicht importieren. " +
                          number->refusal);
  }
  RequireWholeNumbers(connection, name, catalog, *number);
  number->is_mandatory = false;
  number->preset.clear();
  read.number = static_cast<std::size_t>(number - read.columns.begin());
  for (const ReadColumn& column : read.columns) {
    if (column.is_mandatory && !column.refusal.empty()) {
      RefuseTable(name, "Ihre Pflichtspalte '" + column.name + "' kann nicht gefüllt werden: " +
                            column.refusal + " Geben Sie ihr in der Datenbank eine Vorgabe (DEFAULT).");
    }
  }
  return std::move(read);
}

}  // namespace kestrel::host
