// How the real program ends: stopped by a signal, left by its reader, or unable to write.
#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>

#include "cli/end_to_end_fixture.h"
#include "support/started_program.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::AnyOf;
using testing::BuiltProgram;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using testing::ProgramResult;
using testing::StartedProgram;

class ProgramEnds : public EndToEnd {
 protected:
  void SetUp() override {
    EndToEnd::SetUp();
    std::filesystem::create_directory(scratch());
  }

  std::string scratch() const { return folder_.File("tmp"); }
  std::vector<std::string> LeftInScratch() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(scratch())) {
      names.push_back(entry.path().string());
    }
    return names;
  }

  // A specification over a file whose preview fills every pipe.
  void WriteLongSource() const {
    std::string lines = "Name;Ort\r\n";
    for (int i = 0; i < 30'000; ++i) lines += "Meier;Köln\r\n";
    WriteFileAtomically(Spec("lang.txt"), ToWindows1252(lines));
    WriteSpec("Lang.IMP",
              "[Common]\nDescription=Lang\nImportClass=ksbimport.importkunden\nFileName=lang.txt\nDelimiter=;\n"
              "[FieldAssignments]\nBez1=FIELD:Name\nOrt=FIELD:Ort\n");
  }

  StartedProgram Start(std::vector<std::string> arguments, StartedProgram::Stream piped) const {
    arguments.insert(arguments.begin(), BuiltProgram("kestrel-import"));
    arguments.insert(arguments.end(), {"--folder", host()});
    return {arguments, {{"TMPDIR", scratch()}}, piped};
  }

  // Runs the program within a line of shell, where it is "$0" "$@".
  ProgramResult RunInShell(const std::string& line, std::vector<std::string> arguments) const {
    std::vector<std::string> command = {"/bin/bash", "-c", line, BuiltProgram("kestrel-import")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return testing::RunProgram(command, {{"TMPDIR", scratch()}, {"KESTREL_HOME", host()}});
  }
};

TEST_F(ProgramEnds, ASignalOutsideOfARunEndsAtOnceAndLeavesNoWorkingCopy) {
  WriteLongSource();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    // It has begun to print, so its working copy is there; nobody reads on, so it never ends by itself.
    StartedProgram preview = Start({"preview", "Lang", "-n", "30000"}, StartedProgram::Stream::kOut);
    ASSERT_TRUE(preview.WaitFor("Meier"));
    EXPECT_THAT(LeftInScratch(), Not(IsEmpty()));
    preview.Send(signal);
    EXPECT_EQ(preview.Wait(), 5) << "signal " << signal;
    EXPECT_THAT(LeftInScratch(), IsEmpty()) << "signal " << signal;
  }
}

TEST_F(ProgramEnds, HangingUpStopsARunAsTheOtherSignalsDo) {
  WriteLongSource();
  for (const int signal : {SIGTERM, SIGHUP}) {
    StartedProgram run = Start({"run", "Lang", "--progress", "plain"}, StartedProgram::Stream::kErr);
    ASSERT_TRUE(run.WaitFor("(10 %)"));
    run.FillPipe();
    run.Send(signal);
    EXPECT_THAT(run.ReadToEnd(), AllOf(HasSubstr("von 30000"), Not(HasSubstr("(100 %)")))) << signal;
    EXPECT_EQ(run.Wait(), 5) << signal;
    EXPECT_THAT(LeftInScratch(), IsEmpty());
  }
}

TEST_F(ProgramEnds, ASignalWhileALockIsWaitedForIsTheUsersStop) {
  const ConnectionPtr other = OpenConnection(host() + "/kestrel.db");
  other->Begin();
  StartedProgram run = Start({"run", "Kundenliste"}, StartedProgram::Stream::kErr);
  ASSERT_TRUE(run.WaitFor("Die Datenbank ist gesperrt, es wird gewartet ..."));
  run.Send(SIGINT);
  EXPECT_EQ(run.Wait(), 5);
  other->Rollback();
  EXPECT_EQ(Query("SELECT count(*) FROM Kunden"), "0\n");
}

TEST_F(ProgramEnds, ASecondSignalEndsARunThatDoesNotStop) {
  WriteLongSource();
  StartedProgram run = Start({"run", "Lang", "--progress", "plain"}, StartedProgram::Stream::kErr);
  ASSERT_TRUE(run.WaitFor("(10 %)"));
  // It waits for its reader, so it can honour no request.
  run.FillPipe();
  run.Send(SIGINT);
  run.Send(SIGTERM);
  EXPECT_EQ(run.Wait(), 5);
  EXPECT_THAT(run.ReadToEnd(), Not(HasSubstr("KESTREL Import: ")));
  EXPECT_THAT(LeftInScratch(), IsEmpty());
}

TEST_F(ProgramEnds, AnIgnoredSignalStaysIgnored) {
  WriteLongSource();
  const ProgramResult run =
      RunInShell("trap '' HUP; kill -HUP $$; exec \"$0\" \"$@\"", {"preview", "Kundenliste", "-n", "1"});
  EXPECT_EQ(run.status, 0) << run.err;
}

TEST_F(ProgramEnds, AReaderThatHasSeenEnoughEndsThePreviewInSilence) {
  WriteLongSource();
  const ProgramResult run = RunInShell("\"$0\" \"$@\" | head -1; exit ${PIPESTATUS[0]}",
                                       {"preview", "Lang", "-n", "30000", "--format", "csv"});
  EXPECT_EQ(run.status, 4);
  EXPECT_EQ(run.out, "Name,Ort\r\n");
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(LeftInScratch(), IsEmpty());
}

TEST_F(ProgramEnds, OutputThatCannotBeWrittenIsStatus4ForEveryCommandAndFormat) {
  const std::vector<std::vector<std::string>> commands = {{"list"},
                                                          {"show", "Kundenliste"},
                                                          {"check", "Kundenliste"},
                                                          {"tables", "Mappe"},
                                                          {"columns", "Kundenliste"},
                                                          {"preview", "Kundenliste"},
                                                          {"run", "Kundenliste", "--test"},
                                                          {"log"},
                                                          {"log", "duplicates"},
                                                          {"init", folder_.File("neu")},
                                                          {"--help"}};
  std::filesystem::create_directory(host() + "/Import/tabellen");
  WriteSpec("Mappe.IMP",
            "[Common]\nDescription=M\nProvider=dBase-Datenbank\nDatabase=" + host() + "/Import/tabellen\n");
  for (const char* format : {"text", "json", "csv"}) {
    for (std::vector<std::string> command : commands) {
      command.insert(command.end(), {"--format", format});
      std::filesystem::remove_all(folder_.File("neu"));
      // Without rows JSON prints nothing at all.
      if (RunInShell("exec \"$0\" \"$@\"", command).out.empty()) continue;
      std::filesystem::remove_all(folder_.File("neu"));
      const ProgramResult run = RunInShell("exec \"$0\" \"$@\" > /dev/full", command);
      EXPECT_EQ(run.status, 4) << command[0] << " " << format << run.err;
      EXPECT_THAT(run.err, HasSubstr("kestrel-import: Die Ausgabe kann nicht geschrieben werden. Datenträger "
                                     "voll: Standardausgabe\n"))
          << command[0] << " " << format;
    }
  }
}

TEST_F(ProgramEnds, AFileThatMustNotGrowIsAnErrorAndNoSignal) {
  WriteLongSource();
  const ProgramResult run = RunInShell("ulimit -f 100; exec \"$0\" \"$@\"", {"run", "Kundenliste"});
  EXPECT_THAT(run.status, AnyOf(1, 4)) << run.err;
  const ProgramResult preview =
      RunInShell("ulimit -f 1; exec \"$0\" \"$@\"", {"preview", "Lang", "-n", "30000"});
  EXPECT_EQ(preview.status, 4);
  EXPECT_THAT(preview.err, HasSubstr("Datenträger voll (die Datei hat die zulässige Größe erreicht)"));
  EXPECT_THAT(LeftInScratch(), IsEmpty());
}

}  // namespace
}  // namespace kestrel
