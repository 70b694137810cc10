// Whether a text that comes in pieces is valid UTF-8.
//
// Invariants
//  1. Every character that begins before the last piece's end is valid, while is_valid() says so.
//  2. character_end_ is the end of the last character beyond ASCII; it may lie behind the last piece, by 3 bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestrel {

class Utf8Check {
 public:
  // `begin`: where the text begins. `applies`: else nothing is looked at, and it is not valid.
  Utf8Check(std::size_t begin, bool applies) : valid_(applies), character_end_(begin) {}

  // Looks at the `size` bytes that follow those of the last call, or at some of those once more. kPadding bytes behind
  // them can be read, of which those that belong to the text are.
  void Look(const char* bytes, std::size_t position, std::size_t size);
  // The same with nothing but what every processor has.
  void LookPlainly(const char* bytes, std::size_t position, std::size_t size);

  bool is_valid() const { return valid_; }
  // The text ends there. A character that goes on behind it is not valid.
  void Finish(std::size_t end) { valid_ = valid_ && character_end_ <= end; }
  // Whether a character beyond ASCII has been seen.
  bool beyond_ascii() const { return beyond_ascii_; }

  static constexpr std::size_t kPadding = 64;

 private:
  // `Block` as in avx2_block.h.
  template <class Block>
  void LookBy(const char* bytes, std::size_t position, std::size_t size);
  void LookByAvx2(const char* bytes, std::size_t position, std::size_t size);
  // `high`: the block's bytes beyond ASCII, of which there are some.
  void LookAtEach(const char* block, std::size_t position, std::uint64_t high);

  bool valid_;
  bool beyond_ascii_ = false;
  std::size_t character_end_;
};

}  // namespace kestrel
