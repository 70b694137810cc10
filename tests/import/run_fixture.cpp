#include "import/run_fixture.h"

#include <algorithm>
#include <utility>

#include "kestrel/host_components.h"
#include "kestrel/open_connection.h"
#include "platform/base/text.h"
#include "support/source_kind_names.h"

namespace kestrel::testing {

void RecordingView::Note(std::string name, std::vector<Value> arguments) {
  std::vector<bool> by_reference(arguments.size(), false);
  journal_->push_back(
      RecordedCall{"view", CallKind::kMethod, std::move(name), std::move(arguments), std::move(by_reference)});
}

void RecordingView::SetInfo(std::string_view text) {
  Note("SetInfo", {Value(text)});
  infos.emplace_back(text);
  if (on_info) on_info();
}

void RecordingView::SetProgress(double percent) {
  Note("SetProgress", {Value(percent)});
  progress.push_back(percent);
}

void RecordingView::Yield() {
  Note("Yield", {});
  ++yields;
  if (on_yield) on_yield();
}

void RecordingView::CloseWindow() {
  Note("CloseWindow", {});
  ++closes;
}

ImportRunFixture::ImportRunFixture() {
  host = OpenConnection("Provider=SQLite;Data Source=" + folder.File("host.sqlite"));
  host->Execute("CREATE TABLE Personalstamm (PersonalNr TEXT, Nachname TEXT, Vorname TEXT, Titel TEXT)");
  host->Execute("INSERT INTO Personalstamm VALUES ('4711', 'Muster', 'Eva', 'Dr.')");
  session.HostConnection = host;

  log = AddComponent(kLogComponent, "log");
  log->Returns("CreateProtokoll", Value("P1"));
  log->Method("AddNewRecord").Method("SetField").Method("UpdateRecord");

  import_class = std::make_shared<RecordingObject>("class", journal);
  import_class->Let("SpecificationFile")
      .Method("BeforeImport")
      .Method("GetNewRecord", [this](std::span<Argument>) { return Value(NewRecord()); })
      .Get("ErrorCode", Value(0))
      .Get("ErrorDescription", Value(""))
      .Method("ImportRecord",
              [this](std::span<Argument> arguments) {
                const RecordsetPtr record = ToRecordset(arguments[0].Get());
                StoredRecord row;
                for (std::size_t column = 0; column < record->ColumnCount(); ++column) {
                  if (!record->IsNull(column)) row.emplace(record->ColumnName(column), record->TextAt(column));
                }
                stored.push_back(std::move(row));
                return Value();
              })
      .Method("AfterImport");
  session.ImportClass = import_class;
  session.ImportClassProgID = "test.import";

  session.Provider = kTextSource;
  session.ColumnHeadings = true;
  session.FileFormat = "ANSI";
  session.Delimiter = ";";
  session.Description = "Adressen";
  session.AssignmentList = CreateAssignmentList();
  UseSpecification("[Common]\nImportClass=test.import\n");
}

void ImportRunFixture::UseSource(std::string_view content) {
  session.FileName = folder.Write("adressen.txt", ReplaceAll(content, "\n", "\r\n"));
}

void ImportRunFixture::Assign(const Assignment& assignment) {
  MemoryRecordset& list = *session.AssignmentList;
  list.AddNew();
  list.SetText(kSourceName, assignment.field);
  list.SetText(kDestinationName, assignment.destination);
  list.SetValue(kOption, Value(static_cast<std::int64_t>(assignment.option)));
  list.SetValue(kTranslate, Value(assignment.translate ? 1 : 0));
  list.SetText(kFieldTyp, assignment.typ);
  list.SetValue(kSize, Value(assignment.size));
  if (!assignment.format.empty()) list.SetText(kFormat, assignment.format);
  columns_.push_back(assignment.field);
}

void ImportRunFixture::UseNames(const std::vector<std::string>& names) {
  std::string content = "Name\n";
  for (const std::string& name : names) content.append(name).append("\n");
  UseSource(content);
  Assign({.field = "Bez1", .destination = "Name"});
}

void ImportRunFixture::UseDuplicateHost() {
  host->Execute(
      "CREATE TABLE Adressindex (Adressart INTEGER, Referenz TEXT, Doubletkey1 TEXT, Doubletkey2 TEXT, "
      "Doubletkey3 TEXT)");
  AddComponent(kSettingsComponent, "settings")
      ->Method("Init")
      .Method("GetSetting", [](std::span<Argument> arguments) {
        arguments[2].Set(Value("1"));
        return Value();
      });
  AddComponent(kKeyComponent, "keys")->Method("BuildDoubletKey", [](std::span<Argument> arguments) {
    return Value("K" + arguments[1].Get().ToText());
  });
  session.ImportClassProgID = "ksbimport.importkunden";
  UseSpecification(
      "[Common]\nImportClass=ksbimport.importkunden\n"
      "[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\n"
      "[FieldAssignments]\nBez1=FIELD:Name\nBez2=NOTASSIGNED\n");
  for (const char* field : {"KundenNummer", "Bez2", "Bez3", "Strasse", "PLZ", "Ort", "Kundengruppe"}) {
    Assign({.field = field, .option = kNotAssigned});
  }
}

void ImportRunFixture::HostKnows(const std::string& name, const std::string& number) {
  host->Execute("INSERT INTO Adressindex VALUES (1, '" + number + "', 'K|||" + name + "|" + name +
                "||||', '', '')");
}

const RunResult& ImportRunFixture::Run() {
  run.Activate();
  return run.result();
}

const RunResult& ImportRunFixture::Run(const RunSettings& settings) {
  limited_ = std::make_unique<ImportRun>(import, view, settings);
  limited_->Activate();
  return limited_->result();
}

std::vector<std::string> ImportRunFixture::LogLines() const {
  std::vector<std::string> lines;
  for (const RecordedCall& call : *journal) {
    if (call.object == "log" && call.name == "SetField") lines.push_back(call.arguments.at(2).ToText());
  }
  return lines;
}

std::vector<std::string> ImportRunFixture::CallsOf(std::string_view object) const {
  std::vector<std::string> lines;
  for (const RecordedCall& call : *journal) {
    if (call.object == object) lines.push_back(call.ToText());
  }
  return lines;
}

std::shared_ptr<MemoryRecordset> ImportRunFixture::NewRecord() const {
  auto record = std::make_shared<MemoryRecordset>();
  for (const std::string& column : columns_) record->AppendColumn(column);
  record->AddNew();
  return record;
}

}  // namespace kestrel::testing
