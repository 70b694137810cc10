// Step 2 and a file that takes its time: the page is alive while it waits, as for a server.
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QTableView>
#include <atomic>
#include <filesystem>

#include "kestrel/open_connection.h"
#include "support/gate.h"
#include "support/sqlite_source_kind.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using testing::ClickOn;
using ::testing::ElementsAre;
using testing::Gate;
using ::testing::IsEmpty;
using testing::Spin;

// What a kind of source opens with is a plain function.
Gate* slow_step = nullptr;
std::atomic<int> column_questions = 0;

// Counts how often its columns are asked for.
class CountedConnection final : public Connection {
 public:
  explicit CountedConnection(ConnectionPtr over) : over_(std::move(over)) {}
  RecordsetPtr OpenRecordset(std::string_view sql) override { return over_->OpenRecordset(sql); }
  std::int64_t Execute(std::string_view sql) override { return over_->Execute(sql); }
  std::vector<CatalogTable> Tables() override { return over_->Tables(); }
  std::vector<std::string> ColumnNames(std::string_view table) override {
    ++column_questions;
    slow_step->Pass();
    return over_->ColumnNames(table);
  }
  void Close() override { over_->Close(); }
  bool IsOpen() const override { return over_->IsOpen(); }

 private:
  ConnectionPtr over_;
};

OpenedSource OpenSlowly(const SourceInputs& inputs, const ConnectionOpener& open) {
  slow_step->Pass();
  OpenedSource opened = testing::ConnectSqlite(inputs, open);
  if (opened.connection != nullptr) opened.connection = std::make_shared<CountedConnection>(opened.connection);
  return opened;
}

class Step2SlowFileTest : public testing::WizardFixture {
 protected:
  Step2SlowFileTest() {
    slow_step = gate.get();
    column_questions = 0;
    const ConnectionPtr data = OpenConnection(folder.File("k.sqlite"));
    data->Execute("CREATE TABLE Kunden (Name text, Ort text)");
    data->Execute("INSERT INTO Kunden VALUES ('Beck', 'Ulm')");
    SourceKind kind = testing::SqliteSourceKind();
    kind.connect = OpenSlowly;
    kinds.Add(kind);
    session.platform.source_kinds = &kinds;
  }
  ~Step2SlowFileTest() override {
    wizard.Abandon();
    gate->Open();
    session.platform.source_kinds = nullptr;
  }
  // Step 2 over the file, which is not open yet.
  void OpenWaiting() {
    WriteSpecification("Test.IMP",
                       "[Common]\nDescription=T\nApplication=2\nImportClass=test.import\nProvider=SQLite-"
                       "Datenbank\nDatabase=" +
                           folder.File("k.sqlite") + "\nTable=Kunden\n");
    OpenStep1();
    Find<QListWidget>("lstVorlage").setCurrentRow(0);
    ClickOn(Find<QWidget>("cmdNext"));
    Spin();
    gate->AwaitEntered();
    Spin();
  }
  bool IsWaiting() const { return !Find<QWidget>("cmdNext").isEnabled(); }

  SourceKinds kinds;
  // The thread of a page that has gone may still stand in it.
  static inline const std::shared_ptr<Gate> gate = std::make_shared<Gate>();
};

TEST_F(Step2SlowFileTest, ThePageIsAliveWhileTheFileIsOpenedAndOnlyLetsItselfBeLeft) {
  gate->Close();
  OpenWaiting();
  ASSERT_EQ(PageName(), "frmStep2");
  ASSERT_TRUE(IsWaiting());
  EXPECT_TRUE(Find<QWidget>("cmdCancel").isEnabled());
  gate->Open();
  Settle();
  EXPECT_FALSE(IsWaiting());
  EXPECT_EQ(Find<QComboBox>("cboAccessTable").currentText(), "Kunden");
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_FALSE(session.SchemaChanged) << "filling and waiting are no edits";
}

TEST_F(Step2SlowFileTest, AbbrechenWhileItWaitsClosesThePageForGood) {
  gate->Close();
  OpenWaiting();
  ASSERT_TRUE(IsWaiting());
  ClickOn(Find<QWidget>("cmdCancel"));
  Spin();
  EXPECT_EQ(PageName(), "");
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP")) << "no working copy is left";
}

TEST_F(Step2SlowFileTest, TheColumnsAreAskedForOnceAndNotInTheWindowsThread) {
  gate->Open();
  OpenWaiting();
  Settle();
  gate->Close();
  ClickOn(Find<QWidget>("cmdNext"));
  gate->AwaitEntered();
  Spin();
  EXPECT_EQ(PageName(), "frmStep2");
  EXPECT_TRUE(IsWaiting());
  gate->Open();
  Settle();
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(session.SourceFieldNames, ElementsAre("Name", "Ort", ""));
  EXPECT_EQ(column_questions, 1);
}

TEST_F(Step2SlowFileTest, ThePreviewIsReadApart) {
  gate->Open();
  OpenWaiting();
  Settle();
  gate->Close();
  std::vector<std::string> shown;
  modals.Then("frmPrev", [&](QWidget& preview) {
    const auto& model = *testing::FindIn<QTableView>(preview, "TDBList1").model();
    shown = {FromQt(model.headerData(1, Qt::Horizontal).toString()),
             FromQt(model.index(0, 0).data().toString()),
             FromQt(testing::FindIn<QLabel>(preview, "lblCount").text())};
    preview.close();
  });
  ClickOn(Find<QWidget>("cmdVorschau"));
  gate->AwaitEntered();
  Spin();
  EXPECT_TRUE(IsWaiting());
  gate->Open();
  Settle();
  EXPECT_THAT(shown, ElementsAre("Ort", "Beck", "1 Datensatz"));
}

// --- A file that is read without a connection ---

std::vector<std::string> SlowColumns(Session& session, ShownError* failure) {
  ++column_questions;
  slow_step->Pass();
  return GetTextFieldNames(session, failure);
}

RecordsetPtr SlowRecords(Session& session) {
  slow_step->Pass();
  return OpenTextFile(session);
}

bool LooksSlowly(std::string_view) {
  slow_step->Pass();
  return true;
}

class Step2SlowTextTest : public testing::WizardFixture {
 protected:
  explicit Step2SlowTextTest(WizardComforts comforts = {}) : WizardFixture(comforts) {
    gate->Open();
    slow_step = gate.get();
    column_questions = 0;
    SourceKind kind = kinds.Default();
    kind.name = "Langsame Textdatei";
    kind.open = SlowRecords;
    kind.column_names = SlowColumns;
    kind.has_mark = LooksSlowly;
    kinds.Add(kind);
    session.platform.source_kinds = &kinds;
  }
  ~Step2SlowTextTest() override {
    wizard.Abandon();
    gate->Open();
    session.platform.source_kinds = nullptr;
  }
  void OpenSlow() {
    std::string specification = TextSpecification(WriteSource());
    const std::string kind = "Provider=Textdatei";
    specification.replace(specification.find(kind), kind.size(), "Provider=Langsame Textdatei");
    OpenStep2(specification);
  }
  void ClickAndMeetGate(const char* button) {
    ClickOn(Find<QWidget>(button));
    Spin();
    gate->AwaitEntered();
    Spin();
  }
  bool IsWaiting() const { return !Find<QWidget>("cmdNext").isEnabled(); }

  SourceKinds kinds;
  static inline const std::shared_ptr<Gate> gate = std::make_shared<Gate>();
};

TEST_F(Step2SlowTextTest, TheHeadingsAreReadOnceAndNotInTheWindowsThread) {
  OpenSlow();
  gate->Close();
  ClickAndMeetGate("cmdNext");
  EXPECT_EQ(PageName(), "frmStep2");
  EXPECT_TRUE(IsWaiting());
  gate->Open();
  Settle();
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(session.SourceFieldNames, ElementsAre("Name", "Ort", "Datum", "Gruppe", ""));
  EXPECT_EQ(column_questions, 1);
}

TEST_F(Step2SlowTextTest, AFileThatGoesWhileItsHeadingsAreReadIsToldInAMessage) {
  OpenSlow();
  gate->Close();
  ClickAndMeetGate("cmdNext");
  std::filesystem::remove(session.FileName);
  gate->Open();
  Settle();
  ASSERT_FALSE(ui.boxes.empty());
  EXPECT_THAT(ui.boxes[0].text, ::testing::StartsWith("Fehler: Datei nicht gefunden"));
}

TEST_F(Step2SlowTextTest, ThePreviewIsReadApart) {
  OpenSlow();
  gate->Close();
  std::vector<std::string> shown;
  modals.Then("frmPrev", [&](QWidget& preview) {
    const auto& model = *testing::FindIn<QTableView>(preview, "TDBList1").model();
    shown = {FromQt(model.headerData(1, Qt::Horizontal).toString()),
             FromQt(testing::FindIn<QLabel>(preview, "lblCount").text())};
    preview.close();
  });
  ClickAndMeetGate("cmdVorschau");
  EXPECT_TRUE(IsWaiting());
  gate->Open();
  Settle();
  EXPECT_THAT(shown, ElementsAre("Ort", "3 Datensätze"));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

class Step2SlowlyRecognisedTest : public Step2SlowTextTest {
 protected:
  Step2SlowlyRecognisedTest() : Step2SlowTextTest({.recognised_files = true}) {}
};

TEST_F(Step2SlowlyRecognisedTest, AFileIsLookedAtApart) {
  OpenSlow();
  const std::string other = folder.Write("andere.txt", "A;B\r\n1;2\r\n");
  gate->Close();
  ui.replies = {other};
  ClickAndMeetGate("cmdFilename");
  EXPECT_TRUE(IsWaiting());
  EXPECT_TRUE(Find<QWidget>("cmdCancel").isEnabled());
  gate->Open();
  Settle();
  EXPECT_FALSE(IsWaiting());
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtFilename").text()), other);
}

TEST_F(Step2SlowlyRecognisedTest, AFileThatTheHostHandsInIsLookedAtApart) {
  const std::string other = folder.Write("andere.txt", "A;B\r\n1;2\r\n");
  session.ImportFileName = other;
  gate->Close();
  WriteSpecification("Test.IMP", TextSpecification(WriteSource()));
  OpenStep1();
  Find<QListWidget>("lstVorlage").setCurrentRow(0);
  ClickAndMeetGate("cmdNext");
  ASSERT_EQ(PageName(), "frmStep2");
  EXPECT_TRUE(IsWaiting());
  gate->Open();
  Settle();
  EXPECT_FALSE(IsWaiting());
  EXPECT_EQ(FromQt(Find<QComboBox>("cboDatenquelleTyp").currentText()), "Langsame Textdatei");
  EXPECT_EQ(FromQt(Find<QLineEdit>("txtFilename").text()), other);
}

}  // namespace
}  // namespace kestrel
