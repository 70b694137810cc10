#include "formats/excel/biff_globals.h"

#include <algorithm>

namespace kestrel::excel {

namespace {

constexpr std::uint8_t kWorksheet = 0;  // the kind of a sheet that has cells

// Formula tokens that name one cell or one rectangle of another sheet, without their class bits.
constexpr std::uint8_t kReferenceToken = 0x1A;
constexpr std::uint8_t kAreaToken = 0x1B;
constexpr std::uint8_t kTokenClassBits = 0x60;

class GlobalsReader {
 public:
  explicit GlobalsReader(const ScatteredBytes& stream) : stream_(stream), cursor_(stream, 0) {}

  BiffGlobals Read() {
    ReadVersion();
    while (cursor_.Next() && cursor_.type() != kEof) {
      // Whatever else is damaged counts for nothing; the cells can be read all the same.
      try {
        ReadRecord();
      } catch (const RuntimeError&) {
        if (cursor_.type() == kBoundSheet) throw;
      }
    }
    if (cursor_.type() != kEof && sheets_.empty()) RaiseDamaged("sie endet im Kopf der Arbeitsmappe");
    FinishSheets();
    FinishStyles();
    FinishNames();
    return std::move(globals_);
  }

 private:
  struct SheetEntry {
    std::uint32_t offset;
    bool has_cells;
    std::string name;
    std::size_t number;  // among those with cells
  };
  struct SheetReference {
    std::uint16_t book;
    std::uint16_t first, last;
  };
  // A name as stored: its formula can be understood only when all sheets are known.
  struct NameEntry {
    std::string name;
    std::uint16_t scope;  // 1-based sheet, 0 for the workbook
    std::string formula;
  };

  void ReadVersion() {
    if (!cursor_.Next()) RaiseDamaged("sie ist leer");
    if (cursor_.type() != kBof) {
      throw FormatError(
          "Die Arbeitsmappe ist von einer Version vor Excel 5.0; sie muss in einem neueren Format "
          "gespeichert werden, bevor sie gelesen werden kann");
    }
    const std::uint16_t version = ReadU16(cursor_.data(), 0);
    if (version != kBiff5 && version != kBiff8) RaiseDamaged("die Version der Arbeitsmappe ist unbekannt");
    globals_.is_biff8 = version == kBiff8;
  }

  void ReadRecord() {
    const Bytes data = cursor_.data();
    switch (cursor_.type()) {
      case kDateMode: globals_.days_from_1904 = ReadU16(data, 0) == 1; break;
      case kCodePage: ReadCodePage(ReadU16(data, 0)); break;
      case kFormat: ReadFormat(); break;
      case kXf: formats_of_xf_.push_back(data.size() >= 4 ? ReadU16(data, 2) : 0); break;
      case kBoundSheet: ReadBoundSheet(); break;
      case kSst: globals_.shared_strings = Content(0); break;
      case kSupBook: own_book_.push_back(data.size() >= 4 && ReadU16(data, 2) == 0x0401); break;
      case kExternSheet:
        if (globals_.is_biff8) ReadExternSheet();
        break;
      case kName: ReadName(); break;
      default: break;
    }
  }

  // The place `skip` bytes into the current record's content.
  RecordPosition Content(std::size_t skip) const {
    constexpr std::size_t kRecordHead = 4;
    return {static_cast<std::uint32_t>(cursor_.offset() + kRecordHead + skip),
            static_cast<std::uint32_t>(cursor_.end())};
  }

  void ReadCodePage(int number) {
    constexpr int kUtf16 = 1200;
    constexpr int kMacintosh = 32768;
    constexpr int kAnsi = 32769;
    if (number == kMacintosh) number = 10000;
    if (number == kUtf16 || number == kAnsi || !CodePage::IsKnown(number)) number = 1252;
    globals_.code_page = number;
    code_page_ = CodePage(number);
  }

  // `length` characters; BIFF8 puts a byte before them that tells how they are stored. Where a text of
  // BIFF8 is cut, `name` holds what is there.
  void TakeName(ContinuedReader& reader, std::size_t length, std::string& name) const {
    if (globals_.is_biff8) {
      const bool wide = (reader.TakeU8() & 1) != 0;
      return reader.TakeCharacters(length, wide, name);
    }
    std::string bytes;
    reader.TakeBytes(length, bytes);
    code_page_.AppendTo(name, bytes);
  }

  void ReadFormat() {
    ContinuedReader reader(stream_, Content(0));
    const std::uint16_t number = reader.TakeU16();
    const std::size_t length = globals_.is_biff8 ? reader.TakeU16() : reader.TakeU8();
    std::string code;
    try {
      TakeName(reader, length, code);
    } catch (const RuntimeError&) {  // cut; what is there tells enough
    }
    style_of_format_[number] = StyleOfFormatCode(code);
  }

  void ReadBoundSheet() {
    ContinuedReader reader(stream_, Content(0));
    SheetEntry sheet{reader.TakeU32(), false, {}, 0};
    reader.TakeU8();  // whether it is hidden
    sheet.has_cells = reader.TakeU8() == kWorksheet;
    const std::size_t length = reader.TakeU8();
    TakeName(reader, length, sheet.name);
    sheets_.push_back(std::move(sheet));
  }

  void ReadExternSheet() {
    ContinuedReader reader(stream_, Content(0));
    const std::uint16_t count = reader.TakeU16();
    for (std::uint16_t i = 0; i < count; ++i) {
      const std::uint16_t book = reader.TakeU16();
      const std::uint16_t first = reader.TakeU16();
      references_.push_back(SheetReference{book, first, reader.TakeU16()});
    }
  }

  void ReadName() {
    constexpr std::uint16_t kNotARange = 0x0001 | 0x0002 | 0x0004 | 0x0008 | 0x0020;  // hidden, macro, built-in
    ContinuedReader reader(stream_, Content(0));
    const std::uint16_t flags = reader.TakeU16();
    reader.TakeU8();  // key
    const std::size_t name_length = reader.TakeU8();
    const std::size_t formula_length = reader.TakeU16();
    reader.TakeU16();
    NameEntry entry;
    entry.scope = reader.TakeU16();
    reader.Skip(4);  // lengths of menu and help texts
    if ((flags & kNotARange) != 0) return;
    TakeName(reader, name_length, entry.name);
    reader.TakeBytes(formula_length, entry.formula);
    names_.push_back(std::move(entry));
  }

  void FinishSheets() {
    for (SheetEntry& sheet : sheets_) {
      if (!sheet.has_cells) continue;
      sheet.number = globals_.sheet_names.size();
      globals_.sheet_names.push_back(sheet.name);
      globals_.sheet_offsets.push_back(sheet.offset);
    }
  }

  void FinishStyles() {
    for (const std::uint16_t format : formats_of_xf_) {
      const auto custom = style_of_format_.find(format);
      globals_.styles.push_back(custom != style_of_format_.end() ? custom->second
                                                                 : StyleOfBuiltInFormat(format));
    }
  }

  void FinishNames() {
    for (NameEntry& entry : names_) {
      NamedRange named;
      const std::optional<std::size_t> sheet = RangeOf(BytesOf(entry.formula), named.range);
      if (!sheet || !sheets_[*sheet].has_cells) continue;
      named.sheet = sheets_[*sheet].number;
      if (entry.scope != 0) {
        if (entry.scope > sheets_.size() || !sheets_[entry.scope - 1u].has_cells) continue;
        named.scope = sheets_[entry.scope - 1u].number;
      }
      named.name = std::move(entry.name);
      globals_.named_ranges.push_back(std::move(named));
    }
  }

  // The range that a formula names, if it is nothing but one rectangle of one sheet of this workbook; gives
  // the sheet.
  std::optional<std::size_t> RangeOf(Bytes formula, CellRange& range) const {
    if (formula.empty()) return std::nullopt;
    const std::uint8_t token = ReadU8(formula, 0);
    const std::uint8_t kind = token & static_cast<std::uint8_t>(~kTokenClassBits);
    if ((token & kTokenClassBits) == 0 || (kind != kReferenceToken && kind != kAreaToken)) return std::nullopt;
    const bool is_area = kind == kAreaToken;
    const std::size_t sheet_size = globals_.is_biff8 ? 2 : 14;
    const std::size_t column_size = globals_.is_biff8 ? 2 : 1;
    const std::size_t corners = is_area ? 2 : 1;
    if (formula.size() != 1 + sheet_size + corners * (2 + column_size)) return std::nullopt;

    const Bytes place = Rest(formula, 1 + sheet_size);
    const auto row = [&](std::size_t corner) -> std::uint32_t {
      return ReadU16(place, corner * 2) & (globals_.is_biff8 ? 0xFFFFu : 0x3FFFu);
    };
    const auto column = [&](std::size_t corner) -> std::uint32_t {
      return ReadU8(place, corners * 2 + corner * column_size);
    };
    range = CellRange{row(0), column(0), row(corners - 1), column(corners - 1)};
    if (range.last_row < range.first_row || range.last_column < range.first_column) return std::nullopt;
    return SheetOf(Part(formula, 1, sheet_size));
  }

  std::optional<std::size_t> SheetOf(Bytes reference) const {
    SheetReference sheets{};
    if (globals_.is_biff8) {
      const std::uint16_t number = ReadU16(reference, 0);
      if (number >= references_.size()) return std::nullopt;
      sheets = references_[number];
      if (sheets.book >= own_book_.size() || !own_book_[sheets.book]) return std::nullopt;
    } else {
      if ((ReadU16(reference, 0) & 0x8000) == 0) return std::nullopt;  // another workbook
      sheets = SheetReference{0, ReadU16(reference, 10), ReadU16(reference, 12)};
    }
    if (sheets.first != sheets.last || sheets.first >= sheets_.size()) return std::nullopt;
    return sheets.first;
  }

  const ScatteredBytes& stream_;
  RecordCursor cursor_;
  BiffGlobals globals_;
  CodePage code_page_{1252};
  std::map<std::uint16_t, NumberStyle> style_of_format_;
  std::vector<std::uint16_t> formats_of_xf_;
  std::vector<SheetEntry> sheets_;
  std::vector<bool> own_book_;  // by SUPBOOK record
  std::vector<SheetReference> references_;
  std::vector<NameEntry> names_;
};

}  // namespace

BiffGlobals ReadGlobals(const ScatteredBytes& stream) { return GlobalsReader(stream).Read(); }

}  // namespace kestrel::excel
