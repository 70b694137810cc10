// Every public test file, read here and by a reader that is not ours.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "support/command_output.h"
#include "support/project_paths.h"
#include "support/temp_folder.h"

namespace kestrel {

namespace {

std::string CrosscheckScript(const std::string& name) {
  return testing::InSourceTree("tests/platform/data/crosscheck/" + name);
}

std::vector<std::string> FilesWith(const std::string& folder, const std::string& extension) {
  std::vector<std::string> files;
  for (std::string& path : ListFiles(folder)) {
    if (path.ends_with(extension)) files.push_back(std::move(path));
  }
  return files;
}

std::string Escaped(std::string_view text) {
  std::string escaped = ReplaceAll(ReplaceAll(text, "\\", "\\\\"), "\t", "\\t");
  return ReplaceAll(ReplaceAll(escaped, "\n", "\\n"), "\r", "\\r");
}

std::string RowLine(const Recordset& rows, bool shows_nulls) {
  std::string line = "ROW";
  for (std::size_t column = 0; column < rows.ColumnCount(); ++column) {
    line += "\t" + (shows_nulls && rows.IsNull(column) ? "\\N" : Escaped(rows.TextAt(column)));
  }
  return line;
}

// The lines a script printed, by file; a refused file has its one line.
std::map<std::string, std::vector<std::string>> ByFile(const std::string& output) {
  std::map<std::string, std::vector<std::string>> files;
  std::istringstream stream(output);
  std::string current;
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with("FILE ")) {
      current = line.substr(5);
      files[current];
    } else if (line.starts_with("REFUSED ")) {
      const std::size_t end = line.find(' ', 8);
      files[line.substr(8, end - 8)] = {line};
      current.clear();
    } else if (!current.empty()) {
      files[current].push_back(line);
    }
  }
  return files;
}

// What the first row of a sheet gives as column names: position names where there is none.
std::string HeaderLine(const std::string& row) {
  std::string line = "ROW";
  std::size_t number = 0;
  for (const std::string_view cell : Split(std::string_view(row).substr(row.find('\t') + 1), '\t')) {
    ++number;
    line +=
        "\t" + (cell == "\\N" || TrimBlanks(cell).empty() ? "F" + std::to_string(number) : std::string(cell));
  }
  return line;
}

void CompareWorkbook(const std::string& path, const std::vector<std::string>& expected) {
  const ConnectionPtr connection = OpenConnection("Driver={Microsoft Excel Driver (*.xls)};defaultdir=" + path);
  std::size_t at = 0;
  while (at < expected.size()) {
    ASSERT_TRUE(expected[at].starts_with("SHEET ")) << expected[at];
    const std::string sheet = expected[at++].substr(6);
    SCOPED_TRACE(path + " " + sheet);
    const RecordsetPtr rows = connection->OpenRecordset("SELECT * FROM `" + path + "`.`" + sheet + "$`");
    std::vector<std::string> found;
    if (rows->ColumnCount() > 0) {
      std::string names = "ROW";
      for (std::size_t column = 0; column < rows->ColumnCount(); ++column) {
        names += "\t" + Escaped(rows->ColumnName(column));
      }
      found.push_back(names);
    }
    for (; !rows->IsEof(); rows->MoveNext()) found.push_back(RowLine(*rows, true));
    std::vector<std::string> wanted;
    for (; at < expected.size() && expected[at].starts_with("ROW"); ++at) {
      wanted.push_back(wanted.empty() ? HeaderLine(expected[at]) : expected[at]);
    }
    ASSERT_EQ(found, wanted);
  }
}

}  // namespace

TEST(FileCrosscheck, WorkbooksReadAsTheOtherReaderDoes) {
  const std::string folder = testing::TestDataFolder();
  if (folder.empty()) GTEST_SKIP() << "the folder of public test files is absent";
  const std::string python = testing::PythonWith("xlrd");
  if (python.empty()) GTEST_SKIP() << "python3-xlrd is not installed";

  std::vector<std::string> command{python, CrosscheckScript("xls_as_text.py")};
  const std::vector<std::string> paths = FilesWith(folder + "/xls", ".xls");
  command.insert(command.end(), paths.begin(), paths.end());
  const auto output = testing::CommandOutput(command);
  ASSERT_TRUE(output);
  const auto files = ByFile(*output);
  // Encrypted: the first has a password, the others the one everybody knows, which the other reader does not try.
  const std::set<std::string> refused{"password.xls"};
  const std::set<std::string> opened{"50833.xls", "issue_385.xls"};

  for (const std::string& path : paths) {
    const std::string name = FileNameOfPath(path);
    SCOPED_TRACE(name);
    ASSERT_TRUE(files.contains(name));
    if (refused.contains(name)) {
      EXPECT_TRUE(files.at(name).front().starts_with("REFUSED"));
      EXPECT_THROW(OpenConnection("Driver={Microsoft Excel Driver (*.xls)};defaultdir=" + path), RuntimeError);
      continue;
    }
    if (opened.contains(name)) {
      EXPECT_TRUE(files.at(name).front().starts_with("REFUSED"));
      EXPECT_NO_THROW(OpenConnection("Driver={Microsoft Excel Driver (*.xls)};defaultdir=" + path));
      continue;
    }
    CompareWorkbook(path, files.at(name));
  }
}

TEST(FileCrosscheck, DbaseTablesReadAsTheOtherReaderDoes) {
  const std::string folder = testing::TestDataFolder();
  if (folder.empty()) GTEST_SKIP() << "the folder of public test files is absent";
  const std::string python = testing::PythonWith("dbf");
  if (python.empty()) GTEST_SKIP() << "python3-dbf is not installed";

  std::vector<std::string> command{python, CrosscheckScript("dbf_as_text.py"), "cp850"};
  const std::vector<std::string> paths = FilesWith(folder + "/dbf", ".dbf");
  command.insert(command.end(), paths.begin(), paths.end());
  const auto output = testing::CommandOutput(command);
  ASSERT_TRUE(output);
  const auto files = ByFile(*output);
  // The other reader cannot take these: two columns of one name, more null flags than it counts, dBase IV.
  // What they hold is tested cell by cell in dbf_test.cpp.
  const std::set<std::string> only_ours{"dbase_03.dbf", "dbase_31.dbf", "dbase_8b.dbf"};

  const ConnectionPtr connection =
      OpenConnection("Driver={Microsoft dBASE Driver (*.dbf)};DBQ=" + folder + "/dbf; DriverID=277");
  for (const std::string& path : paths) {
    const std::string name = FileNameOfPath(path);
    SCOPED_TRACE(name);
    const RecordsetPtr rows = connection->OpenRecordset("SELECT * From " + name);
    std::vector<std::string> found;
    for (; !rows->IsEof(); rows->MoveNext()) found.push_back(RowLine(*rows, false));
    EXPECT_EQ(rows->RecordCount(), static_cast<std::int64_t>(found.size()));
    ASSERT_TRUE(files.contains(name));
    if (only_ours.contains(name)) {
      EXPECT_TRUE(files.at(name).front().starts_with("REFUSED"));
      EXPECT_GT(found.size(), 0U);
      continue;
    }
    EXPECT_EQ(found, files.at(name));
  }
}

}  // namespace kestrel
