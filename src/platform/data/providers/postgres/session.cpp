#include "platform/data/providers/postgres/session.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <iterator>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "platform/data/providers/postgres/error_texts.h"
#include "platform/data/providers/postgres/parameter_text.h"
#include "platform/data/providers/postgres/patience.h"

namespace kestrel::postgres {

namespace {

constexpr std::size_t kMostPrepared = 100;
// Rows that are read away before a query is cancelled.
constexpr int kRowsReadAway = 1000;
// How long a server that could not be reached is not tried again.
constexpr std::chrono::seconds kNotTriedAgain{10};
constexpr std::string_view kSilent = "Der Datenbankserver antwortet nicht, es wird gewartet ...";
constexpr const char* kSavepoint = "SAVEPOINT kestrel_statement";
constexpr const char* kRelease = "RELEASE SAVEPOINT kestrel_statement";
constexpr const char* kUndo = "ROLLBACK TO SAVEPOINT kestrel_statement";

template <std::size_t Count>
bool IsOneOf(std::string_view word, const std::array<std::string_view, Count>& words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool SteersTransactions(std::string_view first_word) {
  static constexpr std::array<std::string_view, 8> kWords{"BEGIN",    "START",     "COMMIT",  "END",
                                                          "ROLLBACK", "SAVEPOINT", "RELEASE", "ABORT"};
  return IsOneOf(first_word, kWords);
}

bool IsWorthKeeping(std::string_view first_word) {
  static constexpr std::array<std::string_view, 6> kWords{"SELECT", "INSERT", "UPDATE",
                                                          "DELETE", "WITH",   "VALUES"};
  return IsOneOf(first_word, kWords);
}

constexpr std::string_view kCanceled = "57014";
constexpr std::string_view kLocked = "55P03";
constexpr std::string_view kUnknownEnd = "40003";

// Errors of what else goes on at the time: a deadlock, a conflict of transactions, an end of patience. The same
// transaction may succeed later.
bool IsPassing(std::string_view state) {
  static constexpr std::array<std::string_view, 4> kStates{"40001", "40P01", kUnknownEnd, kCanceled};
  return IsOneOf(state, kStates);
}

Recovery::Loss LossBy(std::string_view state) {
  if (state == kUnknownEnd) return Recovery::Loss::kUncertain;
  return IsPassing(state) ? Recovery::Loss::kUndone : Recovery::Loss::kLasting;
}

[[noreturn]] void Refuse(std::string_view reason) {
  throw RuntimeError(ErrorNumber::kDatabase,
                     std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " + std::string(reason));
}

// Without the front that Refuse puts before every reason.
std::string ReasonAlone(const RuntimeError& error) {
  const std::string front = std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": ";
  const std::string& text = error.Description();
  return text.starts_with(front) ? text.substr(front.size()) : text;
}

std::string Field(const PGresult* result, int field) {
  const char* text = PQresultErrorField(result, field);
  return text == nullptr ? std::string() : text;
}

std::string ReasonOf(const PGresult* result) {
  std::string reason = Field(result, PG_DIAG_MESSAGE_PRIMARY);
  if (reason.empty()) return Trimmed(PQresultErrorMessage(result));
  // Which value is at fault; but not the whole row, which is long and nobody's business.
  const std::string detail = Field(result, PG_DIAG_MESSAGE_DETAIL);
  if (!detail.empty() && !detail.starts_with("Failing row")) {
    reason += " (" + detail + ")";
  }
  return reason;
}

}  // namespace

void ClearResult::operator()(pg_result* result) const { PQclear(result); }

// --- Opening -----------------------------------------------------------------------------------------

Session::Session(Address address, std::shared_ptr<ConnectionMutex> mutex, std::shared_ptr<Waits> waits)
    : address_(std::move(address)), mutex_(std::move(mutex)), waits_(std::move(waits)) {
  Start(OpenHandle(address_));
}

Session::Session(HandlePtr lent, std::shared_ptr<ConnectionMutex> mutex, std::shared_ptr<Waits> waits)
    : mutex_(std::move(mutex)), waits_(std::move(waits)) {
  Start(std::move(lent));
}

void Session::GiveBack() {
  if (handle_ == nullptr || !handle_.get_deleter().is_lent) return;
  Trap(
      [&] {
        if (reader_ != nullptr) reader_->Park();
        FlushPipeline();
      },
      [](const RuntimeError&) {});
  handle_.reset();
  lost_ = "Die Verbindung ist ihrem Besitzer zurückgegeben.";
}

void Session::Start(HandlePtr handle) {
  handle_ = std::move(handle);
  prepared_.clear();
  settings_ = TransactionSettings(waits_->LockLimit());
  lock_wait_ = waits_->LockLimit();
  preliminaries_ = 0;
  is_copying_ = false;
  failure_.reset();
  is_new_ = false;
  guarded_ = false;
  const std::string query = SettingsQuery(handle_, waits_->LockLimit());
  AskFor(query.c_str());
  if (PQpipelineSync(handle_.get()) == 0) FailToSend();
  const ResultPtr settings = NextAnswer();
  const bool is_made = PQresultStatus(settings.get()) == PGRES_TUPLES_OK;
  is_pooled_ = is_made && std::string_view(PQgetvalue(settings.get(), 0, 0)) == "t";
  FinishPacket();
  if (!is_made) Refuse(IsLost() ? lost_ : ReasonOf(settings.get()));
  ++sessions_;
  lost_.clear();
  lost_transaction_ = false;
  tried_in_vain_.reset();
}

void Session::Reconnect() {
  using Clock = std::chrono::steady_clock;
  if (address_.options.empty()) Refuse(lost_);
  // Whoever comes next need not wait as long once more.
  if (tried_in_vain_ && Clock::now() - *tried_in_vain_ < kNotTriedAgain) Refuse(lost_);
  Patience patience(*waits_, waits_->LockLimit(), Patience::kGraceForASession,
                    "Die Verbindung zum Datenbankserver ist verloren und wird wiederhergestellt ...");
  const std::string lost = lost_;
  std::string reason;
  for (bool is_waiting = patience.GoesOn(); is_waiting; is_waiting = is_waiting && patience.GoesOn()) {
    Opening opening(address_);
    while (!opening.HasEnded(patience.Step()) && is_waiting) is_waiting = patience.GoesOn();
    if (!is_waiting) break;
    const auto take = [&] { Start(opening.Take()); };
    if (Trap(take, [&](const RuntimeError& error) { reason = " " + ReasonAlone(error); })) return;
    // A server that starts refuses at once.
    ::poll(nullptr, 0, static_cast<int>(patience.Step().count()));
  }
  handle_.reset();
  lost_ = lost;
  loss_ = Recovery::Loss::kLasting;
  tried_in_vain_ = Clock::now();
  Refuse(lost_ + " Sie ließ sich nicht wiederherstellen." + reason);
}

// --- Waiting -----------------------------------------------------------------------------------------

bool Session::IsLost() const { return PQstatus(handle_.get()) != CONNECTION_OK; }

void Session::Lose(const std::string& reason, bool is_stopped) {
  if (lost_.empty()) {
    lost_ = reason;
    loss_ = is_stopped ? Recovery::Loss::kLasting : Recovery::Loss::kUndone;
    stop_reason_ =
        is_stopped
            ? "Der Datenbankserver hat nicht geantwortet, bis abgebrochen wurde; die Verbindung ist getrennt."
            : "Die Verbindung zum Datenbankserver ist verloren. Stellen Sie sie wieder her, bevor Sie "
              "fortfahren.";
  }
  lost_transaction_ |= std::exchange(in_transaction_, false);
}

void Session::LoseBroken() {
  // The server's last word may have come as an answer.
  const std::string last_word = failure_ == nullptr ? std::string() : ReasonOf(failure_.get()) + "\n";
  std::string reason = "Die Verbindung zum Server ist abgebrochen: " +
                       ExplainConnectionError(last_word + PQerrorMessage(handle_.get()));
  if (!reason.ends_with('.')) reason += '.';
  Lose(reason);
}

void Session::WaitForAnswer() {
  Patience patience(
      *waits_, waits_->AnswerLimit(),
      sessions_ == 0 || !lost_.empty() ? Patience::kGraceForASession : Patience::kGraceForAnAnswer,
      wait_reason_.empty() ? kSilent : wait_reason_);
  while (PQisBusy(handle_.get()) != 0) {
    const int unsent = PQflush(handle_.get());
    struct pollfd socket {};
    socket.fd = PQsocket(handle_.get());
    socket.events = static_cast<short>(unsent > 0 ? POLLIN | POLLOUT : POLLIN);
    const int ready = ::poll(&socket, 1, static_cast<int>(patience.Step().count()));
    if (ready > 0) {
      // What is wrong with the connection, its next answer tells.
      if (PQconsumeInput(handle_.get()) == 0) return;
      patience.BeginAgain();
      continue;
    }
    if (patience.GoesOn()) continue;
    Lose(patience.WasStopped() ? "Das Warten auf den Datenbankserver wurde abgebrochen."
                               : "Der Datenbankserver hat nicht geantwortet.",
         patience.WasStopped());
    handle_.reset();
    return;
  }
}

ResultPtr Session::NextAnswer() {
  WaitForAnswer();
  return ResultPtr(PQgetResult(handle_.get()));
}

// --- Sending -----------------------------------------------------------------------------------------

// What changes nothing may be sent twice, where no transaction was lost with the first.
bool Session::MayAskAgain() const {
  return IsLost() && !lost_transaction_ && loss_ != Recovery::Loss::kLasting;
}

void Session::FailToSend() {
  if (!IsLost()) Refuse(Trimmed(PQerrorMessage(handle_.get())));
  LoseBroken();
  Refuse(lost_);
}

void Session::AskFor(const char* sql) {
  if (PQsendQueryParams(handle_.get(), sql, 0, nullptr, nullptr, nullptr, nullptr, 0) == 0) {
    FailToSend();
  }
}

void Session::SendPrepared(const std::string& name, ParameterValues& values) {
  const int count = static_cast<int>(values.size());
  if (PQsendQueryPrepared(handle_.get(), name.c_str(), count, values.Pointers(), nullptr, nullptr, 0) == 0) {
    FailToSend();
  }
}

void Session::SendUnnamed(const std::string& sql, ParameterValues& values) {
  const int count = static_cast<int>(values.size());
  if (PQsendQueryParams(handle_.get(), sql.c_str(), count, nullptr, values.Pointers(), nullptr, nullptr, 0) ==
      0) {
    FailToSend();
  }
}

std::list<Session::Prepared>::iterator Session::FindPrepared(std::string_view sql) {
  return std::find_if(prepared_.begin(), prepared_.end(),
                      [&](const Prepared& entry) { return entry.sql == sql; });
}

int Session::AdjustLockWait() {
  const std::chrono::milliseconds patience = waits_->LockPatience();
  if (patience == lock_wait_) return 0;
  AskFor(LockWaitSetting(patience).c_str());
  lock_wait_ = patience;
  return 1;
}

std::string Session::AskForPrepared(std::string_view sql) {
  Prepared fresh{std::string(sql), "k" + std::to_string(names_ + 1)};
  auto leaving = prepared_.end();
  if (const auto kept = FindPrepared(sql); kept != prepared_.end()) {
    prepared_.splice(prepared_.begin(), prepared_, kept);
    if (++kept->uses < kept->anew_at) return kept->name;
    fresh.uses = kept->uses;
    fresh.anew_at = 2 * kept->anew_at;
    leaving = kept;
  } else if (prepared_.size() == kMostPrepared) {
    leaving = std::prev(prepared_.end());
  }
  if (leaving != prepared_.end()) {
    AskFor(("DEALLOCATE " + leaving->name).c_str());
    ++preliminaries_;
    prepared_.erase(leaving);
  }
  ++names_;
  prepared_.push_front(std::move(fresh));
  is_new_ = true;
  const Prepared& made = prepared_.front();
  if (PQsendPrepare(handle_.get(), made.name.c_str(), made.sql.c_str(), 0, nullptr) == 0) {
    prepared_.pop_front();
    FailToSend();
  }
  return made.name;
}

void Session::SendPacket(std::string_view sql, ParameterValues& values, Task task) {
  if (reader_ != nullptr) reader_->Park();
  // A pipeline's flush may have found out that the server is gone, which nobody was told yet.
  if (IsLost() && in_transaction_) {
    LoseBroken();
  }
  if (task != Task::kQuery || !copied_.empty()) FlushPipeline();
  if (sql.find('\0') != std::string_view::npos) Refuse("Die Anweisung enthält ein NUL-Zeichen.");
  const std::string first_word = FirstWord(sql);
  if (first_word.empty()) Refuse("Die Anweisung ist leer.");
  // Its answers are of another kind than those of every other statement.
  if (first_word == "COPY") Refuse("COPY ist nicht zulässig.");
  if (IsLost() && !lost_transaction_) Reconnect();
  // What failed before is history, but for who is just about to undo it.
  if (!lost_transaction_ && !SteersTransactions(first_word)) loss_ = Recovery::Loss::kLasting;
  sql_ = sql;
  is_new_ = false;
  preliminaries_ = std::exchange(pipelined_answers_, 0);
  failure_.reset();
  const bool begins = first_word == "BEGIN";
  if (is_pooled_ && !in_transaction_ && !begins) {
    AskFor(settings_.c_str());
    ++preliminaries_;
  }
  // Within the savepoint of a pipeline it would end with that.
  if (sender_ == nullptr && !SteersTransactions(first_word)) preliminaries_ += AdjustLockWait();
  if (first_word == "ROLLBACK" && lock_wait_ != waits_->LockLimit()) lock_wait_.reset();
  guarded_ = in_transaction_ && sender_ == nullptr && !SteersTransactions(first_word);
  if (guarded_) {
    AskFor(kSavepoint);
    ++preliminaries_;
  }
  if (is_pooled_ && task == Task::kPrepare) {
    if (PQsendPrepare(handle_.get(), "", sql_.c_str(), 0, nullptr) == 0) FailToSend();
  } else if (!is_pooled_ && IsWorthKeeping(first_word)) {
    const std::string name = AskForPrepared(sql);
    if (task != Task::kPrepare) {
      if (is_new_) ++preliminaries_;
      SendPrepared(name, values);
    }
  } else {
    SendUnnamed(sql_, values);
  }
  if (is_pooled_ && begins) AskFor(settings_.c_str());
  if (guarded_) AskFor(kRelease);
  if (PQpipelineSync(handle_.get()) == 0) FailToSend();
}

bool Session::Steer(std::initializer_list<const char*> statements) {
  const bool sent = Trap(
      [&] {
        for (const char* statement : statements) AskFor(statement);
        if (PQpipelineSync(handle_.get()) == 0) FailToSend();
      },
      [](const RuntimeError&) {});
  failure_.reset();
  is_new_ = false;
  FinishPacket();
  return std::exchange(failure_, nullptr) == nullptr && sent;
}

// --- Answers -----------------------------------------------------------------------------------------

bool Session::NoteIfFailed(ResultPtr& result) {
  const ExecStatusType status = PQresultStatus(result.get());
  if (status == PGRES_PIPELINE_ABORTED) return true;
  if (status != PGRES_FATAL_ERROR && status != PGRES_BAD_RESPONSE) return false;
  if (Field(result.get(), PG_DIAG_SQLSTATE) == kLocked)
    waits_->LockOutlasted(lock_wait_.value_or(waits_->LockLimit()));
  if (failure_ == nullptr) failure_ = std::move(result);
  return true;
}

std::int64_t Session::FinishPacket() {
  std::int64_t changed = 0;
  while (true) {
    ResultPtr result = NextAnswer();
    if (result == nullptr) {
      // Between two answers, or no answer will come any more.
      if (!IsLost()) continue;
      LoseBroken();
      if (failure_ == nullptr) failure_.reset(PQmakeEmptyPGresult(handle_.get(), PGRES_FATAL_ERROR));
      break;
    }
    if (PQresultStatus(result.get()) == PGRES_PIPELINE_SYNC) {
      const PGTransactionStatusType status = PQtransactionStatus(handle_.get());
      in_transaction_ = status == PQTRANS_INTRANS || status == PQTRANS_INERROR;
      if (!in_transaction_) lock_wait_ = waits_->LockLimit();
      break;
    }
    if (NoteIfFailed(result)) continue;
    undone_ = std::string_view(PQcmdStatus(result.get())) == "ROLLBACK";
    // Only the statement itself tells a number; savepoints tell none.
    if (const auto rows = ParseWholeNumber(PQcmdTuples(result.get()))) changed = *rows;
  }
  if (failure_ != nullptr && is_new_) Forget(sql_);
  return changed;
}

bool Session::SkipPreliminaries() {
  for (int left = preliminaries_; left > 0;) {
    ResultPtr result = NextAnswer();
    if (result == nullptr) {
      if (!IsLost() && failure_ == nullptr) {
        --left;
        continue;
      }
      FinishPacket();
      return false;
    }
    NoteIfFailed(result);
  }
  return true;
}

void Session::Forget(std::string_view sql) {
  prepared_.remove_if([&](const Prepared& entry) { return entry.sql == sql; });
}

bool Session::WasOutOfDate() const {
  // A table behind a kept statement was changed ("cached plan must not change result type").
  return failure_ != nullptr && !is_new_ && !guarded_ && Field(failure_.get(), PG_DIAG_SQLSTATE) == "0A000";
}

void Session::UndoAndFail() {
  const ResultPtr failure = std::move(failure_);
  // The kept form may be what is wrong.
  if (Field(failure.get(), PG_DIAG_SQLSTATE) == "0A000") Forget(sql_);
  if (sender_ != nullptr) {
    RollBackPipeline();
  } else if (guarded_ && in_transaction_) {
    Steer({kUndo, kRelease});
  }
  if (IsLost()) Refuse(lost_);
  const std::string state = Field(failure.get(), PG_DIAG_SQLSTATE);
  loss_ = LossBy(state);
  stop_reason_ = StopReasonOf(state);
  Refuse(ExplainStatementError(state, ReasonOf(failure.get())));
}

// --- What others ask for -----------------------------------------------------------------------------

std::int64_t Session::Execute(std::string_view sql, ParameterValues& values) {
  SendPacket(sql, values, Task::kRun);
  std::int64_t changed = FinishPacket();
  if (WasOutOfDate()) {
    Forget(sql);
    SendPacket(sql, values, Task::kRun);
    changed = FinishPacket();
  }
  if (failure_ != nullptr) UndoAndFail();
  return changed;
}

void Session::Begin() {
  ParameterValues none;
  // What came over the lost connection ends with it.
  if (reader_ != nullptr) reader_->Park();
  FlushPipeline();
  if (IsLost()) Reconnect();
  Trap([&] { Execute("BEGIN", none); },
       [&](const RuntimeError&) {
         // That the connection was lost before shows only now.
         if (!IsLost() || loss_ == Recovery::Loss::kLasting) throw;
         Reconnect();
         Execute("BEGIN", none);
       });
  stop_reason_.clear();
  is_commit_uncertain_ = false;
  loss_ = Recovery::Loss::kLasting;
}

void Session::Commit() {
  ParameterValues none;
  // Where the transaction is lost with them, its end is certain.
  FlushPipeline();
  if (!in_transaction_) Refuse(IsLost() ? lost_ : "Die Transaktion ist zurückgenommen.");
  Trap([&] { Execute("COMMIT", none); },
       [this](const RuntimeError& error) {
         if (!IsLost()) throw error;
         if (loss_ == Recovery::Loss::kUndone) loss_ = Recovery::Loss::kUncertain;
         is_commit_uncertain_ = true;
         Refuse(lost_ + " Ob der Server noch gespeichert hat, was er zuletzt bekam, ist ungewiss.");
       });
  if (undone_) Refuse("Die Transaktion war fehlgeschlagen und ist zurückgenommen.");
}

void Session::Prepare(std::string_view sql) {
  if (!IsWorthKeeping(FirstWord(sql))) return;
  ParameterValues none;
  const auto attempt = [&] {
    SendPacket(sql, none, Task::kPrepare);
    FinishPacket();
  };
  attempt();
  if (MayAskAgain()) attempt();
  if (failure_ != nullptr) UndoAndFail();
}

void Session::Send(std::string_view sql, ParameterValues& values, AnswerReader& reader) {
  if (before_query_) before_query_();
  const auto attempt = [&] {
    SendPacket(sql, values, Task::kQuery);
    if (!SkipPreliminaries()) return;
    PQsetSingleRowMode(handle_.get());
    first_ = NextAnswer();
    if (first_ == nullptr || NoteIfFailed(first_)) FinishPacket();
  };
  attempt();
  if (MayAskAgain()) attempt();
  if (failure_ != nullptr && sender_ != nullptr) {
    // Perhaps not the query's fault.
    RollBackPipeline();
    attempt();
  }
  if (WasOutOfDate()) {
    Forget(sql);
    attempt();
  }
  if (failure_ != nullptr) UndoAndFail();
  reader_ = &reader;
}

ResultPtr Session::NextRow() {
  ResultPtr result = first_ != nullptr ? std::move(first_) : NextAnswer();
  if (result != nullptr && PQresultStatus(result.get()) == PGRES_SINGLE_TUPLE) return result;
  reader_ = nullptr;
  if (result != nullptr) NoteIfFailed(result);
  FinishPacket();
  if (failure_ != nullptr) UndoAndFail();
  return result;
}

void Session::Abandon(const AnswerReader& reader) noexcept {
  if (!IsReading(reader)) return;
  try {
    for (int rows = 0; reader_ != nullptr; ++rows) {
      if (rows == kRowsReadAway) {
        const std::unique_ptr<PGcancel, decltype(&PQfreeCancel)> cancel(PQgetCancel(handle_.get()),
                                                                        &PQfreeCancel);
        std::array<char, 256> reason{};
        PQcancel(cancel.get(), reason.data(), static_cast<int>(reason.size()));
      }
      NextRow();
    }
  } catch (const std::exception&) {
    // The cancelled query's own error, or a connection that is gone: the next statement tells.
    return;
  }
}

}  // namespace kestrel::postgres
