// The host's settings (table Einstellungen), kept in memory with a connection.
//
// Settings are asked for several times a record. They are read from the table at the first question, when
// they are older than a quarter second, and after a change through Set. Every call holds the connection's CallMutex, as the
// thread that ends a write group asks for them too, but for a question that the last reading answers.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection.h"
#include "platform/data/recovery.h"
#include "schema/table_query.h"

namespace kestrel::host {

class Settings final : public Attachment {
 public:
  static constexpr std::chrono::milliseconds kGoodFor{250};

  static Settings& Of(Connection& connection) { return connection.attachments().Of<Settings>(connection); }

  // Use Of. `connection` owns this object.
  explicit Settings(Connection& connection)
      : connection_(connection),
        recovery_(dynamic_cast<const Recovery*>(&connection)),
        table_(connection, "Einstellungen") {}

  // The value, or `fallback`. Names are compared exactly. Error 3000 where the table cannot be read.
  std::string Get(std::string_view group, std::string_view name, std::string_view fallback);
  // As Get, for who asks between two records: where reading them anew fails in passing, the value that was read last. Whoever
  // stores the next record finds out, and can deal with it; within a record's own step a failure must not be passed over.
  std::string LastKnown(std::string_view group, std::string_view name, std::string_view fallback);
  // Another number whenever the table was read anew, so that what was made of the settings can be kept meanwhile. Error
  // 3000 as Get.
  std::uint64_t Generation();
  // To Generation as LastKnown to Get.
  std::uint64_t LastKnownGeneration();
  void Set(std::string_view group, std::string_view name, std::string_view value);

 private:
  struct Entry {
    std::string group;
    std::string name;
    std::string value;
  };
  bool IsFresh() const;
  void Refresh();
  void RefreshIfPossible();
  std::string Find(std::string_view group, std::string_view name, std::string_view fallback) const;

  Connection& connection_;
  const Recovery* const recovery_;
  TableQuery table_;
  std::vector<Entry> entries_;
  // Changed under the mutex; until then entries_ need not be read again. The least time: at once.
  std::atomic<std::chrono::steady_clock::time_point> good_until_ = std::chrono::steady_clock::time_point::min();
  std::atomic<std::uint64_t> generation_ = 0;
};

}  // namespace kestrel::host
