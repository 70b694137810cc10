// A database connection. Each provider is one folder under providers/; which one serves a connection
// string is told in open_connection.h.
//
// Invariants
//  1. One statement a call: a text that holds a second statement is refused (3000) before anything runs.
//  2. Texts go in and come out as UTF-8. '?' marks a parameter in Prepare, for every provider.
//  3. Errors of the database are 3000 with the database's own reason; a closed connection is 3704.
//  4. A connection, its statements and its record sets are used by one thread at a time. Record sets and
//     statements keep what they need of the connection alive.
//  5. Attachments may have a thread of their own (a write group has one that commits). Providers with
//     transactions therefore hold CallMutex() during every call that reaches the database.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/attachments.h"
#include "kestrel/connection_mutex.h"
#include "kestrel/export.h"
#include "kestrel/recordset.h"
#include "kestrel/waits.h"

namespace kestrel {

// A table of a source's catalog.
struct CatalogTable {
  std::string name;  // as a statement names it, without quotes
  // "TABLE", "VIEW", "SYSTEM TABLE" or what else the source calls it.
  std::string type;
};

// What a person should know of a source before reading it.
struct SourceRemark {
  std::string column;  // that it is about; empty where it is about the whole
  std::string text;    // German, in sentences
};

// What differs between the databases behind connections.
enum class Dialect { kOther, kSqlite };

// What a caller may count on beyond what every connection does.
struct Capabilities {
  // Of the statements that it takes.
  Dialect dialect = Dialect::kOther;
  // A statement that fails takes back its own changes and no others.
  bool atomic_statements = false;
  // Attachments are told of every query before it runs, its statements' queries included.
  bool announces_queries = false;
};

// A statement with parameters, prepared once and executed often. Parameter indexes count from 0.
class KESTREL_EXPORT Statement {
 public:
  Statement() = default;
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  virtual ~Statement() = default;

  // Bound values stay until bound again. A text is not copied: it must live until Execute or Open returns
  // (a record set from Open has taken what it needs).
  virtual void BindText(std::size_t parameter, std::string_view text) = 0;
  virtual void BindInteger(std::size_t parameter, std::int64_t number) = 0;
  virtual void BindDouble(std::size_t parameter, double number) = 0;
  virtual void BindNull(std::size_t parameter) = 0;

  // Runs a statement that returns no rows; the number of rows changed.
  virtual std::int64_t Execute() = 0;
  // Runs a query. The record set is at its first row or at its end.
  virtual RecordsetPtr Open() = 0;
};

class Pipeline;

// An open connection; OpenConnection makes one. Without another word a call raises what the invariants tell.
class KESTREL_EXPORT Connection : public Object {
 public:
  // Runs one statement that returns no rows; the number of rows changed.
  virtual std::int64_t Execute(std::string_view sql) = 0;
  // Runs one query; the record set is at its first row or at its end. A provider may keep the compiled
  // form of a query and use it again for a text that differs only in its text literals.
  virtual RecordsetPtr OpenRecordset(std::string_view sql) = 0;
  // Compiles one statement. 438 where a source can only be read.
  virtual std::unique_ptr<Statement> Prepare(std::string_view sql);

  // Does not change while the connection is open.
  virtual Capabilities capabilities() const { return {}; }
  // For statements that need no answer each: between providers that come with the component and the sample host. It
  // lives as long as the connection; null where the database wants to be waited for, and with all other providers.
  virtual Pipeline* pipeline() { return nullptr; }

  // Transactions do not nest: Begin inside one is 3000. After a failed Commit the transaction is rolled back. Error
  // 438 where the source has none.
  virtual void Begin();
  virtual void Commit();
  virtual void Rollback();
  virtual bool InTransaction() const { return false; }

  // Returns when everything committed is where the end of the machine's power does not reach it. Error 3000.
  virtual void MakeDurable() {}

  // Why further calls are bound to fail as the last one did (a full disk, a lost connection, a lock that nobody
  // gives up), with a way out, in sentences; empty where the next call has no less chance than ever.
  virtual std::string StopReason() const { return {}; }
  // Has `watch` asked during waits, from the calling thread only; null for nobody. It lives until the next call.
  void WatchWaits(WaitWatch* watch) {
    const std::lock_guard lock(*call_mutex_);
    waits_->SetWatch(watch);
  }
  // For work of many calls, again and again during it: asks the watch, which shows `reason` as for a wait. False where it
  // says no: the work is to end.
  bool GoesOn(std::string_view reason) const {
    const std::lock_guard lock(*call_mutex_);
    return waits_->GoOn(std::chrono::steady_clock::now(), Waits::kAnswerLimit, reason);
  }

  // The catalog, in the source's own order. An unknown table is 3000.
  virtual std::vector<CatalogTable> Tables() = 0;
  virtual std::vector<std::string> ColumnNames(std::string_view table) = 0;
  // What of a table is not as it looks: columns that cannot be read and that ColumnNames leaves out (each with
  // its name), records that are missing. Of the catalog where `table` is empty.
  virtual std::vector<SourceRemark> Remarks(std::string_view) { return {}; }

  // Closing twice is no error.
  virtual void Close() = 0;
  virtual bool IsOpen() const = 0;

  // What others keep with this connection until it closes.
  Attachments& attachments() { return attachments_; }
  // Held during calls by whoever shares the connection with a thread of his own (invariant 5).
  ConnectionMutex& CallMutex() const { return *call_mutex_; }

  // Connections are used through this interface, not by member name.
  std::optional<MemberId> FindMember(std::string_view) const override { return std::nullopt; }
  Value Invoke(MemberId, CallKind, std::span<Argument>) override { return LacksMember(); }

 protected:
  // For statements and record sets, which may outlive the connection.
  const std::shared_ptr<ConnectionMutex>& SharedCallMutex() const { return call_mutex_; }
  const std::shared_ptr<Waits>& SharedWaits() const { return waits_; }

 private:
  std::shared_ptr<Waits> waits_ = std::make_shared<Waits>();
  std::shared_ptr<ConnectionMutex> call_mutex_ = std::make_shared<ConnectionMutex>(waits_);
  Attachments attachments_;
};

// Connections are shared by those who use them.
using ConnectionPtr = std::shared_ptr<Connection>;

// The connection behind an object: 91 for none, 438 for an object that is no connection.
KESTREL_EXPORT Connection& RequireConnection(const ObjectPtr& object);

}  // namespace kestrel
