// What a connection knows of a transaction that it lost, for whoever can do its work again. Between providers that
// come with the component and the sample host, which finds it by dynamic_cast; others do not have it.
#pragma once

#include <cstdint>
#include <string_view>

#include "kestrel/export.h"

namespace kestrel {

class KESTREL_INTERNAL Recovery {
 public:
  enum class Loss {
    kLasting,   // whoever does the same again would fare the same
    kUndone,    // nothing of the transaction stands, and the next one may succeed
    kUncertain  // as kUndone, but the answer to a commit is missing: perhaps all of it stands
  };

  Recovery() = default;
  Recovery(const Recovery&) = delete;
  Recovery& operator=(const Recovery&) = delete;
  virtual ~Recovery() = default;

  // Of the last failure since a transaction began; no longer where a statement came behind it that does not steer the
  // transaction. The next Begin opens a lost connection again.
  virtual Loss LastLoss() const = 0;
  // Whether nobody has answered the last commit, and no transaction began since.
  virtual bool IsCommitUncertain() const = 0;
  // The session is lost, and a new one could not be had or is not wanted; so every call fails.
  virtual bool IsGivenUp() const = 0;
  // Counts the sessions with the server: what belonged to an earlier one, as a lock, has ended with it.
  virtual std::uint64_t Sessions() const = 0;
  // Whether nothing outlives a transaction, as a pooler hands each one to another session: neither locks nor
  // temporary tables.
  virtual bool IsPooled() const = 0;
  // What waits for answers are told as from now on, a sentence that lives as long; empty for a server that is silent.
  virtual void TellWaitsAs(std::string_view reason) = 0;
};

}  // namespace kestrel
