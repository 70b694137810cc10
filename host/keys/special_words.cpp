#include "keys/special_words.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace kestrel::host {

namespace {

constexpr std::string_view kTitles[] = {"DIPL",  "DR",  "FAMILIE", "FRAU", "HERR",
                                        "HERRN", "ING", "MAG",     "MED",  "PROF"};
constexpr std::string_view kFillers[] = {"AND", "DE",  "DEN", "DER", "DI",  "FA", "FIRMA", "LA",
                                         "U",   "UND", "VAN", "VOM", "VON", "ZU", "ZUM",   "ZUR"};
constexpr std::string_view kLegalForms[] = {
    "AG",       "BV",  "CIE",   "CO",     "COMPAGNIE", "EG",
    "EK",       "EV",  "GBR",   "GESMBH", "GMBH",      "HAFTUNGSBESCHRAENKT",
    "INC",      "KG",  "KGAA",  "LLC",    "LTD",       "MBH",
    "NV",       "OHG", "PARTG", "SA",     "SARL",      "SE",
    "STIFTUNG", "UG"};
constexpr std::string_view kDepartments[] = {"ABT",     "ABTEILUNG", "BUCHHALTUNG", "EINKAUF",
                                             "EMPFANG", "LAGER",     "PERSONAL",    "PERSONALABTEILUNG",
                                             "VERKAUF", "VERTRIEB",  "ZENTRALE"};
constexpr std::string_view kInCharge[] = {"HAENDEN", "HD", "ZHD"};
constexpr std::string_view kBranches[] = {"BETRIEBSSTAETTE", "FILIALE", "NIEDERLASSUNG", "STANDORT",
                                          "ZWEIGSTELLE"};
constexpr std::string_view kGenerations[] = {"II", "III", "JR", "JUN", "JUNIOR", "SEN", "SENIOR", "SR"};
constexpr std::string_view kPartsOfTown[] = {"ORTSTEIL", "OT", "STADTTEIL"};
constexpr std::string_view kKindsOfStreet[] = {"ALLEE", "DAMM", "GASSE",   "PFAD", "PLATZ", "RING",
                                               "STEIG", "STR",  "STRASSE", "UFER", "WEG"};

constexpr std::size_t kCount = std::size(kTitles) + std::size(kFillers) + std::size(kLegalForms) +
                               std::size(kDepartments) + std::size(kInCharge) + std::size(kBranches) +
                               std::size(kGenerations) + std::size(kPartsOfTown) + std::size(kKindsOfStreet);

constexpr auto kWords = [] {
  std::array<SpecialWord, kCount> words{};
  std::size_t next = 0;
  const auto add = [&](std::span<const std::string_view> list, SpecialWordKind kind) {
    for (const std::string_view word : list) words[next++] = {word, kind};
  };
  add(kTitles, kTitleWord);
  add(kFillers, kFillerWord);
  add(kLegalForms, kLegalFormWord);
  add(kDepartments, kDepartmentWord);
  add(kInCharge, kInChargeWord);
  add(kBranches, kBranchWord);
  add(kGenerations, kGenerationWord);
  add(kPartsOfTown, kPartOfTownWord);
  add(kKindsOfStreet, kKindOfStreetWord);
  std::ranges::sort(words, {}, &SpecialWord::word);
  return words;
}();

// Of the words that begin with each letter, how long they are: a bit a length.
constexpr std::size_t kLengths = 32;
constexpr auto kLengthsByLetter = [] {
  std::array<std::uint32_t, 26> lengths{};
  for (const SpecialWord& entry : kWords) {
    lengths[static_cast<std::size_t>(entry.word[0] - 'A')] |= std::uint32_t{1} << entry.word.size();
  }
  return lengths;
}();
static_assert(std::ranges::all_of(kWords,
                                  [](const SpecialWord& entry) { return entry.word.size() < kLengths; }));

}  // namespace

std::span<const SpecialWord> SpecialWords() { return kWords; }

std::uint16_t KindsOfWord(std::string_view word) {
  if (word.empty() || word.size() >= kLengths || word[0] < 'A' || word[0] > 'Z') return 0;
  if ((kLengthsByLetter[static_cast<std::size_t>(word[0] - 'A')] >> word.size() & 1U) == 0) return 0;
  std::uint16_t kinds = 0;
  for (const auto* entry = std::ranges::lower_bound(kWords, word, {}, &SpecialWord::word);
       entry != kWords.end() && entry->word == word; ++entry) {
    kinds |= entry->kinds;
  }
  return kinds;
}

std::uint32_t LegalFormOf(std::string_view word) {
  if (word == "CO" || word == "CIE" || word == "COMPAGNIE") return kPartners;
  if (word == "HAFTUNGSBESCHRAENKT") return 0;
  if (word == "MBH" || word == "GESMBH") word = "GMBH";
  static_assert(std::size(kLegalForms) < 32);
  const auto* const found = std::ranges::find(kLegalForms, word);
  return found == std::end(kLegalForms) ? 0 : std::uint32_t{1} << (found - std::begin(kLegalForms));
}

bool AreOtherLegalForms(std::uint32_t a, std::uint32_t b) {
  if (!DifferInLegalForm(a, b)) return false;
  static const std::uint32_t partnership = LegalFormOf("KG");
  const auto lacks = [](std::uint32_t one, std::uint32_t other) { return other & ~one & ~kPartners; };
  if (lacks(a, b) != 0 && lacks(b, a) != 0) return true;
  const std::uint32_t fewer = lacks(a, b) != 0 ? a : b;
  return ((a ^ b) & partnership) != 0 && (fewer & kPartners) == 0;
}

}  // namespace kestrel::host
