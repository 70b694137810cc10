#include "components/settings_component.h"

namespace kestrel::host {

void SettingsComponent::Bind(Members& members) {
  members.Method("Init", &SettingsComponent::Init);
  members.Method("GetSetting", &SettingsComponent::GetSetting);
  members.Method("SetSetting", &SettingsComponent::SetSetting);
  members.Get("Generation", &SettingsComponent::Generation);
}

void SettingsComponent::Init(std::int64_t, const Value& connection) {
  const ObjectPtr object = connection.ToObject();
  connection_ = ConnectionPtr(object, &RequireConnection(object));
}

Settings& SettingsComponent::HostSettings() const {
  if (connection_ == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  return Settings::Of(*connection_);
}

void SettingsComponent::GetSetting(std::string_view group, std::string_view name, Value& result,
                                   std::optional<std::string_view>, std::optional<std::string_view>,
                                   std::optional<std::string_view> fallback) {
  result.AssignText(HostSettings().LastKnown(group, name, fallback.value_or("")));
}

std::uint64_t SettingsComponent::Generation() const { return HostSettings().LastKnownGeneration(); }

void SettingsComponent::SetSetting(std::string_view group, std::string_view name, std::string_view value) {
  HostSettings().Set(group, name, value);
}

}  // namespace kestrel::host
