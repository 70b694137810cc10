// A record set: named columns, rows, and a current row. Texts are UTF-8; it is used by one thread at a time.
//
// Invariants
//  1. Positions are rows 0 to RecordCount()-1, "before the first" (BOF) and "behind the last" (EOF).
//     An empty set is at both ends at once.
//  2. Reading or writing a column away from a row raises 3021.
//  3. Column names are kept as they came; two columns may share one. A look-up finds the first whose
//     name is exactly equal.
//  4. A column may be null, which is not the empty text.
//  5. Views returned by TextAt live until the next look at the same column, move, write or destruction.
//  6. A set whose rows end before those of its source (a file that was cut short or changed, a connection that
//     was lost) is broken off: it delivers every row that it can, the move that finds no further one raises the
//     reason, the set is at its end from then on, and BrokenOff tells the reason. A set without any row that can
//     be read is broken off from the beginning, without raising.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kestrel/export.h"
#include "kestrel/file_identity.h"
#include "kestrel/object.h"
#include "kestrel/runtime_error.h"

namespace kestrel {

// What every kind of record set promises.
class KESTREL_EXPORT Recordset : public Object {
 public:
  // --- Columns ---
  // How many there are; does not change while there are rows.
  virtual std::size_t ColumnCount() const = 0;
  // Error 9 for an index out of range. The view lives as long as the record set's shape.
  virtual std::string_view ColumnName(std::size_t column) const = 0;
  // The first column of exactly that name.
  std::optional<std::size_t> FindColumn(std::string_view name) const;
  // As FindColumn, but a missing column is error 3265 naming it.
  std::size_t RequireColumn(std::string_view name) const;

  // --- Rows ---
  // Whether the position is before the first row. On an empty set both are true.
  virtual bool IsBof() const = 0;
  // Whether the position is behind the last row.
  virtual bool IsEof() const = 0;
  // On an empty set both ends stay true; no error.
  virtual void MoveFirst() = 0;
  // Behind the last row the set is at its end; one step further raises 3021.
  virtual void MoveNext() = 0;
  // -1 where the source cannot tell without reading everything.
  virtual std::int64_t RecordCount() const = 0;

  // Why the rows ended before those of the source did; none while there is a row, and where all were delivered.
  virtual std::optional<RuntimeError> BrokenOff() const { return std::nullopt; }
  // The file, as it was when its content was read; none where the rows are not those of one file.
  virtual std::optional<FileIdentity> SourceFile() const { return std::nullopt; }

  // Bookmarks: the current row's number, and back to it. Raises 3021 away from a row or for a row that
  // does not exist, 438 where the source cannot go back.
  virtual std::int64_t Bookmark() const;
  virtual void GoTo(std::int64_t bookmark);

  // --- Values of the current row ---
  virtual bool IsNull(std::size_t column) const = 0;
  // The value as text by the one rule of value_text.h; null is empty. Allocates nothing where the source
  // holds texts.
  virtual std::string_view TextAt(std::size_t column) const = 0;
  // The typed value; the default gives null or the text.
  virtual Value ValueAt(std::size_t column) const;

  // --- Writing (438 unless the set can be written) ---
  // `text` must not point into this record set.
  virtual void SetText(std::size_t column, std::string_view text);
  virtual void SetValue(std::size_t column, const Value& value);

  // Record sets are used through this interface, not by member name.
  std::optional<MemberId> FindMember(std::string_view) const override { return std::nullopt; }
  Value Invoke(MemberId, CallKind, std::span<Argument>) override { return LacksMember(); }
};

// Record sets are shared by those who use them, one at a time.
using RecordsetPtr = std::shared_ptr<Recordset>;

// The record set in a value: error 91 for none, 13 for another kind of object, 424 for no object.
KESTREL_EXPORT RecordsetPtr ToRecordset(const Value& value);

}  // namespace kestrel
