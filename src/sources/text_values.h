// Values that cannot be shown as they stand in the file: decoding, and memory that is used again for
// every record.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace kestrel {

// Memory for the decoded values of one record. What was kept stays in place until Reset.
class ValueScratch {
 public:
  // Room for `size` bytes, of which Keep() takes the first ones.
  char* Room(std::size_t size) {
    if (current_ == pieces_.size() || pieces_[current_].size - used_ < size) NextPiece(size);
    return pieces_[current_].bytes.get() + used_;
  }
  void Keep(std::size_t size) { used_ += size; }
  // Forgets all values; keeps the memory.
  void Reset() {
    current_ = 0;
    used_ = 0;
  }

 private:
  struct Piece {
    std::unique_ptr<char[]> bytes;
    std::size_t size;
  };
  void NextPiece(std::size_t size);

  std::vector<Piece> pieces_;
  std::size_t current_ = 0;
  std::size_t used_ = 0;  // of the current piece
};

// From a file's character set to UTF-8; every qualifier becomes nothing.
class ValueDecoder {
 public:
  // `windows_1252`: else the bytes are UTF-8 already and stay. `repair_umlauts` as in a DOS file; only
  // with `windows_1252`. `qualifier` is an ASCII character.
  ValueDecoder(bool windows_1252, bool repair_umlauts, char qualifier);

  // The text, in `scratch` or, where only enclosing qualifiers are to go, within `bytes`. kBlockSize more
  // bytes can be read behind `bytes`.
  std::string_view Decode(std::string_view bytes, ValueScratch& scratch) const;

 private:
  // The UTF-8 bytes of a character, and how many they are.
  struct Entry {
    std::array<char, 3> bytes{};
    unsigned char size = 0;
  };
  std::uint64_t ToDecode(const char* bytes, std::size_t size) const;
  // Writes at most a block's text to `end`; returns the new end.
  char* DecodeBlock(const char* bytes, std::size_t size, std::uint64_t to_decode, char* end) const;

  std::array<Entry, 256> entries_;
  char qualifier_;
  bool decode_high_bytes_;
};

}  // namespace kestrel
