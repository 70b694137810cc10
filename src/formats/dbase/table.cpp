#include "formats/dbase/table.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <utility>

#include "formats/dbase/binary_values.h"
#include "platform/base/value_text.h"

namespace kestrel::dbase {

namespace {

constexpr char kDeleted = '*';
constexpr char kEndOfFile = 0x1A;
constexpr int kUsualCodePage = 850;

bool IsPadding(char c) { return c == ' ' || c == '\0'; }

// Keeps a text for the caller. Memory is reused, so that reading a cell twice leaves the first view valid.
std::string_view Keep(std::string& buffer, std::string_view text) {
  buffer.assign(text);
  return buffer;
}

// "JJJJMMTT" as "TT.MM.JJJJ".
std::string_view DateText(std::string_view stored, std::string& buffer) {
  if (stored.size() != 8 || !AreDigits(stored)) return stored;
  const auto number = [&](std::size_t at, std::size_t length) {
    int value = 0;
    std::from_chars(stored.data() + at, stored.data() + at + length, value);
    return value;
  };
  const CalendarDate date{number(0, 4), number(4, 2), number(6, 2)};
  if (!IsRealDate(date)) return stored;
  return Keep(buffer, FormatShortDate(date));
}

bool IsTrue(char c) { return c == 'T' || c == 't' || c == 'Y' || c == 'y' || c == 'J' || c == 'j'; }
bool IsFalse(char c) { return c == 'F' || c == 'f' || c == 'N' || c == 'n'; }

// The block a memo begins at, 0 for no memo; none where the reference is no number.
std::optional<std::uint32_t> MemoBlock(Bytes field) {
  if (field.size() == 4) return ReadU32(field, 0);
  const std::string_view digits = Trim(CharactersOf(field));
  std::uint32_t block = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), block);
  if (!digits.empty() && (error != std::errc() || end != digits.data() + digits.size())) return std::nullopt;
  return block;
}

[[noreturn]] void RaiseUnknownType(char type) {
  throw FormatError("Spalten der Art \"" + std::string(1, type) + "\" können nicht gelesen werden");
}

[[noreturn]] void RaiseMissingMemo(const std::string& name) {
  throw FormatError("Die Memodatei " + name + " fehlt; sie gehört in denselben Ordner wie die Tabelle");
}

// Nothing but NULs: how tables of level 7 store that a binary number is missing.
bool IsNothing(std::string_view stored) { return stored.find_first_not_of('\0') == std::string_view::npos; }

CodePage ChooseCodePage(const Header& header, const CodePageChoice& choice) {
  return CodePage(choice.forced.value_or(header.code_page.value_or(choice.fallback.value_or(kUsualCodePage))));
}

std::vector<std::string> NamesOf(const Header& header, const CodePage& code_page) {
  std::vector<std::string> names;
  names.reserve(header.columns.size());
  for (const Column& column : header.columns) names.push_back(code_page.ToText(column.name));
  return names;
}

// The name of a table's memo file.
std::string MemoName(const std::string& table_path, MemoKind kind) {
  const std::string name = FileNameOfPath(table_path);
  return name.substr(0, name.rfind('.')) + (kind == MemoKind::kFpt ? ".fpt" : ".dbt");
}

}  // namespace

std::vector<std::string> ReadColumnNames(const std::string& path, const CodePageChoice& choice) {
  const Header header = ReadHeader(TableFile(path));
  return NamesOf(header, ChooseCodePage(header, choice));
}

Table::Table(const std::string& path, const CodePageChoice& choice) : Table(TableFile(path), path, choice) {}

Table Table::OfBytes(std::string_view table, std::string_view memo, const CodePageChoice& choice) {
  Table opened(TableFile::Of(table), "", choice);
  if (opened.header_.memo != MemoKind::kNone) opened.memo_ = MemoFile(BytesOf(memo), opened.header_.memo);
  return opened;
}

Table::Table(TableFile file, std::string path, const CodePageChoice& choice)
    : header_(ReadHeader(file)),
      code_page_(ChooseCodePage(header_, choice)),
      records_(std::move(file), header_),
      path_(std::move(path)),
      names_(NamesOf(header_, code_page_)),
      buffers_(names_.size()) {
  if (!path_.empty() && header_.memo != MemoKind::kNone) OpenMemoFile();
  for (const Column& column : header_.columns) {
    const bool is_fixed = column.length > 0 && !column.null_bit && !column.length_bit;
    fields_.push_back(Field{column.offset, column.length, StorageOf(column, header_.is_level7), is_fixed});
  }
  FindLiveRecords();
  if (header_.unknown_language && !choice.forced && !choice.fallback) RequireKnownLetters();
  records_.RequireOneState();
}

void Table::OpenMemoFile() {
  const std::string name = MemoName(path_, header_.memo);
  const auto found = FindFile(ParentFolder(path_), name);
  if (!found) {
    missing_memo_ = name;
    return;
  }
  memo_path_ = *found;
  memo_bytes_ = ReadFileContent(memo_path_);
  memo_ = MemoFile(BytesOf(memo_bytes_.bytes()), header_.memo);
}

Table::Storage Table::StorageOf(const Column& column, bool is_level7) {
  const std::size_t length = column.length;
  const bool is_memo = length == 4 || length == 10;
  switch (column.type) {
    case 'C':
    case 'V': return Storage::kText;
    case 'N':
    case 'F': return Storage::kDigits;
    case 'D': return length == 8 ? Storage::kDate : Storage::kText;
    case 'L': return length == 1 ? Storage::kTruth : Storage::kText;
    case 'M': return is_memo ? Storage::kMemo : Storage::kText;
    case 'G':
    case 'P':
    case 'W': return is_memo ? Storage::kBinaryMemo : Storage::kBytes;
    case 'B': return length == 8 ? Storage::kDouble : is_memo ? Storage::kBinaryMemo : Storage::kBytes;
    case 'I':
    case '+': return length == 4 ? Storage::kWhole : Storage::kDigits;
    case 'Y': return length == 8 ? Storage::kCurrency : Storage::kDigits;
    case 'O': return length == 8 ? Storage::kDouble : Storage::kUnknown;
    case 'T': return length == 8 ? Storage::kTimestamp : Storage::kText;
    case '@':
      if (length != 8) return Storage::kUnknown;
      return is_level7 ? Storage::kLevel7Timestamp : Storage::kTimestamp;
    case 'Q': return Storage::kBytes;
    default: return Storage::kUnknown;
  }
}

bool Table::IsBlank(Storage storage, Bytes field, bool is_level7) {
  const std::string_view stored = CharactersOf(field);
  switch (storage) {
    case Storage::kDigits: return Trim(stored).empty();
    case Storage::kDate: return stored.find_first_not_of(std::string_view(" 0\0", 3)) == std::string_view::npos;
    case Storage::kTruth: return IsPadding(stored.front()) || stored.front() == '?';
    case Storage::kMemo:
    case Storage::kBinaryMemo: return MemoBlock(field) == 0;
    case Storage::kTimestamp:
    case Storage::kLevel7Timestamp:
    case Storage::kUnknown: return Trim(stored).empty();
    case Storage::kWhole:
    case Storage::kDouble: return is_level7 && IsNothing(stored);
    default: return false;
  }
}

void Table::FindLiveRecords() {
  std::size_t count = 0;
  for (std::size_t record = 0; record < header_.record_count; ++record) {
    const char mark = *records_.Record(record);
    if (mark == kEndOfFile) break;
    ++present_count_;
    if (mark != kDeleted && !IsPadding(mark) && odd_count_++ == 0) first_odd_ = record;
    if (mark == kDeleted) {
      if (count == record) {  // the first deleted one: from here on row and record differ
        for (std::size_t before = 0; before < record; ++before) {
          live_.push_back(static_cast<std::uint32_t>(before));
        }
      }
      continue;
    }
    if (count != record) live_.push_back(static_cast<std::uint32_t>(record));
    ++count;
  }
  live_count_ = count;
}

// Nobody can tell what letters a table's bytes beyond ASCII stand for whose language mark is unknown. Memos,
// which need not be read, do not count.
void Table::RequireKnownLetters() {
  const auto is_ascii = [](std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  };
  bool all_ascii = true;
  for (const Column& column : header_.columns) all_ascii = all_ascii && is_ascii(column.name);
  for (std::size_t record = 0; record < present_count_ && all_ascii; ++record) {
    const char* const bytes = records_.Record(record);
    for (const Column& column : header_.columns) {
      all_ascii = all_ascii && (column.type != 'C' || is_ascii({bytes + column.offset, column.length}));
    }
  }
  if (all_ascii) return;
  char mark[8];
  std::snprintf(mark, sizeof mark, "0x%02X", static_cast<unsigned>(*header_.unknown_language));
  throw FormatError(
      "Die Tabelle nennt einen Zeichensatz, der nicht bekannt ist (Kennung " + std::string(mark) +
          "); der Schlüssel CodePage der Verbindung legt ihn fest, hinter dem Ordner zum Beispiel mit "
          "\";CodePage=852\"",
      {.file = path_, .offset = kLanguageMark});
}

// What tells that records are missing; empty where none is.
std::string Table::Damage() const {
  const auto counted = [](std::size_t count) {
    return std::to_string(count) + (count == 1 ? " Satz" : " Sätze");
  };
  if (present_count_ < header_.told_count) {
    return "ihr Kopf nennt " + counted(header_.told_count) + ", in der Datei sind nur " +
           std::to_string(present_count_);
  }
  if (header_.untold_count > 0) {
    return "ihr Kopf nennt nur " + counted(header_.told_count) + ", in der Datei folgen noch " +
           std::to_string(header_.untold_count);
  }
  if (odd_count_ > 0) {
    return "bei " + std::to_string(odd_count_) + " von " + counted(header_.told_count) +
           " ist das Löschkennzeichen falsch, zuerst bei Satz " + std::to_string(first_odd_ + 1);
  }
  return "";
}

std::optional<FormatError> Table::Loss() const {
  const std::string damage = Damage();
  if (damage.empty()) return std::nullopt;
  return FormatError(
      "Die Tabelle ist beschädigt: " + damage + ". Was zu lesen ist, wird gelesen (" + path_ + ")",
      PlaceOf(odd_count_ > 0 && present_count_ == header_.told_count ? first_odd_ : present_count_));
}

FilePlace Table::PlaceOf(std::size_t record) const {
  return {.file = path_, .offset = header_.first_record + record * header_.record_length, .record = record};
}

bool Table::Flag(std::optional<std::size_t> bit) const {
  if (!bit || *bit / 8 >= header_.null_flags_length) return false;
  return (static_cast<unsigned char>(record_[header_.null_flags + *bit / 8]) >> (*bit % 8) & 1) != 0;
}

std::string_view Table::Stored(std::size_t column) const {
  const Field& field = fields_[column];
  const std::string_view stored(record_ + field.offset, field.length);
  if (stored.empty() || !Flag(header_.columns[column].length_bit)) return stored;
  return stored.substr(0, std::min<std::size_t>(static_cast<unsigned char>(stored.back()), stored.size() - 1));
}

bool Table::IsNull(std::size_t column) const {
  return Flag(header_.columns[column].null_bit) ||
         IsBlank(fields_[column].storage, BytesOf(Stored(column)), header_.is_level7);
}

std::string_view Table::TextOfAnyKind(std::size_t column) const {
  if (Flag(header_.columns[column].null_bit)) return {};
  const Storage storage = fields_[column].storage;
  const std::string_view stored = Stored(column);
  std::string& buffer = buffers_[column];
  if (storage == Storage::kText) return code_page_.Decode(TrimEnd(stored), buffer);
  if (storage == Storage::kDigits) return NumberText(stored, code_page_, buffer);
  try {
    return Convert(column, stored, buffer);
  } catch (const FormatError& error) {
    RaiseInCell(column, error);
  }
}

std::string_view Table::Convert(std::size_t column, std::string_view stored, std::string& buffer) const {
  const Storage storage = fields_[column].storage;
  const Bytes field = BytesOf(stored);
  if (IsBlank(storage, field, header_.is_level7)) return {};
  switch (storage) {
    case Storage::kDate: return code_page_.Decode(DateText(stored, buffer), buffer);
    case Storage::kTruth:
      if (IsTrue(stored.front())) return Keep(buffer, BoolText(true));
      if (IsFalse(stored.front())) return Keep(buffer, BoolText(false));
      return code_page_.Decode(stored, buffer);
    case Storage::kMemo:
    case Storage::kBinaryMemo: return MemoText(storage, field, buffer);
    case Storage::kWhole: return Keep(buffer, WholeNumberText(field, header_.is_level7));
    case Storage::kDouble: return Keep(buffer, DoubleText(field, header_.is_level7));
    case Storage::kCurrency: return Keep(buffer, CurrencyText(field));
    case Storage::kTimestamp: return Keep(buffer, TimestampText(field));
    case Storage::kLevel7Timestamp: return Keep(buffer, Level7TimestampText(field));
    case Storage::kUnknown: RaiseUnknownType(header_.columns[column].type);
    default: return Keep(buffer, BytesText(stored));
  }
}

std::string_view Table::MemoText(Storage storage, Bytes field, std::string& buffer) const {
  if (!missing_memo_.empty()) RaiseMissingMemo(missing_memo_);
  const std::optional<std::uint32_t> block = MemoBlock(field);
  if (!block) RaiseDamaged("ein Verweis auf einen Memotext ist keine Zahl");
  const std::string_view memo = CharactersOf(memo_.Read(*block));
  return storage == Storage::kBinaryMemo ? Keep(buffer, BytesText(memo)) : code_page_.Decode(memo, buffer);
}

void Table::RaiseInCell(std::size_t column, const FormatError& why) const {
  const Storage storage = fields_[column].storage;
  const bool is_memo = storage == Storage::kMemo || storage == Storage::kBinaryMemo;
  const std::size_t record = RecordOf(row_);
  FilePlace place = PlaceOf(record);
  place.column = column;
  if (is_memo && !memo_path_.empty()) {
    place.file = memo_path_;
    place.offset = why.place().offset;
  } else {
    *place.offset += fields_[column].offset;
  }
  std::string text = "Satz " + std::to_string(record + 1) + ", Feld " + names_[column] + ": " +
                     why.Description() + " (" + place.file + ")";
  throw FormatError(std::move(text), std::move(place));
}

}  // namespace kestrel::dbase
