#include "formats/excel/other_files.h"

#include <algorithm>
#include <string>

namespace kestrel::excel {

namespace {

constexpr std::string_view kSaveAsWorkbook =
    "; sie muss mit ihrem Programm als Excel-Arbeitsmappe (.xlsx oder .xls) gespeichert werden";

[[noreturn]] void RaiseIs(std::string_view kind, std::string_view way_out) {
  throw FormatError("Die Datei ist keine Excel-Arbeitsmappe, sondern " + std::string(kind) +
                    std::string(way_out));
}

bool BeginsLike(Bytes file, std::string_view mark) {
  return CharactersOf(file.first(std::min(file.size(), mark.size()))) == mark;
}

// What an archive says it is, in the first of its parts.
std::string MimeTypeOf(const ZipArchive& archive) {
  const ZipArchive::Part* part = archive.Find("mimetype");
  std::string type(128, '\0');
  UnpackBudget budget(type.size());
  type.resize(part == nullptr ? 0 : ZipStream(archive, *part, budget).Read(type.data(), type.size()));
  return type;
}

}  // namespace

void RaiseOtherContent(const CompoundFile& container) {
  if (container.FindStream("WordDocument"))
    RaiseIs("ein Word-Dokument (.doc)", "; die Tabelle darin muss in eine Arbeitsmappe kopiert werden");
  if (container.FindStream("PowerPoint Document")) RaiseIs("eine PowerPoint-Präsentation (.ppt)", "");
  if (container.FindStream("__properties_version1.0")) RaiseIs("eine Outlook-Nachricht (.msg)", "");
  throw FormatError(
      "Die Datei enthält keine Excel-Arbeitsmappe; sie ist beschädigt oder gehört zu einem anderen Programm");
}

void RaiseOtherContent(const ZipArchive& archive) {
  const std::string type = MimeTypeOf(archive);
  if (type.find("opendocument.spreadsheet") != std::string::npos) {
    RaiseIs("ein OpenDocument-Tabellendokument (.ods)", kSaveAsWorkbook);
  }
  if (type.find("opendocument") != std::string::npos) RaiseIs("ein OpenDocument-Dokument", kSaveAsWorkbook);
  if (archive.Find("word/document.xml") != nullptr) {
    RaiseIs("ein Word-Dokument (.docx)", "; die Tabelle darin muss in eine Arbeitsmappe kopiert werden");
  }
  if (archive.Find("ppt/presentation.xml") != nullptr) RaiseIs("eine PowerPoint-Präsentation (.pptx)", "");
  if (archive.Find("Index/Document.iwa") != nullptr)
    RaiseIs("ein Dokument von Numbers oder Pages", kSaveAsWorkbook);
  RaiseIs("ein anderes ZIP-Archiv", "; enthält es eine Arbeitsmappe, so muss es erst entpackt werden");
}

void RaiseOtherContent(Bytes file) {
  if (file.empty()) throw FormatError("Die Datei ist leer");
  if (BeginsLike(file, "%PDF")) RaiseIs("ein PDF-Dokument", "");
  if (BeginsLike(file, std::string_view("\0\1\0\0Standard ", 13))) {
    RaiseIs("eine Access-Datenbank", "; als Datenquelle ist \"Microsoft Access-Datenbanken\" zu wählen");
  }
  const std::string_view head = CharactersOf(file.first(std::min<std::size_t>(file.size(), 2048)));
  if (head.find("urn:schemas-microsoft-com:office:spreadsheet") != std::string_view::npos) {
    RaiseIs("eine XML-Kalkulationstabelle 2003", kSaveAsWorkbook);
  }
  throw FormatError(
      "Die Datei ist keine Excel-Arbeitsmappe; sie muss aus Excel als .xls oder .xlsx gespeichert "
      "sein (eine umbenannte Text- oder HTML-Datei ist keine)");
}

}  // namespace kestrel::excel
