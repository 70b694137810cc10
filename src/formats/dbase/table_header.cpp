#include "formats/dbase/table_header.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <string_view>

#include "platform/base/byte_span.h"
#include "platform/base/code_page.h"

namespace kestrel::dbase {

namespace {

constexpr std::uint8_t kDescriptorsEnd = 0x0D;
// What tells where the records begin is a number of two bytes.
constexpr std::size_t kLongestHead = 0xFFFF;
constexpr std::size_t kPreambleSize = 32;
constexpr std::size_t kRecordLength = 10;  // where its length stands

constexpr std::uint8_t kHiddenColumn = 0x01;
constexpr std::uint8_t kNullableColumn = 0x02;

struct LanguageMark {
  std::uint8_t mark;
  int code_page;
};
// The language marks of the table head and the code page each stands for.
constexpr LanguageMark kLanguageMarks[] = {
    {0x01, 437},   {0x02, 850},   {0x03, 1252}, {0x04, 10000}, {0x08, 865},  {0x09, 437},  {0x0A, 850},
    {0x0B, 437},   {0x0D, 437},   {0x0E, 850},  {0x0F, 437},   {0x10, 850},  {0x11, 437},  {0x12, 850},
    {0x13, 932},   {0x14, 850},   {0x15, 437},  {0x16, 850},   {0x17, 865},  {0x18, 437},  {0x19, 437},
    {0x1A, 850},   {0x1B, 437},   {0x1C, 863},  {0x1D, 850},   {0x1F, 852},  {0x22, 852},  {0x23, 852},
    {0x24, 860},   {0x25, 850},   {0x26, 866},  {0x37, 850},   {0x40, 852},  {0x4D, 936},  {0x4E, 949},
    {0x4F, 950},   {0x50, 874},   {0x57, 1252}, {0x58, 1252},  {0x59, 1252}, {0x64, 852},  {0x65, 866},
    {0x66, 865},   {0x67, 861},   {0x6A, 737},  {0x6B, 857},   {0x78, 950},  {0x79, 949},  {0x7A, 936},
    {0x7B, 932},   {0x7C, 874},   {0x7D, 1255}, {0x7E, 1256},  {0x86, 737},  {0x87, 852},  {0x88, 857},
    {0x96, 10007}, {0x97, 10029}, {0xC8, 1250}, {0xC9, 1251},  {0xCA, 1254}, {0xCB, 1253}, {0xCC, 1257}};

std::optional<int> CodePageOf(std::uint8_t mark) {
  const auto* found = std::find_if(std::begin(kLanguageMarks), std::end(kLanguageMarks),
                                   [&](const LanguageMark& known) { return known.mark == mark; });
  if (found == std::end(kLanguageMarks)) return std::nullopt;
  return found->code_page;
}

bool IsVisualFoxPro(std::uint8_t version) { return version >= 0x30 && version <= 0x32; }

bool IsKnownVersion(std::uint8_t version) {
  constexpr std::uint8_t kVersions[] = {0x03, 0x04, 0x05, 0x30, 0x31, 0x32, 0x43, 0x63, 0x7B,
                                        0x83, 0x8B, 0x8C, 0x8E, 0xCB, 0xE5, 0xF5, 0xFB};
  return std::find(std::begin(kVersions), std::end(kVersions), version) != std::end(kVersions);
}

struct Descriptor {
  std::string_view name;
  char type;
  std::size_t length;
  std::size_t decimals;
  std::uint8_t flags;  // of Visual FoxPro
};

// Where the fields of a column's description lie; level 7 has longer names.
struct DescriptorLayout {
  std::size_t first;  // offset in the file
  std::size_t size;
  std::size_t name_size;
  std::size_t type, length, decimals, flags;
};
constexpr DescriptorLayout kClassicLayout{kPreambleSize, 32, 11, 11, 16, 17, 18};
constexpr DescriptorLayout kLevel7Layout{68, 48, 32, 32, 33, 34, 47};

std::vector<Descriptor> ReadDescriptors(Bytes head, const DescriptorLayout& layout) {
  std::vector<Descriptor> descriptors;
  for (std::size_t at = layout.first; at < head.size() && ReadU8(head, at) != kDescriptorsEnd;
       at += layout.size) {
    if (head.size() - at < layout.size) break;
    std::string_view name = CharactersOf(Part(head, at, layout.name_size));
    name = name.substr(0, name.find('\0'));
    while (!name.empty() && name.back() == ' ') name.remove_suffix(1);
    descriptors.push_back(Descriptor{name, static_cast<char>(ReadU8(head, at + layout.type)),
                                     ReadU8(head, at + layout.length), ReadU8(head, at + layout.decimals),
                                     ReadU8(head, at + layout.flags)});
  }
  return descriptors;
}

std::size_t RecordLength(const std::vector<Descriptor>& descriptors) {
  return std::accumulate(descriptors.begin(), descriptors.end(), std::size_t{1},
                         [](std::size_t sum, const Descriptor& d) { return sum + d.length; });
}

// Some writers store texts of more than 255 bytes, the upper part of the length where other columns have
// their decimals. Done only where the lengths then add up better, as other writers leave anything there.
void WidenLongTexts(std::vector<Descriptor>& descriptors, std::size_t record_length) {
  std::vector<Descriptor> widened = descriptors;
  for (Descriptor& descriptor : widened) {
    if (descriptor.type == 'C') descriptor.length += descriptor.decimals << 8;
  }
  if (RecordLength(descriptors) != record_length && RecordLength(widened) == record_length) {
    descriptors = std::move(widened);
  }
}

MemoKind MemoKindOf(std::uint8_t version, const std::vector<Descriptor>& descriptors) {
  const bool has_memo = std::any_of(descriptors.begin(), descriptors.end(), [&](const Descriptor& d) {
    return d.type == 'M' || d.type == 'G' || d.type == 'P' || d.type == 'W' ||
           (d.type == 'B' && d.length == 10);
  });
  if (!has_memo) return MemoKind::kNone;
  return IsVisualFoxPro(version) || version == 0xF5 || version == 0xFB || version == 0xE5 ? MemoKind::kFpt
                                                                                          : MemoKind::kDbt;
}

void PlaceColumns(Header& header, const std::vector<Descriptor>& descriptors) {
  std::size_t offset = 1;
  std::size_t next_bit = 0;
  for (const Descriptor& descriptor : descriptors) {
    Column column{std::string(descriptor.name), descriptor.type, offset, descriptor.length, {}, {}};
    offset += descriptor.length;
    if (header.is_visual_foxpro) {
      if (column.type == 'V' || column.type == 'Q') column.length_bit = next_bit++;
      if ((descriptor.flags & kNullableColumn) != 0) column.null_bit = next_bit++;
      if (column.type == '0') {
        header.null_flags = column.offset;
        header.null_flags_length = column.length;
      }
      if (column.type == '0' || (descriptor.flags & kHiddenColumn) != 0) continue;
    }
    header.columns.push_back(std::move(column));
  }
}

// At level 7 the language driver's name tells more than the mark: "DB850DE0", "DBWINUS0".
std::optional<int> CodePageOfDriver(std::string_view name) {
  if (!name.starts_with("DB")) return std::nullopt;
  if (name.substr(2, 3) == "WIN") return 1252;
  int number = 0;
  const auto [end, error] = std::from_chars(name.data() + 2, name.data() + 5, number);
  if (error != std::errc() || !CodePage::IsKnown(number)) return std::nullopt;
  return number;
}

void ReadLanguage(Bytes head, Header& header) {
  constexpr std::size_t kDriver = 32;
  const std::uint8_t mark = ReadU8(head, kLanguageMark);
  header.code_page = CodePageOf(mark);
  if (!header.code_page && header.is_level7)
    header.code_page = CodePageOfDriver(CharactersOf(Part(head, kDriver, 32)));
  if (!header.code_page && mark != 0) header.unknown_language = mark;
}

// `head`: the beginning of a file of `file_size` bytes, all of it that belongs to the head.
Header ReadHeader(Bytes head, std::size_t file_size) {
  if (head.size() < kPreambleSize)
    RaiseDamaged("sie ist zu kurz für eine dBase-Tabelle", {.offset = head.size()});
  const std::uint8_t version = ReadU8(head, 0);
  constexpr std::uint8_t kDbase2 = 0x02;
  if (version == kDbase2) {
    throw FormatError(
        "Die Tabelle ist von dBase II; sie muss mit einem neueren Programm als Tabelle von dBase III "
        "oder später gespeichert werden, bevor sie gelesen werden kann",
        {.offset = 0});
  }
  if (!IsKnownVersion(version)) {
    throw FormatError("Die Datei ist keine dBase-Tabelle", {.offset = 0});
  }
  Header header;
  header.is_visual_foxpro = IsVisualFoxPro(version);
  header.first_record = ReadU16(head, 8);
  header.record_length = ReadU16(head, kRecordLength);
  if (header.first_record > head.size())
    RaiseDamaged("der Tabellenkopf ist unvollständig", {.offset = head.size()});
  head = head.first(header.first_record);

  // Some programs give their tables the mark of level 7 and write them as older ones are.
  std::vector<Descriptor> descriptors = ReadDescriptors(head, kClassicLayout);
  header.is_level7 = (version & 0x07) == 0x04 && RecordLength(descriptors) != header.record_length;
  if (header.is_level7) descriptors = ReadDescriptors(head, kLevel7Layout);
  ReadLanguage(head, header);
  if (descriptors.empty()) RaiseDamaged("der Tabellenkopf nennt keine Spalten", {.offset = kPreambleSize});
  WidenLongTexts(descriptors, header.record_length);
  if (RecordLength(descriptors) > header.record_length) {
    RaiseDamaged("die Spalten sind zusammen länger als ein Satz", {.offset = kRecordLength});
  }
  header.memo = MemoKindOf(version, descriptors);
  PlaceColumns(header, descriptors);
  header.told_count = ReadU32(head, 4);
  const std::size_t held = (file_size - header.first_record) / header.record_length;
  header.record_count = std::min(header.told_count, held);
  header.untold_count = held - header.record_count;
  return header;
}

// The byte that every record begins with, or that stands behind the last one.
char MarkAt(const TableFile& file, const Header& header, std::size_t record) {
  char mark = 0;
  file.ReadAt(header.first_record + record * header.record_length, &mark, 1);
  return mark;
}

}  // namespace

Header ReadHeader(const TableFile& file) {
  std::string head(std::min(file.size(), kLongestHead), '\0');
  file.ReadAt(0, head.data(), head.size());
  Header header = ReadHeader(BytesOf(head), file.size());
  // What follows the last record told is usually the mark of the end, or what a program left behind it.
  if (header.untold_count > 0) {
    const char mark = MarkAt(file, header, header.record_count);
    if (mark != ' ' && mark != '*') header.untold_count = 0;
  }
  return header;
}

}  // namespace kestrel::dbase
