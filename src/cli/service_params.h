// What a request is given, member by member. Each raises RpcFault with kInvalidParams, which names the member.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::cli {

class Params {
 public:
  // An object, or null for none; outlives this one.
  explicit Params(const nlohmann::json& params) : params_(params) {}

  // Empty where it is missing or null.
  std::string Text(const std::string& name);
  std::string RequiredText(const std::string& name);
  // False where it is missing or null.
  bool Truth(const std::string& name);
  // Both bounds included.
  std::optional<std::int64_t> Number(const std::string& name, std::int64_t least, std::int64_t most);
  std::int64_t RequiredNumber(const std::string& name, std::int64_t least, std::int64_t most);
  // That nothing is given but what has been asked for: a misspelt option would silently not hold.
  void RequireNoMore() const;

 private:
  const nlohmann::json* Find(const std::string& name);

  const nlohmann::json& params_;
  std::vector<std::string> known_;
};

}  // namespace kestrel::cli
