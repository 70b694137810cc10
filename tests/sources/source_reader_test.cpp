#include "sources/source_reader.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "kestrel/open_connection.h"
#include "sources/scripted_connection.h"
#include "spec/specification.h"
#include "support/biff_writer.h"
#include "support/session_fixture.h"
#include "support/source_kind_names.h"

namespace kestrel {
namespace {

using testing::ScriptedConnection;
using testing::SessionFixture;
using Box = RecordingUserInterface::Box;
using Names = std::vector<std::string>;

Box ErrorBox(const std::string& description) {
  return {"Fehler: " + description, "", Icon::kNone, Buttons::kOk};
}

class SourceReaderTest : public SessionFixture {
 protected:
  void UseTextFile(std::string_view bytes) {
    session.Provider = kTextSource;
    session.FileName = folder.Write("source.txt", bytes);
    session.ColumnHeadings = true;
    session.FileFormat = "ANSI";
    session.Delimiter = ";";
    session.TextRecognition = "\"";
  }
  std::shared_ptr<ScriptedConnection> UseScripted(const char* provider) {
    auto connection = std::make_shared<ScriptedConnection>();
    session.Provider = provider;
    session.Database = "/daten/Kunden.xls";
    session.Table = "Tabelle1$";
    session.SourceConnection = connection;
    return connection;
  }

  SourceReader reader{session};
};

// A record set that breaks off at its second record.
class BrokenRecordset final : public Recordset {
 public:
  std::size_t ColumnCount() const override { return 0; }
  std::string_view ColumnName(std::size_t) const override { return {}; }
  bool IsBof() const override { return false; }
  bool IsEof() const override { return false; }
  void MoveFirst() override { throw RuntimeError(ErrorNumber::kDatabase, "Server weg"); }
  void MoveNext() override { throw RuntimeError(ErrorNumber::kDatabase, "Server weg"); }
  std::int64_t RecordCount() const override { throw RuntimeError(ErrorNumber::kDatabase, "Server weg"); }
  bool IsNull(std::size_t) const override { return true; }
  std::string_view TextAt(std::size_t) const override { return {}; }
};

TEST_F(SourceReaderTest, ASheetsListedNameComesBackFromASpecification) {
  for (const char* sheet : {"O'Neill", "Mit Blank", "`so`", "Stand 1.1."}) {
    testing::BiffWriter writer;
    writer.Sheet("Anderes");
    writer.Sheet(sheet);
    writer.Text(0, 0, "Name");
    const std::string path = folder.Write("mappe.xls", writer.Bytes());
    const ConnectionPtr connection =
        OpenConnection("Driver={Microsoft Excel Driver (*.xls)};defaultdir=" + path);
    const std::string listed = connection->Tables().back().name;
    UseSpecification("[Common]\nProvider=Microsoft Excel\nDatabase=" + path + "\nTable=" + listed + "\n");
    ReadCommonSection(session);
    session.SourceConnection = connection;
    reader.OpenSourceRecordset();
    EXPECT_TRUE(ui.boxes.empty()) << sheet;
    ASSERT_EQ(session.SourceRecordset->ColumnCount(), 1U) << sheet;
    EXPECT_EQ(GetSourceColumnNames(session), (Names{"Name", ""})) << sheet;
  }
}

TEST_F(SourceReaderTest, ATextFileIsWalkedFromItsFirstRecordToItsEnd) {
  UseTextFile("Name;Ort\r\nMüller;Köln\r\nSchmidt;Bonn\r\n");
  reader.OpenSourceRecordset();
  EXPECT_EQ(reader.SourceRecordCount(), 2);
  Names seen;
  for (RecordsetPtr records = reader.SourceMoveFirst(); !reader.SourceEOF(); reader.SourceMoveNext()) {
    seen.emplace_back(records->TextAt(records->RequireColumn("Ort")));
  }
  EXPECT_EQ(seen, (Names{"Köln", "Bonn"}));
  EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(SourceReaderTest, ACallerThatTookTheRecordSetKeepsItAfterClose) {
  UseTextFile("Name\r\nMüller\r\n");
  reader.OpenSourceRecordset();
  const RecordsetPtr records = reader.SourceMoveFirst();
  reader.CloseSource();
  EXPECT_EQ(session.SourceRecordset, nullptr);
  EXPECT_EQ(records->TextAt(0), "Müller");
}

TEST_F(SourceReaderTest, EveryOpenReplacesTheRecordSet) {
  UseTextFile("Name\r\nMüller\r\n");
  reader.OpenSourceRecordset();
  const RecordsetPtr first = session.SourceRecordset;
  folder.Write("source.txt", "Name\r\na\r\nb\r\n");
  reader.OpenSourceRecordset();
  EXPECT_NE(session.SourceRecordset, first);
  EXPECT_EQ(reader.SourceRecordCount(), 2);
  EXPECT_EQ(first->RecordCount(), 1);
}

TEST_F(SourceReaderTest, AMissingTextFileGivesOneMessageAndAnEmptyRecordSet) {
  UseTextFile("");
  session.FileName = folder.File("fehlt.txt");
  reader.OpenSourceRecordset();
  EXPECT_EQ(ui.boxes, std::vector<Box>{ErrorBox("Datei nicht gefunden: " + session.FileName)});
  EXPECT_TRUE(reader.SourceEOF());
  EXPECT_EQ(reader.SourceRecordCount(), 0);
  ASSERT_NE(reader.SourceMoveFirst(), nullptr);
}

TEST_F(SourceReaderTest, FieldNamesOfAMissingFileGiveAMessageAndTheEmptyElement) {
  UseTextFile("");
  session.FileName = folder.File("fehlt.txt");
  EXPECT_EQ(GetTextFieldNames(session), Names{""});
  EXPECT_EQ(ui.boxes, std::vector<Box>{ErrorBox("Datei nicht gefunden: " + session.FileName)});
}

TEST_F(SourceReaderTest, FieldNamesOfATextFile) {
  UseTextFile("Name ; \"Ort\";\r\nx;y\r\n");
  EXPECT_EQ(GetTextFieldNames(session), (Names{"Name", "Ort", ""}));
  EXPECT_EQ(SourceColumnNames(session), (Names{"Name", "Ort", ""}));
  session.ColumnHeadings = false;
  EXPECT_EQ(SourceColumnNames(session), (Names{"Feld01", "Feld02", ""}));
}

TEST_F(SourceReaderTest, QueriesAreExact) {
  const auto query_of = [&](const char* provider) {
    const auto connection = UseScripted(provider);
    reader.OpenSourceRecordset();
    return connection->queries;
  };
  const Names from_table = {"SELECT * From Tabelle1$"};
  EXPECT_EQ(query_of(kSqlServerSource), from_table);
  EXPECT_EQ(query_of(kAccessSource), from_table);
  EXPECT_EQ(query_of(kDBaseSource), from_table);
  EXPECT_EQ(query_of(kExcelSource), Names{"SELECT * FROM `/daten/Kunden.xls`.`Tabelle1$`"});
  EXPECT_EQ(query_of("Microsoft EXCEL"), Names());
  UseTextFile("Name\r\n");
  EXPECT_EQ(query_of(kTextSource), Names());
}

TEST_F(SourceReaderTest, ADatabaseKindOpensItsQueryOnTheSharedConnection) {
  const auto connection = UseScripted(kExcelSource);
  reader.OpenSourceRecordset();
  EXPECT_EQ(connection->queries, Names{"SELECT * FROM `/daten/Kunden.xls`.`Tabelle1$`"});
  EXPECT_EQ(session.SourceRecordset, connection->records);
}

TEST_F(SourceReaderTest, ARealDatabaseIsReadToItsEnd) {
  session.Provider = kSqlServerSource;
  session.Table = "Kunden";
  session.SourceConnection = OpenConnection("Provider=SQLite;Data Source=" + folder.File("a.sqlite"));
  session.SourceConnection->Execute("CREATE TABLE Kunden (Nr INTEGER, Name TEXT, Umsatz REAL)");
  session.SourceConnection->Execute("INSERT INTO Kunden VALUES (1, 'Müller', 1.5), (2, NULL, 2)");
  EXPECT_EQ(SourceColumnNames(session), (Names{"Nr", "Name", "Umsatz", ""}));
  reader.OpenSourceRecordset();
  Names seen;
  for (RecordsetPtr records = reader.SourceMoveFirst(); !reader.SourceEOF();
       records = reader.SourceMoveNext()) {
    for (std::size_t column = 0; column < 3; ++column) seen.emplace_back(records->TextAt(column));
  }
  EXPECT_EQ(seen, (Names{"1", "Müller", "1,5", "2", "", "2"}));
  EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(SourceReaderTest, ARejectedQueryIsShownAndLeavesAnEmptyRecordSet) {
  UseScripted(kSqlServerSource)->failure = RuntimeError(ErrorNumber::kDatabase, "Tabelle fehlt");
  reader.OpenSourceRecordset();
  EXPECT_EQ(ui.boxes, std::vector<Box>{ErrorBox("Tabelle fehlt")});
  EXPECT_TRUE(reader.SourceEOF());
}

TEST_F(SourceReaderTest, WithoutConnectionTheClosedObjectIsNamed) {
  session.Provider = kSqlServerSource;
  session.Table = "Kunden";
  reader.OpenSourceRecordset();
  EXPECT_EQ(GetColumnNamesByComponent(session), Names{""});
  const Box box = ErrorBox("Der Vorgang ist bei geschlossenem Objekt nicht zulässig");
  EXPECT_EQ(ui.boxes, (std::vector<Box>{box, box}));
}

TEST_F(SourceReaderTest, AnUnknownKindOpensNothingAndHasNoColumns) {
  session.Provider = "Lotus";
  reader.OpenSourceRecordset();
  EXPECT_TRUE(reader.SourceEOF());
  EXPECT_EQ(SourceColumnNames(session), Names{""});
  EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(SourceReaderTest, ColumnNamesComeFromTheCatalogOfTheTable) {
  for (const char* provider : {kSqlServerSource, kAccessSource, kExcelSource, kDBaseSource}) {
    const auto connection = UseScripted(provider);
    connection->columns = {"Nr", "Name"};
    EXPECT_EQ(SourceColumnNames(session), (Names{"Nr", "Name", ""}));
    EXPECT_EQ(connection->queries, Names{"columns of Tabelle1$"});
  }
  EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(SourceReaderTest, WithoutRecordSetTheQuestionsAnswerNothing) {
  EXPECT_FALSE(reader.SourceEOF());
  EXPECT_EQ(reader.SourceMoveFirst(), nullptr);
  EXPECT_EQ(reader.SourceRecordCount(), 0);
  EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(SourceReaderTest, QuestionsIgnoreErrorsOfTheRecordSet) {
  session.SourceRecordset = std::make_shared<BrokenRecordset>();
  EXPECT_EQ(reader.SourceMoveFirst(), session.SourceRecordset);
  EXPECT_EQ(reader.SourceRecordCount(), 0);
  EXPECT_TRUE(ui.boxes.empty());
}

TEST_F(SourceReaderTest, ARecordSetThatBreaksOffIsShownOnceAndEndsTheLoop) {
  session.SourceRecordset = std::make_shared<BrokenRecordset>();
  int rounds = 0;
  for (; !reader.SourceEOF() && rounds < 10; reader.SourceMoveNext()) ++rounds;
  EXPECT_EQ(rounds, 1);
  EXPECT_EQ(ui.boxes, std::vector<Box>{ErrorBox("Server weg")});
}

TEST_F(SourceReaderTest, MovingBehindTheEndIsShown) {
  UseTextFile("Name\r\n");
  reader.OpenSourceRecordset();
  const RecordsetPtr records = session.SourceRecordset;
  reader.SourceMoveNext();
  EXPECT_EQ(ui.boxes, std::vector<Box>{ErrorBox("Kein aktueller Datensatz")});
  EXPECT_EQ(session.SourceRecordset, records);
}

TEST_F(SourceReaderTest, TryingASourceTellsTheReasonWithoutABox) {
  UseTextFile("Name\r\nx\r\n");
  EXPECT_EQ(TrySource(session), "");
  EXPECT_EQ(reader.SourceRecordCount(), 1);

  session.FileName = folder.File("fehlt.txt");
  EXPECT_EQ(TrySource(session), "Datei nicht gefunden: " + session.FileName);
  EXPECT_TRUE(reader.SourceEOF());

  session.Provider = kDBaseSource;
  session.Database = "";
  EXPECT_EQ(TrySource(session), "Für die Verbindung zur Datenquelle fehlt eine Angabe: Database");
  session.Database = folder.File("fehlt");
  EXPECT_NE(TrySource(session), "");
  EXPECT_TRUE(ui.boxes.empty());
}

}  // namespace
}  // namespace kestrel
