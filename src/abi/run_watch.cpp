#include "abi/run_watch.h"

#include "abi/structs.h"

namespace kestrel::abi {

namespace {

std::int32_t NumberOf(RecordFate fate) {
  switch (fate) {
    case RecordFate::kStored: return KESTREL_STORED;
    case RecordFate::kUpdated: return KESTREL_UPDATED;
    case RecordFate::kHeldBack: return KESTREL_HELD_BACK;
    case RecordFate::kRejected: return KESTREL_REJECTED;
    case RecordFate::kChecked: return KESTREL_CHECKED;
  }
  return KESTREL_REJECTED;
}

kestrel_record_error ViewOf(const RecordError& error) {
  return {sizeof(kestrel_record_error), error.number,
          ToText(error.text),           ToText(error.field),
          ToText(error.source_column),  ToText(error.raw_value),
          ToText(error.function)};
}

bool IsPlain(const RecordOutcome& outcome) {
  const bool is_taken = outcome.fate == RecordFate::kStored || outcome.fate == RecordFate::kChecked;
  return is_taken && outcome.errors.empty() && outcome.cut_fields.empty();
}

}  // namespace

void RunWatch::SetProgress(double percent) {
  percent_ = percent;
  if (static_cast<int>(percent) != told_percent_) ShowProgress();
}

void RunWatch::Yield() {
  ObeyOtherThreads();
  if (pace_.Due()) ShowProgress();
}

void RunWatch::ShowProgress() {
  told_percent_ = static_cast<int>(percent_);
  if (functions_.progress != nullptr) Obey(functions_.progress(functions_.context, percent_, ToText(info_)));
}

void RunWatch::Tell(std::string_view text) {
  if (functions_.tell != nullptr) Obey(functions_.tell(functions_.context, ToText(text)));
}

void RunWatch::RecordDone(const RecordOutcome& outcome) {
  if (functions_.record != nullptr && (functions_.every_record != 0 || !IsPlain(outcome))) TellOf(outcome);
  ObeyOtherThreads();
}

void RunWatch::TellOf(const RecordOutcome& outcome) {
  errors_.clear();
  for (const RecordError& error : outcome.errors) errors_.push_back(ViewOf(error));
  cut_fields_.clear();
  for (const std::string& field : outcome.cut_fields) cut_fields_.push_back(ToText(field));
  const DuplicateMatch& match = outcome.duplicate_of;
  kestrel_outcome told{};
  told.size = sizeof told;
  told.record = outcome.record;
  told.fate = NumberOf(outcome.fate);
  told.duplicate_key = match.key;
  told.error_count = errors_.size();
  told.errors = errors_.data();
  told.cut_field_count = cut_fields_.size();
  told.cut_fields = cut_fields_.data();
  told.address = ToText(outcome.address);
  told.duplicate_type = match.address_type;
  told.duplicate_address = ToText(match.reference);
  told.duplicate_name = ToText(match.name);
  told.duplicate_place = ToText(match.place);
  told.duplicate_reason = ToText(match.reason);
  told.duplicate_record = match.record;
  told.duplicate_score = match.score;
  Obey(functions_.record(functions_.context, &told));
}

void RunWatch::Revise(const OutcomeRevision& revision) {
  if (functions_.revision == nullptr) return;
  kestrel_record_error error{};
  if (revision.error) error = ViewOf(*revision.error);
  kestrel_revision told{};
  told.size = sizeof told;
  told.first = revision.first;
  told.last = revision.last;
  told.fate = NumberOf(revision.fate);
  told.revised = revision.revised;
  told.error = revision.error ? &error : nullptr;
  Obey(functions_.revision(functions_.context, &told));
}

}  // namespace kestrel::abi
