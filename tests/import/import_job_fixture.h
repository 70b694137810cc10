// A job as a host without a screen has it.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "kestrel/import_job.h"
#include "platform/base/file.h"
#include "support/field_list.h"
#include "support/session_fixture.h"

namespace kestrel::testing {

// The platform of SessionFixture; its session stays unused, as a job has one of its own.
class ImportJobTest : public SessionFixture {
 protected:
  ImportJobTest() {
    import_class = AddComponent("test.import");
    AddComponent("KSHProto.Protokoll", "log");
    for (const char* property : {"PersonalNr", "Application", "SpecificationFile"}) import_class->Let(property);
    import_class->Set("Connection")
        .Method("GetFields", [this](std::span<Argument>) { return Value(FieldList(fields)); })
        .Method("BeforeImport")
        .Method("GetNewRecord", [](std::span<Argument>) { return Value(NewRecord()); })
        .Method("ImportRecord",
                [this](std::span<Argument> arguments) {
                  const RecordsetPtr record = ToRecordset(arguments[0].Get());
                  stored.push_back(std::string(record->TextAt(0)) + ", " + std::string(record->TextAt(1)));
                  return Value();
                })
        .Method("AfterImport")
        .Get("ErrorCode", 0)
        .Get("ErrorDescription", "");
    folder.Write("Import/adressen.txt", "Name;Ort;Tag\r\nMeier;Köln;01.02.2024\r\nWeiß;Ulm;02.02.2024\r\n");
  }

  static std::shared_ptr<MemoryRecordset> NewRecord() {
    auto record = std::make_shared<MemoryRecordset>();
    for (const char* column : {"Name", "Ort", "Datum"}) record->AppendColumn(column);
    record->AddNew();
    return record;
  }

  // A sound specification with other assignments, and more keys of section Common.
  std::string Spec(const std::string& assignments = "Name=FIELD:Name\nOrt=FIELD:Ort\n",
                   const std::string& common = "") {
    return WriteSpecification("Adressen.IMP",
                              "[Common]\nDescription=Adressen\nApplication=3\nImportClass=test.import\n"
                              "Provider=Textdatei\nFileName=adressen.txt\nDelimiter=;\n" +
                                  common + "[FieldAssignments]\n" + assignments);
  }

  void Open(const std::string& specification) {
    job.Open({.specification = specification, .user = "4711", .tell = [this](std::string_view text) {
                told.emplace_back(text);
              }});
  }

  static std::string Line(const Finding& finding) {
    const char* severity = finding.severity == Severity::kError     ? "Fehler"
                           : finding.severity == Severity::kWarning ? "Warnung"
                                                                    : "Hinweis";
    return std::string(severity) + " [" + finding.place.section + "] " + finding.place.key + ": " +
           finding.Message();
  }
  static std::vector<std::string> Lines(const Findings& findings) {
    std::vector<std::string> lines;
    for (const Finding& finding : findings) lines.push_back(Line(finding));
    return lines;
  }

  // What the job refuses to run for; empty where it ran.
  std::string Refusal() {
    try {
      job.Run();
    } catch (const ImportRefused& refused) {
      return refused.Description();
    }
    return {};
  }

  std::vector<std::string> WorkingCopies() const {
    std::vector<std::string> copies;
    for (const std::string& path : ListFiles(session.SpecFolder)) {
      if (path.ends_with(".tmp")) copies.push_back(FileNameOfPath(path));
    }
    return copies;
  }

  std::shared_ptr<RecordingObject> import_class;
  std::vector<DestinationField> fields = {{"Name", true}, {"Ort"}, {"Datum", false, true}};
  std::vector<std::string> stored;
  std::vector<std::string> told;
  ImportJob job{Platform{ui, components, clock}};
};

}  // namespace kestrel::testing
