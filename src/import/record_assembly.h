// Record assembly: fills one destination record from the current source record by the assignment list.
//
// Everything that does not depend on the record (which column feeds which, kind and size of the field,
// date pattern, constants ready for writing) is worked out once and kept until the shape changes.
//
// Invariants
//  1. rows_ describes the assignment list list_; the source columns in rows_ are those of source_, the
//     destination columns those named in record_columns_, which are the columns of record_.
//  2. A field is written at most once a record, with the result of its last rule.
//  3. A field whose value cannot be read, or does not fit, stays as the import class delivered it.
//  4. borrower_ is record_ where that takes texts without a copy, and text_source_ is source_ where that keeps them in
//     place until its next record; else they are null.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "component/session.h"
#include "import/field_errors.h"
#include "mapping/field_assignment.h"
#include "mapping/translation.h"
#include "mapping/value_conversion.h"
#include "platform/data/borrowing_recordset.h"
#include "sources/text_recordset.h"

namespace kestrel {

class RecordAssembly {
 public:
  // All outlive this object.
  RecordAssembly(Session& session, ProfileStore& profiles, FieldErrors& errors)
      : session_(session), profiles_(profiles), errors_(errors) {}

  // Walks the assignment list once and fills `record` from the current row of `source`. Errors of single
  // fields are counted and the next field follows. Raises 91 where one of the two is not set or the session
  // has no assignment list. Both are kept until the next call; whether `record` is the object of the last one.
  bool Fill(const RecordsetPtr& source, const RecordsetPtr& record);

  // The value that the last Fill made the field of, for an error that comes up later; unknown for a field without
  // one. Lives until the source moves on.
  FieldValue ValueOf(std::string_view field) const;
  // Releases source and record.
  void Forget();

  // --- Of records that come later ---

  // The row of the assignment list that fills the field, for Foresee; none before the first Fill, and where none does.
  std::optional<std::size_t> RowOf(std::string_view field) const;
  // What the field will be where `source`, that of the last Fill, stands, as far as it is a text: empty where that is
  // not known. Counts nothing. The view lives until the next look at that column of `source`. Raises what reading does.
  std::string_view Foresee(std::size_t index, const Recordset& source);

 private:
  using Column = std::optional<std::size_t>;

  using Image = std::shared_ptr<const ProfileImage>;

  enum class ShortWay : std::uint8_t { kNone, kConstant, kText, kNumber };

  // One row of the assignment list that has something to do. What every record needs comes first.
  struct Row {
    std::int64_t option = kNotAssigned;
    Column source_column;
    Column record_column;
    FieldKind kind = FieldKind::kOther;
    // Of a constant: the rules write it as it is.
    bool is_ready = false;
    // Whether one of `translation` and `size_error` is set.
    bool is_special = false;
    // The short way, of values that need nothing beyond it.
    ShortWay way = ShortWay::kNone;
    bool is_trimmed = false;       // of a text: blanks around it go
    std::int64_t plain_size = -1;  // of a text: so many bytes are not cut
    const DatePattern* date = nullptr;
    std::int64_t size = 0;
    BorrowedText value;      // of a constant that is ready, for all records
    StoredDate stored_date;  // of the record at hand
    // Set where the field's values pass through its translation table.
    std::optional<TranslationLookup> translation;
    // Why reading the row's size fails, for every record anew.
    std::optional<RuntimeError> size_error;
    std::string field;        // the destination field's name
    std::string destination;  // source column or constant, without double quotes
    std::string field_typ;
  };

  void ResolveAssignments();
  Row ReadRow(const MemoryRecordset& list) const;
  void ResolveSource(const RecordsetPtr& source);
  void ResolveRecord(const RecordsetPtr& record);
  bool HasRecordShape(const Recordset& record) const;
  static void ResolveShortWay(Row& row);

  // Each makes what is written into the row's field; false where nothing is.
  template <class Source>
  bool Make(Row& row, const Source& source, const Image& image, BorrowedText& value);
  template <class Source>
  bool MakeImported(Row& row, const Source& source, const Image& image, BorrowedText& value);
  bool MakeConstant(const Row& row, BorrowedText& value);
  // Makes each where `target` has room for it, and has it written.
  template <class Source, class Target>
  void MakeAll(const Source& source, const Image& image, Target target);
  struct Copied;
  struct Lent;
  static bool IsReady(const Row& constant);
  void NoteCut(const Row& row, std::string_view value, std::string_view shaped);
  static FieldValue ValueOf(const Row& row, const Recordset& source);
  static std::size_t ColumnFor(const Row& row, const Recordset& record);

  Session& session_;
  ProfileStore& profiles_;
  FieldErrors& errors_;
  std::shared_ptr<MemoryRecordset> list_;
  RecordsetPtr source_;
  RecordsetPtr record_;
  const TextRecordset* text_source_ = nullptr;
  BorrowingRecordset* borrower_ = nullptr;
  std::vector<std::string> record_columns_;
  std::vector<Row> rows_;
  bool translates_ = false;
};

}  // namespace kestrel
