#include "keys/duplicate_keys.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "kestrel/runtime_error.h"
#include "keys/cologne_phonetics.h"
#include "keys/folded_text.h"
#include "keys/known_names.h"
#include "platform/base/text.h"

namespace kestrel::host {

namespace {

constexpr std::size_t kKeyLength = 9;
// How much of a sound counts.
constexpr std::size_t kSoundOfLastName = 2;
constexpr std::size_t kSoundOfFirstName = 4;
constexpr std::size_t kSoundOfPlace = 3;
constexpr std::size_t kRegion = 2;

// The towns that begin so are many; what follows tells them apart. Of two the longer one first.
constexpr std::string_view kCommonTowns[] = {
    "ALTEN",   "ALT",     "BERG",       "BIRKEN", "BUCHEN", "BUCH",   "BURG",   "EICHEN",   "ESCHEN",
    "FRANKEN", "FREUDEN", "FRIEDRICHS", "GROSS",  "GRUEN",  "HAIN",   "HEIDE",  "HOCH",     "HOHEN",
    "KIRCH",   "KLEIN",   "KOENIGS",    "LANGEN", "LINDEN", "MITTEL", "MUEHL",  "MUENSTER", "NEUEN",
    "NEU",     "NIEDER",  "OBER",       "ROSEN",  "ROTHEN", "SANKT",  "SCHOEN", "SCHWARZ",  "STEIN",
    "UNTER",   "WALD",    "WEISSEN",    "WEISS",  "WOLFS"};

// The code of one word; of one without a sound (digits, other scripts) the word itself.
void AppendSound(std::string& text, std::string_view word, std::size_t most) {
  const std::size_t start = text.size();
  AppendCologneCode(text, word, most);
  if (text.size() == start) text.append(word, 0, most);
}

void AppendTown(std::string& text, const AddressView& address) {
  std::string_view word = address.town_word;
  for (const std::string_view beginning : kCommonTowns) {
    // Compared here, as a call for each of them would take longer than all the rest.
    if (word.empty() || word[0] != beginning[0]) continue;
    if (word.size() < beginning.size() + 3 || !word.starts_with(beginning)) continue;
    text += word[0];
    word.remove_prefix(beginning.size());
    break;
  }
  AppendSound(text, word, kSoundOfPlace);
}

// The postcode or, where there is none, the town.
bool AppendPlace(std::string& text, const AddressView& address) {
  if (!address.postcode.empty()) {
    text += address.postcode;
  } else if (!address.town_word.empty()) {
    text += address.town;
  } else {
    return false;
  }
  text += '|';
  return true;
}

// Of the names' sounds the first or the last; initials count where there is nothing else.
bool AppendName(std::string& text, const AddressView& address, bool last, std::size_t most) {
  // Which of two beginnings comes first is which of the whole ones does, where it matters.
  std::string best;
  std::string sound;
  for (const std::size_t shortest : {std::size_t{2}, std::size_t{1}}) {
    for (const std::string_view name : address.names()) {
      if (name.size() < shortest) continue;
      sound.clear();
      AppendSound(sound, name, most);
      if (best.empty() || (last ? best < sound : sound < best)) best.swap(sound);
    }
    if (!best.empty()) break;
  }
  text += best;
  return !best.empty();
}

// Where no place is told, only what is repeated word by word can be found, whatever the order of the names.
std::string NameAndStreet(const AddressView& address) {
  if (address.names().empty()) return {};
  std::string text = "|";
  std::vector<std::string_view> names(address.names().begin(), address.names().end());
  std::ranges::sort(names);
  for (const std::string_view name : names) text.append(name).append("|");
  return text.append(address.street).append("|").append(address.house_number);
}

std::string NameInPlace(const AddressView& address) {
  std::string text;
  if (!AppendPlace(text, address)) return NameAndStreet(address);
  if (!AppendName(text, address, true, kSoundOfLastName)) return {};
  return text;
}

std::string NameAtNumber(const AddressView& address) {
  std::string text;
  if (address.house_number.empty() || address.postcode.empty()) {
    if (!AppendPlace(text, address)) return {};
  } else {
    const std::size_t start = text.size();
    text.append(address.postcode, 0, kRegion).append("|");
    std::sort(text.begin() + static_cast<std::ptrdiff_t>(start), text.end() - 1);
  }
  text.append(address.house_number).append("|");
  if (!AppendName(text, address, false, kSoundOfFirstName)) return {};
  return text;
}

std::string StreetInTown(const AddressView& address) {
  if (address.street_word.empty()) return {};
  std::string text;
  if (address.town_word.empty()) {
    if (!AppendPlace(text, address)) return {};
  } else {
    AppendTown(text, address);
  }
  text += '|';
  const bool is_common = IsCommonStreet(address.street_word);
  if (is_common) {
    text += address.street;
  } else {
    AppendSound(text, address.street_word, kSoundOfPlace);
  }
  if (is_common || IsLargeTown(address.town_word)) text.append("|").append(address.house_number);
  return text;
}

std::uint64_t Hash(std::string_view code, std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  const auto add = [&hash](std::string_view bytes) {
    for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  };
  add(code);
  add("|");
  add(text);
  hash = (hash ^ (hash >> 33)) * 0xFF51AFD7ED558CCDU;
  hash = (hash ^ (hash >> 33)) * 0xC4CEB9FE1A85EC53U;
  return hash ^ (hash >> 33);
}

std::string KeyOf(std::string_view code, const AddressView& address) {
  static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  const std::string canonical = CanonicalText(code, address);
  if (canonical.empty()) return {};
  std::uint64_t hash = Hash(code, canonical);
  std::string key(kKeyLength, 'A');
  for (char& digit : key) {
    digit = kDigits[hash & 63];
    hash >>= 6;
  }
  return key;
}

}  // namespace

std::string CanonicalText(std::string_view code, const AddressView& address) {
  if (code == "4") return NameInPlace(address);
  if (code == "6") return StreetInTown(address);
  if (code == "7") return NameAtNumber(address);
  if (code == "1" || code == "2" || code == "3" || code == "5") {
    throw RuntimeError(
        ErrorNumber::kInvalidProcedureCall,
        "Der Adressindex hat Schlüssel einer früheren Version (Algorithmus '" + std::string(code) +
            "'). Wer die Tabellen Adressindex und Einstellungen ändern darf, bildet sie neu, indem er die "
            "Datenbank einmal öffnet, etwa mit 'kestrel-import log duplicates'.");
  }
  throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                     "Unbekannter Algorithmus '" + std::string(code) +
                         "' für einen Dublettenschlüssel (bekannt sind 4, 6 und 7).");
}

std::string BuildDoubletKey(std::string_view code, std::string_view key_text) {
  return KeyOf(code, AddressParts(key_text));
}

const AddressView& KeyMemory::PartsOf(std::string_view key_text) {
  if (text_ != key_text) {
    for (Entry& entry : entries_) entry.used = false;
    parts_.Assign(key_text);
    text_ = key_text;
  }
  return parts_;
}

std::string_view KeyMemory::Build(std::string_view code, std::string_view key_text) {
  const AddressView& parts = PartsOf(key_text);
  for (const Entry& entry : entries_) {
    if (entry.used && entry.code == code) return entry.key;
  }
  Entry& entry = entries_[next_];
  entry.used = false;
  entry.key = KeyOf(code, parts);
  entry.code = code;
  entry.used = true;
  next_ = (next_ + 1) % entries_.size();
  return entry.key;
}

}  // namespace kestrel::host
