// Workbooks since 2007: an archive of XML parts. Reads the format published as ECMA-376.
#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "formats/excel/workbook.h"
#include "formats/excel/zip_archive.h"

namespace kestrel::excel {

class XlsxWorkbook final : public Workbook {
 public:
  static bool IsOne(Bytes file) { return ZipArchive::IsOne(file); }
  // Error 3000 for an archive that is no such workbook, or a damaged one.
  explicit XlsxWorkbook(std::string file);

  const std::vector<std::string>& SheetNames() const override { return sheet_names_; }
  const std::vector<NamedRange>& NamedRanges() const override { return named_ranges_; }
  // The sheet is read whole and keeps nothing of the archive.
  std::shared_ptr<const Sheet> OpenSheet(std::size_t sheet) const override;

 private:
  // A part that another one refers to.
  struct Relation {
    std::string type;  // the last word of its address: "worksheet", "styles" ...
    std::string part;
  };
  using Relations = std::map<std::string, Relation>;  // by id

  // A defined name as it stands in the workbook; its sheets are known only behind all of them.
  struct DefinedName {
    std::string name;
    std::optional<std::size_t> scope;  // among all sheets
    std::string formula;
  };

  Relations ReadRelations(const std::string& part);
  std::string FindWorkbookPart();
  void ReadWorkbookPart(const std::string& part);
  void ReadStyles(const std::string& part);
  // `sheets`: where those with cells stand, by name.
  void ResolveName(const DefinedName& defined, const std::unordered_map<std::string, std::size_t>& sheets);

  std::string file_;
  ZipArchive archive_;   // views file_
  UnpackBudget budget_;  // what is left to each sheet
  bool days_from_1904_ = false;
  std::string shared_strings_part_;
  std::vector<NumberStyle> styles_;  // by cell format
  std::vector<std::string> sheet_names_;
  std::vector<std::string> sheet_parts_;
  // Every sheet by its place in the workbook: its number among those with cells, or none for a chart.
  std::vector<std::optional<std::size_t>> sheet_numbers_;
  std::vector<NamedRange> named_ranges_;
};

}  // namespace kestrel::excel
