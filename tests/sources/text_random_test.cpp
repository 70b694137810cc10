// The text reader against a slow and obvious one, on random files of every kind.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "platform/base/text.h"
#include "sources/slow_text_reader.h"
#include "sources/text_source.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::SlowTextReader;
using testing::TempFolder;
using testing::ToCodePoints;
using testing::ToUtf8;

enum class Encoding { kWindows1252, kUtf8, kUtf8Mark, kUtf16Little, kUtf16Big };

std::string ToUtf16(std::u32string_view text, bool big_endian) {
  std::string bytes;
  const auto append = [&bytes, big_endian](std::uint32_t unit) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += big_endian ? high : low;
    bytes += big_endian ? low : high;
  };
  for (const char32_t code_point : text) {
    if (code_point < 0x10000) {
      append(code_point);
    } else {
      append(0xD800 + ((code_point - 0x10000) >> 10));
      append(0xDC00 + ((code_point - 0x10000) & 0x3FF));
    }
  }
  return bytes;
}

std::string Encode(const std::u32string& text, Encoding encoding) {
  switch (encoding) {
    case Encoding::kWindows1252: return ToWindows1252(ToUtf8(text));
    case Encoding::kUtf8: return ToUtf8(text);
    case Encoding::kUtf8Mark: return "\xEF\xBB\xBF" + ToUtf8(text);
    case Encoding::kUtf16Little: return "\xFF\xFE" + ToUtf16(text, false);
    case Encoding::kUtf16Big: return "\xFE\xFF" + ToUtf16(text, true);
  }
  return {};
}

class RandomTextFile {
 public:
  explicit RandomTextFile(unsigned seed) : random_(seed) {}

  std::size_t Roll(std::size_t sides) {
    return std::uniform_int_distribution<std::size_t>(0, sides - 1)(random_);
  }
  template <class Kind>
  Kind Pick(const std::vector<Kind>& list) {
    return list[Roll(list.size())];
  }

  TextFormat Format() {
    return {Roll(2) == 0, Pick<std::string>({"ANSI", "ASCII", "ascii", ""}),
            Pick<std::string>({";", ";", ";", "TAB", ",", "|", "§", "ä", "", ";;", "\"", " "}),
            Pick<std::string>({"\"", "\"", "", "'", "„", "''"})};
  }

  // Text with separators, quotes and letters in all sorts of density.
  std::u32string Text(const TextFormat& format, Encoding encoding) {
    const std::u32string delimiter = format.delimiter == "TAB" ? U"\t" : ToCodePoints(format.delimiter);
    const std::u32string qualifier =
        format.text_recognition.empty() ? U"\"" : ToCodePoints(format.text_recognition);
    const std::u32string line_end = Pick<std::u32string>({U"\r\n", U"\r\n", U"\r", U"\n", U"\n\r"});
    std::vector<std::u32string> pieces = {delimiter, delimiter, qualifier, line_end, U" ",
                                          U"a",      U"Straße", U"ü",      U"€",     U"„”\u0081Ž™šá"};
    if (encoding != Encoding::kWindows1252) pieces.push_back(U"Ω漢😀");
    if (Roll(4) == 0) pieces.insert(pieces.end(), {U"\r", U"\n", std::u32string(1, U'\0')});
    const std::size_t letters = Roll(30);
    std::u32string text;
    for (std::size_t count = Roll(400); count != 0; --count) {
      text += Pick(pieces);
      text.append(Roll(letters + 1), static_cast<char32_t>(U'b' + Roll(20)));
    }
    if (Roll(3) == 0) text += line_end;
    return text;
  }

 private:
  std::mt19937 random_;
};

std::vector<std::vector<std::string>> AllValues(Recordset& records, bool backwards) {
  std::vector<std::vector<std::string>> all;
  for (records.MoveFirst(); !records.IsEof(); records.MoveNext()) {
    std::vector<std::string_view> views(records.ColumnCount());
    for (std::size_t i = 0; i < views.size(); ++i) {
      const std::size_t column = backwards ? views.size() - 1 - i : i;
      views[column] = records.TextAt(column);
    }
    // Every view must still hold when the last one has been asked for.
    all.emplace_back(views.begin(), views.end());
  }
  return all;
}

TEST(RandomTextFiles, ReadAsTheSlowReaderReadsThem) {
  const TempFolder folder;
  RandomTextFile random(20240307);
  int compared = 0;
  for (int round = 0; round < 1000; ++round) {
    const TextFormat format = random.Format();
    const Encoding encoding = static_cast<Encoding>(random.Roll(5));
    const std::u32string text = random.Text(format, encoding);
    const std::string bytes = Encode(text, encoding);
    const bool is_utf8 = IsValidUtf8(bytes) && LengthInCharacters(bytes) != bytes.size();
    // Bytes without a mark may look like the other character set; then there is nothing to compare with.
    if (encoding == Encoding::kWindows1252 && is_utf8) continue;
    if (encoding == Encoding::kUtf8 && format.file_format == "ASCII" && is_utf8) continue;

    const std::string path = folder.Write("random.txt", bytes);
    const SlowTextReader slow(format);
    const std::vector<std::string> names = slow.ColumnNames(text);
    SCOPED_TRACE(::testing::Message() << "round " << round << ", delimiter [" << format.delimiter
                                      << "], qualifier [" << format.text_recognition << "], format ["
                                      << format.file_format << "], headings " << format.column_headings
                                      << ", encoding " << static_cast<int>(encoding));

    std::vector<std::string> closed_names = names;
    closed_names.emplace_back();
    ASSERT_EQ(ReadTextFieldNames(path, format), closed_names);

    std::vector<std::vector<std::string>> expected = slow.Records(text);
    for (std::vector<std::string>& record : expected) record.resize(names.size());
    const RecordsetPtr records = OpenTextSource(path, format);
    ASSERT_EQ(records->RecordCount(), static_cast<std::int64_t>(expected.size()));
    ASSERT_EQ(AllValues(*records, random.Roll(2) == 0), expected);
    ++compared;
  }
  EXPECT_GT(compared, 700);
}

TEST(RandomTextFiles, OfQuotesAndDelimitersAroundEveryBlockBoundary) {
  const TempFolder folder;
  RandomTextFile random(64);
  const TextFormat format{false, "ANSI", ";", "\""};
  const SlowTextReader slow(format);
  // As many columns as any line has values.
  std::u32string text(199, U';');
  for (int line = 0; line < 3000; ++line) {
    text += U"\r\n";
    for (std::size_t pieces = 1 + random.Roll(20); pieces != 0; --pieces) {
      const std::u32string filler(random.Roll(30), U'x');
      text += random.Pick<std::u32string>({U"\"" + filler + U"\";", filler + U";", filler, U"\"", U";", U"ü",
                                           U"\"\";", U"\"" + filler + U";ä\";", U"\"" + filler + U"\""});
    }
  }
  const RecordsetPtr records = OpenTextSource(folder.Write("quotes.txt", ToWindows1252(ToUtf8(text))), format);
  std::vector<std::vector<std::string>> expected = slow.Records(text);
  for (std::vector<std::string>& record : expected) record.resize(199);
  ASSERT_EQ(AllValues(*records, false), expected);
}

TEST(RandomLines, AreCutAsTheSlowReaderCutsThem) {
  RandomTextFile random(4711);
  ValueSlots slots;
  for (int round = 0; round < 800; ++round) {
    TextFormat format = random.Format();
    if (format.delimiter == "TAB") format.delimiter = "\t";
    std::u32string line = random.Text(format, Encoding::kUtf8);
    const std::string qualifier = format.text_recognition.empty() ? "\"" : format.text_recognition;
    SplitTextLine(ToUtf8(line), format.delimiter, qualifier, slots);
    ASSERT_EQ(std::vector<std::string>(slots.begin(), slots.end()), SlowTextReader(format).SplitLine(line))
        << ToUtf8(line);
  }
}

TEST(RandomHeaders, GiveTheNamesThatTheSlowReaderGives) {
  RandomTextFile random(99);
  for (int round = 0; round < 800; ++round) {
    const TextFormat format = random.Format();
    std::u32string line = random.Text(format, Encoding::kUtf8).substr(0, random.Roll(80));
    std::erase_if(line, [](char32_t character) { return character == U'\r' || character == U'\n'; });
    std::vector<std::string> expected = SlowTextReader(format).ColumnNames(line);
    expected.emplace_back();
    ASSERT_EQ(TextFieldNames(ToUtf8(line), format), expected) << ToUtf8(line);
  }
}

}  // namespace
}  // namespace kestrel
