// An import class of the program's own: it takes addresses and keeps them in memory.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <kestrel/bound_object.h>
#include <kestrel/memory_recordset.h>

class AddressBook final : public kestrel::BoundObject<AddressBook> {
 public:
  // The names that the import calls.
  static void Bind(Members& members);

  const std::vector<std::string>& lines() const { return lines_; }

 private:
  void SetConnection(const kestrel::ObjectPtr&) {}
  void SetPersonalNr(const std::string&) {}
  void SetApplication(std::int16_t) {}
  void SetSpecificationFile(const std::string&) {}
  bool HasConfig() const { return false; }
  void ShowConfig() {}
  kestrel::ObjectPtr GetFields();
  void BeforeImport(bool& cancel);
  kestrel::ObjectPtr GetNewRecord();
  void ImportRecord(const kestrel::Value& record);
  void AfterImport() {}
  std::int64_t ErrorCode() const { return error_code_; }
  std::string ErrorDescription() const { return error_description_; }

  std::vector<std::string> lines_;
  std::int64_t error_code_ = 0;
  std::string error_description_;
};
