// The Kölner Phonetik: words that sound alike in German get the same digits.
//
// Published by Hans Joachim Postel, "Die Kölner Phonetik. Ein Verfahren zur Identifizierung von
// Personennamen auf der Grundlage der Gestaltanalyse", IBM-Nachrichten 19 (1969), pages 925 to 931.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::host {

// Appends the code of one word of the letters A to Z (umlauts as AE, OE, UE, ß as SS); other characters are
// passed over.
//   MUELLER -> 657, MEYER and MAIER -> 67, SCHMIDT and SCHMITT -> 862, BRESCHNEW -> 17863
void AppendCologneCode(std::string& code, std::string_view word);

}  // namespace kestrel::host
