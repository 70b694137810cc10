#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kestrel/connection.h"
#include "platform/data/literal_template.h"
#include "platform/data/pipeline.h"
#include "platform/data/providers/postgres/session.h"
#include "platform/data/recovery.h"
#include "platform/data/table_names.h"

namespace kestrel::postgres {

class PostgresConnection final : public Connection, public Recovery, private Pipeline {
 public:
  // In seconds, see Waits; empty for those of the environment.
  struct WaitLimits {
    std::string lock;
    std::string answer;
  };
  // Error 3000.
  PostgresConnection(Address address, const WaitLimits& limits);
  // Of a session that its owner keeps, with the waits of the environment. Error 3000.
  explicit PostgresConnection(HandlePtr lent);
  ~PostgresConnection() override;

  std::int64_t Execute(std::string_view sql) override;
  RecordsetPtr OpenRecordset(std::string_view sql) override;
  std::unique_ptr<Statement> Prepare(std::string_view sql) override;
  Capabilities capabilities() const override { return {.atomic_statements = true, .announces_queries = true}; }
  Pipeline* pipeline() override { return this; }
  void Begin() override;
  void Commit() override;
  void Rollback() override;
  bool InTransaction() const override;
  std::string StopReason() const override;
  // Tables and views that need no schema before their names, in the order of their names.
  std::vector<CatalogTable> Tables() override;
  // A name is looked for as it stands, then in lower case.
  std::vector<std::string> ColumnNames(std::string_view table) override;
  // An open transaction is rolled back.
  void Close() override;
  bool IsOpen() const override { return session_ != nullptr; }
  Loss LastLoss() const override;
  bool IsCommitUncertain() const override;
  bool IsGivenUp() const override;
  std::uint64_t Sessions() const override;
  bool IsPooled() const override;
  void TellWaitsAs(std::string_view reason) override;

 private:
  void MakeReady(Statement& statement) override;
  void Send(Statement& statement, PipelineSender& sender) override;
  void Copy(std::span<const CopyTo> tables, PipelineSender& sender) override;
  void GoOn() override;
  void Flush() override;
  // Error 3704 when closed.
  const std::shared_ptr<Session>& Open() const;
  void Run(std::string_view sql);

  std::shared_ptr<Session> session_;
  LiteralTemplate template_;
  const TableNames& names_ = attachments().Of<TableNames>(*this);  // as long as it is open
};

}  // namespace kestrel::postgres
