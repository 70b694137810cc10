// Deciding in the host's window about records that were held back.
#include <QCheckBox>
#include <QHeaderView>
#include <QProgressDialog>
#include <QPushButton>
#include <QTableWidget>
#include <QTextDocument>
#include <QTextDocumentFragment>

#include "host/held_back_log.h"
#include "host_app/host_window_fixture.h"
#include "qt/drive.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kPage = "logLST_ImportDublett";

class DuplicatePage : public HostWindowFixture {
 protected:
  void HoldBack(FieldTexts fields) {
    AddCustomer("7", "Meier", "Köln", "20240229");
    WriteHeldBackLog(components, connection,
                     {{"Source", "/d/messe.txt"}, {"ImportClass", "ksbimport.importkunden"}},
                     {{fields,
                       {{"Record", "3"},
                        {"AddressType", "1"},
                        {"Address", "7"},
                        {"Name", "Meier"},
                        {"Place", "Köln"},
                        {"Key", "2"},
                        {"EarlierRecord", "1"}}}});
    Open();
  }
  void HoldBackAndChoose(FieldTexts fields = {
                             {"Bez1", "MEIER"}, {"Ort", "Köln"}, {"KundeSeit", "20240301000000"}}) {
    HoldBack(fields);
    Find<QTableView>(kPage, "table").selectRow(0);
  }

  // Records 1 to 4, on the page that is shown.
  void HoldBackFour() {
    AddCustomer("7", "Meier", "Köln");
    const FieldTexts fields = {{"Bez1", "A"}};
    WriteHeldBackLog(components, connection, {{"ImportClass", "ksbimport.importkunden"}},
                     {{fields, {{"Record", "1"}, {"AddressType", "1"}, {"Address", "7"}}},
                      {fields, {{"Record", "2"}, {"AddressType", "1"}, {"Address", "7"}}},
                      {fields, {{"Record", "3"}, {"AddressType", "1"}, {"Address", "7"}}},
                      {fields, {{"Record", "4"}, {"AddressType", "1"}, {"Address", "7"}}}});
    Open();
    window->findChild<QTabWidget*>("tabs")->setCurrentIndex(4);
  }
  std::string ChosenRecord() {
    const auto& table = Find<QTableView>(kPage, "table");
    const QModelIndexList rows = table.selectionModel()->selectedRows();
    return rows.isEmpty() ? "" : rows.first().siblingAtColumn(3).data().toString().toStdString();
  }

  std::vector<std::string> Compared() {
    const auto& fields = Find<QTableWidget>(kPage, "fields");
    std::vector<std::string> lines;
    for (int row = 0; row < fields.rowCount(); ++row) {
      QStringList texts;
      for (int column = 0; column < fields.columnCount(); ++column) texts << fields.item(row, column)->text();
      lines.push_back(texts.join("|").toStdString());
    }
    return lines;
  }
  void Press(const char* button) { Find<QPushButton>(kPage, button).click(); }
  bool MayDecide() {
    const bool may = Find<QPushButton>(kPage, "importAnyway").isEnabled();
    EXPECT_EQ(Find<QPushButton>(kPage, "discard").isEnabled(), may);
    return may;
  }
  std::string Text(const char* label) { return Find<QLabel>(kPage, label).text().toStdString(); }
  std::vector<std::string> Names() { return Rows("SELECT Bez1 FROM Kunden ORDER BY KundenNummer"); }
};

TEST_F(DuplicatePage, ListsEachRecordOnceWithTheAddressItRepeats) {
  HoldBack({{"Bez1", "MEIER"}, {"Ort", "Köln"}});
  EXPECT_THAT(Column(kPage, "Datensatz"), ElementsAre("3"));
  EXPECT_THAT(Column(kPage, "gleicht in"), ElementsAre("Kunden"));
  EXPECT_THAT(Column(kPage, "Nummer"), ElementsAre("7"));
  EXPECT_THAT(Column(kPage, "Schlüssel"), ElementsAre("2"));
  EXPECT_THAT(Text("title"), HasSubstr("Wählen Sie einen Datensatz"));
  EXPECT_FALSE(MayDecide());
}

TEST_F(DuplicatePage, ShowsBothAddressesWithTheirDifferencesMarked) {
  HoldBackAndChoose();
  EXPECT_EQ(Text("title"),
            "Datensatz 3 aus messe.txt gleicht Kunden 7, Meier, Köln (Schlüssel 2), gespeichert von "
            "Datensatz 1 derselben Quelle.");
  EXPECT_THAT(Compared(), ElementsAre("Name|MEIER|≠|Meier", "Ort|Köln||Köln",
                                      "Kunde seit|01.03.2024|≠|29.02.2024", "Nummer|||7"));
  const auto& fields = Find<QTableWidget>(kPage, "fields");
  EXPECT_TRUE(fields.item(0, 1)->font().bold());
  EXPECT_FALSE(fields.item(1, 1)->font().bold());
  EXPECT_TRUE(MayDecide());
}

TEST_F(DuplicatePage, TellsHowSureTheCheckIsAndWhy) {
  AddCustomer("7", "Meier", "Köln");
  WriteHeldBackLog(components, connection, {{"ImportClass", "ksbimport.importkunden"}},
                   {{{{"Bez1", "Meyer"}},
                     {{"Record", "3"},
                      {"AddressType", "1"},
                      {"Address", "7"},
                      {"Score", "93"},
                      {"Reason", "Name ähnlich 0,93, gleiche PLZ"}}}});
  Open();
  Find<QTableView>(kPage, "table").selectRow(0);
  EXPECT_EQ(Text("title"),
            "Datensatz 3 der Quelle gleicht Kunden 7.\n93 % sicher: Name ähnlich 0,93, gleiche PLZ.");
}

TEST_F(DuplicatePage, SaysWhereTheAddressIsGone) {
  HoldBack({{"Bez1", "MEIER"}});
  connection->Execute("DELETE FROM Kunden");
  Find<QTableView>(kPage, "table").selectRow(0);
  EXPECT_THAT(Text("title"), HasSubstr("Diese Adresse gibt es nicht mehr."));
  EXPECT_THAT(Compared(), ElementsAre("Name|MEIER||"));
  EXPECT_TRUE(MayDecide());
}

TEST_F(DuplicatePage, ImportsARecordAnywayAndItLeavesTheList) {
  HoldBackAndChoose();
  Press("importAnyway");
  EXPECT_THAT(Names(), ElementsAre("Meier", "MEIER"));
  EXPECT_THAT(Column("pageKunden", "Name"), ElementsAre("Meier", "MEIER"));
  EXPECT_THAT(Column(kPage, "Datensatz"), IsEmpty());
  EXPECT_EQ(Text("status"), "Datensatz 3: trotzdem importiert.");
  EXPECT_FALSE(MayDecide());
}

TEST_F(DuplicatePage, LeavesARecordOutAndTheLogKeepsIt) {
  HoldBackAndChoose();
  Press("discard");
  EXPECT_THAT(Names(), ElementsAre("Meier"));
  EXPECT_THAT(Column(kPage, "Datensatz"), IsEmpty());
  EXPECT_EQ(Text("status"), "Datensatz 3: nicht importiert.");
  Find<QCheckBox>(kPage, "onlyOpen").click();
  EXPECT_THAT(Column(kPage, "Entscheidung"), ElementsAre("nicht importiert"));
  Find<QTableView>(kPage, "table").selectRow(0);
  EXPECT_EQ(Text("status"), "nicht importiert");
  EXPECT_FALSE(MayDecide());
}

// A hasty second click must not decide about a record that nobody has looked at.
TEST_F(DuplicatePage, ChoosesNoOtherRecordByItself) {
  AddCustomer("7", "Meier", "Köln");
  const FieldTexts details = {{"Record", "3"}, {"AddressType", "1"}, {"Address", "7"}};
  WriteHeldBackLog(components, connection, {{"ImportClass", "ksbimport.importkunden"}},
                   {{{{"Bez1", "A"}}, details}, {{{"Bez1", "B"}}, details}});
  Open();
  window->findChild<QTabWidget*>("tabs")->setCurrentIndex(4);
  Find<QTableView>(kPage, "table").selectRow(0);
  ClickOn(Find<QPushButton>(kPage, "importAnyway"));
  Spin();
  ClickOn(Find<QPushButton>(kPage, "importAnyway"));
  Spin();
  EXPECT_THAT(Names(), ElementsAre("Meier", "A"));
  EXPECT_FALSE(MayDecide());
}

TEST_F(DuplicatePage, TheArrowKeyGoesOnBehindTheRecordThatWasDecidedAbout) {
  HoldBackFour();
  auto& table = Find<QTableView>(kPage, "table");
  table.selectRow(1);
  ClickOn(Find<QPushButton>(kPage, "discard"));
  EXPECT_EQ(ChosenRecord(), "");
  ASSERT_TRUE(table.hasFocus());
  QTest::keyClick(&table, Qt::Key_Down);
  EXPECT_EQ(ChosenRecord(), "3");
  table.selectRow(0);
  ClickOn(Find<QPushButton>(kPage, "discard"));
  QTest::keyClick(&table, Qt::Key_Down);
  EXPECT_EQ(ChosenRecord(), "3");
}

TEST_F(DuplicatePage, TheTabKeyVisitsTheChoicesBeforeTheList) {
  HoldBackFour();
  Find<QCheckBox>(kPage, "onlyLast").setFocus();
  QTest::keyClick(window->focusWidget(), Qt::Key_Tab);
  EXPECT_EQ(window->focusWidget(), &Find<QCheckBox>(kPage, "onlyOpen"));
  QTest::keyClick(window->focusWidget(), Qt::Key_Tab);
  EXPECT_EQ(window->focusWidget(), &Find<QTableView>(kPage, "table"));
}

TEST_F(DuplicatePage, BothAddressesShareTheRoom) {
  HoldBackFour();
  Find<QTableView>(kPage, "table").selectRow(0);
  Spin();
  const auto& fields = Find<QTableWidget>(kPage, "fields");
  EXPECT_EQ(fields.horizontalHeader()->length(), fields.viewport()->width());
}

TEST_F(DuplicatePage, ShowsWhatLooksLikeMarkupAsItStands) {
  HoldBackFour();
  connection->Execute("UPDATE Protokolldetails SET Name = '<b>Fett</b>'");
  connection->Execute("UPDATE Kunden SET Bez1 = '<b>Fett</b>'");
  Find<QCheckBox>(kPage, "onlyLast").click();
  Find<QTableView>(kPage, "table").selectRow(0);
  EXPECT_THAT(Text("title"), HasSubstr("<b>Fett</b>"));
  EXPECT_EQ(Find<QLabel>(kPage, "title").textFormat(), Qt::PlainText);
  const QTableWidgetItem* name = Find<QTableWidget>(kPage, "fields").item(0, 3);
  ASSERT_EQ(name->text().toStdString(), "<b>Fett</b>");
  EXPECT_TRUE(QTextDocumentFragment::fromHtml(name->toolTip()).toPlainText().startsWith("<b>Fett</b>"))
      << name->toolTip().toStdString();
}

TEST_F(DuplicatePage, TellsWhatTheImportClassRefusesAndTheRecordStays) {
  HoldBackAndChoose({{"Bez1", "MEIER"}, {"KundeSeit", "irgendwann"}});
  Press("importAnyway");
  EXPECT_THAT(Text("status"), HasSubstr("KundeSeit"));
  EXPECT_THAT(Column(kPage, "Datensatz"), ElementsAre("3"));
  EXPECT_TRUE(MayDecide());
  EXPECT_THAT(Names(), ElementsAre("Meier"));
}

TEST_F(DuplicatePage, OfALogWithoutDetailsNobodyCanDecide) {
  WriteHeldBackLog(components, connection, {}, {{{{"Bez1", "A"}, {"Ort", "B"}}, {}}});
  Open();
  Find<QTableView>(kPage, "table").selectRow(0);
  EXPECT_THAT(Text("title"), HasSubstr("nicht festgehalten"));
  EXPECT_FALSE(MayDecide());
}

TEST_F(DuplicatePage, AWaitForAnotherProgramIsShownAndCanBeEnded) {
  HoldBackAndChoose();
  const ConnectionPtr other = OpenConnection(file);
  other->Begin();
  if (OnPostgres()) other->Execute("LOCK TABLE Kunden IN EXCLUSIVE MODE");
  ModalDriver modals([](const std::string& complaint) { ADD_FAILURE() << complaint; });
  modals.Then("waitDialog", [this](QWidget& shown) {
    const QString text = dynamic_cast<QProgressDialog&>(shown).labelText();
    EXPECT_TRUE(text.contains("gewartet"));
    EXPECT_EQ(text.contains("trennt die Verbindung"), OnPostgres());
    shown.findChild<QPushButton*>()->click();
  });
  Press("importAnyway");
  EXPECT_THAT(Text("status"), HasSubstr("abgebrochen"));
  other->Rollback();
  if (OnPostgres()) return;
  EXPECT_TRUE(MayDecide());
  EXPECT_THAT(Names(), ElementsAre("Meier"));
  Press("importAnyway");
  EXPECT_EQ(Text("status"), "Datensatz 3: trotzdem importiert.");
  EXPECT_THAT(Names(), ElementsAre("Meier", "MEIER"));
}

}  // namespace
}  // namespace kestrel::testing
