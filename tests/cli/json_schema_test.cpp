// What the commands print as JSON is what docs/json describes, line by line.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "cli/end_to_end_fixture.h"
#include "support/json_schema.h"

namespace kestrel {
namespace {

using nlohmann::json;
using testing::ProgramResult;
using testing::SchemaFault;

class JsonSchemas : public EndToEnd {
 protected:
  static std::vector<json> Lines(const std::string& text) {
    std::vector<json> lines;
    for (const std::string_view line : Split(text, '\n')) {
      if (!line.empty()) lines.push_back(json::parse(line));
    }
    return lines;
  }

  static json Schema(const std::string& name) {
    return json::parse(ReadWholeFile(testing::InSourceTree("docs/json/" + name + ".schema.json")));
  }

  // Every line fits, and there is one at least.
  std::vector<json> ExpectFits(const std::string& schema_name, std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--format", "json"});
    const std::vector<json> lines = Lines(Run(arguments).out);
    EXPECT_FALSE(lines.empty()) << schema_name;
    const json schema = Schema(schema_name);
    for (const json& line : lines) EXPECT_EQ(SchemaFault(schema, line), "") << schema_name;
    return lines;
  }
};

TEST_F(JsonSchemas, LooksAtSpecificationsAndSourcesFit) {
  const std::vector<json> list = ExpectFits("list", {"list"});
  EXPECT_EQ(list[0]["application"], 2);
  const std::vector<json> show = ExpectFits("show", {"show", "Kundenliste"});
  EXPECT_EQ(show[0]["columnHeadings"], true);
  EXPECT_EQ(show[0]["savePath"], nullptr);
  EXPECT_EQ(show[1]["mandatory"].type(), json::value_t::boolean);
  ExpectFits("check", {"check", "Kundenliste"});
  ExpectFits("check", {"check", "Kundenliste", "--data"});
  const std::vector<json> columns = ExpectFits("columns", {"columns", "Kundenliste"});
  EXPECT_EQ(columns[1]["number"], 2);
  ExpectFits("preview", {"preview", "Kundenliste"});
  ExpectFits("new", {"new", "Neu", "--from", Spec("kunden.txt"), "--target", "ksbimport.importkunden"});
  WriteFileAtomically(Spec("mappe.IMP"), "[Common]\r\nDescription=M\r\nProvider=dBase-Datenbank\r\nDatabase=" +
                                             host() + "/Import\r\n");
  WriteFileAtomically(Spec("A.DBF"), "");
  ExpectFits("tables", {"tables", "mappe"});
}

TEST_F(JsonSchemas, RunsLogsAndUndoFit) {
  ExpectFits("run", {"run", "Kundenliste", "--test"});
  const std::vector<json> run = ExpectFits("run", {"run", "Kundenliste"});
  EXPECT_EQ(run[0]["nextRecord"], nullptr);
  ExpectFits("run", {"run", "Messe"});
  ExpectFits("log-errors", {"log"});
  ExpectFits("log-duplicates", {"log", "duplicates"});
  ExpectFits("runs", {"runs"});
  ExpectFits("runs", {"runs", "1"});
  const std::string change = "UPDATE Kunden SET Ort = 'Ulm' WHERE KundenNummer = 10001";
  OpenConnection(host() + "/kestrel.db")->Execute(change);
  const std::vector<json> undo = ExpectFits("undo", {"undo", "1"});
  EXPECT_EQ(undo.back()["complete"], true);
  const json init = json::parse(Run({"init", folder_.File("neu"), "--format", "json"}).out);
  EXPECT_EQ(SchemaFault(Schema("init"), init), "");
}

TEST_F(JsonSchemas, TheLogOfARunHasALineForEachEventAllOfOneSchema) {
  const std::string log = folder_.File("lauf.jsonl");
  Run({"run", "Kundenliste", "--json-log", log});
  Run({"run", "Messe", "--json-log", log});
  const std::vector<json> lines = Lines(ReadWholeFile(log));
  const json schema = Schema("run-log");
  std::map<std::string, int> events;
  for (const json& line : lines) {
    EXPECT_EQ(SchemaFault(schema, line), "");
    ++events[line["event"]];
  }
  EXPECT_EQ(events["start"], 2);
  EXPECT_GE(events["error"], 14);
  EXPECT_EQ(events["end"], 2);
  EXPECT_EQ(lines.back()["figures"]["heldBack"], events["heldBack"]);
  EXPECT_GT(events["heldBack"], 0);
  EXPECT_EQ(lines[1]["field"], "Umsatz");
}

TEST_F(JsonSchemas, ASchemaRefusesWhatItDoesNotDescribe) {
  const json schema = Schema("columns");
  EXPECT_EQ(SchemaFault(schema, {{"number", 1}, {"column", "A"}}), "");
  EXPECT_NE(SchemaFault(schema, {{"number", "1"}, {"column", "A"}}), "");
  EXPECT_NE(SchemaFault(schema, {{"number", 1}}), "");
  EXPECT_NE(SchemaFault(schema, {{"number", 1}, {"column", "A"}, {"more", 1}}), "");
}

}  // namespace
}  // namespace kestrel
