// The preview: grid or text, and what stands in it.
#include "wizard/frmPrev.h"

#include "kestrel/import_job.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using testing::FindIn;
using ::testing::IsEmpty;

class PreviewTest : public testing::WizardFixture {
 protected:
  PreviewTest() {
    session.Provider = "Textdatei";
    session.Delimiter = ";";
    session.ColumnHeadings = true;
    session.FileFormat = "ANSI";
  }
  void Open(const std::string& bytes) {
    session.FileName = folder.Write("quelle.txt", bytes);
    preview = std::make_unique<frmPrev>(job, nullptr);
    preview->show();
  }
  static std::string Lines(int count, const std::string& rest) {
    std::string text;
    for (int i = 1; i <= count; ++i) text += "Zeile " + std::to_string(i) + rest + "\r\n";
    return text;
  }
  QTableView& Grid() const { return FindIn<QTableView>(*preview, "TDBList1"); }
  QPlainTextEdit& TextBox() const { return FindIn<QPlainTextEdit>(*preview, "txtPrev"); }
  std::vector<std::string> Captions() const {
    std::vector<std::string> captions;
    for (int column = 0; column < Grid().model()->columnCount(); ++column) {
      captions.push_back(FromQt(Grid().model()->headerData(column, Qt::Horizontal).toString()));
    }
    return captions;
  }

  ImportJob job{session};
  std::unique_ptr<frmPrev> preview;
};

TEST_F(PreviewTest, TwoColumnsShowEveryRecordInTheGrid) {
  Open("A;B\r\n" + Lines(250, ";x"));
  EXPECT_TRUE(Grid().isVisible());
  EXPECT_FALSE(TextBox().isVisible());
  EXPECT_EQ(Grid().model()->rowCount(), 250);
  EXPECT_EQ(Grid().model()->index(249, 0).data().toString(), "Zeile 250");
  EXPECT_EQ(Grid().model()->index(0, 1).data().toString(), "x");
  EXPECT_THAT(Captions(), ElementsAre("A", "B"));
  EXPECT_EQ(FindIn<QLabel>(*preview, "lblCount").text(), "250 Datensätze");
}

TEST_F(PreviewTest, TheWrongDelimiterShows100LinesInTheTextBox) {
  session.Delimiter = "TAB";
  session.ColumnHeadings = false;
  Open(Lines(250, ";x"));
  EXPECT_FALSE(Grid().isVisible());
  EXPECT_TRUE(TextBox().isVisible());
  const QStringList lines = TextBox().toPlainText().split('\n', Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), 100);
  EXPECT_EQ(lines.first(), "Zeile 1;x");
  EXPECT_EQ(lines.last(), "Zeile 100;x");
  EXPECT_EQ(FromQt(FindIn<QLabel>(*preview, "lblCount").text()), "100 von 250 Datensätzen");
}

TEST_F(PreviewTest, OneRecordIsTold) {
  Open("A;B\r\n1;2\r\n");
  EXPECT_EQ(FindIn<QLabel>(*preview, "lblCount").text(), "1 Datensatz");
}

TEST_F(PreviewTest, OfAVeryLongValueTheBeginningIsShown) {
  const std::string value = "ü" + std::string(3 << 20, 'x');
  Open("A;B\r\n1;" + value + "\r\n");
  const QString cell = Grid().model()->index(0, 1).data().toString();
  EXPECT_EQ(cell, "ü" + QString(999, 'x') + "…");
  EXPECT_EQ(Grid().model()->index(0, 0).data().toString(), "1");
  session.Delimiter = "TAB";
  session.ColumnHeadings = false;
  Open(value + "\r\n");
  EXPECT_EQ(TextBox().toPlainText(), cell + "\n");
}

TEST_F(PreviewTest, FewerThan100LinesAreAllShown) {
  session.Delimiter = "TAB";
  session.ColumnHeadings = false;
  Open(Lines(3, ""));
  EXPECT_EQ(FromQt(TextBox().toPlainText()), "Zeile 1\nZeile 2\nZeile 3\n");
}

TEST_F(PreviewTest, AnEmptyNameInTheHeadingBecomesFeldAndTwoDigits) {
  Open("A;B;;D\r\n1;2;3;4\r\n");
  EXPECT_THAT(Captions(), ElementsAre("A", "B", "Feld03", "D"));
}

TEST_F(PreviewTest, AnEmptySourceOfOneColumnShowsAnEmptyTextBox) {
  Open("A\r\n");
  EXPECT_TRUE(TextBox().isVisible());
  EXPECT_EQ(TextBox().toPlainText(), "");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(PreviewTest, ASourceThatCannotBeReadIsToldByTheReaderAndTheWindowOpens) {
  session.FileName = folder.File("fehlt.txt");
  preview = std::make_unique<frmPrev>(job, nullptr);
  preview->show();
  EXPECT_TRUE(preview->isVisible());
  ASSERT_THAT(ui.boxes, ::testing::Not(IsEmpty()));
  EXPECT_THAT(ui.boxes.front().text, ::testing::StartsWith("Fehler: "));
}

TEST_F(PreviewTest, TheWindowKeepsItsRecordSetWhenTheSourceIsOpenedAgain) {
  Open("A;B\r\n1;2\r\n");
  session.SourceRecordset.reset();
  EXPECT_EQ(Grid().model()->index(0, 1).data().toString(), "2");
}

TEST_F(PreviewTest, TheWindowIsReadOnly) {
  Open("A;B\r\n1;2\r\n");
  EXPECT_FALSE(Grid().model()->index(0, 0).flags().testFlag(Qt::ItemIsEditable));
  EXPECT_TRUE(TextBox().isReadOnly());
}

}  // namespace
}  // namespace kestrel
