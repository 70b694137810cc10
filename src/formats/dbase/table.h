// A dBase table that is read record by record: of dBase III to 7, FoxPro and Visual FoxPro, memo file included.
//
//   dbase::Table table("/daten/KUNDEN.DBF");
//   for (std::size_t row = 0; row < table.RowCount(); ++row) {
//     table.GoTo(row);
//     if (!table.IsNull(0)) Use(table.ColumnNames()[0], table.Text(0));
//   }
//   if (const auto loss = table.Loss()) Tell(loss->Description());
//
// All texts are UTF-8, values follow value_text.h; files are only read. Deleted records are left out. What is
// wrong with a file is a FormatError, which names record (counting deleted ones) and column; what the system
// refuses is an error of base (53, 70, 75 ...). One thread at a time.
//
// Invariants
//  1. A table is what it was when it was opened: what was changed or cut off since raises 75.
//  2. Memory is the memo file and a part of the table, whatever its length.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/dbase/memo_file.h"
#include "formats/dbase/record_window.h"
#include "formats/dbase/stored_text.h"
#include "formats/dbase/table_header.h"
#include "platform/base/code_page.h"
#include "platform/base/file.h"
#include "platform/base/format_error.h"

namespace kestrel::dbase {

// Which code page a table's texts are in, by its number (CodePage): `forced` before what the table says before
// `fallback` before 850.
struct CodePageChoice {
  std::optional<int> forced;
  std::optional<int> fallback;
};

// The names of a table's columns, without a look at its records. Raises as Table does.
std::vector<std::string> ReadColumnNames(const std::string& path, const CodePageChoice& choice = {});

class Table {
 public:
  // Reads as much as tells which records are deleted. The memo file is the one of the table's name in its
  // folder, in any case. FormatError where the file is no such table, or where nobody can tell what its letters
  // beyond ASCII are; 75 where it is being changed; else what opening raises.
  explicit Table(const std::string& path, const CodePageChoice& choice = {});
  // The same for bytes in memory. `memo`, those of the memo file, must outlive the table.
  static Table OfBytes(std::string_view table, std::string_view memo, const CodePageChoice& choice = {});

  const std::vector<std::string>& ColumnNames() const { return names_; }
  // Of the records that are not deleted and can be read.
  std::size_t RowCount() const { return live_count_; }
  // Of those that the table tells of: more where some are missing.
  std::size_t PromisedRows() const { return live_count_ + header_.told_count - present_count_; }
  // Why the table does not hold the records that its head tells of; none where it does.
  std::optional<FormatError> Loss() const;

  // Makes a row (below RowCount()) the current one. Raises 75 where its record was changed or cut off since the
  // table was opened, and what reading raises; no row is current then.
  void GoTo(std::size_t row) {
    row_ = row;
    record_ = records_.Record(RecordOf(row));
  }

  // Of the current row; `column` counts in ColumnNames(). The text lives until another row is gone to or the
  // same column is asked again. Empty for null. A value that is not what its column's type says comes as it is
  // stored. FormatError, with record and column, for a memo that lies outside its file or whose file is
  // missing, a timestamp that is none, and a column of an unknown type.
  bool IsNull(std::size_t column) const;
  std::string_view Text(std::size_t column) const {
    const Field& field = fields_[column];
    const std::string_view stored(record_ + field.offset, field.length);
    // Inline, and what is common ends in at most one call, as most of the time of reading a table is spent here.
    if (!field.is_fixed) [[unlikely]]
      return TextOfAnyKind(column);
    if (field.storage == Storage::kText) return PaddedText(stored, code_page_, buffers_[column]);
    if (field.storage == Storage::kDigits) return NumberText(stored, code_page_, buffers_[column]);
    return TextOfAnyKind(column);
  }

 private:
  // What the stored bytes of a column are, which depends on more than the type's letter.
  enum class Storage : std::uint8_t {
    kText,
    kDigits,
    kDate,
    kTruth,
    kMemo,
    kBinaryMemo,
    kWhole,
    kDouble,
    kCurrency,
    kTimestamp,
    kLevel7Timestamp,
    kBytes,
    kUnknown
  };
  // A column as it is read.
  struct Field {
    std::size_t offset = 0;  // in the record
    std::size_t length = 0;
    Storage storage = Storage::kText;
    // Neither null flags nor a length of its own have to be looked at.
    bool is_fixed = true;
  };
  Table(TableFile file, std::string path, const CodePageChoice& choice);
  void OpenMemoFile();

  static Storage StorageOf(const Column& column, bool is_level7);
  static bool IsBlank(Storage storage, Bytes field, bool is_level7);
  void FindLiveRecords();
  void RequireKnownLetters();
  std::string Damage() const;
  // Of the beginning of a record.
  FilePlace PlaceOf(std::size_t record) const;

  std::size_t RecordOf(std::size_t row) const { return live_.empty() ? row : live_[row]; }
  bool Flag(std::optional<std::size_t> bit) const;
  // The stored bytes of a cell; a V column's without what is behind its length.
  std::string_view Stored(std::size_t column) const;
  std::string_view TextOfAnyKind(std::size_t column) const;
  // The text of one that is neither text nor digits, raising what it raises.
  std::string_view Convert(std::size_t column, std::string_view stored, std::string& buffer) const;
  [[noreturn]] void RaiseInCell(std::size_t column, const FormatError& why) const;
  std::string_view MemoText(Storage storage, Bytes field, std::string& buffer) const;

  Header header_;
  CodePage code_page_;
  RecordWindow records_;
  FileContent memo_bytes_;
  MemoFile memo_;             // views memo_bytes_, or what was given instead
  std::string path_;          // empty for bytes in memory
  std::string memo_path_;     // empty without a memo file
  std::string missing_memo_;  // the name that it should have, where it is not there
  std::vector<std::string> names_;
  std::vector<Field> fields_;  // by column

  // Numbers of the records that are not deleted; empty where none is, so that row and record agree.
  std::vector<std::uint32_t> live_;
  std::size_t live_count_ = 0;
  // Live or deleted, up to the mark of the table's end.
  std::size_t present_count_ = 0;
  // Of those that begin neither as a live nor as a deleted record does; they count as live.
  std::size_t odd_count_ = 0;
  std::size_t first_odd_ = 0;

  std::size_t row_ = 0;
  const char* record_ = nullptr;              // of the current row
  mutable std::vector<std::string> buffers_;  // one a column, for texts that are not stored as they read
};

}  // namespace kestrel::dbase
