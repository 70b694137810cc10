// The value editor: what its grid shows, what it writes, and what it asks.
#include "wizard/frmTransTbl.h"

#include <QAbstractItemModel>
#include <QAccessible>
#include <QComboBox>
#include <QLineEdit>
#include <QStyledItemDelegate>
#include <cstdio>
#include <filesystem>

#include "kestrel/open_connection.h"
#include "mapping/translation.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using testing::ClickOn;
using ::testing::ElementsAre;
using testing::FindIn;
using ::testing::IsEmpty;
using testing::Spin;

// Looks at the pointer at the moment when the source is read.
class PointerWatch final : public QObject {
 public:
  explicit PointerWatch(QAbstractItemModel& grid) {
    connect(&grid, &QAbstractItemModel::rowsInserted, this, [this] {
      const QCursor* shown = QApplication::overrideCursor();
      waited_ = waited_ || (shown != nullptr && shown->shape() == Qt::WaitCursor);
    });
  }
  bool waited() const { return waited_; }

 private:
  bool waited_ = false;
};

class ValueEditorTest : public testing::WizardFixture {
 protected:
  ValueEditorTest() {
    session.Provider = "Textdatei";
    session.Delimiter = ";";
    session.ColumnHeadings = true;
    session.FileFormat = "ANSI";
    UseSpecification("[Translation_Art]\nB=2\n");
    editor.SetTranslationMode(kTranslationMode);
    editor.SetFieldName("Gruppe");
    editor.SetDestinationName("Art");
  }
  void UseSource(const std::string& bytes) {
    session.FileName = folder.Write("quelle.txt", bytes);
    session.SourceFieldNames = {"Name", "Gruppe", ""};
  }
  // Opens the editor, acts in it, and closes it by its OK button unless that was done.
  bool Open(const std::function<void()>& act) {
    modals.Then("frmTransTbl", [&, act](QWidget& dialog) {
      act();
      if (dialog.isVisible()) ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
    });
    return editor.ShowModal(nullptr);
  }
  QTableView& Grid() { return FindIn<QTableView>(editor, "tdbGridTransl"); }
  std::string Cell(int row, int column) { return FromQt(Grid().model()->index(row, column).data().toString()); }
  std::vector<std::string> Rows() {
    std::vector<std::string> rows;
    for (int row = 0; row < Grid().model()->rowCount(); ++row)
      rows.push_back(Cell(row, 0) + "=" + Cell(row, 1));
    return rows;
  }
  void Edit(int row, int column, const char* text) {
    Grid().model()->setData(Grid().model()->index(row, column), QString::fromUtf8(text));
  }
  // The entries of the drop-down list that edits a translation: display text and value.
  std::vector<std::string> Offered() {
    Grid().setCurrentIndex(Grid().model()->index(0, 1));
    Grid().edit(Grid().currentIndex());
    const auto* box = Grid().viewport()->findChild<QComboBox*>();
    std::vector<std::string> entries;
    for (int i = 0; box != nullptr && i < box->count(); ++i) {
      entries.push_back(FromQt(box->itemText(i) + "|" + box->itemData(i).toString()));
    }
    return entries;
  }
  void CloseAnsweredWith(Answer answer) {
    ui.answers = {answer};
    editor.close();
  }

  const Box save = Question("Möchten Sie die Änderungen speichern?", "Speichern");
  frmTransTbl editor{session};
};

constexpr const char* kSource = "Name;Gruppe\r\nx;B\r\ny;A\r\nz;B\r\nw;\r\n";

// --- Mouse and keyboard ---

// As fast as a person is at most: keys come right behind a click, before anything that waits in the message loop.
TEST_F(ValueEditorTest, NoCharacterIsLostThatIsTypedBehindAClickOnAnotherCell) {
  UseSource(kSource);
  const auto click = [this](int row) {
    const QRect cell = Grid().visualRect(Grid().model()->index(row, 1));
    QTest::mouseClick(Grid().viewport(), Qt::LeftButton, Qt::NoModifier, cell.center());
  };
  const auto type = [](const char* text) {
    for (; *text != '\0'; ++text) QTest::keyClick(QApplication::focusWidget(), *text);
  };
  for (const bool spins : {false, true}) {
    std::vector<std::string> rows;
    Open([&] {
      editor.activateWindow();
      EXPECT_TRUE(QTest::qWaitForWindowActive(&editor));
      for (const auto& [row, text] : {std::pair(1, "abc"), std::pair(2, "def"), std::pair(0, "ghi")}) {
        click(row);
        if (spins) Spin();
        type(text);
      }
      // What is still being typed counts.
      Grid().setCurrentIndex(QModelIndex());
      rows = Rows();
    });
    EXPECT_THAT(rows, ElementsAre("B=ghi", "A=abc", "<Empty>=def")) << spins;
  }
}

// --- Translations ---

TEST_F(ValueEditorTest, ThePointerTellsThatTheSourceIsBeingRead) {
  UseSource("Name;Gruppe\r\nx;A\r\n");
  const PointerWatch pointer(*Grid().model());
  Open([] { EXPECT_EQ(QApplication::overrideCursor(), nullptr); });
  EXPECT_TRUE(pointer.waited());
}

TEST_F(ValueEditorTest, TheRowsAreTheDistinctValuesInOrderOfFirstAppearanceWithTheirTranslations) {
  UseSource(kSource);
  std::vector<std::string> rows, headings;
  std::string caption;
  Open([&] {
    rows = Rows();
    caption = FromQt(editor.windowTitle());
    for (int column = 0; column < 2; ++column) {
      headings.push_back(FromQt(Grid().model()->headerData(column, Qt::Horizontal).toString()));
    }
  });
  EXPECT_THAT(rows, ElementsAre("B=2", "A=", "<Empty>="));
  EXPECT_THAT(headings, ElementsAre("Feldinhalt (Quelle)", "Übersetzung"));
  EXPECT_EQ(caption, "Übersetzungstabelle bearbeiten...");
}

TEST_F(ValueEditorTest, ASourceValueCannotBeEditedItsTranslationCan) {
  UseSource(kSource);
  Qt::ItemFlags source, translation;
  Open([&] {
    source = Grid().model()->index(0, 0).flags();
    translation = Grid().model()->index(0, 1).flags();
  });
  EXPECT_FALSE(source.testFlag(Qt::ItemIsEditable));
  EXPECT_TRUE(translation.testFlag(Qt::ItemIsEditable));
}

TEST_F(ValueEditorTest, OkWritesTheTableAndAsksNothing) {
  UseSource(kSource);
  EXPECT_TRUE(Open([&] {
    Edit(1, 1, "1");
    Edit(2, 1, "9");
  }));
  EXPECT_EQ(Stored("Translation_Art", "A"), "1");
  EXPECT_EQ(Stored("Translation_Art", "B"), "2");
  EXPECT_EQ(Stored("Translation_Art", "<Empty>"), "9");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(ValueEditorTest, ClearingATranslationLeavesTheOldEntryInTheFile) {
  UseSource(kSource);
  Open([&] { Edit(0, 1, ""); });
  EXPECT_EQ(Stored("Translation_Art", "B"), "2");
}

TEST_F(ValueEditorTest, WhatIsBeingTypedCounts) {
  UseSource(kSource);
  Open([&] {
    Grid().setCurrentIndex(Grid().model()->index(1, 1));
    Grid().edit(Grid().currentIndex());
    auto* edit = Grid().viewport()->findChild<QLineEdit*>();
    ASSERT_NE(edit, nullptr);
    edit->setText("77");
  });
  EXPECT_EQ(Stored("Translation_Art", "A"), "77");
}

TEST_F(ValueEditorTest, ATranslationHas255CharactersAtMost) {
  UseSource(kSource);
  UseSpecification("[Translation_Art]\nB=" + std::string(300, 'x') + "\n");
  std::string shown;
  int longest = 0;
  Open([&] {
    shown = Cell(0, 1);
    Grid().edit(Grid().model()->index(0, 1));
    if (const auto* edit = Grid().viewport()->findChild<QLineEdit*>()) longest = edit->maxLength();
  });
  EXPECT_EQ(shown.size(), 255u);
  EXPECT_EQ(longest, 255);
}

TEST_F(ValueEditorTest, WithTheComfortWhatCannotBeStoredIsToldBehindTheEntry) {
  std::string source = "Name;Gruppe\r\n";
  for (int i = 0; i < 20; ++i) source += "x;Wert " + std::to_string(i) + "\r\n";
  UseSource(source);
  for (const bool checks : {false, true}) {
    frmTransTbl with(session, checks);
    with.SetTranslationMode(kTranslationMode);
    with.SetFieldName("Gruppe");
    with.SetDestinationName("Art");
    modals.Then("frmTransTbl", [&](QWidget& dialog) {
      QAbstractItemModel& rows = *FindIn<QTableView>(dialog, "tdbGridTransl").model();
      const auto told = [&] { return FromQt(FindIn<QLabel>(dialog, "lblStatus").text()); };
      const auto translate = [&](int row, int length) {
        rows.setData(rows.index(row, 1), QString(length, 'x'));
        // Longer than it waits for the next entry.
        QTest::qWait(400);
      };
      for (int row = 0; row < 18; ++row) rows.setData(rows.index(row, 1), QString(215, 'x'));
      translate(18, 10);
      EXPECT_EQ(told(), "") << "it fits yet";
      translate(19, 220);
      if (checks) {
        EXPECT_TRUE(QTest::qWaitFor([&] { return !told().empty(); }));
        EXPECT_THAT(told(), ::testing::HasSubstr("länger als 4094 Zeichen"));
      }
      translate(19, 0);
      EXPECT_TRUE(QTest::qWaitFor([&] { return told().empty(); }));
      ClickOn(FindIn<QWidget>(dialog, "cmdOK"));
    });
    EXPECT_TRUE(with.ShowModal(nullptr));
  }
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(ValueEditorTest, WhatCannotBeStoredIsRefusedAtOnceAndStaysInTheOpenEditor) {
  UseSource(kSource);
  bool stayed_open = false;
  std::string typed;
  int row = -1;
  EXPECT_TRUE(Open([&] {
    Edit(0, 1, "neu");
    Edit(1, 1, " vorn");
    ClickOn(FindIn<QWidget>(editor, "cmdOK"));
    stayed_open = editor.isVisible();
    typed = Rows()[0] + "|" + Rows()[1];
    row = Grid().currentIndex().row();
    EXPECT_EQ(Stored("Translation_Art", "B"), "2") << "nothing is written by halves";
    Edit(1, 1, "vorn");
  }));
  EXPECT_TRUE(stayed_open);
  EXPECT_EQ(typed, "B=neu|A= vorn");
  EXPECT_EQ(row, 1);
  ASSERT_THAT(ui.boxes, ::testing::SizeIs(1));
  EXPECT_THAT(ui.boxes[0].text,
              ::testing::HasSubstr("Zeile 2 (\"A\"): Die Übersetzung beginnt oder endet mit"));
  EXPECT_EQ(Stored("Translation_Art", "A"), "vorn");
  EXPECT_EQ(Stored("Translation_Art", "B"), "neu");
}

TEST_F(ValueEditorTest, ATableThatCannotBeSavedOnClosingKeepsTheEditorOpen) {
  UseSource(kSource);
  bool stayed_open = false;
  Open([&] {
    Edit(1, 1, "1");
    const std::string content = testing::ReadBytes(session.SpecFile);
    ASSERT_EQ(std::remove(session.SpecFile.c_str()), 0);
    std::filesystem::create_directory(session.SpecFile);
    ui.answers = {Answer::kYes};
    ClickOn(FindIn<QWidget>(editor, "cmdCancel"));
    stayed_open = editor.isVisible();
    std::filesystem::remove(session.SpecFile);
    UseSpecification(content);
  });
  EXPECT_TRUE(stayed_open);
  ASSERT_THAT(ui.boxes, ::testing::SizeIs(2));
  EXPECT_THAT(ui.boxes[1].text, ::testing::HasSubstr("keine gewöhnliche Datei"));
  EXPECT_EQ(Stored("Translation_Art", "A"), "1") << "the OK button, when nothing stood in its way";
}

TEST_F(ValueEditorTest, AbbrechenAsksAndNoWritesNothing) {
  UseSource(kSource);
  EXPECT_FALSE(Open([&] {
    Edit(1, 1, "1");
    ui.answers = {Answer::kNo};
    ClickOn(FindIn<QWidget>(editor, "cmdCancel"));
  }));
  EXPECT_THAT(ui.boxes, ElementsAre(save));
  EXPECT_EQ(Stored("Translation_Art", "A"), "(fehlt)");
}

TEST_F(ValueEditorTest, AbbrechenAnsweredWithYesWrites) {
  UseSource(kSource);
  EXPECT_TRUE(Open([&] {
    Edit(1, 1, "1");
    ui.answers = {Answer::kYes};
    ClickOn(FindIn<QWidget>(editor, "cmdCancel"));
  }));
  EXPECT_THAT(ui.boxes, ElementsAre(save));
  EXPECT_EQ(Stored("Translation_Art", "A"), "1");
}

TEST_F(ValueEditorTest, TheCloseBoxAsksOnceAndSoDoesEscape) {
  UseSource(kSource);
  Open([&] { CloseAnsweredWith(Answer::kYes); });
  EXPECT_THAT(ui.boxes, ElementsAre(save));
  Open([&] { QTest::keyClick(&Grid(), Qt::Key_Escape); });
  EXPECT_THAT(ui.boxes, ElementsAre(save, save));
  EXPECT_FALSE(editor.isVisible());
}

TEST_F(ValueEditorTest, EditingAValueTwiceOverwritesItsEntry) {
  UseSource(kSource);
  Open([&] { Edit(1, 1, "1"); });
  Open([&] { Edit(1, 1, "3"); });
  EXPECT_EQ(Stored("Translation_Art", "A"), "3");
}

TEST_F(ValueEditorTest, OfMoreThan10000ValuesTheRestIsToldAndMoreCanBeTyped) {
  std::string source = "Name;Gruppe\r\n";
  for (int i = 0; i < 10001; ++i) source += "x;w" + std::to_string(i) + "\r\n";
  UseSource(source);
  int rows = 0;
  int rows_after = 0;
  std::string status;
  Open([&] {
    rows = Grid().model()->rowCount();
    status = FromQt(FindIn<QLabel>(editor, "lblStatus").text());
    Edit(10000, 0, "von Hand");
    Edit(10000, 1, "H");
    rows_after = Grid().model()->rowCount();
    Edit(10001, 0, "noch einer");
    Edit(10001, 1, "N");
  });
  EXPECT_EQ(rows, 10001);
  EXPECT_EQ(rows_after, 10002);
  EXPECT_EQ(
      status,
      "Angezeigt werden die ersten 10.000 Werte. Weitere können in der letzten Zeile eingetragen werden.");
  EXPECT_EQ(Stored("Translation_Art", "von Hand"), "H");
  EXPECT_EQ(Stored("Translation_Art", "noch einer"), "N");
  EXPECT_EQ(Stored("Translation_Art", "<Empty>"), "(fehlt)");
}

// --- Permitted values ---

TEST_F(ValueEditorTest, AReadingThatIsEndedKeepsWhatItHasAndMoreCanBeTyped) {
  std::string source = "Name;Gruppe\r\n";
  for (int record = 0; record < 3000; ++record) source += "x;" + std::to_string(record) + "\r\n";
  UseSource(source);
  const DistinctValues all = CollectDistinctValues(session, "Gruppe", [] { return true; });
  EXPECT_EQ(all.values.size(), 3000u);
  EXPECT_FALSE(all.cut);
  int asked = 0;
  const DistinctValues some = CollectDistinctValues(session, "Gruppe", [&] { return ++asked < 3; });
  EXPECT_LT(some.values.size(), 3000u);
  EXPECT_GT(some.values.size(), 0u);
  EXPECT_TRUE(some.cut);
}

TEST_F(ValueEditorTest, AListOfItemsIsOfferedWithItsDisplayTexts) {
  UseSource(kSource);
  editor.SetRowSource("1*Kunde#2*Lieferant");
  editor.SetRowSourceTyp("1");
  std::vector<std::string> offered;
  std::string shown;
  Open([&] {
    const QModelIndex cell = Grid().model()->index(0, 1);
    shown = FromQt(qobject_cast<QStyledItemDelegate*>(Grid().itemDelegateForIndex(cell))
                       ->displayText(cell.data(), QLocale()));
    offered = Offered();
  });
  EXPECT_EQ(shown, "Lieferant");
  EXPECT_THAT(offered, ElementsAre("|", "Kunde|1", "Lieferant|2"));
  EXPECT_EQ(Stored("Translation_Art", "B"), "2");
}

TEST_F(ValueEditorTest, AScreenReaderIsToldTheDisplayTextThatTheCellShows) {
  UseSource(kSource);
  editor.SetRowSource("1*Kunde#2*Lieferant");
  editor.SetRowSourceTyp("1");
  const auto told = [&](int row) {
    QAccessibleTableInterface* table = QAccessible::queryAccessibleInterface(&Grid())->tableInterface();
    return FromQt(table->cellAt(row, 1)->text(QAccessible::Name));
  };
  std::vector<std::string> before, after;
  Open([&] {
    for (int row = 0; row < Grid().model()->rowCount(); ++row) before.push_back(told(row));
    Edit(0, 1, "1");
    after.push_back(told(0));
    Edit(0, 1, "7");
    after.push_back(told(0));
  });
  EXPECT_THAT(before, ElementsAre("Lieferant", "", ""));
  EXPECT_THAT(after, ElementsAre("Kunde", "7")) << "a value that is not permitted is told as it is";
  EXPECT_EQ(Stored("Translation_Art", "B"), "7");
}

TEST_F(ValueEditorTest, AQueryIsOpenedOnTheHostConnection) {
  UseSource(kSource);
  const ConnectionPtr host = OpenConnection("Provider=SQLite;Data Source=" + folder.File("host.db"));
  host->Execute("CREATE TABLE art (nr, Description)");
  host->Execute("INSERT INTO art VALUES (1, 'Kunde')");
  session.HostConnection = host;
  editor.SetRowSource("SELECT nr, Description FROM art");
  editor.SetRowSourceTyp("0");
  std::vector<std::string> offered;
  Open([&] { offered = Offered(); });
  EXPECT_THAT(offered, ElementsAre("|", "Kunde|1", "2|2"));
}

TEST_F(ValueEditorTest, AnotherKindOffersNothing) {
  UseSource(kSource);
  editor.SetRowSource("1*Kunde");
  editor.SetRowSourceTyp("7");
  std::vector<std::string> offered;
  Open([&] { offered = Offered(); });
  EXPECT_THAT(offered, IsEmpty());
}

TEST_F(ValueEditorTest, AQueryThatFailsIsToldAndTheTableCanStillBeEdited) {
  UseSource(kSource);
  editor.SetRowSource("SELECT x FROM nirgends");
  editor.SetRowSourceTyp("0");
  std::string status;
  Open([&] {
    status = FromQt(FindIn<QLabel>(editor, "lblStatus").text());
    Edit(1, 1, "1");
  });
  EXPECT_NE(status, "");
  EXPECT_EQ(Stored("Translation_Art", "A"), "1");
}

// --- Constants ---

TEST_F(ValueEditorTest, ConstantsAreShownWithTheirDescriptionAndTheSelectedOneIsReturned) {
  editor.SetTranslationMode(kConstantsMode);
  editor.SetFieldName("");
  editor.SetRowSource("1*Kunde#2*Lieferant");
  editor.SetRowSourceTyp("1");
  std::vector<std::string> rows, headings;
  std::string caption;
  EXPECT_TRUE(Open([&] {
    rows = Rows();
    caption = FromQt(editor.windowTitle());
    for (int column = 0; column < 2; ++column) {
      headings.push_back(FromQt(Grid().model()->headerData(column, Qt::Horizontal).toString()));
    }
    Grid().selectRow(1);
  }));
  EXPECT_THAT(rows, ElementsAre("1=Kunde", "2=Lieferant"));
  EXPECT_THAT(headings, ElementsAre("Konstante", "Bezeichnung"));
  EXPECT_EQ(caption, "Konstanten bearbeiten...");
  EXPECT_EQ(editor.ReturnValue(), "2");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(ValueEditorTest, TheConstantThatTheFieldHasIsChosenAtFirst) {
  editor.SetTranslationMode(kConstantsMode);
  editor.SetRowSource("1*Kunde#2*Lieferant#3*Interessent");
  editor.SetRowSourceTyp("1");
  for (const auto& [present, chosen] : {std::pair("3", "3"), std::pair("9", "1"), std::pair("", "1")}) {
    editor.SetPresentConstant(present);
    EXPECT_TRUE(Open([] {}));
    EXPECT_EQ(editor.ReturnValue(), chosen) << present;
  }
}

TEST_F(ValueEditorTest, ADoubleClickChoosesAConstant) {
  editor.SetTranslationMode(kConstantsMode);
  editor.SetRowSource("1*Kunde#2*Lieferant");
  editor.SetRowSourceTyp("1");
  EXPECT_TRUE(Open([&] {
    const QPoint cell = Grid().visualRect(Grid().model()->index(1, 1)).center();
    QTest::mouseClick(Grid().viewport(), Qt::LeftButton, Qt::NoModifier, cell);
    QTest::mouseDClick(Grid().viewport(), Qt::LeftButton, Qt::NoModifier, cell);
  }));
  EXPECT_EQ(editor.ReturnValue(), "2");
}

TEST_F(ValueEditorTest, WithoutAChoiceThereIsNoReturnValueAndNothingIsAsked) {
  editor.SetTranslationMode(kConstantsMode);
  editor.SetRowSource("1*Kunde#2*Lieferant");
  editor.SetRowSourceTyp("1");
  EXPECT_FALSE(Open([&] { editor.close(); }));
  EXPECT_EQ(editor.ReturnValue(), "");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(ValueEditorTest, TheEditorShowsTheModeItWasOpenedInLast) {
  UseSource(kSource);
  editor.SetRowSource("1*Kunde#2*Lieferant");
  editor.SetRowSourceTyp("1");
  editor.SetTranslationMode(kConstantsMode);
  Open([] {});
  editor.SetTranslationMode(kTranslationMode);
  std::vector<std::string> rows;
  Open([&] { rows = Rows(); });
  EXPECT_THAT(rows, ElementsAre("B=2", "A=", "<Empty>="));
  EXPECT_EQ(editor.TranslationMode(), 1);
}

}  // namespace
}  // namespace kestrel
