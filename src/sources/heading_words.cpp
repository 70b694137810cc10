#include "sources/heading_words.h"

#include <algorithm>
#include <array>
#include <string>

#include "platform/base/text.h"

namespace kestrel {

namespace {

// In upper case, without umlauts.
constexpr std::array kWords =
    std::to_array<std::string_view>({"ABTEILUNG",  "ADDRESS",     "ADRESSE",      "AGE",
                                     "ALTER",      "AMOUNT",      "ANREDE",       "ANSPRECHPARTNER",
                                     "ANZAHL",     "BANK",        "BEMERKUNG",    "BETRAG",
                                     "BEZ",        "BEZEICHNUNG", "BIC",          "BIRTH",
                                     "BLZ",        "BRANCHE",     "BUNDESLAND",   "CITY",
                                     "CODE",       "COMPANY",     "COUNTRY",      "DATE",
                                     "DATUM",      "DOB",         "EMAIL",        "FAMILIENNAME",
                                     "FAX",        "FIRMA",       "FIRST",        "GEBDAT",
                                     "GEBURTSTAG", "GENDER",      "GESCHLECHT",   "GRUPPE",
                                     "HANDY",      "HAUSNR",      "HOMEPAGE",     "IBAN",
                                     "ID",         "INTERNET",    "KENNUNG",      "KONTO",
                                     "KUNDE",      "KUNDENNR",    "LAND",         "LAST",
                                     "LIEFERANT",  "MAIL",        "MENGE",        "MITARBEITER",
                                     "MOBIL",      "NACHNAME",    "NAME",         "NOTE",
                                     "NOTIZ",      "NR",          "NUMBER",       "NUMMER",
                                     "ORT",        "ORTSTEIL",    "PHONE",        "PLZ",
                                     "POSTCODE",   "POSTFACH",    "POSTLEITZAHL", "PREIS",
                                     "RABATT",     "REGION",      "STAAT",        "STADT",
                                     "STATE",      "STATUS",      "STR",          "STRASSE",
                                     "STREET",     "SUBURB",      "SURNAME",      "TEL",
                                     "TELEFAX",    "TELEFON",     "TITEL",        "TITLE",
                                     "TOWN",       "UMSATZ",      "URL",          "VORNAME",
                                     "VORWAHL",    "WEBSITE",     "WERT",         "WOHNORT",
                                     "ZIP",        "ZUSATZ"});
// With which longer words end.
constexpr std::array kEndings = std::to_array<std::string_view>({"NUMMER", "DATUM", "NAME", "ADRESSE"});

bool IsHeadingWord(std::string_view word) {
  return std::find(kWords.begin(), kWords.end(), word) != kWords.end() ||
         std::any_of(kEndings.begin(), kEndings.end(),
                     [word](std::string_view ending) { return word.ends_with(ending); });
}

}  // namespace

bool HoldsHeadingWord(std::string_view text) {
  const std::string upper = ReplaceAll(ReplaceAll(UpperCase(text), "ß", "SS"), "E-MAIL", "EMAIL");
  std::string word;
  bool found = false;
  const auto end_word = [&] {
    found = found || IsHeadingWord(word);
    word.clear();
  };
  for (const char c : upper) {
    const bool is_of_word = (c >= 'A' && c <= 'Z') || static_cast<unsigned char>(c) >= 0x80;
    if (is_of_word) {
      word += c;
    } else {
      end_word();
    }
  }
  end_word();
  return found;
}

}  // namespace kestrel
