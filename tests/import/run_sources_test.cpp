// Runs over sources whose record count is not that of their records.
#include <array>

#include "import/run_fixture.h"
#include "platform/data/indexed_recordset.h"
#include "support/source_kind_names.h"

namespace kestrel::testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Some providers count wrongly: rows of one column "Name", and a count of their own.
class MiscountedRecordset final : public Recordset {
 public:
  MiscountedRecordset(std::vector<std::string> names, std::int64_t count)
      : names_(std::move(names)), count_(count) {}

  std::size_t ColumnCount() const override { return 1; }
  std::string_view ColumnName(std::size_t) const override { return "Name"; }
  bool IsBof() const override { return names_.empty(); }
  bool IsEof() const override { return row_ == names_.size(); }
  void MoveFirst() override { row_ = 0; }
  void MoveNext() override { ++row_; }
  std::int64_t RecordCount() const override { return count_; }
  bool IsNull(std::size_t) const override { return false; }
  std::string_view TextAt(std::size_t) const override { return names_.at(row_); }

 private:
  std::vector<std::string> names_;
  std::int64_t count_;
  std::size_t row_ = 0;
};

// One row of one column "Name". Each look renders the value anew, and what the look before returned is gone.
class RenderingRecordset final : public IndexedRecordset {
 public:
  RenderingRecordset() : IndexedRecordset({"Name"}, 1) {}
  using IndexedRecordset::TextAt;

 protected:
  bool IsNullAt(std::size_t, std::size_t) const override { return false; }
  std::string_view TextAt(std::size_t, std::size_t) const override {
    texts_[latest_].assign(texts_[latest_].size(), '#');
    latest_ = 1 - latest_;
    return texts_[latest_] = "31.12.1999 23:59:59";
  }

 private:
  mutable std::array<std::string, 2> texts_;
  mutable std::size_t latest_ = 0;
};

class MiscountingConnection final : public Connection {
 public:
  explicit MiscountingConnection(RecordsetPtr rows) : rows_(std::move(rows)) {}
  std::int64_t Execute(std::string_view) override { return 0; }
  RecordsetPtr OpenRecordset(std::string_view) override { return rows_; }
  std::vector<CatalogTable> Tables() override { return {}; }
  std::vector<std::string> ColumnNames(std::string_view) override { return {"Name"}; }
  void Close() override {}
  bool IsOpen() const override { return true; }

 private:
  RecordsetPtr rows_;
};

class RunSourcesTest : public ImportRunFixture {
 protected:
  void UseMiscounted(std::vector<std::string> names, std::int64_t count) {
    session.Provider = kAccessSource;
    session.Table = "Adressen";
    session.SourceConnection =
        std::make_shared<MiscountingConnection>(std::make_shared<MiscountedRecordset>(std::move(names), count));
    Assign({.field = "Bez1", .destination = "Name"});
  }
};

TEST_F(RunSourcesTest, AMismatchIsToldWithItsValueWhereASecondLookWouldRenderItAnew) {
  session.Provider = kAccessSource;
  session.Table = "Adressen";
  session.SourceConnection = std::make_shared<MiscountingConnection>(std::make_shared<RenderingRecordset>());
  Assign({.field = "Rabatt", .destination = "Name", .typ = "INT"});
  Run();
  EXPECT_THAT(LogLines(), ElementsAre(HasSubstr("(Rabatt / 31.12.1999 23:59:59 (ImportRecord/ImportStart)")));
}

TEST_F(RunSourcesTest, ACountOfZeroDividesByZeroForEveryRecordButImportsAll) {
  UseMiscounted({"A", "B", "C"}, 0);
  const RunResult& result = Run();
  EXPECT_EQ(stored.size(), 3u);
  EXPECT_EQ(result.records, 3);
  EXPECT_EQ(result.total, 0);
  EXPECT_EQ(result.errors, 3);
  EXPECT_THAT(LogLines(), Each("Fehler: 11 Division durch Null (/ImportStart)"));
  EXPECT_THAT(view.progress, IsEmpty());
  EXPECT_EQ(view.infos.front(), "Importiere Datensatz 0 von 0");
  EXPECT_EQ(result.message,
            "Beim Importieren der Daten sind Fehler aufgetreten. Bitte prüfen Sie diese über die Protokolle!");
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
}

TEST_F(RunSourcesTest, MoreRecordsThanCountedEndTheRoundsOneBehindTheCount) {
  UseMiscounted({"A", "B", "C", "D"}, 2);
  const RunResult& result = Run();
  EXPECT_EQ(stored.size(), 3u);
  EXPECT_EQ(result.records, 3);
  EXPECT_FALSE(result.aborted);
  EXPECT_EQ(view.infos.back(), "Der Import hat 3 von 2 Datensätzen erfolgreich importiert.");
  EXPECT_EQ(result.message, "Der Import hat 3 von 2Datensätzen erfolgreich importiert.");
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
}

TEST_F(RunSourcesTest, ASourceThatCannotCountIsReadToItsEnd) {
  UseMiscounted({"A", "B", "C"}, -1);
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 3);
  EXPECT_EQ(stored.size(), 3u);
  EXPECT_EQ(import_class->CountOf("AfterImport"), 1u);
  EXPECT_EQ(view.infos.front(), "Importiere Datensatz 0");
  EXPECT_THAT(view.progress, IsEmpty()) << "nobody knows how far it is";
  EXPECT_EQ(result.message, "Der Import wurde erfolgreich fertig gestellt.");
}

TEST_F(RunSourcesTest, AStoppedRunLeavesOutATotalThatNobodyKnows) {
  UseMiscounted({"A", "B", "C"}, -1);
  view.on_yield = [this] {
    if (stored.size() == 1) run.RequestAbort();  // the record under way is finished
  };
  const RunResult& result = Run();
  EXPECT_TRUE(result.aborted);
  EXPECT_EQ(view.infos.back(), "Der Import hat 2 Datensätze erfolgreich importiert.");
  EXPECT_EQ(result.message, "Der Import hat 2 Datensätze erfolgreich importiert.");
}

TEST_F(RunSourcesTest, FewerRecordsThanCountedEndTheRoundsAtTheLast) {
  UseMiscounted({"A"}, 4);
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 1);
  EXPECT_THAT(view.progress, ElementsAre(25.0));
  EXPECT_EQ(result.message, "Der Import hat 1 von 4Datensätzen erfolgreich importiert.");
}

TEST_F(RunSourcesTest, ASourceOfUnknownKindHasNoRecords) {
  session.Provider = "Lochkarten";
  Assign({.field = "Bez1", .destination = "Name"});
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 0);
  EXPECT_THAT(stored, IsEmpty());
  EXPECT_EQ(view.closes, 1);
}

TEST_F(RunSourcesTest, AMissingTextFileIsToldAndHasNoRecords) {
  session.FileName = folder.File("fehlt.txt");
  Assign({.field = "Bez1", .destination = "Name"});
  const RunResult& result = Run();
  EXPECT_EQ(result.records, 0);
  ASSERT_GE(ui.boxes.size(), 2u);
  EXPECT_EQ(ui.boxes.front().text.substr(0, 8), "Fehler: ");
  EXPECT_EQ(ui.boxes.back().text, result.message);
}

TEST_F(RunSourcesTest, DatabaseSourcesAreNeitherBackedUpNorRemoved) {
  UseMiscounted({"A"}, 1);
  session.FileName = folder.Write("adressen.txt", "x");
  session.SaveFile = session.DeleteFile = true;
  session.SavePath = folder.File("Nirgends");
  const RunResult& result = Run();
  EXPECT_EQ(ui.boxes.size(), 1u);
  EXPECT_EQ(result.errors, 0);
  EXPECT_EQ(ReadBytes(session.FileName), "x");
}

}  // namespace
}  // namespace kestrel::testing
