// The statements that update rows of one table, by the fields that they set.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/connection.h"
#include "schema/destination.h"
#include "storage/record_values.h"

namespace kestrel::host {

class FieldUpdates {
 public:
  // Both outlive this object.
  FieldUpdates(Connection& connection, const Destination& destination)
      : connection_(connection), destination_(destination) {}

  // Its parameters are the values of the fields that are `given`, at least one, and the row's number. Error 3000.
  Statement& Of(const std::vector<bool>& given) {
    std::unique_ptr<Statement>& statement = statements_[given];
    if (statement == nullptr) {
      std::string sets;
      for (std::size_t i = 0; i < given.size(); ++i) {
        if (given[i]) sets += (sets.empty() ? "" : ", ") + destination_.fields[i].column + " = ?";
      }
      statement = connection_.Prepare(UpdateText(destination_, sets));
    }
    return *statement;
  }

 private:
  Connection& connection_;
  const Destination& destination_;
  std::map<std::vector<bool>, std::unique_ptr<Statement>> statements_;
};

}  // namespace kestrel::host
