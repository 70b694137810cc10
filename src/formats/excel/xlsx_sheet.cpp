#include "formats/excel/xlsx_sheet.h"

#include <charconv>
#include <utility>

#include "formats/excel/cell_reference.h"
#include "formats/excel/sheet_damage.h"
#include "formats/excel/xml_stream.h"
#include "platform/base/text.h"
#include "platform/base/value_text.h"

namespace kestrel::excel {

namespace {

using Node = XmlStream::Node;

// Texts hold what XML cannot as "_x000D_": four hexadecimal digits of a 16-bit unit.
std::string Unescape(std::string_view text) {
  constexpr std::size_t kLength = 7;
  std::string plain;
  std::size_t from = 0;
  for (std::size_t at = text.find("_x"); at != std::string_view::npos; at = text.find("_x", at + 1)) {
    if (at < from || text.size() - at < kLength || text[at + 6] != '_') continue;
    unsigned unit = 0;
    const char* const digits = text.data() + at + 2;
    const auto [end, error] = std::from_chars(digits, digits + 4, unit, 16);
    if (error != std::errc() || end != digits + 4) continue;
    plain += text.substr(from, at - from);
    AppendUtf8(plain, unit >= 0xD800 && unit < 0xE000 ? 0xFFFD : unit);
    from = at + kLength;
  }
  plain += text.substr(from);
  return plain;
}

// Appends a part of a text. Spreadsheets allow 32,767 characters in a cell; more than this is no text of a sheet.
void AppendPart(std::string& text, std::string_view part) {
  constexpr std::size_t kLongestText = std::size_t{1} << 20;
  if (part.size() > kLongestText - text.size()) RaiseDamaged("ein Text ist länger als 1 MB");
  text += part;
}

// The text of the element that has just started: of its "t" elements, in whatever runs they are, but not of
// the phonetic ones.
std::string TakeText(XmlStream& xml) {
  std::string text;
  int depth = 1;
  bool in_text = false;
  while (depth > 0) {
    switch (xml.Next()) {
      case Node::kStart:
        if (xml.name() == "rPh") {
          xml.SkipElement();
          break;
        }
        in_text = xml.name() == "t";
        ++depth;
        break;
      case Node::kEnd:
        in_text = false;
        --depth;
        break;
      case Node::kText:
        if (in_text) AppendPart(text, xml.text());
        break;
      case Node::kEndOfPart: return text;
    }
  }
  return Unescape(text);
}

// All text of the element that has just started.
std::string TakeValue(XmlStream& xml) {
  std::string text;
  for (int depth = 1; depth > 0;) {
    switch (xml.Next()) {
      case Node::kStart: ++depth; break;
      case Node::kEnd: --depth; break;
      case Node::kText: AppendPart(text, xml.text()); break;
      case Node::kEndOfPart: return text;
    }
  }
  return text;
}

template <class Number>
std::optional<Number> ParseXmlNumber(std::string_view text) {
  text = TrimBlanks(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

class SheetReader {
 public:
  SheetReader(TextPool& texts, PackedCells& cells, const std::vector<NumberStyle>& styles)
      : texts_(texts), cells_(cells), styles_(styles) {}

  // What the sheet turns out to lack, `notes` knows.
  void Read(XmlStream& xml, DamageNotes& notes) {
    notes_ = &notes;
    try {
      ReadRows(xml);
    } catch (const RuntimeError& error) {
      if (in_row_) cells_.DropOpenRow(row_);
      cells_.Finish();
      notes.Ends(cells_.used() ? cells_.used()->last_row + 1 : 0, error.Description());
      return;
    }
    cells_.Finish();
  }

 private:
  void ReadRows(XmlStream& xml) {
    for (Node node = xml.Next(); node != Node::kEndOfPart; node = xml.Next()) {
      if (node == Node::kEnd && xml.name() == "row") in_row_ = false;
      if (node != Node::kStart) continue;
      if (xml.name() == "row") {
        StartRow(xml);
      } else if (xml.name() == "c") {
        ReadCell(xml);
      }
    }
  }

  // Where places are left out, rows and cells follow each other.
  void StartRow(XmlStream& xml) {
    const auto number = ParseXmlNumber<std::uint32_t>(xml.Attribute("r").value_or(""));
    const std::uint32_t row = number ? *number - 1 : next_row_;
    if (row >= kMostRows) RaiseDamaged("die Nummer einer Zeile ist falsch");
    row_ = row;
    next_row_ = row_ + 1;
    next_column_ = 0;
    in_row_ = true;
  }

  void ReadCell(XmlStream& xml) {
    CellPosition position{row_, next_column_};
    if (const auto reference = xml.Attribute("r")) {
      const auto parsed = ParseCell(*reference);
      if (!parsed) RaiseDamaged("der Ort einer Zelle ist falsch");
      position = *parsed;
    }
    if (position.column >= kMostColumns) RaiseDamaged("eine Zeile hat zu viele Spalten");
    next_column_ = position.column + 1;
    const std::string type(xml.Attribute("t").value_or("n"));
    const std::size_t style = ParseXmlNumber<std::uint32_t>(xml.Attribute("s").value_or("0")).value_or(0);
    std::optional<std::string> value;
    for (int depth = 1; depth > 0;) {
      switch (xml.Next()) {
        case Node::kStart:
          if (xml.name() == "v") {
            value = TakeValue(xml);
          } else if (xml.name() == "is") {
            value = TakeText(xml);
          } else {
            xml.SkipElement();
          }
          break;
        case Node::kEnd: --depth; break;
        case Node::kText: break;
        case Node::kEndOfPart: return;
      }
    }
    if (!value || (value->empty() && type != "str" && type != "inlineStr")) return;
    const Cell cell = MakeCell(type, style, *std::move(value));
    if (cell.kind == Cell::Kind::kEmpty) return notes_->LosesCell(position);
    cells_.Add(position.row, position.column, cell);
  }

  // An empty cell where the value refers to a text that does not exist.
  Cell MakeCell(const std::string& type, std::size_t style, std::string value) {
    Cell cell;
    if (type == "s") {
      const auto number = ParseXmlNumber<std::uint64_t>(value);
      if (!number || *number >= texts_.numbered()) return cell;
      return TextCell(texts_.PlaceOf(*number));
    }
    if (type == "str") return TextCell(texts_.Add(Unescape(value)));
    if (type == "inlineStr") return TextCell(texts_.Add(value));
    if (type == "d") return TextCell(texts_.Add(IsoDateText(value)));
    if (type == "e") {
      cell.kind = Cell::Kind::kError;
      return cell;
    }
    const auto number = ParseXmlNumber<double>(value);
    // A value that is no number though it says so is better seen than lost.
    if (!number) return TextCell(texts_.Add(value));
    cell.kind = type == "b" ? Cell::Kind::kTruth : Cell::Kind::kNumber;
    cell.number = *number;
    if (style < styles_.size()) cell.style = styles_[style];
    return cell;
  }

  static Cell TextCell(std::uint64_t place) {
    Cell cell;
    cell.kind = Cell::Kind::kText;
    cell.text = place;
    return cell;
  }

  TextPool& texts_;
  PackedCells& cells_;
  const std::vector<NumberStyle>& styles_;
  DamageNotes* notes_ = nullptr;
  bool in_row_ = false;
  std::uint32_t row_ = 0;
  std::uint32_t next_row_ = 0;
  std::uint32_t next_column_ = 0;
};

}  // namespace

XlsxSheet::XlsxSheet(const ZipArchive& archive, UnpackBudget budget, const ZipArchive::Part& sheet,
                     const ZipArchive::Part* shared_strings, const std::vector<NumberStyle>& styles,
                     bool days_from_1904)
    : days_from_1904_(days_from_1904) {
  DamageNotes notes;
  if (shared_strings != nullptr) {
    try {
      ReadTexts(archive, *shared_strings, budget);
    } catch (const RuntimeError& error) {
      notes.LosesTexts(error.Description());
    }
  }
  XmlStream xml(archive, sheet, budget);
  SheetReader(texts_, cells_, styles).Read(xml, notes);
  damage_ = notes.Damage();
}

void XlsxSheet::ReadTexts(const ZipArchive& archive, const ZipArchive::Part& part, UnpackBudget& budget) {
  XmlStream xml(archive, part, budget);
  for (Node node = xml.Next(); node != Node::kEndOfPart; node = xml.Next()) {
    if (node == Node::kStart && xml.name() == "si") texts_.AddNumbered(TakeText(xml));
  }
}

void XlsxSheet::AppendText(const Cell& cell, std::string& text) const { texts_.AppendText(cell.text, text); }

}  // namespace kestrel::excel
