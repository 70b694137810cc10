// An importer of the sample host that is told of its run, as a run tells it.
#pragma once

#include <string>
#include <vector>

#include "host/host_fixture.h"

namespace kestrel::testing {

class LedgerFixture : public HostFixture {
 protected:
  // As BeforeImport and the opening of the source do.
  void Start(const ObjectPtr& of) {
    Value cancel(false);
    CallMethod(of, "BeforeImport", ByRef(cancel));
    CallMethod(of, "RunStarts", "Kunden.IMP", "c0ffee", "kunden.txt", std::int64_t{42}, "2024-03-07 14:05:09");
  }
  void End(const ObjectPtr& of, std::int64_t added = 0, std::int64_t updated = 0) {
    while (CallMethod(of, "NextLateError").ToBool())
      errors.push_back(GetProperty(of, "ErrorDescription").ToText());
    CallMethod(of, "AfterImport");
    CallMethod(of, "RunEnds", "finished", added + updated, added, updated, 0, 0, 0, 0, "");
  }
  // A whole run that stores these.
  void ImportAll(const std::vector<FieldTexts>& records) {
    const ObjectPtr of = OverwritingImporter();
    Start(of);
    for (const FieldTexts& record : records) ASSERT_EQ(Import(of, record), "");
    End(of, static_cast<std::int64_t>(records.size()));
  }
  // Stores so many records without numbers.
  void ImportMany(const ObjectPtr& of, int count) {
    for (int i = 1; i <= count; ++i) {
      ASSERT_EQ(
          Import(of, {{"Bez1", ("Firma " + std::to_string(i)).c_str()}, {"PLZ", "50667"}, {"Ort", "Köln"}}),
          "");
    }
  }
  void Flush() { host::GroupedWrites::Of(*connection).Flush(); }
  std::vector<std::string> States() { return Rows("SELECT LaufNr, Zustand FROM Importlauf ORDER BY LaufNr"); }
  std::string Restore(const ConnectionPtr& of) {
    return CallMethod(components.CreateObject("kestrelhost.Setup"), "RestoreDatabase", of).ToText();
  }

  std::vector<std::string> errors;
};

}  // namespace kestrel::testing
