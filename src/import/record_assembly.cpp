#include "import/record_assembly.h"

#include <algorithm>
#include <limits>
#include <typeinfo>
#include <utility>

#include "platform/base/number.h"
#include "platform/base/text.h"

namespace kestrel {

namespace {

// Columns that were never set read as nothing assigned: 0, off.
std::int64_t WholeNumber(const MemoryRecordset& list, std::size_t column) {
  return list.IsNull(column) ? 0 : list.ValueAt(column).ToInteger();
}

// With what the look at a number tells.
BorrowedText Known(std::string_view text, FieldKind kind) {
  const auto decimal = kind == FieldKind::kNumeric ? ReadPlainDecimal(text) : std::nullopt;
  if (!decimal) return {text};
  return {text, decimal->number, static_cast<std::uint8_t>(decimal->decimals), KnownText::kDecimal};
}

}  // namespace

// Writes into any record.
struct RecordAssembly::Copied {
  Recordset& record;
  BorrowedText value;

  template <class Source>
  bool WriteShortly(const Row&, const Source&, RecordAssembly&) {
    return false;
  }
  BorrowedText& RoomFor(const Row&) { return value = {}; }
  void Write(const Row& row) { record.SetText(ColumnFor(row, record), value.text); }
};

// Into one that borrows: a value is made where it stays, as to write and copy it at once would take longer than making
// it. What is there is the column's only from Write on.
struct RecordAssembly::Lent {
  BorrowingRecordset& record;
  BorrowedText no_column;

  // False where the row has no short way, or the value needs more; nothing is written then.
  template <class Source>
  bool WriteShortly(const Row& row, const Source& source, RecordAssembly& assembly) {
    if (row.way == ShortWay::kNone) return false;
    BorrowedText& value = record.CellFor(*row.record_column);
    if (row.way == ShortWay::kConstant) {
      value = row.value;
    } else if (const std::string_view text = source.TextAt(*row.source_column); row.way == ShortWay::kText) {
      if (row.plain_size < 0) return false;
      const std::string_view left = Left(text, static_cast<std::size_t>(row.plain_size));
      value.text = row.is_trimmed ? TrimBlanks(left) : left;
      value.known = KnownText::kNothing;
      if (left.size() < text.size()) assembly.NoteCut(row, text, value.text);
    } else {
      const auto decimal = ReadPlainDecimal(text);
      if (!decimal) return false;
      // One by one: see above.
      value.text = text;
      value.number = decimal->number;
      value.decimals = static_cast<std::uint8_t>(decimal->decimals);
      value.known = KnownText::kDecimal;
    }
    record.Borrow(*row.record_column);
    return true;
  }
  BorrowedText& RoomFor(const Row& row) {
    return row.record_column ? record.CellFor(*row.record_column) : no_column;
  }
  void Write(const Row& row) { record.Borrow(ColumnFor(row, record)); }
};

bool RecordAssembly::Fill(const RecordsetPtr& source, const RecordsetPtr& record) {
  if (source == nullptr || record == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  if (list_ == nullptr || list_ != session_.AssignmentList) ResolveAssignments();
  if (source_ != source) ResolveSource(source);
  // A record set keeps its columns while it has rows.
  const bool same_object = record_ == record;
  if (!same_object || record->ColumnCount() != record_columns_.size()) ResolveRecord(record);

  // One look at the specification a record, so that a change made by the import class is seen.
  std::shared_ptr<const ProfileImage> image;
  if (translates_) image = profiles_.Require(session_.SpecFile);

  if (borrower_ != nullptr && text_source_ != nullptr) {
    MakeAll(*text_source_, image, Lent{*borrower_, {}});
  } else {
    MakeAll(*source, image, Copied{*record, {}});
  }
  return same_object;
}

template <class Source, class Target>
void RecordAssembly::MakeAll(const Source& source, const Image& image, Target target) {
  const auto has_size_error = [](const Row& row) { return row.is_special && row.size_error; };
  for (auto row = rows_.begin(); row != rows_.end(); ++row) {
    if (has_size_error(*row)) [[unlikely]]
      errors_.Count(*row->size_error, ValueOf(*row, source));
    const auto fill = [&] {
      if (target.WriteShortly(*row, source, *this)) return;
      if (Make(*row, source, image, target.RoomFor(*row))) target.Write(*row);
    };
    // A trap for each row would take as long as most of them.
    const auto fill_on = [&] {
      fill();
      for (; row + 1 != rows_.end() && !has_size_error(row[1]); fill()) ++row;
    };
    Trap(fill_on, [&](const RuntimeError& error) { errors_.Count(error, ValueOf(*row, source)); });
  }
}

// --- What the records share ---------------------------------------------------------------------

void RecordAssembly::ResolveAssignments() {
  const std::shared_ptr<MemoryRecordset> list = session_.AssignmentList;
  if (list == nullptr) throw RuntimeError(ErrorNumber::kObjectNotSet);
  rows_.clear();
  translates_ = false;
  for (list->MoveFirst(); !list->IsEof(); list->MoveNext()) {
    rows_.push_back(ReadRow(*list));
    translates_ = translates_ || rows_.back().translation.has_value();
  }
  // Now that they stay where they are.
  for (Row& row : rows_) {
    if (row.is_ready) row.value = Known(row.destination, row.kind);
  }
  list_ = list;
  // Both describe columns of the old rows.
  Forget();
  record_columns_.clear();
}

RecordAssembly::Row RecordAssembly::ReadRow(const MemoryRecordset& list) const {
  Row row;
  row.field = list.TextAt(kSourceName);
  row.destination = ReplaceAll(list.TextAt(kDestinationName), "\"", "");
  row.field_typ = list.TextAt(kFieldTyp);
  row.kind = KindOfField(row.field_typ);
  row.option = WholeNumber(list, kOption);
  const bool is_assigned = row.option == kImportField || row.option == kConstantValue;
  constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max();
  row.size = list.IsNull(kSize) ? kNoLimit : list.ValueAt(kSize).ToInteger();
  // The run keeps sizes in 16 bits. A greater one is an error of every record, but cuts nothing; so is one that
  // an assigned field lacks.
  constexpr std::int64_t kGreatestSize = std::numeric_limits<std::int16_t>::max();
  const auto size_error = [&row](ErrorNumber number, const std::string& size) {
    return RuntimeError(number,
                        std::string(DescriptionOf(number)) + ": Größe" + size + " des Feldes " + row.field);
  };
  if (list.IsNull(kSize)) {
    if (is_assigned) row.size_error = size_error(ErrorNumber::kInvalidUseOfNull, "");
  } else if (row.size > kGreatestSize || row.size < std::numeric_limits<std::int16_t>::min()) {
    row.size_error = size_error(ErrorNumber::kOverflow, " " + std::to_string(row.size));
    row.size = kNoLimit;
  }
  if (row.option == kImportField) {
    if (WholeNumber(list, kTranslate) != 0) row.translation.emplace(row.field);
    row.date = FindDatePattern(list.TextAt(kFormat));
  }
  row.is_ready = row.option == kConstantValue && IsReady(row);
  row.is_special = row.translation || row.size_error;
  return row;
}

bool RecordAssembly::IsReady(const Row& constant) {
  if (constant.size < 0 || !IsCompatible(constant.destination, constant.kind)) return false;
  const auto text = ShapeByType(constant.destination, constant.kind, constant.size);
  return text && text->size() == constant.destination.size();
}

void RecordAssembly::ResolveSource(const RecordsetPtr& source) {
  for (Row& row : rows_) {
    row.source_column = source->FindColumn(row.destination);
    ResolveShortWay(row);
  }
  source_ = source;
  text_source_ = dynamic_cast<const TextRecordset*>(source.get());
}

void RecordAssembly::ResolveShortWay(Row& row) {
  row.way = ShortWay::kNone;
  if (row.is_special || !row.record_column) return;
  if (row.option == kConstantValue && row.is_ready) row.way = ShortWay::kConstant;
  if (row.option != kImportField || row.destination.empty() || row.date != nullptr || !row.source_column)
    return;
  row.way = row.kind == FieldKind::kNumeric ? ShortWay::kNumber : ShortWay::kText;
  // A text has as many bytes as characters at least.
  row.plain_size = row.kind == FieldKind::kVarchar ? row.size : std::numeric_limits<std::int64_t>::max();
  row.is_trimmed = row.kind != FieldKind::kOther;
}

bool RecordAssembly::HasRecordShape(const Recordset& record) const {
  if (record.ColumnCount() != record_columns_.size()) return false;
  for (std::size_t column = 0; column < record_columns_.size(); ++column) {
    if (record.ColumnName(column) != record_columns_[column]) return false;
  }
  return true;
}

void RecordAssembly::ResolveRecord(const RecordsetPtr& record) {
  // Import classes may deliver a new object of the same shape for every record.
  if (record_columns_.empty() || !HasRecordShape(*record)) {
    record_columns_.clear();
    for (std::size_t column = 0; column < record->ColumnCount(); ++column) {
      record_columns_.emplace_back(record->ColumnName(column));
    }
    for (Row& row : rows_) {
      row.record_column = record->FindColumn(row.field);
      ResolveShortWay(row);
    }
  }
  record_ = record;
  const Recordset& shape = *record;
  const bool borrows = typeid(shape) == typeid(BorrowingRecordset);
  borrower_ = borrows ? static_cast<BorrowingRecordset*>(record.get()) : nullptr;
}

// --- One field ----------------------------------------------------------------------------------

// Only for errors, so that a value without one costs nothing.
FieldValue RecordAssembly::ValueOf(const Row& row, const Recordset& source) {
  FieldValue value{.field = row.field};
  if (row.option == kConstantValue) value.raw_value = row.destination;
  if (row.option == kImportField) {
    value.source_column = row.destination;
    // A value that cannot be read is the error itself.
    const auto read = [&] {
      if (row.source_column) value.raw_value = source.TextAt(*row.source_column);
    };
    Trap(read, [](const RuntimeError&) {});
  }
  return value;
}

FieldValue RecordAssembly::ValueOf(std::string_view field) const {
  for (const Row& row : rows_) {
    if (source_ != nullptr && EqualsIgnoringCase(row.field, field)) return ValueOf(row, *source_);
  }
  return {.field = field};
}

std::optional<std::size_t> RecordAssembly::RowOf(std::string_view field) const {
  if (source_ == nullptr) return std::nullopt;
  const auto fills = [&](const Row& row) {
    return row.field == field && (row.option == kImportField || row.option == kConstantValue);
  };
  const auto found = std::ranges::find_if(rows_, fills);
  if (found == rows_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - rows_.begin());
}

std::string_view RecordAssembly::Foresee(std::size_t index, const Recordset& source) {
  Row& row = rows_[index];
  if (row.option == kConstantValue) {
    return ShapeByType(row.destination, row.kind, row.size).value_or(std::string_view());
  }
  if (!row.source_column) return {};
  const std::string_view value = source.TextAt(*row.source_column);
  if (row.translation) {
    const auto translation = row.translation->Table(profiles_.Require(session_.SpecFile)).Find(value);
    if (translation) return ShapeTranslated(*translation, row.field_typ, row.size).value_or(std::string_view());
  }
  return ShapeByType(value, row.kind, row.size).value_or(std::string_view());
}

void RecordAssembly::Forget() {
  source_.reset();
  text_source_ = nullptr;
  record_.reset();
  borrower_ = nullptr;
}

bool RecordAssembly::MakeConstant(const Row& row, BorrowedText& value) {
  if (row.is_ready) {
    value = row.value;
    return true;
  }
  if (!IsCompatible(row.destination, row.kind)) {
    errors_.CountTypeMismatch({.field = row.field, .raw_value = row.destination}, row.destination);
    return false;
  }
  const auto text = ShapeByType(row.destination, row.kind, row.size);
  if (!text) return false;
  if (text->size() < row.destination.size()) NoteCut(row, row.destination, *text);
  value = {*text};
  return true;
}

template <class Source>
bool RecordAssembly::MakeImported(Row& row, const Source& source, const Image& image, BorrowedText& value) {
  // Looked at once: a second look may render the value anew, and the first text is gone then.
  const std::string_view raw =
      source.TextAt(row.source_column ? *row.source_column : source.RequireColumn(row.destination));
  std::string_view text = raw;
  std::optional<std::string_view> translation;
  if (row.is_special && row.translation) translation = row.translation->Table(image).Find(raw);
  if (translation) text = *translation;

  const bool is_number = row.kind == FieldKind::kNumeric && !text.empty();
  const std::optional<PlainDecimal> decimal = is_number ? ReadPlainDecimal(text) : std::nullopt;
  const bool compatible = decimal || !is_number || IsNumeric(text);
  if (!compatible) [[unlikely]]
    errors_.CountTypeMismatch({.field = row.field, .source_column = row.destination, .raw_value = raw}, text);
  if (row.date != nullptr && ConvertDate(text, *row.date, row.stored_date)) {
    value.text = {row.stored_date.text.data(), row.stored_date.text.size()};
    value.number = row.stored_date.day;
    value.known = KnownText::kDay;
    return true;
  }
  if (!compatible) return false;
  const auto shaped =
      translation ? ShapeTranslated(text, row.field_typ, row.size) : ShapeByType(text, row.kind, row.size);
  if (!shaped) return false;
  if (shaped->size() < text.size()) [[unlikely]]
    NoteCut(row, text, *shaped);
  value.text = *shaped;
  value.known = KnownText::kNothing;
  if (decimal) {
    value.number = decimal->number;
    value.decimals = static_cast<std::uint8_t>(decimal->decimals);
    value.known = KnownText::kDecimal;
  }
  return true;
}

template <class Source>
bool RecordAssembly::Make(Row& row, const Source& source, const Image& image, BorrowedText& value) {
  if (row.option == kConstantValue) return MakeConstant(row, value);
  return row.option == kImportField && !row.destination.empty() && MakeImported(row, source, image, value);
}

// Blanks at its end are not missed.
void RecordAssembly::NoteCut(const Row& row, std::string_view value, std::string_view shaped) {
  if (IsCut(value, shaped)) errors_.NoteCut(row.field);
}

std::size_t RecordAssembly::ColumnFor(const Row& row, const Recordset& record) {
  return row.record_column ? *row.record_column : record.RequireColumn(row.field);
}

}  // namespace kestrel
