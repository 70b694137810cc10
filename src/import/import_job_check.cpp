// What ImportJob::Check finds.
#include "check/assignment_check.h"
#include "check/column_drift.h"
#include "check/data_profile.h"
#include "check/destination_check.h"
#include "check/source_check.h"
#include "check/specification_check.h"
#include "import/import_job_steps.h"
#include "sources/source_kind.h"
#include "spec/source_columns.h"

namespace kestrel {

Findings ImportJob::Steps::Check(CheckDepth depth, const std::optional<Finding>& no_host) {
  RequireOpen();
  Findings findings;
  const std::shared_ptr<const ProfileImage> specification = ProfileStore().Read(session_.SpecFile);
  CheckCommonSection(session_, *specification, findings);
  CheckSource(depth, findings);
  CheckDestination(*specification, no_host, findings);
  CheckTranslations(*specification, findings);
  CheckSettings(*specification, findings);
  CheckUnreadEntries(session_, *specification, findings);
  return findings;
}

DataProfile ImportJob::Steps::CheckData(const std::optional<Finding>& no_host) {
  DataProfile profile;
  profile.findings = Check(CheckDepth::kColumns, no_host);
  if (!source_open_) return profile;
  const auto mute = MuteBoxes();
  ProfileData(session_, fields_built_ ? session_.AssignmentList.get() : nullptr, Import().duplicates(),
              profile);
  return profile;
}

void ImportJob::Steps::CheckSource(CheckDepth depth, Findings& findings) {
  const FindingPlace place{"Common", LocationKey(session_)};
  const SourceKind* kind = KindOf(session_);
  if (kind != nullptr && kind->connect == nullptr && (session_.*kind->location).empty()) {
    findings.Error(place, "Es ist keine Quelldatei angegeben.", "Geben Sie sie hier oder mit --file an.");
    return;
  }
  const auto mute = MuteBoxes();
  try {
    OpenSource();
  } catch (const ImportRefused& refused) {
    const std::string reason = TrySource(session_);
    findings.Error(place, reason.empty() ? refused.Description() : reason);
    return;
  }
  for (const Finding& finding : ColumnDrift()) findings.Add(finding);
  CheckLeftOutColumns(SourceRemarks(session_), findings);
  if (depth == CheckDepth::kRecords) CheckSourceRecords(session_, findings);
}

Findings ImportJob::Steps::ColumnDrift() {
  RequireOpen();
  Findings findings;
  const std::shared_ptr<const ProfileImage> specification = ProfileStore().Read(session_.SpecFile);
  if (RememberedSourceColumns(*specification).empty()) return findings;
  if (own_ != nullptr) OpenSource();
  CheckColumnDrift(*specification, own_ != nullptr ? session_.SourceFieldNames : RequireColumns(), findings);
  return findings;
}

void ImportJob::Steps::TakeOverColumns(const Findings& drift) {
  RequireOpen();
  const std::vector<ProfileEdit> edits = ReplacementEdits(*ProfileStore().Require(session_.SpecFile), drift);
  if (edits.empty()) return;
  ProfileStore().Write(session_.SpecFile, edits);
  session_.SchemaChanged = true;
}

void ImportJob::Steps::CheckDestination(const ProfileImage& specification,
                                        const std::optional<Finding>& no_host, Findings& findings) {
  const FindingPlace place{"Common", "ImportClass"};
  if (session_.ImportClassProgID.empty()) {
    findings.Error(place, "Es ist kein Importziel angegeben, zum Beispiel ksbimport.importkunden.");
    return;
  }
  if (no_host) {
    findings.Add(*no_host);
    return;
  }
  try {
    const auto mute = MuteBoxes();
    OpenImportClass();
  } catch (const ImportRefused& refused) {
    findings.Error(place, refused.Description());
    return;
  }
  BuildFields();
  if (!fields_failure_.empty())
    findings.Error(place, "Die Felder des Ziels konnten nicht gelesen werden: " + fields_failure_);
  if (const ImportClassError error = FieldsError(); error.code != 0) {
    findings.Error(place, "Das Ziel meldet beim Lesen seiner Felder den Fehler " + std::to_string(error.code) +
                              ": " + error.description);
  }
  CheckAssignments(session_, source_open_, findings);
  if (fields_failure_.empty() && FieldsError().code == 0) CheckHostRights(session_, findings);
  CheckComponents(session_, specification, findings);
}

}  // namespace kestrel
