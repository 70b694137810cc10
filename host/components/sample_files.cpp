#include "components/sample_files.h"

#include "platform/base/text.h"
#include "schema/default_destinations.h"

namespace kestrel::host {

namespace {

constexpr const char* kAddresses =
    "Nr;Name;Zusatz;Strasse;Land;PLZ;Ort;Telefon;E-Mail;Gruppe;Kunde seit;Umsatz;Mitarbeiter;Bemerkung\n"
    "1001;\"Möbelhaus Überall GmbH & Co. KG\";\"Einkauf\";\"Lindenstraße 7\";D;50674;Köln;0221 555-0;"
    "einkauf@ueberall.example;B;01.04.2019;125000,50;48;\"Anlieferung nur vormittags\"\n"
    "1002;\"Jürgen Großmann\";;\"Am Weiher 12 a\";D;80331;München;089 1234567;;P;15.11.2021;310,00;;\n"
    "1003;\"Café Zürich\";\"Inh. Beat Rüegg\";\"Bahnhofstrasse 3\";CH;8001;Zürich;;;C;29.02.2024;4200;5;\n"
    "1004;\"Bäckerei Schäfer\";;\"Hauptstr. 5\";D;01067;Dresden;0351 98765;post@schaefer.example;B;7.3.2018;"
    "18750,25;12;\"zahlt bar; Quittung beilegen\"\n"
    "1005;\"Österreichische Holzhandel AG\";\"z. Hd. Frau Dr. Höllriegl\";\"Ringstraße 88\";A;1010;Wien;;;A;"
    "01.01.2010;1900000;230;\n"
    "1006;\"Weiß & Söhne oHG\";;\"Gewerbepark 1\";D;20095;Hamburg;040 4711;;B;12.12.2012;76000;19;\n";

constexpr const char* kHead =
    "[Common]\nDescription=%DESCRIPTION%\nApplication=%MODE%\nImportClass=%PROGID%\nProvider=Textdatei\n"
    "FileName=%FILE%\nColumnHeadings=True\nFileFormat=ANSI\nDelimiter=;\nTextRecognition=\"\n"
    "SaveFile=0\nSavePath=\nDeleteFile=0\n"
    "[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=%TYPE%\nDublettenKey1=1\nDublettenKey2=0\n"
    "DublettenKey3=0\n%TABLE%Ueberschreiben=0\n";

constexpr const char* kCustomerFields =
    "[FieldAssignments]\nKundenNummer=FIELD:Nr\nBez1=FIELD:Name\nBez2=FIELD:Zusatz\nBez3=NOTASSIGNED\n"
    "Strasse=FIELD:Strasse\nLand=FIELD:Land\nPLZ=FIELD:PLZ\nOrt=FIELD:Ort\nTelefon=FIELD:Telefon\n"
    "EMail=FIELD:E-Mail\nKundengruppe=FIELD:Gruppe\nKundeSeit=FIELD:Kunde seit\nUmsatz=FIELD:Umsatz\n"
    "Rabatt=NOTASSIGNED\nMitarbeiter=FIELD:Mitarbeiter\nBemerkung=FIELD:Bemerkung\nSuchbegriff=FIELD:Name\n"
    "Sprache=CONST:DE\nWaehrung=CONST:EUR\nZahlungsziel=CONST:30\n"
    "[FieldFormat]\nKundeSeit=tt.mm.jjjj\n"
    "[FieldTranslation]\nLand=1\n"
    "[Translation_Land]\nD=DE\nA=AT\n";

std::string Specification(const DefaultDestination& destination, std::string_view description,
                          std::string_view file) {
  std::string text = ReplaceAll(kHead, "%DESCRIPTION%", description);
  text = ReplaceAll(text, "%PROGID%", destination.prog_id);
  text = ReplaceAll(text, "%FILE%", file);
  text = ReplaceAll(text, "%TABLE%", destination.table);
  text = ReplaceAll(text, "%MODE%", std::to_string(destination.app_mode));
  return ReplaceAll(text, "%TYPE%", std::to_string(destination.address_type));
}

std::string ToFileBytes(std::string_view text) { return ToWindows1252(ReplaceAll(text, "\n", "\r\n")); }

}  // namespace

std::vector<SampleFile> SampleFiles() {
  constexpr const char* kAddressFile = "Beispieladressen.txt";
  std::vector<SampleFile> files;
  for (const DefaultDestination& destination : kDefaultDestinations) {
    const std::string table = destination.table;
    files.push_back({table + ".IMT", ToFileBytes(Specification(destination, table + " aus Textdatei", ""))});
  }
  const std::string customers =
      Specification(kDefaultDestinations[0], "Beispielkunden aus Textdatei", kAddressFile) + kCustomerFields;
  files.push_back({"Kunden.IMP", ToFileBytes(customers)});
  files.push_back({kAddressFile, ToFileBytes(kAddresses)});
  return files;
}

}  // namespace kestrel::host
