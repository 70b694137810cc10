// How every other part touches a specification file or its working copy.
//
// The operations keep the limits of the buffers they once used: a value is at most 4095 characters, a
// section at most 4094.
#pragma once

#include <string>
#include <string_view>

#include "kestrel/export.h"
#include "platform/profile/profile.h"

namespace kestrel {

// The value of a key, or `default_value` unchanged where the key is missing. Longer values are cut at 4095
// characters. Raises nothing: a file that cannot be read gives the default, too, so this is for lists.
std::string GetIniString(const std::string& path, std::string_view section, std::string_view key,
                         std::string_view default_value);
// The same out of one image, for callers that read several keys of one moment.
KESTREL_INTERNAL std::string GetIniString(const ProfileImage& image, std::string_view section,
                                          std::string_view key, std::string_view default_value);

// The section as one text: each entry "key=value" followed by a NUL character; cut at 4094 characters.
// Empty where the section is missing or holds no entry. Raises nothing.
std::string GetIniSection(const ProfileImage& image, std::string_view section);

// The text from the last "." of the whole path on, in upper case; empty where there is none.
KESTREL_INTERNAL std::string GetFileExtension(std::string_view path);

// Copies over the destination, which its owner alone can then read and write: a specification may hold a
// password. Raises what CopyFile raises.
void CopySpecFile(const std::string& source, const std::string& destination);

}  // namespace kestrel
