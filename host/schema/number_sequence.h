// The sequences that give the rows of a table their numbers, on databases other than SQLite: the column's own, where it
// has one, else that called TABLE_COLUMN_seq. Who reads numbers from a sequence waits for nobody.
#pragma once

#include <string>
#include <vector>

#include "kestrel/connection.h"

namespace kestrel::host {

// The sequence of a column, as statements name it; one that is missing is made and begins behind the greatest number.
// Error 3000, with a way out where it cannot be made.
std::string SequenceOf(Connection& connection, const std::string& table, const std::string& column);

// The same where it exists already; empty where it does not. Error 3000.
std::string FindSequence(Connection& connection, const std::string& table, const std::string& column);

// Makes the sequences of all tables that the host brings; all of them. Error 3000.
std::vector<std::string> CreateNumberSequences(Connection& connection);

}  // namespace kestrel::host
