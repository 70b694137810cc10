// ksDoubLb.DoubletFunctions: duplicate keys, see duplicate_keys.h.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "kestrel/bound_object.h"
#include "keys/duplicate_keys.h"

namespace kestrel::host {

class DoubletFunctions final : public BoundObject<DoubletFunctions> {
 public:
  explicit DoubletFunctions(std::shared_ptr<KeyMemory> keys) : keys_(std::move(keys)) {}
  static void Bind(Members& members) { members.Method("BuildDoubletKey", &DoubletFunctions::BuildKey); }

 private:
  std::string BuildKey(std::string_view code, std::string_view key_text) {
    return std::string(keys_->Build(code, key_text));
  }

  std::shared_ptr<KeyMemory> keys_;
};

}  // namespace kestrel::host
