// KSBSetting.KSSettings: the host's settings, which are kept with the connection.
#pragma once

#include <optional>
#include <string_view>

#include "kestrel/bound_object.h"
#include "kestrel/connection.h"
#include "schema/settings.h"

namespace kestrel::host {

class SettingsComponent final : public BoundObject<SettingsComponent> {
 public:
  static void Bind(Members& members);

 private:
  // `kind` has one value, 0. Error 91 or 438 where `connection` is none.
  void Init(std::int64_t kind, const Value& connection);
  // Leaves the setting's text in `result`, or the default. This host does not tell users and stations apart,
  // so the two areas are "Standard" and not looked at. Error 91 before Init, 3000 from the database.
  void GetSetting(std::string_view group, std::string_view name, Value& result,
                  std::optional<std::string_view> user_area, std::optional<std::string_view> station_area,
                  std::optional<std::string_view> fallback);
  void SetSetting(std::string_view group, std::string_view name, std::string_view value);
  // Another one whenever the settings were read anew (kestrel/host_components.h). Errors as GetSetting.
  std::uint64_t Generation() const;

  // Error 91 before Init.
  Settings& HostSettings() const;

  ConnectionPtr connection_;
};

}  // namespace kestrel::host
