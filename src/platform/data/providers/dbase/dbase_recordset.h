// The records of a dBase table; deleted ones are left out.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "formats/dbase/memo_file.h"
#include "formats/dbase/record_window.h"
#include "formats/dbase/table_header.h"
#include "platform/base/code_page.h"
#include "platform/base/file.h"
#include "platform/data/indexed_recordset.h"

namespace kestrel::dbase {

// A table's file and the bytes of its memo file, which are empty where the table has none.
struct TableFiles {
  TableFile table;
  Header header;  // of the table
  FileContent memo;
  std::string missing_memo = {};  // the name that the memo file should have, where it is not there
  // What errors call them.
  std::string table_path = {};
  std::string memo_path = {};
};

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

// Which code page a table's texts are in: `forced` before what the table says before `fallback` before 850.
struct CodePageChoice {
  std::optional<int> forced;
  std::optional<int> fallback;
};

CodePage ChooseCodePage(const Header& header, const CodePageChoice& choice);
std::vector<std::string> ColumnNames(const Header& header, const CodePage& code_page);

// Values that cannot be read as what their column's type says come back as the text that is stored, so that
// whoever converts them can report them. Reading a memo that lies outside its file, or whose file is missing, a
// timestamp that is none or a column of an unknown type raises 3000, with record and column. A table that does
// not hold the records that its head tells of is broken off behind its last one.
class DbaseRecordset final : public IndexedRecordset {
 public:
  // Reads as much as tells which records are deleted. Error 3000 where the files cannot be read as a table, or
  // where nobody can tell what its letters beyond ASCII are; 75 where the table is being changed.
  static RecordsetPtr Open(TableFiles files, const CodePageChoice& choice);

  // All three: 75 where the record was changed or cut off since the set was opened; it is broken off there
  // then.
  void MoveFirst() override;
  void MoveNext() override;
  void GoTo(std::int64_t bookmark) override;
  std::string_view TextAt(std::size_t column) const override;

 protected:
  bool IsNullAt(std::size_t row, std::size_t column) const override;
  std::string_view TextAt(std::size_t row, std::size_t column) const override;

 private:
  // A column as it is read.
  struct Field {
    std::size_t offset = 0;  // in the record
    std::size_t length = 0;
    Storage storage = Storage::kText;
    // Neither null flags nor a length of its own have to be looked at.
    bool is_fixed = true;
  };
  struct Content {
    Header header;
    CodePage code_page;
    RecordWindow records;
    FileContent memo_bytes;
    MemoFile memo;  // views memo_bytes
    std::string missing_memo;
    std::string table_path;
    std::string memo_path;
    // Numbers of the records that are not deleted; empty where none is, so that row and record agree.
    std::vector<std::uint32_t> live;
    std::size_t live_count = 0;
    // Live or deleted, up to the mark of the table's end.
    std::size_t present_count = 0;
    // Of those that begin neither as a live nor as a deleted record does; they count as live.
    std::size_t odd_count = 0;
    std::size_t first_odd = 0;
  };
  // Notes them in `content`.
  static void FindLiveRecords(Content& content);
  static void RequireKnownLetters(Content& content);
  static std::string DamageOf(const Content& content);
  explicit DbaseRecordset(std::unique_ptr<Content> content);

  // Brings the current row's record into memory.
  void Fetch();
  // The bytes of a row's record, valid until that of another is asked for.
  const char* Record(std::size_t row) const { return content_->records.Record(RecordOf(row)); }
  std::size_t RecordOf(std::size_t row) const { return live_ == nullptr ? row : live_[row]; }
  bool Flag(const char* record, std::optional<std::size_t> bit) const;
  // The stored bytes of a cell; a V column's without what is behind its length.
  std::string_view Stored(const char* record, std::size_t column) const;
  // The text of any column.
  std::string_view Convert(std::size_t column, std::string_view stored, std::string& buffer) const;
  // The text of one that is not what most are, raising what it raises.
  std::string_view ConvertOther(std::size_t column, std::string_view stored, std::string& buffer) const;
  [[noreturn]] void RaiseInCell(std::size_t column, const RuntimeError& why) const;
  std::string_view MemoText(std::size_t column, Bytes field, std::string& buffer) const;
  std::string_view BytesAsText(Bytes bytes, std::string& buffer) const;

  std::unique_ptr<Content> content_;
  const std::uint32_t* live_;                 // none where row and record agree
  std::vector<Field> fields_;                 // by column
  mutable std::vector<std::string> buffers_;  // one a column, for texts that are not stored as they read
};

}  // namespace kestrel::dbase
