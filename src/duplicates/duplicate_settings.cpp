// The settings of the duplicate check: those of the specification and those of the host.
#include <utility>

#include "duplicates/address_kind.h"
#include "duplicates/duplicate_check.h"
#include "duplicates/trap_in_function.h"
#include "kestrel/component_registry.h"
#include "kestrel/host_components.h"
#include "platform/base/number.h"
#include "spec/profile_access.h"

namespace kestrel {

namespace {

constexpr const char* kSettingsGroup = "Adressindex";
constexpr const char* kThreshold = "DublettenSchwelle";

bool IsOn(const ProfileImage& spec, std::string_view key) {
  return GetIniString(spec, kDuplicateSection, key, "0") == "1";
}

DuplicateSettings ReadSettings(const ProfileImage& spec) {
  DuplicateSettings settings;
  settings.check_duplicates = IsOn(spec, "DublettenPruefen");
  settings.address_type_mask = Value(GetIniString(spec, kDuplicateSection, "AddresstypeCode", "0")).ToInteger();
  settings.use_key[0] = IsOn(spec, "DublettenKey1");
  settings.use_key[1] = IsOn(spec, "DublettenKey2");
  settings.use_key[2] = IsOn(spec, "DublettenKey3");
  return settings;
}

std::string ReadHostSetting(const ObjectPtr& settings, const char* name) {
  Value result("");
  CallMethod(settings, "GetSetting", kSettingsGroup, name, ByRef(result), "Standard", "Standard", "0");
  return result.ToText();
}

}  // namespace

// A new instance of the host's settings component, ready to read. The connection travels by reference, so
// what the component leaves there becomes the session's.
ObjectPtr DuplicateCheck::NewHostSettings() {
  ObjectPtr settings = session_.platform.components.CreateObject(kSettingsComponent);
  Value connection(session_.HostConnection);
  CallMethod(settings, "Init", 0, ByRef(connection));
  session_.HostConnection = connection.ToObject();
  return settings;
}

// In per cent; none where nothing is set. What is no threshold is told once and passed over: a slip of the pen must not
// turn the check off.
std::optional<double> DuplicateCheck::ReadThreshold(const std::string& text, const char* place) {
  if (text.empty()) return std::nullopt;
  const std::optional<double> threshold = ParseNumber(text);
  if (threshold && *threshold >= 0 && *threshold <= 100) return threshold;
  if (std::exchange(kept_.bad_threshold, text) == text) return std::nullopt;
  TrapInFunction(session_, "LoadDublettSettings", [&] {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                       "Die Schwelle '" + text + "' (" + kThreshold + " in " + place +
                           ") ist keine Zahl von 0 bis 100 und wird übergangen.");
  });
  return std::nullopt;
}

void DuplicateCheck::LoadDublettSettings() {
  const bool loaded = TrapInFunction(session_, "LoadDublettSettings", [&] {
    std::shared_ptr<const ProfileImage> image = profiles_.Require(session_.SpecFile);
    if (!kept_.settings.has_value() || image != kept_.settings_image) {
      kept_.settings.reset();
      kept_.overwrite_kind = nullptr;
      kept_.settings_image = std::move(image);
      kept_.settings = ReadSettings(*kept_.settings_image);
      kept_.settings->threshold = ReadThreshold(
          GetIniString(*kept_.settings_image, kDuplicateSection, kThreshold, ""), kDuplicateSection);
    }
    settings_ = *kept_.settings;
  });
  if (!loaded) settings_ = DuplicateSettings();
}

std::int64_t GetAddressType(const Session& session) {
  SessionAddressKind of_session;
  const AddressKind* kind = of_session.Of(session);
  return kind == nullptr ? 0 : kind->type_code;
}

bool DuplicateCheck::isDoublettIndex() {
  bool answer = false;
  TrapInFunction(session_, "isDoublettIndex",
                 [&] { answer = ReadHostSetting(NewHostSettings(), "Doubletindex") == "1"; });
  return answer;
}

// The specification's own, else the host's. A setting that the host lacks reads as "0".
double DuplicateCheck::Threshold() {
  if (settings_.threshold) return *settings_.threshold;
  const std::string text = ReadHostSetting(NewHostSettings(), kThreshold);
  if (text == "0") return Confirmation::kDefaultThreshold;
  return ReadThreshold(text, "den Einstellungen zu Adressindex").value_or(Confirmation::kDefaultThreshold);
}

void DuplicateCheck::GetDoubletAlgorithmCode(std::string& code1, std::string& code2, std::string& code3) {
  const bool read = TrapInFunction(session_, "GetDoubletAlgorithmCode", [&] {
    const ObjectPtr settings = NewHostSettings();
    code1 = ReadHostSetting(settings, "AlgorithmCode1");
    code2 = ReadHostSetting(settings, "AlgorithmCode2");
    code3 = ReadHostSetting(settings, "AlgorithmCode3");
  });
  if (!read) {
    code1.clear();
    code2.clear();
    code3.clear();
  }
}

}  // namespace kestrel
