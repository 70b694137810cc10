// What a file is, by its content, and how it is probably to be read: for whoever is handed a file and nothing else.
#pragma once

#include <optional>
#include <string>

#include "component/session.h"
#include "kestrel/export.h"
#include "sources/source_kind.h"
#include "sources/text_detection.h"

namespace kestrel {

struct DetectedSource {
  // Null where no kind can read the file; `refusal` says why and what to do then.
  const SourceKind* kind = nullptr;
  std::string refusal = {};
  // Of a file that is read as text.
  std::optional<DetectedText> text = std::nullopt;
};

// Looks at the beginning of the file, kDetectedBytes at most; of a folder only that it is one. Rows that know a mark
// come first, then the kind that claims the rest. Raises what opening and reading raise, with the path.
inline constexpr std::size_t kDetectedBytes = std::size_t{256} << 10;
KESTREL_INTERNAL DetectedSource DetectSource(const SourceKinds& kinds, const std::string& path);

// Makes the file the session's source, with the settings that were found. What the lines do not tell (a separator,
// where to back the file up) stays as it is. Needs a kind.
KESTREL_INTERNAL void UseDetectedSource(const DetectedSource& source, const std::string& path,
                                        Session& session);

// For a person: "Erkannt: Semikolon, Überschriften, UTF-8", "Erkannt: Microsoft Excel", or the refusal.
KESTREL_INTERNAL std::string DescriptionOf(const DetectedSource& source);

// What a file dialog offers: one filter for all kinds of files, then one for each, and one for any file; as
// UserInterface::ChooseFile takes it.
KESTREL_INTERNAL std::string FileFilterOf(const SourceKinds& kinds);

}  // namespace kestrel
