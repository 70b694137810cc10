// Bytes that lie in pieces in a file, read as if they were one.
#pragma once

#include <string>
#include <vector>

#include "platform/base/byte_span.h"

namespace kestrel::excel {

class ScatteredBytes {
 public:
  ScatteredBytes() = default;
  explicit ScatteredBytes(Bytes whole) { Append(whole); }

  // Views the piece. One that continues the last piece in memory is joined to it.
  void Append(Bytes piece);
  // Drops what lies behind `size`.
  void Truncate(std::size_t size);

  std::size_t size() const { return size_; }

  // `length` bytes at `offset`; damaged (3000) beyond the end. A view of the file where they lie together,
  // else of `scratch`, which is then overwritten.
  Bytes Read(std::size_t offset, std::size_t length, std::string& scratch) const;
  // The longest part at `offset` that lies together, at most `length` bytes; empty only at the end.
  Bytes Piece(std::size_t offset, std::size_t length) const;

 private:
  struct Extent {
    std::size_t start;  // in the whole
    Bytes bytes;
  };
  std::vector<Extent> extents_;
  std::size_t size_ = 0;
};

}  // namespace kestrel::excel
