#include "check/column_drift.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/base/counted.h"
#include "platform/base/nearest_name.h"
#include "platform/base/text.h"
#include "spec/source_columns.h"

namespace kestrel {

namespace {

using Names = std::vector<std::string>;

constexpr const char* kAssignments = "FieldAssignments";
constexpr const char* kFieldPrefix = "FIELD:";

// The column that the field is assigned to, as a run reads it; none for anything else.
std::optional<std::string> AssignedColumn(const ProfileImage& specification, std::string_view field) {
  const std::string_view assigned = specification.Find(kAssignments, field).value_or("");
  if (!assigned.starts_with(kFieldPrefix)) return std::nullopt;
  return std::string(Split(assigned, ':')[1]);
}

// The fields that the column feeds.
Names FieldsOf(const ProfileImage& specification, std::string_view column) {
  Names fields;
  const ProfileImage::Section* assignments = specification.FindSection(kAssignments);
  if (assignments == nullptr) return fields;
  for (const ProfileImage::Entry& entry : assignments->entries) {
    if (AssignedColumn(specification, entry.key) == column) fields.emplace_back(entry.key);
  }
  return fields;
}

// Not every name comes back from a file as it was: it ends at a colon, for instance.
bool CanBeAssigned(const std::string& column) {
  const ProfileEdit edit{kAssignments, "Feld", kFieldPrefix + column};
  return AssignedColumn(ProfileImage(EditedProfile("", {&edit, 1})), "Feld") == column;
}

bool AreUnnamed(const Names& columns) {
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (columns[i] != UnnamedColumn(i + 1)) return false;
  }
  return true;
}

FindingPlace PlaceOf(std::size_t column) { return {kSourceColumnsSection, std::to_string(column + 1)}; }

// The first of the names that is `remembered`, or the end.
Names::iterator FindRemembered(Names& names, const std::string& remembered) {
  return std::find_if(names.begin(), names.end(),
                      [&](const std::string& name) { return IsRememberedAs(name, remembered); });
}

// `renamed`: what the column seems to be called now, or null.
Finding Missing(const std::string& column, FindingPlace place, const Names& fields,
                const std::string* renamed) {
  Finding finding{Severity::kWarning, std::move(place), "Die Spalte '" + column + "' fehlt jetzt."};
  if (renamed != nullptr) finding.text = "Die Spalte '" + column + "' heißt jetzt '" + *renamed + "'?";
  if (fields.empty()) return finding;
  finding.severity = Severity::kError;
  finding.way_out = "Sie ist zugeordnet: ";
  for (const std::string& field : fields)
    finding.way_out.append(&field == &fields[0] ? "" : ", ").append(field);
  finding.way_out += ". Ordnen Sie neu zu.";
  if (renamed != nullptr && CanBeAssigned(*renamed)) finding.replacement = *renamed;
  return finding;
}

}  // namespace

void CheckColumnDrift(const ProfileImage& specification, const Names& columns, Findings& findings) {
  const Names remembered = RememberedSourceColumns(specification);
  if (remembered.empty() || columns.size() < 2) return;
  Names added(columns.begin(), columns.end() - 1);
  if (added.size() != remembered.size() && AreUnnamed(added) && AreUnnamed(remembered)) {
    findings.Warn({kSourceColumnsSection},
                  "Die Datenquelle hat jetzt " + std::to_string(added.size()) + " statt " +
                      Counted(static_cast<std::int64_t>(remembered.size()), "Spalte", "Spalten") +
                      "; ohne Kopfzeile kann jede an einer anderen Stelle stehen.",
                  "Prüfen Sie die Zuordnungen.");
  }
  std::vector<std::size_t> missing;
  bool is_reordered = false;
  std::ptrdiff_t last_place = -1;
  for (std::size_t i = 0; i < remembered.size(); ++i) {
    const auto found = FindRemembered(added, remembered[i]);
    if (found == added.end()) {
      missing.push_back(i);
      continue;
    }
    // What was found is taken out, so in the same order what follows stands where it stood, or behind.
    is_reordered |= found - added.begin() < last_place;
    last_place = found - added.begin();
    added.erase(found);
  }
  Names missing_names;
  for (const std::size_t column : missing) missing_names.push_back(remembered[column]);
  const std::vector<std::optional<std::size_t>> nearest = NearestNames(missing_names, added);
  for (std::size_t i = 0; i < missing.size(); ++i) {
    const std::size_t column = missing[i];
    const std::string& name = remembered[column];
    // Of several columns of one name the first is read.
    const bool is_read = std::find(remembered.begin(), remembered.end(), name) - remembered.begin() ==
                         static_cast<std::ptrdiff_t>(column);
    findings.Add(Missing(name, PlaceOf(column), is_read ? FieldsOf(specification, name) : Names(),
                         nearest[i] ? &added[*nearest[i]] : nullptr));
  }
  if (is_reordered) {
    findings.Note({kSourceColumnsSection}, "Die Spalten der Datenquelle stehen in anderer Reihenfolge.",
                  "Zugeordnet wird nach Namen; der Import bleibt, wie er war.");
  }
}

std::vector<ProfileEdit> ReplacementEdits(const ProfileImage& specification, const Findings& drift) {
  std::vector<ProfileEdit> edits;
  for (const Finding& finding : drift) {
    if (finding.replacement.empty()) continue;
    const std::string missing(specification.Find(kSourceColumnsSection, finding.place.key).value_or(""));
    for (const std::string& field : FieldsOf(specification, missing)) {
      edits.push_back({kAssignments, field, kFieldPrefix + finding.replacement});
    }
    edits.push_back(RememberedColumn(finding.place.key, finding.replacement));
  }
  return edits;
}

}  // namespace kestrel
