// What a run would make of records, told without a run.
#include "import/record_preview.h"

#include "import/run_fixture.h"
#include "support/dbf_writer.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class RecordPreviewTest : public ImportRunFixture {
 protected:
  std::vector<PreviewedRecord> Preview(std::size_t most = 100) {
    const SourceExcerpt sample = BeginExcerpt(session, most)();
    EXPECT_EQ(sample.failure, "");
    return PreviewRecords(session, CopyAssignments(*session.AssignmentList), sample);
  }
  // The only field of the first record.
  PreviewedField Only() {
    const std::vector<PreviewedRecord> records = Preview();
    return records.empty() || records.front().empty() ? PreviewedField() : records.front().front();
  }
  void SetFlag(AssignmentColumn column) { session.AssignmentList->SetValue(column, true); }
};

TEST_F(RecordPreviewTest, ShowsWhatTheRunThenStores) {
  UseSource(
      "Name;Datum;Umsatz;Gruppe\n"
      "  Müller und Söhne  ;01.02.2024;1234,5;A\n"
      "Meier;31.02.2024;abc;B\n"
      ";1.2.24;;<Empty>\n");
  UseSpecification("[Translation_Gruppe]\nA=Alpha\nB=Beta und mehr\n");
  Assign({.field = "Bez1", .destination = "Name", .size = 8});
  Assign({.field = "Seit", .destination = "Datum", .size = 14, .format = "tt.mm.jjjj"});
  Assign({.field = "Umsatz", .destination = "Umsatz", .typ = "FLOAT"});
  Assign({.field = "Gruppe", .destination = "Gruppe", .typ = "varchar", .size = 6, .translate = true});
  Assign({.field = "Land", .option = kConstantValue, .destination = " D "});
  Assign({.field = "Nummer", .option = kConstantValue, .destination = "x", .typ = "INT"});
  Assign({.field = "Rabatt", .option = kNotAssigned});
  Assign({.field = "Fehlt", .destination = "Gibtesnicht"});
  const std::vector<PreviewedRecord> previewed = Preview();
  EXPECT_THAT(CallLines(), IsEmpty()) << "nobody was asked or told";
  Run();
  ASSERT_EQ(previewed.size(), 3u);
  ASSERT_EQ(stored.size(), 3u);
  const char* const fields[] = {"Bez1", "Seit", "Umsatz", "Gruppe", "Land", "Nummer", "Rabatt", "Fehlt"};
  for (std::size_t record = 0; record < stored.size(); ++record) {
    for (std::size_t field = 0; field < std::size(fields); ++field) {
      const auto cell = stored[record].find(fields[field]);
      EXPECT_EQ(previewed[record][field].text, cell == stored[record].end() ? "" : cell->second)
          << record << " " << fields[field];
    }
  }
}

TEST_F(RecordPreviewTest, SaysWhyAValueIsRefused) {
  UseSource("Wert;Rest\nabc;r\n");
  Assign({.field = "Umsatz", .destination = "Wert", .typ = "INT"});
  const PreviewedField field = Only();
  EXPECT_EQ(field.state, PreviewedField::State::kRefused);
  EXPECT_EQ(field.reason, "\"abc\" ist keine Zahl; wird nicht geschrieben.");
  EXPECT_EQ(field.raw, "abc");
  EXPECT_EQ(field.text, "");
}

TEST_F(RecordPreviewTest, SaysWhatIsCutButNotOfBlanks) {
  UseSource("Wert;Rest\nabcdef;r\nab    ;r\n");
  Assign({.field = "Bez1", .destination = "Wert", .size = 3});
  const std::vector<PreviewedRecord> records = Preview();
  EXPECT_EQ(records[0][0].text, "abc");
  EXPECT_EQ(records[0][0].state, PreviewedField::State::kChanged);
  EXPECT_EQ(records[0][0].reason, "Gekürzt, denn das Feld fasst 3 Zeichen.");
  EXPECT_EQ(records[1][0].state, PreviewedField::State::kFine);
}

TEST_F(RecordPreviewTest, SaysThatAFieldOfNoSizeTakesNothing) {
  UseSource("Wert;Rest\nabcdef;r\n");
  Assign({.field = "Bez1", .destination = "Wert", .size = 0});
  EXPECT_EQ(Only().text, "");
  EXPECT_EQ(Only().state, PreviewedField::State::kChanged);
}

TEST_F(RecordPreviewTest, ADateThatIsNoneIsToldThoughTheRunPassesItOn) {
  UseSource("Wert;Rest\n31.02.2024;r\n01.02.2024;r\n20240201000000;r\n;r\n");
  Assign({.field = "Seit", .destination = "Wert", .format = "tt.mm.jjjj"});
  SetFlag(kDateField);
  const std::vector<PreviewedRecord> records = Preview();
  EXPECT_EQ(records[0][0].text, "31.02.2024");
  EXPECT_EQ(records[0][0].reason, "Kein Tag im Format tt.mm.jjjj; wird unverändert übergeben.");
  EXPECT_EQ(records[0][0].state, PreviewedField::State::kRefused);
  EXPECT_EQ(records[1][0].text, "20240201000000");
  for (const std::size_t fine : {1, 2, 3}) EXPECT_EQ(records[fine][0].reason, "") << fine;
}

TEST_F(RecordPreviewTest, ADateWithoutAFormatSaysSo) {
  UseSource("Wert;Rest\n01.02.2024;r\n");
  Assign({.field = "Seit", .destination = "Wert"});
  SetFlag(kDateField);
  EXPECT_EQ(Only().reason, "Kein Datumsformat gewählt; wird unverändert übergeben.");
}

TEST_F(RecordPreviewTest, AMandatoryFieldThatStaysEmptySaysSo) {
  UseSource("Wert;Rest\n  ;r\nx;r\n");
  Assign({.field = "Bez1", .destination = "Wert"});
  SetFlag(kObligation);
  const std::vector<PreviewedRecord> records = Preview();
  EXPECT_EQ(records[0][0].reason, "Das Pflichtfeld bleibt leer.");
  EXPECT_EQ(records[1][0].reason, "");
}

TEST_F(RecordPreviewTest, AColumnThatTheSourceLacksIsNamed) {
  UseSource("Wert;Rest\nx;r\n");
  Assign({.field = "Bez1", .destination = "Weg"});
  EXPECT_THAT(Only().reason, HasSubstr("Weg"));
  EXPECT_EQ(Only().state, PreviewedField::State::kRefused);
}

TEST_F(RecordPreviewTest, AnImportClassThatHasCheckValueIsAskedAboutThoseThatWouldBeWritten) {
  UseSource("Wert;Rest\nabc;x\n01.02.2024;31.02.2024\n");
  import_class->Method("CheckValue", [](std::span<Argument> arguments) {
    const std::string text = arguments[1].Get().ToText();
    if (text == "x") throw RuntimeError(4711, "kaputt");
    return Value(text == "31.02.2024" ? "Kein Tag im Feld " + arguments[0].Get().ToText() + "." : "");
  });
  Assign({.field = "Umsatz", .destination = "Wert", .typ = "INT"});
  Assign({.field = "Seit", .destination = "Rest", .format = "tt.mm.jjjj"});
  SetFlag(kDateField);
  const std::vector<PreviewedRecord> records = Preview();
  EXPECT_EQ(records[0][0].reason, "\"abc\" ist keine Zahl; wird nicht geschrieben.") << "the run's own reason";
  EXPECT_EQ(records[0][1].reason, "") << "what the class raises is ignored, and it knows better than a guess";
  EXPECT_EQ(records[1][1].reason, "Kein Tag im Feld Seit.");
  EXPECT_EQ(records[1][1].state, PreviewedField::State::kRefused);
  EXPECT_EQ(import_class->CountOf("CheckValue"), 2u);
}

TEST_F(RecordPreviewTest, LeavesSessionAndListAsTheyAre) {
  UseSource("Wert;Rest\nx;r\n");
  Assign({.field = "Bez1", .destination = "Wert"});
  Assign({.field = "Bez2", .destination = "Rest"});
  session.AssignmentList->GoTo(1);
  const auto list = session.AssignmentList;
  Preview();
  EXPECT_EQ(session.AssignmentList, list);
  EXPECT_EQ(list->Bookmark(), 1);
  EXPECT_EQ(session.SourceRecordset, nullptr);
}

TEST_F(RecordPreviewTest, AnUnreadableValueTellsItsErrorAndTheNextFieldFollows) {
  SourceExcerpt sample{{"Wert", "Rest"},
                       {{{.unreadable = RuntimeError(ErrorNumber::kDatabase, "Zelle kaputt")}, {.text = "r"}}},
                       ""};
  Assign({.field = "Bez1", .destination = "Wert"});
  Assign({.field = "Bez2", .destination = "Rest"});
  const auto records = PreviewRecords(session, CopyAssignments(*session.AssignmentList), sample);
  EXPECT_EQ(records[0][0].reason, "Zelle kaputt.");
  EXPECT_EQ(records[0][1].text, "r");
}

}  // namespace
}  // namespace kestrel::testing
