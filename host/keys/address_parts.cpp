#include "keys/address_parts.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "keys/folded_text.h"
#include "keys/special_words.h"
#include "keys/text_similarity.h"

namespace kestrel::host {

namespace {

// The beginnings of words that name a trade.
constexpr std::string_view kTrades[] = {
    "APOTHEKE",   "AUTOHAUS",  "BAECKEREI",  "BANK",         "BAUUNTERNEHM", "DACHDECKER",   "DRUCKEREI",
    "ELEKTRO",    "FLEISCHER", "GAERTNEREI", "GASTHAUS",     "HANDEL",       "HOTEL",        "IMMOBILIEN",
    "INSTITUT",   "KANZLEI",   "LOGISTIK",   "MASCHINENBAU", "METALLBAU",    "METZGEREI",    "PRAXIS",
    "RESTAURANT", "SANITAER",  "SPEDITION",  "TISCHLEREI",   "VERLAG",       "VERSICHERUNG", "WERKSTATT"};
constexpr std::string_view kKindsOfStreet[] = {"ALLEE", "DAMM", "GASSE",   "PFAD", "PLATZ", "RING",
                                               "STEIG", "STR",  "STRASSE", "UFER", "WEG"};
constexpr std::size_t kShortWord = 3;

// Behind the name of a company they make it another one at the same address. The beginnings of words.
constexpr std::string_view kSisterCompanies[] = {"BESITZ", "BETEILIGUNG", "HOLDING", "VERMOEGENSVERWALTUNG",
                                                 "VERWALTUNG"};

constexpr auto kLettersOfTrades = [] {
  std::array<std::uint32_t, std::size(kTrades)> letters{};
  std::ranges::transform(kTrades, letters.begin(), LettersOf);
  return letters;
}();

bool IsTrade(std::string_view word) {
  const std::uint32_t letters = LettersOf(word);
  // Most words lack letters of all of them.
  bool may_be = false;
  for (const std::uint32_t of_trade : kLettersOfTrades) may_be |= (of_trade & ~letters) == 0;
  if (!may_be) return false;
  for (std::size_t i = 0; i < std::size(kTrades); ++i) {
    if ((kLettersOfTrades[i] & ~letters) == 0 && word.find(kTrades[i]) != std::string_view::npos) return true;
  }
  return false;
}

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Behind a name, what tells two of one name apart. A single digit among letters is a typing error.
bool IsMark(std::string_view word, std::uint16_t kinds) {
  const auto digits = std::ranges::count_if(word, IsDigit);
  return static_cast<std::size_t>(digits) * 2 >= word.size() || (kinds & kGenerationWord) != 0 ||
         std::ranges::any_of(kSisterCompanies, [&](std::string_view part) { return word.starts_with(part); });
}

void Fold(std::string& folded, std::string_view text) {
  folded.clear();
  AppendFolded(folded, text);
}

// Without the kind of street at its end, where something is left.
std::string_view WithoutKind(std::string_view word) {
  for (const std::string_view kind : kKindsOfStreet) {
    if (word.size() >= kind.size() + kShortWord && word.ends_with(kind))
      return word.substr(0, word.size() - kind.size());
  }
  return word;
}

}  // namespace

void AddressParts::Assign(std::string_view key_text) {
  std::array<std::string_view, 6> parts;
  for (std::string_view& part : parts) {
    const std::size_t end = key_text.find('|');
    part = key_text.substr(0, end);
    key_text.remove_prefix(end == std::string_view::npos ? key_text.size() : end + 1);
  }
  Fold(postcode_, parts[0]);
  std::erase(postcode_, ' ');
  // A leading country sign ("D-50667") is no part of a postcode.
  const std::size_t digit = postcode_.find_first_of("0123456789");
  if (digit <= 2) postcode_.erase(0, digit);
  TakeTown(parts[1]);
  TakeStreet(parts[2]);
  TakeNames(parts[4], parts[5]);
  view_.postcode = postcode_;
  view_.town = town_;
  view_.street = street_;
  view_.house_number = house_number_;
}

void AddressParts::TakeTown(std::string_view text) {
  Fold(town_, text);
  std::string_view rest = town_;
  std::string_view known;
  std::size_t end = 0;
  for (std::string_view word = TakeWord(rest); !word.empty(); word = TakeWord(rest)) {
    if (end != 0 && (KindsOfWord(word) & kPartOfTownWord) != 0) break;
    if (known.size() <= kShortWord && word.size() > known.size()) known = word;
    end = static_cast<std::size_t>(word.data() - town_.data()) + word.size();
  }
  view_.town_word = known;
  town_.resize(end);
}

// The house number is the last group of numbers ("Straße des 17. Juni 135"), or the first word ("5 Ring Road").
void AddressParts::TakeStreet(std::string_view text) {
  street_.clear();
  view_.house_letter = '\0';
  Fold(street_words_, text);
  // "HAUPTSTR5": the number begins where the word ends.
  for (std::size_t i = 1; i < street_words_.size(); ++i) {
    if (!IsDigit(street_words_[i]) || IsDigit(street_words_[i - 1]) || street_words_[i - 1] == ' ') continue;
    street_words_.insert(i, 1, ' ');
  }
  std::string_view rest = street_words_;
  bool in_number = false;
  std::string_view known;
  std::string_view number;
  for (std::string_view word = TakeWord(rest); !word.empty(); word = TakeWord(rest)) {
    if (IsDigit(word[0])) {
      if (!in_number) number = word;
      in_number = true;
      continue;
    }
    if (in_number && word.size() == 1) {
      if (view_.house_letter == '\0') view_.house_letter = word[0];
      continue;
    }
    in_number = false;
    AppendStreet(street_, word);
    if (known.size() <= kShortWord && (KindsOfWord(word) & kKindOfStreetWord) == 0 &&
        word.size() > known.size())
      known = word;
  }
  const std::size_t digits = std::min(number.find_first_not_of("0123456789"), number.size());
  house_number_ = number.substr(0, digits);
  if (digits < number.size()) view_.house_letter = number[digits];
  if (house_number_.empty()) view_.house_letter = '\0';
  view_.street_word = known.empty() ? std::string_view(street_) : WithoutKind(known);
}

// False where a legal form or a trade was among them.
bool AddressParts::TakeNameWords(std::string_view folded) {
  bool is_person = true;
  bool is_branch = false;
  for (std::string_view word = TakeWord(folded); !word.empty(); word = TakeWord(folded)) {
    const std::uint16_t kinds = KindsOfWord(word);
    if ((kinds & kInChargeWord) != 0) break;
    if ((kinds & (kTitleWord | kDepartmentWord)) != 0) continue;
    // "z. Hd.", "e. V." and "e. K." fall into single letters.
    if (word == "Z" && folded.starts_with("HD")) break;
    if (word == "ZU" && folded.starts_with("HAENDEN")) break;
    if (word == "E" && (folded.starts_with("V") || folded.starts_with("K")) && folded.size() < 3) {
      const std::string_view letter = TakeWord(folded);
      view_.legal_forms |= letter == "V" ? LegalFormOf("EV") : letter == "K" ? LegalFormOf("EK") : 0;
      is_person = false;
      break;
    }
    if ((kinds & kFillerWord) != 0) continue;
    if ((kinds & kLegalFormWord) != 0) {
      view_.legal_forms |= LegalFormOf(word);
      is_person = false;
      continue;
    }
    if (IsTrade(word)) is_person = false;
    if (view_.name_count == AddressView::kMostNames) continue;
    if (is_branch || IsMark(word, kinds)) view_.marks |= static_cast<std::uint16_t>(1U << view_.name_count);
    view_.all_names[view_.name_count++] = word;
    is_branch = is_branch || (kinds & kBranchWord) != 0;
  }
  return is_person;
}

void AddressParts::TakeNames(std::string_view first, std::string_view second) {
  view_.name_count = 0;
  view_.marks = 0;
  view_.legal_forms = 0;
  Fold(name_texts_[0], first);
  view_.is_company = !TakeNameWords(name_texts_[0]);
  Fold(name_texts_[1], second);
  const std::uint8_t of_first = view_.name_count;
  // Beside a company stands somebody in charge, where it is not the rest of a long name.
  if (!TakeNameWords(name_texts_[1])) {
    view_.is_company = true;
  } else if (view_.is_company && of_first > 0) {
    view_.name_count = of_first;
    view_.marks &= static_cast<std::uint16_t>((1U << of_first) - 1);
  }
}

}  // namespace kestrel::host
