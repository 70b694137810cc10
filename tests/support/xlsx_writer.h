// Writes .xlsx workbooks of texts for tests.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kestrel::testing {

class XlsxWriter {
 public:
  // A name for one rectangle, as formulas write it ("Tabelle1!$A$1:$C$9").
  void Name(std::string_view name, std::string_view range);
  // A sheet, to which the rows that follow go.
  void Sheet(std::string_view name);
  // The sheet's next row. A cell without a text is left out. UTF-8.
  void Row(const std::vector<const std::string*>& cells);

  // "A", "Z", "AA"; counted from 0.
  static std::string ColumnLetters(std::size_t column);

  std::string Bytes() const;

 private:
  struct SheetPart {
    std::string name;
    std::size_t rows = 0;
    std::string xml;
  };
  std::string names_;
  std::vector<SheetPart> sheets_;
};

}  // namespace kestrel::testing
