#include "sources/source_kind.h"

#include <algorithm>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "sources/file_marks.h"
#include "sources/source_catalog.h"
#include "sources/source_page.h"

namespace kestrel {

namespace {

// --- Connections: the exact strings; texts are inserted as they stand ---

OpenedSource ConnectSQLServer(const SourceInputs& inputs, const ConnectionOpener& open) {
  return OpenAndList("Provider=SQLOLEDB.1;Initial Catalog=" + inputs.database + ";Data Source=" +
                         inputs.server + ";Password=" + inputs.password + ";User ID=" + inputs.user,
                     FillTableList, open);
}

OpenedSource ConnectAccess(const SourceInputs& inputs, const ConnectionOpener& open) {
  return OpenAndList("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + inputs.database +
                         ";Password=" + inputs.password + ";User ID=" + inputs.user,
                     FillTableList, open);
}

OpenedSource ConnectExcel(const SourceInputs& inputs, const ConnectionOpener& open) {
  return OpenAndList("Driver={Microsoft Excel Driver (*.xls)};defaultdir=" + inputs.database, FillSheetList,
                     open);
}

OpenedSource ConnectdBase(const SourceInputs& inputs, const ConnectionOpener& open) {
  return OpenAndList("Driver={Microsoft dBASE Driver (*.dbf)};DBQ=" + inputs.database + "; DriverID=277",
                     FillSheetList, open);
}

// A text as the value of a key, in quotes where it would not be read as it stands.
std::string AsConnectionValue(const std::string& text) {
  const bool plain =
      text.empty() || (text.find(';') == std::string::npos && text.front() != ' ' && text.back() != ' ' &&
                       std::string_view("\"'{").find(text.front()) == std::string_view::npos);
  return plain ? text : '"' + ReplaceAll(text, "\"", "\"\"") + '"';
}

// The user means nothing for an Access file; the page stores the path there.
SourceInputs AccessInputs(const Session& session) {
  return {"", "", AsConnectionValue(session.Password), session.Database};
}

std::string SheetQuery(const Session& session) {
  return "SELECT * FROM `" + session.Database + "`.`" + session.Table + "`";
}

// --- Text files ---

void CheckTextSettings(const Session& session, std::vector<SettingFinding>& findings) {
  if (session.FileFormat != "ANSI" && session.FileFormat != "ASCII") {
    findings.push_back({false, "FileFormat", "\"" + session.FileFormat + "\" wird wie \"ANSI\" gelesen.",
                        "Möglich sind \"ANSI\" und \"ASCII\"."});
  }
  if (session.Delimiter.empty() || (session.Delimiter != "TAB" && LengthInCharacters(session.Delimiter) > 1)) {
    findings.push_back({true, "Delimiter", "\"" + session.Delimiter + "\" trennt keine Felder.",
                        "Tragen Sie \"TAB\" oder ein einzelnes Zeichen ein."});
  }
  if (session.SaveFile && session.SavePath.empty()) {
    findings.push_back({false, "SavePath", "Ohne Sicherungspfad wird die Datei nicht gesichert."});
  } else if (session.SaveFile && !FolderExists(session.SavePath)) {
    findings.push_back({true, "SavePath", "Der Sicherungspfad ''" + session.SavePath + "'' existiert nicht."});
  }
}

std::function<RecordsetPtr()> TextFileBeginning(const Session& session) {
  return [path = session.FileName, format = TextFormatOf(session)] { return OpenTextBeginning(path, format); };
}

// --- The rows ---

constexpr CommonKey kServer = {.name = "Server", .text = &Session::Server};
constexpr CommonKey kUser = {.name = "User", .text = &Session::User};
constexpr CommonKey kPassword = {.name = "Password", .text = &Session::Password, .is_secret = true};
constexpr CommonKey kDatabase = {.name = "Database", .text = &Session::Database};
constexpr CommonKey kTable = {.name = "Table", .text = &Session::Table};

std::deque<SourceKind> ComponentKinds() {
  return {
      {.name = "Textdatei",
       .location = &Session::FileName,
       .keys = {{.name = "FileName", .text = &Session::FileName},
                {.name = "ColumnHeadings",
                 .truth = &Session::ColumnHeadings,
                 .default_value = "1",
                 .is_stored_as_word = true},
                {.name = "FileFormat", .text = &Session::FileFormat, .default_value = "ANSI"},
                {.name = "Delimiter", .text = &Session::Delimiter, .default_value = "TAB"},
                {.name = "TextRecognition", .text = &Session::TextRecognition, .default_value = "\""},
                {.name = "SaveFile", .truth = &Session::SaveFile, .default_value = "0"},
                {.name = "SavePath", .text = &Session::SavePath},
                {.name = "DeleteFile", .truth = &Session::DeleteFile, .default_value = "0"}},
       .open = OpenTextFile,
       .beginning = TextFileBeginning,
       .column_names = GetTextFieldNames,
       .check = CheckTextSettings,
       .file_endings = "*.txt *.csv *.tsv *.asc *.dat",
       .is_offered = true,
       .frame = SourceFrame::kFile,
       .page_fields = {{&Session::FileName, &SourcePage::txtFilename},
                       {&Session::TextRecognition, &SourcePage::txtTexterkenner},
                       {&Session::SavePath, &SourcePage::txtSicherungspfad}},
       .store_choices = StoreTextChoices,
       .show_choices = ShowTextChoices},

      {.name = "Microsoft SQL-Server",
       .location = &Session::Database,
       .place = SourcePlace::kServer,
       .keys = {kServer, kUser, kPassword, kDatabase, kTable},
       .connect = ConnectSQLServer,
       .inputs = {{&SourceInputs::server, &SourcePage::txtSQLServer, kServer.name},
                  {&SourceInputs::user, &SourcePage::txtSQLUID, kUser.name},
                  {&SourceInputs::password, &SourcePage::txtSQLKennwort},
                  {&SourceInputs::database, &SourcePage::txtSQLDB, kDatabase.name}},
       .column_names = GetColumnNamesByComponent,
       .is_offered = true,
       .frame = SourceFrame::kSql,
       .page_fields = {{&Session::Server, &SourcePage::txtSQLServer},
                       {&Session::User, &SourcePage::txtSQLUID},
                       {&Session::Password, &SourcePage::txtSQLKennwort},
                       {&Session::Database, &SourcePage::txtSQLDB},
                       {&Session::Table, &SourcePage::cboSQLTable}}},

      // The page connects with user and password of SQL Server's boxes, and stores its own as they are listed.
      {.name = "Microsoft Access-Datenbanken",
       .location = &Session::Database,
       .keys = {kDatabase, kUser, kPassword, kTable},
       .connect = ConnectAccess,
       .inputs = {{&SourceInputs::user, &SourcePage::txtSQLUID},
                  {&SourceInputs::password, &SourcePage::txtSQLKennwort},
                  {&SourceInputs::database, &SourcePage::txtAccessDB, kDatabase.name}},
       .inputs_without_page = AccessInputs,
       .column_names = GetColumnNamesByComponent,
       .ending = ".MDB",
       .further_ending = ".ACCDB",
       .file_filter = "*.MDB",
       .file_endings = "*.mdb *.accdb",
       .has_mark = HasMarkOfAccess,
       .is_offered = true,
       .frame = SourceFrame::kAccess,
       .page_fields = {{&Session::User, &SourcePage::txtAccessDB},
                       {&Session::Password, &SourcePage::txtAccessBenutzer},
                       {&Session::Database, &SourcePage::txtAccessDB},
                       {&Session::Table, &SourcePage::cboAccessTable}}},

      {.name = "Microsoft Excel",
       .location = &Session::Database,
       .keys = {kDatabase, kTable},
       .connect = ConnectExcel,
       .inputs = {{&SourceInputs::database, &SourcePage::txtExcelFile, kDatabase.name}},
       .query = SheetQuery,
       .file_filter = "*.XLS",
       .file_endings = "*.xls *.xlsx *.xlsm",
       .has_mark = HasMarkOfExcel,
       .frame = SourceFrame::kExcel,
       .page_fields = {{&Session::Database, &SourcePage::txtExcelFile},
                       {&Session::Table, &SourcePage::cboExcelSheet}}},

      {.name = "dBase-Datenbank",
       .location = &Session::Database,
       .place = SourcePlace::kFolder,
       .keys = {kDatabase, kTable},
       .connect = ConnectdBase,
       .inputs = {{&SourceInputs::database, &SourcePage::txtdBaseFile, kDatabase.name}},
       .table_ending = ".DBF",
       .ending = ".DBF",
       .file_endings = "*.dbf",
       .has_mark = HasMarkOfDBase,
       .is_offered = true,
       .frame = SourceFrame::kDBase,
       .page_fields = {{&Session::Database, &SourcePage::txtdBaseFile},
                       {&Session::Table, &SourcePage::cbodBaseTable}}},
  };
}

template <class Setting>
const CommonKey* FindKey(const SourceKind& kind, Setting CommonKey::*member, Setting setting) {
  const auto key = std::find_if(kind.keys.begin(), kind.keys.end(),
                                [&](const CommonKey& candidate) { return candidate.*member == setting; });
  return key == kind.keys.end() ? nullptr : &*key;
}

bool IsControl(char c) { return static_cast<unsigned char>(c) < ' '; }

}  // namespace

bool SourceKind::Has(std::string Session::*setting) const {
  return FindKey(*this, &CommonKey::text, setting) != nullptr;
}

bool SourceKind::Has(bool Session::*setting) const {
  return FindKey(*this, &CommonKey::truth, setting) != nullptr;
}

SourceKinds::SourceKinds() : kinds_(ComponentKinds()) {}

void SourceKinds::Add(SourceKind kind) {
  const bool has_name = !kind.name.empty() && std::none_of(kind.name.begin(), kind.name.end(), IsControl);
  const bool has_location = kind.location != nullptr && kind.Has(kind.location);
  const bool has_boxes = std::all_of(kind.inputs.begin(), kind.inputs.end(),
                                     [](const ConnectionInput& input) { return input.box != nullptr; });
  if (!has_name || Find(kind.name) != nullptr || !has_location || (kind.is_offered && !has_boxes)) {
    throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                       std::string(DescriptionOf(ErrorNumber::kInvalidProcedureCall)) +
                           ": Art der Datenquelle \"" + kind.name + '"');
  }
  kinds_.push_back(std::move(kind));
}

const SourceKind* SourceKinds::Find(std::string_view name) const {
  const auto found =
      std::find_if(kinds_.begin(), kinds_.end(), [&](const SourceKind& kind) { return kind.name == name; });
  return found == kinds_.end() ? nullptr : &*found;
}

const SourceKinds& KindsOf(const Session& session) {
  static const SourceKinds kinds_of_component;
  return session.platform.source_kinds != nullptr ? *session.platform.source_kinds : kinds_of_component;
}

const SourceKind* KindOf(const Session& session) { return KindsOf(session).Find(session.Provider); }

const char* LocationKey(const Session& session) {
  const SourceKind* kind = KindOf(session);
  return kind == nullptr ? kDatabase.name : FindKey(*kind, &CommonKey::text, kind->location)->name;
}

bool IsOn(const Session& session, bool Session::*setting) {
  const SourceKind* kind = KindOf(session);
  return kind != nullptr && kind->Has(setting) && session.*setting;
}

std::string StoredText(const CommonKey& key, const Session& session) {
  if (key.text != nullptr) return session.*key.text;
  const bool truth = session.*key.truth;
  if (key.is_stored_as_word) return truth ? "True" : "False";
  return truth ? "1" : "0";
}

}  // namespace kestrel
