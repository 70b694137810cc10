// Whole text files: written, read, and what the slow reader reads in them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/base/text.h"
#include "sources/slow_text_reader.h"
#include "sources/text_source.h"
#include "support/temp_folder.h"

namespace kestrel::testing {

using Records = std::vector<std::vector<std::string>>;

// A new file each time, as a file system may flush one whose content is replaced, and tests write thousands.
inline std::string WriteAnew(const TempFolder& folder, std::string_view bytes) {
  std::filesystem::remove(folder.File("source.txt"));
  return folder.Write("source.txt", bytes);
}

inline Records ReadRecords(const std::string& path, const TextFormat& format) {
  const RecordsetPtr records = OpenTextSource(path, format);
  Records all;
  for (; !records->IsEof(); records->MoveNext()) {
    std::vector<std::string>& values = all.emplace_back();
    for (std::size_t i = 0; i < records->ColumnCount(); ++i) values.emplace_back(records->TextAt(i));
  }
  return all;
}

// Without a byte order mark, what is no UTF-8 is Windows-1252.
inline Records ReadSlowly(const std::string& bytes, const TextFormat& format) {
  const SlowTextReader slow(format);
  const std::u32string text = ToCodePoints(IsValidUtf8(bytes) ? bytes : FromWindows1252(bytes));
  Records all = slow.Records(text);
  const std::size_t columns = slow.ColumnNames(text).size();
  for (std::vector<std::string>& record : all) record.resize(columns);
  return all;
}

}  // namespace kestrel::testing
