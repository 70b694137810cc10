// Access files keep the promises of every source.
#include "kestrel/open_connection.h"
#include "platform/data/connection_contract.h"
#include "support/jet_builder.h"

namespace kestrel {
namespace {

using testing::JetBuilder;

ConnectionPtr OpenAccess(const testing::TempFolder& folder, const testing::ContractTable& table,
                         JetBuilder::Format format) {
  JetBuilder builder(format);
  std::vector<JetBuilder::ColumnSpec> columns;
  for (const std::string& name : table.columns) columns.push_back({name});
  // No table of Access has more columns.
  if (columns.size() > 255) return nullptr;
  const std::size_t target = builder.AddTable(table.name, std::move(columns));
  for (const auto& row : table.rows) {
    std::vector<JetBuilder::Cell> cells;
    for (const auto& cell : row) cells.push_back(cell ? JetBuilder::Cell(builder.Text(*cell)) : std::nullopt);
    builder.AddRow(target, std::move(cells));
  }
  return OpenConnection("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" +
                        folder.Write("contract.mdb", builder.Build()) + ";Password=;User ID=");
}

testing::ContractSource Access(std::string name, JetBuilder::Format format) {
  testing::ContractSource source;
  source.name = std::move(name);
  source.open = [format](const testing::TempFolder& folder, const testing::ContractTable& table) {
    return OpenAccess(folder, table, format);
  };
  return source;
}

}  // namespace

namespace testing {
INSTANTIATE_TEST_SUITE_P(Access, RecordsetContract,
                         ::testing::Values(Access("Jet3", JetBuilder::Format::kJet3),
                                           Access("Jet4", JetBuilder::Format::kJet4)),
                         ContractName);
INSTANTIATE_TEST_SUITE_P(Access, ConnectionContract,
                         ::testing::Values(Access("Jet3", JetBuilder::Format::kJet3),
                                           Access("Jet4", JetBuilder::Format::kJet4)),
                         ContractName);
INSTANTIATE_TEST_SUITE_P(Access, ReadOnlyContract,
                         ::testing::Values(Access("Jet3", JetBuilder::Format::kJet3),
                                           Access("Jet4", JetBuilder::Format::kJet4)),
                         ContractName);
}  // namespace testing
}  // namespace kestrel
