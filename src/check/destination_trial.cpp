#include "check/destination_trial.h"

#include <algorithm>

#include "platform/automation/optional_member.h"

namespace kestrel {

namespace {

bool NothingIsTold(std::string_view) { return false; }

}  // namespace

template <class Step>
void DestinationTrial::Attempt(Step&& step) {
  Trap(std::forward<Step>(step), [this](const RuntimeError& error) {
    failure_ = error.Description();
    is_open_ = false;
  });
}

DestinationTrial::DestinationTrial(Session& session) : session_(session) {
  const ObjectPtr& import_class = session.ImportClass;
  Attempt([&] {
    if (!FindOptional(import_class, "CheckRecord")) return;
    error_field_ = FindOptional(import_class, "ErrorField");
    error_first_record_ = FindOptional(import_class, "ErrorFirstRecord");
    error_last_record_ = FindOptional(import_class, "ErrorLastRecord");
    next_late_error_ = FindOptional(import_class, "NextLateError");
    stop_reason_ = FindOptional(import_class, "StopReason");
    LetProperty(import_class, "SpecificationFile", session.SpecFile);
    Value cancel(false);
    CallMethod(import_class, "BeforeImport", ByRef(cancel));
    if (cancel.ToBool()) {
      failure_ = "Es bricht den Import vor dem ersten Datensatz ab.";
      return;
    }
    get_new_record_ = BoundMember(import_class, "GetNewRecord");
    check_record_ = BoundMember(import_class, "CheckRecord");
    error_code_ = BoundMember(import_class, "ErrorCode");
    is_open_ = true;
  });
}

std::shared_ptr<Recordset> DestinationTrial::NewRecord(std::int64_t record) {
  record_.reset();
  record_value_ = Value();
  Attempt([&] {
    record_value_ = get_new_record_.Call();
    record_ = std::dynamic_pointer_cast<Recordset>(record_value_.ToObject());
    TakeError(record, NothingIsTold);
  });
  return is_open_ ? record_ : nullptr;
}

void DestinationTrial::Ask(std::int64_t record, const std::function<bool(std::string_view field)>& is_told) {
  ++records_;
  Attempt([&] {
    check_record_.Call(ByRef(record_value_));
    TakeError(record, is_told);
  });
}

void DestinationTrial::TakeError(std::int64_t record,
                                 const std::function<bool(std::string_view field)>& is_told) {
  const std::int64_t code = error_code_.Get().ToInteger();
  if (code == 0) return;
  const std::string text = GetProperty(session_.ImportClass, "ErrorDescription").ToText();
  const std::string field = error_field_ ? error_field_->Get().ToText() : std::string();
  std::int64_t first = error_first_record_ ? error_first_record_->Get().ToInteger() : 0;
  std::int64_t last = error_last_record_ ? error_last_record_->Get().ToInteger() : 0;
  if (stop_reason_) {
    failure_ = stop_reason_->Get().ToText();
    is_open_ = failure_.empty();
  }
  if (first == 0 && !field.empty() && is_told(field)) return;
  Refusal& refusal = refusals_[{field, code}];
  if (refusal.text.empty()) refusal.text = text;
  std::string value;
  if (first == 0) {
    first = last = record;
    const auto column = record_ == nullptr ? std::nullopt : record_->FindColumn(field);
    if (column) value = record_->TextAt(*column);
  }
  last = std::min(std::max(first, last), records_);
  if (first < 1) first = last = 0;
  for (std::int64_t each = first; each <= last; ++each) refusal.records.Add(each, value);
}

// At most one for each record, and one of the class's own.
void DestinationTrial::TakeLateErrors() {
  if (!next_late_error_) return;
  while (is_open_ && late_errors_ <= records_ && next_late_error_->Call().ToBool()) {
    ++late_errors_;
    TakeError(records_, NothingIsTold);
  }
}

void DestinationTrial::Finish() {
  if (!is_open_) return;
  Attempt([&] {
    TakeLateErrors();
    CallMethod(session_.ImportClass, "AfterImport");
    TakeLateErrors();
  });
  is_open_ = false;
  record_.reset();
  record_value_ = Value();
}

void DestinationTrial::Tell(Findings& findings) const {
  for (const auto& [key, refusal] : refusals_) {
    const std::string& field = key.first;
    const FindingPlace place =
        field.empty() ? FindingPlace{"Common", "ImportClass"} : FindingPlace{"FieldAssignments", field, field};
    refusal.records.Tell(findings, Severity::kError, place, "Datensatz weist das Importziel ab",
                         "Datensätze weist das Importziel ab", refusal.text);
  }
  if (failure_.empty()) return;
  findings.Error({"Common", "ImportClass"}, "Das Importziel prüft die Datensätze nicht zu Ende: " + failure_);
}

}  // namespace kestrel
