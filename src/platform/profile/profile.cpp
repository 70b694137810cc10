#include "platform/profile/profile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "platform/profile/profile_document.h"
#include "platform/profile/profile_file.h"
#include "platform/profile/profile_text.h"

namespace kestrel {
namespace {

// A lone quote character is a value of its own.
std::string_view StripQuotes(std::string_view value) {
  const bool quoted =
      value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.front() == value.back();
  return quoted ? value.substr(1, value.size() - 2) : value;
}

}  // namespace

ProfileImage::ProfileImage(std::string_view bytes) {
  const ProfileText decoded = DecodeProfile(bytes);
  std::string_view rest = decoded.text;
  while (!rest.empty()) {
    const ParsedLine line = ParseLine(TakeLine(rest).text);
    if (line.kind == LineKind::kSection) {
      section_index_.emplace(line.name, sections_.size());
      sections_.push_back(Section{std::string(line.name), {}});
      entry_indexes_.emplace_back();
    } else if (line.kind == LineKind::kEntry && !sections_.empty()) {
      std::vector<Entry>& entries = sections_.back().entries;
      entry_indexes_.back().emplace(line.name, entries.size());
      entries.push_back(Entry{std::string(line.name), std::string(line.value)});
    }
  }
}

std::optional<std::string_view> ProfileImage::Find(std::string_view section, std::string_view key) const {
  const auto known_section = section_index_.find(TrimProfileBlanks(section));
  if (known_section == section_index_.end()) return std::nullopt;
  const NameIndex& keys = entry_indexes_[known_section->second];
  const auto known_key = keys.find(TrimProfileBlanks(key));
  if (known_key == keys.end()) return std::nullopt;
  return StripQuotes(sections_[known_section->second].entries[known_key->second].value);
}

const ProfileImage::Section* ProfileImage::FindSection(std::string_view section) const {
  const auto known = section_index_.find(TrimProfileBlanks(section));
  return known == section_index_.end() ? nullptr : &sections_[known->second];
}

struct ProfileStore::Cached {
  FileReading reading;
  std::shared_ptr<const ProfileImage> image;
};

ProfileStore::ProfileStore() : empty_(std::make_shared<ProfileImage>()) {}
ProfileStore::~ProfileStore() = default;

std::shared_ptr<const ProfileImage> ProfileStore::Read(const std::string& path) {
  FileReading reading;
  std::shared_ptr<const ProfileImage> image = Look(path, reading);
  return image == nullptr ? empty_ : image;
}

std::shared_ptr<const ProfileImage> ProfileStore::Require(const std::string& path) {
  FileReading reading;
  std::shared_ptr<const ProfileImage> image = Look(path, reading);
  if (image != nullptr) return image;
  if (reading.state != FileState::kMissing) throw ReadingError(reading, path);
  return empty_;
}

std::shared_ptr<const ProfileImage> ProfileStore::Look(const std::string& path, FileReading& reading) {
  if (look_ != nullptr && path == look_->path_) return look_->image_;
  const auto known = cache_.find(path);
  if (known == cache_.end()) return Reload(path, reading);
  struct stat status {};
  if (known->second->reading.trusted && ::stat(path.c_str(), &status) == 0 &&
      known->second->reading.identity == FileIdentity(status)) {
    return known->second->image;
  }
  return Reload(path, reading);
}

std::shared_ptr<const ProfileImage> ProfileStore::Reload(const std::string& path, FileReading& reading) {
  reading = ReadProfileFile(path);
  if (reading.state != FileState::kRead) {
    // What the path once held is not worth keeping.
    cache_.erase(path);
    return nullptr;
  }
  std::unique_ptr<Cached>& cached = cache_[path];
  if (cached == nullptr) cached = std::make_unique<Cached>();
  if (cached->image == nullptr || cached->reading.bytes != reading.bytes) {
    cached->image = std::make_shared<ProfileImage>(reading.bytes);
  }
  cached->reading = std::move(reading);
  return cached->image;
}

const std::shared_ptr<const ProfileImage>& ProfileStore::Watched::Look() {
  if (notice_.HasCome() && !IsQuiet()) {
    file_ = FileDescriptor();
    image_ = store_.Require(path_);
    KeepOpen();
  }
  return image_;
}

// By asking the file, with a notice awaited first where that has been answered alike for long.
bool ProfileStore::Watched::IsQuiet() {
  if (quiet_looks_ == kLooksBeforeNotice) {
    quiet_looks_ = 0;
    notice_.Await(file_);
  }
  if (!IsUnchanged()) return false;
  ++quiet_looks_;
  return true;
}

bool ProfileStore::Watched::IsUnchanged() const {
  struct stat status {};
  // Whatever takes the name from the file changes its status time.
  return file_.IsOpen() && ::fstat(file_.get(), &status) == 0 && identity_ == FileIdentity(status);
}

void ProfileStore::Watched::KeepOpen() {
  quiet_looks_ = 0;
  const auto known = store_.cache_.find(path_);
  if (known == store_.cache_.end() || !known->second->reading.trusted) return;
  identity_ = known->second->reading.identity;
  // Behind a link, another file may take the place of this one.
  file_ = FileDescriptor(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!IsUnchanged()) file_ = FileDescriptor();
}

ProfileStore::OneLook::OneLook(Watched& watched) : store_(watched.store_) {
  store_.look_ = nullptr;
  found_ = watched.Look() != store_.empty_;
  store_.look_ = &watched;
}

void ProfileStore::Write(const std::string& path, std::span<const ProfileEdit> edits) {
  const FileReading reading = ReadProfileFile(path);
  if (reading.state != FileState::kRead && reading.state != FileState::kMissing) {
    throw ReadingError(reading, path);
  }
  const std::string bytes = EditedProfile(reading.bytes, edits);
  if (bytes == reading.bytes) return;
  look_ = nullptr;
  WriteFileAtomically(path, bytes);
}

void ProfileStore::WriteCopy(const std::string& source, const std::string& target,
                             std::span<const ProfileEdit> edits, mode_t mode) {
  const FileReading reading = ReadProfileFile(source);
  if (reading.state == FileState::kMissing) throw ErrorFromErrno(ENOENT, source);
  if (reading.state != FileState::kRead) throw ReadingError(reading, source);
  const std::string bytes = EditedProfile(reading.bytes, edits);
  look_ = nullptr;
  if (FileExists(target)) MakeWritable(target);
  WriteFileAtomically(target, bytes, mode);
}

std::string EditedProfile(std::string_view bytes, std::span<const ProfileEdit> edits) {
  ProfileText content = DecodeProfile(bytes);
  ProfileDocument document(content.text);
  for (const ProfileEdit& edit : edits) {
    if (document.Set(edit.section, edit.key, edit.value)) continue;
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                       "Der Schlüssel \"" + edit.key + "\" kann im Abschnitt [" + edit.section +
                           "] nicht stehen: leere Namen, Zeilenumbrüche sowie \";\" und \"[\" am Anfang würden "
                           "nicht wiedergefunden");
  }
  std::string text = document.Text();
  if (text == content.text) return std::string(bytes);
  content.text = std::move(text);
  return EncodeProfile(content);
}

}  // namespace kestrel
