// The settings of the duplicate check: those of the specification and those of the host.
#include <utility>

#include "duplicates/address_kind.h"
#include "duplicates/duplicate_check.h"
#include "duplicates/trap_in_function.h"
#include "platform/base/number.h"
#include "spec/profile_access.h"

namespace kestrel {

namespace {

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

}  // namespace

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
  std::string text;
  const bool read = TrapInFunction(session_, "isDoublettIndex", [&] {
    kept_.host.Read(session_, {{"Doubletindex", text}});
  });
  return read && text == "1";
}

// The specification's own, else the host's. A setting that the host lacks reads as "0".
double DuplicateCheck::Threshold() {
  if (settings_.threshold) return *settings_.threshold;
  std::string text;
  kept_.host.Read(session_, {{kThreshold, text}});
  if (text == "0") return Confirmation::kDefaultThreshold;
  return ReadThreshold(text, "den Einstellungen zu Adressindex").value_or(Confirmation::kDefaultThreshold);
}

void DuplicateCheck::GetDoubletAlgorithmCode(std::string& code1, std::string& code2, std::string& code3) {
  const bool read = TrapInFunction(session_, "GetDoubletAlgorithmCode", [&] {
    kept_.host.Read(session_,
                    {{"AlgorithmCode1", code1}, {"AlgorithmCode2", code2}, {"AlgorithmCode3", code3}});
  });
  if (!read) {
    code1.clear();
    code2.clear();
    code3.clear();
  }
}

}  // namespace kestrel
