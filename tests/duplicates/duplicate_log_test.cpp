#include <gmock/gmock.h>

#include <set>

#include "duplicates/duplicate_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

class DuplicateLogTest : public testing::DuplicateFixture {
 protected:
  DuplicateLogTest() {
    connection->database().Execute(
        "CREATE TABLE Personalstamm (PersonalNr TEXT, Nachname TEXT, Vorname TEXT, Titel TEXT)");
    session.Description = "Kunden Nord";
    session.Provider = "Textdatei";
    log = AddComponent("KSHProto.Protokoll");
    log->Returns("CreateProtokoll", "P1").Method("AddNewRecord").Method("SetField").Method("UpdateRecord");
  }

  static std::shared_ptr<MemoryRecordset> Address(
      const std::vector<std::pair<std::string, std::string>>& fields) {
    auto record = std::make_shared<MemoryRecordset>();
    for (const auto& [name, value] : fields) record->AppendColumn(name);
    record->AddNew();
    for (std::size_t i = 0; i < fields.size(); ++i) record->SetText(i, fields[i].second);
    return record;
  }

  // The rows written so far, each as "field=value"; their marks go to `marks`.
  std::vector<std::string> Rows() {
    std::vector<std::string> rows;
    marks.clear();
    for (const testing::RecordedCall& call : log->calls()) {
      if (call.name == "AddNewRecord") rows.emplace_back();
      if (call.name != "SetField") continue;
      const std::string text = call.arguments[2].ToText();
      switch (call.arguments[1].ToInteger()) {
        case 0: marks.push_back(text); break;
        case 1: rows.back() = text + "="; break;
        default: rows.back() += text;
      }
    }
    return rows;
  }

  std::shared_ptr<testing::RecordingObject> log;
  std::vector<std::string> marks;
};

// --- Which fields ---

TEST_F(DuplicateLogTest, OnlyExactlyNotAssignedCountsAsNotAssigned) {
  UseSpecification(
      "[FieldAssignments]\nA=NOTASSIGNED\nB=FIELD:x\nC=CONST:\nD=\nE=notassigned\nF=NOTASSIGNED:\n");
  const auto assigned = [&](const char* field) {
    return IsFieldAssigned(*profiles.Read(session.SpecFile), field);
  };
  EXPECT_FALSE(assigned("A"));
  for (const char* field : {"B", "C", "D", "E", "F", "fehlt"}) EXPECT_TRUE(assigned(field)) << field;
}

TEST_F(DuplicateLogTest, WithoutASpecificationEveryFieldCountsAsAssigned) {
  EXPECT_TRUE(IsFieldAssigned(*profiles.Read(folder.File("fehlt.tmp")), "A"));
}

TEST_F(DuplicateLogTest, OneRowPerAssignedFieldInTheRecordsOrder) {
  UseSpecification("[FieldAssignments]\nOrt=FIELD:Ort\nLand=NOTASSIGNED\nPLZ=CONST:5\n");
  duplicates.WriteDoubletRows(*Address({{"PLZ", "5"}, {"Land", "D"}, {"Ort", "Köln"}, {"Ungenannt", "x"}}));
  EXPECT_THAT(Rows(), ElementsAre("PLZ=5", "Ort=Köln", "Ungenannt=x"));
}

TEST_F(DuplicateLogTest, AFieldWithoutAssignmentEntryIsWritten) {
  UseSpecification("");
  duplicates.WriteDoubletRows(*Address({{"PLZ", "5"}}));
  EXPECT_THAT(Rows(), ElementsAre("PLZ=5"));
}

TEST_F(DuplicateLogTest, AFieldWithoutValueIsWrittenEmpty) {
  UseSpecification("");
  MemoryRecordset record;
  record.AppendColumn("Ort");
  record.AddNew();
  duplicates.WriteDoubletRows(record);
  EXPECT_THAT(Rows(), ElementsAre("Ort="));
}

TEST_F(DuplicateLogTest, ChangesOfTheSpecificationAndOfTheRecordsFieldsAreSeen) {
  UseSpecification("[FieldAssignments]\nA=NOTASSIGNED\n");
  duplicates.WriteDoubletRows(*Address({{"A", "1"}, {"B", "2"}}));
  duplicates.WriteDoubletRows(*Address({{"B", "3"}, {"A", "4"}}));
  UseSpecification("[FieldAssignments]\nB=NOTASSIGNED\n");
  duplicates.WriteDoubletRows(*Address({{"B", "5"}, {"A", "6"}}));
  duplicates.WriteDoubletRows(*Address({{"C", "7"}}));
  EXPECT_THAT(Rows(), ElementsAre("B=2", "B=3", "A=6", "C=7"));
}

// --- The log and the mark ---

TEST_F(DuplicateLogTest, TheLogIsCreatedOnceWithItsHeader) {
  UseSpecification("");
  duplicates.WriteDoubletRows(*Address({{"A", "1"}}));
  duplicates.WriteDoubletRows(*Address({{"A", "2"}}));
  EXPECT_EQ(log->CountOf("CreateProtokoll"), 1U);
  EXPECT_EQ(log->calls()[0].ToText(),
            R"(Call CreateProtokoll(ByRef Object, ByRef "Datenimport Dublettenverdacht", ByRef "", )"
            R"(ByRef "LST_ImportDublett", ByRef "07.03.2024", ByRef "Kunden Nord", ByRef ")" +
                session.SpecFile + R"(", ByRef "Textdatei"))");
}

TEST_F(DuplicateLogTest, TheRowsOfARecordShareAMarkAndRecordsDiffer) {
  UseSpecification("");
  duplicates.WriteDoubletRows(*Address({{"A", "1"}, {"B", "2"}}));
  duplicates.WriteDoubletRows(*Address({{"A", "1"}, {"B", "2"}}));
  Rows();
  ASSERT_THAT(marks, SizeIs(4));
  EXPECT_EQ(marks[0], marks[1]);
  EXPECT_EQ(marks[2], marks[3]);
  EXPECT_NE(marks[0], marks[2]);
}

TEST_F(DuplicateLogTest, AMarkIsAGuidInUpperCase) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    const std::string mark = NewRecordMark();
    EXPECT_THAT(mark,
                MatchesRegex("\\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\\}"));
    EXPECT_TRUE(seen.insert(mark).second);
  }
}

// --- Failures ---

TEST_F(DuplicateLogTest, WithoutALogEveryRowTellsAndTheNextRecordTriesAgain) {
  UseSpecification("");
  log->Raises("CreateProtokoll", RuntimeError(4711, "Platte voll"));
  duplicates.WriteDoubletRows(*Address({{"A", "1"}, {"B", "2"}}));
  const RecordingUserInterface::Box row{
      "Fehler beim Erzeugen der Protokollzeile. Objektvariable nicht festgelegt", "AddProtocolColumn",
      Icon::kStop, Buttons::kOk};
  EXPECT_THAT(ui.boxes,
              ElementsAre(RecordingUserInterface::Box{"Protokoll konnte nicht erzeugt werden. Platte voll",
                                                      "CreateProtocol", Icon::kStop, Buttons::kOk},
                          row, row));
  ui.boxes.clear();
  log->Returns("CreateProtokoll", "P2");
  duplicates.WriteDoubletRows(*Address({{"A", "1"}}));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

}  // namespace
}  // namespace kestrel
