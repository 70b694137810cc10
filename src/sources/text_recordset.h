// The records of a text file. A record is cut only when one of its values is looked at.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/recordset.h"
#include "sources/text_file.h"
#include "sources/text_source.h"
#include "sources/text_split.h"
#include "sources/text_survey.h"
#include "sources/text_values.h"

namespace kestrel {

class TextRecordset final : public Recordset, public TextFacts {
 public:
  // `delimiter` and `qualifier` as SplitTextLine takes them. At the first record, or at the end.
  TextRecordset(TextFile file, std::vector<std::string> column_names, std::string delimiter,
                std::string qualifier);

  std::size_t ColumnCount() const override { return column_names_.size(); }
  std::string_view ColumnName(std::size_t column) const override;
  bool IsBof() const override { return file_.record_count() == 0; }
  bool IsEof() const override { return row_ == file_.record_count(); }
  void MoveFirst() override;
  void MoveNext() override;
  std::int64_t RecordCount() const override { return static_cast<std::int64_t>(file_.record_count()); }
  std::optional<RuntimeError> BrokenOff() const override;
  std::optional<FileIdentity> SourceFile() const override { return file_.identity(); }
  std::int64_t Bookmark() const override;
  void GoTo(std::int64_t bookmark) override;
  // The record's characters as they stand, qualifiers included, umlauts not repaired. Raises 3021 away from a row.
  std::string RawRecord() const;
  // What it is read from. A look at its bytes ends the record at hand: MoveFirst or GoTo gets one.
  TextFile& file() { return file_; }
  // Never, as a text file knows no null.
  bool IsNull(std::size_t column) const override;
  std::string_view TextAt(std::size_t column) const override {
    if (column < value_count_ && values_[column].plain) [[likely]] {
      return {values_[column].bytes, values_[column].size};
    }
    return PrepareTextAt(column);
  }
  TextSurvey Survey() override;
  std::optional<std::size_t> ValueCount() const override;

 private:
  // The slow way for lines that SplitLine does not serve.
  struct DecodedSplit {
    std::string delimiter;
    std::string qualifier;
    ValueSlots slots;
  };

  void MoveTo(std::size_t row);
  void RequireValue(std::size_t column) const;
  // Cuts the record or decodes the value, whichever is still to be done.
  std::string_view PrepareTextAt(std::size_t column) const;
  void SplitRecord() const;
  // Fills `values` from the current record; how many it has.
  std::size_t Split(std::span<RawValue> values) const;
  // The bytes of the current record.
  std::string_view RecordText() const;
  void SplitDecoded() const;

  TextFile file_;
  const char* record_ = nullptr;  // the current one's first byte
  std::vector<std::string> column_names_;
  SplitRules rules_;
  ValueDecoder decoder_;
  std::unique_ptr<DecodedSplit> decoded_split_;  // only where needed

  std::size_t row_ = 0;
  std::optional<RuntimeError> failure_;  // of the last fetch
  // The current record as far as it has been looked at. `value_count_` is 0 until it is split.
  mutable bool is_split_ = false;
  mutable std::size_t value_count_ = 0;
  mutable std::array<RawValue, kValueSlots> values_;
  mutable ValueScratch scratch_;
  mutable std::vector<RawValue> counted_;  // only for ValueCount
};

}  // namespace kestrel
