#include "support/json_schema.h"

#include <set>

namespace kestrel::testing {

namespace {

using nlohmann::json;

bool HasType(const json& value, const std::string& type) {
  if (type == "string") return value.is_string();
  if (type == "integer") return value.is_number_integer();
  if (type == "boolean") return value.is_boolean();
  if (type == "null") return value.is_null();
  if (type == "array") return value.is_array();
  return type == "object" && value.is_object();
}

bool HasOneOfTypes(const json& value, const json& types) {
  if (types.is_string()) return HasType(value, types);
  return std::any_of(types.begin(), types.end(), [&](const json& type) { return HasType(value, type); });
}

std::string FaultOfObject(const json& schema, const json& value, const std::string& path) {
  for (const json& name : schema.value("required", json::array())) {
    if (!value.contains(name.get<std::string>())) return path + " lacks " + name.get<std::string>();
  }
  const json properties = schema.value("properties", json::object());
  const json others = schema.value("additionalProperties", json(true));
  for (const auto& [name, member] : value.items()) {
    const std::string member_path = path + "." + name;
    if (!properties.contains(name) && others == false) return member_path + " is not described";
    const json& described = properties.contains(name) ? properties[name] : others;
    if (!described.is_object()) continue;
    if (std::string fault = SchemaFault(described, member, member_path); !fault.empty()) return fault;
  }
  return {};
}

}  // namespace

std::string SchemaFault(const json& schema, const json& value, const std::string& path) {
  static const std::set<std::string> known = {
      "$schema",    "title",    "description",          "type",  "const", "enum",
      "properties", "required", "additionalProperties", "items", "oneOf"};
  for (const auto& [keyword, unused] : schema.items()) {
    if (!known.contains(keyword)) return path + ": the schema has an unknown keyword " + keyword;
  }
  if (schema.contains("type") && !HasOneOfTypes(value, schema["type"])) return path + " is " + value.dump();
  if (schema.contains("const") && value != schema["const"]) return path + " is " + value.dump();
  if (schema.contains("enum")) {
    const json& values = schema["enum"];
    if (std::find(values.begin(), values.end(), value) == values.end()) return path + " is " + value.dump();
  }
  if (schema.contains("oneOf")) {
    int fitting = 0;
    std::string faults;
    for (const json& one : schema["oneOf"]) {
      const std::string fault = SchemaFault(one, value, path);
      if (fault.empty()) ++fitting;
      faults += "; " + fault;
    }
    if (fitting != 1) return path + " fits " + std::to_string(fitting) + " of the schemas" + faults;
  }
  if (value.is_object()) return FaultOfObject(schema, value, path);
  if (value.is_array() && schema.contains("items")) {
    for (std::size_t i = 0; i < value.size(); ++i) {
      std::string fault = SchemaFault(schema["items"], value[i], path + "[" + std::to_string(i) + "]");
      if (!fault.empty()) return fault;
    }
  }
  return {};
}

}  // namespace kestrel::testing
