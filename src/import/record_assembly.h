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
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "component/session.h"
#include "import/run_errors.h"
#include "mapping/field_assignment.h"
#include "mapping/translation.h"
#include "mapping/value_conversion.h"

namespace kestrel {

class RecordAssembly {
 public:
  // All outlive this object.
  RecordAssembly(Session& session, ProfileStore& profiles, RunErrors& errors)
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

 private:
  using Column = std::optional<std::size_t>;

  // One row of the assignment list that has something to do.
  struct Row {
    std::string field;        // the destination field's name
    std::string destination;  // source column or constant, without double quotes
    std::string field_typ;
    FieldKind kind = FieldKind::kOther;
    std::int64_t size = 0;
    // Why reading the row's size fails, for every record anew.
    std::optional<RuntimeError> size_error;
    std::int64_t option = kNotAssigned;
    // Of a constant: the rules write it as it is.
    bool is_ready = false;
    const DatePattern* date = nullptr;
    // Set where the field's values pass through its translation table.
    std::optional<TranslationLookup> translation;
    Column source_column;
    Column record_column;
  };

  void ResolveAssignments();
  Row ReadRow(const MemoryRecordset& list) const;
  void ResolveSource(const RecordsetPtr& source);
  void ResolveRecord(const RecordsetPtr& record);
  bool HasRecordShape(const Recordset& record) const;

  void FillImportField(Row& row, const Recordset& source, const std::shared_ptr<const ProfileImage>& image,
                       Recordset& record);
  void FillConstant(const Row& row, const Recordset& source, Recordset& record);
  static bool IsReady(const Row& constant);
  void NoteCut(const Row& row, std::string_view value, std::string_view shaped);
  static FieldValue ValueOf(const Row& row, const Recordset& source);
  static void Write(const Row& row, std::string_view text, Recordset& record);

  Session& session_;
  ProfileStore& profiles_;
  RunErrors& errors_;
  std::shared_ptr<MemoryRecordset> list_;
  RecordsetPtr source_;
  RecordsetPtr record_;
  std::vector<std::string> record_columns_;
  std::vector<Row> rows_;
  bool translates_ = false;
};

}  // namespace kestrel
