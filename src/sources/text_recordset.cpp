#include "sources/text_recordset.h"

#include <algorithm>
#include <utility>

#include "platform/base/text.h"

namespace kestrel {

namespace {

bool IsOneAsciiCharacter(std::string_view text) {
  return text.size() == 1 && static_cast<unsigned char>(text[0]) < 0x80;
}

}  // namespace

TextRecordset::TextRecordset(TextFile file, std::vector<std::string> column_names, std::string delimiter,
                             std::string qualifier)
    : file_(std::move(file)),
      column_names_(std::move(column_names)),
      decoder_(file_.charset() == TextFile::Charset::kWindows1252, file_.repair_umlauts()) {
  for (std::size_t i = 0; i < column_names_.size(); ++i) {
    if (column_names_[i].empty()) column_names_[i] = UnnamedColumn(i + 1);
  }
  if (IsOneAsciiCharacter(delimiter) && IsOneAsciiCharacter(qualifier) && delimiter != qualifier) {
    rules_ = {delimiter[0], qualifier[0]};
  } else {
    decoded_split_ =
        std::make_unique<DecodedSplit>(DecodedSplit{std::move(delimiter), std::move(qualifier), {}});
  }
  try {
    MoveTo(0);
  } catch (const RuntimeError&) {
    // Without a row that can be read, the set is broken off from the beginning; BrokenOff has the reason.
  }
}

std::string_view TextRecordset::ColumnName(std::size_t column) const {
  if (column >= column_names_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  return column_names_[column];
}

void TextRecordset::MoveTo(std::size_t row) {
  is_split_ = false;
  value_count_ = 0;
  // Where the record cannot be had, none behind it can: that is the end.
  row_ = file_.record_count();
  if (row == row_) return;
  try {
    record_ = file_.Record(row);
  } catch (const RuntimeError& error) {
    failure_ = error;
    throw;
  }
  row_ = row;
}

std::optional<RuntimeError> TextRecordset::BrokenOff() const { return IsEof() ? failure_ : std::nullopt; }

void TextRecordset::MoveFirst() {
  failure_.reset();
  MoveTo(0);
}

void TextRecordset::MoveNext() {
  if (IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  MoveTo(row_ + 1);
}

std::int64_t TextRecordset::Bookmark() const {
  if (IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return static_cast<std::int64_t>(row_);
}

void TextRecordset::GoTo(std::int64_t bookmark) {
  if (bookmark < 0 || bookmark >= RecordCount()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  failure_.reset();
  MoveTo(static_cast<std::size_t>(bookmark));
}

bool TextRecordset::IsNull(std::size_t column) const {
  RequireValue(column);
  return false;
}

void TextRecordset::RequireValue(std::size_t column) const {
  if (column >= column_names_.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
  if (IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
}

std::string_view TextRecordset::PrepareTextAt(std::size_t column) const {
  if (!is_split_) {
    RequireValue(column);
    SplitRecord();
  }
  if (column >= value_count_) {
    RequireValue(column);
    if (decoded_split_ == nullptr || column >= kValueSlots) return {};
    return decoded_split_->slots[column];
  }
  if (!cuts_.IsMarked(column)) return cuts_.Text(column, rules_.qualifier);
  if (!has_text_[column]) {
    texts_[column] = WithoutQualifiers(cuts_.Raw(column), rules_.qualifier, scratch_);
    has_text_[column] = true;
  }
  return texts_[column];
}

void TextRecordset::SplitRecord() const {
  scratch_.Reset();
  is_split_ = true;
  if (decoded_split_ != nullptr) {
    DecodedSplit& split = *decoded_split_;
    return SplitTextLine(file_.Decode(record_), split.delimiter, split.qualifier, split.slots);
  }
  has_text_.reset();
  cuts_.Cut(decoder_.Decode(record_), rules_, std::min(column_names_.size(), kValueSlots));
  value_count_ = cuts_.count();
}

TextSurvey TextRecordset::Survey() {
  TextSurvey survey = file_.Survey();
  MoveFirst();
  return survey;
}

std::optional<std::size_t> TextRecordset::ValueCount() const {
  if (IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  if (decoded_split_ != nullptr) return std::nullopt;
  ValueCuts cuts;
  cuts.Cut(record_, rules_, kMostCounted);
  const std::size_t count = cuts.count();
  if (count >= column_names_.size()) return count;
  return record_.ends_with(rules_.delimiter) ? count + 1 : count;
}

std::string TextRecordset::RawRecord() const {
  if (IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
  return file_.DecodeAsItStands(record_);
}

}  // namespace kestrel
