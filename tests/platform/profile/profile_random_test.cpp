// Random files against a second, obvious implementation that works line by line on every question.
#include <gmock/gmock.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/text.h"
#include "platform/profile/profile.h"
#include "support/temp_folder.h"
#include "support/write_key.h"

namespace kestrel {
namespace {

using testing::ReadBytes;
using testing::TempFolder;
using testing::WriteKey;

// --- The second implementation -----------------------------------------------------------------

std::vector<std::string> LinesOf(const std::string& text) {  // each with its line end
  std::vector<std::string> lines;
  std::string line;
  for (std::size_t i = 0; i < text.size(); ++i) {
    line += text[i];
    if (text[i] == '\n' || (text[i] == '\r' && (i + 1 == text.size() || text[i + 1] != '\n'))) {
      lines.push_back(line);
      line.clear();
    }
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

std::string Trimmed(std::string text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && blank(text.back())) text.pop_back();
  while (!text.empty() && blank(text.front())) text.erase(0, 1);
  return text;
}

bool Same(const std::string& a, const std::string& b) { return UpperCase(a) == UpperCase(b); }

bool IsHeading(const std::string& line) {
  const std::string text = Trimmed(line);
  return !text.empty() && text[0] == '[' && text.find(']') != std::string::npos;
}

std::string HeadingName(const std::string& line) {
  const std::string text = Trimmed(line);
  return Trimmed(text.substr(1, text.rfind(']') - 1));
}

bool IsEntry(const std::string& line) {
  const std::string text = Trimmed(line);
  return !text.empty() && text[0] != ';' && !IsHeading(line) && text.find('=') != std::string::npos;
}

std::string KeyOf(const std::string& line) { return Trimmed(line.substr(0, line.find('='))); }
std::string RawValueOf(const std::string& line) { return Trimmed(line.substr(line.find('=') + 1)); }

// The lines [begin, end) of the first section of that name behind its heading; begin 0 where it is missing.
std::pair<std::size_t, std::size_t> SectionLines(const std::vector<std::string>& lines,
                                                 const std::string& section) {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (!IsHeading(lines[i]) || !Same(HeadingName(lines[i]), section)) continue;
    std::size_t end = i + 1;
    while (end < lines.size() && !IsHeading(lines[end])) ++end;
    return {i + 1, end};
  }
  return {0, 0};
}

std::string SlowFind(const std::string& text, const std::string& section, const std::string& key) {
  const std::vector<std::string> lines = LinesOf(text);
  const auto [begin, end] = SectionLines(lines, section);
  for (std::size_t i = begin; i < end; ++i) {
    if (!IsEntry(lines[i]) || !Same(KeyOf(lines[i]), key)) continue;
    std::string value = RawValueOf(lines[i]);
    for (const char quote : {'"', '\''}) {
      if (value.size() >= 2 && value.front() == quote && value.back() == quote) {
        return value.substr(1, value.size() - 2);
      }
    }
    return value;
  }
  return "<none>";
}

std::string SlowSection(const std::string& text, const std::string& section) {
  const std::vector<std::string> lines = LinesOf(text);
  const auto [begin, end] = SectionLines(lines, section);
  std::string list;
  for (std::size_t i = begin; i < end; ++i) {
    if (IsEntry(lines[i])) list += KeyOf(lines[i]) + "=" + RawValueOf(lines[i]) + "|";
  }
  return list;
}

std::string SlowWrite(const std::string& text, const std::string& section, const std::string& key,
                      const std::string& value) {
  std::vector<std::string> lines = LinesOf(text);
  const auto end_line = [&](std::size_t i) {
    if (lines[i].back() != '\n' && lines[i].back() != '\r') lines[i] += "\r\n";
  };
  auto [begin, end] = SectionLines(lines, section);
  if (begin == 0) {
    if (!lines.empty()) end_line(lines.size() - 1);
    lines.push_back("[" + section + "]\r\n");
    begin = end = lines.size();
  }
  std::size_t position = begin;
  for (std::size_t i = begin; i < end; ++i) {
    if (!IsEntry(lines[i])) continue;
    position = i + 1;
    if (!Same(KeyOf(lines[i]), key)) continue;
    if (RawValueOf(lines[i]) != value) {
      const std::size_t text_end = std::min(lines[i].find_first_of("\r\n"), lines[i].size());
      std::size_t from = lines[i].find('=') + 1;
      while (from < text_end && (lines[i][from] == ' ' || lines[i][from] == '\t')) ++from;
      lines[i] = lines[i].substr(0, from) + value + lines[i].substr(text_end);
    }
    position = std::string::npos;
    break;
  }
  if (position != std::string::npos) {
    end_line(position - 1);
    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(position), key + "=" + value + "\r\n");
  }
  std::string result;
  for (const std::string& line : lines) result += line;
  return result;
}

// --- Random files ------------------------------------------------------------------------------

class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}
  std::size_t Below(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(engine_);
  }
  const std::string& Of(const std::vector<std::string>& list) { return list[Below(list.size())]; }

 private:
  std::mt19937 engine_;
};

// Few names, so that sections and keys meet often.
const std::vector<std::string> kSections = {"Common",      "COMMON",      "FieldFormat",
                                            "Übersetzung", "übersetzung", "a]b"};
const std::vector<std::string> kKeys = {"Table", "table", "Größe", "GRÖßE", "<Empty>", "x y", "Feld01"};
const std::vector<std::string> kValues = {"",    "1",   "\"",       "''", "\"quoted\"", "'it''s'",    "a=b",
                                          "[x]", ";no", "Straße 5", "€",  "FIELD:A:B",  "\" blank \""};
const std::vector<std::string> kBlanks = {"", "", "", " ", "\t", "  "};
const std::vector<std::string> kEnds = {"\r\n", "\r\n", "\n", "\r"};

std::string RandomText(Dice& dice) {
  std::string text;
  const std::size_t lines = dice.Below(25);
  for (std::size_t i = 0; i < lines; ++i) {
    const auto blank = [&] { return dice.Of(kBlanks); };
    switch (dice.Below(8)) {
      case 0:
      case 1: text += blank() + "[" + blank() + dice.Of(kSections) + blank() + "]" + blank(); break;
      case 2: text += blank() + ";" + dice.Of(kKeys) + "=" + dice.Of(kValues); break;
      case 3: text += dice.Of({"", " ", "junk", "[open", "=", "= x", "[open=1"}); break;
      default: text += blank() + dice.Of(kKeys) + blank() + "=" + blank() + dice.Of(kValues) + blank(); break;
    }
    if (i + 1 < lines || dice.Below(2) == 0) text += dice.Of(kEnds);
  }
  return text;
}

TEST(ProfileRandom, ReadsAndWritesAsTheObviousImplementationDoes) {
  const TempFolder folder;
  const std::string path = folder.File("random.imp");
  Dice dice(20240307);
  ProfileStore store;
  for (int round = 0; round < 200; ++round) {
    std::string text = RandomText(dice);
    const bool utf8 = dice.Below(2) == 0;
    const std::string mark = utf8 ? "\xEF\xBB\xBF" : "";
    const auto encode = [&](const std::string& content) {
      return mark + (utf8 ? content : ToWindows1252(content));
    };
    folder.Write("random.imp", encode(text));
    for (int step = 0; step < 4; ++step) {
      const auto image = store.Read(path);
      for (const std::string& section : kSections) {
        for (const std::string& key : kKeys) {
          ASSERT_EQ(std::string(image->Find(section, key).value_or("<none>")), SlowFind(text, section, key))
              << "round " << round << ", [" << section << "] " << key << " in\n"
              << text;
        }
        std::string list;
        if (const ProfileImage::Section* found = image->FindSection(section)) {
          for (const ProfileImage::Entry& entry : found->entries) list += entry.key + "=" + entry.value + "|";
        }
        ASSERT_EQ(list, SlowSection(text, section)) << "round " << round << ", [" << section << "] in\n"
                                                    << text;
      }
      const std::string& section = dice.Of(kSections);
      const std::string& key = dice.Of(kKeys);
      const std::string& value = dice.Of(kValues);
      const std::string before = text;
      text = SlowWrite(text, section, key, value);
      WriteKey(store, path, section, key, value);
      ASSERT_EQ(ReadBytes(path), encode(text))
          << "round " << round << ", [" << section << "] " << key << "=" << value << " into\n"
          << before;
    }
  }
}

TEST(ProfileRandom, NoBytesWhateverHarmTheReader) {
  std::mt19937 engine(7);
  std::uniform_int_distribution<int> byte(0, 255);
  const std::string_view likely("[]=;\"'\r\n\0 \tAa\xEF\xBB\xBF\xFF\xFE", 18);
  for (int round = 0; round < 3000; ++round) {
    std::string bytes;
    for (int i = byte(engine); i > 0; --i) {
      const auto any = static_cast<std::size_t>(byte(engine));
      bytes += any < 160 ? likely[any % likely.size()] : static_cast<char>(any);
    }
    const ProfileImage image(bytes);
    for (const ProfileImage::Section& section : image.Sections()) {
      EXPECT_TRUE(IsValidUtf8(section.name));
      for (const ProfileImage::Entry& entry : section.entries) {
        EXPECT_TRUE(IsValidUtf8(entry.key) && IsValidUtf8(entry.value));
        EXPECT_TRUE(image.Find(section.name, entry.key).has_value() ||
                    image.FindSection(section.name) != &section);
      }
    }
  }
}

}  // namespace
}  // namespace kestrel
