// Files that decide by their content how they are read, and Excel in the list of kinds; and the same without.
#include <QCheckBox>
#include <QComboBox>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QRadioButton>
#include <QUrl>

#include "support/xlsx_writer.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kSemicolons = "Name;Ort\r\nMüller;Köln\r\nBeck;Ulm\r\n";
constexpr const char* kCommas = "'Meier','50667'\r\n'Groß','20095'\r\n";

class NotRecognisedFiles : public testing::WizardFixture {
 protected:
  using WizardFixture::WizardFixture;

  std::string Text(const char* edit) const { return FromQt(Find<QLineEdit>(edit).text()); }
  bool Checked(const char* button) const { return Find<QAbstractButton>(button).isChecked(); }
  std::string Kind() const { return FromQt(Find<QComboBox>("cboDatenquelleTyp").currentText()); }
  std::string Recognised() const {
    const auto& line = Find<QLabel>("lblErkannt");
    return line.isVisible() ? FromQt(line.text()) : "";
  }
  void Drop(QWidget& target, const std::string& path) {
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(ToQt(path))});
    QDragEnterEvent enter(QPoint(3, 3), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&target, &enter);
    QDropEvent drop(QPointF(3, 3), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&target, &drop);
    Settle();
  }
  // Reads tabs, without headings.
  static std::string Tabs(const std::string& file_name = "") {
    return "[Common]\nDescription=Test\nApplication=2\nImportClass=test.import\nProvider=Textdatei\nFileName=" +
           file_name + "\nDelimiter=TAB\nColumnHeadings=False\n";
  }
  std::string Workbook() const {
    testing::XlsxWriter writer;
    writer.Sheet("Kunden");
    const std::string name = "Name";
    const std::string place = "Ort";
    const std::string value = "Beck";
    writer.Row({&name, &place});
    writer.Row({&value, &place});
    return folder.Write("mappe.bin", writer.Bytes());
  }
};

class RecognisedFiles : public NotRecognisedFiles {
 protected:
  RecognisedFiles() : NotRecognisedFiles({.offers_excel = true, .recognised_files = true}) {}
};

TEST_F(RecognisedFiles, ADroppedFileFillsInHowItIsReadAndSaysWhatWasRecognised) {
  OpenStep2(Tabs());
  const std::string file = folder.Write("k.txt", kSemicolons);
  Drop(Page(), file);
  EXPECT_EQ(Text("txtFilename"), file);
  EXPECT_TRUE(Checked("optSemikolon"));
  EXPECT_TRUE(Checked("chkZeileFeldname"));
  EXPECT_TRUE(Checked("optAnsi"));
  EXPECT_EQ(Recognised(), "Erkannt: Semikolon, Überschriften, UTF-8");
  EXPECT_TRUE(session.SchemaChanged);
  EXPECT_TRUE(session.SourceSettingsChanged);
  Drop(Page(), folder.Write("l.txt", kCommas));
  EXPECT_TRUE(Checked("optKomma"));
  EXPECT_EQ(Text("txtTexterkenner"), "'");
  EXPECT_FALSE(Checked("chkZeileFeldname"));
}

TEST_F(RecognisedFiles, OfAnEmptyFileItIsSaidThatItIs) {
  OpenStep2(Tabs());
  Drop(Page(), folder.Write("leer.txt", ""));
  EXPECT_EQ(Recognised(), "Erkannt: eine leere Datei");
  Drop(Page(), folder.Write("zeilen.txt", "\xEF\xBB\xBF\r\n \r\n"));
  EXPECT_EQ(Recognised(), "Erkannt: eine leere Datei");
  Drop(Page(), folder.Write("wort.txt", "Name"));
  EXPECT_EQ(Recognised(), "Erkannt: eine Spalte, Überschriften");
}

TEST_F(NotRecognisedFiles, ADroppedFileFillsInItsNameAlone) {
  OpenStep2(Tabs());
  Drop(Page(), folder.Write("k.txt", kSemicolons));
  EXPECT_TRUE(Checked("optTab"));
  EXPECT_FALSE(Checked("chkZeileFeldname"));
  EXPECT_EQ(Recognised(), "");
}

TEST_F(RecognisedFiles, WhatThePersonHasSetStaysWhenTheSameFileComesAgain) {
  OpenStep2(Tabs());
  const std::string file = folder.Write("k.txt", kSemicolons);
  Drop(Page(), file);
  Click("optKomma");
  Drop(Page(), file);
  EXPECT_TRUE(Checked("optKomma"));
  ui.replies = {file};
  Click("cmdFilename");
  EXPECT_TRUE(Checked("optKomma"));
}

TEST_F(RecognisedFiles, ASpecificationThatIsOpenedKeepsItsSettings) {
  const std::string file = folder.Write("k.txt", kSemicolons);
  OpenStep2(Tabs(file));
  EXPECT_TRUE(Checked("optTab"));
  EXPECT_EQ(Recognised(), "");
  Drop(Page(), file);
  EXPECT_TRUE(Checked("optTab"));
}

TEST_F(RecognisedFiles, TheDialogOffersAllKindsAndTheChosenFileIsLookedAt) {
  OpenStep2(Tabs());
  ui.replies = {folder.Write("k.txt", kSemicolons)};
  Click("cmdFilename");
  ASSERT_EQ(ui.questions.size(), 1u);
  EXPECT_THAT(ui.questions[0], HasSubstr("Dateiname|Alle Quellen (*.txt"));
  EXPECT_THAT(ui.questions[0], HasSubstr(";;Microsoft Excel (*.xls *.xlsx"));
  EXPECT_TRUE(Checked("optSemikolon"));
}

TEST_F(NotRecognisedFiles, TheDialogOffersTheFilesOfTheChosenKind) {
  OpenStep2(Tabs());
  ui.replies = {folder.Write("k.txt", kSemicolons)};
  Click("cmdFilename");
  EXPECT_THAT(ui.questions, ElementsAre("Dateiname|*.*"));
  EXPECT_TRUE(Checked("optTab"));
}

TEST_F(RecognisedFiles, ATypedNameIsLookedAtWhenItsBoxIsLeft) {
  OpenStep2(Tabs());
  const std::string file = folder.Write("k.txt", kSemicolons);
  Type("txtFilename", file.c_str());
  EXPECT_TRUE(Checked("optTab")) << "not before";
  Focus("chkSichereDatei");
  EXPECT_TRUE(Checked("optSemikolon"));
  EXPECT_EQ(Recognised(), "Erkannt: Semikolon, Überschriften, UTF-8");
}

TEST_F(RecognisedFiles, AClickThatLeavesTheBoxCountsAfterTheLook) {
  OpenStep2(Tabs());
  Type("txtFilename", folder.Write("k.txt", kSemicolons).c_str());
  Click("optKomma");
  EXPECT_TRUE(Checked("optKomma"));
}

TEST_F(RecognisedFiles, AWorkbookTurnsThePageToExcelAndItsFirstSheet) {
  OpenStep2(Tabs());
  const std::string file = Workbook();
  Drop(Page(), file);
  EXPECT_EQ(Kind(), "Microsoft Excel");
  EXPECT_EQ(Text("txtExcelFile"), file);
  EXPECT_GT(Find<QComboBox>("cboExcelSheet").count(), 0);
  EXPECT_NE(Find<QComboBox>("cboExcelSheet").currentText(), "");
  EXPECT_EQ(Recognised(), "Erkannt: Microsoft Excel");
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(session.SourceFieldNames, ElementsAre("Name", "Ort", ""));
  EXPECT_THAT(ui.boxes, IsEmpty());
  // Chosen by hand, the way back is the same.
  Click("cmdPrev");
  EXPECT_EQ(Kind(), "Microsoft Excel");
}

TEST_F(NotRecognisedFiles, ExcelIsNotOffered) {
  OpenStep2(Tabs());
  EXPECT_EQ(Find<QComboBox>("cboDatenquelleTyp").findText("Microsoft Excel"), -1);
}

TEST_F(RecognisedFiles, ExcelIsOffered) {
  OpenStep2(Tabs());
  const auto& kinds = Find<QComboBox>("cboDatenquelleTyp");
  EXPECT_EQ(kinds.count(), 5);
  Choose("cboDatenquelleTyp", "Microsoft Excel");
  EXPECT_TRUE(Find<QWidget>("txtExcelFile").isVisible());
}

TEST_F(RecognisedFiles, ATableOfDBaseIsChosenInItsFolder) {
  if (testing::TestDataFolder().empty()) GTEST_SKIP() << "the public test files are not there";
  OpenStep2(Tabs());
  Drop(Page(), testing::TestDataFolder() + "/dbf/KUNDEN_c1252.dbf");
  EXPECT_EQ(Kind(), "dBase-Datenbank");
  EXPECT_EQ(Text("txtdBaseFile"), testing::TestDataFolder() + "/dbf");
  EXPECT_EQ(FromQt(Find<QComboBox>("cbodBaseTable").currentText().toUpper()), "KUNDEN_C1252");
}

TEST_F(RecognisedFiles, WhatNobodyCanReadIsToldAndChangesNoSetting) {
  OpenStep2(Tabs());
  Drop(Page(), folder.Write("bild.png", std::string("\x89PNG\0\0\0", 7)));
  EXPECT_THAT(Recognised(), HasSubstr("enthält keinen Text"));
  EXPECT_EQ(Kind(), "Textdatei");
  EXPECT_TRUE(Checked("optTab"));
  Drop(Page(), folder.File("fehlt.txt"));
  EXPECT_THAT(Recognised(), HasSubstr("fehlt.txt"));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(RecognisedFiles, WhatNobodyCanReadIsToldWhereTheServersBoxesAreShown) {
  OpenStep2(Tabs("/x/alt.txt"));
  Choose("cboDatenquelleTyp", "Microsoft SQL-Server");
  const std::string picture = folder.Write("bild.png", std::string("\x89PNG\0\0\0", 7));
  for (int time = 1; time <= 2; ++time) {
    Drop(Page(), picture);
    EXPECT_THAT(Recognised(), HasSubstr("enthält keinen Text")) << time;
    EXPECT_EQ(Text("txtFilename"), "/x/alt.txt") << "a box that is not shown stays as it is";
    Find<QLabel>("lblErkannt").hide();
  }
}

class RecognisedFilesWithoutExcel : public NotRecognisedFiles {
 protected:
  RecognisedFilesWithoutExcel() : NotRecognisedFiles({.recognised_files = true}) {}
};

TEST_F(RecognisedFilesWithoutExcel, AKindThatIsNotOfferedIsToldWithAWayOut) {
  OpenStep2(Tabs());
  Drop(Page(), Workbook());
  EXPECT_EQ(Recognised(),
            "Erkannt: Microsoft Excel. Diese Art von Datenquelle wird hier nicht angeboten; speichern Sie die "
            "Daten als Textdatei (CSV).");
  EXPECT_EQ(Kind(), "Textdatei");
  EXPECT_TRUE(Find<QLabel>("lblErkannt").isVisible());
}

TEST_F(RecognisedFiles, AFileDroppedOnStep1IsTheSourceOfStep2) {
  WriteSpecification("Test.IMT", Tabs());
  OpenStep1();
  const std::string file = folder.Write("k.txt", kSemicolons);
  Drop(Page(), file);
  EXPECT_EQ(FromQt(Find<QLabel>("lblInfo").text()),
            "Datenquelle: k.txt. Wählen Sie nun, womit sie importiert wird.");
  Click("optVorlage");
  Find<QListWidget>("lstVorlage").setCurrentRow(0);
  Click("cmdNext");
  EXPECT_EQ(Text("txtFilename"), file);
  EXPECT_TRUE(Checked("optSemikolon"));
  EXPECT_EQ(session.ImportFileName, "") << "it counts once";
}

TEST_F(RecognisedFiles, AFileHandedInIsNamedOnStep1) {
  session.ImportFileName = folder.Write("k.txt", kSemicolons);
  OpenStep1();
  EXPECT_EQ(FromQt(Find<QLabel>("lblInfo").text()),
            "Datenquelle: k.txt. Wählen Sie nun, womit sie importiert wird.");
}

TEST_F(NotRecognisedFiles, AFileHandedInIsNotNamedOnStep1) {
  session.ImportFileName = folder.Write("k.txt", kSemicolons);
  OpenStep1();
  EXPECT_EQ(FromQt(Find<QLabel>("lblInfo").text()), "");
}

TEST_F(RecognisedFiles, AFileHandedInForASavedSpecificationOfItsKindIsReadAsThatSays) {
  session.ImportFileName = folder.Write("k.txt", kSemicolons);
  const std::string file = session.ImportFileName;
  OpenStep2(Tabs("/x/alt.txt"));
  EXPECT_EQ(Text("txtFilename"), file);
  EXPECT_TRUE(Checked("optTab"));
  EXPECT_EQ(Recognised(),
            "Erkannt: Semikolon, Überschriften, UTF-8. Es gelten die Einstellungen der Spezifikation.");
  EXPECT_FALSE(session.SchemaChanged);
}

TEST_F(RecognisedFiles, AFileDroppedOnStep3LeadsBackToStep2AndKeepsTheAssignments) {
  OpenStep3(TextSpecification(WriteSource(), "[FieldAssignments]\nName=FIELD:Name\n"));
  const std::string file = folder.Write("k.txt", kSemicolons);
  Drop(Page(), file);
  ASSERT_EQ(PageName(), "frmStep2");
  EXPECT_EQ(Text("txtFilename"), file);
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "FIELD:Name");
}

TEST_F(NotRecognisedFiles, Steps1And3TakeNoFiles) {
  OpenStep3(TextSpecification(WriteSource()));
  Drop(Page(), folder.Write("k.txt", kSemicolons));
  EXPECT_EQ(PageName(), "frmStep3");
  OpenStep1();
  Drop(Page(), folder.File("k.txt"));
  EXPECT_EQ(session.ImportFileName, "");
}

}  // namespace
}  // namespace kestrel
