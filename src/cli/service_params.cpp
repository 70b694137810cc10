#include "cli/service_params.h"

#include <algorithm>

#include "cli/service_inbox.h"
#include "cli/usage_error.h"
#include "platform/base/grouped_number.h"

namespace kestrel::cli {

namespace {

// Names, paths and connection strings; what is longer is none, and looking for what was meant would take minutes.
constexpr std::size_t kLongestText = 4096;

RpcFault Invalid(const std::string& name, const std::string& why) { return {kInvalidParams, name + " " + why}; }

}  // namespace

const nlohmann::json* Params::Find(const std::string& name) {
  known_.push_back(name);
  if (!params_.is_object()) return nullptr;
  const auto found = params_.find(name);
  return found == params_.end() || found->is_null() ? nullptr : &*found;
}

std::string Params::Text(const std::string& name) {
  const nlohmann::json* value = Find(name);
  if (value == nullptr) return {};
  if (!value->is_string()) throw Invalid(name, "ist kein Text.");
  std::string text = value->get<std::string>();
  if (text.size() > kLongestText)
    throw Invalid(name, "ist länger als " + GroupedNumber(kLongestText) + " Bytes.");
  if (text.find('\0') != std::string::npos) throw Invalid(name, "enthält ein Nullzeichen.");
  return text;
}

std::string Params::RequiredText(const std::string& name) {
  std::string text = Text(name);
  if (text.empty()) throw Invalid(name, "fehlt.");
  return text;
}

bool Params::Truth(const std::string& name) {
  const nlohmann::json* value = Find(name);
  if (value == nullptr) return false;
  if (!value->is_boolean()) throw Invalid(name, "ist weder true noch false.");
  return value->get<bool>();
}

std::optional<std::int64_t> Params::Number(const std::string& name, std::int64_t least, std::int64_t most) {
  const nlohmann::json* value = Find(name);
  if (value == nullptr) return std::nullopt;
  const bool is_small =
      value->is_number_integer() && (!value->is_number_unsigned() || value->get<std::uint64_t>() <= INT64_MAX);
  if (!is_small || value->get<std::int64_t>() < least || value->get<std::int64_t>() > most) {
    throw Invalid(name,
                  "ist keine ganze Zahl von " + GroupedNumber(least) + " bis " + GroupedNumber(most) + ".");
  }
  return value->get<std::int64_t>();
}

std::int64_t Params::RequiredNumber(const std::string& name, std::int64_t least, std::int64_t most) {
  const std::optional<std::int64_t> number = Number(name, least, most);
  if (!number) throw Invalid(name, "fehlt.");
  return *number;
}

void Params::RequireNoMore() const {
  if (!params_.is_object()) return;
  for (const auto& [name, value] : params_.items()) {
    if (std::find(known_.begin(), known_.end(), name) != known_.end()) continue;
    throw Invalid("Die Angabe '" + name.substr(0, 60) + "'",
                  "gibt es hier nicht." + DidYouMean(name.substr(0, 60), known_));
  }
}

}  // namespace kestrel::cli
