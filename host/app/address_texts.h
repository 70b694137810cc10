// What rows of an address list can be searched for and ordered by, in memory: a hundred and some bytes a row.
//
//  1. Texts are kept as they are compared: in upper case, those that are no texts as the database tells them. Dates stand
//     there as the list shows them, too.
//  2. A field holds no line break: it keeps the fields of a row apart, so that nothing is found across two of them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "app/address_columns.h"
#include "kestrel/recordset.h"

namespace kestrel::host {

// As texts are compared when one is searched in another: without regard to case.
std::string ComparedText(std::string_view text);

class AddressTexts {
 public:
  // The current row of `rows`, which has these columns, in their order; the first is the number.
  void Add(const std::vector<AddressColumn>& columns, const Recordset& rows);

  std::size_t Count() const { return numbers_.size(); }
  std::size_t Bytes() const {
    return texts_.capacity() + Count() * (sizeof(std::size_t) + sizeof(std::int64_t));
  }
  // Gives back the room that was meant for more rows.
  void Close();

  std::int64_t NumberOf(std::size_t row) const { return numbers_[row]; }
  // What the row is ordered by: of a text names without regard to case and umlauts, as in a German directory.
  std::string OrderText(std::size_t row, const AddressColumn& column, std::size_t position) const;
  double OrderNumber(std::size_t row, std::size_t position) const;

  // The first row from `row` on that holds the text, which ComparedText made, in whatever column; Count() where none
  // does. All rows hold the empty text.
  std::size_t FindFrom(std::size_t row, std::string_view text) const;

 private:
  std::string_view Field(std::size_t row, std::size_t position) const;
  std::size_t BeginOf(std::size_t row) const { return row == 0 ? 0 : ends_[row - 1]; }

  std::string texts_;
  std::vector<std::size_t> ends_;  // of the rows in texts_
  std::vector<std::int64_t> numbers_;
};

}  // namespace kestrel::host
