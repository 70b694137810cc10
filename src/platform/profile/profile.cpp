#include "platform/profile/profile.h"

#include <sys/stat.h>
#include <time.h>

#include <cstdint>
#include <utility>

#include "platform/base/file.h"
#include "platform/base/runtime_error.h"
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

// Changes once a tick; reading it costs no system call.
std::int64_t ClockTick() {
  struct timespec now {};
  ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
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
  std::int64_t looked_at = 0;  // the tick of the last look at the file within a OncePerTick
};

ProfileStore::ProfileStore() : empty_(std::make_shared<ProfileImage>()) {}
ProfileStore::~ProfileStore() = default;

std::shared_ptr<const ProfileImage> ProfileStore::Read(const std::string& path) {
  if (once_per_tick_ == 0) return ReadNow(path);
  const std::int64_t tick = ClockTick();
  const auto known = cache_.find(path);
  if (known != cache_.end() && known->second->looked_at == tick) return known->second->image;
  std::shared_ptr<const ProfileImage> image = ReadNow(path);
  const auto looked_at = cache_.find(path);
  if (looked_at != cache_.end()) looked_at->second->looked_at = tick;
  return image;
}

std::shared_ptr<const ProfileImage> ProfileStore::ReadNow(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    // What the path once held is not worth keeping.
    cache_.erase(path);
    return empty_;
  }
  const auto known = cache_.find(path);
  if (known != cache_.end() && known->second->reading.trusted &&
      known->second->reading.identity == FileIdentity(status)) {
    return known->second->image;
  }
  return Reload(path);
}

std::shared_ptr<const ProfileImage> ProfileStore::Reload(const std::string& path) {
  FileReading reading = ReadProfileFile(path);
  if (reading.state != FileState::kRead) {
    cache_.erase(path);
    return empty_;
  }
  std::unique_ptr<Cached>& cached = cache_[path];
  if (cached == nullptr) cached = std::make_unique<Cached>();
  if (cached->image == nullptr || cached->reading.bytes != reading.bytes) {
    cached->image = std::make_shared<ProfileImage>(reading.bytes);
  }
  cached->reading = std::move(reading);
  return cached->image;
}

bool ProfileStore::Write(const std::string& path, std::string_view section, std::string_view key,
                         std::string_view value) {
  const ProfileEdit edit{std::string(section), std::string(key), std::string(value)};
  return Write(path, std::span(&edit, 1));
}

bool ProfileStore::Write(const std::string& path, std::span<const ProfileEdit> edits) {
  const auto known = cache_.find(path);
  if (known != cache_.end()) known->second->looked_at = 0;
  const FileReading reading = ReadProfileFile(path);
  if (reading.state == FileState::kUnreadable) return false;
  ProfileText content = DecodeProfile(reading.bytes);
  ProfileDocument document(content.text);
  bool complete = true;
  for (const ProfileEdit& edit : edits) {
    if (!document.Set(edit.section, edit.key, edit.value)) complete = false;
  }
  std::string text = document.Text();
  if (text == content.text) return complete;
  content.text = std::move(text);
  const bool replaced =
      Trap([&] { WriteFileAtomically(path, EncodeProfile(content)); }, [](const RuntimeError&) {});
  return replaced && complete;
}

}  // namespace kestrel
