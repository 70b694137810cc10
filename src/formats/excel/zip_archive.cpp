#include "formats/excel/zip_archive.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "platform/base/text.h"

namespace kestrel::excel {

namespace {

enum Mark : std::uint32_t { kPartMark = 0x04034B50, kEntryMark = 0x02014B50, kEndMark = 0x06054B50 };
constexpr std::size_t kPartHead = 30;
constexpr std::size_t kEntryHead = 46;
constexpr std::size_t kEndSize = 22;
constexpr std::size_t kMostComment = 65535;

// A fuzzer could never guess a checksum.
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
constexpr bool kComparesChecksums = false;
#else
constexpr bool kComparesChecksums = true;
#endif

constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kDeflated = 8;

constexpr std::uint64_t kMostTimes = 80;
constexpr std::uint64_t kAlwaysUnpacked = std::uint64_t{64} << 20;

// The record that closes the archive: the last one, though a comment may follow it.
Bytes FindEnd(Bytes file) {
  if (file.size() < kEndSize) RaiseDamaged("das Ende des Archivs fehlt");
  const std::size_t first = file.size() - std::min(file.size(), kEndSize + kMostComment);
  for (std::size_t at = file.size() - kEndSize + 1; at-- > first;) {
    if (ReadU32(file, at) == kEndMark) return Part(file, at, kEndSize);
  }
  RaiseDamaged("das Ende des Archivs fehlt");
}

}  // namespace

bool ZipArchive::IsOne(Bytes file) { return file.size() >= 4 && ReadU32(file, 0) == kPartMark; }

ZipArchive::ZipArchive(Bytes file) : file_(file) {
  const Bytes end = FindEnd(file);
  const std::size_t count = ReadU16(end, 10);
  std::size_t at = ReadU32(end, 16);
  for (std::size_t i = 0; i < count; ++i) {
    const Bytes head = kestrel::Part(file, at, kEntryHead);
    if (ReadU32(head, 0) != kEntryMark) RaiseDamaged("das Inhaltsverzeichnis des Archivs ist falsch");
    Part part;
    part.encrypted = (ReadU16(head, 8) & 1) != 0;
    part.method = ReadU16(head, 10);
    part.checksum = ReadU32(head, 16);
    part.packed_size = ReadU32(head, 20);
    part.size = ReadU32(head, 24);
    part.head = ReadU32(head, 42);
    const std::size_t name_size = ReadU16(head, 28);
    part.name = CharactersOf(kestrel::Part(file, at + kEntryHead, name_size));
    std::replace(part.name.begin(), part.name.end(), '\\', '/');  // some writers take the wrong separator
    at += kEntryHead + name_size + ReadU16(head, 30) + ReadU16(head, 32);
    parts_.push_back(std::move(part));
  }
}

const ZipArchive::Part* ZipArchive::Find(std::string_view name) const {
  if (name.starts_with('/')) name.remove_prefix(1);
  const auto part = std::find_if(parts_.begin(), parts_.end(), [&](const Part& candidate) {
    return EqualsIgnoringCase(candidate.name, name);
  });
  return part == parts_.end() ? nullptr : &*part;
}

Bytes ZipArchive::Packed(const Part& part) const {
  if (part.encrypted) {
    throw FormatError("Das Archiv ist mit einem Kennwort verschlüsselt");
  }
  if (part.packed_size == std::numeric_limits<std::uint32_t>::max())
    RaiseDamaged("ein Teil des Archivs ist zu groß");
  const Bytes head = kestrel::Part(file_, part.head, kPartHead);
  if (ReadU32(head, 0) != kPartMark) RaiseDamaged("ein Teil des Archivs fehlt");
  return kestrel::Part(file_, part.head + kPartHead + ReadU16(head, 26) + ReadU16(head, 28), part.packed_size);
}

struct ZipStream::Inflater {
  explicit Inflater(Bytes packed) {
    state.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(packed.data()));  // only read
    state.avail_in = static_cast<uInt>(packed.size());
    constexpr int kRawDeflate = -MAX_WBITS;
    if (inflateInit2(&state, kRawDeflate) != Z_OK) throw RuntimeError(ErrorNumber::kOutOfMemory);
  }
  ~Inflater() { inflateEnd(&state); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  z_stream state{};
};

std::uint64_t UnpackBudget::Limit(std::size_t packed) { return std::max(kAlwaysUnpacked, packed * kMostTimes); }

void UnpackBudget::Take(std::size_t bytes) {
  if (bytes > left_)
    RaiseDamaged("die Teile des Archivs würden zusammen entpackt größer, als es bei seiner Größe sein kann");
  left_ -= bytes;
}

ZipStream::ZipStream(const ZipArchive& archive, const ZipArchive::Part& part, UnpackBudget& budget)
    : budget_(budget), packed_(archive.Packed(part)), size_(part.size), expected_checksum_(part.checksum) {
  if (size_ > UnpackBudget::Limit(packed_.size())) {
    RaiseDamaged("ein Teil des Archivs würde entpackt " + std::to_string(size_ >> 20) +
                 " MB groß, was bei seiner Größe nicht sein kann");
  }
  if (part.method == kDeflated) {
    inflater_ = std::make_unique<Inflater>(packed_);
  } else if (part.method != kStored || packed_.size() != size_) {
    RaiseDamaged("ein Teil des Archivs ist auf unbekannte Art gepackt");
  }
}

ZipStream::~ZipStream() = default;

std::size_t ZipStream::Unpack(char* buffer, std::size_t size) {
  if (inflater_ == nullptr) {
    std::memcpy(buffer, packed_.data() + position_, size);
    return size;
  }
  z_stream& state = inflater_->state;
  state.next_out = reinterpret_cast<Bytef*>(buffer);
  state.avail_out = static_cast<uInt>(size);
  while (state.avail_out > 0) {
    const int result = inflate(&state, Z_NO_FLUSH);
    if (result == Z_STREAM_END) break;
    if (result != Z_OK) RaiseDamaged("ein Teil des Archivs lässt sich nicht entpacken");
  }
  return size - state.avail_out;
}

std::size_t ZipStream::Read(char* buffer, std::size_t size) {
  size = static_cast<std::size_t>(std::min<std::uint64_t>(size, size_ - position_));
  if (size == 0) return 0;
  budget_.Take(size);
  const std::size_t got = Unpack(buffer, size);
  if (got == 0) RaiseDamaged("ein Teil des Archivs endet zu früh");
  position_ += got;
  checksum_ = static_cast<std::uint32_t>(
      crc32(checksum_, reinterpret_cast<const Bytef*>(buffer), static_cast<uInt>(got)));
  if (kComparesChecksums && position_ == size_ && checksum_ != expected_checksum_) {
    RaiseDamaged("eine Prüfsumme des Archivs ist falsch");
  }
  return got;
}

}  // namespace kestrel::excel
