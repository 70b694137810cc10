// A dBase table, larger than the part of it that is in memory, that is changed while it is read.
#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "kestrel/open_connection.h"
#include "support/dbf_writer.h"
#include "support/expect_error.h"
#include "support/temp_folder.h"

namespace kestrel {

using testing::DbfWriter;
using ::testing::HasSubstr;
using testing::TempFolder;

namespace {

class ChangedDbf : public ::testing::Test {
 protected:
  static constexpr int kRecords = 3000;
  RecordsetPtr OpenLarge() {
    for (int number = 0; number < kRecords; ++number) writer.Add({std::to_string(number)});
    folder.Write("KUNDEN.DBF", writer.Bytes());
    return OpenConnection("Driver={Microsoft dBASE Driver (*.dbf)};DBQ=" + folder.path())
        ->OpenRecordset("SELECT * From KUNDEN");
  }
  // Writes into the file without making it anew.
  void Overwrite(std::string_view bytes) {
    std::ofstream file(Path(), std::ios::binary | std::ios::trunc);
    file << bytes;
  }
  std::string Path() const { return folder.File("KUNDEN.DBF"); }
  // Walks to the end or the error; how many records were seen.
  static int Walk(Recordset& rows, std::optional<RuntimeError>& error) {
    int seen = 0;
    while (!rows.IsEof()) {
      EXPECT_EQ(rows.TextAt(0), std::to_string(seen));
      ++seen;
      try {
        rows.MoveNext();
      } catch (const RuntimeError& raised) {
        EXPECT_TRUE(rows.IsEof());
        error = raised;
        return seen;
      }
    }
    return seen;
  }
  void ExpectBrokenOff(Recordset& rows) {
    std::optional<RuntimeError> error;
    const int seen = Walk(rows, error);
    EXPECT_GT(seen, 0);
    EXPECT_LT(seen, kRecords);
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->Is(ErrorNumber::kPathFileAccess));
    EXPECT_THAT(error->Description(), HasSubstr("KUNDEN.DBF' wurde geändert"));
    ASSERT_TRUE(rows.BrokenOff());
    EXPECT_EQ(rows.BrokenOff()->Description(), error->Description());
    EXPECT_EQ(rows.RecordCount(), kRecords) << "what the table promised";
  }
  TempFolder folder;
  DbfWriter writer{{{"TEXT", 'C', 250}}};
};

}  // namespace

TEST_F(ChangedDbf, OneThatIsTouchedIsReadToItsEnd) {
  const RecordsetPtr rows = OpenLarge();
  Overwrite(writer.Bytes());
  std::filesystem::last_write_time(Path(),
                                   std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
  std::optional<RuntimeError> error;
  EXPECT_EQ(Walk(*rows, error), kRecords);
  EXPECT_FALSE(error) << error->Description();
  EXPECT_FALSE(rows->BrokenOff());
}

TEST_F(ChangedDbf, OneThatHasGrownIsReadAsItWas) {
  const RecordsetPtr rows = OpenLarge();
  writer.Add({"neu"});
  Overwrite(writer.Bytes());
  std::optional<RuntimeError> error;
  EXPECT_EQ(Walk(*rows, error), kRecords);
  EXPECT_FALSE(error) << error->Description();
}

TEST_F(ChangedDbf, OneThatIsRewrittenBreaksOffWhereItDiffers) {
  const RecordsetPtr rows = OpenLarge();
  std::string bytes = writer.Bytes();
  bytes[bytes.size() - 1000] = '!';
  Overwrite(bytes);
  ExpectBrokenOff(*rows);
}

TEST_F(ChangedDbf, OneThatIsCutBreaksOff) {
  const RecordsetPtr rows = OpenLarge();
  std::filesystem::resize_file(Path(), std::filesystem::file_size(Path()) / 2);
  ExpectBrokenOff(*rows);
}

TEST_F(ChangedDbf, NoEmptyRecordsAreReadOfOneThatIsCutToNothing) {
  const RecordsetPtr rows = OpenLarge();
  Overwrite("");
  ExpectBrokenOff(*rows);
}

TEST_F(ChangedDbf, OneThatIsDeletedIsReadToItsEnd) {
  const RecordsetPtr rows = OpenLarge();
  std::filesystem::remove(Path());
  std::optional<RuntimeError> error;
  EXPECT_EQ(Walk(*rows, error), kRecords);
  EXPECT_FALSE(error);
}

TEST_F(ChangedDbf, NeitherTheFirstNorAnyOtherRecordIsReadFromWhatTheFileHasBecome) {
  const RecordsetPtr rows = OpenLarge();
  rows->GoTo(kRecords - 1);
  Overwrite(std::string(writer.Bytes().size(), 'x'));
  EXPECT_ERROR_TEXT(rows->GoTo(kRecords / 2), ErrorNumber::kPathFileAccess, HasSubstr("geändert"));
  EXPECT_TRUE(rows->IsEof());
  EXPECT_ERROR_TEXT(rows->MoveFirst(), ErrorNumber::kPathFileAccess, HasSubstr("geändert"));
  EXPECT_TRUE(rows->IsEof());
}

}  // namespace kestrel
