#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/data/connection.h"
#include "platform/data/providers/postgres/session.h"

namespace kestrel::postgres {

// Binding only notes the values; they are written for the server inside Execute and Open.
class PostgresStatement final : public Statement {
 public:
  // Has the server compile the statement. Error 3000.
  PostgresStatement(std::shared_ptr<Session> session, std::string_view sql);

  void BindText(std::size_t parameter, std::string_view text) override { At(parameter) = text; }
  void BindInteger(std::size_t parameter, std::int64_t number) override { At(parameter) = number; }
  void BindDouble(std::size_t parameter, double number) override { At(parameter) = number; }
  void BindNull(std::size_t parameter) override { At(parameter) = std::monostate(); }
  std::int64_t Execute() override;
  void ExecuteLater(LateWork& work) override;
  RecordsetPtr Open() override;

 private:
  using Bound = std::variant<std::monostate, std::int64_t, double, std::string_view>;
  // Error 9 for a parameter that the statement lacks.
  Bound& At(std::size_t parameter);
  void WriteValues();

  std::shared_ptr<Session> session_;
  std::string sql_;
  std::vector<Bound> bound_;
  ParameterValues values_;
};

}  // namespace kestrel::postgres
