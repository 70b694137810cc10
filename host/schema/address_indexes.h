// The indexes of table Adressindex, by which addresses are found by their duplicate keys, and the table's parts on a server.
//
// On SQLite each index is in sections, which the numbers of the addresses tell: an index of (section, key). Keys stand in no order, so
// in an index of the keys alone those of a few thousand new addresses lie on nearly all its pages, and the more addresses
// there are, the longer each takes. New addresses have consecutive numbers, so those of one group share a section, whose pages
// stay at hand however many addresses there are. The section is made of the number alone: rows that other programs
// write have one, too.
//
// A query by a key alone uses such an index as well: SQLite looks the key up in each section (its "skip scan") where the
// statistics of the index say that there are few of them, so these stand in the database with it. There are sixteen
// sections, which are filled anew after a million numbers, so a look-up costs sixteen times what it would at most.
//
// On PostgreSQL the table itself is in parts, for the same reason: a section of numbers each, sixteen of them, and one for all
// greater numbers. Each part has its own small indexes, and a query by a key looks into those of all parts. Tables that
// are there stay as they are, and so do those of servers that only speak PostgreSQL's language or spread rows over nodes:
// a user declares how (docs/spread-databases.md).
//
// Among the tables of another application, where statistics or parts would stand among its own, there are no sections.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kestrel/connection.h"

namespace kestrel::host {

enum class AddressIndexes {
  kNone,     // there is no table Adressindex, or the database is not SQLite
  kMissing,  // some of them are
  kEarlier,  // as versions before the sections made them: they find the same, and take longer to write
  kUnknown,  // of today, but their statistics are missing or keep SQLite from using them
  kComplete,
};

// Whether those that are made in this database have sections; it is an SQLite database then.
bool HasAddressIndexSections(Connection& connection);

// Of a row in an index with sections.
constexpr int SectionOf(std::int64_t address_id) { return static_cast<int>((address_id >> 22) & 15); }

// Error 3000.
AddressIndexes StateOfAddressIndexes(Connection& connection);

// Makes the table by this text, "CREATE TABLE IF NOT EXISTS Adressindex (...)", in parts where it is to have some and no
// other table has one of their names; of one that is there in parts, those that are missing. Error 3000.
void CreateAddressIndexTable(Connection& connection, const std::string& sql);

// The parts that are gone from a table in parts, whose addresses cannot be stored. Error 3000.
std::vector<std::int64_t> MissingAddressIndexParts(Connection& connection);

// Makes those that are missing and the statistics that they need. Error 3000.
void CreateAddressIndexes(Connection& connection);

// Makes all of them anew, in one transaction. Takes seconds for a million addresses. Error 3000.
void RenewAddressIndexes(Connection& connection);

// Of those with sections: writes their statistics, and makes this connection use them. Error 3000.
void NoteAddressIndexStatistics(Connection& connection);

}  // namespace kestrel::host
