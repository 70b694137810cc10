// Texts of addresses folded so that ways of writing no longer differ.
#pragma once

#include <string>
#include <string_view>

namespace kestrel::host {

// Appends `text` in capital letters A to Z and digits: Ä, Ö, Ü become AE, OE, UE and ß SS, accents are
// dropped (É is E), and every run of other characters becomes one blank, none at either end. Letters of
// other scripts stay as they are. "Müller-Lüdenscheidt & Söhne" -> "MUELLER LUEDENSCHEIDT SOEHNE"
void AppendFolded(std::string& folded, std::string_view text);

// Takes the next word off folded text; empty at its end.
std::string_view TakeWord(std::string_view& folded);

// Appends the words of a folded street as one, "STR" at a word's end written out:
// "HAUPT STR 5 A", "HAUPTSTRASSE 5A" -> "HAUPTSTRASSE5A"
void AppendStreet(std::string& street, std::string_view folded);

}  // namespace kestrel::host
