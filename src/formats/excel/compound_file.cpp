#include "formats/excel/compound_file.h"

#include <algorithm>
#include <utility>

#include "platform/base/text.h"

namespace kestrel::excel {

namespace {

constexpr std::uint64_t kSignature = 0xE11AB1A1E011CFD0;
constexpr std::size_t kHeadSize = 512;
constexpr std::size_t kMiniSectorSize = 64;
constexpr std::size_t kEntrySize = 128;
constexpr std::size_t kAllocationSectorsInHead = 109;
constexpr std::uint32_t kLastSectorNumber = 0xFFFFFFFA;  // higher numbers are marks
constexpr std::uint32_t kNoEntry = 0xFFFFFFFF;

constexpr int kStreamEntry = 2;
constexpr int kRootEntry = 5;

}  // namespace

bool CompoundFile::IsOne(Bytes file) { return file.size() >= 8 && ReadU64(file, 0) == kSignature; }

CompoundFile::CompoundFile(Bytes file) : file_(file) {
  if (!IsOne(file) || file.size() < kHeadSize) RaiseDamaged("der Kopf ist unvollständig");
  const std::uint16_t sector_shift = ReadU16(file, 30);
  if (sector_shift != 9 && sector_shift != 12) RaiseDamaged("die Größe der Sektoren ist falsch");
  sector_size_ = std::size_t{1} << sector_shift;
  mini_cutoff_ = ReadU32(file, 56);
  ReadAllocation();
  ReadDirectory(ReadU32(file, 48));
  mini_allocation_ = Chain(ReadU32(file, 60));
  mini_sectors_ = Chain(entries_.front().first_sector);
}

// A sector; the last one of a file may be cut short.
Bytes CompoundFile::Sector(std::uint32_t sector) const {
  const std::uint64_t offset = (std::uint64_t{sector} + 1) * sector_size_;
  if (sector > kLastSectorNumber || offset >= file_.size()) return {};
  const std::size_t start = static_cast<std::size_t>(offset);
  return file_.subspan(start, std::min(sector_size_, file_.size() - start));
}

void CompoundFile::ReadAllocation() {
  const std::size_t most = file_.size() / sector_size_ + 1;
  const auto add = [&](Bytes list, std::size_t count) {
    for (std::size_t i = 0; i < count && (i + 1) * 4 <= list.size(); ++i) {
      const std::uint32_t sector = ReadU32(list, i * 4);
      if (sector <= kLastSectorNumber && allocation_sectors_.size() < most)
        allocation_sectors_.push_back(sector);
    }
  };
  add(file_.subspan(76, kAllocationSectorsInHead * 4), kAllocationSectorsInHead);
  const std::size_t numbers = sector_size_ / 4 - 1;  // the last one of a sector names the next
  std::uint32_t list = ReadU32(file_, 68);
  for (std::size_t step = 0; step < most && list <= kLastSectorNumber; ++step) {
    const Bytes sector = Sector(list);
    add(sector, numbers);
    if (sector.size() < sector_size_) break;
    list = ReadU32(sector, numbers * 4);
  }
}

std::uint32_t CompoundFile::NextSector(std::uint32_t sector) const {
  const std::size_t numbers = sector_size_ / 4;
  if (sector / numbers >= allocation_sectors_.size()) return kNoEntry;
  const Bytes table = Sector(allocation_sectors_[sector / numbers]);
  const std::size_t at = sector % numbers * 4;
  return at + 4 <= table.size() ? ReadU32(table, at) : kNoEntry;
}

ScatteredBytes CompoundFile::Chain(std::uint32_t first) const {
  ScatteredBytes bytes;
  std::size_t steps = file_.size() / sector_size_ + 1;  // a longer chain runs in a circle
  for (std::uint32_t sector = first; sector <= kLastSectorNumber && steps > 0; --steps) {
    const Bytes piece = Sector(sector);
    if (piece.empty()) break;
    bytes.Append(piece);
    sector = NextSector(sector);
  }
  return bytes;
}

ScatteredBytes CompoundFile::MiniChain(std::uint32_t first) const {
  ScatteredBytes bytes;
  std::string scratch;
  std::size_t steps = mini_sectors_.size() / kMiniSectorSize + 1;
  for (std::uint32_t sector = first; sector <= kLastSectorNumber && steps > 0; --steps) {
    const Bytes piece = mini_sectors_.Piece(std::size_t{sector} * kMiniSectorSize, kMiniSectorSize);
    if (piece.empty()) break;
    bytes.Append(piece);
    const std::size_t at = std::size_t{sector} * 4;
    if (at + 4 > mini_allocation_.size()) break;
    sector = ReadU32(mini_allocation_.Read(at, 4, scratch), 0);
  }
  return bytes;
}

void CompoundFile::ReadDirectory(std::uint32_t first_sector) {
  const ScatteredBytes directory = Chain(first_sector);
  std::string scratch;
  for (std::size_t at = 0; at + kEntrySize <= directory.size(); at += kEntrySize) {
    const Bytes bytes = directory.Read(at, kEntrySize, scratch);
    Entry entry;
    const std::size_t name_size = std::min<std::size_t>(ReadU16(bytes, 64), 64);
    entry.name = FromUtf16(CharactersOf(bytes.first(name_size >= 2 ? name_size - 2 : 0)), false);
    entry.type = ReadU8(bytes, 66);
    entry.left = ReadU32(bytes, 68);
    entry.right = ReadU32(bytes, 72);
    entry.child = ReadU32(bytes, 76);
    entry.first_sector = ReadU32(bytes, 116);
    // Files with small sectors have 32-bit sizes; some writers leave anything in the upper half.
    entry.size = sector_size_ == 512 ? ReadU32(bytes, 120) : ReadU64(bytes, 120);
    entries_.push_back(std::move(entry));
  }
  if (entries_.empty() || entries_.front().type != kRootEntry) RaiseDamaged("das Inhaltsverzeichnis fehlt");
}

std::optional<CompoundStream> CompoundFile::FindStream(std::string_view name) const {
  // The root's entries form a tree; whatever its order, every one is looked at once.
  std::vector<bool> seen(entries_.size());
  std::vector<std::uint32_t> open{entries_.front().child};
  while (!open.empty()) {
    const std::uint32_t number = open.back();
    open.pop_back();
    if (number >= entries_.size() || seen[number]) continue;
    seen[number] = true;
    const Entry& entry = entries_[number];
    if (entry.type == kStreamEntry && EqualsIgnoringCase(entry.name, name)) {
      ScatteredBytes bytes =
          entry.size < mini_cutoff_ ? MiniChain(entry.first_sector) : Chain(entry.first_sector);
      const bool is_whole = bytes.size() >= entry.size;
      bytes.Truncate(static_cast<std::size_t>(std::min<std::uint64_t>(entry.size, bytes.size())));
      return CompoundStream{std::move(bytes), is_whole};
    }
    open.push_back(entry.left);
    open.push_back(entry.right);
  }
  return std::nullopt;
}

}  // namespace kestrel::excel
