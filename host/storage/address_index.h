// The host's index of all addresses by duplicate keys (table Adressindex), as its importers write it.
//
// One row an address. Its key AdressId is 64 times the address's number plus the address type, which is one
// bit below 64: unique, ascending with the numbers, and found without an index of its own. A key that an
// address does not have is stored as null, so that nothing equals it. Rows of new addresses are written behind where
// the database lets them.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "kestrel/connection.h"
#include "keys/duplicate_keys.h"
#include "platform/data/copied_rows.h"
#include "schema/settings.h"
#include "storage/index_row_buffer.h"
#include "storage/known_keys.h"
#include "storage/row_inserts.h"

namespace kestrel::host {

// What the keys of an address are made of. Views of the caller's.
struct IndexedAddress {
  std::string_view postcode;
  std::string_view town;
  std::string_view street;
  std::array<std::string_view, 3> names;
  std::string_view group;
  // The names that are not empty are one, with blanks between them.
  bool joins_names = false;
};

// A row of the index.
struct IndexRow {
  std::int64_t number = 0;          // of the address
  std::string reference;            // the same as text
  std::array<std::string, 3> keys;  // empty where there is none
};

// The names that are not empty, with blanks between them.
std::string JoinedName(const IndexedAddress& address);

// Appends the key text of an address: PLZ|Ort|Strasse|first 15 characters of Bez1,
// trimmed|Bez1|Bez2|Bez3||group
void AppendKeyText(std::string& text, const IndexedAddress& address);

class AddressIndex {
 public:
  // `connection` outlives this object. `address_type`: one bit, 1 to 32.
  AddressIndex(Connection& connection, int address_type, std::shared_ptr<KeyMemory> keys);
  ~AddressIndex();

  // Whether the host keeps the index: setting "Doubletindex" of "Adressindex".
  bool IsKept();
  // Inside a step of GroupedWrites::Store: adds the row of a new address, or replaces one that was left of an earlier
  // address; it may be written behind (storage/index_row_buffer.h). Errors as of Write.
  void Add(std::int64_t number, const IndexedAddress& address);
  // Adds the row of an address, or replaces it. Raises error 5 for a number that is negative or too large for
  // AdressId or an unknown algorithm, and 3000 from the database.
  void Write(std::int64_t number, const IndexedAddress& address);
  // The address has changed, though its row is not written, as the index is not kept.
  void NoteChange(std::int64_t number);
  // Removes the row of an address, if there is one. Error 3000.
  void Remove(std::int64_t number);
  // Raises what Write would, but for the database: for an address whose row is not to be written.
  void RequireFit(std::int64_t number);
  // The row of an address that is about to be added; look-ups count on it from now on. Errors as of Write, but for the
  // database's.
  void MakeRow(std::int64_t number, const IndexedAddress& address, IndexRow& row);
  // The statement that adds so many rows (see RowInserts::AtOnce), each with its place bound by BindNew, which keeps
  // views of the row. It fails where one of the addresses has a row already.
  Statement& InsertOf(std::size_t rows) { return add_.Of(rows); }
  void BindNew(Statement& insert, std::size_t place, const IndexRow& row) const;
  // The same for rows that are copied: their target, and the rows themselves.
  static std::string CopyTarget();
  void AppendNew(CopiedRows& rows, const IndexRow& row) const;

 private:
  static constexpr std::size_t kColumns = 6;

  void BuildKeys(std::int64_t number, const IndexedAddress& address);
  // The algorithms of the three keys.
  const std::array<std::string, 3>& Codes();
  void BindKeys(Statement& statement, std::size_t first, std::int64_t number,
                const KnownKeys::Keys& keys) const;

  Connection& connection_;
  Settings& settings_;
  // The generation of settings_ by which is_kept_ was found, that by which every number fits that can be indexed, and
  // that of codes_.
  std::uint64_t asked_in_ = 0;
  std::uint64_t fits_in_ = 0;
  std::uint64_t codes_in_ = 0;
  bool is_kept_ = false;
  std::array<std::string, 3> codes_;
  int address_type_;
  std::shared_ptr<KeyMemory> keys_;
  KnownKeys& known_;
  KnownKeys::Keys built_;  // the keys bound last, while keys_ has them
  KnownKeys::Hashes hashes_{};
  IndexRowBuffer new_rows_;
  RowInserts add_;
  RowInserts add_absent_;
  std::unique_ptr<Statement> update_;
  std::unique_ptr<Statement> remove_;
  std::string key_text_;
  const AddressParts nobody_;
  IndexRow row_;  // that is written
};

}  // namespace kestrel::host
