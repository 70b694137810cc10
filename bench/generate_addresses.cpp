// generate_addresses N > FILE: N made-up German addresses and a header line, the same ones every time.
//
// Windows-1252, CR LF, ";" between values, every second text value quoted. About one record in 200 holds a
// number that is none, and as many a day that does not exist. A name is composed of parts, so that equal
// addresses are rare.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "dice.h"
#include "platform/base/text.h"

namespace {

using std::string_view_literals::operator""sv;

constexpr std::array kForenames = {
    "Anna"sv,    "Jürgen"sv,   "Sören"sv,   "Käthe"sv,  "Peter"sv,    "Günther"sv, "Maria"sv,      "Björn"sv,
    "Heike"sv,   "Wolfgang"sv, "Ursula"sv,  "Jörg"sv,   "Thomas"sv,   "Bärbel"sv,  "Karl-Heinz"sv, "Sabine"sv,
    "Rüdiger"sv, "Claudia"sv,  "Dieter"sv,  "Renate"sv, "Matthias"sv, "Gisela"sv,  "Uwe"sv,        "Monika"sv,
    "Stefan"sv,  "Birgit"sv,   "Andreas"sv, "Petra"sv,  "Klaus"sv,    "Ingrid"sv,  "Detlef"sv,     "Zoë"sv};
constexpr std::array kNameBeginnings = {
    "Müll"sv,  "Schmid"sv, "Schäf"sv,  "Beck"sv,   "Hof"sv,   "Wagn"sv, "Lindn"sv, "Köhl"sv, "Krüg"sv,
    "Baum"sv,  "Steinb"sv, "Rot"sv,    "Weiß"sv,   "Groß"sv,  "Neu"sv,  "Alt"sv,   "Lang"sv, "Kurz"sv,
    "Brand"sv, "Fisch"sv,  "Vog"sv,    "Zieg"sv,   "Förs"sv,  "Jäg"sv,  "Kais"sv,  "Herz"sv, "Winkl"sv,
    "Oster"sv, "Sommer"sv, "Winter"sv, "Donner"sv, "Freit"sv, "Eich"sv, "Buch"sv,  "Tann"sv, "Birk"sv};
constexpr std::array kNameEndings = {"er"sv,      "mann"sv,  "inger"sv, "bauer"sv, "berg"sv,   "stein"sv,
                                     "meier"sv,   "huber"sv, "hardt"sv, "wald"sv,  "acher"sv,  "feld"sv,
                                     "kamp"sv,    "ke"sv,    "ow"sv,    "itz"sv,   "ler"sv,    "ner"sv,
                                     "schmidt"sv, "loh"sv,   "hagen"sv, "dorf"sv,  "brecht"sv, "wig"sv};
constexpr std::array kTrades = {"Metallbau"sv,     "Bäckerei"sv,  "Gärtnerei"sv, "Elektro"sv,
                                "Möbelhaus"sv,     "Druckerei"sv, "Autohaus"sv,  "Weinhandel"sv,
                                "Kälte & Klima"sv, "Büromarkt"sv, "Spedition"sv, "Tischlerei"sv,
                                "Sanitär"sv,       "Optik"sv,     "Apotheke"sv,  "Reisebüro"sv};
constexpr std::array kLegalForms = {"GmbH"sv, "GmbH & Co. KG"sv, "OHG"sv, "AG"sv, "e. K."sv, "KG"sv,
                                    "UG"sv,   "Söhne"sv};
constexpr std::array kStreetBeginnings = {
    "Haupt"sv,  "Bahnhof"sv, "Garten"sv,    "Mühlen"sv,    "Schul"sv, "Berg"sv,   "Kirch"sv,   "Wald"sv,
    "Linden"sv, "Goethe"sv,  "Schiller"sv,  "Rosen"sv,     "Dorf"sv,  "Wiesen"sv, "Brücken"sv, "König"sv,
    "Ahorn"sv,  "Birken"sv,  "Eichen"sv,    "Hafen"sv,     "Markt"sv, "Post"sv,   "Ring"sv,    "Sonnen"sv,
    "Feld"sv,   "Mozart"sv,  "Beethoven"sv, "Friedrich"sv, "Ufer"sv,  "Tal"sv,    "Burg"sv,    "Ziegel"sv};
constexpr std::array kStreetEndings = {"straße"sv, "weg"sv,  "allee"sv, "gasse"sv,
                                       "platz"sv,  "str."sv, "ring"sv,  "ufer"sv};
constexpr std::array kPlaceBeginnings = {"Ober"sv,  "Unter"sv,   "Neu"sv,     "Alt"sv,    "Groß"sv,
                                         "Klein"sv, "Bad "sv,    "Hohen"sv,   "Nieder"sv, "Schön"sv,
                                         "Wald"sv,  "Stein"sv,   "Rosen"sv,   "Grün"sv,   "Weiß"sv,
                                         "König"sv, "Münster"sv, "Franken"sv, "Lüne"sv,   "Wolfs"sv};
constexpr std::array kPlaceEndings = {"kirchen"sv, "burg"sv,  "hausen"sv, "heim"sv,  "dorf"sv,
                                      "stadt"sv,   "berg"sv,  "bach"sv,   "feld"sv,  "münde"sv,
                                      "brück"sv,   "furt"sv,  "tal"sv,    "au"sv,    "see"sv,
                                      "hofen"sv,   "ingen"sv, "roda"sv,   "walde"sv, "förde"sv};
constexpr std::array kRemarks = {""sv,
                                 ""sv,
                                 ""sv,
                                 ""sv,
                                 "Stammkunde"sv,
                                 "zahlt bar; kein Lastschrifteinzug"sv,
                                 "Anrufe nur vormittags"sv,
                                 "Prüfung läuft"sv,
                                 "Rabatt für Großabnehmer"sv,
                                 "Messekontakt"sv};
constexpr std::array kBadNumbers = {"k. A."sv, "1.2.3,4"sv, "12,5 EUR"sv, "--"sv};
constexpr std::array kBadDates = {"31.02.2021"sv, "00.00.0000"sv, "unbekannt"sv, "29.02.2023"sv};
constexpr std::array kMailHosts = {"web.example"sv, "post.example"sv, "firma.example"sv};

class AddressWriter {
 public:
  // The bytes of one record, with its line end. The text lives until the next call.
  const std::string& Record(std::uint64_t number) {
    line_.clear();
    const std::string surname = std::string(dice_.Pick(kNameBeginnings)).append(dice_.Pick(kNameEndings));
    const std::string_view forename = dice_.Pick(kForenames);
    const bool company = dice_.OneIn(3);

    Plain(std::to_string(100000 + number));
    if (company) {
      Quoted(std::string(dice_.Pick(kTrades))
                 .append(" ")
                 .append(surname)
                 .append(" ")
                 .append(dice_.Pick(kLegalForms)));
      Quoted(std::string("z. Hd. ").append(forename).append(" ").append(surname));
    } else {
      Quoted(std::string(forename).append(" ").append(surname));
      Quoted("");
    }
    Plain(dice_.OneIn(8) ? "Einkauf" : "");
    Quoted(std::string(dice_.Pick(kStreetBeginnings))
               .append(dice_.Pick(kStreetEndings))
               .append(" ")
               .append(std::to_string(1 + dice_.Roll(180))));
    Plain(dice_.OneIn(25) ? "A" : "D");
    Plain(Digits(1067 + dice_.Roll(98900), 5));
    Plain(std::string(dice_.Pick(kPlaceBeginnings)).append(dice_.Pick(kPlaceEndings)));
    Plain("0" + std::to_string(201 + dice_.Roll(9700)) + "/" + std::to_string(100000 + dice_.Roll(899999)));
    Plain("kunde" + std::to_string(number) + "@" + std::string(dice_.Pick(kMailHosts)));
    Plain(Digits(1 + dice_.Roll(12), 2));
    Plain(Date());
    Plain(Amount());
    Plain(dice_.OneIn(4) ? std::to_string(dice_.Roll(20)) + ",5" : "0");
    Plain(dice_.OneIn(800) ? std::string(dice_.Pick(kBadNumbers)) : std::to_string(dice_.Roll(500)));
    Quoted(dice_.Pick(kRemarks));
    line_.back() = '\r';
    line_ += '\n';
    bytes_ = kestrel::ToWindows1252(line_);
    return bytes_;
  }

 private:
  static std::string Digits(std::uint32_t number, std::size_t width) {
    std::string digits = std::to_string(number);
    return digits.insert(0, width - std::min(width, digits.size()), '0');
  }
  std::string Date() {
    if (dice_.OneIn(200)) return std::string(dice_.Pick(kBadDates));
    return Digits(1 + dice_.Roll(28), 2) + "." + Digits(1 + dice_.Roll(12), 2) + "." +
           std::to_string(1990 + dice_.Roll(35));
  }
  std::string Amount() {
    if (dice_.OneIn(270)) return std::string(dice_.Pick(kBadNumbers));
    return std::to_string(dice_.Roll(90000)) + "," + Digits(dice_.Roll(100), 2);
  }
  void Plain(std::string_view value) { line_.append(value).append(";"); }
  void Quoted(std::string_view value) { line_.append("\"").append(value).append("\";"); }

  Dice dice_;
  std::string line_;
  std::string bytes_;
};

constexpr const char* kHeader =
    "Kundennummer;Bez1;Bez2;Bez3;Strasse;Land;PLZ;Ort;Telefon;EMail;Gruppe;Datum;Umsatz;Rabatt;Anzahl;"
    "Bemerkung\r\n";

}  // namespace

int main(int argument_count, char** arguments) {
  char* end = nullptr;
  const std::uint64_t count = argument_count == 2 ? std::strtoull(arguments[1], &end, 10) : 0;
  if (end == nullptr || *end != '\0') {
    std::fprintf(stderr, "generate_addresses N > FILE\n");
    return 2;
  }
  AddressWriter writer;
  std::fputs(kHeader, stdout);
  for (std::uint64_t number = 1; number <= count; ++number) {
    const std::string& record = writer.Record(number);
    std::fwrite(record.data(), 1, record.size(), stdout);
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    std::perror("generate_addresses");
    return 1;
  }
}
