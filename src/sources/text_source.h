// Delimited text files.
//
// Character set: a byte order mark selects UTF-8 or UTF-16; without one, a file whose bytes are valid UTF-8
// with at least one multi-byte character is UTF-8 when the format is "ANSI"; every other file is
// Windows-1252. Lines end at CR or CR LF; a file without any CR ends its lines at LF. Empty lines are no records.
//
// A file of more than 256 KB is read through a window: opening it looks at all of it once, and a record is
// fetched when it is moved to. It stays open meanwhile, so that it may be renamed or deleted; if it is
// changed, the next move raises 75 and leaves the record set at its end.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/recordset.h"

namespace kestrel {

// The settings a text file is read with, as stored in the specification.
struct TextFormat {
  bool column_headings = false;
  std::string file_format;       // "ASCII" exactly: repair umlauts of a DOS file
  std::string delimiter;         // "TAB", or the separator itself
  std::string text_recognition;  // the qualifier; empty is the double quote
};

inline constexpr std::size_t kValueSlots = 200;
using ValueSlots = std::array<std::string, kValueSlots>;

// Cuts one line into the slots; values keep their blanks, qualifiers are removed wherever they stand,
// values after the 200th are dropped. `delimiter` and `qualifier` are single characters; a longer delimiter
// never matches, so every slot stays empty. Raises nothing.
void SplitTextLine(std::string_view line, std::string_view delimiter, std::string_view qualifier,
                   ValueSlots& slots);

// The seven characters that German letters of code page 437 turn into when read as Windows-1252.
std::string RepairAsciiUmlauts(std::string_view text);
// What RepairAsciiUmlauts makes the seven letters of.
std::string SpoilAsciiUmlauts(std::string_view text);

// The column names of a first line, followed by one empty element.
std::vector<std::string> TextFieldNames(std::string first_line, const TextFormat& format);

// The column names of a file. Raises 53, 70, 75 ... where it cannot be read.
std::vector<std::string> ReadTextFieldNames(const std::string& path, const TextFormat& format);

// The record set of a file, with the columns that its first line gives. Columns beyond the 200th exist and stay
// empty. Raises 53, 70, 75, 7 ...
RecordsetPtr OpenTextSource(const std::string& path, const TextFormat& format);
// The same with the records of its beginning, some hundred at least where there are as many, in a time that does not
// depend on the size of the file. RecordCount counts those.
RecordsetPtr OpenTextBeginning(const std::string& path, const TextFormat& format);

}  // namespace kestrel
