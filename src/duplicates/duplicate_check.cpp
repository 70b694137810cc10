// The question the run asks of every record, and the keys it rests on.
#include "duplicates/duplicate_check.h"
#include "duplicates/address_kind.h"
#include "duplicates/trap_in_function.h"
#include "kestrel/component_registry.h"
#include "kestrel/host_components.h"
#include "platform/base/text.h"
#include "spec/profile_access.h"

namespace kestrel {

namespace {

std::string BuildKey(const ObjectPtr& component, std::string code, Value& key_text) {
  Value code_argument(std::move(code));
  return CallMethod(component, "BuildDoubletKey", ByRef(code_argument), ByRef(key_text)).ToText();
}

}  // namespace

bool DuplicateCheck::CheckRecord(const Recordset& record, DuplicateMatch* match) {
  LoadDublettSettings();
  // The reason has been shown.
  if (kept_.settings_image == nullptr) return false;
  const AddressKind* kind = kept_.kind.Of(session_);
  if (kind == nullptr) return false;

  KeptColumns& columns = kept_.columns;
  kept_.reference = columns.TextAt(record, KeptColumns::kReference, kind->number_field);
  kept_.group.clear();
  if (!kind->group_field.empty()) {
    kept_.group = columns.TextAt(record, KeptColumns::kGroup, kind->group_field);
  }
  const bool overwrite = Overwrites(*kind);

  // The specification's own wish first: without it the host need not have the settings component at all.
  if (!settings_.check_duplicates) {
    kept_.unwished = kept_.settings_image.get();
    return false;
  }
  if (!isDoublettIndex()) return false;
  BuildDuplicateKeyText(record, columns, kept_.group, kept_.key_text, kind->keys);
  return isDoublet(kept_.key_text, kept_.reference, kind->type_code, overwrite, match);
}

bool DuplicateCheck::Overwrites(const AddressKind& kind) {
  if (kept_.overwrite_kind != &kind) {
    kept_.overwrite = GetIniString(*kept_.settings_image, kDuplicateSection, kind.overwrite_key, "0") == "1";
    kept_.overwrite_kind = &kind;
  }
  return kept_.overwrite;
}

bool DuplicateCheck::CheckDoublett(const Recordset& record, DuplicateMatch* match, bool same_object) {
  // Nothing has changed since the answer was that nobody wants one.
  if (same_object && kept_.unwished != nullptr && profiles_.Sees(kept_.unwished, session_.SpecFile))
    return false;
  kept_.unwished = nullptr;
  bool answer = false;
  TrapInFunction(session_, "CheckDoublett", [&] {
    // First, as the next record may be the same object.
    kept_.columns.Begin(record, same_object);
    answer = CheckRecord(record, match);
  });
  return answer;
}

void BuildDuplicateKeyText(const Recordset& record, KeptColumns& columns, std::string_view group,
                           std::string& text, const KeyFields& fields) {
  using enum KeptColumns::Place;
  constexpr std::size_t kNameLength = 15;
  const auto text_of = [&](KeptColumns::Place place, std::string_view name) {
    return name.empty() ? std::string_view() : columns.TextAt(record, place, name);
  };
  std::array<std::string_view, 3> names = {};
  constexpr KeptColumns::Place kNamePlaces[] = {kName1, kName2, kName3};
  text.clear();
  text.append(text_of(kPostcode, fields.postcode)).append("|");
  text.append(text_of(kTown, fields.town)).append("|");
  text.append(text_of(kStreet, fields.street)).append("|");
  for (std::size_t i = 0; i < names.size(); ++i) names[i] = text_of(kNamePlaces[i], fields.names[i]);
  std::string joined;
  if (fields.joins_names) {
    for (const std::string_view name : names) {
      const std::string_view part = TrimBlanks(name);
      if (!part.empty()) joined.append(joined.empty() ? "" : " ").append(part);
    }
    names = {joined, {}, {}};
  }
  text.append(TrimBlanks(Left(names[0], kNameLength))).append("|");
  for (const std::string_view name : names) text.append(name).append("|");
  // The ninth part is always empty.
  text.append("|").append(group);
}

void DuplicateCheck::GenDoubKey(const std::string& key_text, std::string& key1, std::string& key2,
                                std::string& key3) {
  const bool made = TrapInFunction(session_, "GenDoubKey", [&] {
    const ObjectPtr component = session_.platform.components.CreateObject(kKeyComponent);
    kept_.confirmation.AskComponent(component);
    std::string code1, code2, code3;
    GetDoubletAlgorithmCode(code1, code2, code3);
    // One variable for the three calls: what the component leaves in the key text it finds there again.
    Value& text = kept_.key_text_argument;
    text.AssignText(key_text);
    key1 = BuildKey(component, std::move(code1), text);
    key2 = BuildKey(component, std::move(code2), text);
    key3 = BuildKey(component, std::move(code3), text);
  });
  if (!made) {
    key1.clear();
    key2.clear();
    key3.clear();
  }
}

}  // namespace kestrel
