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

}  // namespace

SourceInputs InputsOfPage(const SourcePage& page) {
  SourceInputs inputs;
  inputs.txtdBaseFile = page.txtdBaseFile;
  inputs.txtExcelFile = page.txtExcelFile;
  inputs.txtAccessDB = page.txtAccessDB;
  inputs.txtSQLServer = page.txtSQLServer;
  inputs.txtSQLUID = page.txtSQLUID;
  inputs.txtSQLKennwort = page.txtSQLKennwort;
  inputs.txtSQLDB = page.txtSQLDB;
  return inputs;
}

bool StorePage(Session& session, const SourcePage& page) {
  session.Provider = page.cboDatenquelleTyp;
  if (session.Provider == kTextSource) {
    session.FileName = page.txtFilename;
    session.ColumnHeadings = page.chkZeileFeldname;
    session.FileFormat = page.optAnsi ? "ANSI" : "ASCII";
    session.Delimiter = DelimiterText(page);
    session.TextRecognition = page.txtTexterkenner;
    session.SaveFile = page.chkSichereDatei;
    session.SavePath = page.txtSicherungspfad;
    session.DeleteFile = page.chkDateilöschen;
  } else if (session.Provider == kSqlServerSource) {
    session.Server = page.txtSQLServer;
    session.User = page.txtSQLUID;
    session.Password = page.txtSQLKennwort;
    session.Database = page.txtSQLDB;
    session.Table = page.cboSQLTable;
  } else if (session.Provider == kAccessSource) {
    session.User = page.txtAccessDB;
    session.Password = page.txtAccessBenutzer;
    session.Database = page.txtAccessDB;
    session.Table = page.cboAccessTable;
  } else if (session.Provider == kExcelSource) {
    session.Database = page.txtExcelFile;
    session.Table = page.cboExcelSheet;
  } else if (session.Provider == kDBaseSource) {
    session.Database = page.txtdBaseFile;
    session.Table = page.cbodBaseTable;
  } else {
    return false;
  }
  return true;
}

void LoadPage(const Session& session, SourcePage& page) {
  if (session.Provider == kTextSource) {
    page.cboDatenquelleTyp = kTextSource;
    page.txtFilename = session.FileName;
    page.chkZeileFeldname = session.ColumnHeadings;
    page.optAnsi = session.FileFormat == "ANSI";
    page.delimiter = ChoiceOf(session.Delimiter);
    if (page.delimiter == DelimiterChoice::kOther) page.txtAnders = session.Delimiter;
    page.txtTexterkenner = session.TextRecognition;
    page.chkSichereDatei = session.SaveFile;
    page.txtSicherungspfad = session.SavePath;
    page.chkDateilöschen = session.DeleteFile;
  } else if (session.Provider == kSqlServerSource) {
    page.cboDatenquelleTyp = kSqlServerSource;
    page.txtSQLServer = session.Server;
    page.txtSQLUID = session.User;
    page.txtSQLKennwort = session.Password;
    page.txtSQLDB = session.Database;
  } else if (session.Provider == kAccessSource) {
    page.cboDatenquelleTyp = kAccessSource;
    page.txtAccessDB = session.User;
    page.txtAccessBenutzer = session.Password;
    page.txtAccessDB = session.Database;
  } else if (session.Provider == kDBaseSource) {
    page.cboDatenquelleTyp = kDBaseSource;
    page.txtdBaseFile = session.Database;
  }
}

std::optional<std::string> MissingFileMessage(const std::string& path) {
  if (path.empty() || FileExists(path)) return std::nullopt;
  return "Die Datei ''" + path + "'' existiert nicht.";
}

std::optional<std::string> ReasonToStay(const Session& session) {
  if (session.Provider == kTextSource && !session.FileName.empty()) {
    if (auto missing = MissingFileMessage(session.FileName)) return missing;
    if (session.SaveFile && !FolderExists(session.SavePath)) {
      return "Der Pfad ''" + session.SavePath + "'' existiert nicht.";
    }
  }
  if (session.Provider == kAccessSource || session.Provider == kExcelSource) {
    return MissingFileMessage(session.Database);
  }
  return std::nullopt;
}

bool SourceFileIsThere(const Session& session) {
  if (session.Provider == kTextSource) return !MissingFileMessage(session.FileName);
  if (session.Provider == kAccessSource || session.Provider == kExcelSource) {
    return !MissingFileMessage(session.Database);
  }
  return true;
}

ConnectResult ConnectForPage(Session& session, const std::string& kind, const SourcePage& page,
                             ListLoadedFlags& loaded) {
  const SourceInputs inputs = InputsOfPage(page);
  if (kind == kAccessSource) return ConnectAccess(session, inputs, loaded);
  if (kind == kExcelSource) return ConnectExcel(session, inputs, loaded);
  if (kind == kDBaseSource) return ConnectdBase(session, inputs, loaded);
  return {};
}

}  // namespace kestrel
