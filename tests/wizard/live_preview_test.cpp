// The first records below the settings of step 2, and the page without them.
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <atomic>

#include "support/gate.h"
#include "wizard/source_preview.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using testing::FindIn;
using testing::Gate;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::Spin;

void Await(const SourcePreview& preview) {
  do {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  } while (preview.IsReading());
}

class WithoutLivePreview : public testing::WizardFixture {
 protected:
  using WizardFixture::WizardFixture;

  const QTableView& Table() const { return Find<QTableView>("tblVorschau"); }
  // What stands in place of the table; empty while that is shown.
  std::string Reason() const {
    Spin();
    Await(Find<SourcePreview>("fraVorschau"));
    const auto& reason = Find<QLabel>("lblVorschau");
    return reason.isVisible() ? FromQt(reason.text()) : "";
  }
  std::vector<std::string> Row(int row) const {
    Spin();
    Await(Find<SourcePreview>("fraVorschau"));
    std::vector<std::string> cells;
    if (!Table().isVisible()) return {Reason()};
    const auto& model = *Table().model();
    for (int column = 0; column < model.columnCount(); ++column) {
      cells.push_back(row < 0 ? FromQt(model.headerData(column, Qt::Horizontal).toString())
                              : FromQt(model.index(row, column).data().toString()));
    }
    return cells;
  }
};

class LivePreview : public WithoutLivePreview {
 protected:
  LivePreview() : WithoutLivePreview({.live_preview = true}) {}
};

TEST_F(WithoutLivePreview, ThePageHasNone) {
  OpenStep2(TextSpecification(WriteSource()));
  EXPECT_EQ(Page().findChild<QWidget*>("fraVorschau"), nullptr);
}

TEST_F(LivePreview, ShowsTheFirst20RecordsAsTheyAreReadNow) {
  OpenStep2(TextSpecification(WriteSource(250)));
  EXPECT_THAT(Row(-1), ElementsAre("Name", "Ort", "Datum", "Gruppe"));
  EXPECT_THAT(Row(0), ElementsAre("Müller 1", "Köln", "01.02.2024", "A"));
  EXPECT_EQ(Table().model()->rowCount(), 20);
  Click("optKomma");
  EXPECT_THAT(Row(0), ElementsAre("Müller 1;Köln;01.02.2024;A"));
  Click("optSemikolon");
  Click("chkZeileFeldname");
  EXPECT_THAT(Row(-1), ElementsAre("Feld01", "Feld02", "Feld03", "Feld04"));
  EXPECT_THAT(Row(0), ElementsAre("Name", "Ort", "Datum", "Gruppe"));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(LivePreview, ChangesNothingOfTheSession) {
  OpenStep2(TextSpecification(WriteSource()));
  Row(0);
  EXPECT_FALSE(session.SchemaChanged);
  EXPECT_FALSE(session.SourceSettingsChanged);
  EXPECT_EQ(session.SourceRecordset, nullptr);
  Click("optKomma");
  Row(0);
  EXPECT_EQ(session.Delimiter, ";") << "stored when the page is left";
}

TEST_F(LivePreview, ASourceThatFailsSaysWhyInPlaceOfTheTable) {
  OpenStep2(TextSpecification(WriteSource()));
  EXPECT_EQ(Reason(), "");
  Find<QLineEdit>("txtFilename").setText(ToQt(folder.File("fehlt.txt")));
  EXPECT_THAT(Reason(), HasSubstr("fehlt.txt"));
  Find<QLineEdit>("txtFilename").clear();
  EXPECT_EQ(Reason(), "Die Vorschau erscheint, sobald eine Datei ausgewählt ist.");
  Find<QLineEdit>("txtFilename").setText(ToQt(folder.Write("leer.txt", "Name;Ort\n")));
  EXPECT_EQ(Reason(), "Die Datenquelle enthält keine Datensätze.");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

class RecognisedPreview : public WithoutLivePreview {
 protected:
  RecognisedPreview()
      : WithoutLivePreview({.column_drift = true,
                            .unlisted_kinds = true,
                            .failed_connections = true,
                            .kept_assignments = true,
                            .offers_excel = true,
                            .recognised_files = true,
                            .live_preview = true}) {}
};

TEST_F(RecognisedPreview, AMissingFileTakesTheRowsOfTheOneBeforeAwayWhileItIsTyped) {
  const std::string source = WriteSource();
  for (const std::string& missing : {folder.File("fehlt.txt"), std::string("/srv/fehlt auch/Kunden.txt")}) {
    OpenStep2(TextSpecification(source));
    EXPECT_EQ(Reason(), "");
    Type("txtFilename", missing.c_str());
    EXPECT_TRUE(Find<QLineEdit>("txtFilename").hasFocus());
    EXPECT_THAT(Reason(), HasSubstr(missing));
    EXPECT_THAT(ui.boxes, IsEmpty());
  }
}

TEST_F(LivePreview, FollowsTheChosenTable) {
  if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the public test files are not there";
  OpenStep2(
      "[Common]\nDescription=Test\nApplication=2\nImportClass=test.import\nProvider=dBase-"
      "Datenbank\nDatabase=" +
      testing::TestDataFolder() + "/dbf\nTable=KUNDEN_c1252.dbf\n");
  const std::vector<std::string> first = Row(-1);
  EXPECT_GT(first.size(), 1u) << first[0];
  const auto& list = Find<QComboBox>("cbodBaseTable");
  const int other = list.findText("dbase_03", Qt::MatchFixedString);
  ASSERT_GE(other, 0);
  Choose("cbodBaseTable", list.itemText(other).toUtf8().constData());
  EXPECT_NE(Row(-1), first);
}

TEST_F(LivePreview, ASilentServerIsNotAskedForIt) {
  OpenStep2(
      "[Common]\nDescription=T\nApplication=2\nImportClass=test.import\nProvider=Microsoft SQL-Server\n"
      "Server=\nUser=sa\nDatabase=Adressen\nTable=orte\n");
  EXPECT_THAT(Reason(), HasSubstr("sobald der Server geantwortet hat"));
}

TEST_F(LivePreview, TheKeyboardReachesItBehindTheSettings) {
  OpenStep2(TextSpecification(WriteSource()));
  Row(0);
  Focus("chkDateilöschen");
  QTest::keyClick(Page().focusWidget(), Qt::Key_Tab);
  EXPECT_EQ(Page().focusWidget(), &Table());
  QTest::keyClick(Page().focusWidget(), Qt::Key_Tab);
  EXPECT_EQ(FromQt(Page().focusWidget()->objectName()), "cmdVorschau");
}

TEST_F(LivePreview, ALongValueIsCutForTheCell) {
  OpenStep2(TextSpecification(folder.Write("lang.txt", "Name;Ort\n" + std::string(200'000, 'x') + ";Ulm\n")));
  EXPECT_EQ(Row(0)[0].size(), 1000 + std::string("…").size());
}

// --- The reading itself ---------------------------------------------------------------------------

SourceExcerpt Sample(const std::string& value) { return {{"Name"}, {{{.text = value}}}, ""}; }

TEST_F(WithoutLivePreview, OfSeveralChangesTheLastOneWins) {
  SourcePreview preview(nullptr, ui);
  preview.show();
  const auto gate = std::make_shared<Gate>();
  // A reading may outlive the test.
  const auto read = std::make_shared<std::atomic<int>>(0);
  preview.Read([gate, read] {
    ++*read;
    gate->Pass();
    return Sample("erste");
  });
  gate->AwaitEntered();
  preview.Read([read] {
    ++*read;
    return Sample("zweite");
  });
  preview.Read([read] {
    ++*read;
    return Sample("dritte");
  });
  gate->Open();
  Await(preview);
  EXPECT_EQ(FindIn<QTableView>(preview, "tblVorschau").model()->index(0, 0).data().toString(), "dritte");
  EXPECT_EQ(*read, 2) << "the second one was never begun";
}

// A preview whose first reading lasts until the gate is opened, and in place of which a sentence was asked for.
class LastingPreview : public WithoutLivePreview {
 protected:
  LastingPreview() {
    preview.show();
    preview.Read([gate = gate] {
      gate->Pass();
      return Sample("erste");
    });
    gate->AwaitEntered();
    preview.Say("Nichts ausgewählt.");
  }

  SourcePreview preview{nullptr, ui};
  // A reading may outlive the test.
  std::shared_ptr<Gate> gate = std::make_shared<Gate>();
};

TEST_F(LastingPreview, KeepsNoOtherReadingWaiting) {
  preview.Read([] { return Sample("zweite"); });
  Await(preview);
  EXPECT_EQ(FindIn<QTableView>(preview, "tblVorschau").model()->index(0, 0).data().toString(), "zweite");
  gate->Open();
}

TEST_F(LastingPreview, ASentenceTakesThePlaceOfWhatIsBeingRead) {
  gate->Open();
  Await(preview);
  EXPECT_EQ(FindIn<QLabel>(preview, "lblVorschau").text(), "Nichts ausgewählt.");
  EXPECT_FALSE(FindIn<QTableView>(preview, "tblVorschau").isVisible());
}

TEST_F(WithoutLivePreview, AReadingMayOutliveItsWindow) {
  const auto gate = std::make_shared<Gate>();
  {
    SourcePreview preview(nullptr, ui);
    preview.Read([gate] {
      gate->Pass();
      return Sample("erste");
    });
    gate->AwaitEntered();
  }
  gate->Open();
}

}  // namespace
}  // namespace kestrel
