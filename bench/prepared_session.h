// A session that has gone through steps 1 and 2 of the wizard, over a sample host of its own, for the benchmarks of windows.
#pragma once

#include <QTemporaryDir>
#include <stdexcept>
#include <string>

#include "component/import_class.h"
#include "components/register_components.h"
#include "import/import_run.h"
#include "kestrel/clock.h"
#include "kestrel/import_job.h"
#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "platform/dialogs/recording_user_interface.h"
#include "sources/source_reader.h"
#include "spec/specification.h"
#include "spec/working_copy.h"
#include "wizard/qt_text.h"

namespace kestrel::bench {

inline constexpr const char* kFields[][2] = {{"KundenNummer", "FIELD:Kundennummer"},
                                             {"Bez1", "FIELD:Bez1"},
                                             {"Bez2", "FIELD:Bez2"},
                                             {"Bez3", "FIELD:Bez3"},
                                             {"Strasse", "FIELD:Strasse"},
                                             {"Land", "FIELD:Land"},
                                             {"PLZ", "FIELD:PLZ"},
                                             {"Ort", "FIELD:Ort"},
                                             {"Telefon", "FIELD:Telefon"},
                                             {"EMail", "FIELD:EMail"},
                                             {"Kundengruppe", "FIELD:Gruppe"},
                                             {"KundeSeit", "FIELD:Datum"},
                                             {"Umsatz", "FIELD:Umsatz"},
                                             {"Rabatt", "FIELD:Rabatt"},
                                             {"Mitarbeiter", "FIELD:Anzahl"},
                                             {"Bemerkung", "FIELD:Bemerkung"}};

inline std::string Specification(const std::string& file) {
  std::string text =
      "[Common]\r\nDescription=Messung\r\nApplication=2\r\nImportClass=ksbimport.importkunden\r\n"
      "Provider=Textdatei\r\nFileName=" +
      file +
      "\r\nColumnHeadings=True\r\nFileFormat=ANSI\r\nDelimiter=;\r\nTextRecognition=\"\r\n"
      "[FieldFormat]\r\nKundeSeit=tt.mm.jjjj\r\n[FieldAssignments]\r\n";
  for (const auto& [field, assignment] : kFields) text += std::string(field) + "=" + assignment + "\r\n";
  return text;
}

class Prepared {
 public:
  explicit Prepared(const std::string& file) {
    if (!folder_.isValid()) throw std::runtime_error("no scratch folder");
    host::RegisterComponents(components_);
    const std::string path = FromQt(folder_.path());
    database_ = CallMethod(components_.CreateObject("kestrelhost.Setup"), "CreateSampleHost", path).ToText();
    session_.HostConnection = OpenConnection(database_);
    session_.AppMode = 2;
    session_.PersonalNr = "4711";
    session_.SpecFolder = JoinPath(path, "Import");
    session_.SpecFile = JoinPath(session_.SpecFolder, "Messung.IMP");
    WriteFileAtomically(session_.SpecFile, Specification(file));
    ReadCommonSection(session_);
    CreateWorkingCopy(session_, working_copy_lock_);
    if (!CreateImportClass(session_)) throw std::runtime_error("no import class");
  }

  Session& session() { return session_; }
  const std::string& database() const { return database_; }
  std::string folder() const { return FromQt(folder_.path()); }
  RecordingUserInterface& ui() { return ui_; }
  ComponentRegistry& components() { return components_; }

 private:
  QTemporaryDir folder_;
  std::string database_;
  RecordingUserInterface ui_;
  ComponentRegistry components_;
  SystemClock clock_;
  Session session_{Platform{ui_, components_, clock_}};
  WorkingCopyLock working_copy_lock_;
};

class ShowsNothing final : public RunView {
 public:
  void SetInfo(std::string_view) override {}
  void SetProgress(double) override {}
  void Yield() override {}
  void CloseWindow() override {}
};

inline void PrepareRun(ImportJob& job) {
  Session& session = job.session();
  session.SourceFieldNames = SourceColumnNames(session);
  job.AssignFields(nullptr);
  session.TestMode = true;
}

inline void RequireWholeRun(const RunResult& result) {
  if (result.records == 0 || result.records != result.total) throw std::runtime_error("the run broke off");
}

}  // namespace kestrel::bench
