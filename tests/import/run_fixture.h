// One import run in a test: a real text source, a real host database for the log's user name and the address
// index, a recording import class and log, and a window that notes what it is told.
#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "import/import_run.h"
#include "mapping/field_assignment.h"
#include "support/session_fixture.h"

namespace kestrel::testing {

// The run window. Its calls stand in the journal beside those of the components, as "view".
class RecordingView final : public RunView {
 public:
  explicit RecordingView(std::shared_ptr<CallJournal> journal) : journal_(std::move(journal)) {}

  std::vector<std::string> infos;
  std::vector<double> progress;
  std::vector<std::string> told;
  std::vector<RecordOutcome> outcomes;
  std::vector<OutcomeRevision> revisions;
  int yields = 0;
  int closes = 0;
  std::function<void()> on_yield;
  std::function<void()> on_info;

  void SetInfo(std::string_view text) override;
  void SetProgress(double percent) override;
  void Yield() override;
  void Tell(std::string_view text) override { told.emplace_back(text); }
  void RecordDone(const RecordOutcome& outcome) override { outcomes.push_back(outcome); }
  void Revise(const OutcomeRevision& revision) override { revisions.push_back(revision); }
  void CloseWindow() override;

 private:
  void Note(std::string name, std::vector<Value> arguments);
  std::shared_ptr<CallJournal> journal_;
};

struct Assignment {
  std::string field;
  AssignmentOption option = kImportField;
  std::string destination = {};
  std::string typ = "VARCHAR";
  std::int64_t size = 50;
  bool translate = false;
  std::string format = {};
};

// One stored record: null columns are missing.
using StoredRecord = std::map<std::string, std::string>;

class ImportRunFixture : public SessionFixture {
 protected:
  ImportRunFixture();

  // The text file that is imported, with a header line; line ends are written as CR LF.
  void UseSource(std::string_view content);
  // Appends a row to the assignment list and a text column to the records of the import class.
  void Assign(const Assignment& assignment);
  // One field "Bez1" fed from the column "Name" of a source with these names.
  void UseNames(const std::vector<std::string>& names);
  // Customers, checked by their first key, whose index the host keeps; assigns nothing to the fields that the
  // check needs beside "Bez1".
  void UseDuplicateHost();
  // Puts an address of this name, and nothing else, into the host's index: its number is `number`, its key "K-"
  // and the parts of the key text.
  void HostKnows(const std::string& name, const std::string& number = "1");
  // Runs the import once in a window of its own.
  const RunResult& Run();
  // The same by these settings; `limited` is the run under way.
  const RunResult& Run(const RunSettings& settings);
  ImportRun& limited() { return *limited_; }

  // The lines written into the logs, in order.
  std::vector<std::string> LogLines() const;
  // The calls of one component, in order.
  std::vector<std::string> CallsOf(std::string_view object) const;
  // An import class record, positioned on one empty row, with the columns assigned so far.
  std::shared_ptr<MemoryRecordset> NewRecord() const;

  std::shared_ptr<RecordingObject> import_class;
  std::shared_ptr<RecordingObject> log;
  ConnectionPtr host;
  std::vector<StoredRecord> stored;
  RecordingView view{journal};
  ActiveImport import{session};
  ImportRun run{import, view};

 private:
  std::unique_ptr<ImportRun> limited_;
  std::vector<std::string> columns_;
};

}  // namespace kestrel::testing
