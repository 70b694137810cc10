// The rules of the data source page, without its window.
#include "sources/source_page.h"

#include <gmock/gmock.h>

#include "support/session_fixture.h"
#include "support/source_kind_names.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::Optional;

class SourcePageTest : public testing::SessionFixture {
 protected:
  // Everything that a store can change.
  static std::vector<std::string> Settings(const Session& stored) {
    return {stored.Provider,
            stored.FileName,
            stored.Delimiter,
            stored.FileFormat,
            stored.SavePath,
            stored.TextRecognition,
            stored.Server,
            stored.User,
            stored.Password,
            stored.Database,
            std::to_string(stored.ColumnHeadings) + std::to_string(stored.SaveFile) +
                std::to_string(stored.DeleteFile)};
  }

  std::vector<std::string> OfferedKinds() const {
    std::vector<std::string> names;
    for (const SourceKind& kind : KindsOf(session)) {
      if (kind.is_offered) names.push_back(kind.name);
    }
    return names;
  }

  SourcePage page;
};

TEST_F(SourcePageTest, ExcelIsNotOffered) {
  EXPECT_THAT(OfferedKinds(), ElementsAre("Textdatei", "Microsoft SQL-Server", "Microsoft Access-Datenbanken",
                                          "dBase-Datenbank"));
}

// --- Storing ---

TEST_F(SourcePageTest, ATextFileIsStoredKeyByKey) {
  page.cboDatenquelleTyp = "Textdatei";
  page.txtFilename = "C:\\a.txt";
  page.chkZeileFeldname = true;
  page.optAnsi = true;
  page.delimiter = DelimiterChoice::kSemicolon;
  page.txtTexterkenner = "'";
  page.chkSichereDatei = true;
  page.txtSicherungspfad = "C:\\b";
  page.chkDateilöschen = true;
  EXPECT_TRUE(StorePage(session, page));
  EXPECT_EQ(session.Provider, "Textdatei");
  EXPECT_EQ(session.FileName, "C:\\a.txt");
  EXPECT_TRUE(session.ColumnHeadings);
  EXPECT_EQ(session.FileFormat, "ANSI");
  EXPECT_EQ(session.Delimiter, ";");
  EXPECT_EQ(session.TextRecognition, "'");
  EXPECT_TRUE(session.SaveFile);
  EXPECT_EQ(session.SavePath, "C:\\b");
  EXPECT_TRUE(session.DeleteFile);
}

TEST_F(SourcePageTest, WithoutAnsiTheFormatIsAscii) {
  page.cboDatenquelleTyp = "Textdatei";
  StorePage(session, page);
  EXPECT_EQ(session.FileFormat, "ASCII");
}

TEST_F(SourcePageTest, EachDelimiterButtonStoresItsText) {
  page.cboDatenquelleTyp = "Textdatei";
  page.txtAnders = "|";
  for (const auto& [choice, stored] :
       std::initializer_list<std::pair<DelimiterChoice, const char*>>{{DelimiterChoice::kTab, "TAB"},
                                                                      {DelimiterChoice::kSemicolon, ";"},
                                                                      {DelimiterChoice::kComma, ","},
                                                                      {DelimiterChoice::kOther, "|"}}) {
    page.delimiter = choice;
    StorePage(session, page);
    EXPECT_EQ(session.Delimiter, stored);
  }
}

TEST_F(SourcePageTest, AnSqlServerIsStoredKeyByKey) {
  page.cboDatenquelleTyp = "Microsoft SQL-Server";
  page.txtSQLServer = "s";
  page.txtSQLUID = "u";
  page.txtSQLKennwort = "k";
  page.txtSQLDB = "d";
  page.cboSQLTable = "t";
  EXPECT_TRUE(StorePage(session, page));
  EXPECT_EQ(session.Server + session.User + session.Password + session.Database + session.Table, "sukdt");
}

TEST_F(SourcePageTest, AnAccessPathIsStoredAsUserTooAndBenutzerAsPassword) {
  page.cboDatenquelleTyp = "Microsoft Access-Datenbanken";
  page.txtAccessDB = "C:\\a.mdb";
  page.txtAccessBenutzer = "Erika";
  page.txtAccessKennwort = "geheim";
  page.cboAccessTable = "t";
  EXPECT_TRUE(StorePage(session, page));
  EXPECT_EQ(session.User, "C:\\a.mdb");
  EXPECT_EQ(session.Database, "C:\\a.mdb");
  EXPECT_EQ(session.Password, "Erika");
  EXPECT_EQ(session.Table, "t");
}

TEST_F(SourcePageTest, WorkbooksAndDBaseStoreDatabaseAndTableAndNothingElse) {
  session.User = "bleibt";
  page.txtExcelFile = "a.xls";
  page.cboExcelSheet = "Tabelle1$";
  page.txtdBaseFile = "C:\\d";
  page.cbodBaseTable = "k.dbf";
  page.cboDatenquelleTyp = "Microsoft Excel";
  EXPECT_TRUE(StorePage(session, page));
  EXPECT_EQ(session.Database + session.Table, "a.xlsTabelle1$");
  page.cboDatenquelleTyp = "dBase-Datenbank";
  EXPECT_TRUE(StorePage(session, page));
  EXPECT_EQ(session.Database + session.Table, "C:\\dk.dbf");
  EXPECT_EQ(session.User, "bleibt");
}

TEST_F(SourcePageTest, AnotherKindIsNotStored) {
  for (const char* kind : {"", "textdatei", "Textdatei ", "Oracle"}) {
    page.cboDatenquelleTyp = kind;
    EXPECT_FALSE(StorePage(session, page)) << kind;
  }
}

// --- Loading ---

TEST_F(SourcePageTest, WhatWasStoredComesBackForEveryKind) {
  SourcePage filled;
  filled.txtFilename = "f";
  filled.delimiter = DelimiterChoice::kOther;
  filled.txtAnders = "|";
  filled.txtTexterkenner = "'";
  filled.chkZeileFeldname = filled.optAnsi = filled.chkSichereDatei = filled.chkDateilöschen = true;
  filled.txtSicherungspfad = "p";
  filled.txtSQLServer = "s";
  filled.txtSQLUID = "u";
  filled.txtSQLKennwort = "k";
  filled.txtSQLDB = "d";
  filled.txtAccessDB = "a";
  filled.txtAccessBenutzer = "b";
  filled.txtdBaseFile = "o";
  for (const std::string& kind : OfferedKinds()) {
    Session first{Platform{ui, components, clock}};
    filled.cboDatenquelleTyp = kind;
    ASSERT_TRUE(StorePage(first, filled));
    SourcePage loaded;
    LoadPage(first, loaded);
    Session second{Platform{ui, components, clock}};
    ASSERT_TRUE(StorePage(second, loaded));
    EXPECT_EQ(Settings(second), Settings(first)) << kind;
  }
}

TEST_F(SourcePageTest, AccessShowsTheDatabaseWhereUserAndDatabaseDiffer) {
  session.Provider = kAccessSource;
  session.User = "alt.mdb";
  session.Database = "neu.mdb";
  LoadPage(session, page);
  EXPECT_EQ(page.txtAccessDB, "neu.mdb");
}

TEST_F(SourcePageTest, AWorkbookAndAnUnknownKindLeaveThePageAsItIs) {
  session.Database = "a.xls";
  for (const char* kind : {"Microsoft Excel", "Oracle"}) {
    session.Provider = kind;
    SourcePage untouched;
    untouched.cboDatenquelleTyp = "Textdatei";
    LoadPage(session, untouched);
    EXPECT_EQ(untouched.cboDatenquelleTyp, "Textdatei");
    EXPECT_EQ(untouched.txtExcelFile, "");
  }
}

// --- Checks ---

TEST_F(SourcePageTest, AnEmptyFileNameIsNoReasonToStay) {
  session.Provider = kTextSource;
  session.SaveFile = true;
  session.SavePath = "/fehlt";
  EXPECT_EQ(ReasonToStay(session), std::nullopt);
}

TEST_F(SourcePageTest, AMissingTextFileIsNamedBetweenDoubledApostrophes) {
  session.Provider = kTextSource;
  session.FileName = "/fehlt.txt";
  EXPECT_THAT(ReasonToStay(session), Optional(std::string("Die Datei ''/fehlt.txt'' existiert nicht.")));
}

TEST_F(SourcePageTest, AMissingBackupFolderCountsOnlyWhereABackupIsWanted) {
  session.Provider = kTextSource;
  session.FileName = folder.Write("a.txt", "x");
  session.SavePath = "/fehlt";
  EXPECT_EQ(ReasonToStay(session), std::nullopt);
  session.SaveFile = true;
  EXPECT_THAT(ReasonToStay(session), Optional(std::string("Der Pfad ''/fehlt'' existiert nicht.")));
  session.SavePath = folder.path();
  EXPECT_EQ(ReasonToStay(session), std::nullopt);
}

TEST_F(SourcePageTest, OfDatabasesOnlyAccessAndExcelFilesAreChecked) {
  session.Database = "/fehlt.x";
  for (const char* kind : {kAccessSource, kExcelSource}) {
    session.Provider = kind;
    EXPECT_THAT(ReasonToStay(session), Optional(std::string("Die Datei ''/fehlt.x'' existiert nicht.")));
    EXPECT_FALSE(SourceFileIsThere(session));
  }
  for (const char* kind : {kSqlServerSource, kDBaseSource}) {
    session.Provider = kind;
    EXPECT_EQ(ReasonToStay(session), std::nullopt);
    EXPECT_TRUE(SourceFileIsThere(session));
  }
}

TEST_F(SourcePageTest, APreviewOfAnEmptyNameIsNotHeldBack) {
  session.Provider = kTextSource;
  EXPECT_TRUE(SourceFileIsThere(session));
  session.FileName = "/fehlt.txt";
  EXPECT_FALSE(SourceFileIsThere(session));
}

// --- Connecting ---

TEST_F(SourcePageTest, AccessTakesUserAndPasswordFromTheSqlServerBoxes) {
  page.txtAccessDB = "a.mdb";
  page.txtAccessBenutzer = "Erika";
  page.txtAccessKennwort = "geheim";
  page.txtSQLUID = "sa";
  page.txtSQLKennwort = "pw";
  const SourceInputs inputs = InputsOfPage(*KindsOf(session).Find(kAccessSource), page);
  EXPECT_EQ(inputs.database, "a.mdb");
  EXPECT_EQ(inputs.password, "pw");
  EXPECT_EQ(inputs.user, "sa");
}

TEST_F(SourcePageTest, AKindWithoutAConnectionConnectsNothing) {
  ListLoadedFlags loaded;
  EXPECT_FALSE(Connect(session, KindsOf(session).Default(), {"s", "u", "p", "d"}, loaded).connected);
  EXPECT_EQ(session.SourceConnection, nullptr);
}

}  // namespace
}  // namespace kestrel
