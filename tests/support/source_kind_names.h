// The stored names of the component's kinds of sources, as files hold them.
#pragma once

namespace kestrel {

inline constexpr const char* kTextSource = "Textdatei";
inline constexpr const char* kSqlServerSource = "Microsoft SQL-Server";
inline constexpr const char* kAccessSource = "Microsoft Access-Datenbanken";
inline constexpr const char* kExcelSource = "Microsoft Excel";
inline constexpr const char* kDBaseSource = "dBase-Datenbank";

}  // namespace kestrel
