// The records of a text file. A record is cut only when one of its values is looked at.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
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
  // Whether there is a record with this bookmark to which GoTo leads without reading, so that it cannot fail.
  bool IsInMemory(std::int64_t bookmark) const {
    return bookmark >= 0 && file_.HoldsRecord(static_cast<std::size_t>(bookmark));
  }
  // The record's characters as they stand, qualifiers included, umlauts not repaired. Raises 3021 away from a row.
  std::string RawRecord() const;
  // What it is read from. A look at its bytes ends the record at hand: MoveFirst or GoTo gets one.
  TextFile& file() { return file_; }
  // Never, as a text file knows no null.
  bool IsNull(std::size_t column) const override;
  std::string_view TextAt(std::size_t column) const override {
    if (column < value_count_ && !cuts_.IsMarked(column)) [[likely]]
      return cuts_.Text(column, rules_.qualifier);
    return PrepareTextAt(column);
  }
  TextSurvey Survey() override;
  std::optional<std::size_t> ValueCount() const override;

 private:
  // The slow way for records that ValueCuts does not serve.
  struct DecodedSplit {
    std::string delimiter;
    std::string qualifier;
    ValueSlots slots;
  };

  void MoveTo(std::size_t row);
  void RequireValue(std::size_t column) const;
  // Cuts the record or takes the value's qualifiers away, whichever is still to be done.
  std::string_view PrepareTextAt(std::size_t column) const;
  void SplitRecord() const;

  TextFile file_;
  std::string_view record_;  // the current one
  std::vector<std::string> column_names_;
  SplitRules rules_;
  std::unique_ptr<DecodedSplit> decoded_split_;  // only where needed

  std::size_t row_ = 0;
  std::optional<RuntimeError> failure_;  // of the last fetch
  // The current record as far as it has been looked at. `value_count_` is 0 until it is cut, and stays so where it
  // has been split decoded.
  mutable bool is_split_ = false;
  mutable std::size_t value_count_ = 0;
  mutable RecordDecoder decoder_;
  mutable ValueCuts cuts_;
  // The texts of values that are marked, as far as they have been asked for.
  mutable std::array<std::string_view, kValueSlots> texts_;
  mutable std::bitset<kValueSlots> has_text_;
  mutable ValueScratch scratch_;
};

}  // namespace kestrel
