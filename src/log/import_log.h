// The two logs of an import, written into the host's log store through KSHProto.Protokoll.
//
//   error log      title "Datenimport", list "LST_Import": one row per error
//   duplicate log  title "Datenimport Dublettenverdacht", list "LST_ImportDublett": one row per assigned
//                  field of every record held back
//
// A log is created at its first row, once per import (ResetLogs tells where one begins and ends). Failures are
// shown and the import goes on; nothing here raises an error.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "component/session.h"

namespace kestrel {

inline constexpr const char* kErrorLogTitle = "Datenimport";
inline constexpr const char* kErrorLogList = "LST_Import";
inline constexpr const char* kDuplicateLogTitle = "Datenimport Dublettenverdacht";
inline constexpr const char* kDuplicateLogList = "LST_ImportDublett";

// Create the log unless its key is set.
void CreateProtocol(Session& session, const std::string& title, const std::string& list_name,
                    const std::string& date, const std::string& description, const std::string& file,
                    const std::string& source_type);
void CreateDoubletProtocol(Session& session, const std::string& title, const std::string& list_name,
                           const std::string& date, const std::string& description, const std::string& file,
                           const std::string& source_type);

// One row of the error log / of the duplicate log. Both tell whether the row was stored.
bool AddProtocolColumn(Session& session, std::string_view error_line);
bool AddDoubletProtocolColumns(Session& session, std::string_view record_mark, std::string_view field_name,
                               std::string_view field_value);

// "Fehler: " number " " text " (" member "/" context ")", written as a row of the error log. Tells whether it
// was stored.
bool WriteErrorProtocol(Session& session, std::int64_t error_number, std::string_view error_text,
                        std::string_view context, std::string_view member);

// "Titel Vorname Nachname" of the employee, outer blanks cut; empty where the host's table Personalstamm
// does not hold the number. Raises what the host connection raises.
std::string GetUserName(Session& session, const std::string& personal_nr);

}  // namespace kestrel
