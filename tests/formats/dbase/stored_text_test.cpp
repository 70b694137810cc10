// What dBase tables store, looked at in blocks, against the same looked at byte by byte.
#include "formats/dbase/stored_text.h"

#include <gtest/gtest.h>

#include <random>

namespace kestrel::dbase {

namespace {

// A column's bytes between others of the same kind.
class Cell {
 public:
  Cell(std::mt19937& random, std::string_view alphabet, std::size_t size) : size_(size) {
    bytes_.resize(kRoomBefore + size + CodePage::kRoomBehind);
    for (char& byte : bytes_) byte = alphabet[random() % alphabet.size()];
  }
  std::string_view text() const { return std::string_view(bytes_).substr(kRoomBefore, size_); }
  // Blanks or NULs from a place on, as columns are filled up.
  void FillFrom(std::size_t place, char fill) {
    for (std::size_t i = place; i < size_; ++i) bytes_[kRoomBefore + i] = fill;
  }

 private:
  std::size_t size_;
  std::string bytes_;
};

}  // namespace

TEST(StoredText, TextsOfColumnsOfEveryLength) {
  const CodePage page(1252);
  std::mt19937 random(11);
  std::string buffer;
  for (std::size_t size = 1; size <= 260; ++size) {
    for (int round = 0; round < 40; ++round) {
      Cell cell(random, round % 2 == 0 ? "ab " : "aaaaaaaaaaaaaaaaaaaaaaaaa\xFC", size);
      cell.FillFrom(random() % (size + 1), round % 5 == 0 ? '\0' : ' ');
      const std::string_view stored = cell.text();
      ASSERT_EQ(PaddedText(stored, page, buffer), page.ToText(TrimEnd(stored))) << stored;
    }
  }
}

// Columns of more than 32 bytes are read without blocks.
TEST(StoredText, NumbersOfShortAndLongColumnsReadAlike) {
  const CodePage page(850);
  std::mt19937 random(12);
  for (int round = 0; round < 200'000; ++round) {
    const std::size_t size = 1 + random() % 20;
    Cell cell(random, round % 2 == 0 ? "00123 .-" : " 0019.", size);
    if (round % 3 == 0) cell.FillFrom(size - random() % size, ' ');
    const std::string wide = std::string(kRoomBefore + 30, ' ').append(cell.text());
    std::string short_buffer, long_buffer;
    ASSERT_EQ(NumberText(cell.text(), page, short_buffer),
              NumberText(std::string_view(wide).substr(kRoomBefore), page, long_buffer))
        << '"' << cell.text() << '"';
  }
}

TEST(StoredText, NumbersThatFillTheirColumn) {
  const CodePage page(850);
  std::string buffer;
  const std::string before(kRoomBefore, '9');
  const auto text_of = [&](const std::string& stored) {
    const std::string bytes = before + stored;
    return std::string(NumberText(std::string_view(bytes).substr(kRoomBefore), page, buffer));
  };
  EXPECT_EQ(text_of("12345678901234567890123456789.50"), "12345678901234567890123456789,5");
  EXPECT_EQ(text_of("1"), "1");
  EXPECT_EQ(text_of("5."), "5");
  EXPECT_EQ(text_of("5.000"), "5");
  EXPECT_EQ(text_of("0.10"), "0,1");
  EXPECT_EQ(text_of(""), "");
}

}  // namespace kestrel::dbase
