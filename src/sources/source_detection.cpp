#include "sources/source_detection.h"

#include <algorithm>

#include "platform/base/file.h"
#include "platform/base/input_file.h"
#include "platform/base/text.h"

namespace kestrel {

namespace {

constexpr const char* kEveryFile = "Alle Dateien (*)";

// Places the kind's source there: a file, or a folder with a file in it.
void Place(const SourceKind& kind, const std::string& path, Session& session) {
  session.Provider = kind.name;
  const bool is_in_folder = kind.place == SourcePlace::kFolder && !FolderExists(path);
  session.*kind.location = is_in_folder ? GetFolderOfPath(path) : path;
  // The table of another source; who fills the list of tables chooses the first.
  if (kind.Has(&Session::Table)) session.Table = is_in_folder ? FileNameOfPath(path) : "";
}

}  // namespace

DetectedSource DetectSource(const SourceKinds& kinds, const std::string& path) {
  if (FolderExists(path)) {
    const auto kind = std::find_if(kinds.begin(), kinds.end(),
                                   [](const SourceKind& each) { return each.place == SourcePlace::kFolder; });
    if (kind != kinds.end()) return {&*kind};
  }
  const InputFile file(path);
  std::string beginning(kDetectedBytes, '\0');
  beginning.resize(file.ReadAt(0, beginning.data(), beginning.size()));
  for (const SourceKind& kind : kinds) {
    if (kind.has_mark == nullptr || !kind.has_mark(beginning)) continue;
    if (UpperCase(path).ends_with(kind.table_ending)) return {&kind};
    return {nullptr, "Die Datei ''" + path + "'' ist von der Art \"" + kind.name +
                         "\". Geben Sie ihrem Namen die Endung \"" + std::string(kind.table_ending) + "\"."};
  }
  const auto text = DetectText(beginning, beginning.size() < kDetectedBytes);
  if (text) return {&kinds.Default(), "", text};
  return {nullptr, "Die Datei ''" + path +
                       "'' enthält keinen Text und ist auch von keiner anderen bekannten Art. Wählen Sie eine "
                       "andere Datei."};
}

void UseDetectedSource(const DetectedSource& source, const std::string& path, Session& session) {
  Place(*source.kind, path, session);
  if (!source.text || !source.kind->Has(&Session::Delimiter)) return;
  if (source.text->delimiter) session.Delimiter = *source.text->delimiter;
  session.TextRecognition = std::string(1, source.text->qualifier);
  session.ColumnHeadings = source.text->has_headings;
  session.FileFormat = source.text->is_dos ? "ASCII" : "ANSI";
}

std::string DescriptionOf(const DetectedSource& source) {
  if (source.kind == nullptr) return source.refusal;
  return "Erkannt: " + (source.text ? DescriptionOf(*source.text) : source.kind->name);
}

std::string FileFilterOf(const SourceKinds& kinds) {
  std::string all;
  std::string each;
  for (const SourceKind& kind : kinds) {
    if (kind.file_endings.empty()) continue;
    all += (all.empty() ? "" : " ") + std::string(kind.file_endings);
    each += ";;" + kind.name + " (" + std::string(kind.file_endings) + ")";
  }
  return "Alle Quellen (" + all + ")" + each + ";;" + kEveryFile;
}

}  // namespace kestrel
