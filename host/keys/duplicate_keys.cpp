#include "keys/duplicate_keys.h"

#include <algorithm>
#include <cstdint>

#include "kestrel/runtime_error.h"
#include "keys/cologne_phonetics.h"
#include "keys/folded_text.h"
#include "platform/base/text.h"

namespace kestrel::host {

namespace {

constexpr std::size_t kKeyLength = 9;
constexpr std::size_t kMostWords = 32;

constexpr std::string_view kTitles[] = {"HERR", "HERRN", "FRAU", "FIRMA", "FA",  "DR",  "PROF", "DIPL",
                                        "ING",  "MED",   "MAG",  "UND",   "AND", "ZHD", "Z",    "HD"};
constexpr std::string_view kLegalForms[] = {
    "GMBH",   "MBH",     "AG",   "KG", "OHG", "CO", "COMPAGNIE", "CIE", "KGAA",
    "GBR",    "UG",      "EV",   "EG", "EK",  "SE", "PARTG",     "INC", "LTD",
    "LLC",    "SA",      "SARL", "BV", "NV",  "FA", "FIRMA",     "UND", "HAFTUNGSBESCHRAENKT",
    "GESMBH", "STIFTUNG"};

template <std::size_t Count>
bool IsOneOf(std::string_view word, const std::string_view (&words)[Count]) {
  return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

void EraseBlanks(std::string& text) { std::erase(text, ' '); }

std::string AsWritten(const FoldedAddress& address) {
  std::string text;
  for (const std::string& name : address.names) text += name;
  EraseBlanks(text);
  if (text.empty() && address.postcode.empty() && address.town.empty() && address.street.empty()) return {};
  return text.append("|")
      .append(address.postcode)
      .append("|")
      .append(address.town)
      .append("|")
      .append(address.street);
}

std::string AsItSounds(const FoldedAddress& address) {
  if (address.postcode.empty()) return {};
  // The codes of all words one behind the other, and where each begins.
  std::string codes;
  std::array<std::pair<std::size_t, std::size_t>, kMostWords> places;
  std::size_t count = 0;
  for (const std::string& name : address.names) {
    std::string_view rest = name;
    for (std::string_view word = TakeWord(rest); !word.empty() && count < kMostWords; word = TakeWord(rest)) {
      if (IsOneOf(word, kTitles) || IsOneOf(word, kLegalForms)) continue;
      const std::size_t start = codes.size();
      AppendCologneCode(codes, word);
      // Digits and letters of other scripts have no sound of their own.
      if (codes.size() == start) codes += word;
      places[count++] = {start, codes.size() - start};
    }
  }
  if (count == 0) return {};
  const auto code_at = [&codes](const auto& place) {
    return std::string_view(codes).substr(place.first, place.second);
  };
  const auto end = places.begin() + static_cast<std::ptrdiff_t>(count);
  std::sort(places.begin(), end, [&](const auto& a, const auto& b) { return code_at(a) < code_at(b); });
  std::string text = address.postcode;
  for (auto place = places.begin(); place != end; ++place) text.append("|").append(code_at(*place));
  return text;
}

std::string AsCompany(const FoldedAddress& address) {
  if (address.street.empty()) return {};
  std::string company;
  std::string_view rest = address.names[0];
  for (std::string_view word = TakeWord(rest); !word.empty(); word = TakeWord(rest)) {
    // "e. V." and "e. K." fall into single letters.
    if (word == "E" && (rest == "V" || rest == "K")) break;
    if (!IsOneOf(word, kLegalForms)) company += word;
  }
  if (company.empty()) return {};
  return company + '|' + address.street;
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

std::string KeyOf(std::string_view code, const FoldedAddress& address) {
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

void FoldedAddress::Assign(std::string_view key_text) {
  std::array<std::string_view, 7> parts;
  for (std::string_view& part : parts) {
    const std::size_t end = key_text.find('|');
    part = key_text.substr(0, end);
    key_text.remove_prefix(end == std::string_view::npos ? key_text.size() : end + 1);
  }
  const auto fold = [](std::string& folded, std::string_view part) {
    folded.clear();
    AppendFolded(folded, part);
  };
  fold(postcode, parts[0]);
  EraseBlanks(postcode);
  // A leading country sign ("D-50667") is no part of a postcode.
  const std::size_t digit = postcode.find_first_of("0123456789");
  if (digit <= 2) postcode.erase(0, digit);
  // The street's words stand where the town comes to stand.
  fold(town, parts[2]);
  street.clear();
  AppendStreet(street, town);
  fold(town, parts[1]);
  EraseBlanks(town);
  for (std::size_t i = 0; i < names.size(); ++i) fold(names[i], parts[4 + i]);
}

std::string CanonicalText(std::string_view code, const FoldedAddress& address) {
  if (code == "1") return AsWritten(address);
  if (code == "2") return AsItSounds(address);
  if (code == "3") return AsCompany(address);
  throw RuntimeError(ErrorNumber::kInvalidProcedureCall,
                     "Unbekannter Algorithmus '" + std::string(code) +
                         "' für einen Dublettenschlüssel (bekannt sind 1, 2 und 3).");
}

std::string BuildDoubletKey(std::string_view code, std::string_view key_text) {
  return KeyOf(code, FoldedAddress(key_text));
}

std::string_view KeyMemory::Build(std::string_view code, std::string_view key_text) {
  for (const Entry& entry : entries_) {
    if (entry.used && entry.text == key_text && entry.code == code) return entry.key;
  }
  Entry& entry = entries_[next_];
  entry.used = false;
  if (folded_text_ != key_text) {
    folded_.Assign(key_text);
    folded_text_ = key_text;
  }
  entry.key = KeyOf(code, folded_);
  entry.code = code;
  entry.text = key_text;
  entry.used = true;
  next_ = (next_ + 1) % entries_.size();
  return entry.key;
}

}  // namespace kestrel::host
