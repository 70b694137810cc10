#include <gmock/gmock.h>

#include "kestrel/open_connection.h"
#include "mapping/translation.h"
#include "support/session_fixture.h"

namespace kestrel {

void PrintTo(const PermittedValue& value, std::ostream* out) { *out << value.value << "*" << value.display; }

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PermittedValuesTest : public testing::SessionFixture {
 protected:
  PermittedValuesTest() {
    const ConnectionPtr host = OpenConnection("Provider=SQLite;Data Source=" + folder.File("host.db"));
    host->Execute("CREATE TABLE Gruppen (Code TEXT, Description TEXT)");
    host->Execute("INSERT INTO Gruppen VALUES ('A', 'Großkunde'), ('B', NULL)");
    session.HostConnection = host;
  }
};

TEST_F(PermittedValuesTest, KindZeroIsAQueryOnTheHost) {
  for (const ValueListUse use : {ValueListUse::kTranslation, ValueListUse::kConstants}) {
    EXPECT_THAT(ReadPermittedValues(session, "SELECT Code, Description FROM Gruppen ORDER BY Code", "0", use),
                ElementsAre(PermittedValue{"A", "Großkunde"}, PermittedValue{"B", ""}));
  }
}

TEST_F(PermittedValuesTest, AnyOtherKindIsAQueryForConstantsAndNothingForTranslations) {
  constexpr const char* kQuery = "SELECT Code, Description FROM Gruppen WHERE Code = 'A'";
  EXPECT_THAT(ReadPermittedValues(session, kQuery, "7", ValueListUse::kConstants),
              ElementsAre(PermittedValue{"A", "Großkunde"}));
  EXPECT_THAT(ReadPermittedValues(session, kQuery, "7", ValueListUse::kTranslation), IsEmpty());
}

TEST_F(PermittedValuesTest, KindOneIsAList) {
  for (const ValueListUse use : {ValueListUse::kTranslation, ValueListUse::kConstants}) {
    EXPECT_THAT(ReadPermittedValues(session, "D*Deutschland#A*Österreich#CH#", "1", use),
                ElementsAre(PermittedValue{"D", "Deutschland"}, PermittedValue{"A", "Österreich"},
                            PermittedValue{"CH", "CH"}));
  }
}

TEST_F(PermittedValuesTest, AnEmptySourceOffersNothing) {
  EXPECT_THAT(ReadPermittedValues(session, "", "0", ValueListUse::kConstants), IsEmpty());
  EXPECT_THAT(ReadPermittedValues(session, "", "1", ValueListUse::kTranslation), IsEmpty());
}

TEST_F(PermittedValuesTest, TheDescriptionIsFoundInAnyCase) {
  EXPECT_THAT(ReadPermittedValues(session, "SELECT Code, 'x' AS description FROM Gruppen WHERE Code = 'A'", "0",
                                  ValueListUse::kTranslation),
              ElementsAre(PermittedValue{"A", "x"}));
}

TEST_F(PermittedValuesTest, AQueryWithoutDescriptionIsRefused) {
  try {
    ReadPermittedValues(session, "SELECT Code FROM Gruppen", "0", ValueListUse::kTranslation);
    FAIL() << "no error";
  } catch (const RuntimeError& error) {
    EXPECT_TRUE(error.Is(ErrorNumber::kColumnNotFound)) << error.Description();
  }
}

TEST_F(PermittedValuesTest, AnUnreachableTableIsTheDatabasesError) {
  EXPECT_THROW(ReadPermittedValues(session, "SELECT * FROM Fehlt", "0", ValueListUse::kTranslation),
               RuntimeError);
}

}  // namespace
}  // namespace kestrel
