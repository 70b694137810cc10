// A connection to a database that the program reaches itself.
//
// Invariants
//  1. The program's functions are called in the thread of its library only; from every other one each use is 3000.
//  2. close is called once: by Close, or when the last who has the connection goes.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "abi/library.h"
#include "kestrel/connection.h"
#include "kestrel/kestrel.h"

namespace kestrel::abi {

class CConnection final : public Connection, public std::enable_shared_from_this<CConnection> {
 public:
  // The library outlives it.
  CConnection(Library& library, const kestrel_database& functions) : library_(library), functions_(functions) {}
  ~CConnection() override { Close(); }

  std::int64_t Execute(std::string_view sql) override { return ExecuteWith(sql, {}); }
  RecordsetPtr OpenRecordset(std::string_view sql) override { return OpenWith(sql, {}); }
  std::unique_ptr<Statement> Prepare(std::string_view sql) override;
  void Begin() override;
  void Commit() override;
  void Rollback() override;
  bool InTransaction() const override { return in_transaction_; }
  std::vector<CatalogTable> Tables() override;
  std::vector<std::string> ColumnNames(std::string_view table) override;
  void Close() override;
  bool IsOpen() const override { return is_open_; }

  // What statements do.
  std::int64_t ExecuteWith(std::string_view sql, std::span<const kestrel_value> parameters);
  RecordsetPtr OpenWith(std::string_view sql, std::span<const kestrel_value> parameters);

 private:
  // Calls a function of the program; raises what it failed with, 438 where there is none.
  template <class Function, class... Arguments>
  void Call(Function function, Arguments... arguments);
  // The same for one that delivers a record set.
  template <class Function, class... Arguments>
  RecordsetPtr CallForRows(Function function, Arguments... arguments);

  Library& library_;
  const kestrel_database functions_;
  bool is_open_ = true;
  bool in_transaction_ = false;
};

}  // namespace kestrel::abi
