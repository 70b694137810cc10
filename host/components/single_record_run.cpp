#include "components/single_record_run.h"

#include <algorithm>

#include "kestrel/connection.h"
#include "kestrel/recordset.h"
#include "platform/automation/optional_member.h"
#include "platform/base/number.h"
#include "platform/profile/profile.h"

namespace kestrel::host {

namespace {

constexpr double kUsualMode = 2;  // of a specification that names none

std::int16_t ModeOf(const std::string& specification) {
  ProfileStore profiles;
  const auto text = profiles.Read(specification)->Find("Common", "Application");
  return Value(ParseNumber(text.value_or(std::string_view())).value_or(kUsualMode)).ToInt16();
}

}  // namespace

SingleRecordRun::SingleRecordRun(ComponentRegistry& components, const ObjectPtr& connection,
                                 const Origin& origin)
    : import_class_(components.CreateObject(origin.import_class)),
      record_(std::max<std::int64_t>(origin.record, 1)) {
  SetProperty(import_class_, "Connection", connection);
  LetProperty(import_class_, "PersonalNr", origin.personal_nr);
  LetProperty(import_class_, "Application", ModeOf(origin.specification));
  LetProperty(import_class_, "SpecificationFile", origin.specification);
  Value cancel(false);
  CallMethod(import_class_, "BeforeImport", ByRef(cancel));
  RequireSuccess();
  if (cancel.ToBool()) {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall, "Das Importziel hat den Import abgebrochen.");
  }
  if (auto run_starts = FindOptional(import_class_, "RunStarts")) {
    run_starts->Call(origin.specification, "", origin.source, std::int64_t{-1}, "");
  }
  if (auto record_fate = FindOptional(import_class_, "RecordFate"); record_fate && record_ > 1) {
    record_fate->Call(std::int64_t{1}, record_ - 1, "passed over");
  }
}

SingleRecordRun::~SingleRecordRun() {
  if (is_ended_) return;
  const auto end = [this] {
    CallMethod(import_class_, "AfterImport");
    if (auto record_fate = FindOptional(import_class_, "RecordFate")) {
      record_fate->Call(record_, record_, "rejected");
    }
    End("rejected");
  };
  // Why it was not stored is on its way already.
  Trap(end, [](const RuntimeError&) {});
}

void SingleRecordRun::RequireSuccess() const {
  const std::int64_t code = GetProperty(import_class_, "ErrorCode").ToInteger();
  if (code == 0) return;
  throw RuntimeError(static_cast<int>(code), GetProperty(import_class_, "ErrorDescription").ToText());
}

void SingleRecordRun::HandOver(const Fields& fields) {
  Value record = CallMethod(import_class_, "GetNewRecord");
  RequireSuccess();
  const RecordsetPtr row = ToRecordset(record);
  for (const auto& [name, text] : fields) {
    if (!text.empty()) row->SetText(row->RequireColumn(name), text);
  }
  CallMethod(import_class_, "ImportRecord", ByRef(record));
  RequireSuccess();
  if (import_class_->FindMember("ImportResult")) {
    is_update_ = GetProperty(import_class_, "ImportResult").ToText().starts_with("updated ");
  }
}

void SingleRecordRun::RequireTaken() {
  auto next_late_error = FindOptional(import_class_, "NextLateError");
  if (next_late_error && next_late_error->Call().ToBool()) RequireSuccess();
  auto next_late_update = FindOptional(import_class_, "NextLateUpdate");
  if (next_late_update && next_late_update->Call().ToInteger() != 0) is_update_ = true;
}

void SingleRecordRun::Stored() {
  is_ended_ = true;
  CallMethod(import_class_, "AfterImport");
  RequireSuccess();
  End(is_update_ ? "updated" : "new");
}

void SingleRecordRun::End(const char* fate) {
  auto run_ends = FindOptional(import_class_, "RunEnds");
  if (!run_ends) return;
  const auto count = [fate](std::string_view of) { return std::int64_t{of == fate ? 1 : 0}; };
  const std::int64_t none = 0;
  run_ends->Call("finished", std::int64_t{1}, count("new"), count("updated"), none, count("rejected"),
                 count("rejected"), none, "");
}

}  // namespace kestrel::host
