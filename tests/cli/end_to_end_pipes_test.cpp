// Sources that come through a pipe, and what is no source at all.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "cli/end_to_end_fixture.h"
#include "support/started_program.h"

namespace kestrel {
namespace {

using testing::BuiltProgram;
using ::testing::HasSubstr;
using testing::ProgramResult;
using testing::StartedProgram;

class PipedSources : public EndToEnd {
 protected:
  void SetUp() override {
    EndToEnd::SetUp();
    // Larger than a pipe and than what a reader holds in memory whole.
    std::string lines = "Name;Ort\r\n";
    for (int i = 0; i < 30'000; ++i) lines += "Meier " + std::to_string(i) + ";Köln\r\n";
    WriteFileAtomically(source(), ToWindows1252(lines));
    WriteSpec(
        "Rohr.IMP",
        "[Common]\nDescription=Rohr\nImportClass=ksbimport.importkunden\nFileName=fehlt.txt\nDelimiter=;\n"
        "ColumnHeadings=1\nSaveFile=1\nSavePath=" +
            folder_.File("sicherung") + "\nDeleteFile=1\n[FieldAssignments]\nBez1=FIELD:Name\nOrt=FIELD:Ort\n");
    std::filesystem::create_directory(folder_.File("sicherung"));
    std::filesystem::create_directory(folder_.File("tmp"));
  }

  std::string source() const { return folder_.File("quelle.txt"); }

  // Runs the program within a line of shell, where it is "$0" "$@", and the source is $SOURCE.
  ProgramResult RunInShell(const std::string& line, std::vector<std::string> arguments) const {
    std::vector<std::string> command = {"/bin/bash", "-c", line, BuiltProgram("kestrel-import")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return testing::RunProgram(
        command, {{"TMPDIR", folder_.File("tmp")}, {"KESTREL_HOME", host()}, {"SOURCE", source()}});
  }

  void ExpectNothingLeft() const { EXPECT_TRUE(std::filesystem::is_empty(folder_.File("tmp"))); }
};

TEST_F(PipedSources, AreImportedAsTheFileIs) {
  for (const char* line :
       {"cat \"$SOURCE\" | \"$0\" \"$@\" --file -", "cat \"$SOURCE\" | \"$0\" \"$@\" --file /dev/stdin",
        "\"$0\" \"$@\" --file <(cat \"$SOURCE\")"}) {
    const ProgramResult result = RunInShell(line, {"run", "Rohr", "--test", "--format", "json"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("\"records\":30000")) << line;
    EXPECT_THAT(result.out, HasSubstr("\"total\":30000")) << line;
  }
  ExpectNothingLeft();
}

TEST_F(PipedSources, AreShownAndChecked) {
  const std::string line = "cat \"$SOURCE\" | \"$0\" \"$@\" --file -";
  EXPECT_EQ(RunInShell(line, {"columns", "Rohr", "--format", "csv"}).out, "Nr,Spalte\r\n1,Name\r\n2,Ort\r\n");
  EXPECT_EQ(RunInShell(line, {"preview", "Rohr", "-n", "1", "--format", "csv"}).out,
            "Name,Ort\r\nMeier 0,Köln\r\n");
  const ProgramResult check = RunInShell(line, {"check", "Rohr"});
  EXPECT_EQ(check.status, 0) << check.out << check.err;
  ExpectNothingLeft();
}

TEST_F(PipedSources, AreNeitherSavedNorRemovedAndItIsSaid) {
  const ProgramResult result = RunInShell("cat \"$SOURCE\" | \"$0\" \"$@\" --file -", {"run", "Rohr"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.err, HasSubstr("Die Quelle ist keine Datei mit eigenem Namen; sie wird nicht gesichert."));
  EXPECT_TRUE(std::filesystem::is_empty(folder_.File("sicherung")));
  EXPECT_EQ(Query("SELECT count(*) FROM Kunden WHERE Bez1 LIKE 'Meier %'"), "30000\n");
}

TEST_F(PipedSources, AFileAsStandardInputStaysAndSoDoesTheName) {
  const ProgramResult result = RunInShell("\"$0\" \"$@\" --file - < \"$SOURCE\"", {"run", "Rohr"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(FileExists(source()));
  EXPECT_TRUE(std::filesystem::is_symlink("/dev/stdin"));
  EXPECT_EQ(Query("SELECT count(*) FROM Kunden WHERE Bez1 LIKE 'Meier %'"), "30000\n");
}

TEST_F(PipedSources, AnEmptyPipeIsNoSuccess) {
  const ProgramResult result = RunInShell("true | \"$0\" \"$@\" --file -", {"run", "Rohr", "--test"});
  EXPECT_EQ(result.status, 4) << result.out << result.err;
}

TEST_F(PipedSources, ADeviceIsRefused) {
  const ProgramResult result = RunInShell("\"$0\" \"$@\" --file /dev/zero", {"run", "Rohr", "--test"});
  EXPECT_EQ(result.status, 4);
  EXPECT_THAT(result.err, HasSubstr("'/dev/zero' ist ein Gerät und kann nicht als Datei gelesen werden."));
}

TEST_F(PipedSources, WaitingForAPipeEndsAtASignal) {
  const std::string pipe = folder_.File("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  StartedProgram program(
      {BuiltProgram("kestrel-import"), "columns", "Rohr", "--folder", host(), "--file", pipe},
      {{"TMPDIR", folder_.File("tmp")}}, StartedProgram::Stream::kErr);
  // Waits until the program has opened the pipe.
  const int writer = open(pipe.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  program.Send(SIGINT);
  EXPECT_EQ(program.Wait(), 5);
  close(writer);
  ExpectNothingLeft();
}

TEST_F(PipedSources, WaitingForAPipeThatNobodyWritesToIsSaid) {
  const std::string pipe = folder_.File("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  StartedProgram program(
      {BuiltProgram("kestrel-import"), "columns", "Rohr", "--folder", host(), "--file", pipe},
      {{"TMPDIR", folder_.File("tmp")}}, StartedProgram::Stream::kErr);
  EXPECT_TRUE(program.WaitFor("Aus der Pipe ''" + pipe + "'' ist noch nichts gekommen; es wird gewartet."));
  const int writer = open(pipe.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  EXPECT_EQ(write(writer, "Name;Ort\r\n", 10), 10);
  close(writer);
  EXPECT_EQ(program.Wait(), 0);
}

TEST_F(PipedSources, AFullDiskIsTold) {
  const ProgramResult result =
      RunInShell("ulimit -f 100; cat \"$SOURCE\" | \"$0\" \"$@\" --file -", {"columns", "Rohr"});
  EXPECT_EQ(result.status, 4);
  EXPECT_THAT(result.err,
              HasSubstr("Der Inhalt der Pipe kann nicht zwischengespeichert werden. Datenträger voll"));
  EXPECT_THAT(result.err, HasSubstr(folder_.File("tmp")));
  ExpectNothingLeft();
}

}  // namespace
}  // namespace kestrel
