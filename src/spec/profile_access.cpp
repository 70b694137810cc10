#include "spec/profile_access.h"

#include <sys/stat.h>

#include "platform/base/file.h"
#include "platform/base/text.h"

namespace kestrel {
namespace {

// The classic buffer holds 4096 characters: a value leaves room for one NUL, a section's list for two.
constexpr std::size_t kBufferCharacters = 4096;
constexpr std::size_t kMaxValueCharacters = kBufferCharacters - 1;
constexpr std::size_t kMaxSectionCharacters = kBufferCharacters - 2;

}  // namespace

std::string GetIniString(const std::string& path, std::string_view section, std::string_view key,
                         std::string_view default_value) {
  return GetIniString(*ProfileStore().Read(path), section, key, default_value);
}

std::string GetIniString(const ProfileImage& image, std::string_view section, std::string_view key,
                         std::string_view default_value) {
  const auto value = image.Find(section, key);
  return std::string(value.has_value() ? Left(*value, kMaxValueCharacters) : default_value);
}

std::string GetIniSection(const ProfileImage& image, std::string_view section) {
  std::string list;
  const ProfileImage::Section* found = image.FindSection(section);
  if (found == nullptr) return list;
  for (const ProfileImage::Entry& entry : found->entries) {
    list.append(entry.key).append("=").append(entry.value).push_back('\0');
  }
  list.resize(Left(list, kMaxSectionCharacters).size());
  return list;
}

std::string GetFileExtension(std::string_view path) {
  const std::size_t dot = path.rfind('.');
  return dot == std::string_view::npos ? std::string() : UpperCase(path.substr(dot));
}

void CopySpecFile(const std::string& source, const std::string& destination) {
  CopyFile(source, destination, S_IRUSR | S_IWUSR);
}

}  // namespace kestrel
