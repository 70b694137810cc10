// Invariants
//  1. Statement by statement: each statement that can fail is run through RunErrors::Try, so that a failure
//     is counted and logged once and the next statement follows. Nothing ends a run but its own rules.
//  2. `records` counts the source records worked through; it grows after a record was handed over, held
//     back or (in test mode) only checked. `outcomes_` tells which of these each record was, and what was lost.
//  3. The error count is never set back. A failed backup therefore keeps the source file.
//  4. A record object serves the round that it was delivered for, so that no record is stored twice where GetNewRecord
//     fails.
//  5. ErrorCode is read exactly once after GetNewRecord and after ImportRecord.
//  6. Optional members of the import class are looked up once, before its first call; a class that lacks one is
//     driven as if there were no such member.
//  7. Every loop is bounded: the rounds by the source, which ends where it fails, and by its count; the late
//     errors by the records handed over.
//
// Transitions
//  1. begin    SpecificationFile, BeforeImport. The cancel flag -> 6 (no backup, no records).
//  2. prepare  backup of the source file, one yield, the source is opened and counted, first record.
//  3. rounds   while the source has a record: a noted abort -> 4; progress text between two yields;
//              GetNewRecord; assembly; duplicate check; ImportRecord; progress; next record. The rounds
//              also end when more records came than were counted, and when the import class says that going on
//              is senseless. What kept the source from opening or broke it off is counted behind them.
//              They end, too, where the settings allow no more errors. Before them come none that the settings
//              pass over.
//  4. after    Errors that came to light late, where the import class has a member for them (NextLateError);
//              AfterImport, unless aborted, and what came to light with it. Which records were updates, where
//              the class told that late (NextLateUpdate).
//              What was not stored is kept and written, where that is wanted: the rest of the source with it.
//              The figures are told to the import class, where it keeps them (RunEnds).
//  5. remove   the source file, where nothing it holds can be lost: never after an abort. Why it stays is told.
//  6. close    the source and the records are released.
//  7. report   what the import class stopped for; label and message box by the counters, unless the view shows these.
//  8. finished the window closes, the working copy is deleted unless it stays open, the import ends.
#include "import/import_run.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>

#include "import/look_ahead.h"
#include "import/match_details.h"
#include "import/record_assembly.h"
#include "import/reject_view.h"
#include "import/run_errors.h"
#include "import/run_notes.h"
#include "import/run_outcomes.h"
#include "import/run_texts.h"
#include "import/run_waits.h"
#include "import/source_file.h"
#include "kestrel/user_interface.h"
#include "platform/automation/optional_member.h"
#include "platform/base/counted.h"
#include "platform/base/file.h"
#include "sources/source_reader.h"
#include "spec/working_copy.h"

namespace kestrel {

namespace {

constexpr const char* kTitle = "KESTREL Import";

class RunSteps {
 public:
  // `rejects`: the view, where it keeps what is not stored, else null.
  RunSteps(ActiveImport& import, RunView& view, const RunSettings& settings, RejectView* reject_view,
           const std::unique_ptr<Rejects>& rejects, const bool& abort_requested, const int& abort_requests)
      : import_(import),
        session_(import.session()),
        view_(view),
        settings_(settings),
        reject_view_(reject_view),
        rejects_(rejects),
        abort_requested_(abort_requested),
        abort_requests_(abort_requests),
        specification_(import.profiles(), session_.SpecFile),
        outcomes_(view, notes_),
        errors_(import.logs(), outcomes_, settings),
        reader_(session_),
        assembly_(session_, import.profiles(), errors_),
        look_ahead_(session_, import.duplicates(), assembly_),
        waits_(view, abort_requested) {
    errors_.OnUnlogged([this](const std::string& text) { Tell("Nicht im Protokoll: " + text); });
  }

  RunResult Execute() {
    waits_.Watch(session_.HostConnection);
    Begin();
    if (!result_.cancelled) {
      Prepare();
      ImportRecords();
      CountSourceEnd();
      TellLateErrors();
      if (!result_.aborted) {
        errors_.Try([&] { CallMethod(session_.ImportClass, "AfterImport"); });
        TellLateErrors();
      }
      TellLateUpdates();
      errors_.LogRepeated();
      if (reject_view_ != nullptr) KeepRejects();
      errors_.Try([&] { notes_.End(result_, outcomes_.figures()); });
      RemoveSource();
    }
    errors_.Try([&] { reader_.CloseSource(); });
    Report();
    return std::move(result_);
  }

  RunErrors& errors() { return errors_; }

 private:
  void Begin();
  void Prepare();
  void PassOver();
  void ImportRecords();
  bool HasRecord();
  // The source's, counted from 1: the one at hand or, between two rounds, the next.
  std::int32_t RecordNumber() const { return result_.skipped + result_.records + 1; }
  void ShowProgressText();
  bool FetchNewRecord();
  void WorkOnRecord();
  bool IsSuspectedDuplicate(bool same_object);
  void HoldBack();
  bool IsOnlyChecked() const { return session_.TestMode; }
  const char* TakingMember() const { return IsOnlyChecked() ? "CheckRecord" : "ImportRecord"; }
  void HandOver();
  void ReadResult();
  void CountRecord();
  void CountSourceEnd();
  void TellLateErrors();
  void TellLateUpdates();
  void KeepRejects();
  std::string WhyNotReached() const;
  void RemoveSource();
  // Whose the errors are that ErrorCode tells.
  enum class Told { kBeforeARecord, kOfTheRecord, kLate };
  // Reads ErrorCode and counts what it tells.
  void CheckImportClass(std::string_view function, Told told);
  ErrorScope ReadScope(Told told);
  std::string NamesOf(const ErrorScope& scope) const;
  Recordset& Record();
  void AskForStop();
  void TakeFigures();
  void Report();
  void TellStop();
  void Tell(const std::string& text);

  ActiveImport& import_;
  Session& session_;
  RunView& view_;
  const RunSettings& settings_;
  RejectView* reject_view_;
  const std::unique_ptr<Rejects>& rejects_;
  const bool& abort_requested_;
  const int& abort_requests_;
  ProfileStore::Watched specification_;
  RunNotes notes_;
  RunOutcomes outcomes_;
  RunErrors errors_;
  SourceReader reader_;
  RecordAssembly assembly_;
  LookAhead look_ahead_;
  RunWaits waits_;
  RunResult result_;
  // What the import class gives as a reason to stop, also where the user has stopped before.
  std::string host_failure_;
  ProgressText progress_text_;
  bool had_specification_ = false;
  bool has_first_record_ = true;  // the one that the settings begin with
  bool stands_on_last_ = false;   // the source does, though that one was worked through

  // Members called for every record.
  BoundMember get_new_record_;
  BoundMember import_record_;
  BoundMember error_code_;
  // Optional ones.
  std::optional<BoundMember> next_late_error_;
  std::optional<BoundMember> error_first_record_;
  std::optional<BoundMember> error_last_record_;
  std::optional<BoundMember> stop_reason_;
  std::optional<BoundMember> import_result_;
  std::optional<BoundMember> check_record_;
  std::optional<BoundMember> error_field_;
  std::optional<BoundMember> next_late_update_;
  std::int32_t late_errors_ = 0;
  MatchDetails match_details_;
  std::int64_t own_address_type_ = 0;

  RecordsetPtr source_;
  // The record of this round: as the import class knows it, and as a record set (null where it is none).
  Value record_value_;
  std::shared_ptr<Recordset> record_;
};

void RunSteps::Begin() {
  had_specification_ = FileExists(session_.SpecFile);
  own_address_type_ = GetAddressType(session_);
  errors_.Try([&] {
    next_late_error_ = FindOptional(session_.ImportClass, "NextLateError");
    error_first_record_ = FindOptional(session_.ImportClass, "ErrorFirstRecord");
    error_last_record_ = FindOptional(session_.ImportClass, "ErrorLastRecord");
    stop_reason_ = FindOptional(session_.ImportClass, "StopReason");
    import_result_ = FindOptional(session_.ImportClass, "ImportResult");
    next_late_update_ = FindOptional(session_.ImportClass, "NextLateUpdate");
    check_record_ = FindOptional(session_.ImportClass, "CheckRecord");
    error_field_ = FindOptional(session_.ImportClass, "ErrorField");
    match_details_.AskClass(session_.ImportClass);
    notes_.Find(session_.ImportClass);
  });
  errors_.Try([&] { LetProperty(session_.ImportClass, "SpecificationFile", session_.SpecFile); });
  Value cancel(false);
  errors_.Try([&] { CallMethod(session_.ImportClass, "BeforeImport", ByRef(cancel)); });
  errors_.Try([&] { result_.cancelled = cancel.ToBool(); });
}

void RunSteps::Prepare() {
  errors_.Try([&] { BackUpSourceFile(session_); });
  errors_.Try([&] { view_.Yield(); });
  waits_.Watch(session_.SourceConnection);
  errors_.Try([&] { reader_.OpenSourceRecordset(); });
  waits_.Watch(session_.SourceConnection);
  errors_.Try([&] {
    const std::int64_t count = reader_.SourceRecordCount();
    if (count != static_cast<std::int32_t>(count)) throw RuntimeError(ErrorNumber::kOverflow);
    result_.total = static_cast<std::int32_t>(count);
  });
  if (reject_view_ != nullptr) reject_view_->Open();
  errors_.Try([&] { source_ = reader_.SourceMoveFirst(); });
  errors_.Try([&] { notes_.Start(session_); });
  if (settings_.from > 1) PassOver();
  progress_text_.SetTotal(result_.total);
  get_new_record_ = BoundMember(session_.ImportClass, "GetNewRecord");
  import_record_ = BoundMember(session_.ImportClass, "ImportRecord");
  error_code_ = BoundMember(session_.ImportClass, "ErrorCode");
}

void RunSteps::PassOver() {
  while (result_.skipped < settings_.from - 1 && HasRecord() && !abort_requested_) {
    errors_.Try([&] { source_ = reader_.SourceMoveNext(); });
    ++result_.skipped;
    errors_.Try([&] { view_.Yield(); });
  }
  outcomes_.Skip(result_.skipped);
  if (result_.skipped > 0) Trap([&] { notes_.PassOver(result_.skipped); }, [](const RuntimeError&) {});
  if (HasRecord() || abort_requested_ || reader_.end().error) return;
  has_first_record_ = false;
  result_.stop_reason = "Die Quelle hat nur " + Counted(result_.skipped, "Datensatz", "Datensätze") +
                        "; Datensatz " + std::to_string(settings_.from) + " gibt es nicht.";
}

void RunSteps::ImportRecords() {
  while (HasRecord()) {
    if (abort_requested_) {
      result_.aborted = true;
      break;
    }
    if (!errors_.stop_reason().empty()) {
      result_.stop_reason = errors_.stop_reason();
      break;
    }
    errors_.AtRecord(RecordNumber());
    outcomes_.Begin(RecordNumber());
    ShowProgressText();
    if (!FetchNewRecord()) {
      outcomes_.Abandon();
      break;
    }
    WorkOnRecord();
    CountRecord();
    outcomes_.End();
    if (!result_.stop_reason.empty()) {
      stands_on_last_ = true;
      break;
    }
    errors_.Try([&] { source_ = reader_.SourceMoveNext(); });
    // A source that cannot count says 0 or less; then only its end ends the rounds.
    if (result_.total > 0 && RecordNumber() - 1 > result_.total) break;
  }
  result_.aborted |= abort_requested_ && reader_.end().error.has_value();
  errors_.AtRecord(0);
  assembly_.Forget();
  source_.reset();
  record_.reset();
  record_value_ = Value();
}

// A source that could not be opened at all has no end to reach; it has no record either.
bool RunSteps::HasRecord() {
  bool has_record = false;
  errors_.Try([&] { has_record = source_ != nullptr && !reader_.SourceEOF() && !reader_.end().error; });
  return has_record;
}

void RunSteps::ShowProgressText() {
  errors_.Try([&] { view_.Yield(); });
  errors_.Try([&] { view_.SetInfo(progress_text_.For(RecordNumber() - 1)); });
  errors_.Try([&] { view_.Yield(); });
}

// False where the import class says that going on is senseless.
bool RunSteps::FetchNewRecord() {
  Value fetched;
  errors_.Try([&] { fetched = get_new_record_.Call(); });
  // Many classes deliver one object for all records; what it is need not be found out again then.
  if (record_ == nullptr || fetched != record_value_) {
    record_.reset();
    record_value_ = std::move(fetched);
    errors_.Try([&] { record_ = std::dynamic_pointer_cast<Recordset>(record_value_.ToObject()); });
  }
  CheckImportClass("GetNewRecord", Told::kBeforeARecord);
  return result_.stop_reason.empty();
}

Recordset& RunSteps::Record() {
  if (record_ == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  return *record_;
}

// One look at the specification serves the whole record: translations and duplicate settings. Where it cannot
// be read, or has gone since the run began, what the record would be made of are defaults: that is an error,
// and the record is not stored.
void RunSteps::WorkOnRecord() {
  std::optional<ProfileStore::OneLook> look;
  const auto look_once = [&] {
    look.emplace(specification_);
    if (had_specification_ && !look->found()) throw ErrorFromErrno(ENOENT, session_.SpecFile);
  };
  if (!errors_.Try(look_once)) {
    outcomes_.at_hand().fate = RecordFate::kRejected;
    return;
  }
  look_ahead_.BeforeRecord(source_);
  bool same_object = false;
  errors_.Try([&] { same_object = assembly_.Fill(source_, record_); });
  if (IsSuspectedDuplicate(same_object)) {
    HoldBack();
  } else if (IsOnlyChecked() && !check_record_) {
    outcomes_.at_hand().fate = RecordFate::kChecked;
  } else {
    look.reset();
    HandOver();
  }
}

bool RunSteps::IsSuspectedDuplicate(bool same_object) {
  bool suspected = false;
  DuplicateMatch& match = outcomes_.at_hand().duplicate_of;
  errors_.Try([&] { suspected = import_.duplicates().CheckDoublett(Record(), &match, same_object); });
  return suspected;
}

void RunSteps::HoldBack() {
  RecordOutcome& outcome = outcomes_.at_hand();
  outcome.fate = RecordFate::kHeldBack;
  errors_.NoteHeldBack();
  if (outcome.duplicate_of.address_type == own_address_type_) {
    match_details_.FindRecord(outcome.duplicate_of, outcomes_);
  }
  match_details_.Describe(outcome.duplicate_of);
  errors_.Try([&] {
    if (!import_.duplicates().WriteDoubletRows(Record(), &outcome.duplicate_of, outcome.record))
      errors_.NoteUnlogged("als Dublette zurückgehalten");
  });
}

void RunSteps::HandOver() {
  outcomes_.HandOver(IsOnlyChecked() ? RecordFate::kChecked : RecordFate::kStored);
  RecordOutcome& outcome = outcomes_.at_hand();
  BoundMember& take = IsOnlyChecked() ? *check_record_ : import_record_;
  Trap([&] { take.Call(ByRef(record_value_)); },
       [&](const RuntimeError& error) { errors_.CountRejecting(error); });
  CheckImportClass(TakingMember(), Told::kOfTheRecord);
  if (import_result_ && outcome.fate == RecordFate::kStored) errors_.Try([&] { ReadResult(); });
}

void RunSteps::ReadResult() {
  constexpr std::string_view kNew = "new ";
  constexpr std::string_view kUpdated = "updated ";
  constexpr std::string_view kOpen = "open ";
  const Value answer = import_result_->Get();
  const std::string_view result = answer.TextOrEmpty();
  RecordOutcome& outcome = outcomes_.at_hand();
  if (result.starts_with(kUpdated)) {
    outcome.fate = RecordFate::kUpdated;
    outcome.address = result.substr(kUpdated.size());
  } else if (result.starts_with(kNew)) {
    outcome.address = result.substr(kNew.size());
  }
  match_details_.NoteStored(
      result.starts_with(kOpen) ? result.substr(kOpen.size()) : std::string_view(outcome.address),
      outcomes_.handed_over());
}

void RunSteps::CheckImportClass(std::string_view function, Told told) {
  errors_.Try([&] {
    const std::int64_t code = error_code_.Get().ToInteger();
    if (code == 0) return;
    RecordError error{.number = code, .function = std::string(function)};
    errors_.Try([&] { error.text = GetProperty(session_.ImportClass, "ErrorDescription").ToText(); });
    if (error_field_) errors_.Try([&] { error.field = error_field_->Get().ToText(); });
    ErrorScope scope;
    errors_.Try([&] { scope = ReadScope(told); });
    if (!error.field.empty() && outcomes_.IsOfRecordAtHand(scope)) {
      const FieldValue value = assembly_.ValueOf(error.field);
      error.source_column = value.source_column;
      error.raw_value = value.raw_value;
    }
    // First, as the log may be where the error came from.
    if (stop_reason_ && host_failure_.empty()) errors_.Try([&] { AskForStop(); });
    errors_.Count(std::move(error), scope, NamesOf(scope));
  });
}

void RunSteps::AskForStop() {
  host_failure_ = stop_reason_->Get().ToText();
  if (!host_failure_.empty()) errors_.HoldUnlogged();
  // What could not be waited for any longer because of the abort is no reason of its own.
  if (abort_requested_) {
    result_.aborted |= !host_failure_.empty();
  } else {
    result_.stop_reason = host_failure_;
  }
}

// The records that the error just read belongs to.
ErrorScope RunSteps::ReadScope(Told told) {
  using Of = ErrorScope::Of;
  const std::int32_t handed_over = outcomes_.handed_over();
  std::int64_t first = 0;
  std::int64_t last = 0;
  if (error_first_record_) first = error_first_record_->Get().ToInteger();
  if (error_last_record_) last = error_last_record_->Get().ToInteger();
  if (first < 0) return {Of::kNoRecord};
  last = std::min<std::int64_t>(std::max(first, last), handed_over);
  if (first >= 1 && first <= last) {
    return {Of::kRecords, static_cast<std::int32_t>(first), static_cast<std::int32_t>(last), true};
  }
  if (told == Told::kBeforeARecord) return {};
  if (told == Told::kOfTheRecord) return {Of::kRejectedRecord};
  if (!error_first_record_) return {Of::kAnyRecord};
  if (handed_over == 0) return {Of::kNoRecord};
  return {Of::kRecords, handed_over, handed_over};
}

// For the log, where the import class has named the records.
std::string RunSteps::NamesOf(const ErrorScope& scope) const {
  if (!scope.named) return {};
  const std::string from = std::to_string(outcomes_.SourceRecord(scope.first));
  if (scope.first == scope.last) return "Datensatz " + from + ": ";
  return "Datensätze " + from + " bis " + std::to_string(outcomes_.SourceRecord(scope.last)) + ": ";
}

// A class that finds ever more errors can have at most one for each record, and one of its own.
void RunSteps::TellLateErrors() {
  if (!next_late_error_) return;
  const bool abort_was_requested = abort_requested_;
  errors_.Try([&] {
    while (late_errors_ <= outcomes_.handed_over() && next_late_error_->Call().ToBool()) {
      ++late_errors_;
      CheckImportClass(TakingMember(), Told::kLate);
      errors_.Try([&] { view_.Yield(); });
      if (abort_requested_ == abort_was_requested) continue;
      result_.aborted = true;
      throw RuntimeError(ErrorNumber::kAutomation,
                         "Der Import wurde abgebrochen, bevor das Importziel alle seine Fehler genannt hat");
    }
  });
}

void RunSteps::TellLateUpdates() {
  if (!next_late_update_ || IsOnlyChecked()) return;
  errors_.Try([&] {
    for (std::int32_t asked = 0; asked < outcomes_.handed_over(); ++asked) {
      const std::int64_t record = next_late_update_->Call().ToInteger();
      if (record < 1 || record > outcomes_.handed_over()) return;
      outcomes_.Update(static_cast<std::int32_t>(record));
    }
  });
}

void RunSteps::CountSourceEnd() {
  result_.source_end = reader_.end();
  if (result_.source_end.error) errors_.Count(*result_.source_end.error);
}

std::string RunSteps::WhyNotReached() const {
  if (!result_.stop_reason.empty()) return "nicht verarbeitet: " + result_.stop_reason;
  return result_.aborted ? "nicht verarbeitet: Der Import wurde abgebrochen." : "nicht verarbeitet";
}

// Before the source may be removed, as records held back are no errors.
void RunSteps::KeepRejects() {
  const auto keep = [&] {
    if (stands_on_last_) reader_.SourceMoveNext();
    const std::int32_t missing = reject_view_->Close(reader_, RecordNumber(), WhyNotReached(), abort_requests_);
    result_.rejects = rejects_->count();
    if (!settings_.rejects_file.empty()) rejects_->WriteTo(settings_.rejects_file);
    if (missing == 0) return;
    result_.rejects_error =
        "Die abgelehnten Datensätze sind unvollständig, da abgebrochen wurde: Ab Datensatz " +
        std::to_string(missing) + " der Quelle fehlen sie.";
    Tell(result_.rejects_error);
  };
  Trap(keep, [&](const RuntimeError& error) {
    result_.rejects_error = error.Description();
    errors_.Count(error);
    Tell("Die abgelehnten Datensätze konnten nicht gesichert werden: " + error.Description());
  });
}

void RunSteps::RemoveSource() {
  result_.errors = errors_.count();
  errors_.Try([&] { result_.source_kept = RemoveSourceFile(session_, result_); });
  if (!result_.source_kept.empty()) Tell(result_.source_kept);
}

void RunSteps::CountRecord() {
  ++result_.records;
  errors_.Try([&] {
    if (result_.total == 0) throw RuntimeError(ErrorNumber::kDivisionByZero);
    if (result_.total > 0) view_.SetProgress(100.0 / result_.total * (RecordNumber() - 1));
  });
}

void RunSteps::TakeFigures() {
  const RunFigures& figures = result_.figures = outcomes_.figures();
  result_.duplicates = figures.held_back();
  result_.stored = figures.stored();
  result_.updated = figures.updated();
  result_.rejected = figures.rejected();
  result_.checked = figures.checked();
  result_.unlogged = errors_.unlogged();
  result_.unlogged_count = errors_.unlogged_count();
  const auto told = static_cast<std::int32_t>(result_.unlogged.size());
  if (result_.unlogged_count > told) {
    Tell("Nicht im Protokoll: " + std::to_string(result_.unlogged_count - told) + " weitere");
  }
}

// What the view cannot show still stands in the result; an error of its own would have to be told, too.
void RunSteps::Tell(const std::string& text) {
  Trap([&] { view_.Tell(text); }, [](const RuntimeError&) {});
}

void RunSteps::TellStop() {
  const std::string& reason = result_.stop_reason.empty() ? host_failure_ : result_.stop_reason;
  if (!reason.empty()) {
    const std::string text = StopText(result_, reason);
    if (!view_.ShowsResult()) {
      errors_.Try([&] { session_.platform.ui.MessageBox(text, kTitle, Icon::kStop, Buttons::kOk); });
    } else if (result_.aborted) {
      Tell(text);
    }
  }
  errors_.TellHeld(!IsToldByLastRecord(result_));
}

void RunSteps::Report() {
  TakeFigures();
  if (has_first_record_) result_.next_record = NextRecord(result_, settings_.from, !host_failure_.empty());
  const bool shows_boxes = !view_.ShowsResult();
  TellStop();
  result_.errors = result_.cancelled ? -1 : errors_.count();
  ClosingTexts closing = TextsAtEnd(result_);
  result_.message = std::move(closing.message);
  errors_.Try([&] { view_.SetInfo(closing.info); });
  if (!shows_boxes) return;
  errors_.Try(
      [&] { session_.platform.ui.MessageBox(result_.message, kTitle, Icon::kInformation, Buttons::kOk); });
}

}  // namespace

ImportRun::ImportRun(ActiveImport& import, RunView& view, RunSettings settings)
    : import_(import), view_(view), settings_(std::move(settings)) {}

ImportRun::~ImportRun() = default;

std::unique_ptr<Rejects> ImportRun::TakeRejects() { return std::move(rejects_); }

void ImportRun::Activate() {
  if (!first_activation_) return;
  // Set before the run, as its yields may activate the window again.
  first_activation_ = false;
  ImportStart();
}

void ImportRun::ImportStart() {
  RejectView reject_view(view_, import_.session(), rejects_);
  const bool keeps_rejects = settings_.keep_rejects || !settings_.rejects_file.empty();
  RunView& view = keeps_rejects ? static_cast<RunView&>(reject_view) : view_;
  RunSteps steps(import_, view, settings_, keeps_rejects ? &reject_view : nullptr, rejects_, abort_requested_,
                 abort_requests_);
  result_ = steps.Execute();
  steps.errors().Try([&] { view_.CloseWindow(); });
  if (!settings_.stays_open) steps.errors().Try([&] { DeleteWorkingCopy(import_.session()); });
  import_.End();
}

}  // namespace kestrel
