#include "import/rejects.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "kestrel/connection.h"
#include "mapping/field_assignment.h"
#include "platform/base/file.h"
#include "platform/base/number.h"
#include "platform/base/replacement.h"
#include "platform/base/text.h"
#include "platform/profile/profile.h"
#include "sources/source_kind.h"
#include "sources/text_source.h"
#include "spec/profile_access.h"

namespace kestrel {

namespace {

// Of a source that is a folder of tables, the files of its table.
void AddTableFiles(const std::string& folder, const std::string& table, std::vector<std::string>& files) {
  const std::string name = std::filesystem::path(table).stem().string();
  std::error_code no_folder;
  for (const auto& entry : std::filesystem::directory_iterator(folder, no_folder)) {
    if (EqualsIgnoringCase(entry.path().stem().string(), name)) files.push_back(entry.path().string());
  }
}

// Of a host whose database is files.
void AddHostFiles(const Session& session, std::vector<std::string>& files) {
  const auto connection = std::dynamic_pointer_cast<Connection>(session.HostConnection);
  if (connection == nullptr || connection->capabilities().dialect != Dialect::kSqlite) return;
  const auto add = [&] {
    const RecordsetPtr rows = connection->OpenRecordset("SELECT file FROM pragma_database_list");
    for (; !rows->IsEof(); rows->MoveNext()) {
      for (const char* part : {"", "-wal", "-shm", "-journal"})
        files.push_back(std::string(rows->TextAt(0)) + part);
    }
  };
  // A database that cannot be asked cannot be imported into.
  Trap(add, [](const RuntimeError&) {});
}

bool IsNamedAsSpecification(std::string_view path) {
  const std::string extension = GetFileExtension(path);
  return extension == ".IMP" || extension == ".IMT";
}

// The specifications and templates beside the one of the session, which a link may lead to.
void AddSpecifications(const Session& session, std::vector<std::string>& files) {
  const auto add = [&] {
    for (std::string& path : ListFiles(ParentFolder(session.ChosenSpecFile))) {
      if (IsNamedAsSpecification(path)) files.push_back(std::move(path));
    }
  };
  // In a folder that cannot be looked into no file can be replaced.
  Trap(add, [](const RuntimeError&) {});
}

// The source, if it is files, the specifications, and the host's database.
std::vector<std::string> FilesInUse(const Session& session) {
  std::vector<std::string> files = {session.SpecFile, session.ChosenSpecFile};
  AddSpecifications(session, files);
  if (const SourceKind* kind = KindOf(session)) {
    files.push_back(session.*kind->location);
    if (kind->Has(&Session::Table)) AddTableFiles(session.*kind->location, session.Table, files);
  }
  AddHostFiles(session, files);
  return files;
}

[[noreturn]] void Refuse(const std::string& path, const char* why) {
  throw RuntimeError(ErrorNumber::kPermissionDenied,
                     std::string(DescriptionOf(ErrorNumber::kPermissionDenied)) + ": " + path + why);
}

void RefuseFilesInUse(const std::string& path, const std::vector<std::string>& files) {
  if (IsNamedAsSpecification(path)) {
    Refuse(
        path,
        " ist nach ihrer Endung eine Importspezifikation oder eine Vorlage. Bitte eine Datei mit einer anderen "
        "Endung wählen");
  }
  for (const std::string& file : files) {
    std::error_code unknown;
    if (!std::filesystem::equivalent(path, file, unknown)) continue;
    Refuse(
        path,
        " ist die Quelle, eine Importspezifikation oder die Datenbank selbst. Bitte eine andere Datei wählen");
  }
}

// Behind the reason why no file can be made there.
std::string WayToAPlace(const std::string& path) {
  std::error_code unknown;
  if (std::filesystem::is_directory(path, unknown)) return ". Bitte eine Datei angeben, keinen Ordner";
  // Of a device or a pipe the reason says it.
  const bool is_other =
      std::filesystem::exists(path, unknown) && !std::filesystem::is_regular_file(path, unknown);
  return is_other ? "" : ". Bitte einen Ordner wählen, den es gibt und der beschrieben werden darf";
}

const std::vector<std::string> kOwnColumns = {"Grund", "Datensatz"};

// Those of a file of rejects, which is imported again, are replaced; not where a field takes one.
std::vector<std::string> ReplacedColumns(const Session& session) {
  if (session.AssignmentList == nullptr) return kOwnColumns;
  MemoryRecordset& list = *session.AssignmentList;
  for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
    if (list.IsNull(kOption) || list.ValueAt(kOption).ToInteger() != kImportField) continue;
    if (IsInList(ReplaceAll(list.TextAt(kDestinationName), "\"", ""), kOwnColumns)) return {};
  }
  return kOwnColumns;
}

// The last of the places without a name to which the specification assigns a field.
std::size_t LastAssignedPlace(const Session& session) {
  constexpr std::string_view kAssigned = "FIELD:Feld";
  const std::shared_ptr<const ProfileImage> specification = ProfileStore().Read(session.SpecFile);
  const ProfileImage::Section* assignments = specification->FindSection("FieldAssignments");
  std::int64_t last = 0;
  if (assignments == nullptr) return 0;
  for (const ProfileImage::Entry& entry : assignments->entries) {
    if (!entry.value.starts_with(kAssigned)) continue;
    const auto place = ParseWholeNumber(entry.value.substr(kAssigned.size()));
    if (place && *place <= static_cast<std::int64_t>(kValueSlots)) last = std::max(last, *place);
  }
  return static_cast<std::size_t>(last);
}

// Tells nothing of its own; a reader of Windows-1252 shows a blank. No text of UTF-8 holds this byte alone.
constexpr std::string_view kNoUtf8 = "\u00A0";

}  // namespace

Rejects::Rejects(const Session& session)
    : source_(session.SourceRecordset),
      layout_(session, ReplacedColumns(session)),
      forbidden_(FilesInUse(session)) {
  if (!layout_.has_header()) widest_ = LastAssignedPlace(session);
}

void Rejects::Keep(std::int32_t record, std::string_view reason) {
  const std::string text = layout_.RecordText(*source_);
  if (!layout_.has_header()) widest_ = std::max(widest_, layout_.CountValues(text));
  entries_.push_back({record, kept_.size(), text.size(), reason.size()});
  kept_.Append(text);
  kept_.Append(reason);
}

void Rejects::Add(std::int32_t record, std::string_view reason) { Keep(record, reason); }

void Rejects::AddLater(std::int32_t first, std::int32_t last, std::string_view reason) {
  later_.push_back({first, last, std::string(reason)});
}

void Rejects::Complete() {
  const auto by_record = [](const Entry& a, const Entry& b) { return a.record < b.record; };
  for (const Later& later : std::exchange(later_, {})) {
    const auto known = static_cast<std::ptrdiff_t>(entries_.size());
    for (std::int32_t record = later.first; record <= later.last; ++record) {
      const auto end = entries_.begin() + known;
      if (std::binary_search(entries_.begin(), end, Entry{record, 0, 0, 0}, by_record)) continue;
      source_->GoTo(record - 1);
      Keep(record, later.reason);
    }
    std::inplace_merge(entries_.begin(), entries_.begin() + known, entries_.end(), by_record);
  }
}

std::string Rejects::LineOf(std::string_view text, std::string_view reason, std::int32_t record) const {
  return layout_.Line(text, {std::string(reason), std::to_string(record)}, widest_);
}

void Rejects::WriteTo(const std::string& path) const {
  RefuseFilesInUse(path, forbidden_);
  Replacement file(path, std::nullopt);
  std::string bytes = layout_.Head(kOwnColumns);
  bool is_utf8 = layout_.is_windows_1252() && IsValidUtf8(bytes);
  bool has_high = LengthInCharacters(bytes) != bytes.size();
  for (const Entry& entry : entries_) {
    const std::string kept(kept_.View(entry.offset, entry.text_size + entry.reason_size));
    const std::string_view text = std::string_view(kept).substr(0, entry.text_size);
    std::string reason = kept.substr(entry.text_size);
    std::string line = LineOf(text, reason, entry.record);
    if (is_utf8) {
      is_utf8 = IsValidUtf8(line);
      has_high = has_high || LengthInCharacters(line) != line.size();
      // A file of Windows-1252 must not be taken for one of UTF-8.
      if (is_utf8 && has_high) {
        line = LineOf(text, reason.append(kNoUtf8), entry.record);
        is_utf8 = false;
      }
    }
    bytes += line;
    constexpr std::size_t kBlock = std::size_t{64} << 10;
    if (bytes.size() < kBlock) continue;
    file.Write(bytes);
    bytes.clear();
  }
  file.Write(bytes);
  file.Commit();
}

void Rejects::RequireNotInUse(const std::string& path, const Session& session) {
  RefuseFilesInUse(path, FilesInUse(session));
}

void Rejects::RequirePlace(const std::string& path, const Session& session) {
  RequireNotInUse(path, session);
  Trap([&] { const Replacement place(path, std::nullopt); },
       [&](const RuntimeError& error) {
         throw RuntimeError(error.Number(),
                            "Die Datei für die abgelehnten Datensätze kann nicht angelegt werden. " +
                                error.Description() + WayToAPlace(path));
       });
}

}  // namespace kestrel
