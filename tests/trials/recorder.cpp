// A plug-in with an import class and a log that write down what they are told, so that a whole import can be
// compared with a model of it. In the environment:
//
//   KESTREL_TRIAL_FIELDS  a file with one field a line: name, type, size (empty: null), "1" for a date field,
//                         between tabs
//   KESTREL_TRIAL_RECORD  the file that is written: one event a line, its parts between tabs, "\", tab, CR and
//                         LF within them as "\\", "\t", "\r", "\n"
//   KESTREL_TRIAL_CANCEL  "1": BeforeImport cancels
//   KESTREL_TRIAL_REFUSE  every so many-th record, counted from 1, is refused with error 7
//
// Events: BEFORE; RECORD and the fields' values; AFTER; LOG and the line. A field that the run leaves alone
// holds "<unset>".
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/bound_object.h"
#include "kestrel/component_registry.h"
#include "kestrel/memory_recordset.h"

namespace {

using kestrel::ColumnType;
using kestrel::MemoryRecordset;
using kestrel::ObjectPtr;
using kestrel::Value;

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    switch (character) {
      case '\\': escaped += "\\\\"; break;
      case '\t': escaped += "\\t"; break;
      case '\r': escaped += "\\r"; break;
      case '\n': escaped += "\\n"; break;
      default: escaped += character;
    }
  }
  return escaped;
}

void WriteDown(const std::string& event) {
  std::ofstream(Environment("KESTREL_TRIAL_RECORD"), std::ios::app | std::ios::binary) << event << "\n";
}

struct Field {
  std::string name;
  std::string type;
  std::string size;
  bool date = false;
};

std::vector<Field> ReadFields() {
  std::vector<Field> fields;
  std::ifstream file(Environment("KESTREL_TRIAL_FIELDS"), std::ios::binary);
  for (std::string line; std::getline(file, line);) {
    std::vector<std::string> parts(1);
    for (const char character : line) {
      if (character == '\t') {
        parts.emplace_back();
      } else {
        parts.back() += character;
      }
    }
    parts.resize(4);
    fields.push_back({parts[0], parts[1], parts[2], parts[3] == "1"});
  }
  return fields;
}

class Recorder final : public kestrel::BoundObject<Recorder> {
 public:
  static void Bind(Members& members) {
    members.Set("Connection", &Recorder::SetConnection);
    members.Let("PersonalNr", &Recorder::SetText);
    members.Let("Application", &Recorder::SetNumber);
    members.Let("SpecificationFile", &Recorder::SetText);
    members.Get("HasConfig", &Recorder::HasConfig);
    members.Method("ShowConfig", &Recorder::ShowConfig);
    members.Method("GetFields", &Recorder::GetFields);
    members.Method("BeforeImport", &Recorder::BeforeImport);
    members.Method("GetNewRecord", &Recorder::GetNewRecord);
    members.Method("ImportRecord", &Recorder::ImportRecord);
    members.Method("AfterImport", &Recorder::AfterImport);
    members.Get("ErrorCode", &Recorder::ErrorCode);
    members.Get("ErrorDescription", &Recorder::ErrorDescription);
  }

 private:
  void SetConnection(const ObjectPtr&) {}
  void SetText(std::string_view) {}
  void SetNumber(std::int16_t) {}
  bool HasConfig() const { return false; }
  void ShowConfig() {}

  ObjectPtr GetFields() {
    auto list = std::make_shared<MemoryRecordset>();
    list->AppendColumn("FieldName");
    list->AppendColumn("Obligation", ColumnType::kBool);
    list->AppendColumn("RowSourceTyp", ColumnType::kInt16);
    list->AppendColumn("RowSource");
    list->AppendColumn("Size", ColumnType::kInt16);
    list->AppendColumn("FieldTyp");
    list->AppendColumn("DateField", ColumnType::kBool);
    for (const Field& field : fields_) {
      list->AddNew();
      list->SetText(0, field.name);
      list->SetValue(1, false);
      list->SetValue(2, 0);
      list->SetText(3, "");
      if (!field.size.empty()) list->SetValue(4, std::stoi(field.size));
      list->SetText(5, field.type);
      list->SetValue(6, field.date);
    }
    if (!fields_.empty()) list->MoveFirst();
    return list;
  }

  void BeforeImport(bool& cancel) {
    cancel = Environment("KESTREL_TRIAL_CANCEL") == "1";
    WriteDown("BEFORE");
  }

  ObjectPtr GetNewRecord() {
    error_code_ = 0;
    auto record = std::make_shared<MemoryRecordset>();
    for (const Field& field : fields_) record->AppendColumn(field.name);
    record->AddNew();
    for (std::size_t column = 0; column < fields_.size(); ++column) record->SetText(column, "<unset>");
    return record;
  }

  void ImportRecord(const Value& value) {
    const kestrel::RecordsetPtr record = kestrel::ToRecordset(value);
    std::string event = "RECORD";
    for (std::size_t column = 0; column < fields_.size(); ++column) {
      event += "\t" + Escaped(record->TextAt(column));
    }
    WriteDown(event);
    const std::string refuse = Environment("KESTREL_TRIAL_REFUSE");
    error_code_ = !refuse.empty() && ++records_ % std::stoi(refuse) == 0 ? 7 : 0;
  }

  void AfterImport() {
    error_code_ = 0;
    WriteDown("AFTER");
  }
  std::int64_t ErrorCode() const { return error_code_; }
  std::string ErrorDescription() const { return "abgelehnt"; }

  std::vector<Field> fields_ = ReadFields();
  std::int64_t error_code_ = 0;
  int records_ = 0;
};

class RecordingLog final : public kestrel::BoundObject<RecordingLog> {
 public:
  static void Bind(Members& members) {
    members.Method("CreateProtokoll", &RecordingLog::CreateProtokoll);
    members.Method("AddNewRecord", &RecordingLog::AddNewRecord);
    members.Method("SetField", &RecordingLog::SetField);
    members.Method("UpdateRecord", &RecordingLog::UpdateRecord);
  }

 private:
  std::string CreateProtokoll(const Value&, const Value&, const Value&, const Value&, const Value&,
                              const Value&, const Value&, const Value&, std::optional<Value>,
                              std::optional<Value>) {
    return "1";
  }
  void AddNewRecord() { line_.clear(); }
  void SetField(std::int64_t, std::int64_t, std::string_view text) { line_ += "\t" + Escaped(text); }
  void UpdateRecord() { WriteDown("LOG" + line_); }

  std::string line_;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void kestrel_register_components(
    kestrel::ComponentRegistry& registry) {
  registry.Register("trial.recorder", [] { return std::make_shared<Recorder>(); });
  registry.Register("KSHProto.Protokoll", [] { return std::make_shared<RecordingLog>(); });
}
