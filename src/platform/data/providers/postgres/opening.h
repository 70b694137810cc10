// Opening a session with the server, and what every session is told first.
#pragma once

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/runtime_error.h"

struct pg_conn;

namespace kestrel::postgres {

struct CloseSession {
  // Its owner keeps it: it is given back in the mode in which it was lent.
  bool is_lent = false;
  bool was_nonblocking = false;
  void operator()(pg_conn* session) const;
};
using HandlePtr = std::unique_ptr<pg_conn, CloseSession>;

// Where the server is, and how it is asked for.
struct Address {
  // libpq's keywords; "dbname" may hold a whole URL.
  std::vector<std::pair<std::string, std::string>> options;
  // Hidden in error texts.
  std::string password;
};

// A session in pipeline mode, nothing of which blocks. Error 3000 with libpq's reason.
HandlePtr OpenHandle(const Address& address);
// One that its owner has opened and keeps, put into pipeline mode until the handle goes. Error 3000 where it is lost,
// in a transaction or a pipeline, or does not speak UTF-8.
HandlePtr Borrow(pg_conn* owned);
// The same in a thread of its own. Who has waited long enough lets this object go, and the attempt ends with it: nothing of it
// is left that could meet the end of the program, where the libraries that it needs are put away. Only the look-up of a
// host's name cannot be ended; it is left to itself, and nothing follows it.
class Opening {
 public:
  explicit Opening(const Address& address);
  ~Opening();
  Opening(const Opening&) = delete;
  Opening& operator=(const Opening&) = delete;

  // Waits so long for its end; whether it has come.
  bool HasEnded(std::chrono::milliseconds wait) const;
  // What came of it, once it has ended. Error 3000.
  HandlePtr Take();

 private:
  // The error is a value, as an exception would be shared between two threads, and its last owner could be either.
  struct Opened {
    HandlePtr handle;
    std::optional<RuntimeError> error;
  };
  const std::shared_ptr<std::atomic<bool>> is_given_up_ = std::make_shared<std::atomic<bool>>(false);
  std::future<Opened> opened_;
};

// The query that makes the settings by which values are written and limits hold, whatever the server's own are. Its
// first value is "t" where a pooler stands between (another process answers than the one that greeted); there they
// hold for the transaction alone, as they do in a session that is lent.
std::string SettingsQuery(const HandlePtr& handle, std::chrono::milliseconds lock_limit);
// The same for one transaction, without a row.
std::string TransactionSettings(std::chrono::milliseconds lock_limit);
// How long the transaction waits for each lock, likewise.
std::string LockWaitSetting(std::chrono::milliseconds lock_limit);

// libpq ends its messages with a line end.
std::string Trimmed(const char* message);

}  // namespace kestrel::postgres
