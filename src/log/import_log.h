// The two logs of an import, written into the host's log store through KSHProto.Protokoll.
//
//   error log      title "Datenimport", list "LST_Import": one row per error
//   duplicate log  title "Datenimport Dublettenverdacht", list "LST_ImportDublett": one row per assigned
//                  field of every record held back
//
// Optional members of the log component, looked up when a log is created; one without them is driven by the calls
// told alone. Texts by value; a name that a component does not know is passed over.
//
//   SetLogDetail(name, text)   behind CreateProtokoll: Specification (the path that was chosen), Source (where the data
//                              come from), both in full; ImportClass
//   SetRowDetail(name, text)   behind the row's SetField: the details of an error or of a record held back, below
//   StoreRow(text, ...)        a row without details: its one or three texts, by reference, in place of AddNewRecord,
//                              SetField and UpdateRecord
//
// Failures are shown, unless the import class tells why the import stops (component/told_stop.h), and the import goes on; no
// member but GetUserName raises an error.
//
// Invariants
//  1. A log is created at its first row, and counts as created until Close where its key is not empty.
//  2. A log whose creation failed holds no object: its row fails, and the next row tries again.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "component/session.h"

namespace kestrel {

inline constexpr const char* kErrorLogTitle = "Datenimport";
inline constexpr const char* kErrorLogList = "LST_Import";
inline constexpr const char* kDuplicateLogTitle = "Datenimport Dublettenverdacht";
inline constexpr const char* kDuplicateLogList = "LST_ImportDublett";

// What stands beside a row. Of an error: Record, LastRecord (source records, the second where there are several),
// Field, SourceColumn, RawValue. Of a record held back, at its first row: Record, AddressType, Address, Name, Place,
// Key, EarlierRecord, Score, Reason. What is not known has no entry.
struct LogDetail {
  const char* name;
  std::string text;
};
using LogDetails = std::vector<LogDetail>;

class ImportLogs {
 public:
  // Of the session it uses the platform, the values that stand in a log's head and HostConnection, where the
  // connection is left that CreateProtokoll gives back. The session outlives the logs.
  explicit ImportLogs(Session& session) : session_(session) {}
  ImportLogs(const ImportLogs&) = delete;
  ImportLogs& operator=(const ImportLogs&) = delete;

  // Create the log unless its key is set.
  void CreateProtocol(const std::string& title, const std::string& list_name, const std::string& date,
                      const std::string& description, const std::string& file, const std::string& source_type);
  void CreateDoubletProtocol(const std::string& title, const std::string& list_name, const std::string& date,
                             const std::string& description, const std::string& file,
                             const std::string& source_type);

  // Whether CreateDoubletProtocol would do nothing.
  bool HasDuplicateLog() const { return !duplicate_log_.key.empty(); }

  // One row of the error log / of the duplicate log. Both tell whether the row was stored.
  bool AddProtocolColumn(std::string_view error_line, const LogDetails& details = {});
  bool AddDoubletProtocolColumns(std::string_view record_mark, std::string_view field_name,
                                 std::string_view field_value, const LogDetails& details = {});

  // "Fehler: " number " " text " (" member "/" context ")", written as a row of the error log. Tells whether it
  // was stored.
  bool WriteErrorProtocol(std::int64_t error_number, std::string_view error_text, std::string_view context,
                          std::string_view member, const LogDetails& details = {});

  // Releases both logs; a row written afterwards would create a new one.
  void Close();

 private:
  struct Header;
  struct Log {
    std::string key;
    BoundMember add_new_record;
    BoundMember set_field;
    BoundMember update_record;
    std::optional<BoundMember> set_row_detail;
    std::optional<BoundMember> store_row;
    std::array<Value, 3> texts;  // of the row on its way; their memory is used again
  };

  void Show(const std::string& text, const char* title) const;
  void Create(Log& log, Header header);
  std::string CallCreateProtokoll(const ObjectPtr& log, Header& header);
  void TellOrigin(const ObjectPtr& log);
  bool AddRow(Log& log, std::initializer_list<std::string_view> columns, const LogDetails& details);
  void StoreWithDetails(Log& log, std::size_t columns, const LogDetails& details);

  Session& session_;
  Log error_log_;
  Log duplicate_log_;
};

// "Titel Vorname Nachname" of the employee, outer blanks cut; empty where the host's table Personalstamm
// does not hold the number. Raises what the host connection raises, with what is needed.
std::string GetUserName(const ObjectPtr& host_connection, const std::string& personal_nr);

}  // namespace kestrel
