#include "platform/data/providers/postgres/session.h"

#include <libpq-fe.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "platform/base/number.h"
#include "platform/base/runtime_error.h"
#include "platform/base/text.h"
#include "platform/data/providers/postgres/parameter_text.h"

namespace kestrel::postgres {

namespace {

constexpr std::size_t kMostPrepared = 100;
// Rows that are read away before a query is cancelled.
constexpr int kRowsReadAway = 1000;
constexpr std::size_t kShortestHiddenPassword = 3;
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

[[noreturn]] void Refuse(std::string_view reason) {
  throw RuntimeError(ErrorNumber::kDatabase,
                     std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " + std::string(reason));
}

std::string Field(const PGresult* result, int field) {
  const char* text = PQresultErrorField(result, field);
  return text == nullptr ? std::string() : text;
}

// libpq ends its messages with a line end.
std::string Trimmed(const char* message) {
  std::string text(message);
  text.resize(text.find_last_not_of(" \r\n") + 1);
  return ReplaceAll(text, "\n", " ");
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

void CloseSession::operator()(pg_conn* session) const { PQfinish(session); }
void ClearResult::operator()(pg_result* result) const { PQclear(result); }

Session::Session(const std::vector<Option>& options, std::string password,
                 std::shared_ptr<std::recursive_mutex> mutex)
    : mutex_(std::move(mutex)), password_(std::move(password)) {
  std::vector<const char*> keys, values;
  for (const auto& [key, value] : options) {
    keys.push_back(key.c_str());
    values.push_back(value.c_str());
  }
  keys.push_back(nullptr);
  values.push_back(nullptr);
  handle_.reset(PQconnectdbParams(keys.data(), values.data(), 1));
  if (handle_ == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
  if (PQstatus(handle_.get()) != CONNECTION_OK) {
    std::string reason = Trimmed(PQerrorMessage(handle_.get()));
    if (password_.size() >= kShortestHiddenPassword) reason = ReplaceAll(reason, password_, "***");
    Refuse(reason);
  }
  // Notices are for people at a terminal.
  PQsetNoticeProcessor(
      handle_.get(), [](void*, const char*) {}, nullptr);
  if (PQenterPipelineMode(handle_.get()) == 0) Refuse(Trimmed(PQerrorMessage(handle_.get())));
}

// --- Sending -----------------------------------------------------------------------------------------

void Session::AskFor(const char* sql) {
  if (PQsendQueryParams(handle_.get(), sql, 0, nullptr, nullptr, nullptr, nullptr, 0) == 0) {
    Refuse(Trimmed(PQerrorMessage(handle_.get())));
  }
}

std::string Session::AskForPrepared(std::string_view sql) {
  const auto kept =
      std::find_if(prepared_.begin(), prepared_.end(), [&](const Prepared& entry) { return entry.sql == sql; });
  if (kept != prepared_.end()) {
    prepared_.splice(prepared_.begin(), prepared_, kept);
    return prepared_.front().name;
  }
  if (prepared_.size() == kMostPrepared) {
    AskFor(("DEALLOCATE " + prepared_.back().name).c_str());
    ++preliminaries_;
    prepared_.pop_back();
  }
  prepared_.push_front({std::string(sql), "k" + std::to_string(++names_)});
  is_new_ = true;
  const Prepared& made = prepared_.front();
  if (PQsendPrepare(handle_.get(), made.name.c_str(), made.sql.c_str(), 0, nullptr) == 0) {
    prepared_.pop_front();
    Refuse(Trimmed(PQerrorMessage(handle_.get())));
  }
  return made.name;
}

void Session::SendPacket(std::string_view sql, ParameterValues& values, Task task) {
  if (reader_ != nullptr) reader_->Park();
  if (sql.find('\0') != std::string_view::npos) Refuse("Die Anweisung enthält ein NUL-Zeichen.");
  const std::string first_word = FirstWord(sql);
  if (first_word.empty()) Refuse("Die Anweisung ist leer.");
  // Its answers are of another kind than those of every other statement.
  if (first_word == "COPY") Refuse("COPY ist nicht zulässig.");
  sql_ = sql;
  is_new_ = false;
  preliminaries_ = 0;
  failure_.reset();
  guarded_ = in_transaction_ && !SteersTransactions(first_word);
  if (guarded_) {
    AskFor(kSavepoint);
    ++preliminaries_;
  }
  const int count = static_cast<int>(values.size());
  if (IsWorthKeeping(first_word)) {
    const std::string name = AskForPrepared(sql);
    if (task == Task::kRun) {
      if (is_new_) ++preliminaries_;
      if (PQsendQueryPrepared(handle_.get(), name.c_str(), count, values.Pointers(), nullptr, nullptr, 0) ==
          0) {
        Refuse(Trimmed(PQerrorMessage(handle_.get())));
      }
    }
  } else if (PQsendQueryParams(handle_.get(), sql_.c_str(), count, nullptr, values.Pointers(), nullptr, nullptr,
                               0) == 0) {
    Refuse(Trimmed(PQerrorMessage(handle_.get())));
  }
  if (guarded_) AskFor(kRelease);
  if (PQpipelineSync(handle_.get()) == 0) Refuse(Trimmed(PQerrorMessage(handle_.get())));
}

// --- Answers -----------------------------------------------------------------------------------------

bool Session::NoteIfFailed(ResultPtr& result) {
  const ExecStatusType status = PQresultStatus(result.get());
  if (status == PGRES_PIPELINE_ABORTED) return true;
  if (status != PGRES_FATAL_ERROR && status != PGRES_BAD_RESPONSE) return false;
  if (failure_ == nullptr) failure_ = std::move(result);
  return true;
}

std::int64_t Session::FinishPacket() {
  std::int64_t changed = 0;
  while (true) {
    ResultPtr result(PQgetResult(handle_.get()));
    if (result == nullptr) {
      // Between two answers, or no answer will come any more.
      if (PQstatus(handle_.get()) == CONNECTION_OK) continue;
      in_transaction_ = false;
      if (failure_ == nullptr) failure_.reset(PQmakeEmptyPGresult(handle_.get(), PGRES_FATAL_ERROR));
      break;
    }
    if (PQresultStatus(result.get()) == PGRES_PIPELINE_SYNC) {
      const PGTransactionStatusType status = PQtransactionStatus(handle_.get());
      in_transaction_ = status == PQTRANS_INTRANS || status == PQTRANS_INERROR;
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
    ResultPtr result(PQgetResult(handle_.get()));
    if (result == nullptr) {
      if (PQstatus(handle_.get()) == CONNECTION_OK && failure_ == nullptr) {
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
  if (guarded_ && in_transaction_) {
    AskFor(kUndo);
    AskFor(kRelease);
    PQpipelineSync(handle_.get());
    is_new_ = false;
    FinishPacket();
    failure_.reset();
  }
  if (PQstatus(handle_.get()) != CONNECTION_OK) {
    Refuse("Die Verbindung zum Server ist abgebrochen: " + Trimmed(PQerrorMessage(handle_.get())));
  }
  Refuse(ReasonOf(failure.get()));
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

void Session::Commit() {
  ParameterValues none;
  Execute("COMMIT", none);
  if (undone_) Refuse("Die Transaktion war fehlgeschlagen und ist zurückgenommen.");
}

void Session::Prepare(std::string_view sql) {
  if (!IsWorthKeeping(FirstWord(sql))) return;
  ParameterValues none;
  SendPacket(sql, none, Task::kPrepare);
  FinishPacket();
  if (failure_ != nullptr) UndoAndFail();
}

void Session::Send(std::string_view sql, ParameterValues& values, AnswerReader& reader) {
  const auto attempt = [&] {
    SendPacket(sql, values, Task::kRun);
    if (!SkipPreliminaries()) return;
    PQsetSingleRowMode(handle_.get());
    first_.reset(PQgetResult(handle_.get()));
    if (first_ == nullptr || NoteIfFailed(first_)) FinishPacket();
  };
  attempt();
  if (WasOutOfDate()) {
    Forget(sql);
    attempt();
  }
  if (failure_ != nullptr) UndoAndFail();
  reader_ = &reader;
}

ResultPtr Session::NextRow() {
  ResultPtr result = first_ != nullptr ? std::move(first_) : ResultPtr(PQgetResult(handle_.get()));
  if (result != nullptr && PQresultStatus(result.get()) == PGRES_SINGLE_TUPLE) return result;
  reader_ = nullptr;
  if (result != nullptr) NoteIfFailed(result);
  FinishPacket();
  if (failure_ != nullptr) UndoAndFail();
  return result;
}

void Session::Abandon(const AnswerReader& reader) {
  if (!IsReading(reader)) return;
  const auto read_away = [&] {
    for (int rows = 0; reader_ != nullptr; ++rows) {
      if (rows == kRowsReadAway) {
        const std::unique_ptr<PGcancel, decltype(&PQfreeCancel)> cancel(PQgetCancel(handle_.get()),
                                                                        &PQfreeCancel);
        std::array<char, 256> reason{};
        PQcancel(cancel.get(), reason.data(), static_cast<int>(reason.size()));
      }
      NextRow();
    }
  };
  // The cancelled query's own error, or a connection that is gone: the next statement tells.
  Trap(read_away, [](const RuntimeError&) {});
}

}  // namespace kestrel::postgres
