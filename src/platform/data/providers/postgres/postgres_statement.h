#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/data/bound_statement.h"
#include "platform/data/providers/postgres/session.h"

namespace kestrel::postgres {

class PostgresStatement final : public BoundStatement {
 public:
  // Has the server compile the statement. Error 3000.
  PostgresStatement(std::shared_ptr<Session> session, std::string_view sql);

  std::int64_t Execute() override;
  void MakeReady();
  void SendToPipeline(PipelineSender& sender);
  RecordsetPtr Open() override;

 private:
  void WriteValues();

  std::shared_ptr<Session> session_;
  std::string sql_;
  ParameterValues values_;
};

}  // namespace kestrel::postgres
