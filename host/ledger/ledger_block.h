// Several records of a run to which the same has happened, as one row of Importlaufzeilen keeps them.
//
//   block   = entry...
//   entry   = "#" ["r" record ";"] ["n" number ";"] content
//             left out, record and number are one more than those of the entry before
//   content = of a new address, "f" and its fingerprint, or a value for each column of the run;
//             of an update, "c" column ";" value-before value-imported for each column that it changed;
//             of a record that was not stored, nothing
//   value   = "-" (null), "i" integer ";", "d" real ";", "t" bytes ":" text
//
// So a record costs little more than its texts, and one "#" where nothing but its fate is known. Columns count
// from 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "schema/destination.h"
#include "storage/record_values.h"

namespace kestrel::host {

// Takes entries in the order in which they are to be read.
class LedgerBlockWriter {
 public:
  // Begins an entry; without a number for a record that was not stored.
  void Begin(std::int64_t record, std::optional<std::int64_t> number);
  // Values of the entry begun last.
  void Add(const StoredValue& value);
  // The fingerprint of the new address with these values.
  void AddFingerprint(const Destination& destination, const RecordValues& values) {
    AppendFingerprintTo(text_, destination, values);
  }
  // The same as a content.
  static void AppendFingerprintTo(std::string& content, const Destination& destination,
                                  const RecordValues& values);
  // As LedgerBlockReader::Content gives it.
  void AddContent(std::string_view content) { text_ += content; }
  // Adds the entries of another block behind those of this one.
  void Append(const LedgerBlockWriter& other);
  void AddChange(std::size_t column, const StoredValue& before, const StoredValue& imported);
  // Keeps the memory.
  void Clear();

  bool IsEmpty() const { return count_ == 0; }
  std::int64_t count() const { return count_; }
  const std::string& text() const { return text_; }
  // Of all entries; 0 where there is none.
  std::int64_t first_record() const { return first_record_; }
  std::int64_t last_record() const { return last_record_; }
  std::int64_t least_number() const { return least_number_; }
  std::int64_t greatest_number() const { return greatest_number_; }

 private:
  template <class Number>
  void AddNumber(char mark, Number number);

  std::string text_;
  std::int64_t count_ = 0;
  std::int64_t first_record_ = 0;
  std::int64_t last_record_ = 0;
  std::int64_t record_ = -1;
  std::int64_t number_ = -1;
  std::int64_t least_number_ = 0;
  std::int64_t greatest_number_ = 0;
};

// Reads the entries of a block. What is no block is error 3000.
class LedgerBlockReader {
 public:
  // `text` outlives this object and every value read.
  explicit LedgerBlockReader(std::string_view text) : rest_(text) {}

  // Steps on to the next entry, behind all of the content of the last one; false at the end.
  bool Next();
  std::int64_t record() const { return record_; }
  // Of its address; without meaning for a record that was not stored.
  std::int64_t number() const { return number_; }
  // The whole content of the entry, nothing of which was read yet.
  std::string_view Content();
  // The fingerprint of the entry, where it has one of so many characters.
  std::optional<std::string_view> ReadFingerprint(std::size_t size);
  // The next value of the entry.
  StoredValue Read();
  // The column of the next change of the entry, whose two values are to be read then; none where there is none.
  std::optional<std::size_t> ReadChange();

 private:
  void PassContent();
  std::int64_t ReadInteger();
  std::string_view UpTo(char mark);
  bool Take(char mark);

  std::string_view rest_;
  std::int64_t record_ = -1;
  std::int64_t number_ = -1;
};

}  // namespace kestrel::host
