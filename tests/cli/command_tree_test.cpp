// What the manual pages, completions and the reference are written from.
#include "cli/command_tree.h"

#include <gmock/gmock.h>

#include <sstream>

#include "cli/german_usage.h"
#include "support/program.h"
#include "support/project_paths.h"

namespace kestrel::cli {
namespace {

using ::testing::HasSubstr;

std::string TreeOf(CLI::App& app) {
  std::ostringstream out;
  WriteCommandTree(app, out);
  return out.str();
}

TEST(CommandTree, TellsOfAnOptionItsNamesItsValueAndWhatIsPossible) {
  CLI::App app("Prüft \"alles\"", "tool");
  app.set_help_flag();
  std::string format;
  auto* option =
      app.add_option("-f,--format", format, "Ausgabe")->check(OneOf({"text", "json"}))->type_name("F");
  bool quiet = false;
  app.add_flag("--quiet", quiet, "leise")->excludes(option);
  EXPECT_EQ(
      TreeOf(app),
      "{\"name\":\"tool\",\"description\":\"Prüft \\\"alles\\\"\",\"footer\":\"\",\"options\":["
      "{\"names\":[\"-f\",\"--format\"],\"positional\":\"\",\"value\":\"F\",\"takesValue\":true,"
      "\"required\":false,\"repeated\":false,\"description\":\"Ausgabe\",\"values\":[\"text\",\"json\"],"
      "\"excludes\":[\"--quiet\"]},"
      "{\"names\":[\"--quiet\"],\"positional\":\"\",\"value\":\"\",\"takesValue\":false,\"required\":false,"
      "\"repeated\":false,\"description\":\"leise\",\"values\":[],\"excludes\":[\"--format\"]}],"
      "\"commands\":[]}");
}

TEST(CommandTree, GoesIntoCommandsOfCommandsAndLeavesOutWhatHelpHides) {
  CLI::App app("", "tool");
  app.set_help_flag();
  std::string word;
  auto* target = app.add_subcommand("target", "Ziele");
  target->add_subcommand("add", "Ein Ziel anlegen")->add_option("NAME", word, "sein Name")->required();
  target->add_subcommand("probe", "nur für Tests")->group("");
  target->add_option("--secret", word)->group("");
  const std::string tree = TreeOf(app);
  EXPECT_THAT(tree, HasSubstr("\"commands\":[{\"name\":\"target\""));
  EXPECT_THAT(tree, HasSubstr("\"commands\":[{\"name\":\"add\""));
  EXPECT_THAT(tree, HasSubstr("{\"names\":[],\"positional\":\"NAME\""));
  EXPECT_EQ(tree.find("probe"), std::string::npos);
  EXPECT_EQ(tree.find("secret"), std::string::npos);
}

TEST(CommandTree, AChainOfChecksIsSearchedForPossibleValues) {
  CLI::App app;
  std::string value;
  auto* option = app.add_option("--kind", value)->check(NotEmpty())->check(OneOf({"a", "b"}));
  EXPECT_THAT(PossibleValues(*option), ::testing::ElementsAre("a", "b"));
  auto* free = app.add_option("--free", value)->check(NotEmpty());
  EXPECT_THAT(PossibleValues(*free), ::testing::IsEmpty());
}

TEST(CommandTree, TheProgramTellsItsOwn) {
  const auto told = testing::RunProgram({testing::BuiltProgram("kestrel-import"), kDescribeCommands});
  EXPECT_EQ(told.status, 0);
  EXPECT_THAT(told.out, HasSubstr("{\"name\":\"undo\""));
  EXPECT_THAT(told.out, HasSubstr("\"--rejects\""));
  const auto help = testing::RunProgram({testing::BuiltProgram("kestrel-import"), "--help"});
  EXPECT_EQ(help.out.find(kDescribeCommands), std::string::npos);
}

}  // namespace
}  // namespace kestrel::cli
