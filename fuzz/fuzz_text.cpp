// Input: a byte that chooses the format, and a text file. Whatever it holds is read as the slow reader reads it.
#include <string>
#include <vector>

#include "platform/base/text.h"
#include "read_all.h"
#include "sources/slow_text_reader.h"
#include "sources/text_source.h"

namespace {

using kestrel::TextFormat;
using kestrel::testing::SlowTextReader;

TextFormat FormatOf(unsigned char choice) {
  constexpr const char* kDelimiters[] = {";", ",", "TAB", "|"};
  constexpr const char* kQualifiers[] = {"", "'", ";", "„"};
  return {(choice & 1) != 0, (choice & 2) != 0 ? "ASCII" : "ANSI", kDelimiters[choice >> 2 & 3],
          kQualifiers[choice >> 4 & 3]};
}

// The text of the file by the rules of text_source.h.
std::u32string TextOf(const std::string& bytes, const TextFormat& format) {
  const auto behind = [&](std::size_t mark) { return std::string_view(bytes).substr(mark); };
  std::string text;
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    text = kestrel::RepairUtf8(behind(3));
  } else if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
    text = kestrel::FromUtf16(behind(2), bytes.starts_with('\xFE'));
  } else if (format.file_format != "ASCII" && kestrel::IsValidUtf8(bytes)) {
    text = bytes;
  } else {
    text = kestrel::FromWindows1252(bytes);
  }
  return kestrel::testing::ToCodePoints(text);
}

void Require(bool holds) {
  if (!holds) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrel;
  if (size < 2) return 0;  // a file without any byte has a rule of its own
  const TextFormat format = FormatOf(data[0]);
  const std::string bytes = fuzz::BytesAsString(data + 1, size - 1);
  const SlowTextReader slow(format);
  const std::u32string text = TextOf(bytes, format);
  const std::vector<std::string> names = slow.ColumnNames(text);
  const std::vector<std::vector<std::string>> expected = slow.Records(text);

  const fuzz::FileInMemory file(bytes);
  const RecordsetPtr rows = OpenTextSource(file.path(), format);
  Require(rows->ColumnCount() == names.size());
  for (std::size_t column = 0; column < names.size(); ++column) {
    Require(rows->ColumnName(column) == names[column]);
  }
  Require(rows->RecordCount() == static_cast<std::int64_t>(expected.size()));
  for (const std::vector<std::string>& record : expected) {
    Require(!rows->IsEof());
    for (std::size_t column = 0; column < names.size(); ++column) {
      Require(rows->TextAt(column) == (column < record.size() ? record[column] : ""));
    }
    rows->MoveNext();
  }
  Require(rows->IsEof() && !rows->BrokenOff());
  return 0;
}
