#include "formats/excel/scattered_bytes.h"

#include <algorithm>

namespace kestrel::excel {

void ScatteredBytes::Append(Bytes piece) {
  if (piece.empty()) return;
  if (!extents_.empty()) {
    Bytes& last = extents_.back().bytes;
    if (last.data() + last.size() == piece.data()) {
      last = Bytes(last.data(), last.size() + piece.size());
      size_ += piece.size();
      return;
    }
  }
  extents_.push_back(Extent{size_, piece});
  size_ += piece.size();
}

void ScatteredBytes::Truncate(std::size_t size) {
  while (size_ > size) {
    Extent& last = extents_.back();
    if (last.start >= size) {
      size_ = last.start;
      extents_.pop_back();
    } else {
      last.bytes = last.bytes.first(size - last.start);
      size_ = size;
    }
  }
}

Bytes ScatteredBytes::Piece(std::size_t offset, std::size_t length) const {
  if (offset >= size_) return {};
  const auto behind = std::upper_bound(extents_.begin(), extents_.end(), offset,
                                       [](std::size_t at, const Extent& extent) { return at < extent.start; });
  const Extent& extent = *std::prev(behind);
  const Bytes rest = extent.bytes.subspan(offset - extent.start);
  return rest.first(std::min(length, rest.size()));
}

Bytes ScatteredBytes::Read(std::size_t offset, std::size_t length, std::string& scratch) const {
  if (offset > size_ || length > size_ - offset) RaiseDamaged("sie endet zu früh");
  const Bytes piece = Piece(offset, length);
  if (piece.size() == length) return piece;
  scratch.assign(CharactersOf(piece));
  while (scratch.size() < length) {
    scratch.append(CharactersOf(Piece(offset + scratch.size(), length - scratch.size())));
  }
  return BytesOf(scratch);
}

}  // namespace kestrel::excel
