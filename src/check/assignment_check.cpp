#include "check/assignment_check.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mapping/field_assignment.h"
#include "mapping/translation.h"
#include "mapping/value_conversion.h"
#include "platform/base/nearest_name.h"
#include "platform/base/text.h"
#include "sources/source_reader.h"
#include "spec/profile_access.h"

namespace kestrel {

namespace {

constexpr const char* kSection = "FieldAssignments";
constexpr std::string_view kFieldPrefix = "FIELD:";
constexpr std::string_view kConstantPrefix = "CONST:";

FindingPlace AssignmentOf(const std::string& field) { return {kSection, field, field}; }

std::string AllDateFormats() {
  std::string formats;
  for (const char* format : kDateFormats) formats.append(formats.empty() ? "" : ", ").append(format);
  return formats;
}

class AssignmentCheck {
 public:
  AssignmentCheck(Session& session, bool source_open, Findings& findings)
      : source_open_(source_open), columns_(session.SourceFieldNames), findings_(findings) {
    if (source_open) remarks_ = SourceRemarks(session);
  }

  // The current row of the list; `stored` is what the specification holds for its field.
  void CheckField(const MemoryRecordset& list, const std::string& stored) {
    const std::string field(list.TextAt(kSourceName));
    const bool from_source = stored.starts_with(kFieldPrefix);
    const bool constant = stored.starts_with(kConstantPrefix);
    if (list.TextAt(kObligation) == "Wahr" && !from_source && !constant) {
      findings_.Error(AssignmentOf(field), "Das Pflichtfeld ist nicht zugeordnet.");
    }
    if (!stored.empty() && !from_source && !constant && stored != "NOTASSIGNED") {
      findings_.Warn(AssignmentOf(field), "\"" + stored + "\" ist keine Zuordnung.",
                     "Möglich sind FIELD:Spalte, CONST:Wert und NOTASSIGNED, genau so geschrieben.");
    }
    if (from_source && source_open_) CheckColumn(field, stored);
    if (constant && std::count(stored.begin(), stored.end(), ':') > 1) {
      findings_.Warn(AssignmentOf(field),
                     "Die Konstante wird am Doppelpunkt abgeschnitten: gelesen wird \"" +
                         std::string(Split(stored, ':')[1]) + "\".",
                     "Setzen Sie den Wert in der Quelle.");
    }
    if (constant) CheckConstant(field, list);
    if (list.TextAt(kDateField) == "Wahr" && from_source) CheckDateFormat(field, list.TextAt(kFormat));
  }

  // That the source has the column; `stored` assigns one.
  void CheckColumn(const std::string& field, const std::string& stored) {
    const std::string column = stored.substr(kFieldPrefix.size());
    const std::string read(Split(column, ':')[0]);
    if (read != column) {
      findings_.Warn(AssignmentOf(field),
                     "Der Spaltenname wird am Doppelpunkt abgeschnitten: gelesen wird \"" + read + "\".");
    }
    if (IsInList(read, columns_)) {
      NoteColumn(read, field);
      return;
    }
    for (const SourceRemark& remark : remarks_) {
      if (remark.column == read) return findings_.Error(AssignmentOf(field), remark.text);
    }
    findings_.Error(AssignmentOf(field),
                    "Die Datenquelle hat keine Spalte \"" + read + "\"; das Feld bleibt ohne Zuweisung.",
                    WayToColumn(read));
  }

  // Columns that feed several fields. Behind the last field.
  void TellSharedColumns() {
    for (const auto& [column, fields] : fields_of_columns_) {
      if (fields.size() < 2) continue;
      std::string names;
      for (const std::string& field : fields) names.append(names.empty() ? "" : ", ").append(field);
      findings_.Note(AssignmentOf(fields[1]),
                     "Die Spalte \"" + column + "\" ist mehreren Feldern zugeordnet: " + names + ".",
                     "Ist das nicht gemeint, ordnen Sie den anderen Feldern ihre Spalte zu.");
    }
  }

 private:
  // As the run takes it, which removes double quotes.
  void CheckConstant(const std::string& field, const MemoryRecordset& list) {
    const std::string constant = ReplaceAll(list.TextAt(kDestinationName), "\"", "");
    const FieldKind kind = KindOfField(list.TextAt(kFieldTyp));
    if (!IsCompatible(constant, kind)) {
      findings_.Error(AssignmentOf(field),
                      "Die Konstante \"" + constant +
                          "\" ist keine Zahl; das Feld bleibt leer, und jeder Datensatz zählt einen Fehler.",
                      "Geben Sie eine Zahl an, zum Beispiel 2,5.");
      return;
    }
    const std::int64_t size = list.IsNull(kSize) ? -1 : list.ValueAt(kSize).ToInteger();
    if (kind != FieldKind::kVarchar || size < 0) return;
    const std::string_view written = *ShapeByType(constant, kind, size);
    if (written == TrimBlanks(constant)) return;
    findings_.Warn(AssignmentOf(field),
                   "Die Konstante hat " + std::to_string(LengthInCharacters(constant)) + " Zeichen, das Feld " +
                       std::to_string(size) + "; geschrieben wird \"" + std::string(written) + "\".",
                   "Kürzen Sie die Konstante.");
  }

  std::string WayToColumn(const std::string& column) const {
    const std::optional<std::string> nearest = NearestName(column, columns_);
    if (!nearest) return "'kestrel-import columns' zeigt die Spalten.";
    const bool differs_in_case = UpperCase(*nearest) == UpperCase(column);
    return "Gemeint ist wohl \"" + *nearest +
           (differs_in_case ? "\"; Groß- und Kleinschreibung zählen." : "\".");
  }

  void NoteColumn(const std::string& column, const std::string& field) {
    auto known = std::find_if(fields_of_columns_.begin(), fields_of_columns_.end(),
                              [&](const auto& entry) { return entry.first == column; });
    if (known == fields_of_columns_.end()) {
      known = fields_of_columns_.insert(known, {column, {}});
    }
    known->second.push_back(field);
  }

  void CheckDateFormat(const std::string& field, std::string_view format) {
    if (format.empty()) {
      findings_.Error({"FieldFormat", field, field}, "Für das Datumsfeld ist kein Format bestimmt.",
                      "Möglich sind: " + AllDateFormats() + ".");
    } else if (std::find(kDateFormats.begin(), kDateFormats.end(), format) == kDateFormats.end()) {
      findings_.Error({"FieldFormat", field, field},
                      "\"" + std::string(format) + "\" ist kein Datumsformat; das Datum bleibt, wie es ist.",
                      "Möglich sind, genau so geschrieben: " + AllDateFormats() + ".");
    }
  }

  bool source_open_;
  const std::vector<std::string>& columns_;
  std::vector<SourceRemark> remarks_;
  Findings& findings_;
  // In the order of the first assignment.
  std::vector<std::pair<std::string, std::vector<std::string>>> fields_of_columns_;
};

// Entries of the ".IMP" file for fields that the destination does not have, and those that stand there twice.
class FieldNameCheck {
 public:
  FieldNameCheck(std::vector<std::string> fields, Findings& findings)
      : fields_(std::move(fields)), findings_(findings) {
    for (const std::string& field : fields_) known_.insert(UpperCase(field));
  }

  void Check(const ProfileImage& specification) {
    for (const auto& section : specification.Sections()) {
      for (const char* of_fields : {kSection, "FieldTranslation", "FieldFormat"}) {
        if (EqualsIgnoringCase(section.name, of_fields)) CheckEntries(section);
      }
      const std::string prefix = TranslationSection("");
      if (EqualsIgnoringCase(section.name.substr(0, prefix.size()), prefix)) {
        CheckName({section.name}, section.name.substr(prefix.size()), "die Tabelle");
      }
    }
  }

 private:
  void CheckEntries(const ProfileImage::Section& section) {
    std::set<std::string> seen;
    for (const auto& entry : section.entries) {
      if (!CheckName({section.name, entry.key}, entry.key, "der Eintrag")) continue;
      if (!seen.insert(UpperCase(entry.key)).second) {
        findings_.Warn({section.name, entry.key, entry.key},
                       "Das Feld steht mehrfach da; gelesen wird nur der erste Eintrag.",
                       "Löschen Sie die übrigen.");
      }
    }
  }

  bool CheckName(FindingPlace place, const std::string& field, const std::string& what) {
    if (known_.contains(UpperCase(field))) return true;
    const std::optional<std::string> nearest = NearestName(field, fields_);
    findings_.Warn(std::move(place), "Das Importziel hat kein solches Feld; " + what + " wird nicht gelesen.",
                   nearest ? "Gemeint ist wohl \"" + *nearest + "\"." : "");
    return false;
  }

  std::vector<std::string> fields_;
  std::set<std::string> known_;
  Findings& findings_;
};

}  // namespace

std::optional<Finding> FindAssignmentFault(MemoryRecordset& list) {
  const char* way_out = "'kestrel-import check' nennt es.";
  if (MandatoryFieldUnassigned(list)) {
    return Finding{Severity::kError, {kSection}, "Ein Pflichtfeld wurde noch nicht zugeordnet.", way_out};
  }
  if (DateFieldWithoutFormat(list)) {
    return Finding{Severity::kError,
                   {"FieldFormat"},
                   "Bei einem Datumsfeld wurde noch keine Formatierung bestimmt..",
                   way_out};
  }
  return std::nullopt;
}

std::optional<Finding> FindLeftOutAssignment(Session& session) {
  const std::vector<SourceRemark> remarks = SourceRemarks(session);
  if (remarks.empty()) return std::nullopt;
  const std::shared_ptr<const ProfileImage> specification = ProfileStore().Read(session.SpecFile);
  for (const SourceRemark& remark : remarks) {
    if (remark.column.empty()) continue;
    MemoryRecordset& list = *session.AssignmentList;
    for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
      const std::string field(list.TextAt(kSourceName));
      const std::string assigned = GetIniString(*specification, kSection, field, "");
      if (assigned == std::string(kFieldPrefix).append(remark.column)) {
        return Finding{Severity::kError, AssignmentOf(field), remark.text};
      }
    }
  }
  return std::nullopt;
}

void CheckAssignedColumns(Session& session, Findings& findings) {
  const std::shared_ptr<const ProfileImage> specification = ProfileStore().Read(session.SpecFile);
  AssignmentCheck check(session, true, findings);
  MemoryRecordset& list = *session.AssignmentList;
  for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
    const std::string field(list.TextAt(kSourceName));
    const std::string stored = GetIniString(*specification, kSection, field, "");
    if (stored.starts_with(kFieldPrefix)) check.CheckColumn(field, stored);
  }
}

void CheckAssignments(Session& session, bool source_open, Findings& findings) {
  const std::shared_ptr<const ProfileImage> specification = ProfileStore().Read(session.SpecFile);
  AssignmentCheck check(session, source_open, findings);
  std::vector<std::string> fields;
  MemoryRecordset& list = *session.AssignmentList;
  for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
    fields.emplace_back(list.TextAt(kSourceName));
    check.CheckField(list, GetIniString(*specification, kSection, fields.back(), ""));
  }
  check.TellSharedColumns();
  FieldNameCheck(std::move(fields), findings).Check(*specification);
}

}  // namespace kestrel
