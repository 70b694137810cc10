// Records and values that cannot be shown as they stand in the file: decoding, and memory that is used again for
// every record.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace kestrel {

// Memory for the values of one record. What was kept stays in place until Reset.
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

// The value without any of its qualifiers, in `scratch`.
std::string_view WithoutQualifiers(std::string_view value, char qualifier, ValueScratch& scratch);

// Records from a file's character set to UTF-8. ASCII characters stay where they stand among the others.
class RecordDecoder {
 public:
  // `windows_1252`: else the bytes are UTF-8 already and stay. `repair_umlauts` as in a DOS file; only
  // with `windows_1252`.
  RecordDecoder(bool windows_1252, bool repair_umlauts);

  // The record's text, itself where nothing has to change, behind which kBlockSize more bytes can be read, as they can
  // behind `record`. Valid until the next call.
  std::string_view Decode(std::string_view record);
  // The same with nothing but what every processor has.
  std::string_view DecodePlainly(std::string_view record);

 private:
  // The UTF-8 bytes of a character, and how many they are.
  struct Entry {
    std::array<char, 3> bytes{};
    unsigned char size = 0;
  };
  // The buffer holds that much, and nothing yet.
  void Reserve(std::size_t size);
  // `Block` as in avx2_block.h.
  template <class Block>
  std::string_view DecodeBy(std::string_view record);
  std::string_view DecodeByAvx2(std::string_view record);

  std::array<Entry, 256> entries_;
  bool windows_1252_;
  std::unique_ptr<char[]> buffer_;
  std::size_t capacity_ = 0;
};

}  // namespace kestrel
