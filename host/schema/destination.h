// A destination as the rows of Importziele and Importfelder describe it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection.h"

namespace kestrel::host {

// FieldTyp of what is true or false; the component, which has no such type, is told a text.
inline constexpr const char* kTruthType = "BOOL";

enum class FieldKind { kText, kWhole, kReal, kDate, kTruth };

// What a column of real numbers makes of one. An import stores what comes of it, so that the ledger knows the value that an
// undo will find.
struct Rounding {
  enum class Kind {
    kNone,
    kDecimals,  // to so many behind the point
    kExact,     // nothing: a decimal number as it is written
    kSingle,    // to the precision of four bytes
  };
  Kind kind = Kind::kNone;
  int decimals = 0;
  friend bool operator==(const Rounding&, const Rounding&) = default;
};
// Importspalten.Rundung.
std::string TextOfRounding(const Rounding& rounding);
Rounding RoundingOfText(std::string_view text);

struct DestinationField {
  std::string name;
  std::string column;  // of the target table, as statements name it: plain or in quotes
  std::string type;    // FieldTyp as it stands
  FieldKind kind = FieldKind::kText;
  bool obligation = false;
  bool date = false;
  std::int64_t size = 0;  // greatest number of characters of a VARCHAR; 0 is any
  std::int64_t row_source_typ = 0;
  std::string row_source;
  std::string preset;  // what is stored where a new row has no value; empty for nothing
  Rounding rounding = {};
};

// The parts of an address of which its duplicate keys are made, in the order of the key text.
enum KeyPart : std::size_t { kPostcode, kTown, kStreet, kName1, kName2, kName3, kKeyParts };

struct Destination {
  std::string table;  // as statements name it: plain, or each part in quotes ("crm"."Kunde")
  // Of a trial table (storage/trial_table.h): the table whose rows count as its own. Empty for others.
  std::string trial_of = {};
  std::vector<DestinationField> fields;
  std::size_t number_field = 0;  // index in fields
  std::optional<std::size_t> group_field;
  int address_type = 0;  // one bit; 0 for what is no address
  // Of a user's own destination the parts are whatever fields it tells, and its names together are the name. Of all
  // others they are the fields PLZ, Ort, Strasse and Bez1 to Bez3.
  std::array<std::optional<std::size_t>, kKeyParts> key_fields;
  bool joins_names = false;
  // The database would number rows by itself, and must be told that it is to take other numbers (GENERATED ALWAYS).
  bool overrides_identity = false;
  // The table says itself what becomes of a row that breaks a rule (ON CONFLICT REPLACE would delete another one), and is
  // not to be followed.
  bool overrides_conflicts = false;
  // Of a user's own destination, what schema/definition_watch.h compares.
  std::string prog_id = {};
  std::string definition = {};

  // The column of a key part; `otherwise` where the destination has none.
  std::string KeyColumn(std::size_t part, std::string_view otherwise) const;

  std::optional<std::size_t> FindField(std::string_view name) const;
};

// Whether a name stands in quotes, as those of another application's tables do.
inline bool IsQuoted(std::string_view name) { return name.starts_with('"'); }
// A name for a statement, in quotes.
std::string Quoted(std::string_view name);
// A table or column as a person knows it: without quotes.
std::string ToldName(std::string_view name);
// A table as it is told to a person, who does not name the schema in which a server has tables by itself ("public").
std::string ShownName(std::string_view name);
// A name of a statement as the catalog of a PostgreSQL server takes it: a plain one in small letters.
std::string CatalogName(std::string_view name);

// The table as a person knows it: with its schema, so that it is one table; and as it is told.
inline std::string ToldTable(const Destination& destination) {
  return ToldName(destination.trial_of.empty() ? destination.table : destination.trial_of);
}
inline std::string ShownTable(const Destination& destination) {
  return ShownName(destination.trial_of.empty() ? destination.table : destination.trial_of);
}

// See OverwriteKeyOf.
std::string OverwriteKey(const Destination& destination);

// Reads a destination. Error 5, telling the row at fault, where it is missing, has no field, lacks its number
// field, or holds a name that is neither made of letters, digits and "_" nor in quotes (names become part of statements);
// 3000 from the database.
Destination LoadDestination(Connection& connection, std::string_view prog_id);

}  // namespace kestrel::host
