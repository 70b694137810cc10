// The destinations that a user has made of tables of another application: rows of Importziele, Importfelder and
// Importspalten, beside those that the host brings.
//
// Invariants
//  1. Nothing of the application's own tables is changed, neither here nor by removing a destination.
//  2. A definition is written and removed as a whole, in one transaction.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection.h"
#include "targets/table_reading.h"

namespace kestrel::host {

inline constexpr const char* kTargetPrefix = "ksbimport.";

// Which columns make the duplicate keys; empty ones are proposed by their names.
struct KeyColumns {
  std::vector<std::string> names;  // up to three, together the name
  std::string street;
  std::string postcode;
  std::string town;
  bool is_off = false;  // no duplicate check
};

struct TargetRequest {
  std::string name;   // letters, digits, "-" and "_"
  std::string table;  // see ReadTableOf
  KeyColumns keys;
};

// What a person should know of a destination; `column` is empty where it is about all of it.
struct TargetRemark {
  std::string column;
  std::string text;
};

struct TargetSummary {
  std::string name;
  std::string prog_id;
  std::string table;  // as a person knows it
  std::int64_t fields = 0;
  int address_type = 0;
  std::string statement_table;   // as statements name it
  std::int64_t application = 0;  // the application mode of its specifications
};

// Makes the destination, and the host's own tables where they are missing. Error 5 with a way out where the name is taken
// or not possible, or a column is none that can be a key, and those of ReadTableOf.
std::vector<TargetRemark> AddTarget(Connection& connection, const TargetRequest& request);
// Reads the table again, under the same name and address type. Keys that are not told stay as far as their columns do.
std::vector<TargetRemark> EditTarget(Connection& connection, TargetRequest request);
// What becomes of the imports that ledger and logs know of a destination that is removed.
enum class Runs { kKeep, kRemove };
// Removes the definition and its rows of the address index. Error 5 where there is none, or where one of the imports is at
// work that are to be removed. It waits for what an import is just storing, which then stores nothing more.
void RemoveTarget(Connection& connection, std::string_view name, Runs runs);
// How many imports the ledger knows of it.
std::int64_t RunsOfTarget(Connection& connection, std::string_view name);

// In the order of their names; none where the host has none. Error 3000.
std::vector<TargetSummary> Targets(Connection& connection);
// Error 5, with the way to those that there are, where there is none of this name.
TargetSummary RequireTarget(Connection& connection, std::string_view name);

// The template of an import specification for it.
std::string TemplateOf(Connection& connection, std::string_view name);
// Writes it into the folder, which is made where it is missing, unless there is one; its path. Errors of the file, which
// tell that the destination stands.
std::string WriteTemplateOf(Connection& connection, std::string_view name, const std::string& folder);

}  // namespace kestrel::host
