#include "support/xlsx_writer.h"

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <new>

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

std::uint32_t Checksum(const std::string& bytes) {
  return static_cast<std::uint32_t>(
      crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<z_size_t>(bytes.size())));
}

std::string Deflated(const std::string& bytes) {
  z_stream stream{};
  constexpr int kNoHead = -15;
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kNoHead, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  std::string packed(deflateBound(&stream, bytes.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));  // not written to
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

std::string Number(std::uint64_t number, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i, number >>= 8) text += static_cast<char>(number & 0xFF);
  return text;
}

class Archive {
 public:
  void Add(const std::string& name, const std::string& content) {
    constexpr std::uint64_t kMethod = 8;
    const std::string packed = Deflated(content);
    // Version, flags, method and time, then what tells about the content.
    const std::string head = Number(20, 2) + Number(0, 2) + Number(kMethod, 2) + Number(0, 4) +
                             Number(Checksum(content), 4) + Number(packed.size(), 4) +
                             Number(content.size(), 4) + Number(name.size(), 2) + Number(0, 2);
    directory_ += "PK\x01\x02" + Number(20, 2) + head + Number(0, 10) + Number(bytes_.size(), 4) + name;
    bytes_ += "PK\x03\x04" + head + name + packed;
    ++count_;
  }
  std::string Bytes() const {
    return bytes_ + directory_ + "PK\x05\x06" + Number(0, 4) + Number(count_, 2) + Number(count_, 2) +
           Number(directory_.size(), 4) + Number(bytes_.size(), 4) + Number(0, 2);
  }

 private:
  std::string bytes_, directory_;
  std::uint64_t count_ = 0;
};

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

std::string XlsxWriter::CellContent(const std::string& text) {
  const std::string element = "<t xml:space=\"preserve\">" + Escaped(text) + "</t>";
  if (texts_ == Texts::kInCells) return "t=\"inlineStr\"><is>" + element + "</is>";
  const auto [found, is_new] = numbers_.emplace(text, numbers_.size());
  if (is_new) shared_ += "<si>" + element + "</si>";
  return "t=\"s\"><v>" + std::to_string(found->second) + "</v>";
}

std::string XlsxWriter::Bytes() const {
  Archive archive;
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
