// New rows of the host's own tables that a trigger of somebody drops without an error: they are refused, none counts as
// stored, and no key of them stays.
#include <functional>

#include "host/host_fixture.h"

namespace kestrel {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

class DroppedRows : public testing::HostFixture {
 protected:
  static constexpr int kRecords = 600;
  static constexpr int kDropped = 6;

  void SetUp() override {
    HostFixture::SetUp();
    if (OnPostgres()) {
      connection->Execute(
          "CREATE FUNCTION lass_aus() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RETURN NULL; END $$");
      connection->Execute(
          "CREATE TRIGGER lass_aus BEFORE INSERT ON Kunden FOR EACH ROW WHEN (NEW.Mitarbeiter % 100 = 7) "
          "EXECUTE "
          "FUNCTION lass_aus()");
    } else {
      connection->Execute(
          "CREATE TRIGGER lass_aus BEFORE INSERT ON Kunden WHEN NEW.Mitarbeiter % 100 = 7 BEGIN SELECT "
          "RAISE(IGNORE); END");
    }
  }
  // `number_of`: of a record, empty for the next free one.
  void ExpectToldAsRefused(const std::function<std::string(int)>& number_of) {
    const ObjectPtr importer = Importer();
    std::vector<std::string> errors;
    const auto note = [&](const std::string& error) {
      if (!error.empty()) errors.push_back(error);
    };
    for (int i = 1; i <= kRecords; ++i) {
      const std::string own = std::to_string(i);
      note(Import(importer,
                  {{"KundenNummer", number_of(i).c_str()}, {"Bez1", "Firma"}, {"Mitarbeiter", own.c_str()}}));
    }
    while (CallMethod(importer, "NextLateError").ToBool()) {
      note(GetProperty(importer, "ErrorDescription").ToText());
    }
    CallMethod(importer, "AfterImport");
    EXPECT_THAT(errors, SizeIs(kDropped));
    EXPECT_THAT(errors, Each(HasSubstr("keinen Grund genannt")));
    const std::string stored = std::to_string(kRecords - kDropped);
    EXPECT_THAT(Rows("SELECT count(*) FROM Kunden"), ElementsAre(stored));
    EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex JOIN Kunden ON AdressId = KundenNummer * 64 + 1"),
                ElementsAre(stored));
    EXPECT_THAT(Rows("SELECT count(*) FROM Adressindex"), ElementsAre(stored));
  }
};

TEST_F(DroppedRows, WithNumbersOfTheirOwnAreToldAsRefused) {
  ExpectToldAsRefused([](int i) { return std::to_string(i); });
}

TEST_F(DroppedRows, WithoutNumbersAreToldAsRefused) {
  ExpectToldAsRefused([](int) { return std::string(); });
}

}  // namespace
}  // namespace kestrel
