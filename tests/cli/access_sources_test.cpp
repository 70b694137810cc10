// Access files as sources of the real program: passwords, columns that are left out.
#include <gmock/gmock.h>

#include <filesystem>

#include "cli/end_to_end_fixture.h"
#include "support/jet_builder.h"

namespace kestrel {
namespace {

using ::testing::HasSubstr;
using testing::JetBuilder;
using ::testing::Not;

class AccessSources : public EndToEnd {
 protected:
  // A specification for the table Kunden of a file beside it.
  std::string SpecFor(const std::string& bytes, const std::string& password,
                      const std::string& assignments) const {
    WriteFileAtomically(Spec("k.accdb"), bytes);
    return WriteSpec("Access.IMP",
                     "[Common]\nDescription=Access\nApplication=2\nProvider=Microsoft Access-Datenbanken\n"
                     "Database=k.accdb\nTable=Kunden\nUser=k.accdb\nPassword=" +
                         password + "\nImportClass=ksbimport.importkunden\n[FieldAssignments]\n" + assignments);
  }
};

std::string Customers(JetBuilder builder) {
  const auto table = builder.AddTable("Kunden", {{"Firma"}, {"Bild", 18, 4}, {"Stadt"}});
  builder.AddRow(table, {builder.Text("Maier KG"), testing::Le32(1), builder.Text("Köln")});
  return builder.Build();
}

TEST_F(AccessSources, ThePasswordOfTheSpecificationOpensAnEncryptedFile) {
  JetBuilder builder;
  builder.SetPageKey(77);
  builder.SetEncryption(testing::EncryptFor(testing::OfficeScheme::kAgile, "ge;heim"));
  const std::string bytes = Customers(std::move(builder));
  const std::string spec = SpecFor(bytes, "ge;heim", "Bez1=FIELD:Firma\nOrt=FIELD:Stadt\n");
  EXPECT_THAT(Run({"tables", spec}).out, HasSubstr("Kunden"));
  EXPECT_THAT(Run({"columns", spec}).out, HasSubstr("Stadt"));
  EXPECT_THAT(Run({"preview", spec}).out, HasSubstr("Köln"));
  const testing::ProgramResult check = Run({"check", spec});
  EXPECT_THAT(check.out, Not(HasSubstr("Kennwort")));
  EXPECT_EQ(check.status, 0) << check.out;
  EXPECT_EQ(Run({"run", spec}).status, 0);
  EXPECT_THAT(Query("SELECT Bez1, Ort FROM Kunden"), HasSubstr("Maier KG|Köln"));

  const std::string wrong = SpecFor(bytes, "geheim", "");
  for (const char* command : {"tables", "columns", "preview", "run"}) {
    const testing::ProgramResult result = Run({command, wrong});
    EXPECT_EQ(result.status, 4) << command;
    EXPECT_THAT(result.err, HasSubstr("Kein zulässiges Kennwort")) << command;
    EXPECT_THAT(result.err, Not(HasSubstr("geheim"))) << command;
  }
}

TEST_F(AccessSources, ANewerFileNamedOnTheCommandLineIsReadAsOne) {
  const std::string spec = SpecFor(Customers(JetBuilder()), "", "Bez1=FIELD:Firma\n");
  std::filesystem::rename(Spec("k.accdb"), Spec("Neu.ACCDB"));
  EXPECT_EQ(Run({"run", spec, "--file", Spec("Neu.ACCDB")}).status, 0);
  EXPECT_THAT(Query("SELECT Bez1 FROM Kunden"), HasSubstr("Maier KG"));
}

TEST_F(AccessSources, AColumnThatCannotBeReadIsToldAndTheOthersAreImported) {
  const std::string spec = SpecFor(Customers(JetBuilder()), "", "Bez1=FIELD:Firma\n");
  EXPECT_THAT(Run({"columns", spec}).out, Not(HasSubstr("Bild")));
  EXPECT_THAT(Run({"columns", spec}).err, HasSubstr("'Bild'"));
  EXPECT_THAT(Run({"check", spec}).out, HasSubstr("'Bild'"));
  EXPECT_EQ(Run({"run", spec}).status, 0);
  EXPECT_THAT(Query("SELECT Bez1 FROM Kunden"), HasSubstr("Maier KG"));
}

TEST_F(AccessSources, AnAssignedColumnThatCannotBeReadStopsTheRunBeforeItsFirstRecord) {
  const std::string spec = SpecFor(Customers(JetBuilder()), "", "Bez1=FIELD:Firma\nOrt=FIELD:Bild\n");
  const testing::ProgramResult check = Run({"check", spec});
  EXPECT_EQ(check.status, 1);
  EXPECT_THAT(check.out, HasSubstr("Anlage"));
  const testing::ProgramResult run = Run({"run", spec});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err, HasSubstr("[FieldAssignments] Ort: Das Feld 'Bild'"));
  EXPECT_EQ(Query("SELECT Bez1 FROM Kunden"), "");
}

}  // namespace
}  // namespace kestrel
