// Step 2: opening the page, moving values, leaving it.
#include <QCheckBox>
#include <QComboBox>
#include <QDropEvent>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QRadioButton>
#include <QUrl>

#include "platform/base/file.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using testing::Spin;
using ::testing::StartsWith;

class Step2Test : public testing::WizardFixture {
 protected:
  std::string Text(const char* edit) const { return FromQt(Find<QLineEdit>(edit).text()); }
  bool Checked(const char* button) const { return Find<QAbstractButton>(button).isChecked(); }
  bool Enabled(const char* control) const { return Find<QWidget>(control).isEnabled(); }
  std::string Kind() const { return FromQt(Find<QComboBox>("cboDatenquelleTyp").currentText()); }
  // The names of the frames that are shown.
  std::vector<std::string> ShownFrames() const {
    std::vector<std::string> shown;
    for (const char* frame : {"fraFile", "fraSQL", "fraAccess", "fraExcel", "fradBase"}) {
      if (Find<QWidget>(frame).isVisible()) shown.emplace_back(frame);
    }
    return shown;
  }
  void Drop(QWidget& target, const std::string& path) {
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(ToQt(path))});
    QDragEnterEvent enter(QPoint(3, 3), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&target, &enter);
    ASSERT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(3, 3), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&target, &drop);
  }
  static std::string Template() { return TextSpecification(""); }
};

// --- Opening ---

TEST_F(Step2Test, TheTypeListOffersFourKinds) {
  OpenStep2(TextSpecification(""));
  const auto& types = Find<QComboBox>("cboDatenquelleTyp");
  std::vector<std::string> entries;
  for (int i = 0; i < types.count(); ++i) entries.push_back(FromQt(types.itemText(i)));
  EXPECT_THAT(entries, ElementsAre("Textdatei", "Microsoft SQL-Server", "Microsoft Access-Datenbanken",
                                   "dBase-Datenbank"));
  EXPECT_FALSE(types.isEditable());
}

TEST_F(Step2Test, OpeningCreatesTheImportClassAndPrimesItInOrder) {
  OpenStep2(TextSpecification(""));
  EXPECT_THAT(CallLines(), ElementsAre("Set Connection Nothing", "Let PersonalNr \"4711\"", "Let Application 2",
                                       "Let SpecificationFile \"" + session.SpecFile + "\"", "Get HasConfig"));
  EXPECT_EQ(session.ImportClass, import_class);
}

TEST_F(Step2Test, FillingThePageSetsNoFlagOfTheSession) {
  OpenStep2(TextSpecification("C:\\a.txt", "SaveFile=1\nSavePath=C:\\b\nDeleteFile=1\nTextRecognition='\n"));
  EXPECT_FALSE(session.SourceSettingsChanged);
  EXPECT_FALSE(session.SchemaChanged);
}

TEST_F(Step2Test, ATextFilesSettingsFillTheControls) {
  OpenStep2(
      "[Common]\nDescription=T\nImportClass=test.import\nProvider=Textdatei\nFileName=C:\\a.txt\n"
      "ColumnHeadings=False\nFileFormat=ASCII\nDelimiter=,\nTextRecognition='\nSaveFile=1\n"
      "SavePath=C:\\b\nDeleteFile=1\n");
  EXPECT_EQ(Kind(), "Textdatei");
  EXPECT_EQ(Text("txtFilename"), "C:\\a.txt");
  EXPECT_FALSE(Checked("chkZeileFeldname"));
  EXPECT_TRUE(Checked("optAscii"));
  EXPECT_FALSE(Checked("optAnsi"));
  EXPECT_TRUE(Checked("optKomma"));
  EXPECT_EQ(Text("txtTexterkenner"), "'");
  EXPECT_TRUE(Checked("chkSichereDatei"));
  EXPECT_EQ(Text("txtSicherungspfad"), "C:\\b");
  EXPECT_TRUE(Enabled("txtSicherungspfad"));
  EXPECT_TRUE(Checked("chkDateilöschen"));
}

TEST_F(Step2Test, EachStoredDelimiterChoosesItsButton) {
  for (const auto& [stored, button] : std::initializer_list<std::pair<const char*, const char*>>{
           {"TAB", "optTab"}, {";", "optSemikolon"}, {",", "optKomma"}, {"|", "optAnders"}}) {
    OpenStep2("[Common]\nDescription=T\nImportClass=test.import\nDelimiter=" + std::string(stored) + "\n");
    EXPECT_TRUE(Checked(button)) << stored;
    EXPECT_EQ(Text("txtAnders"), stored == std::string("|") ? "|" : "");
  }
}

TEST_F(Step2Test, AWorkbookLeavesTheControlsAsTheyAre) {
  OpenStep2(
      "[Common]\nDescription=T\nImportClass=test.import\nProvider=Microsoft Excel\nDatabase=C:\\a.xls\n"
      "Table=Tabelle1\n");
  EXPECT_EQ(Kind(), "Textdatei");
  EXPECT_EQ(Text("txtExcelFile"), "");
  EXPECT_THAT(ShownFrames(), ElementsAre("fraFile"));
}

TEST_F(Step2Test, AFileGivenByTheHostChoosesTheKind) {
  session.ImportFileName = "c:\\x\\kunden.dbf";
  OpenStep2(TextSpecification("C:\\a.txt"));
  EXPECT_EQ(Kind(), "dBase-Datenbank");
  EXPECT_EQ(Text("txtdBaseFile"), "c:\\x");
  EXPECT_EQ(session.Table, "kunden.dbf");
}

TEST_F(Step2Test, ATextFileGivenByTheHostKeepsTheTextSettings) {
  session.ImportFileName = "/home/a/neu.csv";
  OpenStep2(TextSpecification("C:\\a.txt"));
  EXPECT_EQ(Text("txtFilename"), "/home/a/neu.csv");
  EXPECT_TRUE(Checked("optSemikolon"));
}

TEST_F(Step2Test, WithoutASettingsDialogEinstellungenIsDisabled) {
  import_class->Get("HasConfig", false);
  OpenStep2(TextSpecification(""));
  EXPECT_FALSE(Enabled("cmdOptions"));
  EXPECT_EQ(import_class->CountOf("ShowConfig"), 0u);
}

TEST_F(Step2Test, AnAnswerThatIsNoTruthValueLeavesEinstellungenEnabled) {
  import_class->Get("HasConfig", 0);
  OpenStep2(TextSpecification(""));
  EXPECT_TRUE(Enabled("cmdOptions"));
}

TEST_F(Step2Test, AMissingImportClassIsToldAndStep1ComesBack) {
  OpenStep2("[Common]\nDescription=T\nImportClass=test.fehlt\n");
  EXPECT_THAT(ui.boxes,
              ElementsAre(Information("Der angegebene Import Provider ''test.fehlt'' kann nicht geladen "
                                      "werden. Fehlercode 429.")));
  EXPECT_EQ(PageName(), "frmStep1");
  EXPECT_EQ(session.ImportClass, nullptr);
}

TEST_F(Step2Test, AnotherErrorOfTheImportClassIsToldAndThePageStays) {
  import_class->Raises("PersonalNr", RuntimeError(4711, "kein Platz"));
  OpenStep2(TextSpecification("C:\\a.txt"));
  EXPECT_THAT(ui.boxes, ElementsAre(Plain("Fehler: kein Platz")));
  EXPECT_EQ(PageName(), "frmStep2");
  EXPECT_EQ(Text("txtFilename"), "C:\\a.txt");
}

// --- Kinds and frames ---

TEST_F(Step2Test, EachKindShowsItsFrameAtTheOneCommonPlace) {
  OpenStep2(TextSpecification(""));
  const QPoint place = Find<QWidget>("fraFile").mapTo(&Page(), QPoint(0, 0));
  for (const auto& [kind, frame] :
       std::initializer_list<std::pair<const char*, const char*>>{{"Textdatei", "fraFile"},
                                                                  {"Microsoft SQL-Server", "fraSQL"},
                                                                  {"Microsoft Access-Datenbanken", "fraAccess"},
                                                                  {"dBase-Datenbank", "fradBase"}}) {
    Choose("cboDatenquelleTyp", kind);
    Spin();
    EXPECT_THAT(ShownFrames(), ElementsAre(frame));
    EXPECT_EQ(Find<QWidget>(frame).mapTo(&Page(), QPoint(0, 0)), place);
  }
}

TEST_F(Step2Test, ChoosingAKindSetsTheChangedFlags) {
  OpenStep2(TextSpecification(""));
  Choose("cboDatenquelleTyp", "Microsoft SQL-Server");
  EXPECT_TRUE(session.SourceSettingsChanged);
  EXPECT_TRUE(session.SchemaChanged);
}

TEST_F(Step2Test, EveryInputSetsTheChangedFlags) {
  const std::vector<std::function<void()>> edits = {
      [&] { Type("txtFilename", "x"); },
      [&] { Click("optTab"); },
      [&] { Click("optKomma"); },
      [&] { Click("optAnders"); },
      [&] { Type("txtAnders", "|"); },
      [&] { Type("txtTexterkenner", "'"); },
      [&] { Click("chkZeileFeldname"); },
      [&] { Click("optAscii"); },
      [&] { Type("txtSicherungspfad", "x"); },
      [&] { Click("chkSichereDatei"); },
      [&] { Click("chkDateilöschen"); },
      [&] { Type("txtSQLServer", "x"); },
      [&] { Type("txtSQLUID", "x"); },
      [&] { Type("txtSQLKennwort", "x"); },
      [&] { Type("txtSQLDB", "x"); },
      [&] { Find<QComboBox>("cboSQLTable").lineEdit()->insert("x"), Spin(); },
      [&] { Type("txtAccessDB", "x"); },
      [&] { Type("txtAccessBenutzer", "x"); },
      [&] { Type("txtAccessKennwort", "x"); },
      [&] { Type("txtdBaseFile", "x"); },
      [&] { Type("txtExcelFile", "x"); },
  };
  OpenStep2(TextSpecification("", "SaveFile=1\n"));
  for (std::size_t i = 0; i < edits.size(); ++i) {
    session.SourceSettingsChanged = session.SchemaChanged = false;
    edits[i]();
    EXPECT_TRUE(session.SourceSettingsChanged) << i;
    EXPECT_TRUE(session.SchemaChanged) << i;
  }
}

TEST_F(Step2Test, TheBackupPathFollowsItsCheckBox) {
  OpenStep2(TextSpecification(""));
  EXPECT_FALSE(Enabled("txtSicherungspfad"));
  EXPECT_FALSE(Enabled("lblSicherungspfad"));
  Click("chkSichereDatei");
  EXPECT_TRUE(Enabled("txtSicherungspfad"));
  EXPECT_TRUE(Enabled("lblSicherungspfad"));
  Click("chkSichereDatei");
  EXPECT_FALSE(Enabled("txtSicherungspfad"));
  EXPECT_FALSE(Enabled("lblSicherungspfad"));
}

TEST_F(Step2Test, TypingADelimiterChoosesAnderes) {
  OpenStep2(TextSpecification(""));
  Type("txtAnders", "|");
  EXPECT_TRUE(Checked("optAnders"));
}

// --- Choosing and dropping files ---

TEST_F(Step2Test, BrowseButtonsAskWithTheirTitleAndFilterAndFillTheirBox) {
  OpenStep2(TextSpecification(""));
  const std::vector<std::tuple<const char*, const char*, const char*>> buttons = {
      {"cmdFilename", "Dateiname|*.*", "txtFilename"},
      {"cmdAccessDB", "Dateiname|*.MDB", "txtAccessDB"},
      {"cmdExcelFile", "Dateiname|*.XLS", "txtExcelFile"},
      {"cmddBaseFile", "Datenbankpfad|", "txtdBaseFile"}};
  for (const auto& [button, question, box] : buttons) {
    ui.questions.clear();
    ui.replies = {"/gewählt"};
    Find<QPushButton>(button).click();
    EXPECT_THAT(ui.questions, ElementsAre(StartsWith(question))) << button;
    EXPECT_EQ(Text(box), "/gewählt");
  }
}

TEST_F(Step2Test, ACancelledBrowseDialogLeavesTheBoxAsItWas) {
  OpenStep2(TextSpecification("C:\\a.txt"));
  ui.replies = {std::nullopt};
  Click("cmdFilename");
  EXPECT_EQ(Text("txtFilename"), "C:\\a.txt");
}

TEST_F(Step2Test, AFileDroppedOnTheBoxOrOnThePageFillsInItsName) {
  const std::string source = WriteSource();
  OpenStep2(TextSpecification(""));
  Drop(Find<QWidget>("txtFilename"), source);
  EXPECT_EQ(Text("txtFilename"), source);
  Find<QLineEdit>("txtFilename").clear();
  Drop(Page(), source);
  EXPECT_EQ(Text("txtFilename"), source);
  EXPECT_TRUE(session.SourceSettingsChanged);
}

TEST_F(Step2Test, AFileDroppedForAccessOrDBaseFillsThatBox) {
  OpenStep2(TextSpecification(""));
  Choose("cboDatenquelleTyp", "Microsoft Access-Datenbanken");
  Drop(Page(), "/x/adressen.mdb");
  EXPECT_EQ(Text("txtAccessDB"), "/x/adressen.mdb");
  Choose("cboDatenquelleTyp", "dBase-Datenbank");
  Drop(Page(), "/x/kunden.dbf");
  EXPECT_EQ(Text("txtdBaseFile"), "/x");
  EXPECT_EQ(Text("txtFilename"), "");
}

// --- Leaving txtFilename ---

TEST_F(Step2Test, LeavingTheFileNameTellsOfAMissingFile) {
  OpenStep2(TextSpecification(""));
  Type("txtFilename", "/fehlt.txt");
  Focus("txtTexterkenner");
  EXPECT_THAT(ui.boxes, ElementsAre(Information("Die Datei ''/fehlt.txt'' existiert nicht.")));
}

TEST_F(Step2Test, LeavingAnEmptyOrExistingFileNameTellsNothing) {
  const std::string source = WriteSource();
  OpenStep2(TextSpecification(""));
  Focus("txtFilename");
  Focus("txtTexterkenner");
  Type("txtFilename", source.c_str());
  Focus("txtTexterkenner");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(Step2Test, LeavingTheFileNameByAbbrechenTellsNothing) {
  OpenStep2(TextSpecification(""));
  Type("txtFilename", "/fehlt.txt");
  Click("cmdCancel");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

// --- Weiter ---

TEST_F(Step2Test, WeiterWithAMissingFileTellsSoOnceAndStays) {
  OpenStep2(TextSpecification(""));
  Type("txtFilename", "/fehlt.txt");
  Click("cmdNext");
  EXPECT_THAT(ui.boxes, ElementsAre(Information("Die Datei ''/fehlt.txt'' existiert nicht.")));
  EXPECT_EQ(PageName(), "frmStep2");
  EXPECT_EQ(session.FileName, "/fehlt.txt");
}

TEST_F(Step2Test, WeiterByItsKeyWithAMissingFileTellsSoOnceToo) {
  OpenStep2(TextSpecification(""));
  Type("txtFilename", "/fehlt.txt");
  QTest::keyClick(&Find<QLineEdit>("txtFilename"), Qt::Key_W, Qt::AltModifier);
  Spin();
  EXPECT_THAT(ui.boxes, ElementsAre(Information("Die Datei ''/fehlt.txt'' existiert nicht.")));
}

TEST_F(Step2Test, WeiterWithAMissingBackupFolderTellsSoAndStays) {
  OpenStep2(TextSpecification(WriteSource(), "SaveFile=1\nSavePath=/fehlt\n"));
  Click("cmdNext");
  EXPECT_THAT(ui.boxes, ElementsAre(Information("Der Pfad ''/fehlt'' existiert nicht.")));
  EXPECT_EQ(PageName(), "frmStep2");
}

TEST_F(Step2Test, TheFileIsCheckedBeforeTheBackupFolder) {
  OpenStep2(TextSpecification("/fehlt.txt", "SaveFile=1\nSavePath=/fehlt\n"));
  Click("cmdNext");
  EXPECT_THAT(ui.boxes, ElementsAre(Information("Die Datei ''/fehlt.txt'' existiert nicht.")));
}

TEST_F(Step2Test, WeiterWithAnEmptyFileNameGoesOnToStep3) {
  OpenStep2(TextSpecification("", "SaveFile=1\nSavePath=/fehlt\n"));
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_THAT(ui.boxes, Not(Contains(::testing::Field(&Box::text, ::testing::HasSubstr("existiert nicht")))));
}

TEST_F(Step2Test, WeiterShowsStep3AndClosesThePage) {
  OpenStep2(TextSpecification(WriteSource()));
  QWidget& step2 = Page();
  Click("cmdNext");
  EXPECT_EQ(PageName(), "frmStep3");
  EXPECT_FALSE(step2.isVisible());
  EXPECT_FALSE(Page().isModal());
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(Step2Test, EnterInABoxGoesOnAndEscapeLeavesTheWizard) {
  OpenStep2(TextSpecification(WriteSource()));
  QTest::keyClick(&Find<QWidget>("txtTexterkenner"), Qt::Key_Return);
  Spin();
  EXPECT_EQ(PageName(), "frmStep3");
  Click("cmdPrev");
  const std::string copy = session.SpecFile;
  QTest::keyClick(&Find<QWidget>("txtTexterkenner"), Qt::Key_Escape);
  Spin();
  EXPECT_EQ(PageName(), "");
  EXPECT_FALSE(FileExists(copy));
}

// --- Zurück ---

const RecordingUserInterface::Box kLoseSettings{
    "Beim zurückblättern gehen die getroffenen Einstellungen verloren. Möchten Sie diese nun speichern?",
    "Speichern?", Icon::kQuestion, Buttons::kYesNo};

TEST_F(Step2Test, ZurueckFromATemplateAsksAndNoDiscardsTheWorkingCopy) {
  OpenStep2(Template(), "Muster.IMT");
  const std::string copy = session.SpecFile;
  ASSERT_TRUE(FileExists(copy));
  Type("txtTexterkenner", "'");
  ui.answers = {Answer::kNo};
  Click("cmdPrev");
  EXPECT_THAT(ui.boxes, ElementsAre(kLoseSettings));
  EXPECT_THAT(ui.questions, IsEmpty());
  EXPECT_EQ(PageName(), "frmStep1");
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Muster.IMT"));
  EXPECT_EQ(session.TextRecognition, "\"");
}

TEST_F(Step2Test, ZurueckFromATemplateSavesUnderANameOnYes) {
  OpenStep2(Template(), "Muster.IMT");
  Type("txtTexterkenner", "'");
  ui.answers = {Answer::kYes};
  ui.replies = {"Messe"};
  Click("cmdPrev");
  EXPECT_THAT(ui.boxes, ElementsAre(kLoseSettings));
  EXPECT_THAT(ui.questions, ElementsAre("Schema speichern...|Bitte geben Sie ein Schemaname ein:"));
  EXPECT_EQ(PageName(), "frmStep1");
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Messe.IMP", "Muster.IMT"));
  session.SpecFile = folder.File("Import/Messe.IMP");
  EXPECT_EQ(Stored("Common", "TextRecognition"), "'");
  EXPECT_EQ(Stored("Common", "Description"), "Messe");
}

TEST_F(Step2Test, ZurueckFromASavedImportSavesWithoutAsking) {
  OpenStep2(TextSpecification(""));
  Type("txtTexterkenner", "'");
  Click("cmdPrev");
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_THAT(ui.questions, IsEmpty());
  EXPECT_EQ(PageName(), "frmStep1");
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
  session.SpecFile = folder.File("Import/Test.IMP");
  EXPECT_EQ(Stored("Common", "TextRecognition"), "'");
}

TEST_F(Step2Test, ZurueckSavesNoAssignmentsOfAnEarlierImport) {
  OpenStep3(TextSpecification(WriteSource(), "[FieldAssignments]\nName=FIELD:Name\n"));
  Click("cmdCancel");
  OpenStep2(TextSpecification("", "[FieldAssignments]\nName=CONST:bleibt\n"), "Anders.IMP");
  Click("cmdPrev");
  session.SpecFile = folder.File("Import/Anders.IMP");
  EXPECT_EQ(Stored("FieldAssignments", "Name"), "CONST:bleibt");
}

// --- Buttons ---

TEST_F(Step2Test, EinstellungenGivesTheWorkingCopyShowsTheDialogAndSetsTheFlags) {
  OpenStep2(TextSpecification(""));
  import_class->Forget();
  Click("cmdOptions");
  EXPECT_THAT(CallLines(),
              ElementsAre("Let SpecificationFile \"" + session.SpecFile + "\"", "Call ShowConfig()"));
  EXPECT_TRUE(session.SourceSettingsChanged);
  EXPECT_TRUE(session.SchemaChanged);
}

TEST_F(Step2Test, SpeichernDoesNotStoreThePageFirst) {
  OpenStep2(TextSpecification("", "TextRecognition=#\n"));
  Type("txtTexterkenner", "'");
  Click("cmdSave");
  EXPECT_EQ(Stored("Common", "TextRecognition"), "#");
  EXPECT_TRUE(session.SchemaSaved);
  EXPECT_FALSE(session.SchemaChanged);
  EXPECT_EQ(PageName(), "frmStep2");
}

TEST_F(Step2Test, AbbrechenDeletesTheWorkingCopyAndEndsTheWizard) {
  OpenStep2(TextSpecification(""));
  Type("txtTexterkenner", "'");
  Click("cmdCancel");
  EXPECT_EQ(PageName(), "");
  EXPECT_THAT(FilesOfSpecFolder(), ElementsAre("Test.IMP"));
  EXPECT_THAT(ui.boxes, IsEmpty());
  session.SpecFile = folder.File("Import/Test.IMP");
  EXPECT_EQ(Stored("Common", "TextRecognition"), "(fehlt)");
}

// --- Preview ---

TEST_F(Step2Test, ThePreviewStoresThePageAndOpensModally) {
  OpenStep2(TextSpecification(WriteSource()));
  Type("txtTexterkenner", "'");
  bool modal = false;
  modals.Then("frmPrev", [&](QWidget& preview) {
    modal = preview.isModal();
    preview.close();
  });
  Click("cmdVorschau");
  EXPECT_TRUE(modals.Done());
  EXPECT_TRUE(modal);
  EXPECT_EQ(session.TextRecognition, "'");
  EXPECT_EQ(Page().focusWidget(), &Find<QWidget>("cboDatenquelleTyp"));
}

TEST_F(Step2Test, ThePreviewOfAMissingFileStopsWithoutAnyMessage) {
  OpenStep2(TextSpecification("/fehlt.txt"));
  Click("cmdVorschau");
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

TEST_F(Step2Test, ThePreviewOfAMissingDatabaseStopsWithoutAnyMessage) {
  OpenStep2(TextSpecification(""));
  Choose("cboDatenquelleTyp", "Microsoft Access-Datenbanken");
  Type("txtAccessDB", "/fehlt.mdb");
  Click("cmdVorschau");
  EXPECT_THAT(ui.boxes, IsEmpty());
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

TEST_F(Step2Test, WithoutAKindThePreviewAsksForTheDataThatIsMissing) {
  OpenStep2(TextSpecification(""));
  Find<QComboBox>("cboDatenquelleTyp").setCurrentIndex(-1);
  Click("cmdVorschau");
  EXPECT_THAT(ui.boxes,
              ElementsAre(Information(
                  "Bitte geben Sie alle benötigten Daten an um die Dateivorschau anzuzeigen.", "Vorschau")));
  Click("cmdNext");
  EXPECT_EQ(ui.boxes.size(), 1u);
  EXPECT_EQ(PageName(), "frmStep2");
}

}  // namespace
}  // namespace kestrel
