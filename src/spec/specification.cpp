#include "spec/specification.h"

#include <algorithm>
#include <utility>

#include "platform/automation/value.h"
#include "platform/base/file.h"
#include "platform/base/number.h"
#include "platform/base/runtime_error.h"
#include "platform/base/text.h"
#include "spec/profile_access.h"

namespace kestrel {
namespace {

constexpr const char* kCommon = "Common";

}  // namespace

void ReadCommonSection(Session& session) {
  const auto image = session.profiles.Require(session.SpecFile);
  const auto text = [&](const char* key, const char* default_value = "") {
    return GetIniString(*image, kCommon, key, default_value);
  };
  const auto truth = [&](const char* key, const char* default_value) {
    return ReadBoolText(text(key, default_value));
  };

  session.ImportClassProgID = text("ImportClass");
  session.Provider = text("Provider", kTextSource);
  session.Description = text("Description");

  if (session.Provider == kTextSource) {
    session.FileName = text("FileName");
    session.ColumnHeadings = truth("ColumnHeadings", "1");
    session.FileFormat = text("FileFormat", "ANSI");
    session.Delimiter = text("Delimiter", "TAB");
    session.TextRecognition = text("TextRecognition", "\"");
    session.SaveFile = truth("SaveFile", "0");
    session.SavePath = text("SavePath");
    session.DeleteFile = truth("DeleteFile", "0");
  } else if (session.Provider == kSqlServerSource) {
    session.Server = text("Server");
    session.User = text("User");
    session.Password = text("Password");
    session.Database = text("Database");
    session.Table = text("Table");
  } else if (session.Provider == kAccessSource) {
    session.User = text("User");
    session.Password = text("Password");
    session.Database = text("Database");
    session.Table = text("Table");
  } else if (session.Provider == kExcelSource || session.Provider == kDBaseSource) {
    session.Database = text("Database");
    session.Table = text("Table");
  }
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

std::vector<SpecificationEntry> ListSpecifications(Session& session, SpecificationKind kind) {
  std::vector<SpecificationEntry> entries;
  if (!FolderExists(session.SpecFolder)) return entries;
  const std::string_view extension = kind == SpecificationKind::kTemplate ? ".IMT" : ".IMP";
  for (std::string& path : ListFiles(session.SpecFolder)) {
    if (GetFileExtension(path) != extension) continue;
    const auto image = session.profiles.Read(path);
    std::string description = GetIniString(*image, kCommon, "Description", "");
    const auto application = ParseNumber(GetIniString(*image, kCommon, "Application", "2"));
    if (description.empty() || !application.has_value() || *application != session.AppMode) continue;
    entries.push_back(SpecificationEntry{std::move(description), std::move(path)});
  }
  return entries;
}

std::vector<SpecificationEntry> FillSpecificationList(Session& session, SpecificationKind kind, bool* cut) {
  std::vector<SpecificationEntry> entries = ListSpecifications(session, SpecificationKind::kSpecification);
  for (const SpecificationEntry& entry : entries) {
    session.ExistingSchemaNames.append(entry.description).push_back(';');
  }
  if (kind == SpecificationKind::kTemplate) entries = ListSpecifications(session, kind);
  const bool too_many = entries.size() > kMaxListedSpecifications;
  if (too_many) entries.resize(kMaxListedSpecifications);
  if (cut != nullptr) *cut = too_many;
  return entries;
}

}  // namespace kestrel
