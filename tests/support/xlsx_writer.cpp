#include "support/xlsx_writer.h"

#include <algorithm>

#include "support/zip_writer.h"

namespace kestrel::testing {

namespace {

constexpr const char* kMain = "http://schemas.openxmlformats.org/spreadsheetml/2006/main";
constexpr const char* kPackage = "http://schemas.openxmlformats.org/package/2006/relationships";
constexpr const char* kOffice = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";

std::string Escaped(std::string_view text) {
  std::string xml;
  for (const char c : text) {
    switch (c) {
      case '&': xml += "&amp;"; break;
      case '<': xml += "&lt;"; break;
      case '"': xml += "&quot;"; break;
      default: xml += c;
    }
  }
  return xml;
}

std::string Relationship(const std::string& id, const std::string& kind, const std::string& target) {
  return "<Relationship Id=\"" + id + "\" Type=\"" + kOffice + "/" + kind + "\" Target=\"" + target + "\"/>";
}

std::string Relationships(const std::string& list) {
  return std::string("<Relationships xmlns=\"") + kPackage + "\">" + list + "</Relationships>";
}

}  // namespace

std::string XlsxWriter::ColumnLetters(std::size_t column) {
  std::string letters;
  for (std::size_t rest = column + 1; rest > 0; rest = (rest - 1) / 26) {
    letters += static_cast<char>('A' + (rest - 1) % 26);
  }
  std::reverse(letters.begin(), letters.end());
  return letters;
}

void XlsxWriter::Name(std::string_view name, std::string_view range) {
  names_ += "<definedName name=\"" + Escaped(name) + "\">" + Escaped(range) + "</definedName>";
}

void XlsxWriter::Sheet(std::string_view name) { sheets_.push_back({std::string(name), 0, ""}); }

void XlsxWriter::Row(const std::vector<const std::string*>& cells) {
  SheetPart& sheet = sheets_.back();
  const std::string number = std::to_string(++sheet.rows);
  sheet.xml += "<row r=\"" + number + "\">";
  for (std::size_t column = 0; column < cells.size(); ++column) {
    if (cells[column] == nullptr) continue;
    sheet.xml += "<c r=\"" + ColumnLetters(column) + number + "\" " + CellContent(*cells[column]) + "</c>";
  }
  sheet.xml += "</row>";
}

void XlsxWriter::Xml(std::string_view rows) { sheets_.back().xml += rows; }

std::string XlsxWriter::CellContent(const std::string& text) {
  const std::string element = "<t xml:space=\"preserve\">" + Escaped(text) + "</t>";
  if (texts_ == Texts::kInCells) return "t=\"inlineStr\"><is>" + element + "</is>";
  const auto [found, is_new] = numbers_.emplace(text, numbers_.size());
  if (is_new) shared_ += "<si>" + element + "</si>";
  return "t=\"s\"><v>" + std::to_string(found->second) + "</v>";
}

std::string XlsxWriter::Bytes() const {
  ZipWriter archive;
  archive.Add("_rels/.rels", Relationships(Relationship("r1", "officeDocument", "xl/workbook.xml")));
  std::string list, relationships;
  for (std::size_t i = 0; i < sheets_.size(); ++i) {
    const std::string number = std::to_string(i + 1);
    const std::string file = "worksheets/sheet" + number + ".xml";
    list += "<sheet name=\"" + Escaped(sheets_[i].name) + "\" sheetId=\"" + number + "\" r:id=\"r" + number +
            "\"/>";
    relationships += Relationship("r" + number, "worksheet", file);
    archive.Add("xl/" + file, std::string("<worksheet xmlns=\"") + kMain + "\"><sheetData>" + sheets_[i].xml +
                                  "</sheetData></worksheet>");
  }
  if (texts_ == Texts::kShared) {
    relationships += Relationship("texts", "sharedStrings", "sharedStrings.xml");
    archive.Add("xl/sharedStrings.xml", std::string("<sst xmlns=\"") + kMain + "\">" + shared_ + "</sst>");
  }
  archive.Add("xl/workbook.xml", std::string("<workbook xmlns=\"") + kMain + "\" xmlns:r=\"" + kOffice +
                                     "\"><sheets>" + list + "</sheets><definedNames>" + names_ +
                                     "</definedNames></workbook>");
  archive.Add("xl/_rels/workbook.xml.rels", Relationships(relationships));
  return archive.Bytes();
}

}  // namespace kestrel::testing
