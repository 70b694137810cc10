#include "duplicates/host_settings.h"

#include <algorithm>

#include "component/session.h"
#include "kestrel/component_registry.h"
#include "kestrel/host_components.h"

namespace kestrel {

void HostSettings::Read(Session& session, std::initializer_list<Wanted> settings) {
  const auto read = [&] {
    if (!IsUnchanged(session)) Begin(session);
    for (const Wanted& wanted : settings) wanted.text = TextOf(wanted.name);
    if (!*tells_generation_) component_.reset();
  };
  // After a failure nothing is known.
  Trap(read, [this](const RuntimeError&) {
    component_.reset();
    throw;
  });
}

bool HostSettings::IsUnchanged(const Session& session) {
  return component_ != nullptr && connection_ == session.HostConnection && generation_.Get() == told_;
}

void HostSettings::Begin(Session& session) {
  component_.reset();
  texts_.clear();
  ObjectPtr component = session.platform.components.CreateObject(kSettingsComponent);
  Value connection(session.HostConnection);
  CallMethod(component, "Init", 0, ByRef(connection));
  session.HostConnection = connection_ = connection.ToObject();
  constexpr const char* kGeneration = "Generation";
  if (!tells_generation_) tells_generation_ = component->FindMember(kGeneration).has_value();
  if (*tells_generation_) {
    generation_ = BoundMember(component, kGeneration);
    // Before the settings, so that a change meanwhile shows in the next question.
    told_ = generation_.Get();
  }
  component_ = std::move(component);
}

const std::string& HostSettings::TextOf(const char* name) {
  constexpr const char* kGroup = "Adressindex";
  const auto found =
      std::ranges::find(texts_, std::string_view(name), [](const auto& text) { return text.first; });
  if (found != texts_.end()) return found->second;
  Value result("");
  CallMethod(component_, "GetSetting", kGroup, name, ByRef(result), "Standard", "Standard", "0");
  return texts_.emplace_back(name, result.ToText()).second;
}

}  // namespace kestrel
