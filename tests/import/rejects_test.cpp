// The file of records that were not stored: in the source's own layout, whole or not there, and importable.
#include "import/rejects.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <random>
#include <set>

#include "import/run_fixture.h"
#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "sources/source_reader.h"
#include "support/changing_source.h"

namespace kestrel::testing {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class RejectsTest : public ImportRunFixture {
 protected:
  RejectsTest() {
    import_class->Method("ImportRecord", [this](std::span<Argument>) {
      if (refused_.contains(++handed_over_)) code_ = 3000;
      return Value();
    });
    import_class->Get("ErrorCode", [this](std::span<Argument>) { return Value(code_); });
    import_class->Method("GetNewRecord", [this](std::span<Argument>) {
      code_ = 0;
      return Value(NewRecord());
    });
    import_class->Get("ErrorDescription", Value("Der Wert \"x\" ist ungültig; bitte ändern\r\n(Feld)"));
  }
  void UseBytes(std::string_view bytes) { session.FileName = folder.Write("quelle.txt", bytes); }
  // These are refused by the import class, counted from 1.
  void Refuse(std::set<int> records) { refused_ = std::move(records); }
  std::string file() const { return folder.File("rest.txt"); }
  // Runs, and gives the file that was written.
  std::string RunFor() {
    Run({.rejects_file = file()});
    return FileExists(file()) ? ReadWholeFile(file()) : "";
  }
  static std::string Reason() { return "3000: Der Wert 'x' ist ungültig; bitte ändern  (Feld)"; }

  int handed_over_ = 0;
  int yields_behind_ = 0;
  int code_ = 0;
  std::set<int> refused_;
};

// --- The source's own layout ---

TEST_F(RejectsTest, ALineStandsAsInTheSourceWithTwoMoreColumns) {
  UseBytes("Name;Ort\r\nA;B\r\n\"C;D\";\"x\"\"y\"\r\nE;F\r\n");
  Refuse({2});
  EXPECT_EQ(RunFor(),
            ToWindows1252("Name;Ort;Grund;Datensatz\r\n\"C;D\";\"x\"\"y\";\"" + Reason() + "\";2\r\n"));
}

TEST_F(RejectsTest, ColumnsThatALineLacksAreEmptySoThatTheReasonStandsBehindThem) {
  UseBytes("Name;Ort;Tel;\r\nA\r\nB;\r\nC;D;E;F;G\r\n");
  Refuse({1, 2, 3});
  const std::string reason = ToWindows1252(Reason());
  EXPECT_EQ(RunFor(), "Name;Ort;Tel;Grund;Datensatz\r\nA;;;\"" + reason + "\";1\r\nB;;;\"" + reason +
                          "\";2\r\nC;D;E;F;G;\"" + reason + "\";3\r\n");
}

TEST_F(RejectsTest, ColumnsWithoutANameKeepTheirPlaces) {
  struct Case {
    std::string bytes;
    std::string expected;
  };
  import_class->Get("ErrorDescription", Value("weg"));
  // Of delimiters at the end of a header its reader passes over one.
  const Case cases[] = {
      {";Name;Ort\r\n1;A;B\r\n", ";Name;Ort;Grund;Datensatz\r\n1;A;B;3000: weg;1\r\n"},
      {"Name;Ort;;\r\nA;B;C\r\n", "Name;Ort;;Grund;Datensatz\r\nA;B;C;3000: weg;1\r\n"},
      {";Name;Grund;Datensatz\r\n1;A;alt;7\r\n", ";Name;Grund;Datensatz\r\n1;A;3000: weg;1\r\n"},
      {"Name;;Grund;Datensatz\r\nA;1;alt;7\r\n", "Name;;Grund;Datensatz\r\nA;1;3000: weg;1\r\n"}};
  for (const Case& each : cases) {
    UseBytes(each.bytes);
    handed_over_ = 0;
    Refuse({1});
    EXPECT_EQ(RunFor(), each.expected);
  }
}

TEST_F(RejectsTest, SeparatorsCharacterSetAndLineEndsAreTheSources) {
  struct Case {
    std::string bytes;
    std::string expected;
  };
  const std::string reason = "\"" + Reason() + "\"";
  const Case cases[] = {
      {"Name;Ort\nÄ;Ö\n", "Name;Ort;Grund;Datensatz\nÄ;Ö;" + reason + ";1\n"},
      {"\xEF\xBB\xBFName;Ort\rA;B\r", "\xEF\xBB\xBFName;Ort;Grund;Datensatz\rA;B;" + reason + ";1\r"},
      {ToWindows1252("Name;Ort\r\nÄ;Ö"),
       ToWindows1252("Name;Ort;Grund;Datensatz\r\nÄ;Ö;" + reason + ";1\r\n")}};
  for (const Case& each : cases) {
    UseBytes(each.bytes);
    handed_over_ = 0;
    Refuse({1});
    EXPECT_EQ(RunFor(), each.expected);
  }
}

TEST_F(RejectsTest, AFileOfUtf16StaysOne) {
  constexpr std::string_view kText("\xFF\xFEN\0;\0O\0\r\0\n\0\xC4\0;\0\xAC\x20\r\0\n\0", 22);
  UseBytes(kText);
  Refuse({1});
  EXPECT_EQ(RunFor().substr(0, 10), std::string("\xFF\xFEN\0;\0O\0;\0", 10));
  session.FileName = file();
  SourceReader(session).OpenSourceRecordset();
  EXPECT_EQ(session.SourceRecordset->TextAt(0), "Ä");
  EXPECT_EQ(session.SourceRecordset->TextAt(1), "€");
  EXPECT_EQ(session.SourceRecordset->TextAt(2), Reason());
}

TEST_F(RejectsTest, AFileOfADosProgramKeepsItsBytesAndGetsReasonsThatItsReaderRepairs) {
  session.FileFormat = "ASCII";
  UseBytes("Name;Ort\r\nK\x94ln;\x81\r\n");
  Refuse({1});
  EXPECT_THAT(RunFor(), HasSubstr("\r\nK\x94ln;\x81;"));
  session.FileName = file();
  SourceReader(session).OpenSourceRecordset();
  EXPECT_EQ(session.SourceRecordset->TextAt(0), "Köln");
  EXPECT_EQ(session.SourceRecordset->TextAt(2), Reason());
}

TEST_F(RejectsTest, BytesOfWindows1252ThatAloneWouldPassForUtf8AreStillReadAsTheyWere) {
  UseBytes("Name;Ort\r\n\xC3\xBC;1\r\n\xFC;2\r\n");
  import_class->Get("ErrorDescription", Value("weg"));
  Refuse({1});
  RunFor();
  session.FileName = file();
  SourceReader(session).OpenSourceRecordset();
  EXPECT_EQ(session.SourceRecordset->TextAt(0), "Ã¼");
}

TEST_F(RejectsTest, WithoutAHeaderThereIsNone) {
  session.ColumnHeadings = false;
  UseBytes("A;B\r\nC;D\r\n");
  import_class->Get("ErrorDescription", Value("weg"));
  Refuse({2});
  EXPECT_EQ(RunFor(), "C;D;3000: weg;2\r\n");
}

TEST_F(RejectsTest, WithoutAHeaderReasonAndRecordStandBehindTheWidestLine) {
  session.ColumnHeadings = false;
  UseBytes("A;B\r\nC;D;E;\r\nF\r\nG;H;\"I;J\"\r\n");
  import_class->Get("ErrorDescription", Value("weg"));
  Refuse({1, 2, 3, 4});
  EXPECT_EQ(RunFor(),
            "A;B;;3000: weg;1\r\nC;D;E;3000: weg;2\r\nF;;;3000: weg;3\r\nG;H;\"I;J\";3000: weg;4\r\n");
}

TEST_F(RejectsTest, WithoutAHeaderReasonAndRecordStandBehindThePlacesThatFieldsAreAssignedTo) {
  session.ColumnHeadings = false;
  WriteFileAtomically(session.SpecFile,
                      "[FieldAssignments]\nBez1=FIELD:Feld01\nBez2=FIELD:Feld04\nBez3=FIELD:Feldweg\n");
  UseBytes("A;B\r\nC;D\r\n");
  import_class->Get("ErrorDescription", Value("weg"));
  Refuse({2});
  EXPECT_EQ(RunFor(), "C;D;;;3000: weg;2\r\n");
}

TEST_F(RejectsTest, AnOpenQualifierIsClosedSoThatItSwallowsNothing) {
  UseBytes("Name;Ort\nA;\"B\nC;x\"y\nD;E\n");
  import_class->Get("ErrorDescription", Value("weg"));
  Refuse({1, 2});
  EXPECT_EQ(RunFor(), "Name;Ort;Grund;Datensatz\nA;\"\"\"B\";3000: weg;1\nC;\"x\"\"y\";3000: weg;2\n");
}

TEST_F(RejectsTest, AnotherKindOfSourceBecomesCsv) {
  const ChangingSource source(FileKind::kDBase, folder.path());
  source.Use(session);
  import_class->Get("ErrorDescription", Value("weg"));
  Refuse({2});
  const std::string csv = RunFor();
  EXPECT_THAT(csv, ::testing::StartsWith("NAME,"));
  EXPECT_THAT(csv, HasSubstr(",Grund,Datensatz\r\n"));
  EXPECT_THAT(csv, ::testing::EndsWith(",3000: weg,2\r\n"));
}

TEST_F(RejectsTest, RejectsOfAFileOfRejectsHaveReasonAndRecordOnce) {
  UseBytes("Name;Ort;Grund;Datensatz\r\nA;B;alt;5\r\nC\r\nD;E;F;alt;7\r\n");
  import_class->Get("ErrorDescription", Value("weg"));
  Refuse({1, 2, 3});
  EXPECT_EQ(RunFor(), "Name;Ort;Grund;Datensatz\r\nA;B;3000: weg;1\r\nC;;3000: weg;2\r\nD;E;F;3000: weg;3\r\n");
}

TEST_F(RejectsTest, AColumnOfThatNameThatFeedsAFieldStays) {
  UseBytes("Name;Grund;Datensatz\r\nA;weil;5\r\n");
  Assign({.field = "Bez2", .destination = "Grund"});
  import_class->Get("ErrorDescription", Value("weg"));
  Refuse({1});
  EXPECT_EQ(RunFor(), "Name;Grund;Datensatz;Grund;Datensatz\r\nA;weil;5;3000: weg;1\r\n");
}

TEST_F(RejectsTest, TheSecondRoundOfCsvHasReasonAndRecordOnce) {
  const ChangingSource source(FileKind::kDBase, folder.path());
  source.Use(session);
  import_class->Get("ErrorDescription", Value("weg"));
  Refuse({1, 2});
  const std::string first = RunFor();
  session.Provider = "Textdatei";
  session.Delimiter = ",";
  session.FileName = folder.Write("runde.txt", first);
  handed_over_ = 0;
  EXPECT_EQ(RunFor(), first);
}

// --- Which records ---

TEST_F(RejectsTest, RecordsHeldBackAreAmongThemWithTheirAddress) {
  UseNames({"Neu", "Alt"});
  UseDuplicateHost();
  HostKnows("Alt", "4711");
  session.ImportClass = import_class;
  EXPECT_EQ(RunFor(), "Name;Grund;Datensatz\r\nAlt;Dublettenverdacht: Adresse 4711, Schl\xFCssel 1;2\r\n");
}

TEST_F(RejectsTest, RecordsLostLateAreAmongThem) {
  UseNames({"A", "B", "C", "D"});
  bool told = false;
  import_class->Method("NextLateError", [&](std::span<Argument>) { return Value(!std::exchange(told, true)); });
  import_class->Get("ErrorCode", [&](std::span<Argument>) { return Value(told ? 7 : 0); });
  import_class->Get("ErrorDescription", Value("Gruppe weg"));
  import_class->Get("ErrorFirstRecord", [&](std::span<Argument>) { return Value(told ? 2 : 0); });
  import_class->Get("ErrorLastRecord", [&](std::span<Argument>) { return Value(told ? 3 : 0); });
  EXPECT_EQ(RunFor(), "Name;Grund;Datensatz\r\nB;7: Gruppe weg;2\r\nC;7: Gruppe weg;3\r\n");
}

TEST_F(RejectsTest, ALateLossOfAClassThatNamesRecordsNeverLacksOne) {
  UseNames({"A", "B"});
  bool told = false;
  import_class->Method("NextLateError", [&](std::span<Argument>) { return Value(!std::exchange(told, true)); });
  import_class->Get("ErrorCode", [&](std::span<Argument>) { return Value(told ? 7 : 0); });
  import_class->Get("ErrorDescription", Value("weg"));
  for (const char* member : {"ErrorFirstRecord", "ErrorLastRecord"}) import_class->Get(member, Value(0));
  EXPECT_EQ(RunFor(), "Name;Grund;Datensatz\r\nB;7: weg;2\r\n") << "0 is the one handed over last";
  EXPECT_THAT(view.told, IsEmpty());
}

TEST_F(RejectsTest, ALossThatNobodyNamesIsToldByNumber) {
  UseNames({"A", "B"});
  bool told = false;
  import_class->Method("NextLateError", [&](std::span<Argument>) { return Value(!std::exchange(told, true)); });
  import_class->Get("ErrorCode", [&](std::span<Argument>) { return Value(told ? 7 : 0); });
  import_class->Get("ErrorDescription", Value("weg"));
  EXPECT_EQ(RunFor(), "Name;Grund;Datensatz\r\n");
  EXPECT_THAT(view.told, ElementsAre("1 verlorenen Datensatz hat das Importziel nicht genannt; die Datei der "
                                     "abgelehnten ist um so viel zu kurz."));
}

TEST_F(RejectsTest, RecordsThatAStoppedRunDidNotReachAreAmongThem) {
  UseNames({"A", "B", "C", "D"});
  import_class->Get("ErrorDescription", Value("weg"));
  Refuse({2});
  const RunResult& result = Run({.most_errors = 1, .rejects_file = file()});
  EXPECT_EQ(result.rejects, 3);
  const std::string why = ";nicht verarbeitet: Es ist ein Fehler aufgetreten, und mehr sind nicht zugelassen.;";
  EXPECT_EQ(ReadWholeFile(file()),
            "Name;Grund;Datensatz\r\nB;3000: weg;2\r\nC" + why + "3\r\nD" + why + "4\r\n");
}

TEST_F(RejectsTest, AStopWhileTheRestOfTheSourceIsReadIsHonouredAndTold) {
  UseNames({"A", "B", "C", "D", "E"});
  import_class->Get("ErrorDescription", Value("weg"));
  Refuse({2});
  session.DeleteFile = true;
  view.on_yield = [this] {
    // Behind the rounds, with the first of the records that the run did not reach.
    if (view.outcomes.size() == 2 && handed_over_ == 2 && ++yields_behind_ == 1) limited().RequestAbort();
  };
  const RunResult& result = Run({.most_errors = 1, .rejects_file = file()});
  EXPECT_THAT(result.rejects_error, HasSubstr("unvollständig, da abgebrochen wurde: Ab Datensatz 4 "));
  EXPECT_THAT(view.told, ::testing::Contains(result.rejects_error));
  EXPECT_EQ(result.rejects, 2);
  EXPECT_THAT(ReadWholeFile(file()), AllOf(HasSubstr("\r\nB;"), HasSubstr("\r\nC;"), Not(HasSubstr("\r\nD;"))));
  EXPECT_TRUE(FileExists(session.FileName));
}

TEST_F(RejectsTest, OnceStoppedByThePersonTheRestIsReadUnlessThatIsAskedForAgain) {
  for (const bool again : {false, true}) {
    UseNames({"A", "B", "C", "D", "E", "F", "G"});
    handed_over_ = yields_behind_ = 0;
    view.outcomes.clear();
    view.on_yield = [&] {
      if (handed_over_ < 2) return;
      ++yields_behind_;
      // The first one ends the rounds; in the second case another one follows among the records not reached.
      if (yields_behind_ == 1 || (again && yields_behind_ == 4)) limited().RequestAbort();
    };
    const RunResult& result = Run({.rejects_file = file()});
    EXPECT_TRUE(result.aborted);
    EXPECT_EQ(!result.rejects_error.empty(), again) << result.rejects_error;
    EXPECT_EQ(result.stored + result.rejects == 7, !again);
  }
}

TEST_F(RejectsTest, RecordsBehindTheOneAtWhichTheImportClassStoppedAreAmongThemOnce) {
  UseNames({"A", "B", "C"});
  Refuse({2});
  import_class->Get("ErrorDescription", Value("voll"));
  import_class->Get("StopReason", Value("Voll."));
  EXPECT_EQ(RunFor(), "Name;Grund;Datensatz\r\nB;3000: voll;2\r\nC;nicht verarbeitet: Voll.;3\r\n");
}

TEST_F(RejectsTest, WhereAllWasStoredTheFileHasAHeaderOnly) {
  UseNames({"A"});
  WriteFileAtomically(file(), "von gestern");
  EXPECT_EQ(RunFor(), "Name;Grund;Datensatz\r\n");
}

// --- Whole or not there ---

TEST_F(RejectsTest, AFileThatCannotBeWrittenIsAnErrorAndTheSourceStays) {
  UseNames({"A", "Alt"});
  UseDuplicateHost();
  HostKnows("Alt");
  session.DeleteFile = true;
  const RunResult& result = Run({.rejects_file = folder.File("fehlt/rest.txt")});
  EXPECT_THAT(result.rejects_error, HasSubstr("fehlt"));
  EXPECT_EQ(result.errors, 1);
  EXPECT_TRUE(FileExists(session.FileName));
  EXPECT_THAT(view.told, ::testing::Contains(HasSubstr("konnten nicht gesichert werden")));
}

TEST_F(RejectsTest, TheSourceItselfIsNeverReplaced) {
  UseNames({"A"});
  const std::string before = ReadWholeFile(session.FileName);
  const RunResult& result = Run({.rejects_file = session.FileName});
  EXPECT_THAT(result.rejects_error, HasSubstr("ist die Quelle"));
  EXPECT_EQ(ReadWholeFile(session.FileName), before);
}

TEST_F(RejectsTest, NoFileOfATableInAFolderIsEverReplaced) {
  const ChangingSource source(FileKind::kDBase, folder.path());
  source.Use(session);
  const std::string before = ReadWholeFile(source.path());
  EXPECT_THAT(Run({.rejects_file = source.path()}).rejects_error, HasSubstr("ist die Quelle"));
  EXPECT_EQ(ReadWholeFile(source.path()), before);
}

TEST_F(RejectsTest, TheyAreWrittenBeforeTheSourceIsRemoved) {
  UseNames({"A", "Alt"});
  UseDuplicateHost();
  HostKnows("Alt");
  session.DeleteFile = true;
  EXPECT_THAT(RunFor(), HasSubstr("Alt;"));
  EXPECT_FALSE(FileExists(session.FileName)) << "a record held back is no error";
}

// --- Stored and rejected records are the source ---

class RandomRejectsTest : public RejectsTest, public ::testing::WithParamInterface<unsigned> {
 protected:
  std::string RandomValue();
  void UseRandomSource();
  using Row = std::vector<std::string>;
  std::vector<Row> Rows(std::size_t columns);

  std::mt19937 random_{GetParam()};
  unsigned Any(unsigned count) { return static_cast<unsigned>(random_() % count); }
};

std::string RandomRejectsTest::RandomValue() {
  const std::string& q = session.TextRecognition;
  const std::string d = session.Delimiter == "TAB" ? "\t" : session.Delimiter;
  switch (Any(12)) {
    case 0: return "";
    case 1: return q + "a" + d + "b" + q;
    case 2: return q + "sagt " + q + q + "ja" + q + q + q;
    case 3: return "24" + q + " Rad";
    case 4: return q + "offen";
    case 5: return q + "zwei\nZeilen" + q;
    case 6: return "Übergröße";
    case 7: return "  Rand ";
    case 8: return q + q;
    default: return "Wert " + std::to_string(Any(1000));
  }
}

void RandomRejectsTest::UseRandomSource() {
  session.Delimiter = std::vector<std::string>{";", "TAB", ",", "|"}[Any(4)];
  session.TextRecognition = Any(2) == 0 ? "\"" : "'";
  session.ColumnHeadings = Any(2) == 0;
  session.FileFormat = Any(4) == 0 ? "ASCII" : "ANSI";
  const std::string d = session.Delimiter == "TAB" ? "\t" : session.Delimiter;
  const std::string line_end = std::vector<std::string>{"\r\n", "\r", "\n"}[Any(3)];
  std::string text = "A" + d + "B" + d + "C" + line_end;
  for (unsigned count = Any(40); count > 0; --count) {
    for (unsigned values = 1 + Any(4); values > 0; --values) {
      text += RandomValue();
      if (values > 1) text += d;
    }
    text += line_end;
    if (Any(8) == 0) text += line_end;
  }
  switch (Any(3)) {
    case 0: UseBytes(ToWindows1252(text)); break;
    case 1: UseBytes(text); break;
    default: UseBytes("\xEF\xBB\xBF" + text);
  }
  Assign({.field = "Bez1", .destination = session.ColumnHeadings ? "A" : "Feld01"});
}

std::vector<RandomRejectsTest::Row> RandomRejectsTest::Rows(std::size_t columns) {
  std::vector<Row> rows;
  SourceReader reader(session);
  reader.OpenSourceRecordset();
  for (RecordsetPtr record = reader.SourceMoveFirst(); !reader.SourceEOF(); record = reader.SourceMoveNext()) {
    Row row;
    for (std::size_t column = 0; column < columns; ++column) row.emplace_back(record->TextAt(column));
    rows.push_back(row);
  }
  reader.CloseSource();
  return rows;
}

TEST_P(RandomRejectsTest, StoredAndRejectedRecordsAreTheSource) {
  UseRandomSource();
  constexpr std::size_t kColumns = 3;
  const std::vector<Row> source = Rows(kColumns);
  std::set<int> refused;
  for (int record = 1; record <= static_cast<int>(source.size()); ++record)
    if (Any(3) == 0) refused.insert(record);
  Refuse(refused);
  const auto most = static_cast<std::int32_t>(Any(6));
  const RunResult& result = Run({.most_errors = most, .rejects_file = file()});
  ASSERT_EQ(result.rejects_error, "");

  std::set<std::int32_t> expected;
  for (const RecordOutcome& outcome : view.outcomes)
    if (outcome.fate == RecordFate::kRejected) expected.insert(outcome.record);
  for (auto record = result.records + 1; record <= static_cast<std::int32_t>(source.size()); ++record)
    expected.insert(record);
  EXPECT_EQ(static_cast<std::size_t>(result.stored) + expected.size(), source.size());

  session.FileName = file();
  const std::vector<Row> rejects = Rows(expected.empty() ? 0 : kColumns);
  ASSERT_EQ(rejects.size(), expected.size());
  auto reject = rejects.begin();
  for (const std::int32_t record : expected) {
    const Row& was = source[static_cast<std::size_t>(record) - 1];
    for (std::size_t column = 0; column < kColumns; ++column) {
      // A value whose qualifier stays open is lost in the source; here it is closed.
      if (was[column].empty() && (*reject)[column] != was[column]) break;
      EXPECT_EQ((*reject)[column], was[column]) << "record " << record << ", column " << column;
    }
    ++reject;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomRejectsTest, ::testing::Range(0u, 150u));

}  // namespace
}  // namespace kestrel::testing
