#include "kestrel/connection.h"

namespace kestrel {

std::unique_ptr<Statement> Connection::Prepare(std::string_view) {
  LacksMember();
  return nullptr;
}

void Connection::Begin() { LacksMember(); }
void Connection::Commit() { LacksMember(); }
void Connection::Rollback() { LacksMember(); }

Connection& RequireConnection(const ObjectPtr& object) {
  if (object == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  auto* connection = dynamic_cast<Connection*>(object.get());
  if (connection == nullptr) throw RuntimeError(ErrorNumber::kMemberNotFound);
  return *connection;
}

}  // namespace kestrel
