#include "keys/address_comparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "keys/cologne_phonetics.h"
#include "keys/known_names.h"
#include "keys/special_words.h"
#include "keys/text_similarity.h"

namespace kestrel::host {

namespace {

// Bits. Two addresses drawn from a million are two.
constexpr double kPrior = -20;

// --- Names ---
constexpr double kRareName = 10;
constexpr double kCommonName = 7;
constexpr double kFirstName = 6.5;
constexpr double kSecondRareName = 7;  // beside another one: their errors are not independent
constexpr double kNearName = 6;
constexpr double kSecondNearName = 4;
constexpr double kInitial = 0.5;
constexpr double kNameMissing = -2;
constexpr double kNameMissingOfOneKind = -6;  // a person here, a company there
constexpr double kOtherName = -7;
constexpr double kOtherFirstName = -25;  // somebody else of the household
constexpr double kOtherCompany = -16;
constexpr double kNoNameShared = -9;
// Of pairs at one address that are the same, how many for each one with the same names have another one or only others.
constexpr double kWronglyOneName = 0.5;
constexpr double kWronglyAllNames = 0.3;
constexpr double kLeastShare = 0.001;
constexpr double kGreatestShare = 0.95;
constexpr double kErrorsPrevail = 0.5;  // from here on there are no households, and another first name is wrong
constexpr double kOtherMark = -30;      // "jun.", "Filiale 2"
constexpr double kOtherLegalForm = -30;

// --- Places ---
constexpr double kSamePlace = 12;
constexpr double kSamePostcode = 11;  // no town
constexpr double kPostcodeOtherTown = 8;
constexpr double kTownNearPostcode = 8;
constexpr double kTownNoPostcode = 8;
constexpr double kTownOtherPostcode = 3;
constexpr double kNearPostcodeOnly = 5;
constexpr double kNearPostcodeOtherTown = -1;
constexpr double kOtherPlace = -10;
constexpr double kOtherPartOfPlace = -4;  // the other part is missing

// --- Streets ---
constexpr double kSameStreet = 8;
constexpr double kSameCommonStreet = 5.5;  // "Hauptstraße"
constexpr double kNearStreet = 6;
constexpr double kNearCommonStreet = 4;
constexpr double kOtherStreet = -3.3;
constexpr double kOtherStreetOfCompany = -8;  // a branch
constexpr double kSameNumber = 5;
constexpr double kSameNumberOtherLetter = -1;
constexpr double kSameNumberMissingLetter = 3;
constexpr double kSameNumberOtherStreet = 3.5;
constexpr double kNearNumber = -2;
constexpr double kOtherNumber = -2.7;
constexpr double kNamesakes = -3;  // both differ

// As long names are the same but for one error and the blanks.
constexpr std::size_t kLongName = 8;

// From which on two words are taken for one with an error.
constexpr double kNear = 0.88;

// Bits that no address comes back from: their score is told as it may be at most.
constexpr double kHopeless = -10;

enum class Likeness { kMissing, kOther, kInitial, kNear, kSame };

// Words of the same code have letters of the same of these groups.
bool MaySoundAlike(std::uint32_t a, std::uint32_t b) {
  constexpr std::array kGroups = {LettersOf("BFPVW"), LettersOf("CDGKQSTXZ"), LettersOf("L"), LettersOf("MN"),
                                  LettersOf("R")};
  return std::ranges::all_of(kGroups,
                             [&](std::uint32_t group) { return ((a & group) != 0) == ((b & group) != 0); });
}

bool SoundAlike(std::string_view a, std::string_view b) {
  std::string first;
  std::string second;
  AppendCologneCode(first, a);
  AppendCologneCode(second, b);
  return first.size() > 1 && first == second;
}

// How two words of at least two letters may be near, as far as their letters tell: what most words that chance brings
// together are told apart by are letters that only one of them has. Each edit removes one of them from either word, and
// JaroWinkler is at most 1 - (1 - 0.1 * common start) * (x / |a| + y / |b|) / 3 where x and y letters are not in the other one.
struct Chances {
  bool of_winkler;
  bool of_edits;
  bool of_sound;
  std::size_t most_edits;

  bool Any() const { return of_winkler || of_edits || of_sound; }
};

// A word with the letters that it has.
struct Word {
  Word() = default;
  // NOLINTNEXTLINE(google-explicit-constructor): a text looked at more closely
  Word(std::string_view word) : text(word), letters(LettersOf(word)) {}

  std::string_view text;
  std::uint32_t letters = 0;
};

Chances ChancesOf(const Word& first, const Word& second) {
  constexpr std::size_t kLongWord = 8;
  constexpr std::size_t kWord = 3;
  const std::string_view a = first.text;
  const std::string_view b = second.text;
  const auto [shorter, longer] = std::minmax({a.size(), b.size()});
  const std::size_t most_edits = longer >= kLongWord ? 2 : longer >= kWord ? 1 : 0;
  const std::size_t only_a = CountOf(first.letters & ~second.letters);
  const std::size_t only_b = CountOf(second.letters & ~first.letters);
  // Of longer words no more letters are looked at.
  const bool have_lengths = longer - shorter <= most_edits || longer > kMostLetters;
  const double start = a[0] == b[0] ? 0.6 : 1;
  const double apart = static_cast<double>(only_a) / static_cast<double>(a.size()) +
                       static_cast<double>(only_b) / static_cast<double>(b.size());
  return {start * apart / 3 <= 1 - kNear,
          most_edits > 0 && have_lengths && std::max(only_a, only_b) <= most_edits,
          MaySoundAlike(first.letters, second.letters), most_edits};
}

Likeness LikenessOf(std::string_view a, std::string_view b) {
  if (a.empty() || b.empty()) return Likeness::kMissing;
  if (a == b) return Likeness::kSame;
  if (a.size() == 1 || b.size() == 1) return a[0] == b[0] ? Likeness::kInitial : Likeness::kOther;
  const Chances chances = ChancesOf(a, b);
  const bool is_near =
      (chances.of_winkler && JaroWinkler(a, b) >= kNear) ||
      (chances.of_edits && (IsOneEditApart(a, b) || (chances.most_edits > 1 && EditDistance(a, b) <= 2))) ||
      (chances.of_sound && SoundAlike(a, b));
  return is_near ? Likeness::kNear : Likeness::kOther;
}

bool IsInitial(std::string_view a, std::string_view b) {
  return (a.size() == 1 && b.starts_with(a)) || (b.size() == 1 && a.starts_with(b));
}

// False only where LikenessOf is kMissing or kOther.
bool MayBeAlike(const Word& a, const Word& b) {
  if (a.text.empty() || b.text.empty()) return false;
  return a.text.size() == 1 || b.text.size() == 1 ? IsInitial(a.text, b.text) : ChancesOf(a, b).Any();
}

Likeness LikenessOfNames(std::string_view a, std::string_view b) {
  const Likeness likeness = LikenessOf(a, b);
  return likeness == Likeness::kNear && AreOtherFirstNames(a, b) ? Likeness::kOther : likeness;
}

// "0,93"
std::string Decimal(double likeness) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%.2f", std::min(likeness, 0.99));
  text[1] = ',';
  return text.data();
}

class Comparer {
 public:
  // Without `tells` no reason is put into words.
  Comparer(const AddressView& a, const AddressView& b, SameAddressPairs& seen, bool tells)
      : a_(a), b_(b), seen_(seen), tells_(tells) {}

  // Bits below `hopeless` may be too many, and their reason incomplete.
  Comparison Compare(double hopeless) {
    result_.bits = kPrior;
    Place();
    const bool other_number =
        !a_.house_number.empty() && !b_.house_number.empty() && a_.house_number != b_.house_number;
    if (other_number || !is_one_address_) {
      is_one_address_ = false;
      // Names and streets are dear to look at, and may not matter.
      const double most_of_street = MostOfStreet(other_number);
      if (!tells_ && (IsHopeless(MostOfNames() + most_of_street, hopeless) ||
                      IsHopeless(MostOfAlikeNames() + most_of_street, hopeless))) {
        return std::move(result_);
      }
      Names();
      if (IsHopeless(most_of_street, hopeless)) return std::move(result_);
      Number(Street());
    } else {
      const Likeness street = Street();
      Number(street);
      is_one_address_ = street >= Likeness::kNear;
      Names();
    }
    if (DifferInLegalForm(a_.legal_forms, b_.legal_forms)) {
      Add(names_reason_, has_other_form_ ? kOtherLegalForm : 0, "andere Rechtsform");
    }
    if (tells_)
      result_.reason =
          names_reason_ + (names_reason_.empty() || place_reason_.empty() ? "" : ", ") + place_reason_;
    // Certain, however little was told: the host that holds back at 100 only means these.
    if (NothingDiffers()) result_.bits = std::numeric_limits<double>::infinity();
    return std::move(result_);
  }

 private:
  void Add(std::string& reason, double bits, std::string_view words) {
    result_.bits += bits;
    if (!tells_ || words.empty()) return;
    if (!reason.empty()) reason += ", ";
    reason += words;
  }
  void Add(double bits, std::string_view words) { Add(place_reason_, bits, words); }
  std::string NearName(double likeness) const { return tells_ ? "Name ähnlich " + Decimal(likeness) : ""; }

  bool NothingDiffers() const {
    return !has_other_form_ && a_.postcode == b_.postcode && a_.house_number == b_.house_number &&
           a_.house_letter == b_.house_letter && a_.town == b_.town && a_.street == b_.street &&
           std::ranges::equal(a_.names(), b_.names());
  }
  // With at most so many bits to come; then they are added, with what other orders of adding may round up.
  bool IsHopeless(double most, double hopeless) {
    constexpr double kRounding = 1e-9;
    most += kRounding;
    if (result_.bits + most >= hopeless || NothingDiffers()) return false;
    result_.bits += most;
    return true;
  }
  double MostOfStreet(bool other_number) const;
  double MostOfNames() const {
    return kRareName + kSecondRareName * std::max(1, std::min(a_.name_count, b_.name_count) - 1);
  }
  double MostOfAlikeNames() const;
  void Names();
  void Pair(Likeness least);
  void CountRest();
  double WrongNames(bool shares) const;
  void Place();
  Likeness Street();
  void Number(Likeness street);
  Likeness Towns() const;

  const AddressView& a_;
  const AddressView& b_;
  SameAddressPairs& seen_;
  const bool tells_;
  Comparison result_;
  std::string names_reason_;
  std::string place_reason_;
  bool is_one_address_ = true;
  const bool has_other_form_ = AreOtherLegalForms(a_.legal_forms, b_.legal_forms);

  // Names that are paired, by bits; and what they come to.
  std::uint32_t used_a_ = 0;
  std::uint32_t used_b_ = 0;
  double names_ = 0;
  int same_ = 0;
  int near_ = 0;
  int initials_ = 0;
  double likeness_ = 0;  // of near names, added up
  bool other_mark_ = false;
  bool has_other_ = false;
};

// Pairs each name with the first of the other address that is so much like it.
void Comparer::Pair(Likeness least) {
  for (std::size_t i = 0; i < a_.names().size(); ++i) {
    for (std::size_t j = 0; j < b_.names().size() && (used_a_ >> i & 1) == 0; ++j) {
      if ((used_b_ >> j & 1) != 0) continue;
      const std::string_view name = a_.names()[i];
      const std::string_view other = b_.names()[j];
      if (a_.IsMark(i) != b_.IsMark(j)) continue;
      // Near ones are gone when initials are looked for.
      const bool are_alike = least == Likeness::kSame || a_.IsMark(i) ? name == other
                             : least == Likeness::kInitial            ? IsInitial(name, other)
                                                                      : LikenessOfNames(name, other) >= least;
      if (!are_alike) continue;
      used_a_ |= 1U << i;
      used_b_ |= 1U << j;
      const bool is_second = same_ + near_ > 0;
      if (least == Likeness::kSame) {
        ++same_;
        if (a_.IsMark(i)) continue;
        names_ += IsFirstName(name)    ? kFirstName
                  : IsCommonName(name) ? kCommonName
                  : is_second          ? kSecondRareName
                                       : kRareName;
      } else if (least == Likeness::kNear) {
        ++near_;
        if (tells_) likeness_ += JaroWinkler(name, other);
        names_ += is_second ? kSecondNearName : kNearName;
      } else {
        ++initials_;
        names_ += kInitial;
      }
    }
  }
}

// What is left on both sides are other names, what is left on one is missing on the other.
void Comparer::CountRest() {
  int left_a = 0;
  int left_b = 0;
  const auto count = [this](const AddressView& address, std::uint32_t used, int& left, int& first_names) {
    const std::span<const std::string_view> names = address.names();
    for (std::size_t i = 0; i < names.size(); ++i) {
      if ((used >> i & 1) != 0) continue;
      if (address.IsMark(i)) {
        other_mark_ = true;
      } else {
        ++left;
        first_names += IsFirstName(names[i]) ? 1 : 0;
      }
    }
  };
  int first_names = 0;
  count(a_, used_a_, left_a, first_names);
  count(b_, used_b_, left_b, first_names);
  const bool shares = same_ + near_ > 0;
  has_other_ = left_a > 0 && left_b > 0;
  if (has_other_) {
    if (is_one_address_ && !(a_.is_company || b_.is_company) && !other_mark_) {
      ++(shares ? seen_.one_name_other : seen_.all_names_other);
      if (first_names < 2) {
        const double probability = WrongNames(shares);
        names_ = std::log2(probability / (1 - probability)) - result_.bits;
        return;
      }
    }
    names_ += !shares                                                                      ? kNoNameShared
              : a_.is_company || b_.is_company                                             ? kOtherCompany
              : first_names > 1 || (first_names == 1 && WrongNames(true) < kErrorsPrevail) ? kOtherFirstName
                                                                                           : kOtherName;
  } else if (left_a + left_b > 0) {
    names_ += a_.is_company == b_.is_company ? kNameMissing : kNameMissingOfOneKind;
  }
  if (other_mark_) names_ += kOtherMark;
}

// How probable it is that another name at one address is an error.
double Comparer::WrongNames(bool shares) const {
  const double errors = (shares ? kWronglyOneName : kWronglyAllNames) * seen_.same_names;
  return std::clamp(errors / (shares ? seen_.one_name_other : seen_.all_names_other), kLeastShare,
                    kGreatestShare);
}

// The names of an address as words, and what they have together.
struct NameWords {
  explicit NameWords(std::span<const std::string_view> names) : count(names.size()) {
    for (std::size_t i = 0; i < count; ++i) {
      words[i] = names[i];
      length += names[i].size();
      letters |= words[i].letters;
    }
  }

  std::size_t count;
  std::size_t length = 0;
  std::uint32_t letters = 0;
  std::array<Word, AddressView::kMostNames> words;
};

// Whether both may have the same letters up to an edit once the blanks between their names are gone.
bool MayBeOneName(const NameWords& a, const NameWords& b) {
  const auto [shorter, longer] = std::minmax({a.length, b.length});
  return longer - shorter <= 1 && (longer > kMostLetters || std::max(CountOf(a.letters & ~b.letters),
                                                                     CountOf(b.letters & ~a.letters)) <= 1);
}

// What Names adds at most to the bits of two addresses that are not one, as far as the letters of the names tell.
double Comparer::MostOfAlikeNames() const {
  const NameWords a(a_.names());
  const NameWords b(b_.names());
  if (a_.marks != 0 || b_.marks != 0 || MayBeOneName(a, b)) return MostOfNames();
  std::uint32_t same_a = 0;
  std::uint32_t same_b = 0;
  for (std::size_t i = 0; i < a.count; ++i) {
    for (std::size_t j = 0; j < b.count; ++j) {
      if ((same_b >> j & 1) != 0 || a.words[i].text != b.words[j].text) continue;
      same_a |= 1U << i;
      same_b |= 1U << j;
      break;
    }
  }
  std::uint32_t alike_a = 0;
  std::uint32_t alike_b = 0;
  for (std::size_t i = 0; i < a.count; ++i) {
    for (std::size_t j = 0; j < b.count && (same_a >> i & 1) == 0; ++j) {
      if ((same_b >> j & 1) != 0 || !MayBeAlike(a.words[i], b.words[j])) continue;
      alike_a |= 1U << i;
      alike_b |= 1U << j;
    }
  }
  const std::size_t pairs = CountOf(same_a) + std::min(CountOf(alike_a), CountOf(alike_b));
  const bool has_other = pairs < a.count && pairs < b.count;
  if (pairs == 0) return has_other ? kNoNameShared : 0;
  const double most = kRareName + kSecondRareName * static_cast<double>(pairs - 1);
  return !has_other ? most
                    : std::max(kNoNameShared + kInitial * static_cast<double>(pairs),
                               most + (a_.is_company || b_.is_company ? kOtherCompany : kOtherName));
}

void Comparer::Names() {
  const auto joined = [](const AddressView& address) {
    std::string text;
    for (const std::string_view name : address.names()) text += name;
    return text;
  };
  const auto length = [](const AddressView& address) {
    int length = 0;
    for (const std::string_view name : address.names()) length += static_cast<int>(name.size());
    return length;
  };
  if (a_.names().empty() || b_.names().empty()) return Add(names_reason_, 0, "Name fehlt");
  Pair(Likeness::kSame);
  if (same_ < 2 && a_.marks == 0 && b_.marks == 0 && std::abs(length(a_) - length(b_)) <= 1) {
    const std::string all_a = joined(a_);
    const std::string all_b = joined(b_);
    const bool other_words = same_ == 0 || a_.name_count != b_.name_count;
    if (other_words && all_a == all_b) {
      result_.shares_name = true;
      return Add(names_reason_, kRareName + kSecondRareName, "gleicher Name");
    }
    if (a_.name_count != b_.name_count && all_a.size() >= kLongName && IsOneEditApart(all_a, all_b)) {
      result_.shares_name = true;
      return Add(names_reason_, kRareName + kSecondNearName, NearName(JaroWinkler(all_a, all_b)));
    }
  }
  Pair(Likeness::kNear);
  Pair(Likeness::kInitial);
  const int paired = same_ + near_ + initials_;
  CountRest();
  const bool is_whole = paired == static_cast<int>(std::max(a_.names().size(), b_.names().size()));
  if (other_mark_ || same_ + near_ == 0) return Add(names_reason_, names_, "anderer Name");
  result_.shares_name = true;
  std::string reason;
  if (near_ > 0) {
    reason = NearName((likeness_ + same_) / (same_ + near_));
  } else {
    reason = same_ == 0   ? "anderer Name"
             : is_whole   ? "gleicher Name"
             : has_other_ ? "ein Name gleich"
                          : "gleicher Name, unvollständig";
  }
  if (has_other_) reason += ", ein weiterer anders";
  if (!has_other_ && is_one_address_ && !has_other_form_) ++seen_.same_names;
  if (initials_ > 0) reason += ", Vorname abgekürzt";
  Add(names_reason_, names_, reason);
}

Likeness Comparer::Towns() const {
  const std::string_view a = a_.town;
  const std::string_view b = b_.town;
  if (a.empty() || b.empty()) return Likeness::kMissing;
  if (a_.town_word == b_.town_word) return Likeness::kSame;
  if (a.starts_with(b) || b.starts_with(a)) return Likeness::kNear;
  const Likeness words = LikenessOf(a_.town_word, b_.town_word);
  const bool are_all = a_.town_word.size() == a.size() && b_.town_word.size() == b.size();
  return are_all ? words : std::max(words, LikenessOf(a, b));
}

void Comparer::Place() {
  const std::string_view a = a_.postcode;
  const std::string_view b = b_.postcode;
  const Likeness town = Towns();
  const bool has_town = town >= Likeness::kNear;
  const char* const town_words = town == Likeness::kSame    ? "gleicher Ort"
                                 : has_town                 ? "Ort ähnlich"
                                 : town == Likeness::kOther ? "anderer Ort"
                                                            : "";
  if (a.empty() || b.empty()) {
    is_one_address_ = has_town;
    Add(has_town ? kTownNoPostcode : town == Likeness::kOther ? kOtherPartOfPlace : 0, "PLZ fehlt");
    return Add(0, town_words);
  }
  if (a == b) {
    Add(has_town ? kSamePlace : town == Likeness::kOther ? kPostcodeOtherTown : kSamePostcode, "gleiche PLZ");
    return Add(0, town == Likeness::kSame ? "" : town_words);
  }
  is_one_address_ = has_town;
  if (IsOneEditApart(a, b)) {
    Add(has_town                   ? kTownNearPostcode
        : town == Likeness::kOther ? kNearPostcodeOtherTown
                                   : kNearPostcodeOnly,
        "PLZ ähnlich");
  } else {
    Add(has_town                   ? kTownOtherPostcode
        : town == Likeness::kOther ? kOtherPlace
                                   : kOtherPartOfPlace,
        "andere PLZ");
  }
  Add(0, town_words);
}

// What Street and Number add at most, as far as the letters of the street tell.
double Comparer::MostOfStreet(bool other_number) const {
  const std::string_view a = a_.street;
  const std::string_view b = b_.street;
  const double of_number = other_number ? kNearNumber : kSameNumber;
  if (a.empty() || b.empty()) return of_number;
  if (a == b) return kSameStreet + of_number;
  if (MayBeAlike(a, b) || MayBeAlike(a_.street_word, b_.street_word) || a.starts_with(b) || b.starts_with(a)) {
    return kNearStreet + of_number;
  }
  return kOtherStreet + (other_number ? kNearNumber : kSameNumberOtherStreet);
}

Likeness Comparer::Street() {
  const std::string_view a = a_.street;
  const std::string_view b = b_.street;
  if (a.empty() || b.empty()) {
    if (!a.empty() || !b.empty()) Add(0, "Straße fehlt");
    return Likeness::kMissing;
  }
  if (a == b) {
    Add(IsCommonStreet(a_.street_word) ? kSameCommonStreet : kSameStreet, "gleiche Straße");
    return Likeness::kSame;
  }
  const bool is_near =
      std::max(LikenessOf(a, b), LikenessOf(a_.street_word, b_.street_word)) >= Likeness::kNear ||
      a.starts_with(b) || b.starts_with(a);
  if (is_near) {
    Add(IsCommonStreet(a_.street_word) ? kNearCommonStreet : kNearStreet,
        tells_ ? "Straße ähnlich " +
                     Decimal(std::max(JaroWinkler(a, b), JaroWinkler(a_.street_word, b_.street_word)))
               : "");
    return Likeness::kNear;
  }
  Add(a_.is_company && b_.is_company ? kOtherStreetOfCompany : kOtherStreet, "andere Straße");
  return Likeness::kOther;
}

void Comparer::Number(Likeness street) {
  const std::string_view a = a_.house_number;
  const std::string_view b = b_.house_number;
  if (a.empty() || b.empty()) {
    if (!a.empty() || !b.empty()) Add(0, "Hausnummer fehlt");
    return;
  }
  if (a != b) is_one_address_ = false;
  if (a != b && street == Likeness::kOther && !a_.is_company)
    return Add(kOtherNumber + kNamesakes, "andere Hausnummer");
  if (a != b) return Add(IsOneEditApart(a, b) ? kNearNumber : kOtherNumber, "andere Hausnummer");
  if (street == Likeness::kOther) return Add(kSameNumberOtherStreet, "gleiche Hausnummer");
  const char letter_a = a_.house_letter;
  const char letter_b = b_.house_letter;
  if (letter_a == letter_b) return Add(kSameNumber, "gleiche Hausnummer");
  if (letter_a == '\0' || letter_b == '\0') return Add(kSameNumberMissingLetter, "gleiche Hausnummer");
  Add(kSameNumberOtherLetter, "andere Hausnummer");
}

}  // namespace

double Comparison::Percent() const { return 100 / (1 + std::exp2(-bits)); }

Comparison CompareAddresses(const AddressView& a, const AddressView& b, SameAddressPairs& seen) {
  return Comparer(a, b, seen, true).Compare(-std::numeric_limits<double>::infinity());
}

double HighestPercent(const AddressView& a, const AddressView& b, SameAddressPairs& seen) {
  return Comparer(a, b, seen, false).Compare(kHopeless).Percent();
}

}  // namespace kestrel::host
