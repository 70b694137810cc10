// The duplicate check: is an address suspected to be in the host's address index already?
//
// The procedures of the first two groups trap their own errors, show "Fehler in Funktion " + their name +
// ": " + the description in a plain box, and give their default answer (false, empty texts, settings all
// off), so that the import goes on with the record.
//
// The specification is read per record, and the host's components are made anew for every call, so that
// a change of either is seen at once. Nothing else is derived twice: see DuplicateScratch.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "component/session.h"
#include "duplicates/duplicate_match.h"

namespace kestrel {

// The section of the specification that holds the settings of the check.
inline constexpr const char* kDuplicateSection = "CfgSettings";

// --- Settings and keys ---

// Section CfgSettings of the working copy into session.Duplicates. An AddresstypeCode that is no number
// is an error.
void LoadDublettSettings(Session& session);

// 1, 8 or 32 by the exact ImportClass, 0 for any other.
std::int64_t GetAddressType(const Session& session);

// Whether the finished record is a suspected duplicate; `match`, where given, then tells of which address.
bool CheckDoublett(Session& session, const Recordset& record, DuplicateMatch* match = nullptr);

// Whether the host's setting Adressindex/Doubletindex is "1".
bool isDoublettIndex(Session& session);

struct DuplicateKeys {
  std::string key[3];
};
// The host's three algorithm codes.
void GetDoubletAlgorithmCode(Session& session, std::string& code1, std::string& code2, std::string& code3);
// The three keys of a key text, made by the host's key component.
void GenDoubKey(Session& session, const std::string& key_text, std::string& key1, std::string& key2,
                std::string& key3);

// Sets `text` to PLZ|Ort|Strasse|Bez1 cut to 15 and trimmed|Bez1|Bez2|Bez3||group, reusing its memory.
// Raises 3265 for a record without one of these columns.
void BuildDuplicateKeyText(const Recordset& record, std::string_view group, std::string& text);

// --- Look-up ---

// Sets `query` to the query, reusing its memory; false, with an empty query, for a mask without a bit in
// 0 to 15. Keys and reference stand as they are, unescaped; without a key in use the query is malformed.
bool BuildDuplicateQuery(const DuplicateSettings& settings, const DuplicateKeys& keys,
                         std::string_view reference, std::int64_t address_type, bool overwrite,
                         std::string& query);
bool isDoublet(Session& session, const std::string& key_text, const std::string& reference,
               std::int64_t address_type, bool overwrite, DuplicateMatch* match = nullptr);

// --- Logging a suspected duplicate ---

// Whether the field counts as assigned: its FieldAssignments value is not exactly "NOTASSIGNED". Raises
// nothing.
bool IsFieldAssigned(const ProfileImage& spec_file, std::string_view field_name);

// One row of the duplicate log per assigned field of the record, all with one new mark; tells whether all
// were stored. Raises what reading the record raises.
bool WriteDoubletRows(Session& session, const Recordset& record);

// A new random GUID as {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}: the mark that groups a record's rows.
std::string NewRecordMark();

}  // namespace kestrel
