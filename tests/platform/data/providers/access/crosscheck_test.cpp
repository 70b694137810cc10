// Every table of every public test file, read here and by a reader that is not ours (mdb-export of mdbtools).
//
// Known differences, each made equal below before comparing:
//  - numbers: mdb-export writes a point, zeros behind it and an exponent in places of its own; compared as
//    numbers, single precision ones as such;
//  - dates: written in German by its own switches, with the time always; midnight is cut here;
//  - dates before 1900: "00.01.1900" there, whatever they are;
//  - truth values: 0 and 1 there;
//  - bytes: in small letters there;
//  - GUIDs: there the bytes of the text are what is written in hexadecimal digits, and one dash is missing;
//  - empty texts: null there;
//  - V2003_with-password.mdb: mdb-export does not ask for the password.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <optional>
#include <set>

#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "platform/base/number.h"
#include "platform/base/text.h"
#include "platform/base/value_text.h"
#include "support/command_output.h"
#include "support/jet_builder.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::JetBuilder;

constexpr const char* kColumnEnd = "<<column>>";
constexpr const char* kRowEnd = "<<row>>";
constexpr const char* kNull = "<<null>>";

std::optional<std::string> Export(const std::string& path, const std::string& table) {
  return testing::CommandOutput({"mdb-export", "-d", kColumnEnd, "-R", kRowEnd, "-0", kNull, "-Q", "-D",
                                 "%d.%m.%Y %H:%M:%S", "-T", "%d.%m.%Y %H:%M:%S", "-b", "hex", path, table});
}

bool SameNumber(const std::string& ours, const std::string& theirs) {
  const auto a = ParseNumber(ours);
  const auto b = ParseNumber(theirs);
  if (!a || !b) return false;
  return std::abs(*a - *b) <= std::abs(*a) * 1e-6;
}

std::vector<std::string> Pieces(std::string_view text, std::string_view end) {
  std::vector<std::string> pieces;
  for (std::size_t at = text.find(end); at != std::string_view::npos; at = text.find(end)) {
    pieces.emplace_back(text.substr(0, at));
    text.remove_prefix(at + end.size());
  }
  pieces.emplace_back(text);
  return pieces;
}

// Why two cells are the same; "" where they are not.
std::string SameBecause(const std::string& ours, const std::string& theirs) {
  if (ours == theirs) return "equal";
  if ((ours == "Wahr" && theirs == "1") || (ours == "Falsch" && theirs == "0")) return "truth";
  if (ours + " 00:00:00" == theirs) return "midnight";
  if ("30.12.1899 " + ours == theirs) return "time alone";
  if (EqualsIgnoringCase(ours, theirs)) return "small letters";
  if (theirs == "00.01.1900 00:00:00" && ours.size() >= 10 && ours.substr(6, 4) < "1900") return "before 1900";
  if (SameNumber(ours, theirs)) return "number";
  if (ours.starts_with('{') && ReplaceAll(BytesText(ours), "2D", "") == ReplaceAll(theirs, "2D", ""))
    return "GUID";
  if (ours.empty() && theirs == kNull) return "empty text";
  return "";
}

void CompareTable(const std::string& path, Connection& connection, const std::string& table) {
  SCOPED_TRACE(FileNameOfPath(path) + " " + table);
  const auto output = Export(path, table);
  ASSERT_TRUE(output);
  std::vector<std::string> lines = Pieces(*output, kRowEnd);
  if (lines.back().empty()) lines.pop_back();
  const RecordsetPtr rows = connection.OpenRecordset("SELECT * From [" + table + "]");
  // The first line names the columns.
  ASSERT_EQ(rows->RecordCount() + 1, static_cast<std::int64_t>(lines.size()));
  const auto names = Pieces(lines[0], kColumnEnd);
  ASSERT_EQ(rows->ColumnCount(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(rows->ColumnName(i), names[i]);
  for (std::size_t row = 1; row < lines.size(); ++row, rows->MoveNext()) {
    const auto cells = Pieces(lines[row], kColumnEnd);
    ASSERT_EQ(cells.size(), names.size()) << row;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const std::string ours(rows->IsNull(i) ? std::string_view(kNull) : rows->TextAt(i));
      EXPECT_NE(SameBecause(ours, cells[i]), "")
          << names[i] << " in row " << row << ": '" << ours << "' against '" << cells[i] << "'";
    }
  }
}

bool HasMdbExport() { return testing::CommandOutput({"mdb-export", "--version"}).has_value(); }

TEST(AccessCrosscheck, PublicFilesReadAsTheOtherReaderDoes) {
  const std::string folder = testing::TestDataFolder();
  if (folder.empty()) GTEST_SKIP() << "the folder of public test files is absent";
  if (!HasMdbExport()) GTEST_SKIP() << "mdb-export is not installed (package mdbtools)";
  for (const std::string& path : ListFiles(folder + "/mdb")) {
    if (!path.ends_with(".mdb")) continue;
    const ConnectionPtr connection =
        OpenConnection("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + path + ";Password=password;User ID=");
    for (const CatalogTable& table : connection->Tables()) {
      if (table.type == "TABLE") CompareTable(path, *connection, table.name);
    }
  }
}

// The other reader takes calculated columns as they are stored and knows nothing of attachments: the columns
// that both read are compared.
TEST(AccessCrosscheck, ReadableColumnsOfNewerFilesReadAsTheOtherReaderDoes) {
  const std::string folder = testing::TestDataFolder();
  if (folder.empty()) GTEST_SKIP() << "the folder of public test files is absent";
  if (!HasMdbExport()) GTEST_SKIP() << "mdb-export is not installed (package mdbtools)";
  const std::set<std::string> calculated{"LastFirst", "LastFirstLen", "MonthlySalary", "IsRich",
                                         "AllNames",  "SalaryTest",   "WeeklySalary",  "BoolTest",
                                         "FloatTest", "DecimalTest",  "BigNumTest"};
  for (const char* name : {"calcFieldTestV2010.accdb", "complexDataTestV2007.accdb"}) {
    const std::string path = folder + "/accdb/" + name;
    SCOPED_TRACE(path);
    const auto output = Export(path, "Table1");
    ASSERT_TRUE(output);
    std::vector<std::string> lines = Pieces(*output, kRowEnd);
    if (lines.back().empty()) lines.pop_back();
    const auto names = Pieces(lines[0], kColumnEnd);
    const RecordsetPtr rows = OpenConnection("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + path)
                                  ->OpenRecordset("SELECT * From Table1");
    ASSERT_EQ(rows->RecordCount() + 1, static_cast<std::int64_t>(lines.size()));
    for (std::size_t row = 1; row < lines.size(); ++row, rows->MoveNext()) {
      const auto cells = Pieces(lines[row], kColumnEnd);
      for (std::size_t i = 0; i < cells.size(); ++i) {
        const auto column = rows->FindColumn(names[i]);
        if (!column || calculated.contains(names[i])) continue;
        const std::string ours(rows->IsNull(*column) ? std::string_view(kNull) : rows->TextAt(*column));
        EXPECT_NE(SameBecause(ours, cells[i]), "")
            << names[i] << ": '" << ours << "' against '" << cells[i] << "'";
      }
    }
  }
}

// The builder of the other tests makes files that others can read as well.
TEST(AccessCrosscheck, FilesMadeForTheTestsReadAsTheOtherReaderDoes) {
  if (!HasMdbExport()) GTEST_SKIP() << "mdb-export is not installed (package mdbtools)";
  const testing::TempFolder folder;
  for (const auto format : {JetBuilder::Format::kJet3, JetBuilder::Format::kJet4}) {
    JetBuilder builder(format);
    const auto table =
        builder.AddTable("T", {{"n", 4, 4}, {"b", 1}, {"t"}, {"m", 12}, {"d", 8, 8}, {"c", 5, 8}});
    const std::string text(3000, 'x');
    for (std::uint32_t i = 0; i < 3000; ++i) {
      builder.AddRow(table, {testing::Le32(i), i % 2 == 0 ? JetBuilder::Cell("") : std::nullopt,
                             builder.Text("Zeile " + std::to_string(i)),
                             i % 100 == 0   ? builder.Pieces(builder.Text(text), 1000)
                             : i % 100 == 1 ? builder.OnePage(builder.Text("kurz"))
                                            : JetBuilder::Cell(),
                             testing::LeDouble(38000.25 + i), testing::Le64(i * 1234)});
    }
    builder.AddMovedRow(table, {testing::Le32(1), std::nullopt, builder.Text("moved"), std::nullopt,
                                std::nullopt, std::nullopt});
    builder.AddDeletedRow(table, {testing::Le32(1), std::nullopt, builder.Text("gone"), std::nullopt,
                                  std::nullopt, std::nullopt});
    const std::string path =
        folder.Write(format == JetBuilder::Format::kJet3 ? "3.mdb" : "4.mdb", builder.Build());
    CompareTable(path, *OpenConnection("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + path), "T");
  }
}

// The sums of a query over two tables, against the tables' own rows added up here.
TEST(AccessCrosscheck, AStoredQueryGivesWhatItsTablesAddUpTo) {
  const std::string folder = testing::TestDataFolder();
  if (folder.empty()) GTEST_SKIP() << "the folder of public test files is absent";
  const ConnectionPtr connection = OpenConnection("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder +
                                                  "/mdb/kunden_jet4_1000.mdb;Password=;User ID=");
  std::map<std::string, std::pair<std::string, std::string>> customers;
  const RecordsetPtr kunden = connection->OpenRecordset("SELECT * From Kunden");
  const std::size_t number = kunden->RequireColumn("KundenNr");
  for (; !kunden->IsEof(); kunden->MoveNext()) {
    customers[std::string(kunden->TextAt(number))] = {
        std::string(kunden->TextAt(kunden->RequireColumn("Name"))),
        std::string(kunden->TextAt(kunden->RequireColumn("Ort")))};
  }
  std::map<std::pair<std::string, std::string>, double> expected;
  const RecordsetPtr orders = connection->OpenRecordset("SELECT * From Aufträge");
  for (; !orders->IsEof(); orders->MoveNext()) {
    const auto customer = customers.find(std::string(orders->TextAt(orders->RequireColumn("KundenNr"))));
    if (customer == customers.end() || customer->second.second == "Köln" || customer->second.second.empty())
      continue;
    expected[customer->second] += *ParseNumber(orders->TextAt(orders->RequireColumn("Betrag")));
  }
  const RecordsetPtr sums = connection->OpenRecordset("SELECT * From Kundenumsätze");
  ASSERT_GT(expected.size(), 0U);
  EXPECT_EQ(sums->RecordCount(), static_cast<std::int64_t>(expected.size()));
  for (; !sums->IsEof(); sums->MoveNext()) {
    const auto key = std::make_pair(std::string(sums->TextAt(0)), std::string(sums->TextAt(1)));
    ASSERT_TRUE(expected.contains(key)) << key.first << " " << key.second;
    EXPECT_NEAR(*ParseNumber(sums->TextAt(2)), expected.at(key), 1e-6);
  }
}

TEST(AccessCrosscheck, EverySelectAndUnionOfThePublicFilesRuns) {
  const std::string folder = testing::TestDataFolder();
  if (folder.empty()) GTEST_SKIP() << "the folder of public test files is absent";
  const ConnectionPtr connection =
      OpenConnection("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder + "/mdb/queryTestV2000.mdb");
  const auto names = [&](const char* query) { return connection->ColumnNames(query); };
  EXPECT_EQ(names("SelectQuery"), (std::vector<std::string>{"Table1.col1", "Table1.col2", "Table1.col3",
                                                            "Table2.col1", "Table2.col2", "Table3.col3"}));
  EXPECT_EQ(names("UnionQuery"), (std::vector<std::string>{"col1", "col2"}));
  EXPECT_EQ(connection->OpenRecordset("SELECT * From SelectQuery")->RecordCount(), 0);
  EXPECT_EQ(connection->OpenRecordset("SELECT * From UnionQuery")->RecordCount(), 0);
}

TEST(AccessCrosscheck, ThePasswordOfAPublicFileIsChecked) {
  const std::string folder = testing::TestDataFolder();
  if (folder.empty()) GTEST_SKIP() << "the folder of public test files is absent";
  const std::string path =
      "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder + "/mdb/V2003_with-password.mdb;Password=";
  EXPECT_EQ(OpenConnection(path + "password;User ID=")->OpenRecordset("SELECT * From Table1")->RecordCount(),
            3);
  EXPECT_THROW(OpenConnection(path + "passwort;User ID="), RuntimeError);
}

}  // namespace
}  // namespace kestrel
