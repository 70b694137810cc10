// What others keep with a connection for as long as it is open: a write group, settings read from it.
#pragma once

#include <memory>
#include <mutex>
#include <typeindex>
#include <utility>
#include <vector>

#include "kestrel/export.h"

namespace kestrel {

// Called under the connection's CallMutex, but for the Flush before it closes.
class KESTREL_EXPORT Attachment {
 public:
  Attachment() = default;
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;
  virtual ~Attachment() = default;
  // The connection is about to begin a transaction of its caller's, or to close: finish what is pending.
  virtual void Flush() {}
  // The connection is about to run a query; told only where Capabilities::announces_queries. Raises nothing.
  virtual void BeforeQuery() {}
};

// The attachments of one connection. Of may be called from any thread, the others by the provider.
class KESTREL_EXPORT Attachments {
 public:
  // The one of that class, made by Kind(connection) at the first use and dropped when the connection closes.
  template <class Kind, class Connection>
  Kind& Of(Connection& connection) {
    const std::lock_guard lock(connection.CallMutex());
    // Nearly always it is one and the same name, and to compare what names say takes longer than what is asked for.
    for (const auto& [type, attachment] : attachments_) {
      if (type.name() == typeid(Kind).name()) return static_cast<Kind&>(*attachment);
    }
    for (const auto& [type, attachment] : attachments_) {
      if (type == typeid(Kind)) return static_cast<Kind&>(*attachment);
    }
    attachments_.emplace_back(typeid(Kind), std::make_unique<Kind>(connection));
    return static_cast<Kind&>(*attachments_.back().second);
  }

  // Every provider's Begin calls this first.
  void Flush() {
    for (const auto& [type, attachment] : attachments_) attachment->Flush();
  }
  // Providers with Capabilities::announces_queries call this before each query. Raises nothing.
  void BeforeQuery() {
    for (const auto& [type, attachment] : attachments_) attachment->BeforeQuery();
  }
  // Every provider's Close calls this first, and its destructor calls Close. The attachments are flushed without
  // the CallMutex, as one may wait for a thread that needs it.
  template <class Connection>
  void Drop(const Connection& connection) {
    // Dropped even where flushing fails, so that none outlives the connection.
    std::unique_lock lock(connection.CallMutex());
    const auto leaving = std::exchange(attachments_, {});
    lock.unlock();
    for (const auto& [type, attachment] : leaving) attachment->Flush();
  }

 private:
  std::vector<std::pair<std::type_index, std::unique_ptr<Attachment>>> attachments_;
};

}  // namespace kestrel
