// The Kölner Phonetik: words that sound alike in German get the same digits.
//
// Published by Hans Joachim Postel, "Die Kölner Phonetik. Ein Verfahren zur Identifizierung von
// Personennamen auf der Grundlage der Gestaltanalyse", IBM-Nachrichten 19 (1969), pages 925 to 931.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kestrel::host {

// Appends the code of one word of the letters A to Z (umlauts as AE, OE, UE, ß as SS); other characters are
// passed over. No more than the first `most` digits.
//   MUELLER -> 657, MEYER and MAIER -> 67, SCHMIDT and SCHMITT -> 862, BRESCHNEW -> 17863
void AppendCologneCode(std::string& code, std::string_view word, std::size_t most = std::string::npos);

}  // namespace kestrel::host
