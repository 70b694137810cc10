// An import of customers with duplicate check, and lines of its source in which no address is like another one.
#pragma once

#include <string>

namespace kestrel::testing {

inline constexpr const char* kCheckedCustomers =
    "[Common]\nDescription=Kunden\nApplication=2\nImportClass=ksbimport.importkunden\n"
    "Provider=Textdatei\nFileName=Quelle.txt\nColumnHeadings=True\nFileFormat=ANSI\nDelimiter=;\n"
    "TextRecognition=\"\n[CfgSettings]\nDublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\n"
    "[FieldAssignments]\nKundenNummer=FIELD:Nr\nBez1=FIELD:Name\nStrasse=FIELD:Strasse\n"
    "PLZ=FIELD:PLZ\nOrt=FIELD:Ort\n";

inline constexpr const char* kCustomerHeadings = "Nr;Name;Strasse;PLZ;Ort\r\n";

// The customer `number` at the address `address`, which is counted from 1.
inline std::string CustomerLine(int number, int address) {
  const std::string text = std::to_string(address);
  const std::string town(1, static_cast<char>('a' + address % 26));
  return std::to_string(number) + ";Firma " + town + text + ";Weg " + text + ";" +
         std::to_string(10000 + address) + ";Ort" + town + "\r\n";
}

}  // namespace kestrel::testing
