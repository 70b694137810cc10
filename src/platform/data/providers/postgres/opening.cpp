#include "platform/data/providers/postgres/opening.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <thread>

#include "kestrel/runtime_error.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "platform/data/providers/postgres/error_texts.h"

namespace kestrel::postgres {

namespace {

using Clock = std::chrono::steady_clock;
using Words = std::vector<std::pair<std::string, std::string>>;

constexpr std::size_t kShortestHiddenPassword = 3;
// How often an attempt looks whether somebody still waits for it, and for how long its end is waited for then.
constexpr std::chrono::milliseconds kLookAgain{10};
constexpr std::chrono::milliseconds kLongestEnd{200};
// libpq's own least value of connect_timeout.
constexpr std::int64_t kShortestTimeout = 2;

[[noreturn]] void Refuse(const std::string& reason) {
  throw RuntimeError(ErrorNumber::kDatabase,
                     std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " + reason);
}

// What is told as 0 would never end.
std::string LockTimeout(std::chrono::milliseconds lock_limit) {
  return "'" + std::to_string(std::max<std::int64_t>(lock_limit.count(), 1)) + "'";
}

// A statement that changes settings and has no rows.
std::string WithoutRows(const std::string& settings) {
  return "SELECT 1 FROM (SELECT " + settings + " AS made OFFSET 0) AS settings WHERE made IS NULL";
}

// set_config(..), each with `is_local`, one after the other with `separator`.
std::string Settings(std::chrono::milliseconds lock_limit, const std::string& is_local,
                     const std::string& separator) {
  const std::pair<const char*, std::string> settings[] = {
      {"datestyle", "'ISO'"},
      {"bytea_output", "'hex'"},
      {"extra_float_digits", "'1'"},
      {"standard_conforming_strings", "'on'"},
      {"lock_timeout", LockTimeout(lock_limit)},
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

// --- The attempt: as libpq's own PQconnectdbParams, but that it can be given up ------------------------

enum class End { kOpen, kFailed, kTooLate, kGivenUp };

HandlePtr StartOpening(const Words& words) {
  std::vector<const char*> keys, values;
  for (const auto& [key, value] : words) {
    keys.push_back(key.c_str());
    values.push_back(value.c_str());
  }
  keys.push_back(nullptr);
  values.push_back(nullptr);
  HandlePtr handle(PQconnectStartParams(keys.data(), values.data(), 1));
  if (handle == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
  return handle;
}

// What the attempt goes by, whoever has said it: the words, a URL, the environment, a service.
std::string SettingOf(pg_conn* handle, std::string_view name) {
  const std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> options(PQconninfo(handle),
                                                                             &PQconninfoFree);
  if (options == nullptr) throw RuntimeError(ErrorNumber::kOutOfMemory);
  for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option) {
    if (option->keyword == name && option->val != nullptr) return option->val;
  }
  return {};
}

// For each address of a host; none without a limit.
std::optional<std::chrono::seconds> TimeoutOf(pg_conn* handle) {
  const std::string text = SettingOf(handle, "connect_timeout");
  if (text.empty()) return std::nullopt;
  const auto seconds = ParseWholeNumber(TrimBlanks(text));
  if (!seconds) Refuse("connect_timeout ist keine Zahl von Sekunden: '" + text + "'");
  if (*seconds <= 0) return std::nullopt;
  return std::chrono::seconds(std::max(*seconds, kShortestTimeout));
}

std::string PlaceOf(pg_conn* handle) {
  const auto text = [](const char* part) { return std::string(part == nullptr ? "" : part); };
  return text(PQhost(handle)) + '\n' + text(PQhostaddr(handle)) + '\n' + text(PQport(handle));
}

End WaitForOpening(pg_conn* handle, const std::atomic<bool>& is_given_up) {
  if (PQstatus(handle) == CONNECTION_BAD) return End::kFailed;
  const auto timeout = TimeoutOf(handle);
  Clock::time_point begin = Clock::now();
  std::string place = PlaceOf(handle);
  PostgresPollingStatusType wants = PGRES_POLLING_WRITING;
  while (wants != PGRES_POLLING_OK) {
    if (wants == PGRES_POLLING_FAILED) return End::kFailed;
    struct pollfd socket {};
    socket.fd = PQsocket(handle);
    socket.events = wants == PGRES_POLLING_READING ? POLLIN : POLLOUT;
    const int ready = ::poll(&socket, 1, static_cast<int>(kLookAgain.count()));
    if (is_given_up) return End::kGivenUp;
    if (ready > 0) {
      wants = PQconnectPoll(handle);
      if (is_given_up) return End::kGivenUp;
      if (std::string next = PlaceOf(handle); next != place) {
        place = std::move(next);
        begin = Clock::now();
      }
    } else if (timeout && Clock::now() - begin >= *timeout) {
      return End::kTooLate;
    }
  }
  return End::kOpen;
}

// The words that leave the hosts behind the one that an attempt was at; none where that is the last.
std::optional<Words> HostsBehind(pg_conn* tried) {
  const std::pair<const char*, std::string> at[] = {
      {"host", PQhost(tried)}, {"hostaddr", PQhostaddr(tried)}, {"port", PQport(tried)}};
  std::vector<std::vector<std::string>> lists;
  std::size_t count = 0;
  for (const auto& [name, value] : at) {
    auto& list = lists.emplace_back();
    const std::string setting = SettingOf(tried, name);
    for (const std::string_view entry : Split(setting, ',')) list.emplace_back(entry);
    count = std::max(count, list.size());
  }
  const auto is_at = [&](std::size_t place) {
    for (std::size_t i = 0; i < lists.size(); ++i) {
      // One port is that of all hosts.
      if (lists[i].size() != count || lists[i][place].empty()) continue;
      if (lists[i][place] != at[i].second) return false;
    }
    return true;
  };
  std::size_t place = 0;
  while (place < count && !is_at(place)) ++place;
  if (place + 1 >= count) return std::nullopt;
  Words words;
  for (std::size_t i = 0; i < lists.size(); ++i) {
    if (lists[i].size() != count) continue;
    std::string rest;
    for (std::size_t behind = place + 1; behind < count; ++behind) {
      rest.append(behind == place + 1 ? "" : ",").append(lists[i][behind]);
    }
    words.emplace_back(at[i].first, std::move(rest));
  }
  return words;
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

HandlePtr OpenHandle(const Address& address, const std::atomic<bool>& is_given_up) {
  Words words = address.options;
  std::string reason;
  HandlePtr handle = StartOpening(words);
  End end = WaitForOpening(handle.get(), is_given_up);
  while (end == End::kTooLate) {
    reason += PQerrorMessage(handle.get()) + std::string("timeout expired\n");
    const std::optional<Words> behind = HostsBehind(handle.get());
    if (!behind) break;
    // Of two equal words the later one counts.
    words.insert(words.end(), behind->begin(), behind->end());
    handle = StartOpening(words);
    end = WaitForOpening(handle.get(), is_given_up);
  }
  if (end != End::kOpen) {
    if (end == End::kFailed) reason += PQerrorMessage(handle.get());
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

HandlePtr OpenHandle(const Address& address) { return OpenHandle(address, false); }

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

Opening::Opening(const Address& address) {
  std::packaged_task<Opened()> open([address, is_given_up = is_given_up_] {
    Opened opened;
    Trap([&] { opened.handle = OpenHandle(address, *is_given_up); },
         [&](const RuntimeError& error) { opened.error = error; });
    return opened;
  });
  opened_ = open.get_future();
  std::thread(std::move(open)).detach();
}

Opening::~Opening() {
  *is_given_up_ = true;
  if (opened_.valid()) opened_.wait_for(kLongestEnd);
}

bool Opening::HasEnded(std::chrono::milliseconds wait) const {
  return opened_.wait_for(wait) == std::future_status::ready;
}

HandlePtr Opening::Take() {
  Opened opened = opened_.get();
  if (opened.error) throw RuntimeError(*opened.error);
  return std::move(opened.handle);
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
  return WithoutRows(Settings(lock_limit, "true", " || "));
}

std::string LockWaitSetting(std::chrono::milliseconds lock_limit) {
  return WithoutRows("set_config('lock_timeout', " + LockTimeout(lock_limit) + ", true)");
}

}  // namespace kestrel::postgres
