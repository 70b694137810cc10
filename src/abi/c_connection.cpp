#include "abi/c_connection.h"

#include <utility>

#include "abi/callbacks.h"

namespace kestrel::abi {

namespace {

[[noreturn]] void Refuse(const std::string& reason) {
  throw RuntimeError(ErrorNumber::kDatabase,
                     std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " + reason);
}

kestrel_value ValueOfKind(std::int32_t kind) {
  kestrel_value value{};
  value.size = sizeof value;
  value.kind = kind;
  return value;
}

class CStatement final : public Statement {
 public:
  CStatement(std::shared_ptr<CConnection> connection, std::string_view sql)
      : connection_(std::move(connection)), sql_(sql) {}

  void BindText(std::size_t parameter, std::string_view text) override {
    At(parameter, KESTREL_STRING).as.text = ToText(text);
  }
  void BindInteger(std::size_t parameter, std::int64_t number) override {
    At(parameter, KESTREL_INTEGER).as.integer = number;
  }
  void BindDouble(std::size_t parameter, double number) override {
    At(parameter, KESTREL_DOUBLE).as.real = number;
  }
  void BindNull(std::size_t parameter) override { At(parameter, KESTREL_NULL); }

  std::int64_t Execute() override { return connection_->ExecuteWith(sql_, values_); }
  RecordsetPtr Open() override { return connection_->OpenWith(sql_, values_); }

 private:
  // How many there are only the program's database knows.
  kestrel_value& At(std::size_t parameter, std::int32_t kind) {
    if (parameter >= values_.size()) values_.resize(parameter + 1, ValueOfKind(KESTREL_NULL));
    return values_[parameter] = ValueOfKind(kind);
  }

  const std::shared_ptr<CConnection> connection_;
  const std::string sql_;
  std::vector<kestrel_value> values_;
};

}  // namespace

template <class Function, class... Arguments>
void CConnection::Call(Function function, Arguments... arguments) {
  if (!is_open_) throw RuntimeError(ErrorNumber::kObjectClosed);
  if (!library_.IsOfThisThread()) Refuse("Die Datenbank des Programms gehört einem anderen Thread.");
  if (function == nullptr) {
    LacksMember();
    return;
  }
  const std::uint64_t failures = library_.failures();
  const std::int32_t status = function(functions_.context, library_.handle(), arguments...);
  if (status != KESTREL_OK) RaiseCallbackFailure(library_, status, failures);
}

template <class Function, class... Arguments>
RecordsetPtr CConnection::CallForRows(Function function, Arguments... arguments) {
  kestrel_handle handle = 0;
  Call(function, arguments..., &handle);
  RecordsetPtr rows = library_.RequireKind<Recordset>(handle, "Datensatzgruppe");
  library_.handles.Remove(handle);
  return rows;
}

std::int64_t CConnection::ExecuteWith(std::string_view sql, std::span<const kestrel_value> parameters) {
  std::int64_t changed = 0;
  Call(functions_.execute, ToText(sql), parameters.data(), parameters.size(), &changed);
  return changed;
}

RecordsetPtr CConnection::OpenWith(std::string_view sql, std::span<const kestrel_value> parameters) {
  attachments().BeforeQuery();
  return CallForRows(functions_.query, ToText(sql), parameters.data(), parameters.size());
}

std::unique_ptr<Statement> CConnection::Prepare(std::string_view sql) {
  return std::make_unique<CStatement>(shared_from_this(), sql);
}

void CConnection::Begin() {
  if (in_transaction_) Refuse("Eine Transaktion ist schon offen.");
  attachments().Flush();
  Call(functions_.begin);
  in_transaction_ = true;
}

void CConnection::Commit() {
  // One that fails has rolled back.
  in_transaction_ = false;
  Call(functions_.commit);
}

void CConnection::Rollback() {
  in_transaction_ = false;
  Call(functions_.rollback);
}

std::vector<CatalogTable> CConnection::Tables() {
  std::vector<CatalogTable> tables;
  if (functions_.tables == nullptr) return tables;
  const RecordsetPtr rows = CallForRows(functions_.tables);
  const std::size_t name = rows->RequireColumn("Name");
  const std::size_t type = rows->RequireColumn("Type");
  for (; !rows->IsEof(); rows->MoveNext()) {
    tables.push_back({std::string(rows->TextAt(name)), std::string(rows->TextAt(type))});
  }
  return tables;
}

std::vector<std::string> CConnection::ColumnNames(std::string_view table) {
  const RecordsetPtr rows = CallForRows(functions_.columns, ToText(table));
  const std::size_t name = rows->RequireColumn("Name");
  std::vector<std::string> names;
  for (; !rows->IsEof(); rows->MoveNext()) names.emplace_back(rows->TextAt(name));
  return names;
}

void CConnection::Close() {
  if (!is_open_) return;
  Trap([&] { attachments().Drop(*this); }, [](const RuntimeError&) {});
  if (in_transaction_) Trap([&] { Rollback(); }, [](const RuntimeError&) {});
  is_open_ = false;
  if (functions_.close != nullptr) functions_.close(functions_.context);
}

}  // namespace kestrel::abi

using namespace kestrel::abi;

int32_t kestrel_connection_create(kestrel_library* library, const kestrel_database* database,
                                  kestrel_handle* connection) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(connection, "connection");
    const kestrel_database functions = Read(database, "database");
    if (functions.execute == nullptr || functions.query == nullptr)
      RaiseArgument("'execute' oder 'query' ist NULL.");
    target = open.handles.Add(std::make_shared<CConnection>(open, functions));
  });
}
