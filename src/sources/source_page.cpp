#include "sources/source_page.h"

#include "platform/base/file.h"

namespace kestrel {

namespace {

std::string DelimiterText(const SourcePage& page) {
  switch (page.delimiter) {
    case DelimiterChoice::kTab: return "TAB";
    case DelimiterChoice::kSemicolon: return ";";
    case DelimiterChoice::kComma: return ",";
    case DelimiterChoice::kOther: return page.txtAnders;
  }
  return page.txtAnders;
}

DelimiterChoice ChoiceOf(const std::string& delimiter) {
  if (delimiter == "TAB") return DelimiterChoice::kTab;
  if (delimiter == ";") return DelimiterChoice::kSemicolon;
  if (delimiter == ",") return DelimiterChoice::kComma;
  return DelimiterChoice::kOther;
}

// The source file that is named and missing, as a message.
std::optional<std::string> MissingSource(const Session& session, const SourceKind& kind) {
  if (kind.place != SourcePlace::kFile) return std::nullopt;
  return MissingFileMessage(session.*kind.location);
}

}  // namespace

SourceInputs InputsOfPage(const SourceKind& kind, const SourcePage& page) {
  SourceInputs inputs;
  for (const ConnectionInput& input : kind.inputs) inputs.*input.input = page.*input.box;
  return inputs;
}

bool StorePage(Session& session, const SourcePage& page) {
  session.Provider = page.cboDatenquelleTyp;
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr) return false;
  for (const PageField& field : kind->page_fields) session.*field.setting = page.*field.box;
  if (kind->store_choices != nullptr) kind->store_choices(page, session);
  return true;
}

void LoadPage(const Session& session, SourcePage& page, bool is_listed) {
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr || !(kind->is_offered || is_listed)) return;
  page.cboDatenquelleTyp = kind->name;
  for (const PageField& field : kind->page_fields) page.*field.box = session.*field.setting;
  if (kind->show_choices != nullptr) kind->show_choices(session, page);
}

void StoreTextChoices(const SourcePage& page, Session& session) {
  session.ColumnHeadings = page.chkZeileFeldname;
  session.FileFormat = page.optAnsi ? "ANSI" : "ASCII";
  session.Delimiter = DelimiterText(page);
  session.SaveFile = page.chkSichereDatei;
  session.DeleteFile = page.chkDateilöschen;
}

void ShowTextChoices(const Session& session, SourcePage& page) {
  page.chkZeileFeldname = session.ColumnHeadings;
  page.optAnsi = session.FileFormat == "ANSI";
  page.delimiter = ChoiceOf(session.Delimiter);
  if (page.delimiter == DelimiterChoice::kOther) page.txtAnders = session.Delimiter;
  page.chkSichereDatei = session.SaveFile;
  page.chkDateilöschen = session.DeleteFile;
}

std::optional<std::string> MissingFileMessage(const std::string& path) {
  if (path.empty() || FileExists(path)) return std::nullopt;
  return "Die Datei ''" + path + "'' existiert nicht.";
}

std::optional<std::string> ReasonToStay(const Session& session) {
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr) return std::nullopt;
  if (auto missing = MissingSource(session, *kind)) return missing;
  const bool backs_up = IsOn(session, &Session::SaveFile) && !(session.*kind->location).empty();
  if (backs_up && !FolderExists(session.SavePath)) {
    return "Der Pfad ''" + session.SavePath + "'' existiert nicht.";
  }
  return std::nullopt;
}

bool SourceFileIsThere(const Session& session) {
  const SourceKind* kind = KindOf(session);
  return kind == nullptr || !MissingSource(session, *kind);
}

}  // namespace kestrel
