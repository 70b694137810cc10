// The head of a dBase table: which columns it has and where its records lie.
//
// Read are the tables of dBase III to 7, of FoxPro and of Visual FoxPro, and those of the many programs that
// write like one of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "formats/dbase/table_file.h"

namespace kestrel::dbase {

// Offset in the file of the byte that tells the code page.
inline constexpr std::size_t kLanguageMark = 29;

// What a memo column points into.
enum class MemoKind { kNone, kDbt, kFpt };

struct Column {
  std::string name;  // in the table's code page, as stored
  char type = 'C';
  std::size_t offset = 0;  // in the record, whose first byte is the deletion mark
  std::size_t length = 0;
  // Bits of the record's null flags: set for null; set where a V column is shorter than its field.
  std::optional<std::size_t> null_bit;
  std::optional<std::size_t> length_bit;
};

struct Header {
  bool is_level7 = false;
  bool is_visual_foxpro = false;
  // The code page by the language mark, or by the language driver's name at level 7; none where the table does
  // not say.
  std::optional<int> code_page;
  // The language mark where it stands for no code page that is known here.
  std::optional<std::uint8_t> unknown_language;
  MemoKind memo = MemoKind::kNone;
  std::vector<Column> columns;   // hidden ones left out
  std::size_t first_record = 0;  // offset in the file
  std::size_t record_length = 0;
  // As many as the head tells and the file holds.
  std::size_t record_count = 0;
  // What the head tells.
  std::size_t told_count = 0;
  // How many records the file seems to hold behind those.
  std::size_t untold_count = 0;
  // Offset and length in the record of the null flags; length 0 where the table has none.
  std::size_t null_flags = 0;
  std::size_t null_flags_length = 0;
};

// Reads the head of a table's file. FormatError where the bytes are no dBase table, one of dBase II, or their
// lengths contradict each other; else what reading raises.
Header ReadHeader(const TableFile& file);

}  // namespace kestrel::dbase
