// How a run ends where its source could not be opened, breaks off or cannot say where its end is.
#include <utility>

#include "import/run_fixture.h"
#include "platform/base/file.h"
#include "sources/scripted_connection.h"
#include "support/source_kind_names.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kErrors =
    "Beim Importieren der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese über die Protokolle!";

// Rows of one column "Name" that end before their time.
class EndingRecordset final : public Recordset {
 public:
  enum class Ending {
    kRaises,     // as record sets do that break off
    kOnlyTells,  // BrokenOff alone
    kNoEnd,      // the move raises and IsEof still says no
    kNoIsEof,    // IsEof raises
  };
  EndingRecordset(std::size_t rows, std::int64_t count, Ending ending)
      : rows_(rows), count_(count), ending_(ending) {}

  std::size_t ColumnCount() const override { return 1; }
  std::string_view ColumnName(std::size_t) const override { return "Name"; }
  bool IsBof() const override { return rows_ == 0; }
  bool IsEof() const override {
    if (ending_ == Ending::kNoIsEof) throw Reason();
    return row_ >= rows_;
  }
  void MoveFirst() override { row_ = 0; }
  void MoveNext() override {
    ++row_;
    if (row_ < rows_ || ending_ == Ending::kOnlyTells || ending_ == Ending::kNoIsEof) return;
    if (ending_ == Ending::kNoEnd) row_ = 0;
    throw Reason();
  }
  std::int64_t RecordCount() const override { return count_; }
  std::optional<RuntimeError> BrokenOff() const override {
    if (row_ < rows_) return std::nullopt;
    return Reason();
  }
  bool IsNull(std::size_t) const override { return false; }
  std::string_view TextAt(std::size_t) const override { return "X"; }

 private:
  static RuntimeError Reason() { return RuntimeError(ErrorNumber::kDatabase, "Server weg"); }

  std::size_t rows_;
  std::int64_t count_;
  Ending ending_;
  std::size_t row_ = 0;
};

class RunEndTest : public ImportRunFixture {
 protected:
  using Ending = EndingRecordset::Ending;
  void UseEnding(std::size_t rows, std::int64_t count, Ending ending) {
    const auto connection = std::make_shared<ScriptedConnection>();
    connection->records = std::make_shared<EndingRecordset>(rows, count, ending);
    session.Provider = kAccessSource;
    session.Table = "Adressen";
    session.SourceConnection = connection;
    Assign({.field = "Bez1", .destination = "Name"});
  }
  std::vector<std::string> BoxTexts() const {
    std::vector<std::string> texts;
    for (const auto& box : ui.boxes) texts.push_back(box.text);
    return texts;
  }
};

TEST_F(RunEndTest, ASourceReadToItsEndSaysSo) {
  UseNames({"A"});
  const RunResult& result = Run();
  EXPECT_EQ(result.source_end.state, SourceState::kAtEnd);
  EXPECT_FALSE(result.source_end.error);
}

TEST_F(RunEndTest, AnAbortedRunLeavesItsSourceOpen) {
  UseNames({"A", "B"});
  session.DeleteFile = true;
  view.on_yield = [this] { run.RequestAbort(); };
  EXPECT_EQ(Run().source_end.state, SourceState::kOpen);
  EXPECT_TRUE(FileExists(session.FileName));
  EXPECT_THAT(view.told, ElementsAre(HasSubstr("wurde nicht gelöscht: Der Import wurde abgebrochen.")));
}

TEST_F(RunEndTest, ASourceThatBreaksOffIsOneErrorWhicheverWayItDoes) {
  for (const Ending ending : {Ending::kRaises, Ending::kOnlyTells, Ending::kNoEnd}) {
    SCOPED_TRACE(static_cast<int>(ending));
    ui.boxes.clear();
    journal->clear();
    session.AssignmentList->MoveFirst();
    UseEnding(3, 1000, ending);
    ImportRun broken(import, view);
    broken.Activate();
    const RunResult& result = broken.result();
    EXPECT_EQ(result.records, 3);
    EXPECT_EQ(result.errors, 1);
    EXPECT_EQ(result.source_end.state, SourceState::kBrokenOff);
    ASSERT_TRUE(result.source_end.error);
    EXPECT_EQ(result.source_end.error->Description(), "Server weg");
    EXPECT_THAT(BoxTexts(), ElementsAre("Fehler: Server weg", kErrors));
    EXPECT_THAT(LogLines(), ElementsAre("Fehler: 3000 Server weg (/ImportStart)"));
    EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
  }
}

TEST_F(RunEndTest, ASourceWithoutAnyRowThatCanBeReadIsNoSuccess) {
  UseEnding(0, 1000, Ending::kOnlyTells);
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 0);
  EXPECT_EQ(result.errors, 1);
  EXPECT_EQ(result.source_end.state, SourceState::kBrokenOff);
  EXPECT_THAT(BoxTexts(), ElementsAre("Fehler: Server weg", kErrors));
}

TEST_F(RunEndTest, AnIsEofThatAlwaysFailsEndsTheRunWithOneError) {
  for (const std::int64_t count : {-1, 0, 1000}) {
    SCOPED_TRACE(count);
    ui.boxes.clear();
    journal->clear();
    UseEnding(3, count, Ending::kNoIsEof);
    ImportRun endless(import, view);
    endless.Activate();
    EXPECT_EQ(endless.result().records, 0);
    EXPECT_EQ(endless.result().errors, 1);
    EXPECT_THAT(BoxTexts(), ElementsAre(kErrors));
    EXPECT_THAT(LogLines(), ElementsAre("Fehler: 3000 Server weg (/ImportStart)"));
  }
}

TEST_F(RunEndTest, ASourceThatCannotBeOpenedIsOneErrorAndNoSuccess) {
  session.FileName = folder.File("fehlt.txt");
  Assign({.field = "Bez1", .destination = "Name"});
  const RunResult& result = Run();
  const std::string reason = "Datei nicht gefunden: " + session.FileName;
  EXPECT_EQ(result.records, 0);
  EXPECT_EQ(result.errors, 1);
  EXPECT_EQ(result.source_end.state, SourceState::kNotOpened);
  EXPECT_THAT(BoxTexts(), ElementsAre("Fehler: " + reason, kErrors));
  EXPECT_THAT(LogLines(), ElementsAre("Fehler: 53 " + reason + " (/ImportStart)"));
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
}

TEST_F(RunEndTest, ASourceFileThatStaysIsToldWithTheReason) {
  UseNames({"A"});
  session.DeleteFile = true;
  import_class->Get("ErrorCode", Value(7));
  const RunResult& result = Run();
  EXPECT_TRUE(FileExists(session.FileName));
  EXPECT_EQ(result.source_kept,
            "Die Quelldatei '" + session.FileName + "' wurde nicht gelöscht: Es wurden Fehler gezählt.");
  EXPECT_THAT(view.told, ElementsAre(result.source_kept));
}

TEST_F(RunEndTest, ASourceFileThatWasRemovedOrWasNotToBeIsNotTold) {
  UseNames({"A"});
  session.DeleteFile = true;
  EXPECT_THAT(Run().source_kept, IsEmpty());
  EXPECT_FALSE(FileExists(session.FileName));
  EXPECT_THAT(view.told, IsEmpty());
}

}  // namespace
}  // namespace kestrel::testing
