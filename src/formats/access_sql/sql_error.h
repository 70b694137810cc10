// Why a piece of Access's SQL cannot be run here. All are error 3000.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "kestrel/runtime_error.h"

namespace kestrel::access_sql {

// It does not name the query yet; who reads the query adds that.
class SqlError final : public RuntimeError {
 public:
  // `offset`: the byte of the text at which it was found, where it was the text.
  explicit SqlError(std::string reason, std::optional<std::size_t> offset = std::nullopt)
      : RuntimeError(ErrorNumber::kDatabase, std::move(reason)), offset_(offset) {}

  std::optional<std::size_t> offset() const noexcept { return offset_; }

 private:
  std::optional<std::size_t> offset_;
};

// What helps where a query cannot be run here.
inline constexpr const char* kMakeTable =
    "Bitte in Access mit einer Tabellenerstellungsabfrage eine Tabelle aus ihr machen und diese angeben.";

// The error for a query that cannot be run, naming it, why, and what to do. A reason of whole sentences (with a
// full stop) says that itself.
RuntimeError QueryError(const std::string& query, const std::string& reason, const char* advice = kMakeTable);

}  // namespace kestrel::access_sql
