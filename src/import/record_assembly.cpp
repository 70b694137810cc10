#include "import/record_assembly.h"

#include <limits>
#include <utility>

#include "platform/base/text.h"

namespace kestrel {

namespace {

// Columns that were never set read as nothing assigned: 0, off.
std::int64_t WholeNumber(const MemoryRecordset& list, std::size_t column) {
  return list.IsNull(column) ? 0 : list.ValueAt(column).ToInteger();
}

}  // namespace

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

  for (Row& row : rows_) {
    if (row.size_error) errors_.Count(*row.size_error, ValueOf(row, *source));
    const auto fill = [&] {
      if (row.option == kConstantValue) {
        FillConstant(row, *source, *record);
      } else if (row.option == kImportField && !row.destination.empty()) {
        FillImportField(row, *source, image, *record);
      }
    };
    Trap(fill, [&](const RuntimeError& error) { errors_.Count(error, ValueOf(row, *source)); });
  }
  return same_object;
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
  list_ = list;
  // Both describe columns of the old rows.
  source_.reset();
  record_.reset();
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
  return row;
}

bool RecordAssembly::IsReady(const Row& constant) {
  if (constant.size < 0 || !IsCompatible(constant.destination, constant.kind)) return false;
  const auto text = ShapeByType(constant.destination, constant.kind, constant.size);
  return text && text->size() == constant.destination.size();
}

void RecordAssembly::ResolveSource(const RecordsetPtr& source) {
  for (Row& row : rows_) row.source_column = source->FindColumn(row.destination);
  source_ = source;
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
    for (Row& row : rows_) row.record_column = record->FindColumn(row.field);
  }
  record_ = record;
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

void RecordAssembly::Forget() {
  source_.reset();
  record_.reset();
}

void RecordAssembly::FillConstant(const Row& row, const Recordset& source, Recordset& record) {
  if (row.is_ready) {
    Write(row, row.destination, record);
  } else if (!IsCompatible(row.destination, row.kind)) {
    errors_.CountTypeMismatch(ValueOf(row, source), row.destination);
  } else if (const auto text = ShapeByType(row.destination, row.kind, row.size)) {
    if (text->size() < row.destination.size()) [[unlikely]]
      NoteCut(row, row.destination, *text);
    Write(row, *text, record);
  }
}

void RecordAssembly::FillImportField(Row& row, const Recordset& source,
                                     const std::shared_ptr<const ProfileImage>& image, Recordset& record) {
  // Looked at once: a second look may render the value anew, and the first text is gone then.
  const std::string_view raw =
      source.TextAt(row.source_column ? *row.source_column : source.RequireColumn(row.destination));
  std::string_view value = raw;
  std::optional<std::string_view> translation;
  if (row.translation) translation = row.translation->Table(image).Find(value);
  if (translation) value = *translation;

  const bool compatible = IsCompatible(value, row.kind);
  if (!compatible) {
    errors_.CountTypeMismatch({.field = row.field, .source_column = row.destination, .raw_value = raw}, value);
  }
  if (row.date != nullptr) {
    if (const auto date = ConvertDate(value, *row.date)) {
      Write(row, *date, record);
      return;
    }
  }
  if (!compatible) return;
  const auto text =
      translation ? ShapeTranslated(value, row.field_typ, row.size) : ShapeByType(value, row.kind, row.size);
  if (!text) return;
  if (text->size() < value.size()) [[unlikely]]
    NoteCut(row, value, *text);
  Write(row, *text, record);
}

// Blanks at its end are not missed.
void RecordAssembly::NoteCut(const Row& row, std::string_view value, std::string_view shaped) {
  if (IsCut(value, shaped)) errors_.NoteCut(row.field);
}

void RecordAssembly::Write(const Row& row, std::string_view text, Recordset& record) {
  record.SetText(row.record_column ? *row.record_column : record.RequireColumn(row.field), text);
}

}  // namespace kestrel
