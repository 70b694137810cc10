// What the commands say of sources of which not everything can be read.
#include <gmock/gmock.h>

#include "cli/end_to_end_fixture.h"
#include "support/changing_source.h"
#include "support/dbf_writer.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using testing::DbfWriter;
using ::testing::HasSubstr;
using testing::ProgramResult;

class DamagedSources : public EndToEnd {
 protected:
  // A table of two records, whose first has a memo, without its memo file.
  void WriteTableWithoutMemos() const {
    DbfWriter writer({{"NAME"}, {"TEXT", 'M', 10}}, DbfWriter::kDbase3WithMemo);
    writer.Add({"Meier", "         1"});
    writer.Add({"Mueller", ""});
    WriteFileAtomically(Spec("tabelle.dbf"), writer.Bytes());
    WriteSpec("Tabelle.IMP",
              "[Common]\nDescription=Tabelle\nImportClass=ksbimport.importkunden\n"
              "Provider=dBase-Datenbank\nDatabase=" +
                  host() +
                  "/Import\nTable=tabelle\n"
                  "[FieldAssignments]\nBez1=FIELD:NAME\nBemerkung=FIELD:TEXT\n");
  }
};

TEST_F(DamagedSources, AMissingMemoFileIsFoundByCheckAndPreviewAndCountedByARun) {
  WriteTableWithoutMemos();
  const ProgramResult check = Run({"check", "Tabelle"});
  EXPECT_EQ(check.status, 1);
  EXPECT_THAT(check.out, HasSubstr("Datensatz 1, Spalte \"TEXT\": "));
  EXPECT_THAT(check.out, HasSubstr("Die Memodatei tabelle.dbt fehlt"));

  const ProgramResult preview = Run({"preview", "Tabelle", "--format", "csv"});
  EXPECT_EQ(preview.status, 1);
  EXPECT_THAT(preview.out, AllOf(HasSubstr("Meier,"), HasSubstr("ller,")));
  EXPECT_THAT(preview.err, HasSubstr("Datensatz 1, Spalte \"TEXT\": "));

  const ProgramResult run = Run({"run", "Tabelle", "--format", "json"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, AllOf(HasSubstr("\"errors\":1,"), HasSubstr("\"stored\":2,")));
  EXPECT_EQ(Query("SELECT count(*) FROM Kunden"), "2\n");
}

TEST_F(DamagedSources, ACopyThatWasCutIsFoundByCheckAndCountedByARun) {
  for (const testing::FileKind kind : {testing::FileKind::kDBase, testing::FileKind::kAccess,
                                       testing::FileKind::kXls, testing::FileKind::kXlsx}) {
    SCOPED_TRACE(NameOf(kind));
    const testing::ChangingSource source(kind, host() + "/Import");
    source.LetHappen(testing::FileEvent::kCut);
    const bool is_dbase = kind == testing::FileKind::kDBase;
    const bool is_access = kind == testing::FileKind::kAccess;
    WriteSpec("Kopie.IMP",
              std::string("[Common]\nDescription=Kopie\nImportClass=ksbimport.importkunden\nProvider=") +
                  (is_dbase    ? "dBase-Datenbank"
                   : is_access ? "Microsoft Access-Datenbanken"
                               : "Microsoft Excel") +
                  "\nDatabase=" + (is_dbase ? host() + "/Import" : source.path()) + "\nTable=Adressen" +
                  (is_dbase || is_access ? "" : "$") + "\n[FieldAssignments]\nBez1=FIELD:NAME\n");
    const ProgramResult check = Run({"check", "Kopie"});
    EXPECT_EQ(check.status, 1) << check.out << check.err;
    const ProgramResult run = Run({"run", "Kopie", "--format", "json"});
    // The directory of a cut .xlsx is gone, and with it every record.
    if (kind == testing::FileKind::kXlsx) {
      EXPECT_EQ(run.status, 4);
      continue;
    }
    EXPECT_THAT(check.out, HasSubstr("Die Datenquelle endet nach "));
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, AllOf(HasSubstr("\"errors\":1,"), HasSubstr("\"source\":\"broken off\"")));
  }
}

}  // namespace
}  // namespace kestrel
