// What is sent without waiting for its answers: statements, and rows that are copied, which libpq does outside of a pipeline
// only.
#include <libpq-fe.h>

#include <algorithm>
#include <string>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/data/providers/postgres/session.h"

namespace kestrel::postgres {

namespace {

// Statements of the pipeline that go out together.
constexpr int kStatementsAFlush = 8;
constexpr std::size_t kBytesAtOnce = std::size_t{1} << 20;
constexpr const char* kPipelineSavepoint = "SAVEPOINT kestrel_pipeline";
constexpr const char* kPipelineRelease = "RELEASE SAVEPOINT kestrel_pipeline";
constexpr const char* kPipelineUndo = "ROLLBACK TO SAVEPOINT kestrel_pipeline";

[[noreturn]] void Fail(std::string_view reason) {
  throw RuntimeError(ErrorNumber::kDatabase,
                     std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " + std::string(reason));
}

}  // namespace

// --- Statements --------------------------------------------------------------------------------------

void Session::SendToPipeline(std::string_view sql, ParameterValues& values, PipelineSender& sender) {
  if (reader_ != nullptr) reader_->Park();
  if (sender_ != &sender || !copied_.empty()) FlushPipeline();
  if (!in_transaction_) Fail("Keine Transaktion ist offen.");
  MakeReady(sql);
  if (sender_ == nullptr) {
    pipelined_answers_ = AdjustLockWait() + 1;
    AskFor(kPipelineSavepoint);
    sender_ = &sender;
  }
  if (is_pooled_) {
    SendUnnamed(std::string(sql), values);
  } else {
    SendPrepared(prepared_.front().name, values);
  }
  // The first goes out at once, so that the server works while the next is made.
  if (++pipelined_answers_ <= 2 || pipelined_answers_ % kStatementsAFlush == 0) PQflush(handle_.get());
}

void Session::MakeReady(std::string_view sql) {
  // Were its end found out while the statement is sent, what that one holds could be stored again, and then sent.
  if (!copied_.empty()) FlushPipeline();
  auto kept = FindPrepared(sql);
  if (kept == prepared_.end() && !is_pooled_) {
    Prepare(sql);
    kept = FindPrepared(sql);
    if (kept == prepared_.end()) Fail("Die Anweisung kann nicht vorbereitet werden.");
  }
  if (kept != prepared_.end()) prepared_.splice(prepared_.begin(), prepared_, kept);
}

void Session::FlushPipeline() {
  if (sender_ == nullptr) return;
  // A query among the statements may have rows on the wire, before the answers that are taken now. Parked, one that
  // fails ends the pipeline itself.
  if (reader_ != nullptr) reader_->Park();
  if (sender_ == nullptr) return;
  if (is_copying_) TakeAnswersToCopy(true);
  const bool are_copied = !std::exchange(copied_, {}).empty();
  const bool stands =
      are_copied ? std::exchange(failure_, nullptr) == nullptr && !IsLost() : Steer({kPipelineRelease});
  if (!stands) {
    RollBackPipeline();
    return;
  }
  pipelined_answers_ = 0;
  std::exchange(sender_, nullptr)->PipelineSucceeded();
}

void Session::RollBackPipeline() {
  pipelined_answers_ = 0;
  PipelineSender* const sender = std::exchange(sender_, nullptr);
  if (in_transaction_) Steer({kPipelineUndo, kPipelineRelease});
  sender->RetryPipeline();
}

// --- Rows --------------------------------------------------------------------------------------------

void Session::Copy(std::vector<CopiedTable> tables, PipelineSender& sender) {
  if (reader_ != nullptr) reader_->Park();
  FlushPipeline();
  if (!in_transaction_) Fail("Keine Transaktion ist offen.");
  // By itself, as every statement of a pipeline has an answer of its own.
  if (waits_->LockPatience() != lock_wait_) {
    AdjustLockWait();
    Steer({});
  }
  std::string sql = kPipelineSavepoint;
  for (const CopiedTable& table : tables) sql += "; " + table.sql;
  sql.append("; ").append(kPipelineRelease);
  failure_.reset();
  if (PQexitPipelineMode(handle_.get()) == 0) FailToSend();
  if (PQsendQuery(handle_.get(), sql.c_str()) == 0) {
    PQenterPipelineMode(handle_.get());
    FailToSend();
  }
  sender_ = &sender;
  copied_ = std::move(tables);
  next_copied_ = 0;
  is_copying_ = true;
  PQflush(handle_.get());
  // It asks for rows at once, and works on them while the next are made.
  while (is_copying_ && next_copied_ == 0) TakeAnswerToCopy();
}

void Session::GoOnCopying() {
  if (!is_copying_) return;
  TakeAnswersToCopy(false);
  if (!is_copying_) FlushPipeline();
}

void Session::SendNextLines() {
  // libpq takes less at once than there may be.
  std::string_view rest = copied_[next_copied_++].lines;
  while (!rest.empty()) {
    const std::size_t some = std::min(rest.size(), kBytesAtOnce);
    if (PQputCopyData(handle_.get(), rest.data(), static_cast<int>(some)) != 1) return LoseBroken();
    rest.remove_prefix(some);
  }
  if (PQputCopyEnd(handle_.get(), nullptr) != 1) return LoseBroken();
  PQflush(handle_.get());
}

void Session::TakeAnswersToCopy(bool waits) {
  while (is_copying_) {
    if (!waits) {
      PQflush(handle_.get());
      // What is wrong with the connection, the next answer tells.
      if (PQisBusy(handle_.get()) != 0 && PQconsumeInput(handle_.get()) != 0 && PQisBusy(handle_.get()) != 0)
        return;
    }
    TakeAnswerToCopy();
  }
}

void Session::TakeAnswerToCopy() {
  ResultPtr result = NextAnswer();
  if (result == nullptr) return EndCopy();
  if (PQresultStatus(result.get()) == PGRES_COPY_IN) {
    SendNextLines();
  } else {
    NoteIfFailed(result);
  }
}

void Session::EndCopy() {
  is_copying_ = false;
  if (IsLost()) return LoseBroken();
  const PGTransactionStatusType status = PQtransactionStatus(handle_.get());
  in_transaction_ = status == PQTRANS_INTRANS || status == PQTRANS_INERROR;
  if (PQenterPipelineMode(handle_.get()) == 0) LoseBroken();
}

}  // namespace kestrel::postgres
