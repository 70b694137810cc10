// What a test run is told of a record: what storing it would tell, and nothing is stored.
#include <algorithm>
#include <iterator>
#include <map>
#include <random>

#include "host/host_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Record = std::map<std::string, std::string>;

// The texts of a run's errors, by record, late ones included.
using Errors = std::map<std::int64_t, std::vector<std::string>>;

class CheckRecordTest : public testing::HostFixture {
 protected:
  // Hands records to a member of the class, as a run does.
  Errors Run(const ObjectPtr& importer, const char* member, const std::vector<Record>& records) {
    Errors errors;
    std::int64_t number = 0;
    const auto note = [&] {
      if (GetProperty(importer, "ErrorCode").ToInteger() == 0) return;
      const std::int64_t of = GetProperty(importer, "ErrorFirstRecord").ToInteger();
      errors[of == 0 ? number : of].push_back(GetProperty(importer, "ErrorDescription").ToText());
    };
    Value cancel(false);
    CallMethod(importer, "BeforeImport", ByRef(cancel));
    for (const Record& fields : records) {
      ++number;
      Value record = CallMethod(importer, "GetNewRecord");
      const RecordsetPtr row = ToRecordset(record);
      for (const auto& [name, text] : fields) row->SetText(row->RequireColumn(name), text);
      CallMethod(importer, member, ByRef(record));
      note();
    }
    while (CallMethod(importer, "NextLateError").ToBool()) note();
    CallMethod(importer, "AfterImport");
    note();
    return errors;
  }
  Errors Check(const std::vector<Record>& records) { return Run(Importer(), "CheckRecord", records); }
};

TEST_F(CheckRecordTest, StoresNothing) {
  EXPECT_THAT(Check({{{"KundenNummer", "1"}, {"Bez1", "A"}}, {{"Bez1", "B"}}}), IsEmpty());
  EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre("0"));
  EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre("0"));
}

TEST_F(CheckRecordTest, TellsAnEmptyMandatoryFieldADateAndALength) {
  const Errors errors = Check({{{"Bez2", "x"}},
                               {{"Bez1", "A"}, {"KundeSeit", "31.02.2024"}},
                               {{"Bez1", std::string(51, 'x')}},
                               {{"Bez1", "gut"}}});
  ASSERT_EQ(errors.size(), 3u);
  EXPECT_THAT(errors.at(1), ElementsAre(HasSubstr("Das Pflichtfeld 'Bez1' ist leer.")));
  EXPECT_THAT(errors.at(2), ElementsAre(HasSubstr("'31.02.2024'")));
  EXPECT_THAT(errors.at(3), ElementsAre(HasSubstr("länger als 50 Zeichen")));
}

TEST_F(CheckRecordTest, TellsWhatAConstraintOfTheTableForbids) {
  const Errors errors = Check({{{"Bez1", "A"}, {"Mitarbeiter", "-1"}}});
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_THAT(errors.at(1), ElementsAre(HasSubstr(OnPostgres() ? "mitarbeiter" : "Mitarbeiter >= 0")));
}

TEST_F(CheckRecordTest, TellsANumberThatTheTableHas) {
  ASSERT_EQ(Import(Importer(), {{"KundenNummer", "7"}, {"Bez1", "alt"}}), "");
  const Errors errors = Check({{{"KundenNummer", "7"}, {"Bez1", "neu"}}});
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_THAT(errors.at(1), ElementsAre(HasSubstr("Die Nummer 7 gibt es in 'Kunden' schon")));
  EXPECT_THAT(errors.at(1), ElementsAre(HasSubstr("KundenUeberschreiben=1")));
}

TEST_F(CheckRecordTest, TellsANumberThatAnEarlierRecordOfTheTestTakes) {
  ASSERT_EQ(Import(Importer(), {{"KundenNummer", "7"}, {"Bez1", "alt"}}), "");
  const Errors errors = Check({{{"KundenNummer", "9"}, {"Bez1", "A"}},
                               {{"KundenNummer", "9"}, {"Bez1", "B"}},
                               {{"Bez1", "bekommt die 10"}},
                               {{"KundenNummer", "10"}, {"Bez1", "C"}}});
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_THAT(errors.at(2), ElementsAre(HasSubstr("Die Nummer 9 gibt es")));
  EXPECT_THAT(errors.at(4), ElementsAre(HasSubstr("Die Nummer 10 gibt es")));
}

TEST_F(CheckRecordTest, ARecordThatIsRefusedTakesNoNumber) {
  EXPECT_THAT(Check({{{"KundenNummer", "9"}, {"Bez1", "A"}, {"Mitarbeiter", "-1"}},
                     {{"KundenNummer", "9"}, {"Bez1", "B"}}}),
              ::testing::SizeIs(1));
}

TEST_F(CheckRecordTest, TheNextTestKnowsNothingOfTheOneBefore) {
  const ObjectPtr importer = Importer();
  EXPECT_THAT(Run(importer, "CheckRecord", {{{"KundenNummer", "9"}, {"Bez1", "A"}}}), IsEmpty());
  EXPECT_THAT(Run(importer, "CheckRecord", {{{"KundenNummer", "9"}, {"Bez1", "A"}}}), IsEmpty());
  EXPECT_THAT(Run(importer, "ImportRecord", {{{"KundenNummer", "9"}, {"Bez1", "A"}}}), IsEmpty());
  EXPECT_THAT(Rows("SELECT KundenNummer FROM Kunden"), ElementsAre("9"));
}

TEST_F(CheckRecordTest, WhereOverwritingIsWantedAnUpdateIsCheckedOfTheRowAsItStands) {
  ASSERT_EQ(Import(Importer(), {{"KundenNummer", "7"}, {"Bez1", "alt"}, {"Mitarbeiter", "3"}}), "");
  const Errors errors = Run(OverwritingImporter(), "CheckRecord",
                            {{{"KundenNummer", "7"}, {"Bez1", "neu"}},
                             {{"KundenNummer", "7"}, {"Bez1", "neu"}, {"Mitarbeiter", "-1"}}});
  EXPECT_THAT(errors, ::testing::SizeIs(1));
  EXPECT_EQ(errors.count(2), 1u);
  EXPECT_THAT(Rows("SELECT Bez1, Mitarbeiter FROM Kunden"), ElementsAre("alt|3"));
}

TEST_F(CheckRecordTest, ATestLeavesNoTableBehind) {
  Check({{{"Bez1", "A"}}});
  const char* const tables = OnPostgres() ? "SELECT count(*) FROM pg_class WHERE relname LIKE 'pruefung_%'"
                                          : "SELECT count(*) FROM temp.sqlite_schema";
  EXPECT_THAT(Rows(tables), ElementsAre("0"));
}

// Where the table is as the host makes it, most records need not be stored even there.
TEST_F(CheckRecordTest, WhatTheTableIsKnownToTakeDoesNotReachTheTrialTable) {
  if (OnPostgres()) GTEST_SKIP() << "PostgreSQL is always asked";
  const ObjectPtr importer = Importer();
  const auto rows_after = [&](const Record& fields) {
    Value record = CallMethod(importer, "GetNewRecord");
    const RecordsetPtr row = ToRecordset(record);
    for (const auto& [name, text] : fields) row->SetText(row->RequireColumn(name), text);
    CallMethod(importer, "CheckRecord", ByRef(record));
    const std::string table = Rows("SELECT name FROM temp.sqlite_schema WHERE type = 'table'").at(0);
    return Rows("SELECT KundenNummer FROM " + table);
  };
  Value cancel(false);
  CallMethod(importer, "BeforeImport", ByRef(cancel));
  EXPECT_THAT(rows_after({{"KundenNummer", "9"}, {"Bez1", "A"}, {"Mitarbeiter", "3"}}), IsEmpty());
  EXPECT_THAT(rows_after({{"KundenNummer", "9"}, {"Bez1", "B"}}), IsEmpty());
  EXPECT_THAT(rows_after({{"Bez1", "C"}}), IsEmpty());
}

TEST_F(CheckRecordTest, ATableWithFurtherConstraintsIsAskedItself) {
  if (OnPostgres()) GTEST_SKIP() << "PostgreSQL is always asked";
  connection->Execute("ALTER TABLE Kunden ADD COLUMN Kennung INTEGER CHECK (length(Bez1) > 2)");
  const Errors errors = Check({{{"Bez1", "ABC"}}, {{"Bez1", "AB"}}});
  EXPECT_THAT(errors, ::testing::SizeIs(1));
  EXPECT_EQ(errors.count(2), 1u);
}

// An error that a server tells late names its address; which are late depends on when its answers come.
Errors Unnamed(Errors errors) {
  for (auto& [record, texts] : errors) {
    for (std::string& text : texts) {
      const std::size_t end = text.starts_with("KundenNummer ") ? text.find(": ") : std::string::npos;
      if (end != std::string::npos) text.erase(0, end + 2);
    }
  }
  return errors;
}

// What only `errors` has.
Errors Missing(const Errors& others, const Errors& errors) {
  Errors missing;
  std::ranges::set_difference(errors, others, std::inserter(missing, missing.end()));
  return missing;
}

// --- Random records: the test run tells what the import then tells -------------------------------

class RandomChecks : public CheckRecordTest, public ::testing::WithParamInterface<unsigned> {
 protected:
  // On PostgreSQL each record has a number: which one an address without gets there depends on what else was under
  // way when a record before it was refused, and so does whether a number told later is taken.
  std::vector<Record> RandomRecords(std::mt19937& random) {
    const auto pick = [&](std::initializer_list<const char*> values) {
      return std::string(values.begin()[random() % values.size()]);
    };
    std::vector<Record> records(random() % 150);
    for (Record& record : records) {
      record["Bez1"] = pick({"Meyer", "Müller", "Schmidt", "", "Groß"});
      if (random() % 12 == 0) record["Bez1"] = std::string(49 + random() % 4, 'x');
      if (OnPostgres() || random() % 3 != 0)
        record["KundenNummer"] = std::to_string(random() % (random() % 5 == 0 ? 600 : 60));
      if (random() % 30 == 0)
        record["KundenNummer"] = pick({"-3", "12,0", "1.000", "drei", OnPostgres() ? "7" : ""});
      if (random() % 4 == 0)
        record["KundeSeit"] = pick({"20240229", "29.02.2023", "", "2024-13-01", "1.2.2024"});
      if (random() % 4 == 0) record["Mitarbeiter"] = pick({"5", "-5", "x", "2,5", "99999999999"});
      if (random() % 4 == 0) record["Umsatz"] = pick({"1,5", "1.234,5", "viel"});
      if (random() % 5 == 0) record["Land"] = pick({"DE", "AUT", "Österreich"});
    }
    return records;
  }
};

TEST_P(RandomChecks, ATestTellsTheErrorsOfTheImport) {
  std::mt19937 random(GetParam());
  const auto importer = [&] { return GetParam() % 2 == 0 ? Importer() : OverwritingImporter(); };
  Run(importer(), "ImportRecord", RandomRecords(random));
  const auto before = Rows("SELECT * FROM Kunden ORDER BY KundenNummer");
  const auto index_before = Rows("SELECT * FROM Adressindex ORDER BY Referenz");
  const std::vector<Record> records = RandomRecords(random);
  const Errors tested = Run(importer(), "CheckRecord", records);
  EXPECT_EQ(Rows("SELECT * FROM Kunden ORDER BY KundenNummer"), before);
  EXPECT_EQ(Rows("SELECT * FROM Adressindex ORDER BY Referenz"), index_before);
  const Errors imported = Run(importer(), "ImportRecord", records);
  // Where they differ, the records that differ are shown, not the first thirty.
  EXPECT_EQ(Missing(Unnamed(tested), Unnamed(imported)), Errors());
  EXPECT_EQ(Missing(Unnamed(imported), Unnamed(tested)), Errors());
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomChecks, ::testing::Range(0u, 40u));

}  // namespace
}  // namespace kestrel
