// The code pages that files of other systems name by number (437, 850, 1252 ...), and their texts as UTF-8.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>

namespace kestrel {

class CodePage {
 public:
  // The number Windows gives the code page; 10000 is the Macintosh's Roman one, 65001 is UTF-8. Error 3000
  // for one that is unknown here.
  explicit CodePage(int number);
  static bool IsKnown(int number);

  int number() const { return number_; }

  // Appends the text that `bytes` stand for. A byte that the code page leaves free stands for the character
  // of the same number; where characters have several bytes, a malformed one becomes U+FFFD.
  void AppendTo(std::string& text, std::string_view bytes) const;
  // The text of `bytes`: themselves where they are ASCII, else a view of the start of `buffer`, which is
  // overwritten and may be longer.
  std::string_view Decode(std::string_view bytes, std::string& buffer) const;
  // The same for bytes known not to be ASCII.
  std::string_view DecodeAll(std::string_view bytes, std::string& buffer) const;
  // The same, faster, where kRoomBehind more bytes can be read behind `bytes`.
  static constexpr std::size_t kRoomBehind = 16;
  std::string_view DecodeWithRoom(std::string_view bytes, std::string& buffer) const;
  std::string ToText(std::string_view bytes) const;

 private:
  // Bytes of UTF-8; no character of a code page with single bytes needs more.
  static constexpr std::size_t kLongestCharacter = 3;
  struct Character {
    std::array<char, kLongestCharacter> utf8{};
    unsigned char length = 0;
  };
  static_assert(sizeof(Character) == kLongestCharacter + 1);  // written as one
  using Table = std::array<Character, 256>;

  static std::size_t RoomFor(std::string_view bytes);
  std::size_t WriteCharacters(std::string_view bytes, char* out) const;
  std::size_t WriteRuns(std::string_view bytes, char* out) const;
  void AppendMultiByte(std::string& text, std::string_view bytes) const;

  int number_;
  std::shared_ptr<const Table> table_;  // none where characters have several bytes
};

}  // namespace kestrel
