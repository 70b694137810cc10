// The real program and its specifications: those it cannot read, where it looks for them, and what it sweeps.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "cli/end_to_end_fixture.h"
#include "platform/base/file_lock.h"
#include "platform/profile/profile_file.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::ProgramResult;

TEST_F(EndToEnd, ASpecificationThatIsFarTooLargeIsLeftOutOfTheListAndToldAndCannotBeOpened) {
  WriteSpec("Riese.IMP", "[Common]\nDescription=Riese\n");
  ASSERT_EQ(::truncate(Spec("Riese.IMP").c_str(), kMaxProfileBytes + 1), 0);
  for (const std::vector<std::string>& more : {std::vector<std::string>{}, {"--app-mode", "2"}}) {
    std::vector<std::string> arguments = {"list"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ProgramResult list = Run(arguments);
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.out, AllOf(HasSubstr("Kundenliste.IMP"), Not(HasSubstr("Riese"))));
    EXPECT_THAT(list.err, AllOf(HasSubstr("Riese.IMP"), HasSubstr("64 MiB")));
  }
  const ProgramResult run = Run({"run", "Riese"});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err, AllOf(HasSubstr("Riese.IMP"), HasSubstr("64 MiB")));
}

TEST_F(EndToEnd, ABareFolderNameMeansTheSpecificationFolderOfTheHostAroundIt) {
  const ProgramResult run =
      testing::RunProgram({"/bin/sh", "-c", "cd \"$1\" && exec \"$0\" run Kundenliste --test --folder Import",
                           testing::BuiltProgram("kestrel-import"), host()});
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_THAT(run.out, HasSubstr("1000"));
}

constexpr const char* kRemembering =
    "[Common]\nDescription=Drift\nImportClass=ksbimport.importkunden\nFileName=neu.txt\nDelimiter=;\n"
    "[FieldAssignments]\nBez1=FIELD:Name\nOrt=FIELD:Ort\n"
    "[SourceColumns]\nCount=3\n1=\"Name\"\n2=\"Strasse\"\n3=\"Ort\"\n";

TEST_F(EndToEnd, ColumnsThatHaveChangedAreToldBeforeAnythingIsImported) {
  WriteFileAtomically(Spec("neu.txt"),
                      "Ort;Name;Stra\xDF"
                      "e\r\nUlm;Meier;Ring 1\r\n");
  WriteSpec("Drift.IMP", kRemembering);
  for (const char* command : {"check", "run"}) {
    const ProgramResult result = Run({command, "Drift"});
    const std::string told = result.out + result.err;
    EXPECT_THAT(told, HasSubstr("Die Spalte 'Strasse' heißt jetzt 'Straße'?"));
    EXPECT_THAT(told, HasSubstr("Die Spalten der Datenquelle stehen in anderer Reihenfolge."));
    EXPECT_THAT(told, Not(HasSubstr("wird nicht gelesen")));
    EXPECT_EQ(result.status, 0) << told;
  }
  EXPECT_EQ(Query("SELECT Bez1, Ort FROM Kunden"), "Meier|Ulm\n");
}

TEST_F(EndToEnd, AnAssignedColumnThatHasGoneKeepsTheRunFromBeginning) {
  WriteFileAtomically(Spec("neu.txt"), "Name;Strasse;Stadt\r\nMeier;Ring 1;Ulm\r\n");
  WriteSpec("Drift.IMP", kRemembering);
  const ProgramResult run = Run({"run", "Drift"});
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err, HasSubstr("Die Spalte 'Ort' fehlt jetzt. Sie ist zugeordnet: Ort. Ordnen Sie neu zu."));
  EXPECT_EQ(Query("SELECT Bez1 FROM Kunden"), "");
}

TEST_F(EndToEnd, AnAssignedColumnThatWasNeverRememberedIsToldAndItsSourceIsKept) {
  WriteFileAtomically(Spec("neu.txt"),
                      "Name;Stra\xDF"
                      "e\r\nMeier;Ring 1\r\n");
  WriteSpec("Fremd.IMP",
            "[Common]\nDescription=Fremd\nImportClass=ksbimport.importkunden\nFileName=neu.txt\nDelimiter=;\n"
            "DeleteFile=1\n[FieldAssignments]\nBez1=FIELD:Name\nStrasse=FIELD:Strasse\n");
  const ProgramResult run = Run({"run", "Fremd"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, HasSubstr("Feld \"Strasse\": Die Datenquelle hat keine Spalte \"Strasse\"; das Feld "
                                 "bleibt ohne Zuweisung. Gemeint ist wohl \"Straße\"."));
  EXPECT_THAT(run.err, HasSubstr("neu.txt'' wird nicht gelöscht, da ihr zugeordnete Spalten fehlen."));
  EXPECT_EQ(Query("SELECT Bez1, Strasse FROM Kunden"), "Meier|\n");
  EXPECT_TRUE(FileExists(Spec("neu.txt")));
}

TEST_F(EndToEnd, TheNextStartSweepsTheScratchFoldersOfEndedProgramsAndNoOthers) {
  ::setenv("TMPDIR", folder_.path().c_str(), 1);
  const auto make = [&](const char* name) {
    std::filesystem::create_directory(folder_.File(name));
    folder_.Write(std::string(name) + "/~031407092024.tmp", "Password=geheim");
    return folder_.File(name);
  };
  const std::string abandoned = make("kestrel-import-scratch-aBcD01");
  const std::string in_use = make("kestrel-import-scratch-aBcD02");
  const std::string other = make("kestrel-import-scratch-backup-of-mine");
  const auto lock = FileLock::AcquireFolder(in_use);
  ASSERT_TRUE(lock.has_value());
  EXPECT_EQ(Run({"list"}).status, 0);
  ::unsetenv("TMPDIR");
  EXPECT_FALSE(FolderExists(abandoned));
  EXPECT_TRUE(FolderExists(in_use));
  EXPECT_TRUE(FolderExists(other));
}

// Two programs that start at once: one sweeps the folder that the other has just made, which then makes another.
TEST_F(EndToEnd, AScratchFolderThatIsSweptBeforeItIsLockedCannotBeLockedAndIsNoError) {
  EXPECT_FALSE(FileLock::AcquireFolder(folder_.File("kestrel-import-scratch-aBcD03")).has_value());
}

}  // namespace
}  // namespace kestrel
