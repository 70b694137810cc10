// Everything wrong or suspicious in a specification, with section, key and a way out.
#include <algorithm>
#include <array>
#include <ostream>
#include <set>

#include "cli/program.h"
#include "component/import_class.h"
#include "mapping/field_assignment.h"
#include "mapping/translation.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "sources/source_connection.h"
#include "sources/source_reader.h"
#include "spec/profile_access.h"
#include "spec/specification.h"

namespace kestrel::cli {

namespace {

// What keeps an import from running, and what only looks wrong.
enum class Severity { kError, kWarning };

class Findings {
 public:
  void Add(Severity severity, std::string section, std::string key, std::string message) {
    if (severity == Severity::kError) ++errors_;
    rows_.push_back({severity == Severity::kError ? "Fehler" : "Warnung", std::move(section), std::move(key),
                     std::move(message)});
  }
  int errors() const { return errors_; }
  bool empty() const { return rows_.empty(); }

  void Write(std::ostream& stream, OutputFormat format) const {
    TableWriter table(
        stream, format,
        {{"Art", "severity"}, {"Abschnitt", "section"}, {"Schlüssel", "key"}, {"Befund", "message"}});
    for (const auto& row : rows_) table.Row(row);
  }

 private:
  std::vector<std::vector<std::string>> rows_;
  int errors_ = 0;
};

constexpr std::array<const char*, 5> kProviders = {kTextSource, kSqlServerSource, kAccessSource, kExcelSource,
                                                   kDBaseSource};

// The keys of section Common that are read for a provider.
std::set<std::string> CommonKeysOf(const std::string& provider) {
  std::set<std::string> keys = {"DESCRIPTION", "APPLICATION", "IMPORTCLASS", "PROVIDER"};
  if (provider == kTextSource) {
    keys.insert({"FILENAME", "COLUMNHEADINGS", "FILEFORMAT", "DELIMITER", "TEXTRECOGNITION", "SAVEFILE",
                 "SAVEPATH", "DELETEFILE"});
  } else {
    keys.insert({"DATABASE", "TABLE"});
    if (provider == kSqlServerSource) keys.insert("SERVER");
    if (provider == kSqlServerSource || provider == kAccessSource) keys.insert({"USER", "PASSWORD"});
  }
  return keys;
}

const std::set<std::string>& CfgSettingsKeys() {
  static const std::set<std::string> keys = {"DUBLETTENPRUEFEN",
                                             "ADDRESSTYPECODE",
                                             "DUBLETTENKEY1",
                                             "DUBLETTENKEY2",
                                             "DUBLETTENKEY3",
                                             "KUNDENUEBERSCHREIBEN",
                                             "INTERESSENTENUEBERSCHREIBEN",
                                             "LIEFERANTENUEBERSCHREIBEN"};
  return keys;
}

class Checker {
 public:
  Checker(Workspace& workspace, Findings& findings)
      : workspace_(workspace),
        session_(workspace.session()),
        findings_(findings),
        file_(session_.profiles.Read(session_.SpecFile)) {}

  void Run() {
    CheckCommon();
    const bool source_open = CheckSource();
    const bool fields_known = CheckImportClass();
    if (fields_known) CheckAssignments(source_open);
    CheckTranslations();
    CheckDuplicateSettings();
    CheckUnreadKeys();
  }

 private:
  void Error(std::string section, std::string key, std::string message) {
    findings_.Add(Severity::kError, std::move(section), std::move(key), std::move(message));
  }
  void Warn(std::string section, std::string key, std::string message) {
    findings_.Add(Severity::kWarning, std::move(section), std::move(key), std::move(message));
  }
  std::string Read(const char* section, std::string_view key, std::string_view otherwise = "") const {
    return GetIniString(*file_, section, key, otherwise);
  }

  void CheckCommon() {
    if (session_.Description.empty()) {
      Warn("Common", "Description", "Ohne Beschreibung wird die Spezifikation im Assistenten nicht angeboten.");
    }
    if (std::find(kProviders.begin(), kProviders.end(), session_.Provider) == kProviders.end()) {
      std::string known;
      for (const char* provider : kProviders)
        known += std::string(known.empty() ? "" : ", ") + "\"" + provider + "\"";
      Error("Common", "Provider",
            "Unbekannte Art der Datenquelle \"" + session_.Provider +
                "\". Möglich sind, genau so geschrieben: " + known + ".");
    }
    if (session_.Provider == kTextSource) {
      CheckFlag("ColumnHeadings");
      CheckFlag("SaveFile");
      CheckFlag("DeleteFile");
      if (session_.FileFormat != "ANSI" && session_.FileFormat != "ASCII") {
        Warn("Common", "FileFormat",
             "\"" + session_.FileFormat + "\" wird wie \"ANSI\" gelesen. Möglich sind \"ANSI\" und \"ASCII\".");
      }
      if (session_.Delimiter.empty() ||
          (session_.Delimiter != "TAB" && LengthInCharacters(session_.Delimiter) > 1)) {
        Error("Common", "Delimiter",
              "\"" + session_.Delimiter +
                  "\" trennt keine Felder. Tragen Sie \"TAB\" oder ein einzelnes Zeichen ein.");
      }
      if (session_.SaveFile && session_.SavePath.empty()) {
        Warn("Common", "SavePath", "Ohne Sicherungspfad wird die Datei nicht gesichert.");
      } else if (session_.SaveFile && !FolderExists(session_.SavePath)) {
        Error("Common", "SavePath", "Der Sicherungspfad ''" + session_.SavePath + "'' existiert nicht.");
      }
    }
  }

  void CheckFlag(const char* key) {
    const std::string value = Read("Common", key, "0");
    for (const char* known : {"True", "False", "Wahr", "Falsch"}) {
      if (EqualsIgnoringCase(value, known)) return;
    }
    if (value.find_first_not_of("0123456789") != std::string::npos || value.empty()) {
      Warn("Common", key,
           "\"" + value + "\" ist kein Wahrheitswert und gilt als nein. Möglich sind True, False, 1 und 0.");
    }
  }

  bool CheckSource() {
    const bool text = session_.Provider == kTextSource;
    const char* key = text ? "FileName" : "Database";
    if (text && session_.FileName.empty()) {
      Error("Common", key, "Es ist keine Quelldatei angegeben. Geben Sie sie hier oder mit --file an.");
      return false;
    }
    const CountingUserInterface::Silence silence(workspace_.ui());
    try {
      workspace_.OpenSource();
    } catch (const NotUsable& error) {
      const std::string reason = TrySource(session_);
      Error("Common", key, reason.empty() ? error.what() : reason);
      return false;
    }
    CheckLeftOutColumns();
    CheckRecords(key);
    return true;
  }

  // A file is walked to its end, which tells whether records are missing; of a server the first record is
  // enough. The values of the first records are looked at, too.
  void CheckRecords(const char* key) {
    constexpr std::int64_t kLookedAt = 100;
    OpenSourceRecordset(session_);
    const std::int64_t count = SourceRecordCount(session_);
    std::set<std::size_t> unreadable;
    std::int64_t records = 0;
    RecordsetPtr source = SourceMoveFirst(session_);
    while (!SourceEOF(session_) && !session_.source_end.error) {
      ++records;
      for (std::size_t column = 0; records <= kLookedAt && column < source->ColumnCount(); ++column) {
        Trap([&] { source->TextAt(column); },
             [&](const RuntimeError& error) {
               if (!unreadable.insert(column).second) return;
               Error("Common", key,
                     "Datensatz " + std::to_string(records) + ", Spalte \"" +
                         std::string(source->ColumnName(column)) + "\": " + error.Description());
             });
      }
      if (session_.Provider == kSqlServerSource) break;
      source = SourceMoveNext(session_);
    }
    const SourceEnd end = session_.source_end;
    CloseSource(session_);
    if (!end.error) return;
    const std::string reached = end.state == SourceState::kNotOpened
                                    ? "Die Datenquelle kann nicht gelesen werden. "
                                    : "Die Datenquelle endet nach " + std::to_string(records) + " von " +
                                          std::to_string(std::max(count, records)) + " Datensätzen. ";
    Error("Common", key, reached + end.error->Description());
  }

  // What is missing otherwise is found by the walk through the records.
  void CheckLeftOutColumns() {
    remarks_ = SourceRemarks(session_);
    for (const SourceRemark& remark : remarks_) {
      if (!remark.column.empty()) Warn("Common", "Table", remark.text);
    }
  }

  bool CheckImportClass() {
    if (session_.ImportClassProgID.empty()) {
      Error("Common", "ImportClass", "Es ist kein Importziel angegeben, zum Beispiel ksbimport.importkunden.");
      return false;
    }
    if (workspace_.HostConnectionString().empty()) {
      Warn("Common", "ImportClass",
           "Ohne Datenbank der Hauptanwendung (--host) wurden die Felder nicht geprüft.");
      return false;
    }
    try {
      workspace_.OpenHost();
      const CountingUserInterface::Silence silence(workspace_.ui());
      workspace_.OpenImportClass();
      return true;
    } catch (const NotUsable& error) {
      Error("Common", "ImportClass", error.what());
      return false;
    }
  }

  void CheckAssignments(bool source_open) {
    std::string failure;
    BuildAssignmentList(session_, &failure);
    if (!failure.empty())
      Error("Common", "ImportClass", "Die Felder des Ziels konnten nicht gelesen werden: " + failure);
    if (const ImportClassError error = ReadImportClassError(session_); error.code != 0) {
      Error("Common", "ImportClass",
            "Das Ziel meldet beim Lesen seiner Felder den Fehler " + std::to_string(error.code) + ": " +
                error.description);
    }
    MemoryRecordset& list = *session_.AssignmentList;
    const ProfileImage& working_copy = *session_.profiles.Read(session_.SpecFile);
    for (list.MoveFirst(); !list.IsEof(); list.MoveNext()) {
      const std::string field(list.TextAt(kSourceName));
      fields_.insert(UpperCase(field));
      const std::string stored = GetIniString(working_copy, "FieldAssignments", field, "");
      const bool from_source = stored.starts_with("FIELD:");
      const bool constant = stored.starts_with("CONST:");
      if (list.TextAt(kObligation) == "Wahr" && !from_source && !constant) {
        Error("FieldAssignments", field, "Das Pflichtfeld ist nicht zugeordnet.");
      }
      if (!stored.empty() && !from_source && !constant && stored != "NOTASSIGNED") {
        Warn("FieldAssignments", field,
             "\"" + stored +
                 "\" ist keine Zuordnung. Möglich sind FIELD:Spalte, CONST:Wert und NOTASSIGNED, genau so "
                 "geschrieben.");
      }
      if (from_source && source_open) CheckColumn(field, stored.substr(6));
      if (constant && std::count(stored.begin(), stored.end(), ':') > 1) {
        Warn("FieldAssignments", field,
             "Die Konstante wird am Doppelpunkt abgeschnitten: gelesen wird \"" +
                 std::string(Split(stored, ':')[1]) + "\". Setzen Sie den Wert in der Quelle.");
      }
      if (list.TextAt(kDateField) == "Wahr" && from_source) CheckDateFormat(field, list.TextAt(kFormat));
    }
    for (const auto& section : working_copy.Sections()) {
      if (!EqualsIgnoringCase(section.name, "FieldAssignments")) continue;
      for (const auto& entry : section.entries) {
        if (!fields_.contains(UpperCase(entry.key))) {
          Warn("FieldAssignments", entry.key,
               "Das Importziel hat kein solches Feld; der Eintrag wird nicht gelesen.");
        }
      }
    }
  }

  void CheckColumn(const std::string& field, const std::string& column) {
    const std::string read(Split(column, ':')[0]);
    if (read != column) {
      Warn("FieldAssignments", field,
           "Der Spaltenname wird am Doppelpunkt abgeschnitten: gelesen wird \"" + read + "\".");
    }
    if (IsInList(read, session_.SourceFieldNames)) return;
    for (const SourceRemark& remark : remarks_) {
      if (remark.column == read) return Error("FieldAssignments", field, remark.text);
    }
    const auto alike =
        std::find_if(session_.SourceFieldNames.begin(), session_.SourceFieldNames.end(),
                     [&](const std::string& name) { return UpperCase(name) == UpperCase(read); });
    Error("FieldAssignments", field,
          "Die Datenquelle hat keine Spalte \"" + read + "\"; das Feld bleibt ohne Zuweisung." +
              (alike == session_.SourceFieldNames.end()
                   ? " 'kestrel-import columns' zeigt die Spalten."
                   : " Gemeint ist wohl \"" + *alike + "\"; Groß- und Kleinschreibung zählen."));
  }

  void CheckDateFormat(const std::string& field, std::string_view format) {
    if (format.empty()) {
      Error("FieldFormat", field, "Für das Datumsfeld ist kein Format bestimmt, zum Beispiel tt.mm.jjjj.");
    } else if (std::find(kDateFormats.begin(), kDateFormats.end(), format) == kDateFormats.end()) {
      Error("FieldFormat", field,
            "\"" + std::string(format) + "\" ist kein Datumsformat; das Datum bleibt, wie es ist.");
    }
  }

  void CheckTranslations() {
    constexpr std::string_view kPrefix = "TRANSLATION_";
    constexpr std::size_t kLongestSection = 4094;
    for (const auto& section : file_->Sections()) {
      const std::string name = UpperCase(section.name);
      if (!name.starts_with(kPrefix)) continue;
      const std::string field = section.name.substr(kPrefix.size());
      std::size_t length = 0;
      for (const auto& entry : section.entries) {
        length += LengthInCharacters(entry.key) + LengthInCharacters(entry.value) + 2;
        if (length > kLongestSection) {
          Error(section.name, entry.key,
                "Die Übersetzungstabelle ist länger als 4096 Zeichen; dieser Eintrag und alle folgenden werden "
                "nicht "
                "gelesen. Kürzen Sie die Tabelle.");
          break;
        }
      }
      const bool on = Read("FieldTranslation", field, "0") == "1";
      if (!on && !section.entries.empty()) {
        Warn("FieldTranslation", field, "Die Übersetzungstabelle ist da, aber nicht eingeschaltet (1).");
      }
    }
    for (const auto& section : file_->Sections()) {
      if (!EqualsIgnoringCase(section.name, "FieldTranslation")) continue;
      for (const auto& entry : section.entries) {
        if (entry.value == "1" && GetIniSection(*file_, TranslationSection(entry.key)).empty()) {
          Warn("FieldTranslation", entry.key, "Die Übersetzung ist eingeschaltet, aber ihre Tabelle ist leer.");
        }
      }
    }
  }

  void CheckDuplicateSettings() {
    if (Read("CfgSettings", "DublettenPruefen", "0") != "1") return;
    const bool any = Read("CfgSettings", "DublettenKey1", "0") == "1" ||
                     Read("CfgSettings", "DublettenKey2", "0") == "1" ||
                     Read("CfgSettings", "DublettenKey3", "0") == "1";
    if (!any) {
      Error(
          "CfgSettings", "DublettenKey1",
          "Die Dublettenprüfung ist eingeschaltet, aber kein Schlüssel; jede Prüfung schlägt fehl. Setzen Sie "
          "mindestens einen auf 1.");
    }
    if (LengthInCharacters(Read("CfgSettings", "AddresstypeCode", "0")) == 0 ||
        Read("CfgSettings", "AddresstypeCode", "0") == "0") {
      Warn("CfgSettings", "AddresstypeCode", "Mit 0 wird keine Adressart durchsucht; es gibt nie Dubletten.");
    }
  }

  void CheckUnreadKeys() {
    const std::set<std::string> common = CommonKeysOf(session_.Provider);
    std::set<std::string> seen;
    for (const auto& section : file_->Sections()) {
      const std::string name = UpperCase(section.name);
      if (!seen.insert(name).second) {
        Warn(section.name, "", "Der Abschnitt steht mehrfach in der Datei; gelesen wird nur der erste.");
        continue;
      }
      if (name == "COMMON" || name == "CFGSETTINGS") {
        const std::set<std::string>& known = name == "COMMON" ? common : CfgSettingsKeys();
        std::set<std::string> keys;
        for (const auto& entry : section.entries) {
          if (!keys.insert(UpperCase(entry.key)).second) {
            Warn(section.name, entry.key, "Der Schlüssel steht mehrfach da; gelesen wird nur der erste.");
          } else if (!known.contains(UpperCase(entry.key))) {
            Warn(section.name, entry.key, "Der Schlüssel wird für diese Datenquelle nicht gelesen.");
          }
        }
      } else if (name != "FIELDASSIGNMENTS" && name != "FIELDTRANSLATION" && name != "FIELDFORMAT" &&
                 !name.starts_with("TRANSLATION_")) {
        Warn(section.name, "", "Der Abschnitt wird nicht gelesen.");
      }
    }
  }

  Workspace& workspace_;
  Session& session_;
  Findings& findings_;
  std::shared_ptr<const ProfileImage> file_;
  std::set<std::string> fields_;
  std::vector<SourceRemark> remarks_;
};

}  // namespace

int CheckCommand(Workspace& workspace, const std::string& spec, const std::string& source_file) {
  workspace.LoadSpecification(spec, source_file);
  Findings findings;
  Checker(workspace, findings).Run();
  if (findings.empty() && workspace.options().format == OutputFormat::kText) {
    workspace.out() << "Keine Auffälligkeiten: " << workspace.session().ChosenSpecFile << std::endl;
    return kDone;
  }
  findings.Write(workspace.out(), workspace.options().format);
  return findings.errors() == 0 ? kDone : kErrorsCounted;
}

}  // namespace kestrel::cli
