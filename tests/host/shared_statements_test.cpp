// New records that share statements on their way to a server: the result is that of waiting for each.
#include <algorithm>
#include <mutex>
#include <random>
#include <regex>

#include "host/host_fixture.h"

namespace kestrel {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

class SharedStatements : public testing::HostFixture, public ::testing::WithParamInterface<unsigned> {
 protected:
  void SetUp() override {
    HostFixture::SetUp();
    if (!OnPostgres()) GTEST_SKIP() << "needs a database whose answers are not waited for";
  }

  // What an import of the same random records stores and tells, each waited for or not.
  struct Outcome {
    std::vector<std::string> addresses, index, errors;
  };
  Outcome ImportRandomRecords(unsigned seed, bool wait) {
    Outcome outcome;
    const ObjectPtr importer = Importer();
    std::mt19937 random(seed);
    const int refused_one_in = seed % 3 == 0 ? 5 : 150;
    const auto note = [&](const std::string& error) {
      // One that comes late is named by its record.
      static const std::regex name("^(KundenNummer [0-9]+|Bez1 '[^']*'): ");
      if (!error.empty()) outcome.errors.push_back(std::regex_replace(error, name, ""));
    };
    for (int i = 1; i <= 900; ++i) {
      const bool has_number = random() % 4 != 0;
      // Some numbers come again, and none is one that others are given.
      const std::string number = std::to_string(1000 * (random() % 50 == 0 ? i / 2 + 1 : i));
      const bool is_refused = random() % refused_one_in == 0;
      note(Import(importer, {{"KundenNummer", has_number ? number.c_str() : ""},
                             {"Bez1", ("Name " + std::to_string(random() % 700)).c_str()},
                             {"Bez2", std::to_string(i).c_str()},
                             {"PLZ", random() % 9 == 0 ? "" : "50667"},
                             {"Mitarbeiter", is_refused ? "-1" : "5"}}));
      // A query follows all answers before it.
      // Nor does the timer end the group while its answer is read.
      const std::lock_guard lock(connection->CallMutex());
      if (wait) Rows("SELECT 1");
      if (random() % 200 == 0) Rows("SELECT count(*) FROM Kunden");
    }
    while (CallMethod(importer, "NextLateError").ToBool()) {
      note(GetProperty(importer, "ErrorDescription").ToText());
    }
    // A sequence may leave out numbers of records that were refused.
    const char* number = "CASE WHEN KundenNummer % 1000 = 0 THEN KundenNummer END";
    outcome.addresses = Rows(std::string("SELECT Bez1, Bez2, PLZ, Mitarbeiter, ") + number +
                             " FROM Kunden ORDER BY CAST(Bez2 AS integer)");
    outcome.index = Rows(
        "SELECT Bez2, Doubletkey1, Doubletkey2, Doubletkey3 FROM Adressindex JOIN Kunden"
        " ON Referenz = CAST(KundenNummer AS text) AND AdressId = 64 * KundenNummer + Adressart"
        " ORDER BY CAST(Bez2 AS integer)");
    EXPECT_EQ(outcome.index.size(), outcome.addresses.size());
    std::ranges::sort(outcome.errors);
    return outcome;
  }
};

}  // namespace

TEST_P(SharedStatements, StoreAndTellWhatWaitingForEachRecordDoes) {
  const Outcome waited = ImportRandomRecords(GetParam(), true);
  EXPECT_THAT(waited.errors, ::testing::Not(IsEmpty()));
  connection->Execute("DELETE FROM Kunden");
  connection->Execute("DELETE FROM Adressindex");
  const Outcome sent = ImportRandomRecords(GetParam(), false);
  EXPECT_EQ(sent.errors, waited.errors);
  EXPECT_EQ(sent.addresses, waited.addresses);
  EXPECT_EQ(sent.index, waited.index);
}

INSTANTIATE_TEST_SUITE_P(Seeds, SharedStatements, ::testing::Range(1U, 7U));

using SharedStatement = SharedStatements;

TEST_F(SharedStatement, IsOneForManyRecordsAndTheirIndexRows) {
  const ObjectPtr importer = Importer();
  for (int i = 1; i <= 64; ++i) {
    Import(importer, {{"KundenNummer", std::to_string(i).c_str()}, {"Bez1", "Müller"}, {"PLZ", "50667"}});
  }
  const auto executions = [&](const std::string& table) {
    return Rows("SELECT count(*) FROM pg_prepared_statements WHERE statement LIKE 'INSERT INTO " + table +
                " (% VALUES ($1%), ($%'");
  };
  EXPECT_THAT(executions("Kunden"), ElementsAre("1"));
  EXPECT_THAT(executions("Adressindex"), ElementsAre("1"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("64"));
}

TEST_F(SharedStatement, IsSentBeforeAQueryThatComesInBetween) {
  const ObjectPtr importer = Importer();
  for (int i = 1; i <= 5; ++i) {
    const std::string number = std::to_string(i);
    EXPECT_EQ(Import(importer, {{"KundenNummer", number.c_str()}, {"Bez1", "Müller"}}), "");
    EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre(number));
  }
}

TEST_F(SharedStatement, CannotCarryANulAndTellsTheRecordThatHasOne) {
  const ObjectPtr importer = Importer();
  std::vector<std::string> errors;
  for (int i = 1; i <= 3; ++i) {
    Value record = CallMethod(importer, "GetNewRecord");
    const RecordsetPtr row = ToRecordset(record);
    row->SetText(row->RequireColumn("KundenNummer"), std::to_string(i));
    row->SetText(row->RequireColumn("Bez1"), i == 2 ? std::string_view("a\0b", 3) : "ab");
    CallMethod(importer, "ImportRecord", ByRef(record));
    if (const std::string error = GetProperty(importer, "ErrorDescription").ToText(); !error.empty()) {
      errors.push_back(error);
    }
  }
  while (CallMethod(importer, "NextLateError").ToBool()) {
    errors.push_back(GetProperty(importer, "ErrorDescription").ToText());
  }
  EXPECT_THAT(errors, ElementsAre(HasSubstr("NUL")));
  EXPECT_THAT(Rows("SELECT KundenNummer FROM Kunden ORDER BY 1"), ElementsAre("1", "3"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre("2"));
}

}  // namespace kestrel
