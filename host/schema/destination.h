// A destination as the rows of Importziele and Importfelder describe it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/connection.h"

namespace kestrel::host {

enum class FieldKind { kText, kWhole, kReal, kDate };

struct DestinationField {
  std::string name;
  std::string column;  // of the target table
  std::string type;    // FieldTyp as it stands
  FieldKind kind = FieldKind::kText;
  bool obligation = false;
  bool date = false;
  std::int64_t size = 0;  // greatest number of characters of a VARCHAR; 0 is any
  std::int64_t row_source_typ = 0;
  std::string row_source;
};

struct Destination {
  std::string table;
  // Of a trial table (storage/trial_table.h): the table whose rows count as its own. Empty for others.
  std::string trial_of = {};
  std::vector<DestinationField> fields;
  std::size_t number_field = 0;  // index in fields
  std::optional<std::size_t> group_field;
  int address_type = 0;  // one bit; 0 for what is no address

  std::optional<std::size_t> FindField(std::string_view name) const;
};

// The table as a person knows it.
inline const std::string& ToldTable(const Destination& destination) {
  return destination.trial_of.empty() ? destination.table : destination.trial_of;
}

// The key of a specification's section CfgSettings that lets an import overwrite existing rows ("1").
inline std::string OverwriteKey(const Destination& destination) {
  return ToldTable(destination) + "Ueberschreiben";
}

// Reads a destination. Error 5, telling the row at fault, where it is missing, has no field, lacks its number
// field, or holds a name that is not made of letters, digits and "_" (names become part of statements);
// 3000 from the database.
Destination LoadDestination(Connection& connection, std::string_view prog_id);

}  // namespace kestrel::host
