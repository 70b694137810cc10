#include "platform/data/connection.h"

namespace kestrel {

void Statement::ExecuteLater(LateWork&) { throw RuntimeError(ErrorNumber::kMemberNotFound); }

std::unique_ptr<Statement> Connection::Prepare(std::string_view) {
  LacksMember();
  return nullptr;
}

void Connection::Begin() { LacksMember(); }
void Connection::Commit() { LacksMember(); }
void Connection::Rollback() { LacksMember(); }

void Connection::SettleCompanions() {
  for (const auto& [type, companion] : companions_) companion->Settle();
}

void Connection::TellCompanionsOfQuery() {
  for (const auto& [type, companion] : companions_) companion->BeforeQuery();
}

void Connection::DropCompanions() {
  // Dropped even where settling fails, so that none outlives the connection.
  const auto leaving = std::exchange(companions_, {});
  for (const auto& [type, companion] : leaving) companion->Settle();
}

Connection& RequireConnection(const ObjectPtr& object) {
  if (object == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  auto* connection = dynamic_cast<Connection*>(object.get());
  if (connection == nullptr) throw RuntimeError(ErrorNumber::kMemberNotFound);
  return *connection;
}

}  // namespace kestrel
