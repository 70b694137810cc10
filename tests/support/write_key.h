// One key of a profile file, written as a test needs it.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "platform/profile/profile.h"

namespace kestrel::testing {

inline void WriteKey(ProfileStore& store, const std::string& path, std::string_view section,
                     std::string_view key, std::string_view value) {
  const ProfileEdit edit{std::string(section), std::string(key), std::string(value)};
  store.Write(path, std::span(&edit, 1));
}

}  // namespace kestrel::testing
