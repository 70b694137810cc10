// Writes workbook streams for tests, record by record where need be. The bare stream is a file that readers
// take as well as one in a compound file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::testing {

class BiffWriter {
 public:
  static constexpr std::uint16_t kBiff5 = 0x0500;
  static constexpr std::uint16_t kBiff8 = 0x0600;

  explicit BiffWriter(std::uint16_t version = kBiff8) : version_(version) {}

  // --- The workbook ---
  void GlobalRecord(std::uint16_t type, std::string_view content);
  // A number format; `number` from 164 on for one's own. ASCII only.
  void Format(std::uint16_t number, std::string_view code);
  // The next extended format, numbered from 0, which shows numbers by the format.
  void ExtendedFormat(std::uint16_t format);
  // A name for one rectangle of a sheet (BIFF8 only); `scope` is 0 or the 1-based sheet it belongs to. Rows
  // and columns count from 0.
  void Name(std::string_view name, int sheet, int row1, int column1, int row2, int column2, int scope = 0,
            std::uint16_t flags = 0);

  // --- Sheets: records go to the sheet added last ---
  // Kind 0 has cells, 2 is a chart. `name` is UTF-8 (ASCII for BIFF5).
  void Sheet(std::string_view name, std::uint8_t kind = 0);
  void Record(std::uint16_t type, std::string_view content);
  void Text(int row, int column, std::string_view utf8);
  void Number(int row, int column, double number, int extended_format = 0);
  void Rk(int row, int column, std::uint32_t rk, int extended_format = 0);
  void Truth(int row, int column, bool truth);
  void Error(int row, int column);
  void Blank(int row, int column);
  // A formula with its stored result; the second form's result is the text that must follow with StringResult.
  void Formula(int row, int column, double result);
  void FormulaText(int row, int column);
  void StringResult(std::string_view utf8);

  std::string Bytes() const;

  // A text with its characters as 16 bits, behind its length of `length_bytes` bytes.
  static std::string WideText(std::string_view utf8, int length_bytes = 2);
  // row, column, extended format
  static std::string CellHead(int row, int column, int extended_format = 0);

 private:
  struct SheetPart {
    std::string name;
    std::uint8_t kind;
    std::string records;
  };
  static std::string RecordBytes(std::uint16_t type, std::string_view content);
  std::string BoundSheet(const SheetPart& sheet, std::uint32_t offset) const;

  std::uint16_t version_;
  std::string globals_;
  std::string names_;
  int reference_count_ = 0;
  std::vector<SheetPart> sheets_;
};

}  // namespace kestrel::testing
