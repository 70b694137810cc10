// What ImportJob::Check finds.
#include "check/assignment_check.h"
#include "check/column_drift.h"
#include "check/data_profile.h"
#include "check/destination_check.h"
#include "check/source_check.h"
#include "check/specification_check.h"
#include "import/import_job_state.h"
#include "sources/source_kind.h"
#include "spec/source_columns.h"

namespace kestrel {

Findings ImportJob::Check(CheckDepth depth, const std::optional<Finding>& no_host) {
  state_->RequireOpen();
  Findings findings;
  const std::shared_ptr<const ProfileImage> specification = ProfileStore().Read(session().SpecFile);
  CheckCommonSection(session(), *specification, findings);
  state_->CheckSource(*this, depth, findings);
  state_->CheckDestination(*this, *specification, no_host, findings);
  CheckTranslations(*specification, findings);
  CheckSettings(*specification, findings);
  CheckUnreadEntries(session(), *specification, findings);
  return findings;
}

DataProfile ImportJob::CheckData(const std::optional<Finding>& no_host) {
  DataProfile profile;
  profile.findings = Check(CheckDepth::kColumns, no_host);
  if (!state_->source_open) return profile;
  const auto mute = state_->MuteBoxes();
  ProfileData(session(), state_->fields_built ? session().AssignmentList.get() : nullptr,
              state_->Import().duplicates(), profile);
  return profile;
}

void ImportJob::State::CheckSource(ImportJob& job, CheckDepth depth, Findings& findings) {
  const FindingPlace place{"Common", LocationKey(session)};
  const SourceKind* kind = KindOf(session);
  if (kind != nullptr && kind->connect == nullptr && (session.*kind->location).empty()) {
    findings.Error(place, "Es ist keine Quelldatei angegeben.", "Geben Sie sie hier oder mit --file an.");
    return;
  }
  const auto mute = MuteBoxes();
  try {
    job.OpenSource();
  } catch (const ImportRefused& refused) {
    const std::string reason = TrySource(session);
    findings.Error(place, reason.empty() ? refused.Description() : reason);
    return;
  }
  if (const std::optional<Finding> empty = FindEmptyFile(session)) findings.Add(*empty);
  for (const Finding& finding : job.ColumnDrift()) findings.Add(finding);
  CheckLeftOutColumns(SourceRemarks(session), findings);
  if (depth == CheckDepth::kRecords) CheckSourceRecords(session, findings);
}

Findings ImportJob::ColumnDrift() {
  state_->RequireOpen();
  Findings findings;
  const std::shared_ptr<const ProfileImage> specification = ProfileStore().Read(session().SpecFile);
  if (RememberedSourceColumns(*specification).empty()) return findings;
  if (state_->own != nullptr) OpenSource();
  CheckColumnDrift(*specification,
                   state_->own != nullptr ? session().SourceFieldNames : state_->RequireColumns(), findings);
  return findings;
}

void ImportJob::TakeOverColumns(const Findings& drift) {
  state_->RequireOpen();
  const std::vector<ProfileEdit> edits = ReplacementEdits(*ProfileStore().Require(session().SpecFile), drift);
  if (edits.empty()) return;
  ProfileStore().Write(session().SpecFile, edits);
  session().SchemaChanged = true;
}

void ImportJob::State::CheckDestination(ImportJob& job, const ProfileImage& specification,
                                        const std::optional<Finding>& no_host, Findings& findings) {
  const FindingPlace place{"Common", "ImportClass"};
  if (session.ImportClassProgID.empty()) {
    findings.Error(place, "Es ist kein Importziel angegeben, zum Beispiel ksbimport.importkunden.");
    return;
  }
  if (no_host) {
    findings.Add(*no_host);
    return;
  }
  try {
    const auto mute = MuteBoxes();
    job.OpenImportClass();
  } catch (const ImportRefused& refused) {
    findings.Error(place, refused.Description());
    return;
  }
  BuildFields(job);
  if (!fields_failure.empty())
    findings.Error(place, "Die Felder des Ziels konnten nicht gelesen werden: " + fields_failure);
  if (const ImportClassError error = FieldsError(); error.code != 0) {
    findings.Error(place, "Das Ziel meldet beim Lesen seiner Felder den Fehler " + std::to_string(error.code) +
                              ": " + error.description);
  }
  CheckAssignments(session, source_open, findings);
  if (fields_failure.empty() && FieldsError().code == 0) CheckHostRights(session, findings);
  CheckComponents(session, specification, findings);
}

}  // namespace kestrel
