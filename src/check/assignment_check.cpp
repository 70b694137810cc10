#include "check/assignment_check.h"

#include <algorithm>
#include <set>
#include <string>

#include "mapping/field_assignment.h"
#include "platform/base/text.h"
#include "sources/source_reader.h"
#include "spec/profile_access.h"

namespace kestrel {

namespace {

constexpr const char* kSection = "FieldAssignments";
constexpr std::string_view kFieldPrefix = "FIELD:";
constexpr std::string_view kConstantPrefix = "CONST:";

FindingPlace AssignmentOf(const std::string& field) { return {kSection, field, field}; }

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
    if (from_source && source_open_) CheckColumn(field, stored.substr(kFieldPrefix.size()));
    if (constant && std::count(stored.begin(), stored.end(), ':') > 1) {
      findings_.Warn(AssignmentOf(field),
                     "Die Konstante wird am Doppelpunkt abgeschnitten: gelesen wird \"" +
                         std::string(Split(stored, ':')[1]) + "\".",
                     "Setzen Sie den Wert in der Quelle.");
    }
    if (list.TextAt(kDateField) == "Wahr" && from_source) CheckDateFormat(field, list.TextAt(kFormat));
  }

 private:
  void CheckColumn(const std::string& field, const std::string& column) {
    const std::string read(Split(column, ':')[0]);
    if (read != column) {
      findings_.Warn(AssignmentOf(field),
                     "Der Spaltenname wird am Doppelpunkt abgeschnitten: gelesen wird \"" + read + "\".");
    }
    if (IsInList(read, columns_)) return;
    for (const SourceRemark& remark : remarks_) {
      if (remark.column == read) return findings_.Error(AssignmentOf(field), remark.text);
    }
    const auto alike = std::find_if(columns_.begin(), columns_.end(), [&](const std::string& name) {
      return UpperCase(name) == UpperCase(read);
    });
    findings_.Error(AssignmentOf(field),
                    "Die Datenquelle hat keine Spalte \"" + read + "\"; das Feld bleibt ohne Zuweisung.",
                    alike == columns_.end()
                        ? "'kestrel-import columns' zeigt die Spalten."
                        : "Gemeint ist wohl \"" + *alike + "\"; Groß- und Kleinschreibung zählen.");
  }

  void CheckDateFormat(const std::string& field, std::string_view format) {
    if (format.empty()) {
      findings_.Error({"FieldFormat", field, field},
                      "Für das Datumsfeld ist kein Format bestimmt, zum Beispiel tt.mm.jjjj.");
    } else if (std::find(kDateFormats.begin(), kDateFormats.end(), format) == kDateFormats.end()) {
      findings_.Error({"FieldFormat", field, field},
                      "\"" + std::string(format) + "\" ist kein Datumsformat; das Datum bleibt, wie es ist.");
    }
  }

  bool source_open_;
  const std::vector<std::string>& columns_;
  std::vector<SourceRemark> remarks_;
  Findings& findings_;
};

void CheckUnknownFields(const ProfileImage& specification, const std::set<std::string>& fields,
                        Findings& findings) {
  for (const auto& section : specification.Sections()) {
    if (!EqualsIgnoringCase(section.name, kSection)) continue;
    for (const auto& entry : section.entries) {
      if (!fields.contains(UpperCase(entry.key))) {
        findings.Warn({kSection, entry.key},
                      "Das Importziel hat kein solches Feld; der Eintrag wird nicht gelesen.");
      }
    }
  }
}

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
  for (const SourceRemark& remark : SourceRemarks(session)) {
    if (remark.column.empty()) continue;
    MemoryRecordset& list = *session.AssignmentList;
    for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
      const std::string field(list.TextAt(kSourceName));
      const std::string assigned = GetIniString(session.profiles, session.SpecFile, kSection, field, "");
      if (assigned == std::string(kFieldPrefix).append(remark.column)) {
        return Finding{Severity::kError, AssignmentOf(field), remark.text};
      }
    }
  }
  return std::nullopt;
}

void CheckAssignments(Session& session, bool source_open, Findings& findings) {
  const std::shared_ptr<const ProfileImage> specification = session.profiles.Read(session.SpecFile);
  AssignmentCheck check(session, source_open, findings);
  std::set<std::string> fields;
  MemoryRecordset& list = *session.AssignmentList;
  for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
    const std::string field(list.TextAt(kSourceName));
    fields.insert(UpperCase(field));
    check.CheckField(list, GetIniString(*specification, kSection, field, ""));
  }
  CheckUnknownFields(*specification, fields, findings);
}

}  // namespace kestrel
