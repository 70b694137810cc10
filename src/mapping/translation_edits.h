// What the reading, writing and checking of the editor's rows share.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mapping/translation.h"

namespace kestrel {

// So many characters of a translation are kept on reading.
inline constexpr std::size_t kMaxTranslationLength = 255;

// What the editor reads for a source value as it is shown.
std::string StoredTranslation(const ProfileImage& image, const std::string& section, std::string_view shown);
// The entries to be written: the rows whose translation is not empty.
std::vector<ProfileEdit> TranslationEdits(const std::string& section, const std::vector<TranslationRow>& rows);

}  // namespace kestrel
