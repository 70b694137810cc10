// What the program says about a wrong call: the right cause, in German, with what was probably meant.
#include <gmock/gmock.h>

#include "cli/end_to_end_fixture.h"
#include "kestrel/version.h"

namespace kestrel {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::ProgramResult;
using ::testing::StartsWith;

class Usage : public ::testing::Test {
 protected:
  static ProgramResult Call(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), testing::BuiltProgram("kestrel-import"));
    return testing::RunProgram(arguments);
  }
  // The one line that says what is wrong.
  static std::string WrongUse(const std::vector<std::string>& arguments) {
    const ProgramResult result = Call(arguments);
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_EQ(result.out, "");
    return result.err.substr(0, result.err.find('\n'));
  }
};

TEST_F(Usage, VersionAndHelpGoToStandardOutput) {
  EXPECT_EQ(Call({"--version"}).out, std::string("kestrel-import ") + Version() + "\n");
  const ProgramResult help = Call({"help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out, Call({"--help"}).out);
  EXPECT_THAT(help.out, AllOf(HasSubstr("Befehle:"), HasSubstr("  undo "), HasSubstr("Rückgabewerte:")));
}

TEST_F(Usage, HelpOnACommandIsThatOfTheCommand) {
  const ProgramResult help = Call({"help", "undo"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out, Call({"undo", "--help"}).out);
  EXPECT_THAT(help.out,
              AllOf(HasSubstr("Aufruf: kestrel-import undo [OPTIONEN] LAUF"), HasSubstr("--dry-run")));
  EXPECT_EQ(WrongUse({"help", "lst"}), "kestrel-import: Den Befehl 'lst' gibt es nicht. Meinten Sie 'list'?");
}

TEST_F(Usage, NoCommandNamesThoseThereAre) {
  EXPECT_THAT(WrongUse({}), StartsWith("kestrel-import: Es fehlt ein Befehl. Möglich sind: list, show, check"));
  EXPECT_THAT(WrongUse({"--format", "json"}), StartsWith("kestrel-import: Es fehlt ein Befehl."));
}

TEST_F(Usage, AMistypedCommandIsNamedWithTheOneThatWasMeant) {
  EXPECT_EQ(WrongUse({"chek", "Kunden"}),
            "kestrel-import: Den Befehl 'chek' gibt es nicht. Meinten Sie 'check'?");
  EXPECT_THAT(WrongUse({"--folder", "x", "preveiw"}), HasSubstr("Meinten Sie 'preview'?"));
  EXPECT_THAT(WrongUse({"version"}), HasSubstr("Meinten Sie '--version'?"));
  EXPECT_THAT(WrongUse({"tanze"}), AllOf(HasSubstr("Möglich sind: list, show"), Not(HasSubstr("Meinten"))));
}

TEST_F(Usage, AMistypedOptionIsNamedWithTheOneThatWasMeant) {
  EXPECT_EQ(WrongUse({"run", "Kunden", "--tset"}),
            "kestrel-import: Die Option --tset gibt es bei 'run' nicht. Meinten Sie '--test'?");
  EXPECT_THAT(WrongUse({"run", "Kunden", "--fromat=json"}), HasSubstr("Meinten Sie '--format'?"));
  EXPECT_THAT(WrongUse({"run", "Kunden", "--xyz"}),
              AllOf(HasSubstr("Die Option --xyz gibt es bei 'run' nicht."), Not(HasSubstr("Meinten"))));
}

TEST_F(Usage, AnOptionOfAnotherCommandIsToldAsOne) {
  EXPECT_EQ(WrongUse({"check", "Kunden", "--test"}),
            "kestrel-import: Die Option --test gibt es bei 'check' nicht. Sie gehört zu 'run'.");
  EXPECT_THAT(WrongUse({"--test", "run", "Kunden"}), HasSubstr("Sie steht hinter dem Befehl"));
}

TEST_F(Usage, AnOptionDoesNotTakeTheNextOptionForItsValue) {
  EXPECT_EQ(WrongUse({"run", "Kunden", "--file", "--test"}), "kestrel-import: Zu --file fehlt ein Wert.");
  EXPECT_EQ(WrongUse({"list", "--host"}), "kestrel-import: Zu --host fehlt ein Wert.");
}

TEST_F(Usage, AnOptionWithoutAValueOrGivenTwiceIsToldAsSuch) {
  EXPECT_EQ(WrongUse({"list", "--folder="}), "kestrel-import: Zu --folder fehlt ein Wert.");
  EXPECT_EQ(WrongUse({"list", "--folder", "a", "--folder=b"}),
            "kestrel-import: --folder ist mehr als einmal angegeben.");
  EXPECT_THAT(Call({"help", "target", "add"}).out, HasSubstr("--key-name"));
  EXPECT_THAT(WrongUse({"target", "add", "X", "--key-name", "A", "--key-name", "B", "--tabel", "T"}),
              HasSubstr("Meinten Sie '--table'?"))
      << "an option that may come again";
}

TEST_F(Usage, BehindTwoDashesEverythingIsAWord) {
  EXPECT_THAT(WrongUse({"show", "--", "-x", "--folder", "a"}),
              HasSubstr("Die Angabe '--folder' ist bei 'show' zu viel."));
  EXPECT_EQ(Call({"show", "--", "-x"}).status, 4) << "a specification may be called so";
  EXPECT_THAT(WrongUse({"--", "list"}), HasSubstr("Es fehlt ein Befehl."));
}

TEST_F(Usage, AWordTooManyIsNamed) {
  EXPECT_THAT(WrongUse({"run", "Kunden", "Liste"}),
              HasSubstr("Die Angabe 'Liste' ist bei 'run' zu viel. Was Leerzeichen enthält"));
  EXPECT_THAT(WrongUse({"run", "Kunden", "test"}), HasSubstr("Meinten Sie '--test'?"));
}

TEST_F(Usage, ACommandsOwnHelpIsPointedAt) {
  EXPECT_THAT(Call({"run"}).err,
              HasSubstr("Es fehlt die Angabe SPEC.\nAlle Angaben zeigt 'kestrel-import help run'."));
  EXPECT_THAT(Call({"run", "x", "--tset"}).err, HasSubstr("'kestrel-import help run'"));
  EXPECT_THAT(Call({"tanze"}).err, HasSubstr("'kestrel-import --help'"));
}

TEST_F(Usage, NumbersAreRefusedWithTheirRange) {
  const std::string counted = "ist nicht möglich. Möglich sind ganze Zahlen von 1 bis 2.147.483.647.";
  for (const char* option : {"--from", "--max-errors"}) {
    for (const char* number : {"0", "-1", "2147483648", "1,5", "eins", ""}) {
      EXPECT_EQ(WrongUse({"run", "Kunden", option, number}),
                std::string("kestrel-import: ") + option + ": '" + number + "' " + counted);
    }
  }
  EXPECT_THAT(WrongUse({"undo", "0"}), HasSubstr("LAUF: '0' " + counted));
  EXPECT_THAT(WrongUse({"runs", "99999999999"}), HasSubstr("LAUF: '99999999999' " + counted));
  EXPECT_THAT(WrongUse({"preview", "Kunden", "-n", "-1"}), HasSubstr("von 0 bis 2.147.483.647."));
  EXPECT_THAT(WrongUse({"list", "--app-mode", "40000"}), HasSubstr("von -32.768 bis 32.767."));
}

TEST_F(Usage, AFileThatIsWrittenIsNotStandardOutput) {
  for (const char* option : {"--rejects", "--json-log"}) {
    EXPECT_EQ(WrongUse({"run", "Kunden", option, "-"}),
              std::string("kestrel-import: ") + option +
                  ": Auf die Standardausgabe geht es hier nicht; eine Datei dieses Namens ist ./-.");
  }
}

TEST_F(Usage, AMistypedChoiceIsNamedWithTheOneThatWasMeant) {
  EXPECT_EQ(WrongUse({"log", "eror"}),
            "kestrel-import: WELCHES: 'eror' ist nicht möglich. Meinten Sie 'errors'? Möglich sind: errors, "
            "duplicates.");
}

TEST_F(EndToEnd, AMistypedSpecificationIsNamedWithTheOneThatWasMeant) {
  EXPECT_THAT(Run({"show", "Kundenlsite"}).err, HasSubstr("Meinten Sie 'Kundenliste'?"));
  EXPECT_THAT(Run({"show", "Kontakte der Mese"}).err, HasSubstr("Meinten Sie 'Kontakte der Messe'?"));
}

}  // namespace
}  // namespace kestrel
