// A statement whose binding only notes the values: they reach the database inside Execute and Open, under the
// connection's mutex.
#pragma once

#include <cstdint>
#include <string_view>
#include <variant>
#include <vector>

#include "kestrel/connection.h"
#include "kestrel/runtime_error.h"

namespace kestrel {

class BoundStatement : public Statement {
 public:
  // Error 9 for a parameter that the statement lacks.
  void BindText(std::size_t parameter, std::string_view text) final { At(parameter) = text; }
  void BindInteger(std::size_t parameter, std::int64_t number) final { At(parameter) = number; }
  void BindDouble(std::size_t parameter, double number) final { At(parameter) = number; }
  void BindNull(std::size_t parameter) final { At(parameter) = std::monostate(); }

 protected:
  using Bound = std::variant<std::monostate, std::int64_t, double, std::string_view>;

  void SetParameterCount(std::size_t count) { values_.resize(count); }
  const std::vector<Bound>& BoundValues() const { return values_; }

 private:
  Bound& At(std::size_t parameter) {
    if (parameter >= values_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
    return values_[parameter];
  }

  std::vector<Bound> values_;
};

}  // namespace kestrel
