// The values of one record on their way into its table, one a field of the destination.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/connection.h"
#include "platform/data/copied_rows.h"
#include "schema/destination.h"
#include "storage/field_value.h"

namespace kestrel::host {

// Texts are views of the record's; so are dates of the converter's.
using RecordValues = std::vector<StoredValue>;

// The text of a value; empty for one that is none.
std::string_view TextOf(const StoredValue& value);

void Bind(Statement& statement, std::size_t parameter, const StoredValue& value);
void Append(CopiedRows& rows, const StoredValue& value);

// The columns of all fields, with commas between them.
std::string ColumnList(const Destination& destination);
// "table (columns)", one a field, with what the database wants to be told beside.
std::string InsertTarget(const Destination& destination);
// "INSERT INTO table (columns) VALUES (?, ...)", one parameter a field.
std::string InsertText(const Destination& destination);
// "UPDATE table SET `sets` WHERE number = ?".
std::string UpdateText(const Destination& destination, const std::string& sets);

// For a trial table: "INSERT INTO table ...", which takes over the row that the table it stands for has of a
// number, its one parameter, unless that is taken over already.
std::string TakeOverText(const Destination& destination);

// Appends the values, so that they take little more room than their texts; of the field `left_out`, if it is one, null.
constexpr std::size_t kNoField = static_cast<std::size_t>(-1);
void Pack(const RecordValues& values, std::size_t left_out, std::string& packed);
// The values of a record that begin there. Texts are views of `packed`.
void Unpack(std::string_view packed, RecordValues& values);

}  // namespace kestrel::host
