#include "mapping/field_names.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <iterator>
#include <optional>

#include "platform/base/text.h"

namespace kestrel {

namespace {

constexpr const char* kFamilyNames = "NAME NACHNAME FAMILIENNAME ZUNAME LASTNAME SURNAME FAMILYNAME";
constexpr const char* kFirstNames = "VORNAME RUFNAME FIRSTNAME GIVENNAME FORENAME";

// Usual names of the same thing in German and English, folded and without the number at their end. A name may stand in
// several lines. "Title" is left out: it is a form of address, a degree or a job.
constexpr const char* kSynonyms[] = {
    "BEZ BEZEICHNUNG NAME FIRMA FIRMENNAME COMPANY COMPANYNAME",
    "NAME FULLNAME REALNAME DISPLAYNAME KUNDENNAME CUSTOMERNAME",
    kFamilyNames,
    "FIRMA FIRMENNAME UNTERNEHMEN FIRMENBEZEICHNUNG COMPANY COMPANYNAME ORGANISATION ORGANIZATION",
    kFirstNames,
    "ANREDE GESCHLECHTSANREDE SALUTATION",
    "TITEL AKADEMISCHERTITEL AKADTITEL",
    "ZUSATZ NAMENSZUSATZ NAMEZUSATZ",
    "ANSPRECHPARTNER KONTAKTPERSON KONTAKT CONTACT CONTACTNAME CONTACTPERSON",
    ("STRASSE STR STRASSEHAUSNUMMER STRASSEHAUSNR STRASSEHNR STRASSENR STRASSEUNDHAUSNUMMER "
     "STRASSEUNDHAUSNR STRASSEUNDNR STRASSENNAME ADRESSE STREET STREETNAME STREETADDRESS ADDRESS ADDRESSLINE"),
    "HAUSNUMMER HAUSNR HNR HOUSENUMBER HOUSENO STREETNUMBER",
    "ADRESSZUSATZ ANSCHRIFTZUSATZ ADRESSENZUSATZ",
    "PLZ POSTLEITZAHL ZIP ZIPCODE POSTALCODE POSTCODE",
    "ORT STADT WOHNORT ORTSNAME CITY TOWN PLACE LOCALITY",
    "LAND STAAT LKZ LAENDERKENNZEICHEN LAENDERCODE LANDKZ COUNTRY COUNTRYCODE COUNTRYNAME",
    "BUNDESLAND STATE PROVINCE REGION",
    "POSTFACH PF POBOX",
    ("TELEFON TEL TELEFONNUMMER TELEFONNR TELNR FON RUFNUMMER FESTNETZ PHONE PHONENUMBER PHONENO TELEPHONE "
     "TELEPHONENUMBER"),
    "TELEFAX FAX FAXNUMMER FAXNR TELEFAXNUMMER TELEFAXNR FAXNUMBER FAXNO",
    ("MOBIL HANDY MOBILTELEFON MOBILNUMMER MOBILNR HANDYNUMMER HANDYNR MOBILFUNK MOBILE MOBILEPHONE "
     "MOBILENUMBER CELL CELLPHONE"),
    "EMAIL MAIL EMAILADRESSE MAILADRESSE EMAILADDRESS MAILADDRESS",
    "INTERNET HOMEPAGE WEBSEITE WEBSITE WEB WWW URL INTERNETADRESSE",
    "GEBURTSDATUM GEBURTSTAG GEBDATUM GEBDAT GEBURTSDAT GEBOREN GEBORENAM BIRTHDATE BIRTHDAY DATEOFBIRTH",
    "KUNDENNUMMER KUNDENNR KDNR KUNDNR KDNUMMER KUNDENID CUSTOMERNUMBER CUSTOMERNO CUSTOMERID",
    "INTERESSENTENNUMMER INTERESSENTENNR INTNR INTERESSENTNR",
    ("LIEFERANTENNUMMER LIEFERANTENNR LIEFNR LIEFERANTNR SUPPLIERNUMBER SUPPLIERNO SUPPLIERID VENDORNUMBER "
     "VENDORNO VENDORID"),
    "GRUPPE KUNDENGRUPPE INTERESSENTENGRUPPE LIEFERANTENGRUPPE ADRESSGRUPPE KATEGORIE CATEGORY CUSTOMERGROUP",
    "SUCHBEGRIFF SUCHNAME KURZNAME KURZBEZEICHNUNG MATCHCODE",
    ("BEMERKUNG BEMERKUNGEN NOTIZ NOTIZEN ANMERKUNG ANMERKUNGEN KOMMENTAR NOTE NOTES REMARK REMARKS "
     "COMMENT COMMENTS"),
    ("UMSATZSTEUERID USTID USTIDNR USTIDENTNR UMSATZSTEUERIDENTIFIKATIONSNUMMER VATID VATNUMBER "
     "VATNO"),
    "KONTONUMMER KONTONR KONTO KTONR ACCOUNTNUMBER ACCOUNTNO",
    "BANKLEITZAHL BLZ",
    "BANK BANKNAME KREDITINSTITUT BANKVERBINDUNG",
    "WAEHRUNG WAEHRUNGSCODE WKZ CURRENCY CURRENCYCODE",
    "SPRACHE SPRACHCODE KORRESPONDENZSPRACHE LANGUAGE LANGUAGECODE",
    "UMSATZ JAHRESUMSATZ TURNOVER REVENUE",
    "RABATT DISCOUNT",
    "MITARBEITER MITARBEITERZAHL EMPLOYEES NUMBEROFEMPLOYEES",
};

// What decides whether a folded name is a synonym of another one.
struct Meaning {
  std::uint64_t things = 0;  // a bit for each line of kSynonyms that holds it
  std::string_view number;
};

Meaning MeaningOf(std::string_view folded) {
  const auto last = folded.find_last_not_of("0123456789");
  const std::size_t length = last == std::string_view::npos ? 0 : last + 1;
  Meaning meaning{0, folded.substr(length)};
  while (meaning.number.starts_with('0')) meaning.number.remove_prefix(1);
  if (meaning.number.empty()) meaning.number = "1";
  static_assert(std::size(kSynonyms) <= 64);
  for (std::size_t line = 0; line < std::size(kSynonyms); ++line) {
    const std::vector<std::string_view> names = Split(kSynonyms[line], ' ');
    const bool holds = std::find(names.begin(), names.end(), folded.substr(0, length)) != names.end();
    meaning.things |= std::uint64_t{holds} << line;
  }
  return meaning;
}

bool AreSame(const Meaning& a, const Meaning& b) { return (a.things & b.things) != 0 && a.number == b.number; }

bool IsOneOf(const char* names, std::string_view folded) {
  const std::vector<std::string_view> known = Split(names, ' ');
  return std::find(known.begin(), known.end(), folded) != known.end();
}

using ColumnsOfFields = std::vector<std::optional<std::size_t>>;

// The only column without a field that has one of the names; none where there are several.
std::optional<std::size_t> OnlyColumn(const char* names, const std::vector<std::string>& folded_columns,
                                      const std::vector<bool>& used) {
  std::optional<std::size_t> only;
  for (std::size_t column = 0; column < folded_columns.size(); ++column) {
    if (used[column] || !IsOneOf(names, folded_columns[column])) continue;
    if (only) return std::nullopt;
    only = column;
  }
  return only;
}

// "Bez1" and "Bez2" of a destination that has no fields of their own for what a person is called. All names are folded.
void PairPersons(const std::vector<std::string>& fields, const std::vector<std::string>& columns,
                 const std::vector<bool>& used, ColumnsOfFields& column_of) {
  const auto first = std::find(fields.begin(), fields.end(), "BEZ1");
  if (first == fields.end()) return;
  auto& first_column = column_of[static_cast<std::size_t>(first - fields.begin())];
  if (!first_column) {
    // One of several that may be meant, as a company's name: which, only a person knows.
    const Meaning meaning = MeaningOf(*first);
    for (std::size_t column = 0; column < columns.size(); ++column) {
      if (!used[column] && AreSame(meaning, MeaningOf(columns[column]))) return;
    }
    first_column = OnlyColumn(kFamilyNames, columns, used);
  }
  if (!first_column || !IsOneOf(kFamilyNames, columns[*first_column])) return;
  const auto second = std::find(fields.begin(), fields.end(), "BEZ2");
  if (second == fields.end()) return;
  auto& second_column = column_of[static_cast<std::size_t>(second - fields.begin())];
  if (!second_column) second_column = OnlyColumn(kFirstNames, columns, used);
}

}  // namespace

std::string FoldName(std::string_view name) {
  const std::string upper = UpperCase(name);
  std::string folded;
  for (std::size_t position = 0; position < upper.size();) {
    const char32_t character = NextCodePoint(upper, position);
    switch (character) {
      case U'Ä': folded += "AE"; break;
      case U'Ö': folded += "OE"; break;
      case U'Ü': folded += "UE"; break;
      case U'ß':
      case U'ẞ': folded += "SS"; break;
      default:
        // Beyond ASCII the signs of the code page end below the letters.
        if (character < 0x80 ? std::isalnum(static_cast<int>(character)) != 0 : character >= 0xC0) {
          AppendUtf8(folded, character);
        }
    }
  }
  return folded;
}

bool AreSynonyms(std::string_view a, std::string_view b) {
  const std::string first = FoldName(a);
  const std::string second = FoldName(b);
  return AreSame(MeaningOf(first), MeaningOf(second));
}

std::vector<NamePair> PairByName(std::span<const std::string> fields, std::span<const std::string> columns,
                                 std::vector<bool> used, std::span<const std::string> assigned) {
  std::vector<std::string> folded_fields, folded_columns;
  for (const std::string& field : fields) folded_fields.push_back(FoldName(field));
  for (const std::string& column : columns) folded_columns.push_back(FoldName(column));
  ColumnsOfFields column_of(fields.size());
  const auto take_same = [&](const auto& field_names, const auto& column_names) {
    for (std::size_t field = 0; field < fields.size(); ++field) {
      if (column_of[field] || field_names[field].empty()) continue;
      const auto found = std::find(column_names.begin(), column_names.end(), field_names[field]);
      if (found == column_names.end()) continue;
      column_of[field] = static_cast<std::size_t>(found - column_names.begin());
    }
  };
  take_same(fields, columns);
  take_same(folded_fields, folded_columns);

  used.resize(columns.size());
  for (const auto& column : column_of) {
    if (column) used[*column] = true;
  }
  // All that are open on both sides; of synonyms only those that have one partner each.
  std::vector<Meaning> meanings;
  for (const std::string& column : folded_columns) meanings.push_back(MeaningOf(column));
  std::vector<NamePair> synonyms;
  for (std::size_t field = 0; field < fields.size(); ++field) {
    if (column_of[field]) continue;
    const Meaning meaning = MeaningOf(folded_fields[field]);
    for (std::size_t column = 0; column < columns.size(); ++column) {
      if (!used[column] && AreSame(meaning, meanings[column])) {
        synonyms.push_back({field, column});
      }
    }
  }
  for (const NamePair& pair : synonyms) {
    const auto rivals = std::count_if(synonyms.begin(), synonyms.end(), [&](const NamePair& other) {
      return other.field == pair.field || other.column == pair.column;
    });
    if (rivals != 1) continue;
    column_of[pair.field] = pair.column;
    used[pair.column] = true;
  }
  const auto is_of_a_person = [](const std::string& field) {
    const std::string folded = FoldName(field);
    return IsOneOf(kFamilyNames, folded) || IsOneOf(kFirstNames, folded);
  };
  if (std::none_of(fields.begin(), fields.end(), is_of_a_person) &&
      std::none_of(assigned.begin(), assigned.end(), is_of_a_person)) {
    PairPersons(folded_fields, folded_columns, used, column_of);
  }

  std::vector<NamePair> pairs;
  for (std::size_t field = 0; field < fields.size(); ++field) {
    if (column_of[field]) pairs.push_back({field, *column_of[field]});
  }
  return pairs;
}

}  // namespace kestrel
