// Step 3 with data: sample values of the selected field, the proposed date format, and the tab "Ergebnis".
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>

#include "support/eventually.h"
#include "wizard/step3_fixture.h"

namespace kestrel {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::Spin;

class Step3SampleTest : public testing::Step3Fixture {
 protected:
  using Step3Fixture::Step3Fixture;

  void Open(const std::string& source, const std::string& more) {
    OpenStep3(TextSpecification(folder.Write("quelle.txt", source), more));
  }
  // The table's rows, cells joined by "|"; signs before those with a reason.
  static std::vector<std::string> Rows(const QTableView& table) {
    std::vector<std::string> rows;
    for (int row = 0; row < table.model()->rowCount(); ++row) {
      std::string text;
      for (int column = 0; column < table.model()->columnCount(); ++column) {
        const QModelIndex cell = table.model()->index(row, column);
        text += (column == 0 ? "" : "|") + std::string(cell.data(Qt::DecorationRole).isValid() ? "!" : "") +
                FromQt(cell.data().toString());
      }
      rows.push_back(text);
    }
    return rows;
  }
  std::vector<std::string> Rows(const char* table) const { return Rows(Find<QTableView>(table)); }
  // Once the source has been read.
  template <class Matcher>
  void ExpectRows(const char* table, const Matcher& rows) {
    testing::Eventually([&] {
      Spin();
      return ::testing::Matches(rows)(Rows(table));
    });
    EXPECT_THAT(Rows(table), rows);
  }
};

// --- Sample values ------------------------------------------------------------------------------

class SampleValues : public Step3SampleTest {
 protected:
  SampleValues() : Step3SampleTest({.sample_values = true}) {
    UseFields({{"Name", true, false, "VARCHAR", 6}, {"Umsatz", false, false, "FLOAT"}, {"Datum", false, true}});
  }
  static constexpr const char* kSource =
      "Name;Umsatz;Datum\r\nMüller;1,5;01.02.2024\r\nMüller;;31.02.2024\r\n;abc;\r\nMeierhofer;2;03.04.2024\r\n"
      "Schmidt;3;\r\nWeber;4;\r\n";
};

TEST_F(SampleValues, AreThreeDifferentOnesOfTheColumnAndWhatWouldBeStored) {
  Open(kSource, "[FieldAssignments]\nName=FIELD:Name\n");
  ExpectRows("lstBeispiele",
             ElementsAre("Müller|Müller|", "Meierhofer|!Meierh|Gekürzt, denn das Feld fasst 6 Zeichen.",
                         "Schmidt|!Schmid|Gekürzt, denn das Feld fasst 6 Zeichen."));
}

TEST_F(SampleValues, OfOneThatWouldBeRefusedTellTheReason) {
  Open(kSource,
       "[FieldAssignments]\nName=FIELD:Name\nUmsatz=FIELD:Umsatz\nDatum=FIELD:Datum\n[FieldFormat]\n"
       "Datum=tt.mm.jjjj\n");
  ClickLine(1);
  ExpectRows("lstBeispiele",
             ElementsAre("1,5|1,5|", "abc|!|\"abc\" ist keine Zahl; wird nicht geschrieben.", "2|2|"));
  ClickLine(2);
  ExpectRows("lstBeispiele",
             ElementsAre("01.02.2024|01.02.2024|",
                         "31.02.2024|!31.02.2024|Kein Tag im Format tt.mm.jjjj; wird unverändert übergeben.",
                         "03.04.2024|03.04.2024|"));
}

TEST_F(SampleValues, FollowWhatIsChosenBeforeItIsStored) {
  Open(kSource, "");
  ExpectRows("lstBeispiele", IsEmpty());
  Find<QComboBox>("cboImportFeld").setFocus();
  Choose("cboImportFeld", "Datum");
  ExpectRows("lstBeispiele",
             ElementsAre(HasSubstr("01.02.2024|"), HasSubstr("31.02.2024|"), HasSubstr("03.04.")));
  EXPECT_TRUE(session.AssignmentList->IsNull(kOption));
  Type("txtKonstanterWert", "Fest");
  ExpectRows("lstBeispiele", ElementsAre("Fest|Fest|"));
}

TEST_F(SampleValues, PassThroughTheTranslationTable) {
  Open(kSource,
       "[FieldAssignments]\nName=FIELD:Name\n[FieldTranslation]\nName=1\n[Translation_Name]\nMüller=Mu\n");
  ExpectRows("lstBeispiele", ElementsAre("Müller|Mu|", HasSubstr("Meierhofer|"), HasSubstr("Schmidt|")));
}

TEST_F(SampleValues, OfAColumnWithoutValuesShowThatItIsEmpty) {
  Open("Name;Leer\r\na;\r\nb;\r\n", "[FieldAssignments]\nName=FIELD:Leer\n");
  ExpectRows("lstBeispiele", ElementsAre("|!|Das Pflichtfeld bleibt leer."));
}

TEST_F(SampleValues, OfAColumnThatIsNotThereSaySo) {
  Open(kSource, "[FieldAssignments]\nName=FIELD:Name\n");
  ExpectRows("lstBeispiele", ::testing::SizeIs(3));
  Find<QComboBox>("cboImportFeld").lineEdit()->setText("Nirgends");
  ExpectRows("lstBeispiele", ElementsAre(HasSubstr("Nirgends")));
}

TEST_F(SampleValues, TellAScreenReaderWhatIsWrong) {
  Open(kSource, "[FieldAssignments]\nUmsatz=FIELD:Umsatz\n");
  ClickLine(1);
  ExpectRows("lstBeispiele", ::testing::SizeIs(3));
  EXPECT_EQ(
      FromQt(Find<QTableView>("lstBeispiele").model()->index(1, 1).data(Qt::AccessibleTextRole).toString()),
      "Fehler: \"abc\" ist keine Zahl; wird nicht geschrieben. leer");
}

// --- The proposed format ------------------------------------------------------------------------

class ProposedDateFormats : public Step3SampleTest {
 protected:
  ProposedDateFormats() : Step3SampleTest({.format_follows_line = true, .proposed_date_formats = true}) {}
  void OpenDates(const std::string& first, const std::string& second, const std::string& format = "") {
    Open("Name;Datum\r\na;" + first + "\r\nb;\r\nc;" + second + "\r\n",
         "[FieldAssignments]\nName=FIELD:Name\nDatum=FIELD:Datum\n" +
             (format.empty() ? "" : "[FieldFormat]\nDatum=" + format + "\n"));
    ClickLine(2);
  }
  const QPushButton& Proposal() const { return Find<QPushButton>("cmdFormatVorschlag"); }
  bool ComesToSay(const std::string& hint) {
    return testing::Eventually([&] {
      Spin();
      return Text("lblFormatHinweis") == hint;
    });
  }
};

TEST_F(ProposedDateFormats, AreOfferedAndOnlySetByThePerson) {
  OpenDates("24.12.2023", "01.02.2024");
  ASSERT_TRUE(testing::Eventually([&] {
    Spin();
    return Proposal().isVisible();
  }));
  EXPECT_EQ(FromQt(Proposal().text()), "Vorschlag: tt.mm.jjjj");
  EXPECT_EQ(Text("lblFormatHinweis"), "");
  EXPECT_EQ(FromQt(Find<QComboBox>("cboDatumsFormat").currentText()), "");
  ClickLine(0);
  Spin();
  EXPECT_FALSE(Proposal().isVisible()) << "this field holds no date";
  EXPECT_EQ(ReadAssignment(*session.AssignmentList, 2).date_format, "");
}

TEST_F(ProposedDateFormats, APressChoosesIt) {
  OpenDates("24.12.2023", "01.02.2024");
  ASSERT_TRUE(testing::Eventually([&] {
    Spin();
    return Proposal().isVisible();
  }));
  session.SchemaChanged = false;
  Click("cmdFormatVorschlag");
  EXPECT_EQ(FromQt(Find<QComboBox>("cboDatumsFormat").currentText()), "tt.mm.jjjj");
  EXPECT_TRUE(session.SchemaChanged);
  Spin();
  EXPECT_FALSE(Proposal().isVisible()) << "there is nothing left to propose";
}

TEST_F(ProposedDateFormats, SayWhereTheValuesDoNotTell) {
  OpenDates("01.02.03", "04.05.06");
  EXPECT_TRUE(ComesToSay(
      "Mehrdeutig: Es passen tt.mm.jj und jj.mm.tt. Prüfen Sie an einem bekannten Datum, was gilt."));
  EXPECT_FALSE(Proposal().isVisible());
}

TEST_F(ProposedDateFormats, SayWhereDayAndMonthCouldStandTheOtherWayRound) {
  OpenDates("02.01.2024", "04.03.2024");
  EXPECT_TRUE(ComesToSay("Kein Tag über 12; prüfen Sie, ob Tag und Monat vertauscht sind."));
  EXPECT_TRUE(Proposal().isVisible());
}

TEST_F(ProposedDateFormats, SayWhereNoneFits) {
  OpenDates("gestern", "24.12.2023");
  EXPECT_TRUE(ComesToSay("Kein Format passt zu allen Beispielwerten."));
  EXPECT_FALSE(Proposal().isVisible());
}

// --- The tab "Ergebnis" -------------------------------------------------------------------------

class ResultTabTest : public Step3SampleTest {
 protected:
  ResultTabTest() : Step3SampleTest({.result_tab = true}) {
    UseFields({{"Name", true, false, "VARCHAR", 6}, {"Umsatz", false, false, "INT"}, {"Ort"}});
  }
  void ShowResult() {
    Find<QTabWidget>("tabStep3").setCurrentIndex(1);
    Spin();
  }
  std::vector<std::string> Headings() const {
    const auto& table = Find<QTableView>("lstErgebnis");
    std::vector<std::string> headings;
    for (int column = 0; column < table.model()->columnCount(); ++column) {
      headings.push_back(FromQt(table.model()->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString()));
    }
    return headings;
  }
};

TEST_F(ResultTabTest, ShowsTheRecordsAsTheyWouldBeStoredAndMarksWhatIsWrong) {
  Open("Name;Umsatz\r\nAnna;1\r\nBernhard;x\r\n", "[FieldAssignments]\nName=FIELD:Name\nUmsatz=FIELD:Umsatz\n");
  import_class->Forget();
  const std::vector<std::string> calls = CallLines();
  ShowResult();
  ExpectRows("lstErgebnis", ElementsAre("Anna|1", "!Bernha|!"));
  EXPECT_THAT(Headings(), ElementsAre("Name", "Umsatz")) << "Ort has nothing assigned";
  EXPECT_EQ(Text("lblErgebnis"),
            "So würden die ersten Datensätze gespeichert (2 Datensätze): 1 Wert mit Fehler, 1 Wert gekürzt.");
  EXPECT_EQ(Text("lblGrund"), "Gekürzt, denn das Feld fasst 6 Zeichen. Wert der Quelle: Bernhard")
      << "the first value with a sign is shown";
  auto& table = Find<QTableView>("lstErgebnis");
  const QModelIndex bad = table.model()->index(1, 1);
  EXPECT_EQ(FromQt(bad.data(Qt::ToolTipRole).toString()),
            "\"x\" ist keine Zahl; wird nicht geschrieben. Wert der Quelle: x");
  EXPECT_EQ(FromQt(bad.data(Qt::AccessibleTextRole).toString()),
            "Fehler: \"x\" ist keine Zahl; wird nicht geschrieben. leer");
  table.setCurrentIndex(bad);
  EXPECT_EQ(Text("lblGrund"), "\"x\" ist keine Zahl; wird nicht geschrieben. Wert der Quelle: x");
  EXPECT_EQ(CallLines(), calls) << "the import class was not asked, and nothing was logged";
}

TEST_F(ResultTabTest, ShowsDatesAndNumbersAsPeopleReadThem) {
  UseFields({{"Name", true, false, "VARCHAR", 6}, {"Umsatz", false, false, "FLOAT"}, {"Seit", false, true}});
  Open("Name;Umsatz;Seit\r\nAnna;1234.50;01.02.2024\r\n20240201000000;;\r\n",
       "[FieldAssignments]\nName=FIELD:Name\nUmsatz=FIELD:Umsatz\nSeit=FIELD:Seit\n[FieldFormat]\n"
       "Seit=tt.mm.jjjj\n");
  ShowResult();
  ExpectRows("lstErgebnis", ElementsAre("Anna|1234,5|01.02.2024", "!202402||"));
  const auto& table = Find<QTableView>("lstErgebnis");
  EXPECT_EQ(FromQt(table.model()->index(0, 2).data(Qt::AccessibleTextRole).toString()), "01.02.2024");
}

TEST_F(ResultTabTest, MarksWhatTheImportClassWouldRefuseAndChangesNothing) {
  import_class->Method("CheckValue", [](std::span<Argument> arguments) {
    const std::string text = arguments[1].Get().ToText();
    return Value(text == "2" ? "\"2\" ist zu wenig für " + arguments[0].Get().ToText() + "." : "");
  });
  Open("Name;Umsatz\r\nAnna;1\r\nBert;2\r\n", "[FieldAssignments]\nName=FIELD:Name\nUmsatz=FIELD:Umsatz\n");
  import_class->Forget();
  ShowResult();
  ExpectRows("lstErgebnis", ElementsAre("Anna|1", "Bert|!2"));
  EXPECT_EQ(Text("lblErgebnis"),
            "So würden die ersten Datensätze gespeichert (2 Datensätze): 1 Wert mit Fehler.");
  EXPECT_EQ(Text("lblGrund"), "\"2\" ist zu wenig für Umsatz. Wert der Quelle: 2");
  EXPECT_THAT(CallLines(), Each(HasSubstr("CheckValue"))) << "nothing is stored, logged or numbered";
}

TEST_F(ResultTabTest, ShowsTheFirst100Records) {
  std::string source = "Name;Umsatz\r\n";
  for (int record = 0; record < 150; ++record) source += "n;" + std::to_string(record) + "\r\n";
  Open(source, "[FieldAssignments]\nName=FIELD:Name\nUmsatz=FIELD:Umsatz\n");
  ShowResult();
  ExpectRows("lstErgebnis", ::testing::SizeIs(100));
  EXPECT_EQ(Text("lblErgebnis"),
            "So würden die ersten Datensätze gespeichert (100 Datensätze): keine Auffälligkeiten.");
}

TEST_F(ResultTabTest, FollowsWhatWasChangedWithoutStoringIt) {
  Open("Name;Umsatz\r\nAnna;1\r\n", "[FieldAssignments]\nName=FIELD:Name\n");
  ShowResult();
  ExpectRows("lstErgebnis", ElementsAre("Anna"));
  Find<QTabWidget>("tabStep3").setCurrentIndex(0);
  Find<QComboBox>("cboImportFeld").setEditText("Umsatz");
  ShowResult();
  EXPECT_THAT(Rows("lstErgebnis"), ElementsAre("1"));
  EXPECT_EQ(ReadAssignment(*session.AssignmentList, 0).import_field, "Name");
}

TEST_F(ResultTabTest, OfAMandatoryFieldWithoutAssignmentShowsThatItStaysEmpty) {
  Open("Name;Umsatz\r\nAnna;1\r\n", "[FieldAssignments]\nUmsatz=FIELD:Umsatz\n");
  ShowResult();
  ExpectRows("lstErgebnis", ElementsAre("!|1"));
}

TEST_F(ResultTabTest, OfASourceWithoutRecordsSaysSo) {
  Open("Name;Umsatz\r\n", "[FieldAssignments]\nName=FIELD:Name\n");
  ShowResult();
  EXPECT_TRUE(testing::Eventually([&] {
    Spin();
    return Text("lblErgebnis") == "Die Quelle hat keine Datensätze.";
  }));
}

TEST_F(ResultTabTest, OfASourceThatCannotBeReadTellsWhy) {
  OpenStep3(
      "[Common]\nDescription=Test\nApplication=2\nImportClass=test.import\nProvider=dBase-"
      "Datenbank\nDatabase=" +
      folder.File("weg") + "\nTable=KUNDEN\n");
  ShowResult();
  const std::string reason = "Die Datenquelle kann nicht gelesen werden. ";
  EXPECT_TRUE(testing::Eventually([&] {
    Spin();
    return Text("lblErgebnis").starts_with(reason);
  }));
  EXPECT_GT(Text("lblErgebnis").size(), reason.size());
}

TEST_F(ResultTabTest, ThePageThatIsLeftWhileTheSourceIsReadDropsWhatComes) {
  Open("Name;Umsatz\r\nAnna;1\r\n", "");
  Click("cmdPrev");
  Click("cmdNext");
  ShowResult();
  ExpectRows("lstErgebnis", ElementsAre("!"));
}

}  // namespace
}  // namespace kestrel
