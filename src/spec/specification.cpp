#include "spec/specification.h"

#include <algorithm>
#include <utility>

#include "kestrel/runtime_error.h"
#include "kestrel/value.h"
#include "platform/base/file.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "sources/source_kind.h"
#include "spec/profile_access.h"

namespace kestrel {
namespace {

constexpr const char* kCommon = "Common";

}  // namespace

void ReadCommonSection(Session& session) {
  const auto image = ProfileStore().Require(session.SpecFile);
  const auto text = [&](const char* key, std::string_view default_value = "") {
    return GetIniString(*image, kCommon, key, default_value);
  };

  session.ImportClassProgID = text("ImportClass");
  session.Provider = text("Provider", KindsOf(session).Default().name);
  session.Description = text("Description");
  ReadKeysOfKind(session, *image);
}

void ReadKeysOfKind(Session& session, const ProfileImage& image) {
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr) return;
  for (const CommonKey& key : kind->keys) {
    std::string stored = GetIniString(image, kCommon, key.name, key.default_value);
    if (key.truth != nullptr) {
      session.*key.truth = ReadBoolText(stored);
    } else {
      session.*key.text = std::move(stored);
    }
  }
}

void UseHandedInText(Session& session) {
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr || kind->connect != nullptr) return;
  const auto image = ProfileStore().Require(session.SpecFile);
  const std::string location = session.*kind->location;
  ReadKeysOfKind(session, *image);
  session.*kind->location = location;
  session.Delimiter = GetIniString(*image, kCommon, "Delimiter", ",");
}

bool ReadBoolText(std::string_view text) {
  bool truth = false;
  // A text that is no truth value is false.
  Trap([&] { truth = Value(text).ToBool(); }, [](const RuntimeError&) {});
  return truth;
}

bool SchemaNameExists(const Session& session, std::string_view name) {
  const auto names = Split(session.ExistingSchemaNames, ';');
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool IsTemplate(const Session& session) { return GetFileExtension(session.ChosenSpecFile) == ".IMT"; }

std::vector<SpecificationEntry> ListSpecifications(Session& session, SpecificationKind kind,
                                                   std::vector<std::string>* unreadable) {
  std::vector<SpecificationEntry> entries;
  if (IsMissing(session.SpecFolder)) return entries;
  const std::string_view extension = kind == SpecificationKind::kTemplate ? ".IMT" : ".IMP";
  for (std::string& path : ListFiles(session.SpecFolder)) {
    if (GetFileExtension(path) != extension) continue;
    std::shared_ptr<const ProfileImage> image;
    const auto read = [&] { image = ProfileStore().Require(path); };
    const auto leave_out = [&](const RuntimeError& error) {
      if (unreadable != nullptr) unreadable->push_back(error.Description());
    };
    if (!Trap(read, leave_out)) continue;
    std::string description = GetIniString(*image, kCommon, "Description", "");
    const auto application = ParseNumber(GetIniString(*image, kCommon, "Application", "2"));
    if (description.empty() || !application.has_value() || *application != session.AppMode) continue;
    entries.push_back(SpecificationEntry{std::move(description), std::move(path)});
  }
  return entries;
}

std::vector<SpecificationEntry> FillSpecificationList(Session& session, SpecificationKind kind, bool* cut,
                                                      std::vector<std::string>* unreadable, std::size_t most) {
  std::vector<SpecificationEntry> entries =
      ListSpecifications(session, SpecificationKind::kSpecification, unreadable);
  for (const SpecificationEntry& entry : entries) {
    session.ExistingSchemaNames.append(entry.description).push_back(';');
  }
  if (kind == SpecificationKind::kTemplate) entries = ListSpecifications(session, kind, unreadable);
  const bool too_many = entries.size() > most;
  if (too_many) entries.resize(most);
  if (cut != nullptr) *cut = too_many;
  return entries;
}

}  // namespace kestrel
