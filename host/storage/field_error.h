// An error that is about one field of a destination.
#pragma once

#include <string>
#include <utility>

#include "kestrel/runtime_error.h"

namespace kestrel::host {

class FieldError final : public RuntimeError {
 public:
  FieldError(ErrorNumber number, std::string description, std::string field)
      : RuntimeError(number, std::move(description)), field_(std::move(field)) {}
  const std::string& field() const { return field_; }

 private:
  std::string field_;
};

// The field; empty for an error that is not about one.
inline std::string FieldOf(const RuntimeError& error) {
  const auto* of_field = dynamic_cast<const FieldError*>(&error);
  return of_field == nullptr ? std::string() : of_field->field();
}

}  // namespace kestrel::host
