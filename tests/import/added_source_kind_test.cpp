// Imports from kinds of sources that a host adds: a row is all it takes.
#include "import/run_fixture.h"
#include "kestrel/import_job.h"
#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "sources/source_kind.h"
#include "support/field_list.h"
#include "support/sqlite_source_kind.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using testing::StoredRecord;

// Lines of which the first ten characters are a name and the rest is a town.
std::vector<std::string> CardColumns(Session&, ShownError*) { return {"Name", "Ort", ""}; }

RecordsetPtr OpenCards(Session& session) {
  auto records = std::make_shared<MemoryRecordset>();
  for (const char* column : {"Name", "Ort"}) records->AppendColumn(column);
  const std::string content = ReadWholeFile(session.FileName);
  for (const std::string_view line : Split(content, '\n')) {
    if (line.empty()) continue;
    records->AddNew();
    records->SetText(0, TrimBlanks(line.substr(0, 10)));
    records->SetText(1, line.substr(10));
  }
  if (records->RecordCount() != 0) records->MoveFirst();
  return records;
}

SourceKind CardFile() {
  return {.name = "Karteidatei",
          .location = &Session::FileName,
          .keys = {{.name = "FileName", .text = &Session::FileName},
                   {.name = "SaveFile", .truth = &Session::SaveFile, .default_value = "0"},
                   {.name = "SavePath", .text = &Session::SavePath}},
          .open = OpenCards,
          .column_names = CardColumns};
}

class AddedSourceKind : public testing::ImportRunFixture {
 protected:
  AddedSourceKind() {
    kinds.Add(testing::SqliteSourceKind());
    kinds.Add(CardFile());
    for (const char* property : {"PersonalNr", "Application"}) import_class->Let(property);
    import_class->Set("Connection").Method("GetFields", [](std::span<Argument>) {
      return Value(testing::FieldList({{"Bez1"}, {"Ort"}}));
    });
    components.Register("test.import", [this] { return import_class; });
    Assign({.field = "Bez1"});
    Assign({.field = "Ort"});
  }
  // Imports name and town by a specification with these keys of section Common.
  std::vector<StoredRecord> Import(const std::string& common) {
    ImportJob job{Platform{ui, components, clock, &kinds}};
    job.Open({.specification = WriteSpecification("Adressen.IMP",
                                                  "[Common]\nImportClass=test.import\n" + common +
                                                      "[FieldAssignments]\nBez1=FIELD:Name\nOrt=FIELD:Ort\n"),
              .host_connection = host});
    const RunResult& result = job.Run();
    EXPECT_EQ(result.errors, 0);
    EXPECT_EQ(result.message, "Der Import wurde erfolgreich fertig gestellt.");
    return stored;
  }
  SourceKinds kinds;
};

TEST_F(AddedSourceKind, WithAConnectionImportsItsTable) {
  const std::string path = folder.File("Import/quelle.sqlite");
  const ConnectionPtr source = OpenConnection("Provider=SQLite;Data Source=" + path);
  source->Execute("CREATE TABLE Leute (Name TEXT, Ort TEXT)");
  source->Execute("INSERT INTO Leute VALUES ('Müller', 'Köln'), ('Maier', 'Bonn')");
  EXPECT_THAT(Import("Provider=SQLite-Datenbank\nDatabase=quelle.sqlite\nTable=Leute\n"),
              ElementsAre(ElementsAre(Pair("Bez1", "Müller"), Pair("Ort", "Köln")),
                          ElementsAre(Pair("Bez1", "Maier"), Pair("Ort", "Bonn"))));
}

TEST_F(AddedSourceKind, WithoutAConnectionImportsItsFileAndBacksItUp) {
  const std::string path = folder.Write("Import/kartei.txt", "Maier     Bonn\nSchmitz   Aachen\n");
  const std::string backup = folder.File("sicherung");
  CreateFolders(backup);
  EXPECT_THAT(
      Import("Provider=Karteidatei\nFileName=kartei.txt\nSaveFile=1\nSavePath=" + backup + "\nDeleteFile=1\n"),
      ElementsAre(ElementsAre(Pair("Bez1", "Maier"), Pair("Ort", "Bonn")),
                  ElementsAre(Pair("Bez1", "Schmitz"), Pair("Ort", "Aachen"))));
  EXPECT_TRUE(FileExists(backup + "/kartei.txt"));
  // Its row has no key for the removal.
  EXPECT_TRUE(FileExists(path));
}

TEST_F(AddedSourceKind, IsCheckedBeforeTheRun) {
  const auto refusal = [&](const std::string& common) {
    std::string reason;
    Trap([&] { Import(common); }, [&](const RuntimeError& error) { reason = error.Description(); });
    return reason;
  };
  EXPECT_THAT(refusal("Provider=SQLite-Datenbank\nTable=Leute\n"), HasSubstr("fehlt eine Angabe: Database"));
  EXPECT_THAT(refusal("Provider=Karteidatei\n"), HasSubstr("[Common] FileName"));
  EXPECT_THAT(refusal("Provider=Lochkarten\n"),
              HasSubstr("\"dBase-Datenbank\", \"SQLite-Datenbank\", \"Kartei"));
  EXPECT_THAT(stored, IsEmpty());
}

}  // namespace
}  // namespace kestrel
