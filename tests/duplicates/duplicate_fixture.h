// A host for the duplicate check: a real address index, and settings and key components that note their calls.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "duplicates/duplicate_check.h"
#include "kestrel/host_components.h"
#include "log/import_log.h"
#include "support/noting_connection.h"
#include "support/session_fixture.h"

namespace kestrel::testing {

class DuplicateFixture : public SessionFixture {
 protected:
  // Customers, checked by all three keys; the host keeps the index.
  DuplicateFixture();

  // Makes every new instance of a component fail at a member.
  void LetFail(const std::string& prog_id, const std::string& member, const RuntimeError& error);

  // The specification's section CfgSettings.
  void UseSettings(const std::string& lines);

  // A record with the fields of all three kinds of address; those that `values` does not name are null.
  std::shared_ptr<MemoryRecordset> Record(const std::map<std::string, std::string>& values) const;

  // Adds a row to the address index.
  void Index(int type, const std::string& reference, const std::string& key1, const std::string& key2 = "",
             const std::string& key3 = "");

  RecordingUserInterface::Box PlainBox(const std::string& text) const {
    return {text, "", Icon::kNone, Buttons::kOk};
  }

  // What GetSetting answers for each setting of the group "Adressindex"; "0" for others.
  std::map<std::string, std::string> host_settings = {
      {"Doubletindex", "1"}, {"AlgorithmCode1", "A1"}, {"AlgorithmCode2", "A2"}, {"AlgorithmCode3", "A3"}};
  // What BuildDoubletKey answers; the code and the key text joined by "/" unless a test sets it.
  std::function<std::string(const std::string& code, const std::string& key_text)> build_key;

  ImportLogs logs{session};
  ProfileStore profiles;
  DuplicateCheck duplicates{session, profiles, logs};
  std::shared_ptr<NotingConnection> connection;
  // Every instance made so far.
  std::vector<ObjectPtr> settings_objects;
  std::vector<ObjectPtr> key_objects;

 private:
  struct Failure {
    std::string prog_id;
    std::string member;
    RuntimeError error;
  };
  void ApplyFailures(const std::string& prog_id, RecordingObject& object) const;
  Value AnswerSetting(std::span<Argument> arguments) const;

  std::vector<Failure> failures_;
};

}  // namespace kestrel::testing
