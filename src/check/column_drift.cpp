#include "check/column_drift.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/base/nearest_name.h"
#include "platform/base/text.h"
#include "spec/source_columns.h"

namespace kestrel {

namespace {

using Names = std::vector<std::string>;

// The fields that the column feeds.
std::string FieldsOf(const ProfileImage& specification, std::string_view column) {
  constexpr std::string_view kPrefix = "FIELD:";
  std::string fields;
  const ProfileImage::Section* assignments = specification.FindSection("FieldAssignments");
  if (assignments == nullptr) return fields;
  for (const ProfileImage::Entry& entry : assignments->entries) {
    const std::string_view assigned = specification.Find("FieldAssignments", entry.key).value_or("");
    if (!assigned.starts_with(kPrefix) || Split(assigned, ':')[1] != column) continue;
    fields.append(fields.empty() ? "" : ", ").append(entry.key);
  }
  return fields;
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

// `added`: the columns that are new. One that takes a missing one's place is taken from them.
void TellMissing(const ProfileImage& specification, const std::string& column, FindingPlace place, Names& added,
                 Findings& findings) {
  const std::optional<std::string> nearest = NearestName(column, added);
  if (nearest) added.erase(std::find(added.begin(), added.end(), *nearest));
  const std::string fields = FieldsOf(specification, column);
  findings.Add({fields.empty() ? Severity::kWarning : Severity::kError, std::move(place),
                nearest ? "Die Spalte '" + column + "' heißt jetzt '" + *nearest + "'?"
                        : "Die Spalte '" + column + "' fehlt jetzt.",
                fields.empty() ? "" : "Sie ist zugeordnet: " + fields + ". Ordnen Sie neu zu."});
}

}  // namespace

void CheckColumnDrift(const ProfileImage& specification, const Names& columns, Findings& findings) {
  const Names remembered = RememberedSourceColumns(specification);
  if (remembered.empty() || columns.size() < 2) return;
  Names added(columns.begin(), columns.end() - 1);
  if (added.size() != remembered.size() && AreUnnamed(added) && AreUnnamed(remembered)) {
    findings.Warn({kSourceColumnsSection},
                  "Die Datenquelle hat jetzt " + std::to_string(added.size()) + " statt " +
                      std::to_string(remembered.size()) +
                      " Spalten; ohne Kopfzeile kann jede an einer anderen Stelle stehen.",
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
  for (const std::size_t column : missing) {
    TellMissing(specification, remembered[column], PlaceOf(column), added, findings);
  }
  if (is_reordered) {
    findings.Note({kSourceColumnsSection}, "Die Spalten der Datenquelle stehen in anderer Reihenfolge.",
                  "Zugeordnet wird nach Namen; der Import bleibt, wie er war.");
  }
}

}  // namespace kestrel
