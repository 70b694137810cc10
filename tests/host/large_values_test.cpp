// Records with texts so large that their number says nothing of what is sent and kept together.
#include "storage/large_values.h"

#include <sys/mman.h>

#include <cstdint>
#include <limits>
#include <utility>

#include "host/host_fixture.h"
#include "host/ledger_fixture.h"
#include "platform/data/borrowing_recordset.h"
#include "storage/field_error.h"
#include "storage/record_writer.h"
#include "storage/write_behind_buffer.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr std::size_t kMegabyte = 1'000'000;

// Bytes that nobody has written take no memory, as long as nobody but their size is looked at.
class Untouched {
 public:
  explicit Untouched(std::size_t size)
      : size_(size),
        start_(::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {}
  ~Untouched() { ::munmap(start_, size_); }
  Untouched(const Untouched&) = delete;
  Untouched& operator=(const Untouched&) = delete;
  std::string_view text() const { return {static_cast<const char*>(start_), size_}; }

 private:
  const std::size_t size_;
  void* const start_;
};

class LargeValues : public testing::LedgerFixture {
 protected:
  // From then on the table tells how much each statement inserts of a column.
  void WatchStatements(const std::string& table, const std::string& column) {
    connection->Execute("CREATE TABLE Mengen (Bytes bigint)");
    connection->Execute(
        "CREATE FUNCTION miss() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN INSERT INTO Mengen "
        "SELECT sum(octet_length(" +
        column + ")) FROM neue; RETURN NULL; END $$");
    connection->Execute("CREATE TRIGGER miss AFTER INSERT ON " + table +
                        " REFERENCING NEW TABLE AS neue FOR EACH STATEMENT EXECUTE FUNCTION miss()");
  }
  std::size_t MostInAStatement() { return std::stoul(Rows("SELECT max(Bytes) FROM Mengen").at(0)); }
};

TEST_F(LargeValues, AreSentAndKeptTogetherByTheirBytes) {
  const std::string text(2 * kMegabyte, 'x');
  if (OnPostgres()) WatchStatements("Kunden", "Bemerkung");
  const ObjectPtr importer = Importer();
  Start(importer);
  constexpr int kRecords = 100;
  for (int i = 1; i <= kRecords; ++i) {
    // Small ones between them, as copies are made of many.
    const bool is_large = i > 64 && i % 2 == 0;
    ASSERT_EQ(
        Import(importer, {{"Bez1", "Firma"}, {"Ort", "Köln"}, {"Bemerkung", is_large ? text.c_str() : "kurz"}}),
        "");
  }
  End(importer, kRecords);
  EXPECT_THAT(errors, IsEmpty());
  EXPECT_THAT(Rows("SELECT count(*), sum(length(Bemerkung)) FROM Kunden"),
              ElementsAre("100|" + std::to_string(18 * 2 * kMegabyte + 82 * 4)));
  EXPECT_THAT(Rows("SELECT sum(Anzahl) FROM Importlaufzeilen"), ElementsAre("100"));
  if (!OnPostgres()) return;
  EXPECT_LE(MostInAStatement(), host::LargeValues::kMostSent + 2 * kMegabyte);
}

TEST_F(LargeValues, OfLogsAreSentByTheirBytes) {
  if (!OnPostgres()) GTEST_SKIP() << "SQLite tells nobody what a statement inserts";
  WatchStatements("Protokollzeilen", "Spalte1");
  const std::string text(2 * kMegabyte, 'x');
  host::WriteBehindBuffer rows(*connection, "Protokollzeilen (ZeilenNr, ProtokollNr, Spalte0, Spalte1)", 2);
  for (std::int64_t row = 1; row <= 20; ++row) {
    const host::WriteBehindBuffer::Text texts[] = {"a", text};
    rows.Append(row, 1, texts);
  }
  rows.Flush();
  EXPECT_THAT(Rows("SELECT count(*), sum(length(Spalte1)) FROM Protokollzeilen"),
              ElementsAre("20|" + std::to_string(20 * 2 * kMegabyte)));
  EXPECT_LE(MostInAStatement(), host::LargeValues::kMostSent + 2 * kMegabyte);
}

TEST_F(LargeValues, OfMoreThanARecordMayHaveAreItsErrorWithFieldAndWayOut) {
  const host::Destination customers = host::LoadDestination(*connection, "ksbimport.importkunden");
  host::RecordWriter writer(*connection, customers, false, std::make_shared<host::KeyMemory>());
  std::vector<std::string> columns;
  for (const host::DestinationField& field : customers.fields) columns.push_back(field.name);
  BorrowingRecordset record(columns);
  const Untouched text(host::LargeValues::kMostOfRecord + 1);
  host::StoreResult result;
  const auto store = [&](std::int64_t number, std::string_view remark) {
    record.Clear();
    record.SetText(record.RequireColumn("Bez1"), "Firma");
    const std::size_t column = record.RequireColumn("Bemerkung");
    record.CellFor(column).text = remark;
    record.Borrow(column);
    return writer.Store(number, record, result);
  };
  ASSERT_FALSE(store(1, "kurz"));
  const host::Refusal refusal = store(2, text.text());
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->field(), "Bemerkung");
  EXPECT_THAT(refusal->Description(), AllOf(HasSubstr("'Bemerkung'"), HasSubstr("400.000.001 Bytes"),
                                            HasSubstr("höchstens 400.000.000"), HasSubstr("ordnen Sie")));
  EXPECT_EQ(writer.StopReason(), "") << "it is the record's own fault";
  ASSERT_FALSE(store(3, "kurz"));
  Flush();
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("2"));
}

host::StoredValue Text(const Untouched& of, std::size_t size) { return of.text().substr(0, size); }

TEST_F(LargeValues, AreDueToBeSentAndToBeCommittedByWhatHasComeTogether) {
  const Untouched text(std::size_t{host::LargeValues::kMostInGroup});
  host::LargeValues values;
  const auto store = [&](std::size_t size) {
    values.BeginRecord();
    values.Note(0, Text(text, size));
    return values.NoteStored();
  };
  EXPECT_FALSE(store(host::LargeValues::kMostSent - 1));
  EXPECT_FALSE(store(1000)) << "small ones are counted by records";
  EXPECT_TRUE(store(2000));
  EXPECT_FALSE(store(2000));
  EXPECT_FALSE(values.IsGroupFull());
  store(host::LargeValues::kMostInGroup - host::LargeValues::kMostSent);
  EXPECT_TRUE(values.IsGroupFull());
  values.GroupEnded();
  EXPECT_FALSE(values.IsGroupFull());
}

}  // namespace
}  // namespace kestrel
