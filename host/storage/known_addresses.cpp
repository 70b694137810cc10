#include "storage/known_addresses.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace kestrel::host {

namespace {

constexpr std::size_t kFirstHeads = 4096;

// What stands before the characters of an address, or alone.
struct Header {
  std::int64_t row;
  std::uint8_t names;  // their lengths follow
  std::uint16_t marks;
  char house_letter;
  bool is_company;
  std::uint8_t postcode, town, town_word, town_word_at, street, street_word, street_word_at, house_number;
};

// What stands there of a row that was learned, and in place of the number of names.
struct LearnedHeader {
  std::int64_t row;
  std::uint8_t names;
  std::array<std::uint32_t, KnownAddresses::kKeys> hashes;  // of the keys, what their tags leave out
};
constexpr std::uint8_t kLearned = 0xFF;
static_assert(AddressView::kMostNames < kLearned);

// False where it is more than a byte tells.
bool Tell(std::uint8_t& to, std::size_t number) {
  to = static_cast<std::uint8_t>(number);
  return number <= std::numeric_limits<std::uint8_t>::max();
}

// A part of a text, which says where in it.
bool TellPart(std::uint8_t& length, std::uint8_t& at, std::string_view part, std::string_view whole) {
  return Tell(length, part.size()) && Tell(at, whole.find(part));
}

}  // namespace

bool KnownAddresses::HasRoom() const {
  return entries_.size() * sizeof(Entry) + heads_.size() * sizeof(heads_[0]) + blocks_.size() * kBlockBytes <
         most_bytes_;
}

bool KnownAddresses::WouldHold(std::size_t rows) const {
  return rows * (sizeof(Entry) + sizeof(Header)) + std::bit_ceil(kKeys * rows) * sizeof(heads_[0]) <
         most_bytes_;
}

char* KnownAddresses::TakeRoom(std::size_t size, std::uint32_t& place) {
  if (used_ + size > kBlockBytes) {
    blocks_.push_back(std::make_unique_for_overwrite<char[]>(kBlockBytes));
    used_ = 0;
  }
  place = static_cast<std::uint32_t>((blocks_.size() - 1) * kBlockBytes + used_);
  char* const room = blocks_.back().get() + used_;
  used_ += size;
  return room;
}

bool KnownAddresses::Pack(const AddressView& address, std::int64_t row, std::uint32_t& place) {
  Header header{};
  header.row = row;
  header.marks = address.marks;
  header.house_letter = address.house_letter;
  header.is_company = address.is_company;
  header.names = address.name_count;
  std::array<std::uint8_t, AddressView::kMostNames> lengths{};
  bool fits = Tell(header.postcode, address.postcode.size()) && Tell(header.town, address.town.size()) &&
              Tell(header.street, address.street.size()) &&
              Tell(header.house_number, address.house_number.size()) &&
              TellPart(header.town_word, header.town_word_at, address.town_word, address.town) &&
              TellPart(header.street_word, header.street_word_at, address.street_word, address.street);
  std::size_t size = sizeof header + address.name_count + address.postcode.size() + address.town.size() +
                     address.street.size() + address.house_number.size();
  for (std::size_t i = 0; i < address.name_count; ++i) {
    fits = fits && Tell(lengths[i], address.all_names[i].size());
    size += address.all_names[i].size();
  }
  if (!fits || !HasRoom()) return false;
  char* to = TakeRoom(size, place);
  const auto put = [&to](const void* from, std::size_t count) {
    if (count > 0) std::memcpy(to, from, count);
    to += count;
  };
  put(&header, sizeof header);
  put(lengths.data(), address.name_count);
  for (const std::string_view text : {address.postcode, address.town, address.street, address.house_number}) {
    put(text.data(), text.size());
  }
  for (const std::string_view name : address.names()) put(name.data(), name.size());
  return true;
}

AddressView KnownAddresses::Unpack(const Entry& entry) const {
  const char* from = TextOf(entry);
  Header header;
  std::memcpy(&header, from, sizeof header);
  const char* lengths = from + sizeof header;
  from = lengths + header.names;
  const auto take = [&from](std::uint8_t length) {
    const std::string_view text(from, length);
    from += length;
    return text;
  };
  AddressView address;
  address.marks = header.marks;
  address.house_letter = header.house_letter;
  address.is_company = header.is_company;
  address.name_count = header.names;
  address.postcode = take(header.postcode);
  address.town = take(header.town);
  address.street = take(header.street);
  address.house_number = take(header.house_number);
  address.town_word = address.town.substr(header.town_word_at, header.town_word);
  address.street_word = address.street.substr(header.street_word_at, header.street_word);
  for (std::size_t i = 0; i < header.names; ++i) {
    address.all_names[i] = take(static_cast<std::uint8_t>(lengths[i]));
  }
  return address;
}

bool KnownAddresses::IsLearned(const Entry& entry) const {
  Header header;
  std::memcpy(&header, TextOf(entry), sizeof header);
  return header.names == kLearned;
}

KnownAddresses::Hashes KnownAddresses::KeysOf(const Entry& entry) const {
  LearnedHeader header;
  std::memcpy(&header, TextOf(entry), sizeof header);
  Hashes hashes{};
  for (std::size_t i = 0; i < kKeys; ++i) {
    if (entry.tags[i] != 0) hashes[i] = static_cast<std::uint64_t>(header.hashes[i]) << 32 | entry.tags[i];
  }
  return hashes;
}

std::int64_t KnownAddresses::RowOf(const Entry& entry) const {
  Header header;
  std::memcpy(&header, TextOf(entry), sizeof header);
  return header.row;
}

bool KnownAddresses::HoldsAll(const Hashes& hashes) const {
  return holds_all_ && holds_all_() && std::ranges::none_of(hashes, [this](std::uint64_t hash) {
           return hash != 0 && unknown_.MayContain(hash);
         });
}

// Those that have the key of one column, in the order in which they were stored.
class KnownAddresses::Ring {
 public:
  Ring() = default;
  Ring(const KnownAddresses& known, std::size_t column, std::uint64_t hash) : column_(column) {
    if (hash == 0) return;
    last_ = known.HeadOf(TagOf(hash));
    next_ = last_;
    known.PrefetchEntry(last_);
  }
  // Once all rings have begun.
  void Enter(const KnownAddresses& known) {
    if (last_ == 0) return;
    next_ = known.LinkAfter(last_);
    known.PrefetchEntry(next_);
  }

  bool IsAtEnd() const { return next_ == 0; }
  void Step(const KnownAddresses& known, const Hashes& hashes) {
    const auto place = static_cast<std::uint32_t>((next_ - 1) / kKeys);
    const Entry& entry = known.entries_[place];
    if ((next_ - 1) % kKeys == column_ && entry.tags[column_] == TagOf(hashes[column_])) {
      const std::size_t agreeing = AgreeingKeys(entry, hashes);
      if (++alike_[agreeing] <= kMostAlike) {
        known.by_keys_[agreeing].push_back(place);
        known.PrefetchText(entry);
      }
    }
    next_ = next_ == last_ ? 0 : known.LinkAfter(next_);
    known.PrefetchEntry(next_);
  }
  bool HasEnough(std::size_t agreeing) const { return alike_[agreeing] >= kMostAlike; }
  void End() { next_ = 0; }

 private:
  std::size_t column_ = 0;
  std::uint32_t last_ = 0;
  std::uint32_t next_ = 0;
  std::array<std::size_t, kKeys + 1> alike_{};
};

// The rings in turns, so that the longest one need not be gone through: what has another key, too, is in two of them.
void KnownAddresses::Collect(const Hashes& hashes) const {
  for (std::vector<std::uint32_t>& places : by_keys_) places.clear();
  std::array<Ring, kKeys> rings;
  for (std::size_t i = 0; i < kKeys; ++i) rings[i] = Ring(*this, i, hashes[i]);
  for (Ring& ring : rings) ring.Enter(*this);
  const auto in_use =
      static_cast<std::size_t>(std::ranges::count_if(hashes, [](std::uint64_t hash) { return hash != 0; }));
  const auto are_going = [&] {
    return std::ranges::count_if(rings, [](const Ring& ring) { return !ring.IsAtEnd(); });
  };
  bool has_enough = false;
  for (auto going = are_going(); going != 0 && !has_enough; going = are_going()) {
    for (Ring& ring : rings) {
      if (ring.IsAtEnd()) continue;
      ring.Step(*this, hashes);
      has_enough |= ring.HasEnough(in_use);
      if (going == 1 && ring.HasEnough(1)) ring.End();
    }
  }
  found_.clear();
  for (std::size_t count = by_keys_.size(); count-- > 0 && found_.size() < kMostAlike;) {
    std::vector<std::uint32_t>& places = by_keys_[count];
    std::ranges::sort(places);
    places.erase(std::unique(places.begin(), places.end()), places.end());
    found_.insert(found_.end(), places.begin(), places.end());
  }
}

void KnownAddresses::Link(std::size_t place) {
  Entry& entry = entries_[place];
  for (std::size_t column = 0; column < kKeys; ++column) {
    if (entry.tags[column] == 0) continue;
    const auto link = static_cast<std::uint32_t>(1 + kKeys * place + column);
    const std::uint32_t last = std::exchange(HeadOf(entry.tags[column]), link);
    entry.next[column] = last == 0 ? link : std::exchange(NextOf(last), link);
  }
}

bool KnownAddresses::AddOnlyKeys(const Hashes& hashes) {
  return std::ranges::all_of(hashes, [this](std::uint64_t hash) { return hash == 0 || AddUnknown(hash); });
}

void KnownAddresses::AddEntry(const Hashes& hashes, std::uint32_t text) {
  Entry entry{};
  entry.text = text;
  for (std::size_t i = 0; i < kKeys; ++i) entry.tags[i] = hashes[i] == 0 ? 0 : TagOf(hashes[i]);
  entries_.push_back(entry);
  if (kKeys * entries_.size() <= heads_.size()) return Link(entries_.size() - 1);
  heads_.assign(std::max(kFirstHeads, 2 * heads_.size()), 0);
  for (std::size_t place = 0; place < entries_.size(); ++place) Link(place);
}

bool KnownAddresses::Add(const Hashes& hashes, const AddressView& address, std::int64_t row) {
  // Packing takes as long as fetching what the new entry is linked with.
  for (const std::uint64_t hash : hashes) {
    if (hash != 0 && !heads_.empty()) PrefetchEntry(HeadOf(TagOf(hash)));
  }
  std::uint32_t text = 0;
  if (!Pack(address, row, text)) return AddRow(hashes, row);
  AddEntry(hashes, text);
  return true;
}

bool KnownAddresses::AddRow(const Hashes& hashes, std::int64_t row) {
  if (!HasRoom()) return AddOnlyKeys(hashes);
  Header header{};
  header.row = row;
  std::uint32_t text = 0;
  std::memcpy(TakeRoom(sizeof header, text), &header, sizeof header);
  AddEntry(hashes, text);
  ++only_rows_;
  return true;
}

bool KnownAddresses::AddLearned(const Hashes& hashes, std::int64_t row) {
  static_assert(sizeof(LearnedHeader) == sizeof(Header));
  if (!HasRoom()) return AddOnlyKeys(hashes);
  LearnedHeader header{};
  header.row = row;
  header.names = kLearned;
  for (std::size_t i = 0; i < kKeys; ++i) header.hashes[i] = static_cast<std::uint32_t>(hashes[i] >> 32);
  std::uint32_t text = 0;
  std::memcpy(TakeRoom(sizeof header, text), &header, sizeof header);
  AddEntry(hashes, text);
  ++only_rows_;
  return true;
}

void KnownAddresses::Clear() {
  unknown_.Clear();
  heads_ = std::vector<std::uint32_t>();
  entries_ = std::vector<Entry>();
  only_rows_ = 0;
  blocks_ = std::vector<std::unique_ptr<char[]>>();
  used_ = kBlockBytes;
}

}  // namespace kestrel::host
