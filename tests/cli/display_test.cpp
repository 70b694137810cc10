// What a person sees: widths, narrow terminals, character sets, progress; nothing that a terminal would obey.
#include <gmock/gmock.h>

#include <sstream>
#include <thread>

#include "cli/display_width.h"
#include "cli/end_to_end_fixture.h"
#include "cli/locale_charset.h"
#include "cli/output.h"
#include "cli/progress_line.h"
#include "support/eventually.h"
#include "support/terminal_program.h"

namespace kestrel {
namespace {

using namespace cli;  // NOLINT(google-build-using-namespace)
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::ProgramResult;
using testing::RunOnTerminal;

TEST(DisplayWidthTest, CountsColumnsOfATerminal) {
  EXPECT_EQ(DisplayWidth("Köln"), 4u);
  EXPECT_EQ(DisplayWidth("東京"), 4u);
  EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1u) << "an accent of its own";
  EXPECT_EQ(DisplayWidth("😀!"), 3u);
  EXPECT_EQ(FittingBeginning("東京都", 5), "東京");
  EXPECT_EQ(FittingBeginning("abc", 5), "abc");
}

std::string Table(std::size_t columns, std::vector<std::string> titles, std::vector<std::string> row,
                  const LocaleCharset* charset = nullptr) {
  std::ostringstream stream;
  {
    std::vector<TableWriter::Column> printed;
    for (std::string& title : titles) printed.push_back({title, ""});
    TableWriter table(stream, {.screen_columns = columns, .charset = charset}, printed);
    table.Row(std::move(row));
  }
  return stream.str();
}

TEST(NarrowTables, WideCharactersTakeTheirColumns) {
  EXPECT_EQ(Table(0, {"Ort", "x"}, {"東京", "1"}), "Ort   x\n────  ─\n東京  1\n");
}

TEST(NarrowTables, TheLastColumnGoesOnBelowItself) {
  EXPECT_EQ(Table(28, {"Art", "Befund"}, {"Fehler", "Das Feld ist nicht zugeordnet."}),
            "Art     Befund\n"
            "──────  ────────────────────\n"
            "Fehler  Das Feld ist nicht\n"
            "        zugeordnet.\n");
}

TEST(NarrowTables, ARowThatDoesNotFitIsABlock) {
  EXPECT_EQ(Table(30, {"Nr", "Straße", "Ort"}, {"1", "Am langen Wege 12", "Frankfurt an der Oder"}),
            "Nr      1\n"
            "Straße  Am langen Wege 12\n"
            "Ort     Frankfurt an der Oder\n"
            "\n");
}

TEST(NarrowTables, WithoutATerminalTheyAreAsWideAsTheyGet) {
  EXPECT_THAT(Table(0, {"Nr", "Straße", "Ort"}, {"1", "Am langen Wege 12", "Frankfurt an der Oder"}),
              HasSubstr("1   Am langen Wege 12  Frankfurt an der Oder\n"));
}

TEST(LocaleCharsets, TheLocaleNamesTheCharacterSet) {
  for (const char* utf8 : {"", "de_DE.UTF-8", "C.UTF-8", "de_DE.utf8@euro"}) {
    EXPECT_EQ(LocaleCharset(utf8).Encode("Köln 東 €"), "Köln 東 €") << utf8;
  }
  EXPECT_EQ(LocaleCharset("de_DE.ISO-8859-1").Encode("Köln – 東 €"), "K\xF6ln - ? EUR");
  EXPECT_EQ(LocaleCharset("de_DE.ISO-8859-15@euro").Encode("€"), "\xA4");
  EXPECT_EQ(LocaleCharset("ru_RU.KOI8-R").Encode("Я ä"), "\xF1 ae");
  for (const char* ascii : {"C", "POSIX", "xx_XX", "de_DE.gibt-es-nicht"}) {
    EXPECT_EQ(LocaleCharset(ascii).Encode("„Größe“ É"), "\"Groesse\" ?") << ascii;
  }
}

TEST(LocaleCharsets, TablesAlignByWhatIsShown) {
  const LocaleCharset ascii("C");
  EXPECT_EQ(Table(0, {"Größe", "x"}, {"Müller", "1"}, &ascii), "Groesse  x\n-------  -\nMueller  1\n");
}

TEST(ProgressTexts, FitTheTerminal) {
  const std::string info = "Importiere Datensatz 999 von 1000";
  const std::string pace = "1.200 Datensätze/s, noch etwa 2 Minuten";
  EXPECT_EQ(ProgressText(50, info, "", 200), "[" + ReplaceAll("xxxxxxxxxxxxxxx", "x", "█") +
                                                 ReplaceAll("xxxxxxxxxxxxxxx", "x", "·") + "] 50 %  " + info);
  EXPECT_THAT(ProgressText(50, info, pace, 200), HasSubstr(info + "  " + pace));
  for (std::size_t columns = 1; columns < 140; ++columns) {
    EXPECT_LE(DisplayWidth(ProgressText(50, info, pace, columns)), columns);
  }
  EXPECT_EQ(ProgressText(7, info, "", 20), "7 %  Importiere Date");
}

class OnATerminal : public EndToEnd {
 protected:
  std::string Screen(std::vector<std::string> arguments, unsigned short columns,
                     const std::map<std::string, std::string>& environment = {{"TERM", "xterm"}}) const {
    arguments.insert(arguments.begin(), testing::BuiltProgram("kestrel-import"));
    arguments.insert(arguments.end(), {"--folder", host()});
    return RunOnTerminal(arguments, columns, environment).screen;
  }
};

TEST_F(OnATerminal, MessagesBeginInALineOfTheirOwn) {
  const std::string screen = Screen({"run", "Kundenliste"}, 80);
  ASSERT_THAT(screen, HasSubstr("\x1b[K"));
  EXPECT_THAT(screen, HasSubstr("\x1b[K\r\nKESTREL Import: "));
}

TEST_F(OnATerminal, ProgressIsDrawnInOneLineThatFits) {
  const std::string screen = Screen({"run", "Kundenliste"}, 60);
  ASSERT_THAT(screen, HasSubstr("\r["));
  for (std::size_t at = screen.find('\r'); at != std::string::npos;) {
    const std::size_t end = screen.find("\x1b[K", at);
    if (end == std::string::npos) break;
    if (screen[at + 1] == '[') {
      EXPECT_LT(DisplayWidth(screen.substr(at + 1, end - at - 1)), 60u);
    }
    at = screen.find("\r[", end);
  }
}

TEST_F(OnATerminal, ADumbOneGetsLines) {
  for (const char* terminal : {"dumb", ""}) {
    const std::string screen = Screen({"run", "Kundenliste"}, 80, {{"TERM", terminal}});
    EXPECT_THAT(screen, AllOf(HasSubstr("(100 %)"), Not(HasSubstr("\x1b")), Not(HasSubstr("\r["))));
  }
}

TEST_F(OnATerminal, NoColorsAreUsedWithOrWithoutTheWish) {
  for (const char* no_color : {"", "1"}) {
    const std::map<std::string, std::string> environment = {{"TERM", "xterm-256color"}, {"NO_COLOR", no_color}};
    const std::string screen = Screen({"run", "Kundenliste"}, 80, environment) +
                               Screen({"list"}, 80, environment) + Screen({"--help"}, 80, environment) +
                               Screen({"tanze"}, 80, environment);
    for (std::size_t at = screen.find('\x1b'); at != std::string::npos; at = screen.find('\x1b', at + 1)) {
      EXPECT_EQ(screen.substr(at, 3), "\x1b[K");
    }
  }
}

// Data, names and errors, in every format.
TEST_F(OnATerminal, NothingOfTheDataIsObeyed) {
  const std::string evil = "\x1b[31m\x07\x9b\x31m\x7f";
  WriteFileAtomically(Spec("boese.txt"), "Na" + evil + "me;Ort\r\nA;=1+1" + evil + "\r\nB;" + evil + "\r\n");
  WriteSpec("Boese.IMP", "[Common]\nDescription=B" + evil +
                             "\nImportClass=ksbimport.importkunden\nFileName=boese.txt\nColumnHeadings=1\n"
                             "Delimiter=;\n[FieldAssignments]\nBez1=FIELD:Ort\nUmsatz=FIELD:Ort\n");
  const std::vector<std::vector<std::string>> commands = {{"list"},
                                                          {"show", "Boese"},
                                                          {"check", "Boese"},
                                                          {"check", "Boese", "--data"},
                                                          {"columns", "Boese"},
                                                          {"preview", "Boese"},
                                                          {"run", "Boese", "--progress", "none"},
                                                          {"log"},
                                                          {"runs"},
                                                          {"runs", "1"},
                                                          {"show", evil},
                                                          {evil}};
  for (const char* format : {"text", "json", "csv"}) {
    for (std::vector<std::string> command : commands) {
      command.insert(command.end(), {"--format", format});
      const std::string screen = Screen(command, 80);
      EXPECT_THAT(screen, AllOf(Not(HasSubstr("\x1b")), Not(HasSubstr("\x07")), Not(HasSubstr("\xC2\x9b")),
                                Not(HasSubstr("\x7f"))))
          << command[0] << " " << format;
      EXPECT_NE(screen, "") << command[0];
    }
  }
  EXPECT_THAT(Run({"preview", "Boese", "--format", "csv"}).out, HasSubstr("\x1b[31m\x07")) << "a file is exact";
}

TEST_F(OnATerminal, ANarrowOneGetsTablesThatFit) {
  Run({"run", "Messe"});
  const std::string screen = Screen({"runs"}, 40);
  const std::string lines = ReplaceAll(screen, "\r", "");
  for (const std::string_view line : Split(lines, '\n')) EXPECT_LE(DisplayWidth(line), 40u);
  EXPECT_THAT(screen, HasSubstr("Zustand         fertig"));
}

TEST_F(EndToEnd, TextsSpeakTheCharacterSetOfTheLocaleAndDataStayUtf8) {
  const auto run = [&](std::vector<std::string> arguments, const char* locale) {
    arguments.insert(arguments.begin(), testing::BuiltProgram("kestrel-import"));
    arguments.insert(arguments.end(), {"--folder", host()});
    return testing::RunProgram(arguments, {{"LC_ALL", locale}});
  };
  EXPECT_THAT(run({"columns", "Messe"}, "de_DE.ISO-8859-1").out, HasSubstr("Stra\xDF"
                                                                           "e"));
  EXPECT_THAT(run({"columns", "Messe"}, "C").out, HasSubstr("Strasse"));
  EXPECT_THAT(run({"columns", "Messe"}, "C.UTF-8").out, HasSubstr("Straße"));
  for (const char* format : {"json", "csv"}) {
    EXPECT_THAT(run({"columns", "Messe", "--format", format}, "C").out, HasSubstr("Straße"));
  }
  EXPECT_THAT(run({"--help"}, "C").out, HasSubstr("Rueckgabewerte"));
  EXPECT_THAT(run({"show", "fehlt"}, "de_DE.ISO-8859-1").err, Not(HasSubstr("\xC3")));
}

TEST_F(EndToEnd, QuietTellsOnlyWhatDidNotGoWell) {
  const ProgramResult well = Run({"run", "Messe", "--quiet"});
  EXPECT_EQ(well.status, 0);
  EXPECT_EQ(well.out + well.err, "");
  const ProgramResult errors = Run({"run", "Kundenliste", "--quiet"});
  EXPECT_EQ(errors.status, 1);
  EXPECT_EQ(errors.out, "");
  EXPECT_THAT(errors.err, AllOf(HasSubstr("sind Fehler aufgetreten"), HasSubstr("abgewiesen; ")));
  EXPECT_THAT(Run({"run", "Messe", "--quiet", "--format", "json"}).out, HasSubstr("\"records\":"));
}

// An import that removes its source would find it again the next time.
TEST_F(EndToEnd, HelpIsAsWideAsTheTerminalAndItsColumnsAreStraight) {
  for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
           {"--help"}, {"help", "run"}, {"help", "target", "add"}, {"undo", "--help"}}) {
    std::vector<std::string> call = {testing::BuiltProgram("kestrel-import")};
    call.insert(call.end(), command.begin(), command.end());
    for (const unsigned short columns : std::vector<unsigned short>{40, 80}) {
      const std::string help = RunOnTerminal(call, columns).screen;
      for (const std::string_view line : Split(help, '\n')) {
        EXPECT_LE(DisplayWidth(line.substr(0, line.find('\r'))), std::size_t{columns}) << line;
      }
    }
  }
  const std::string help = Run({"help", "target", "add"}).out;
  const auto column = [&](std::string_view description) {
    const std::size_t at = help.find(description);
    const std::size_t start = help.rfind('\n', at) + 1;
    return DisplayWidth(std::string_view(help).substr(start, at - start));
  };
  EXPECT_EQ(column("Name des Importziels (nötig)"), column("Diese Hilfe"));
  EXPECT_EQ(column("Tabelle der Datenbank"), column("Diese Hilfe"));
}

TEST_F(EndToEnd, QuietTellsThatASourceStaysAlthoughAllIsStored) {
  WriteSpec("Rest.IMP",
            "[Common]\nDescription=Rest\nImportClass=ksbimport.importkunden\nFileName=messe.txt\nDelimiter=;\n"
            "ColumnHeadings=1\nDeleteFile=1\n[FieldAssignments]\nBez1=FIELD:Name\n");
  const ProgramResult run = Run({"run", "Rest", "--quiet", "--from", "2"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(run.err, HasSubstr("wurde nicht gelöscht"));
  EXPECT_TRUE(FileExists(Spec("messe.txt")));
}

TEST_F(EndToEnd, QuietALockThatWasWaitedForIsOnlyInTheLogOfTheRun) {
  const std::string log = folder_.File("lauf.jsonl");
  const ConnectionPtr other = OpenConnection(host() + "/kestrel.db");
  other->Begin();
  std::thread release([&] {
    EXPECT_TRUE(testing::Eventually(
        [&] { return FileExists(log) && ReadWholeFile(log).find("es wird gewartet") != std::string::npos; }));
    other->Rollback();
  });
  const ProgramResult run = Run({"run", "Messe", "--quiet", "--json-log", log});
  release.join();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out + run.err, "");
}

TEST_F(EndToEnd, TheLogOfARunIsNeverTheSourceAndTellsWhatItCannotTake) {
  const std::string before = ReadWholeFile(Spec("kunden.txt"));
  const ProgramResult source = Run({"run", "Kundenliste", "--json-log", Spec("kunden.txt")});
  EXPECT_EQ(source.status, 4);
  EXPECT_THAT(source.err, HasSubstr("ist die Quelle"));
  EXPECT_EQ(ReadWholeFile(Spec("kunden.txt")), before);
  EXPECT_EQ(Run({"run", "Kundenliste", "--json-log", folder_.File("fehlt/lauf.jsonl")}).status, 4);
  const ProgramResult both =
      Run({"run", "Kundenliste", "--json-log", folder_.File("x"), "--rejects", folder_.File("./x")});
  EXPECT_EQ(both.status, 4);
  EXPECT_THAT(both.err, HasSubstr("dieselbe Datei"));
  EXPECT_EQ(Query("SELECT count(*) FROM Kunden"), "0\n") << "refused before anything was imported";
  const ProgramResult full = Run({"run", "Messe", "--json-log", "/dev/full"});
  EXPECT_EQ(full.status, 4);
  EXPECT_THAT(full.err, HasSubstr("Das Protokoll des Laufs ist unvollständig."));
}

TEST_F(EndToEnd, CellsThatASpreadsheetWouldCalculateAreHarmlessOnlyOnWish) {
  WriteFileAtomically(Spec("formel.txt"), "A;B;C;D;E\r\n=1+1;+49;-5;@x;a=b\r\n");
  WriteSpec(
      "Formel.IMP",
      "[Common]\nDescription=F\nImportClass=ksbimport.importkunden\nFileName=formel.txt\nColumnHeadings=1\n"
      "Delimiter=;\n");
  EXPECT_EQ(Run({"preview", "Formel", "--format", "csv"}).out, "A,B,C,D,E\r\n=1+1,+49,-5,@x,a=b\r\n");
  EXPECT_EQ(Run({"preview", "Formel", "--format", "csv", "--excel"}).out,
            "A,B,C,D,E\r\n'=1+1,'+49,'-5,'@x,a=b\r\n");
  const ProgramResult json = Run({"preview", "Formel", "--format", "json", "--excel"});
  EXPECT_EQ(json.status, 2);
  EXPECT_THAT(json.err, HasSubstr("--excel wirkt auf CSV."));
}

}  // namespace
}  // namespace kestrel
