// One session with the server, shared by a connection and everything that came from it.
//
// Invariants
//  1. Everything goes through the extended protocol, one statement a text; the server refuses a second one.
//  2. Inside a transaction every statement has a savepoint around it, sent in the same packet as the statement:
//     one that fails leaves the transaction as it was, at no further round trip. Statements that steer
//     transactions are sent bare.
//  3. At most one answer is being read. Whatever is sent next, the end of the pipeline included, parks it first: its
//     owner takes the rest of the rows off the wire.
//  4. Statements are prepared at their first use and kept by their text, up to 100 of them. A kept one is
//     prepared anew at its 16th, 32nd, 64th ... use: the server plans it for the size that its table has at the
//     time, and a plan made for an empty table reads the whole table once it has grown.
//  5. Statements of the pipeline are sent without waiting, inside one savepoint for all of them since the
//     first. Queries follow them in the same savepoint, so that an answer costs one round trip and nothing
//     else; everything else ends them first: their answers are read, and the savepoint is released. Where one
//     of them or a query among them fails, all are rolled back, and their sender retries them one by one.
//     Rows that are copied stand in that savepoint by themselves: whatever comes next ends them first. The server takes
//     table by table, each once it has answered the one before.
//  6. Nothing sent or awaited blocks in libpq: every wait is one of WaitForAnswer, which has a limit and can be
//     stopped. A wait that ends without an answer ends the connection, as nobody knows what the answer would be.
//  7. A connection that is lost is opened again by Begin, and by the next statement where no transaction was lost
//     with it: a statement of a lost transaction never runs outside of one.
//  8. Behind a pooler nothing outlives a transaction: statements are not kept, and the settings of values and time
//     limits are made anew at the start of each.
//  9. Used under the connection's CallMutex.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection_mutex.h"
#include "kestrel/waits.h"
#include "platform/data/pipeline.h"
#include "platform/data/providers/postgres/opening.h"
#include "platform/data/providers/postgres/parameter_values.h"
#include "platform/data/recovery.h"

struct pg_result;

namespace kestrel::postgres {

struct ClearResult {
  void operator()(pg_result* result) const;
};
using ResultPtr = std::unique_ptr<pg_result, ClearResult>;

// Who reads an answer row by row.
class AnswerReader {
 public:
  AnswerReader() = default;
  AnswerReader(const AnswerReader&) = delete;
  AnswerReader& operator=(const AnswerReader&) = delete;
  virtual ~AnswerReader() = default;
  // The session is needed for something else: take the remaining rows (Session::NextRow) and keep them.
  virtual void Park() = 0;
};

// Rows for a statement that copies them, as text.
struct CopiedTable {
  std::string sql;
  std::string_view lines;
};

class Session {
 public:
  // Connects. Error 3000 with the reason, without the password.
  Session(Address address, std::shared_ptr<ConnectionMutex> mutex, std::shared_ptr<Waits> waits);

  // Works with a session that its owner keeps: as behind a pooler, and without opening it again.
  Session(HandlePtr lent, std::shared_ptr<ConnectionMutex> mutex, std::shared_ptr<Waits> waits);
  // Gives a lent session back, whoever else still has this object. Raises nothing.
  void GiveBack();

  ConnectionMutex& Mutex() const { return *mutex_; }
  bool InTransaction() const { return in_transaction_; }
  // Has `call` called before a query is sent; null for nothing. It raises nothing.
  void SetBeforeQuery(std::function<void()> call) { before_query_ = std::move(call); }

  // Runs a statement that returns no rows; the number of rows changed. `sql` has its parameters numbered.
  std::int64_t Execute(std::string_view sql, ParameterValues& values);

  // Has a statement of the pipeline prepared, and kept at least as long as a few others are. Error 3000.
  void MakeReady(std::string_view sql);
  // Sends a statement without waiting, inside a transaction. Error 3000 where it cannot be sent; what becomes
  // of it `sender` is told.
  void SendToPipeline(std::string_view sql, ParameterValues& values, PipelineSender& sender);
  // See Pipeline::Copy. The lines stay where they are until the sender is told.
  void Copy(std::vector<CopiedTable> tables, PipelineSender& sender);
  void GoOnCopying();
  // Takes the answers to all statements of the pipeline and tells their sender. Raises nothing.
  void FlushPipeline();

  // See Connection::StopReason. Of the last failure; no longer once a transaction begins, where the connection
  // lives.
  const std::string& StopReason() const { return stop_reason_; }
  // See Recovery.
  Recovery::Loss LastLoss() const { return loss_; }
  bool IsGivenUp() const { return IsLost() && loss_ == Recovery::Loss::kLasting; }
  bool IsCommitUncertain() const { return is_commit_uncertain_; }
  std::uint64_t Sessions() const { return sessions_; }
  bool IsPooled() const { return is_pooled_; }
  void TellWaitsAs(std::string_view reason) { wait_reason_ = reason; }

  // Opens the connection again where it is lost. Error 3000.
  void Begin();
  // Ends the transaction. Error 3000, also where the server could only undo it.
  void Commit();

  // Has the server compile a statement that is worth keeping; others are left to their execution. Error 3000.
  void Prepare(std::string_view sql);

  // Runs a query whose rows `reader` takes with NextRow. Error 3000.
  void Send(std::string_view sql, ParameterValues& values, AnswerReader& reader);
  // The next row, or an answer without rows at the end, which makes the session free. Either has the columns.
  // Error 3000.
  ResultPtr NextRow();
  // The reader wants no more rows. A long rest is cancelled. Raises nothing.
  void Abandon(const AnswerReader& reader) noexcept;
  bool IsReading(const AnswerReader& reader) const { return reader_ == &reader; }

 private:
  struct Prepared {
    std::string sql;
    std::string name;
    std::uint64_t uses = 0;
    std::uint64_t anew_at = 16;
  };

  // What one packet asks for.
  enum class Task { kPrepare, kRun, kQuery };

  // Takes over a new connection and makes its settings.
  void Start(HandlePtr handle);
  // Tries for the time that a lock is waited for; the waits are told. Error 3000.
  void Reconnect();
  // Makes the session free and sends a packet: a savepoint, the preparation, the statement, the release of the
  // savepoint, each where needed.
  void SendPacket(std::string_view sql, ParameterValues& values, Task task);
  // The name under which the statement is prepared; empty for one that is not kept. Asks for the preparation
  // where it is new.
  std::string AskForPrepared(std::string_view sql);
  void AskFor(const char* sql);
  // Has the server wait for locks as long as Waits tells now, until the transaction ends; the number of answers to that.
  int AdjustLockWait();
  void SendPrepared(const std::string& name, ParameterValues& values);
  void SendUnnamed(const std::string& sql, ParameterValues& values);
  std::list<Prepared>::iterator FindPrepared(std::string_view sql);
  // Runs statements that give nothing back; false where one fails.
  bool Steer(std::initializer_list<const char*> statements);
  // Takes the answers to what is copied that are there, or waits for all of them.
  void TakeAnswersToCopy(bool waits);
  void TakeAnswerToCopy();
  void SendNextLines();
  void EndCopy();
  // Undoes the statements of the pipeline and has them retried.
  void RollBackPipeline();
  // The next answer; null where there is none, or where none will come any more.
  ResultPtr NextAnswer();
  void WaitForAnswer();
  bool IsLost() const;
  bool MayAskAgain() const;
  // Notes why no answer will come.
  void Lose(const std::string& reason, bool is_stopped = false);
  void LoseBroken();
  [[noreturn]] void FailToSend();
  // Takes the answers that stand before the statement's own. False after an error, the packet then finished.
  bool SkipPreliminaries();
  // Takes the answers to the packet's end and notes its first error; the number of rows changed.
  std::int64_t FinishPacket();
  bool NoteIfFailed(ResultPtr& result);
  // After a failure: back to the savepoint, then error 3000.
  [[noreturn]] void UndoAndFail();
  // Whether the failed statement is worth a second try, as only its kept form was out of date.
  bool WasOutOfDate() const;
  void Forget(std::string_view sql);

  const Address address_;  // empty for a session that is lent
  std::shared_ptr<ConnectionMutex> mutex_;
  std::shared_ptr<Waits> waits_;
  HandlePtr handle_;  // null where a wait ended without an answer
  bool is_pooled_ = false;
  std::string settings_;  // of a transaction; for a pooler
  // The server's at the moment; empty where a savepoint may have taken it back.
  std::optional<std::chrono::milliseconds> lock_wait_;
  std::uint64_t sessions_ = 0;
  std::string lost_;  // why the connection is gone
  bool lost_transaction_ = false;
  // When the server was last tried in vain.
  std::optional<std::chrono::steady_clock::time_point> tried_in_vain_;
  std::string_view wait_reason_;  // of a wait for an answer
  Recovery::Loss loss_ = Recovery::Loss::kLasting;
  bool is_commit_uncertain_ = false;
  std::string stop_reason_;
  std::list<Prepared> prepared_;  // most recently used first
  std::uint64_t names_ = 0;
  bool in_transaction_ = false;
  std::function<void()> before_query_;

  PipelineSender* sender_ = nullptr;  // whose statements stand in the savepoint
  int pipelined_answers_ = 0;         // of theirs, not yet read
  std::vector<CopiedTable> copied_;   // by them, in place of statements
  std::size_t next_copied_ = 0;
  bool is_copying_ = false;  // answers are awaited, and the pipeline is left

  // Of the packet under way.
  AnswerReader* reader_ = nullptr;
  std::string sql_;
  bool is_new_ = false;    // the statement is prepared in this packet
  bool guarded_ = false;   // a savepoint stands around the statement
  int preliminaries_ = 0;  // answers before the statement's own
  ResultPtr first_;        // a query's first answer
  ResultPtr failure_;
  bool undone_ = false;  // the server answered with ROLLBACK
};

}  // namespace kestrel::postgres
