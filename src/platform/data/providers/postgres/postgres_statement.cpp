#include "platform/data/providers/postgres/postgres_statement.h"

#include <mutex>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/data/providers/postgres/parameter_text.h"
#include "platform/data/providers/postgres/postgres_recordset.h"

namespace kestrel::postgres {

PostgresStatement::PostgresStatement(std::shared_ptr<Session> session, std::string_view sql)
    : session_(std::move(session)) {
  NumberedText numbered = NumberParameters(sql);
  sql_ = std::move(numbered.sql);
  SetParameterCount(numbered.parameters);
  const std::lock_guard lock(session_->Mutex());
  session_->Prepare(sql_);
}

void PostgresStatement::WriteValues() {
  values_.Clear();
  for (const Bound& value : BoundValues()) {
    if (const auto* text = std::get_if<std::string_view>(&value)) {
      values_.AddText(*text);
    } else if (const auto* whole = std::get_if<std::int64_t>(&value)) {
      values_.AddInteger(*whole);
    } else if (const auto* real = std::get_if<double>(&value)) {
      values_.AddDouble(*real);
    } else {
      values_.AddNull();
    }
  }
}

std::int64_t PostgresStatement::Execute() {
  const std::lock_guard lock(session_->Mutex());
  WriteValues();
  return session_->Execute(sql_, values_);
}

void PostgresStatement::MakeReady() {
  const std::lock_guard lock(session_->Mutex());
  session_->MakeReady(sql_);
}

void PostgresStatement::SendToPipeline(PipelineSender& sender) {
  const std::lock_guard lock(session_->Mutex());
  WriteValues();
  session_->SendToPipeline(sql_, values_, sender);
}

RecordsetPtr PostgresStatement::Open() {
  const std::lock_guard lock(session_->Mutex());
  WriteValues();
  return std::make_shared<PostgresRecordset>(session_, sql_, values_);
}

}  // namespace kestrel::postgres
