// A table of another application, read from its database's catalog: what a destination can make of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection.h"
#include "schema/destination.h"

namespace kestrel::host {

struct ReadColumn {
  std::string name;
  std::string type;  // as the database calls it
  FieldKind kind = FieldKind::kText;
  std::int64_t size = 0;      // greatest number of characters of a text; 0 is any
  bool is_mandatory = false;  // must have a value and gets none by itself
  std::string preset;         // its constant default, as a text that is imported
  Rounding rounding = {};     // of numbers, by the database
  std::string remark = {};    // what a person should know of it, a sentence
  std::string refusal;        // why it cannot be a field, a German sentence; empty where it can
  std::string
      filled_by;  // by what the database gives it a value, a sentence; only the number may be such a column
  // The only values that it takes, where the catalog has them: a table with its column and what describes a value, for
  // statements; or the values themselves.
  std::string foreign_table = {};
  std::string foreign_column = {};
  std::string foreign_label = {};
  std::vector<std::string> values = {};
};

struct ReadTable {
  std::string table;  // for statements
  std::vector<ReadColumn> columns;
  std::size_t number = 0;  // of the column by which a row is known
  std::string why_number;  // where that is not the primary key, a sentence
};

// Of PostgreSQL the name may begin with a schema ("crm.kunde"); else it is looked for as the connection would. A row is known
// by the primary key, or by another column that is unique and never empty, of whole numbers. Error 5 with reason and way out
// for what is no table, or has neither; 3000.
ReadTable ReadTableOf(Connection& connection, std::string_view name);

}  // namespace kestrel::host
