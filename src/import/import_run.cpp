// Invariants
//  1. Statement by statement: each statement that can fail is run through RunErrors::Try, so that a failure
//     is counted and logged once and the next statement follows. Nothing ends a run but its own rules.
//  2. `records` counts the source records worked through; it grows after a record was handed over, held
//     back or (in test mode) only checked. `duplicates` counts the records held back.
//  3. The error count is never set back. A failed backup therefore keeps the source file.
//  4. A record object serves one round. It is released before the next is asked for, so that no record is
//     stored twice where GetNewRecord fails.
//  5. ErrorCode is read exactly once after GetNewRecord and after ImportRecord.
//
// Transitions
//  1. begin    SpecificationFile, BeforeImport. The cancel flag -> 6 (no backup, no records).
//  2. prepare  backup of the source file, one yield, the source is opened and counted, first record.
//  3. rounds   while the source has a record: a noted abort -> 6; progress text between two yields;
//              GetNewRecord; assembly; duplicate check; ImportRecord; progress; next record. The rounds
//              also end when more records came than were counted.
//  4. after    Errors that came to light late, where the import class has a member for them (NextLateError);
//              AfterImport.
//  5. remove   the source file, after a run without an error.
//  6. close    the source and the records are released.
//  7. report   label and message box by the counters.
//  8. finished the window closes, the working copy is deleted.
#include "import/import_run.h"

#include <charconv>
#include <limits>

#include "duplicates/duplicates.h"
#include "import/record_assembly.h"
#include "import/run_errors.h"
#include "import/source_file.h"
#include "log/import_log.h"
#include "sources/source_reader.h"
#include "spec/specification.h"

namespace kestrel {

namespace {

constexpr const char* kTitle = "KESTREL Import";

// "Importiere Datensatz 4 von 12", written into one buffer for all records.
class ProgressText {
 public:
  void SetTotal(std::int32_t total) { behind_ = " von " + std::to_string(total); }

  std::string_view For(std::int32_t record) {
    text_.resize(kInFront.size() + std::numeric_limits<std::int32_t>::digits10 + 2);
    char* const number = text_.data() + kInFront.size();
    const char* const end = std::to_chars(number, text_.data() + text_.size(), record).ptr;
    text_.resize(static_cast<std::size_t>(end - text_.data()));
    return text_.append(behind_);
  }

 private:
  static constexpr std::string_view kInFront = "Importiere Datensatz ";
  std::string text_{kInFront};
  std::string behind_;
};

class RunSteps {
 public:
  RunSteps(Session& session, RunView& view, const bool& abort_requested)
      : session_(session), view_(view), abort_requested_(abort_requested), errors_(session) {}

  RunResult Execute() {
    ResetLogs(session_);
    Begin();
    if (!result_.cancelled) {
      Prepare();
      ImportRecords();
      TellLateErrors();
      if (!result_.aborted) {
        errors_.Try([&] { CallMethod(session_.ImportClass, "AfterImport"); });
        errors_.Try([&] { RemoveSourceFile(session_, errors_.count()); });
      }
    }
    errors_.Try([&] { CloseSource(session_); });
    Report();
    return std::move(result_);
  }

  RunErrors& errors() { return errors_; }

 private:
  void Begin();
  void Prepare();
  void ImportRecords();
  bool HasRecord();
  void ShowProgressText();
  void FetchNewRecord();
  bool IsSuspectedDuplicate();
  void HandOver();
  void TellLateErrors();
  void CountRecord();
  void CheckImportClass(std::string_view function);
  Recordset& Record();
  void Report();

  Session& session_;
  RunView& view_;
  const bool& abort_requested_;
  RunErrors errors_;
  RunResult result_;
  ProgressText progress_text_;

  // Members called for every record.
  BoundMember get_new_record_;
  BoundMember import_record_;
  BoundMember error_code_;

  RecordsetPtr source_;
  // The record of this round: as the import class knows it, and as a record set (null where it is none).
  Value record_value_;
  std::shared_ptr<Recordset> record_;
};

void RunSteps::Begin() {
  errors_.Try([&] { LetProperty(session_.ImportClass, "SpecificationFile", session_.SpecFile); });
  Value cancel(false);
  errors_.Try([&] { CallMethod(session_.ImportClass, "BeforeImport", ByRef(cancel)); });
  errors_.Try([&] { result_.cancelled = cancel.ToBool(); });
}

void RunSteps::Prepare() {
  errors_.Try([&] { BackUpSourceFile(session_); });
  errors_.Try([&] { view_.Yield(); });
  errors_.Try([&] { OpenSourceRecordset(session_); });
  errors_.Try([&] {
    const std::int64_t count = SourceRecordCount(session_);
    if (count != static_cast<std::int32_t>(count)) throw RuntimeError(ErrorNumber::kOverflow);
    result_.total = static_cast<std::int32_t>(count);
  });
  errors_.Try([&] { source_ = SourceMoveFirst(session_); });
  progress_text_.SetTotal(result_.total);
  get_new_record_ = BoundMember(session_.ImportClass, "GetNewRecord");
  import_record_ = BoundMember(session_.ImportClass, "ImportRecord");
  error_code_ = BoundMember(session_.ImportClass, "ErrorCode");
}

void RunSteps::ImportRecords() {
  RecordAssembly assembly(session_, errors_);
  // Duplicate settings and translation tables are read for every record.
  const ProfileStore::OncePerTick once_per_tick(session_.profiles);
  while (HasRecord()) {
    if (abort_requested_) {
      result_.aborted = true;
      break;
    }
    ShowProgressText();
    FetchNewRecord();
    errors_.Try([&] { assembly.Fill(source_, record_); });
    if (IsSuspectedDuplicate()) {
      ++result_.duplicates;
      errors_.Try([&] { WriteDoubletRows(session_, Record()); });
    } else if (!session_.TestMode) {
      HandOver();
    }
    CountRecord();
    errors_.Try([&] { source_ = SourceMoveNext(session_); });
    // A source that cannot count says 0 or less; then only its end ends the rounds.
    if (result_.total > 0 && result_.records > result_.total) break;
  }
  source_.reset();
  record_.reset();
  record_value_ = Value();
}

// A source that could not be opened at all has no end to reach; it has no record either.
bool RunSteps::HasRecord() {
  bool has_record = false;
  errors_.Try([&] { has_record = source_ != nullptr && !SourceEOF(session_); });
  return has_record;
}

void RunSteps::ShowProgressText() {
  errors_.Try([&] { view_.Yield(); });
  errors_.Try([&] { view_.SetInfo(progress_text_.For(result_.records)); });
  errors_.Try([&] { view_.Yield(); });
}

void RunSteps::FetchNewRecord() {
  record_.reset();
  record_value_ = Value();
  errors_.Try([&] { record_value_ = get_new_record_.Call(); });
  errors_.Try([&] { record_ = std::dynamic_pointer_cast<Recordset>(record_value_.ToObject()); });
  CheckImportClass("GetNewRecord");
}

Recordset& RunSteps::Record() {
  if (record_ == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  return *record_;
}

bool RunSteps::IsSuspectedDuplicate() {
  bool suspected = false;
  errors_.Try([&] { suspected = CheckDoublett(session_, Record()); });
  return suspected;
}

void RunSteps::HandOver() {
  errors_.Try([&] { import_record_.Call(ByRef(record_value_)); });
  CheckImportClass("ImportRecord");
}

void RunSteps::CheckImportClass(std::string_view function) {
  errors_.Try([&] {
    const std::int64_t code = error_code_.Get().ToInteger();
    if (code == 0) return;
    std::string description;
    errors_.Try([&] { description = GetProperty(session_.ImportClass, "ErrorDescription").ToText(); });
    errors_.Count(code, description, function);
  });
}

void RunSteps::TellLateErrors() {
  errors_.Try([&] {
    constexpr const char* kMember = "NextLateError";
    if (session_.ImportClass == nullptr || !session_.ImportClass->FindMember(kMember)) return;
    while (CallMethod(session_.ImportClass, kMember).ToBool()) CheckImportClass("ImportRecord");
  });
}

void RunSteps::CountRecord() {
  ++result_.records;
  errors_.Try([&] {
    if (result_.total == 0) throw RuntimeError(ErrorNumber::kDivisionByZero);
    view_.SetProgress(100.0 / result_.total * result_.records);
  });
}

void RunSteps::Report() {
  result_.errors = result_.cancelled ? -1 : errors_.count();
  const std::string records = std::to_string(result_.records);
  const std::string total = std::to_string(result_.total);
  std::string duplicates;
  if (result_.duplicates >= 1) {
    duplicates = "\r\nEs wurden " + std::to_string(result_.duplicates) +
                 " Adressen wegen Dublettenverdacht nicht importiert. Bitte prüfen Sie das Dublettenprotokoll!";
  }

  std::string info;
  if (result_.cancelled) {
    info = result_.message = "Der Vorgang wurde vom Benutzer abgebrochen!";
  } else if (result_.errors != 0) {
    info = "Beim Importieren der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese über die Protokolle!";
    result_.message = info + duplicates;
  } else if (result_.records == result_.total) {
    info = "Der Import wurde erfolgreich fertig gestellt.";
    result_.message = info + duplicates;
  } else {
    // The box has no blank behind the total, the label has one.
    info = "Der Import hat " + records + " von " + total + " Datensätzen erfolgreich importiert.";
    result_.message =
        "Der Import hat " + records + " von " + total + "Datensätzen erfolgreich importiert." + duplicates;
  }
  errors_.Try([&] { view_.SetInfo(info); });
  errors_.Try(
      [&] { session_.platform.ui.MessageBox(result_.message, kTitle, Icon::kInformation, Buttons::kOk); });
}

}  // namespace

void ImportRun::Activate() {
  if (!first_activation_) return;
  // Set before the run, as its yields may activate the window again.
  first_activation_ = false;
  ImportStart();
}

bool ImportRun::RequestClose() {
  if (!finished_) abort_requested_ = true;
  return finished_;
}

void ImportRun::ImportStart() {
  RunSteps steps(session_, view_, abort_requested_);
  result_ = steps.Execute();
  finished_ = true;
  steps.errors().Try([&] { view_.CloseWindow(); });
  steps.errors().Try([&] { DeleteWorkingCopy(session_); });
}

}  // namespace kestrel
