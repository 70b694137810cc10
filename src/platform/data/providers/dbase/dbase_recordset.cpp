#include "platform/data/providers/dbase/dbase_recordset.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <utility>

#include "formats/dbase/binary_values.h"
#include "formats/dbase/stored_text.h"
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

Storage StorageOf(const Column& column, bool is_level7) {
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
  throw RuntimeError(ErrorNumber::kDatabase,
                     "Spalten der Art \"" + std::string(1, type) + "\" können nicht gelesen werden");
}

[[noreturn]] void RaiseMissingMemo(const std::string& name) {
  throw RuntimeError(ErrorNumber::kDatabase,
                     "Die Memodatei " + name + " fehlt; sie gehört in denselben Ordner wie die Tabelle");
}

// Nothing but NULs: how tables of level 7 store that a binary number is missing.
bool IsNothing(std::string_view stored) { return stored.find_first_not_of('\0') == std::string_view::npos; }

bool IsBlank(Storage storage, Bytes field, bool is_level7) {
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

}  // namespace

CodePage ChooseCodePage(const Header& header, const CodePageChoice& choice) {
  return CodePage(choice.forced.value_or(header.code_page.value_or(choice.fallback.value_or(kUsualCodePage))));
}

std::vector<std::string> ColumnNames(const Header& header, const CodePage& code_page) {
  std::vector<std::string> names;
  names.reserve(header.columns.size());
  for (const Column& column : header.columns) names.push_back(code_page.ToText(column.name));
  return names;
}

RecordsetPtr DbaseRecordset::Open(TableFiles files, const CodePageChoice& choice) {
  const CodePage code_page = ChooseCodePage(files.header, choice);
  RecordWindow records(std::move(files.table), files.header);
  auto content = std::make_unique<Content>(Content{std::move(files.header),
                                                   code_page,
                                                   std::move(records),
                                                   std::move(files.memo),
                                                   MemoFile(),
                                                   std::move(files.missing_memo),
                                                   std::move(files.table_path),
                                                   std::move(files.memo_path),
                                                   {}});
  if (content->header.memo != MemoKind::kNone && content->missing_memo.empty()) {
    content->memo = MemoFile(BytesOf(content->memo_bytes.bytes()), content->header.memo);
  }
  FindLiveRecords(*content);
  if (content->header.unknown_language && !choice.forced && !choice.fallback) RequireKnownLetters(*content);
  content->records.RequireOneState();
  const std::shared_ptr<DbaseRecordset> rows(new DbaseRecordset(std::move(content)));
  rows->MoveFirst();
  return rows;
}

void DbaseRecordset::FindLiveRecords(Content& content) {
  std::size_t count = 0;
  for (std::size_t record = 0; record < content.header.record_count; ++record) {
    const char mark = *content.records.Record(record);
    if (mark == kEndOfFile) break;
    ++content.present_count;
    if (mark != kDeleted && !IsPadding(mark) && content.odd_count++ == 0) content.first_odd = record;
    if (mark == kDeleted) {
      if (count == record) {  // the first deleted one: from here on row and record differ
        for (std::size_t before = 0; before < record; ++before) {
          content.live.push_back(static_cast<std::uint32_t>(before));
        }
      }
      continue;
    }
    if (count != record) content.live.push_back(static_cast<std::uint32_t>(record));
    ++count;
  }
  content.live_count = count;
}

// Nobody can tell what letters a table's bytes beyond ASCII stand for whose language mark is unknown. Memos,
// which need not be read, do not count.
void DbaseRecordset::RequireKnownLetters(Content& content) {
  const auto is_ascii = [](std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  };
  bool all_ascii = true;
  for (const Column& column : content.header.columns) all_ascii = all_ascii && is_ascii(column.name);
  for (std::size_t record = 0; record < content.present_count && all_ascii; ++record) {
    const char* const bytes = content.records.Record(record);
    for (const Column& column : content.header.columns) {
      all_ascii = all_ascii && (column.type != 'C' || is_ascii({bytes + column.offset, column.length}));
    }
  }
  if (all_ascii) return;
  char mark[8];
  std::snprintf(mark, sizeof mark, "0x%02X", static_cast<unsigned>(*content.header.unknown_language));
  throw RuntimeError(
      ErrorNumber::kDatabase,
      "Die Tabelle nennt einen Zeichensatz, der nicht bekannt ist (Kennung " + std::string(mark) +
          "); der Schlüssel CodePage der Verbindung legt ihn fest, hinter dem Ordner zum Beispiel mit "
          "\";CodePage=852\"");
}

// What tells that records are missing; empty where none is.
std::string DbaseRecordset::DamageOf(const Content& content) {
  const Header& header = content.header;
  const auto counted = [](std::size_t count) {
    return std::to_string(count) + (count == 1 ? " Satz" : " Sätze");
  };
  if (content.present_count < header.told_count) {
    return "ihr Kopf nennt " + counted(header.told_count) + ", in der Datei sind nur " +
           std::to_string(content.present_count);
  }
  if (header.untold_count > 0) {
    return "ihr Kopf nennt nur " + counted(header.told_count) + ", in der Datei folgen noch " +
           std::to_string(header.untold_count);
  }
  if (content.odd_count > 0) {
    return "bei " + std::to_string(content.odd_count) + " von " + counted(header.told_count) +
           " ist das Löschkennzeichen falsch, zuerst bei Satz " + std::to_string(content.first_odd + 1);
  }
  return "";
}

DbaseRecordset::DbaseRecordset(std::unique_ptr<Content> content)
    : IndexedRecordset(ColumnNames(content->header, content->code_page), content->live_count),
      content_(std::move(content)),
      live_(content_->live.empty() ? nullptr : content_->live.data()),
      buffers_(content_->header.columns.size()) {
  for (const Column& column : content_->header.columns) {
    const bool is_fixed = column.length > 0 && !column.null_bit && !column.length_bit;
    fields_.push_back(
        Field{column.offset, column.length, StorageOf(column, content_->header.is_level7), is_fixed});
  }
  if (const std::string damage = DamageOf(*content_); !damage.empty()) {
    EndsEarly(RuntimeError(ErrorNumber::kDatabase, "Die Tabelle ist beschädigt: " + damage +
                                                       ". Was zu lesen ist, wird gelesen (" +
                                                       content_->table_path + ")"),
              content_->live_count + content_->header.told_count - content_->present_count);
  }
}

void DbaseRecordset::MoveFirst() {
  IndexedRecordset::MoveFirst();
  Fetch();
}

void DbaseRecordset::MoveNext() {
  IndexedRecordset::MoveNext();
  Fetch();
}

void DbaseRecordset::GoTo(std::int64_t bookmark) {
  IndexedRecordset::GoTo(bookmark);
  Fetch();
}

void DbaseRecordset::Fetch() {
  if (IsEof() || content_->records.Present(RecordOf(row())) != nullptr) return;
  Trap([this] { Record(row()); }, [this](const RuntimeError& error) { EndHere(error); });
}

bool DbaseRecordset::Flag(const char* record, std::optional<std::size_t> bit) const {
  const Header& header = content_->header;
  if (!bit || *bit / 8 >= header.null_flags_length) return false;
  return (static_cast<unsigned char>(record[header.null_flags + *bit / 8]) >> (*bit % 8) & 1) != 0;
}

std::string_view DbaseRecordset::Stored(const char* record, std::size_t column) const {
  const Field& field = fields_[column];
  const std::string_view stored(record + field.offset, field.length);
  if (stored.empty() || !Flag(record, content_->header.columns[column].length_bit)) return stored;
  return stored.substr(0, std::min<std::size_t>(static_cast<unsigned char>(stored.back()), stored.size() - 1));
}

bool DbaseRecordset::IsNullAt(std::size_t row, std::size_t column) const {
  const char* const record = Record(row);
  return Flag(record, content_->header.columns[column].null_bit) ||
         IsBlank(fields_[column].storage, BytesOf(Stored(record, column)), content_->header.is_level7);
}

// Every cell comes by here, so what is common ends in at most one call and all else is left to others.
std::string_view DbaseRecordset::TextAt(std::size_t column) const {
  RequireCell(column);
  const char* const record = content_->records.Present(RecordOf(row()));
  const Field& field = fields_[column];
  if (record == nullptr || !field.is_fixed) [[unlikely]]
    return TextAt(row(), column);
  const std::string_view stored(record + field.offset, field.length);
  if (field.storage == Storage::kText) return PaddedText(stored, content_->code_page, buffers_[column]);
  if (field.storage == Storage::kDigits) return NumberText(stored, content_->code_page, buffers_[column]);
  return Convert(column, stored, buffers_[column]);
}

std::string_view DbaseRecordset::TextAt(std::size_t row, std::size_t column) const {
  const char* const record = Record(row);
  if (Flag(record, content_->header.columns[column].null_bit)) return {};
  return Convert(column, Stored(record, column), buffers_[column]);
}

std::string_view DbaseRecordset::Convert(std::size_t column, std::string_view stored,
                                         std::string& buffer) const {
  const Storage storage = fields_[column].storage;
  if (storage == Storage::kText) return content_->code_page.Decode(TrimEnd(stored), buffer);
  if (storage == Storage::kDigits) return NumberText(stored, content_->code_page, buffer);
  try {
    return ConvertOther(column, stored, buffer);
  } catch (const RuntimeError& error) {
    RaiseInCell(column, error);
  }
}

std::string_view DbaseRecordset::ConvertOther(std::size_t column, std::string_view stored,
                                              std::string& buffer) const {
  const Storage storage = fields_[column].storage;
  const Bytes field = BytesOf(stored);
  if (IsBlank(storage, field, content_->header.is_level7)) return {};
  switch (storage) {
    case Storage::kDate: return content_->code_page.Decode(DateText(stored, buffer), buffer);
    case Storage::kTruth:
      if (IsTrue(stored.front())) return Keep(buffer, BoolText(true));
      if (IsFalse(stored.front())) return Keep(buffer, BoolText(false));
      return content_->code_page.Decode(stored, buffer);
    case Storage::kMemo:
    case Storage::kBinaryMemo: return MemoText(column, field, buffer);
    case Storage::kWhole: return Keep(buffer, WholeNumberText(field, content_->header.is_level7));
    case Storage::kDouble: return Keep(buffer, DoubleText(field, content_->header.is_level7));
    case Storage::kCurrency: return Keep(buffer, CurrencyText(field));
    case Storage::kTimestamp: return Keep(buffer, TimestampText(field));
    case Storage::kLevel7Timestamp: return Keep(buffer, Level7TimestampText(field));
    case Storage::kUnknown: RaiseUnknownType(content_->header.columns[column].type);
    default: return BytesAsText(field, buffer);
  }
}

std::string_view DbaseRecordset::MemoText(std::size_t column, Bytes field, std::string& buffer) const {
  if (!content_->missing_memo.empty()) RaiseMissingMemo(content_->missing_memo);
  const std::optional<std::uint32_t> block = MemoBlock(field);
  if (!block) RaiseDamaged("ein Verweis auf einen Memotext ist keine Zahl");
  const Bytes memo = content_->memo.Read(*block);
  if (fields_[column].storage == Storage::kBinaryMemo) return BytesAsText(memo, buffer);
  return content_->code_page.Decode(CharactersOf(memo), buffer);
}

void DbaseRecordset::RaiseInCell(std::size_t column, const RuntimeError& why) const {
  const Storage storage = fields_[column].storage;
  const bool is_memo = storage == Storage::kMemo || storage == Storage::kBinaryMemo;
  const std::string& path =
      is_memo && !content_->memo_path.empty() ? content_->memo_path : content_->table_path;
  throw RuntimeError(ErrorNumber::kDatabase, "Satz " + std::to_string(RecordOf(row()) + 1) + ", Feld " +
                                                 std::string(ColumnName(column)) + ": " + why.Description() +
                                                 " (" + path + ")");
}

std::string_view DbaseRecordset::BytesAsText(Bytes bytes, std::string& buffer) const {
  return Keep(buffer, BytesText(CharactersOf(bytes)));
}

}  // namespace kestrel::dbase
