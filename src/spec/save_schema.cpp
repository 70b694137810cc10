// Saving, step by step
//  1. Without Commit only steps 6 and 7 happen, on the working file as it is.
//  2. A specification: the working copy is copied over the chosen file and deleted; the chosen file is the
//     working file.
//  3. A template: a name is asked for. An empty or blank one and one that is taken show their message and
//     end the save; nothing has changed.
//  4. The new file is Name.IMP, or the first of Name(1).IMP to Name(9).IMP that does not exist. Where all
//     nine exist the ninth is overwritten.
//  5. The working copy is copied to the new file and deleted; the new file, with the name as its
//     Description, is the working file.
//  6. Provider, the keys of that provider, and the field assignments are written into the working file; with
//     Commit also the columns that the source had when they were made (source_columns.h).
//  7. SchemaSaved is set, SchemaChanged is reset.
//  8. With Commit a fresh working copy is made of the chosen file. After a template was saved under a new
//     name this is again a copy of the template.
#include "spec/save_schema.h"

#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kestrel/memory_recordset.h"
#include "kestrel/runtime_error.h"
#include "kestrel/user_interface.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "sources/source_kind.h"
#include "spec/profile_access.h"
#include "spec/source_columns.h"
#include "spec/specification.h"

namespace kestrel {
namespace {

constexpr const char* kCommon = "Common";
constexpr int kMaxNumberedFile = 9;

using Edits = std::vector<ProfileEdit>;

void Tell(Session& session, std::string_view message) {
  session.platform.ui.MessageBox(message, "Speichern...", Icon::kInformation, Buttons::kOk);
}

// The name the user typed, as typed; none where it is not usable, which the user has then been told.
std::optional<std::string> AskForName(Session& session) {
  const std::string name =
      session.platform.ui.InputBox("Bitte geben Sie ein Schemaname ein:", "Schema speichern...").value_or("");
  if (TrimBlanks(name).empty()) {
    Tell(session, "Das Schema konnte nicht gespeichert werden. Bitte geben Sie einen Namen ein...");
    return std::nullopt;
  }
  if (SchemaNameExists(session, name)) {
    Tell(session, "Das Schema konnte nicht gespeichert werden, da dieser Schemaname bereits vorhanden ist.");
    return std::nullopt;
  }
  return name;
}

void AddSourceSettings(const Session& session, Edits& edits) {
  edits.push_back({kCommon, "Provider", session.Provider});
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr) return;
  for (const CommonKey& key : kind->keys) edits.push_back({kCommon, key.name, StoredText(key, session)});
}

// The list comes back to the row it stood on.
void AddFieldAssignments(MemoryRecordset& list, Edits& edits) {
  const std::size_t source_name = list.RequireColumn("SourceName");
  const std::size_t destination_name = list.RequireColumn("DestinationName");
  const std::size_t option = list.RequireColumn("Option");
  const std::size_t translate = list.RequireColumn("Translate");
  const std::size_t format = list.RequireColumn("Format");

  const bool on_row = !list.IsBof() && !list.IsEof();
  const std::int64_t current = on_row ? list.Bookmark() : 0;
  for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
    const std::string field(list.TextAt(source_name));
    const std::string assigned(list.TextAt(destination_name));
    std::string assignment = "NOTASSIGNED";
    if (list.TextAt(option) == "2") assignment = "FIELD:" + assigned;
    if (list.TextAt(option) == "3") assignment = "CONST:" + assigned;
    edits.push_back({"FieldAssignments", field, std::move(assignment)});
    if (list.TextAt(translate) == "1") edits.push_back({"FieldTranslation", field, "1"});
    if (!list.TextAt(format).empty()) edits.push_back({"FieldFormat", field, std::string(list.TextAt(format))});
  }
  if (on_row) list.GoTo(current);
}

// Whether section Common holds a password, of whatever kind of source, with the edits made.
bool HoldsSecret(Session& session, const Edits& edits) {
  const auto image = ProfileStore().Require(session.SpecFile);
  for (const SourceKind& kind : KindsOf(session)) {
    for (const CommonKey& key : kind.keys) {
      if (!key.is_secret) continue;
      std::string stored = GetIniString(*image, kCommon, key.name, "");
      for (const ProfileEdit& edit : edits) {
        if (edit.key == key.name) stored = edit.value;
      }
      if (!stored.empty()) return true;
    }
  }
  return false;
}

// Who made the template readable to others shares what is made from it, unless there is a password in it.
mode_t ModeOfNewSpecification(Session& session, const Edits& edits) {
  constexpr mode_t kPrivate = S_IRUSR | S_IWUSR;
  struct stat chosen {};
  if (HoldsSecret(session, edits) || ::stat(session.ChosenSpecFile.c_str(), &chosen) != 0) return kPrivate;
  return (chosen.st_mode & 0777) | kPrivate;
}

// The working copy with the settings becomes the file, which is written to from then on. Nothing has changed
// where this fails.
void ReplaceSpecification(Session& session, WorkingCopyLock& lock, const std::string& path,
                          const Edits& edits) {
  ProfileStore().WriteCopy(session.SpecFile, path, edits, ModeOfNewSpecification(session, edits));
  DeleteWorkingCopy(session);
  lock.Release();
  session.SpecFile = path;
}

// A working copy that has vanished holds more than what is written here.
void RequireWorkingCopy(const Session& session) {
  if (FileExists(session.SpecFile)) return;
  throw RuntimeError(
      ErrorNumber::kFileNotFound,
      "Die Arbeitskopie der Einstellungen ist nicht zu finden: " + session.SpecFile +
          ". Machen Sie ihren Ordner wieder erreichbar und versuchen Sie es dann noch einmal; Ihre "
          "Eingaben sind noch da");
}

// The settings that are saved for good; of a save in between those of the source's columns are not.
void AddSettings(const Session& session, bool is_for_good, Edits& edits) {
  AddSourceSettings(session, edits);
  if (session.AssignmentList == nullptr) return;
  AddFieldAssignments(*session.AssignmentList, edits);
  // Without a list the column names may be those of another import.
  if (is_for_good) AddSourceColumns(session.SourceFieldNames, edits);
}

}  // namespace

std::string NewSpecificationPath(const Session& session, const std::string& name) {
  // A pasted line break would stand in the file's name, but not in the Description.
  const auto is_control = [](char c) { return static_cast<unsigned char>(c) < ' '; };
  if (name.find_first_of("\\/") != std::string::npos || std::any_of(name.begin(), name.end(), is_control)) {
    throw RuntimeError(ErrorNumber::kBadFileName,
                       std::string(DescriptionOf(ErrorNumber::kBadFileName)) + ": " + name);
  }
  std::string path = JoinPath(session.SpecFolder, name + ".IMP");
  for (int number = 1; number <= kMaxNumberedFile && FileExists(path); ++number) {
    path = JoinPath(session.SpecFolder, name + "(" + std::to_string(number) + ").IMP");
  }
  return path;
}

void SaveSchema(Session& session, WorkingCopyLock& lock, bool Commit) {
  RequireWorkingCopy(session);
  Edits edits;
  std::string path = session.ChosenSpecFile;
  if (Commit && IsTemplate(session)) {
    const std::optional<std::string> name = AskForName(session);
    if (!name.has_value()) return;
    path = NewSpecificationPath(session, *name);
    edits.push_back({kCommon, "Description", *name});
  }
  AddSettings(session, Commit, edits);
  if (Commit) {
    ReplaceSpecification(session, lock, path, edits);
  } else {
    ProfileStore().Write(session.SpecFile, edits);
  }
  session.SchemaSaved = true;
  session.SchemaChanged = false;
  if (Commit) RenewWorkingCopy(session, lock);
}

bool SaveSchemaAs(Session& session, WorkingCopyLock& lock) {
  RequireWorkingCopy(session);
  const std::optional<std::string> name = AskForName(session);
  if (!name.has_value()) return false;
  const std::string path = NewSpecificationPath(session, *name);
  if (FileExists(path)) {
    throw RuntimeError(ErrorNumber::kFileAlreadyExists,
                       std::string(DescriptionOf(ErrorNumber::kFileAlreadyExists)) + ": " + path);
  }
  Edits edits = {{kCommon, "Description", *name}};
  AddSettings(session, true, edits);
  ReplaceSpecification(session, lock, path, edits);
  session.ChosenSpecFile = path;
  session.Description = *name;
  session.ExistingSchemaNames.append(*name).push_back(';');
  session.SchemaSaved = true;
  session.SchemaChanged = false;
  RenewWorkingCopy(session, lock);
  return true;
}

}  // namespace kestrel
