#include "support/biff_writer.h"

#include <bit>

#include "platform/base/text.h"
#include "support/dbf_writer.h"

namespace kestrel::testing {

namespace {

std::string U16(int number) { return LittleEndian(static_cast<std::uint64_t>(number), 2); }

std::string Utf16(std::string_view utf8) {
  std::string bytes;
  for (std::size_t at = 0; at < utf8.size();) {
    const char32_t c = NextCodePoint(utf8, at);
    if (c < 0x10000) {
      bytes += LittleEndian(c, 2);
    } else {
      bytes +=
          LittleEndian(0xD800 + ((c - 0x10000) >> 10), 2) + LittleEndian(0xDC00 + ((c - 0x10000) & 0x3FF), 2);
    }
  }
  return bytes;
}

}  // namespace

std::string BiffWriter::RecordBytes(std::uint16_t type, std::string_view content) {
  return LittleEndian(type, 2) + LittleEndian(content.size(), 2) + std::string(content);
}

std::string BiffWriter::WideText(std::string_view utf8, int length_bytes) {
  const std::string bytes = Utf16(utf8);
  return LittleEndian(bytes.size() / 2, length_bytes) + '\x01' + bytes;
}

std::string BiffWriter::CellHead(int row, int column, int extended_format) {
  return U16(row) + U16(column) + U16(extended_format);
}

void BiffWriter::GlobalRecord(std::uint16_t type, std::string_view content) {
  globals_ += RecordBytes(type, content);
}

void BiffWriter::Format(std::uint16_t number, std::string_view code) {
  const bool biff8 = version_ == kBiff8;
  const std::string length = LittleEndian(code.size(), biff8 ? 2 : 1) + (biff8 ? std::string(1, '\0') : "");
  GlobalRecord(0x041E, LittleEndian(number, 2) + length + std::string(code));
}

void BiffWriter::ExtendedFormat(std::uint16_t format) {
  GlobalRecord(0x00E0, U16(0) + LittleEndian(format, 2) + std::string(16, '\0'));
}

void BiffWriter::Name(std::string_view name, int sheet, int row1, int column1, int row2, int column2, int scope,
                      std::uint16_t flags) {
  if (names_.empty()) names_ = RecordBytes(0x01AE, U16(0) + U16(0x0401));  // this workbook
  // Each name brings its entry in a record of its own; entries are numbered through.
  names_ += RecordBytes(0x0017, U16(1) + U16(0) + U16(sheet) + U16(sheet));
  const int reference = reference_count_++;
  const std::string formula = "\x3B" + U16(reference) + U16(row1) + U16(row2) + U16(column1) + U16(column2);
  const std::string utf16 = WideText(name, 0);
  names_ += RecordBytes(0x0018, LittleEndian(flags, 2) + '\0' + LittleEndian((utf16.size() - 1) / 2, 1) +
                                    U16(static_cast<int>(formula.size())) + U16(0) + U16(scope) +
                                    std::string(4, '\0') + utf16 + formula);
}

void BiffWriter::Sheet(std::string_view name, std::uint8_t kind) {
  sheets_.push_back(SheetPart{std::string(name), kind, {}});
}

void BiffWriter::Record(std::uint16_t type, std::string_view content) {
  sheets_.back().records += RecordBytes(type, content);
}

void BiffWriter::Text(int row, int column, std::string_view utf8) {
  const std::string text =
      version_ == kBiff8 ? WideText(utf8) : U16(static_cast<int>(utf8.size())) + std::string(utf8);
  Record(0x0204, CellHead(row, column) + text);
}

void BiffWriter::Number(int row, int column, double number, int extended_format) {
  Record(0x0203,
         CellHead(row, column, extended_format) + LittleEndian(std::bit_cast<std::uint64_t>(number), 8));
}

void BiffWriter::Rk(int row, int column, std::uint32_t rk, int extended_format) {
  Record(0x027E, CellHead(row, column, extended_format) + LittleEndian(rk, 4));
}

void BiffWriter::Truth(int row, int column, bool truth) {
  Record(0x0205, CellHead(row, column) + (truth ? '\x01' : '\0') + '\0');
}

void BiffWriter::Error(int row, int column) { Record(0x0205, CellHead(row, column) + '\x2A' + '\x01'); }

void BiffWriter::Blank(int row, int column) { Record(0x0201, CellHead(row, column)); }

void BiffWriter::Formula(int row, int column, double result) {
  Record(0x0006,
         CellHead(row, column) + LittleEndian(std::bit_cast<std::uint64_t>(result), 8) + std::string(8, '\0'));
}

void BiffWriter::FormulaText(int row, int column) {
  Record(0x0006, CellHead(row, column) + std::string(6, '\0') + "\xFF\xFF" + std::string(8, '\0'));
}

void BiffWriter::StringResult(std::string_view utf8) {
  Record(0x0207, version_ == kBiff8 ? WideText(utf8) : U16(static_cast<int>(utf8.size())) + std::string(utf8));
}

std::string BiffWriter::BoundSheet(const SheetPart& sheet, std::uint32_t offset) const {
  const std::string name =
      version_ == kBiff8 ? WideText(sheet.name, 1) : LittleEndian(sheet.name.size(), 1) + sheet.name;
  return RecordBytes(0x0085, LittleEndian(offset, 4) + '\0' + static_cast<char>(sheet.kind) + name);
}

std::string BiffWriter::Bytes() const {
  const auto start = [&](int kind) {
    return RecordBytes(0x0809, LittleEndian(version_, 2) + U16(kind) + std::string(12, '\0'));
  };
  const std::string end = RecordBytes(0x000A, "");
  std::size_t offset = start(5).size() + globals_.size() + names_.size() + end.size();
  for (const SheetPart& sheet : sheets_) offset += BoundSheet(sheet, 0).size();
  std::string bounds;
  std::string sheets;
  for (const SheetPart& sheet : sheets_) {
    bounds += BoundSheet(sheet, static_cast<std::uint32_t>(offset + sheets.size()));
    sheets += start(0x10) + sheet.records + end;
  }
  return start(5) + globals_ + bounds + names_ + end + sheets;
}

}  // namespace kestrel::testing
