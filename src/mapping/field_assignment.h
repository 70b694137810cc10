// The field assignment list: one row per destination field, saying where its value comes from.
//
// The list is session.AssignmentList, an in-memory record set with the 13 columns of kAssignmentColumns in
// that order. Null (never set) is not the empty text: the two checks rely on it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "component/session.h"
#include "kestrel/export.h"
#include "kestrel/memory_recordset.h"

namespace kestrel {

class ImportLogs;

// Column positions of the assignment list.
enum AssignmentColumn : std::size_t {
  kSourceName,          // the destination field's name
  kDestinationName,     // the source column's name (option 2) or the constant (option 3)
  kDspDestinationName,  // the same as shown to the user
  kOption,              // AssignmentOption; null while the specification holds no entry
  kObligation,
  kRowSourceTyp,
  kRowSource,
  kTranslate,
  kFieldTyp,
  kSize,
  kInfo,
  kFormat,
  kDateField,
  kAssignmentColumnCount
};

enum AssignmentOption : std::int64_t { kNotAssigned = 1, kImportField = 2, kConstantValue = 3 };

// The greatest numbers of characters that the list takes: of names and what is shown, and of formats and remarks.
inline constexpr std::size_t kMaxListText = 255;
inline constexpr std::size_t kMaxListRemark = 50;

inline constexpr const char* kTranslatedRemark = "-wird übersetzt-";

// The date formats in the order they are offered, after an empty first entry.
inline constexpr std::array<const char*, 8> kDateFormats = {"tt.mm.jjjj", "tt.mm.jj", "ttmmjjjj", "ttmmjj",
                                                            "jjjj.mm.tt", "jj.mm.tt", "jjjjmmtt", "jjmmtt"};

// What the assignment panel of step 3 holds.
struct AssignmentPanel {
  AssignmentOption option = kNotAssigned;
  std::string import_field = {};  // text of cboImportFeld
  std::string constant = {};      // text of txtKonstanterWert
  bool translate = false;         // chkUebersetzen
  std::string date_format = {};   // text of cboDatumsFormat
  friend bool operator==(const AssignmentPanel&, const AssignmentPanel&) = default;
};

// An empty list.
KESTREL_INTERNAL std::shared_ptr<MemoryRecordset> CreateAssignmentList();

// The columns that the working copy assigns to fields, and one empty element, as session.SourceFieldNames has them.
// Raises what keeps the file from being read.
KESTREL_INTERNAL std::vector<std::string> AssignedSourceColumns(const Session& session);

// Fills session.AssignmentList from the import class's GetFields, session.SourceFieldNames and the working
// copy, and moves to the first row. Returns the mandatory flags, one per record number counted from 1
// (slot 0 is never written). An ErrorCode of GetFields is logged ("GetData", "GetFields") and the build goes
// on; any other failure ends the build, with the rows so far, and is told in `failure` where given: a text that
// is too long with its field, its place and the limit.
std::vector<bool> BuildAssignmentList(Session& session, ImportLogs& logs, std::string* failure = nullptr);

// Writes the panel into the list's current row. Raises 3421 for a name or constant that is too long.
KESTREL_INTERNAL void StoreCurrentAssignment(MemoryRecordset& list, const AssignmentPanel& panel);

// What the panel shows for a row; the list stays at its current row.
KESTREL_INTERNAL AssignmentPanel ReadAssignment(MemoryRecordset& list, std::int64_t row);

// The rows, or `only` that one, in a list of their own, which stands at its first row. `list` stays at its own.
KESTREL_INTERNAL std::shared_ptr<MemoryRecordset> CopyAssignments(MemoryRecordset& list,
                                                                  std::optional<std::int64_t> only = {});

// Exact comparison with every element but the last.
bool IsInList(std::string_view name, const std::vector<std::string>& list);

// «name», or the empty text for an empty name.
std::string DisplayFieldName(std::string_view name);
// "constant" between straight double quotes.
std::string DisplayConstant(std::string_view constant);

// The offered source columns: every element but the last, unnamed ones as "FeldNN".
KESTREL_INTERNAL std::vector<std::string> OfferedSourceFields(
    const std::vector<std::string>& source_field_names);

// Whether the source gave at least two columns; a single one usually means that the settings are wrong.
KESTREL_INTERNAL bool HasUsableSourceFields(const std::vector<std::string>& source_field_names);

// Both walk the list from its first row and return to the row that was current.
// The first row that is mandatory and whose DestinationName is the empty text (null passes).
bool MandatoryFieldUnassigned(MemoryRecordset& list);
// The first date field whose DestinationName is not the empty text and whose Format is the empty text
// (null is neither).
bool DateFieldWithoutFormat(MemoryRecordset& list);

}  // namespace kestrel
