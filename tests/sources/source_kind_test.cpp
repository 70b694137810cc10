// The rows of the kinds of sources, and a row that a host adds.
#include "sources/source_kind.h"

#include <gmock/gmock.h>

#include "support/expect_error.h"
#include "support/session_fixture.h"
#include "support/source_kind_names.h"
#include "support/sqlite_source_kind.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using testing::SessionFixture;
using testing::SqliteSourceKind;

std::vector<std::string> Names(const SourceKinds& kinds) {
  std::vector<std::string> names;
  for (const SourceKind& kind : kinds) names.push_back(kind.name);
  return names;
}

TEST(SourceKinds, BeginWithTheFiveOfTheComponent) {
  const SourceKinds kinds;
  EXPECT_THAT(Names(kinds),
              ElementsAre(kTextSource, kSqlServerSource, kAccessSource, kExcelSource, kDBaseSource));
  EXPECT_EQ(kinds.Default().name, kTextSource);
}

TEST(SourceKinds, AreFoundByTheirExactName) {
  const SourceKinds kinds;
  for (const char* name : {"", "textdatei", "Textdatei ", "Microsoft SQL-SERVER", "Oracle"}) {
    EXPECT_EQ(kinds.Find(name), nullptr) << name;
  }
  ASSERT_NE(kinds.Find(kExcelSource), nullptr);
  EXPECT_EQ(kinds.Find(kExcelSource)->name, kExcelSource);
}

TEST(SourceKinds, AnAddedKindStandsLastAndTheOthersStayWhereTheyAre) {
  SourceKinds kinds;
  const SourceKind* text = kinds.Find(kTextSource);
  kinds.Add(SqliteSourceKind());
  EXPECT_EQ(Names(kinds).back(), "SQLite-Datenbank");
  EXPECT_EQ(kinds.Find(kTextSource), text);
}

TEST(SourceKinds, ARowThatCouldNotBeServedIsRefused) {
  SourceKinds kinds;
  const auto refuses = [&](void (*spoil)(SourceKind&)) {
    SourceKind kind = SqliteSourceKind();
    spoil(kind);
    EXPECT_ERROR(kinds.Add(kind), ErrorNumber::kInvalidProcedureCall);
  };
  refuses([](SourceKind& kind) { kind.name = ""; });
  refuses([](SourceKind& kind) { kind.name = "a\nb"; });
  refuses([](SourceKind& kind) { kind.name = kTextSource; });
  refuses([](SourceKind& kind) { kind.location = nullptr; });
  refuses([](SourceKind& kind) { kind.location = &Session::FileName; });
  refuses([](SourceKind& kind) { kind.inputs[0].box = nullptr; });
  EXPECT_EQ(Names(kinds).size(), 5U);
}

class AddedKindTest : public SessionFixture {
 protected:
  AddedKindTest() {
    kinds.Add(SqliteSourceKind());
    session.platform.source_kinds = &kinds;
  }
  SourceKinds kinds;
};

TEST_F(AddedKindTest, IsKnownToItsSessionOnly) {
  session.Provider = "SQLite-Datenbank";
  EXPECT_NE(KindOf(session), nullptr);
  const Session other{Platform{ui, components, clock}};
  EXPECT_EQ(KindsOf(other).Find("SQLite-Datenbank"), nullptr);
}

TEST_F(AddedKindTest, IsSelectedByItsFiles) {
  session.ImportFileName = "/daten/Kunden.sqlite";
  ApplyImportFileName(session);
  EXPECT_EQ(session.Provider, "SQLite-Datenbank");
  EXPECT_EQ(session.Database, "/daten/Kunden.sqlite");
}

TEST_F(AddedKindTest, NamesWhatIsMissing) {
  session.Provider = "SQLite-Datenbank";
  EXPECT_EQ(ConnectFromSession(session).reason,
            "Für die Verbindung zur Datenquelle fehlt eine Angabe: Database");
}

TEST_F(AddedKindTest, IsStoredFromThePageAndShownThere) {
  SourcePage page;
  page.cboDatenquelleTyp = "SQLite-Datenbank";
  page.txtAccessDB = "/daten/k.sqlite";
  page.cboAccessTable = "Kunden";
  EXPECT_TRUE(StorePage(session, page));
  EXPECT_EQ(session.Database, "/daten/k.sqlite");
  EXPECT_EQ(session.Table, "Kunden");
  EXPECT_THAT(ReasonToStay(session),
              ::testing::Optional(std::string("Die Datei ''/daten/k.sqlite'' existiert nicht.")));
  SourcePage shown;
  LoadPage(session, shown);
  EXPECT_EQ(shown.cboDatenquelleTyp, "SQLite-Datenbank");
  EXPECT_EQ(shown.txtAccessDB, "/daten/k.sqlite");
}

}  // namespace
}  // namespace kestrel
