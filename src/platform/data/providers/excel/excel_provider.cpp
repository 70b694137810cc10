#include "platform/data/providers/excel/excel_provider.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

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
      return Table::Open(*ReadWorkbook(ReadSteadyFile(path_).content), name, path_).ColumnNames();
    });
  }

 protected:
  RecordsetPtr OpenTable(const TableName& name) override {
    const std::string path = name.size() > 1 ? JoinTableName({name.begin(), name.end() - 1}) : path_;
    return ReadingFile(path, [&]() -> RecordsetPtr {
      SteadyFile file = ReadSteadyFile(path);
      const std::shared_ptr<const Workbook> workbook = ReadWorkbook(std::move(file.content));
      return std::make_shared<SheetRecordset>(Table::Open(*workbook, name.back(), path), file.identity);
    });
  }

 private:
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
