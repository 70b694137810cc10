#include "formats/dbase/memo_file.h"

#include <algorithm>

namespace kestrel::dbase {

namespace {

constexpr std::size_t kDbtBlockSize = 512;
constexpr char kEndOfText = 0x1A;
// How a memo of dBase IV and later begins; its length follows.
constexpr std::uint32_t kMemoMark = 0x0008FFFF;
constexpr std::size_t kMemoHead = 8;

}  // namespace

MemoFile::MemoFile(Bytes file, MemoKind kind) : file_(file), kind_(kind) {
  if (file.size() < kMemoHead) return;  // every memo lies outside
  if (kind == MemoKind::kFpt) {
    block_size_ = ReadU16BigEndian(file, 6);
    if (block_size_ == 0) block_size_ = 1;
    return;
  }
  // dBase III leaves the field 0 or anything else; only a multiple of the smallest block is a size.
  const std::size_t told = file.size() >= 22 ? ReadU16(file, 20) : 0;
  block_size_ = told != 0 && told % kDbtBlockSize == 0 ? told : kDbtBlockSize;
  told_size_ = std::size_t{ReadU32(file, 0)} * block_size_;  // the block that is to be the next
}

Bytes MemoFile::Read(std::uint32_t block) const {
  const std::size_t offset = std::size_t{block} * block_size_;
  if (offset >= file_.size()) RaiseDamaged("ein Memotext liegt außerhalb der Memodatei", {.offset = offset});
  return kind_ == MemoKind::kFpt ? ReadFpt(offset) : ReadDbt(offset);
}

Bytes MemoFile::ReadDbt(std::size_t offset) const {
  const Bytes rest = Rest(file_, offset);
  if (rest.size() >= kMemoHead && ReadU32(rest, 0) == kMemoMark) {
    const std::uint32_t length = ReadU32(rest, 4);
    if (length < kMemoHead || length > rest.size())
      RaiseDamaged("ein Memotext ist länger als die Memodatei", {.offset = offset});
    return Part(rest, kMemoHead, length - kMemoHead);
  }
  // dBase III tells no length; a text without its closing mark goes to the end of the file, unless that was cut
  // off: its last block need not be full, but it is there.
  const std::size_t end = CharactersOf(rest).find(kEndOfText);
  if (end != std::string_view::npos) return rest.first(end);
  if (file_.size() + block_size_ <= told_size_)
    RaiseDamaged("die Memodatei endet innerhalb des Memotexts", {.offset = offset});
  return rest;
}

Bytes MemoFile::ReadFpt(std::size_t offset) const {
  const Bytes rest = Rest(file_, offset);
  if (rest.size() < kMemoHead) RaiseDamaged("ein Memotext liegt außerhalb der Memodatei", {.offset = offset});
  const std::uint32_t length = ReadU32BigEndian(rest, 4);
  if (length > rest.size() - kMemoHead)
    RaiseDamaged("ein Memotext ist länger als die Memodatei", {.offset = offset});
  return Part(rest, kMemoHead, length);
}

}  // namespace kestrel::dbase
