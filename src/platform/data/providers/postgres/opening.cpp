#include "platform/data/providers/postgres/opening.h"

#include <libpq-fe.h>

#include <thread>

#include "kestrel/runtime_error.h"
#include "platform/base/text.h"
#include "platform/data/providers/postgres/error_texts.h"

namespace kestrel::postgres {

namespace {

constexpr std::size_t kShortestHiddenPassword = 3;

[[noreturn]] void Refuse(const std::string& reason) {
  throw RuntimeError(ErrorNumber::kDatabase,
                     std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " + reason);
}

// set_config(..), each with `is_local`, one after the other with `separator`.
std::string Settings(std::chrono::milliseconds lock_limit, const std::string& is_local,
                     const std::string& separator) {
  const std::pair<const char*, std::string> settings[] = {
      {"datestyle", "'ISO'"},
      {"bytea_output", "'hex'"},
      {"extra_float_digits", "'1'"},
      {"standard_conforming_strings", "'on'"},
      {"lock_timeout", "'" + std::to_string(lock_limit.count()) + "'"},
      // A commit that is answered is on the disk, also where the server is told to hurry.
      {"synchronous_commit",
       "CASE current_setting('synchronous_commit') WHEN 'off' THEN 'on' ELSE"
       " current_setting('synchronous_commit') END"}};
  std::string text;
  for (const auto& [name, value] : settings) {
    text += (text.empty() ? "" : separator) + "set_config('" + name + "', " + value + ", " + is_local + ")";
  }
  return text;
}

// Nothing blocks from here on.
void EnterPipeline(const HandlePtr& handle) {
  if (PQenterPipelineMode(handle.get()) == 0 || PQsetnonblocking(handle.get(), 1) != 0)
    Refuse(Trimmed(PQerrorMessage(handle.get())));
}

}  // namespace

void CloseSession::operator()(pg_conn* session) const {
  if (!is_lent) {
    PQfinish(session);
    return;
  }
  PQexitPipelineMode(session);
  PQsetnonblocking(session, was_nonblocking ? 1 : 0);
}

std::string Trimmed(const char* message) {
  std::string text(message);
  text.resize(text.find_last_not_of(" \r\n") + 1);
  return ReplaceAll(text, "\n", " ");
}

HandlePtr OpenHandle(const Address& address) {
  std::vector<const char*> keys, values;
  for (const auto& [key, value] : address.options) {
    keys.push_back(key.c_str());
    values.push_back(value.c_str());
  }
  keys.push_back(nullptr);
  values.push_back(nullptr);
  HandlePtr handle(PQconnectdbParams(keys.data(), values.data(), 1));
  if (handle == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
  if (PQstatus(handle.get()) != CONNECTION_OK) {
    std::string reason = PQerrorMessage(handle.get());
    if (address.password.size() >= kShortestHiddenPassword) {
      reason = ReplaceAll(reason, address.password, "***");
    }
    Refuse(ExplainConnectionError(reason));
  }
  // Notices are for people at a terminal.
  PQsetNoticeProcessor(
      handle.get(), [](void*, const char*) {}, nullptr);
  EnterPipeline(handle);
  return handle;
}

HandlePtr Borrow(pg_conn* owned) {
  if (PQstatus(owned) != CONNECTION_OK) Refuse("Die Verbindung ist verloren.");
  if (PQtransactionStatus(owned) != PQTRANS_IDLE || PQpipelineStatus(owned) != PQ_PIPELINE_OFF)
    Refuse("In der Verbindung ist eine Transaktion oder eine Abfrage offen. Beenden Sie sie zuvor.");
  if (std::string_view(PQparameterStatus(owned, "client_encoding")) != "UTF8")
    Refuse("Die Verbindung spricht kein UTF-8. Setzen Sie client_encoding auf UTF8.");
  HandlePtr handle(owned, CloseSession{true, PQisnonblocking(owned) != 0});
  EnterPipeline(handle);
  return handle;
}

std::future<Opened> OpenHandleInBackground(const Address& address) {
  std::packaged_task<Opened()> open([address] {
    Opened opened;
    Trap([&] { opened.handle = OpenHandle(address); },
         [&](const RuntimeError& error) { opened.error = error; });
    return opened;
  });
  std::future<Opened> opened = open.get_future();
  std::thread(std::move(open)).detach();
  return opened;
}

std::string SettingsQuery(const HandlePtr& handle, std::chrono::milliseconds lock_limit) {
  return "SELECT is_pooled, " + Settings(lock_limit, "is_pooled", ", ") +
         // Statements are kept to be planned once, not at each use; older servers have no choice.
         ", (SELECT set_config(name, 'force_generic_plan', is_pooled) FROM pg_catalog.pg_settings"
         " WHERE name = 'plan_cache_mode')"
         " FROM (SELECT pg_catalog.pg_backend_pid() <> " +
         std::to_string(PQbackendPID(handle.get())) + (handle.get_deleter().is_lent ? " OR true" : "") +
         " AS is_pooled) AS session";
}

std::string TransactionSettings(std::chrono::milliseconds lock_limit) {
  return "SELECT 1 FROM (SELECT " + Settings(lock_limit, "true", " || ") +
         " AS made OFFSET 0) AS settings WHERE made IS NULL";
}

}  // namespace kestrel::postgres
