#include "cli/output.h"

#include <gtest/gtest.h>

#include <sstream>

#include "cli/program.h"

namespace kestrel::cli {
namespace {

TEST(Output, JsonTextsEscapeWhatJsonForbids) {
  std::ostringstream stream;
  WriteJsonText(stream,
                "a\"b\\c\nd\te\x01"
                "f ü €");
  EXPECT_EQ(stream.str(), "\"a\\\"b\\\\c\\nd\\te\\u0001f ü €\"");
}

TEST(Output, JsonObjectsAreOneLine) {
  std::ostringstream stream;
  JsonObject(stream).Number("records", 3).Truth("test", false).Text("message", "fertig").End();
  EXPECT_EQ(stream.str(), "{\"records\":3,\"test\":false,\"message\":\"fertig\"}\n");
}

TEST(Output, TextTablesAlignByCharacters) {
  std::ostringstream stream;
  {
    TableWriter table(stream, OutputFormat::kText, {{"Name", "name"}, {"Ort", "place"}});
    table.Row({"Müller", "Köln"});
    table.Row({"Ng", "Aachen"});
  }
  EXPECT_EQ(stream.str(),
            "Name    Ort\n"
            "──────  ──────\n"
            "Müller  Köln\n"
            "Ng      Aachen\n");
}

TEST(Output, ControlCharactersAreShownInTablesAndEscapedInJson) {
  const std::string value =
      "x\x1b[31m\ny\tz\x7f"
      "\xc2\x9b"
      "\xe2\x80\xae"
      "ü";
  const auto printed = [&](OutputFormat format) {
    std::ostringstream stream;
    {
      TableWriter table(stream, format, {{"A\x07", ""}});
      table.Row({value});
    }
    return stream.str();
  };
  EXPECT_EQ(printed(OutputFormat::kText),
            "A\\u0007\n"
            "──────────────────────────────────\n"
            "x\\u001b[31m y z\\u007f\\u009b\\u202eü\n");
  EXPECT_EQ(printed(OutputFormat::kJson), "[\"x\\u001b[31m\\ny\\tz\\u007f\\u009b\\u202eü\"]\n");
  // A file of values is exact.
  EXPECT_EQ(printed(OutputFormat::kCsv), "A\x07\r\n\"" + value + "\"\r\n");
}

TEST(Output, AStreamThatHasFailedEndsTheTable) {
  std::ostringstream stream;
  TableWriter table(stream, OutputFormat::kCsv, {{"A", ""}});
  table.Row({"1"});
  stream.setstate(std::ios::badbit);
  EXPECT_THROW(table.Row({"2"}), OutputFailed);
}

TEST(Output, CsvQuotesWhereNeeded) {
  std::ostringstream stream;
  {
    TableWriter table(stream, OutputFormat::kCsv, {{"A", ""}, {"B", ""}});
    table.Row({"x,y", "\"z\""});
  }
  EXPECT_EQ(stream.str(), "A,B\r\n\"x,y\",\"\"\"z\"\"\"\r\n");
}

TEST(Output, JsonRowsWithoutKeysAreArrays) {
  std::ostringstream stream;
  {
    TableWriter table(stream, OutputFormat::kJson, {{"A", ""}, {"B", ""}});
    table.Row({"1", "zwei"});
  }
  EXPECT_EQ(stream.str(), "[\"1\",\"zwei\"]\n");
}

TEST(Output, ALongTableIsNotHeldBack) {
  std::ostringstream stream;
  TableWriter table(stream, OutputFormat::kText, {{"A", ""}});
  for (int i = 0; i < 1000; ++i) table.Row({std::to_string(i)});
  EXPECT_NE(stream.str().find("\n999\n"), std::string::npos);
}

}  // namespace
}  // namespace kestrel::cli
