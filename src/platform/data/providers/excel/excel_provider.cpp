#include "platform/data/providers/excel/excel_provider.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "formats/excel/sheet_tables.h"
#include "platform/base/steady_file.h"
#include "platform/base/text.h"
#include "platform/data/providers/excel/sheet_recordset.h"
#include "platform/data/read_only_connection.h"

namespace kestrel::excel {

namespace {

class ExcelConnection final : public ReadOnlyConnection {
 public:
  explicit ExcelConnection(std::string path) : path_(std::move(path)) {
    ReadingFile(path_, [&] { return ReadWorkbook(ReadSteadyFile(path_).content); });
  }

  std::vector<CatalogTable> Tables() override {
    RequireOpen();
    return ReadingFile(path_, [&] {
      std::vector<CatalogTable> tables;
      for (SheetTable& table : TablesOf(*ReadWorkbook(ReadSteadyFile(path_).content))) {
        tables.push_back(CatalogTable{std::move(table.name), "TABLE"});
      }
      return tables;
    });
  }

  std::vector<std::string> ColumnNames(std::string_view name) override {
    RequireOpen();
    return ReadingFile(path_, [&] {
      const OpenedTable table = OpenSheetTable(path_, name);
      return excel::ColumnNames(*table.sheet, table.range);
    });
  }

 protected:
  RecordsetPtr OpenTable(const TableName& name) override {
    const std::string path = name.size() > 1 ? JoinTableName({name.begin(), name.end() - 1}) : path_;
    return ReadingFile(path, [&]() -> RecordsetPtr {
      const OpenedTable table = OpenSheetTable(path, name.back());
      return std::make_shared<SheetRecordset>(table.sheet, table.range,
                                              SheetRecordset::Place{table.sheet_name, path, table.file});
    });
  }

 private:
  struct OpenedTable {
    std::shared_ptr<const Sheet> sheet;
    std::optional<CellRange> range;
    std::string sheet_name;
    FileIdentity file;
  };

  static OpenedTable OpenSheetTable(const std::string& path, std::string_view name) {
    SteadyFile file = ReadSteadyFile(path);
    const std::shared_ptr<const Workbook> workbook = ReadWorkbook(std::move(file.content));
    const std::optional<SheetTable> table = FindTable(*workbook, name);
    if (!table) {
      throw RuntimeError(
          ErrorNumber::kDatabase,
          "Die Arbeitsmappe hat weder eine Tabelle noch einen benannten Bereich \"" + std::string(name) + "\"");
    }
    return OpenedTable{workbook->OpenSheet(table->sheet), table->range, workbook->SheetNames()[table->sheet],
                       file.identity};
  }

  std::string path_;
};

}  // namespace

bool Serves(const ConnectionKeys& keys) {
  return UpperCase(keys.Get("Driver")).find("EXCEL DRIVER") != std::string::npos;
}

ConnectionPtr Open(const ConnectionKeys& keys, std::string_view) {
  std::string path = keys.Get("DBQ");
  if (path.empty()) path = keys.Get("DefaultDir");
  return std::make_shared<ExcelConnection>(std::move(path));
}

}  // namespace kestrel::excel
