// Text files keep the promises of every record set.
#include "platform/data/connection_contract.h"
#include "sources/text_source.h"

namespace kestrel {

using testing::ContractSource;
using testing::ContractTable;
using testing::RecordsetContract;
using testing::TempFolder;

namespace {

std::string Joined(const std::vector<std::string>& values) {
  std::string line;
  for (const std::string& value : values) line += value + ";";
  line.pop_back();
  return line + "\r\n";
}

std::function<RecordsetPtr()> Write(const TempFolder& folder, const ContractTable& table) {
  std::string text = Joined(table.columns);
  for (const auto& row : table.rows) {
    std::vector<std::string> values;
    for (const auto& cell : row) values.push_back(cell.value_or(""));
    text += Joined(values);
  }
  return [path = folder.Write(table.name + ".txt", text)] {
    return OpenTextSource(path, TextFormat{true, "ANSI", ";", "\""});
  };
}

ContractSource Text() {
  ContractSource source;
  source.name = "Text";
  source.write = Write;
  source.keeps_nulls = false;        // a text file knows no null
  source.fills_all_columns = false;  // a line is cut at its 200th value
  return source;
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Text, RecordsetContract, ::testing::Values(Text()), testing::ContractName);

}  // namespace kestrel
