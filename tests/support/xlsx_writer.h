// Writes .xlsx workbooks of texts for tests, packed as other programs pack them.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kestrel::testing {

class XlsxWriter {
 public:
  // Where texts stand: each once in the workbook's own table, as spreadsheets write them, or in their cells.
  enum class Texts { kShared, kInCells };
  explicit XlsxWriter(Texts texts = Texts::kShared) : texts_(texts) {}

  // A name for one rectangle, as formulas write it ("Tabelle1!$A$1:$C$9").
  void Name(std::string_view name, std::string_view range);
  // A sheet, to which the rows that follow go.
  void Sheet(std::string_view name);
  // The sheet's next row. A cell without a text is left out. UTF-8.
  void Row(const std::vector<const std::string*>& cells);

  // Rows as XML, as they are.
  void Xml(std::string_view rows);

  // "A", "Z", "AA"; counted from 0.
  static std::string ColumnLetters(std::size_t column);

  std::string Bytes() const;

 private:
  struct SheetPart {
    std::string name;
    std::size_t rows = 0;
    std::string xml;
  };
  std::string CellContent(const std::string& text);

  Texts texts_;
  std::unordered_map<std::string, std::size_t> numbers_;  // of the shared texts
  std::string shared_;
  std::string names_;
  std::vector<SheetPart> sheets_;
};

}  // namespace kestrel::testing
