#include "address_book.h"

#include <kestrel/import_class.h>

void AddressBook::Bind(Members& members) {
  members.Set("Connection", &AddressBook::SetConnection);
  members.Let("PersonalNr", &AddressBook::SetPersonalNr);
  members.Let("Application", &AddressBook::SetApplication);
  members.Let("SpecificationFile", &AddressBook::SetSpecificationFile);
  members.Get("HasConfig", &AddressBook::HasConfig);
  members.Method("ShowConfig", &AddressBook::ShowConfig);
  members.Method("GetFields", &AddressBook::GetFields);
  members.Method("BeforeImport", &AddressBook::BeforeImport);
  members.Method("GetNewRecord", &AddressBook::GetNewRecord);
  members.Method("ImportRecord", &AddressBook::ImportRecord);
  members.Method("AfterImport", &AddressBook::AfterImport);
  members.Get("ErrorCode", &AddressBook::ErrorCode);
  members.Get("ErrorDescription", &AddressBook::ErrorDescription);
}

// What a record consists of: two texts, the name being mandatory.
kestrel::ObjectPtr AddressBook::GetFields() {
  return kestrel::FieldListOf(std::vector<kestrel::FieldListRow>{
      {.name = "Name", .size = 50, .obligation = true},
      {.name = "Ort", .size = 50},
  });
}

void AddressBook::BeforeImport(bool& cancel) {
  lines_.clear();
  cancel = false;
}

kestrel::ObjectPtr AddressBook::GetNewRecord() {
  auto record = std::make_shared<kestrel::MemoryRecordset>();
  record->AppendColumn("Name");
  record->AppendColumn("Ort");
  record->AddNew();
  error_code_ = 0;
  return record;
}

// Never raises: what went wrong is asked for afterwards.
void AddressBook::ImportRecord(const kestrel::Value& record) {
  error_code_ = 0;
  kestrel::Trap(
      [&] {
        const kestrel::RecordsetPtr row = kestrel::ToRecordset(record);
        lines_.push_back(std::string(row->TextAt(row->RequireColumn("Name"))) + ", " +
                         std::string(row->TextAt(row->RequireColumn("Ort"))));
      },
      [&](const kestrel::RuntimeError& error) {
        error_code_ = error.Number();
        error_description_ = error.Description();
      });
}
