#include "address_errors.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "platform/base/text.h"

namespace {

using kestrel::ReplaceAll;
using Pairs = std::pair<std::string_view, std::string_view>;

// Letters beside one another on a German keyboard, row by row.
constexpr std::array<std::string_view, 4> kKeyboard = {"1234567890", "qwertzuiop", "asdfghjkl", "yxcvbnm"};

constexpr auto kSeenAlike = std::to_array<Pairs>({{"rn", "m"},
                                                  {"m", "rn"},
                                                  {"cl", "d"},
                                                  {"l", "i"},
                                                  {"i", "l"},
                                                  {"h", "b"},
                                                  {"e", "c"},
                                                  {"n", "u"},
                                                  {"u", "v"},
                                                  {"S", "5"},
                                                  {"B", "8"},
                                                  {"O", "0"},
                                                  {"g", "q"},
                                                  {"f", "t"},
                                                  {"vv", "w"},
                                                  {"ö", "o"}});
constexpr auto kSoundAlike = std::to_array<Pairs>(
    {{"ph", "f"}, {"f", "ph"}, {"th", "t"},  {"ck", "k"}, {"ei", "ai"}, {"ai", "ei"}, {"ey", "ei"},
     {"y", "i"},  {"ie", "i"}, {"v", "f"},   {"dt", "t"}, {"tt", "t"},  {"nn", "n"},  {"n", "nn"},
     {"ll", "l"}, {"ss", "s"}, {"ä", "e"},   {"z", "tz"}, {"c", "k"},   {"k", "c"},   {"h", ""},
     {"mm", "m"}, {"f", "ff"}, {"chs", "x"}, {"d", "t"},  {"ü", "y"}});

// The start of a character that is one byte, at least `from`; npos where there is none.
std::size_t PlainPlace(const std::string& text, Dice& dice) {
  for (int tries = 0; tries < 8 && !text.empty(); ++tries) {
    const std::size_t place = dice.Roll(static_cast<std::uint32_t>(text.size()));
    if (static_cast<unsigned char>(text[place]) < 0x80) return place;
  }
  return std::string::npos;
}

char NeighbourOf(char key, Dice& dice) {
  const bool is_capital = key >= 'A' && key <= 'Z';
  const char small = is_capital ? static_cast<char>(key + 32) : key;
  for (const std::string_view row : kKeyboard) {
    const std::size_t at = row.find(small);
    if (at == std::string_view::npos) continue;
    const std::size_t next = at == 0 || (at + 1 < row.size() && dice.OneIn(2)) ? at + 1 : at - 1;
    return is_capital ? static_cast<char>(row[next] - 32) : row[next];
  }
  return 'e';
}

bool Mistype(std::string& text, Dice& dice) {
  const std::size_t place = PlainPlace(text, dice);
  if (place == std::string::npos || text.size() < 2) return false;
  switch (dice.Roll(4)) {
    case 0: text.insert(place, 1, NeighbourOf(text[place], dice)); return true;
    case 1: text.erase(place, 1); return true;
    case 2: text[place] = NeighbourOf(text[place], dice); return true;
    default: break;
  }
  if (place + 1 >= text.size() || static_cast<unsigned char>(text[place + 1]) >= 0x80) return false;
  if (text[place] == text[place + 1]) return false;
  std::swap(text[place], text[place + 1]);
  return true;
}

template <class List>
bool ReplaceOne(std::string& text, const List& list, Dice& dice) {
  for (int tries = 0; tries < 12; ++tries) {
    const auto& [from, to] = dice.Pick(list);
    const std::size_t place =
        text.find(from, text.empty() ? 0 : dice.Roll(static_cast<std::uint32_t>(text.size())));
    if (place == std::string::npos || text.size() < 3) continue;
    text.replace(place, from.size(), to);
    return true;
  }
  return false;
}

bool SwapOrDropWord(std::string& text, Dice& dice) {
  const std::size_t blank = text.find(' ');
  if (blank == std::string::npos) return false;
  const std::string first = text.substr(0, blank);
  const std::string rest = text.substr(blank + 1);
  text = dice.OneIn(2) ? rest + " " + first : first.size() > rest.size() ? first : rest;
  return true;
}

bool DamageWord(std::string& text, Dice& dice) {
  const std::uint32_t kind = dice.Roll(100);
  if (kind < 50) return Mistype(text, dice);
  if (kind < 62) return ReplaceOne(text, kSeenAlike, dice);
  if (kind < 88) return ReplaceOne(text, kSoundAlike, dice);
  return SwapOrDropWord(text, dice);
}

bool DamageDigits(std::string& digits, Dice& dice) {
  if (digits.empty()) return false;
  const std::size_t place = dice.Roll(static_cast<std::uint32_t>(digits.size()));
  if (digits.size() > 1 && dice.OneIn(3)) {
    const std::size_t other = place == 0 ? 1 : place - 1;
    if (digits[place] == digits[other]) return false;
    std::swap(digits[place], digits[other]);
    return true;
  }
  const char digit = static_cast<char>('0' + dice.Roll(10));
  if (digits[place] == digit) return false;
  digits[place] = digit;
  return true;
}

void Transcribe(std::string& text, bool with_e) {
  constexpr auto kUmlauts =
      std::to_array<Pairs>({{"ä", "ae"}, {"ö", "oe"}, {"ü", "ue"}, {"Ä", "Ae"}, {"Ö", "Oe"}, {"Ü", "Ue"}});
  for (const auto& [from, to] : kUmlauts) text = ReplaceAll(text, from, with_e ? to : to.substr(0, 1));
  text = ReplaceAll(text, "ß", "ss");
}

void RespellStreet(Address& address, Dice& dice) {
  std::string& street = address.street;
  const char* const kind = dice.OneIn(2) ? "str." : dice.OneIn(2) ? "str" : " Str.";
  street = ReplaceAll(street, "straße", kind);
  street = ReplaceAll(street, "Straße", dice.OneIn(2) ? "Str." : "Strasse");
  if (dice.OneIn(3)) street = ReplaceAll(street, "-", " ");
  std::string& number = address.number;
  if (number.empty()) return;
  const char last = number.back();
  if (last >= 'a' && last <= 'z') {
    number.insert(number.size() - 1, dice.OneIn(2) ? " " : "");
    if (dice.OneIn(3)) number.back() = static_cast<char>(last - 32);
  } else if (dice.OneIn(12)) {
    number += "-" + std::to_string(std::stoi(number) + 2);
  }
}

void RespellTown(std::string& town, Dice& dice) {
  constexpr auto kShort = std::to_array<Pairs>({{" an der ", " a. d. "},
                                                {" am ", " a. "},
                                                {" in der ", " i. d. "},
                                                {" ob der ", " o. d. "},
                                                {" im ", " i. "},
                                                {" vor der ", " v. d. "}});
  const std::string before = town;
  for (const auto& [from, to] : kShort) town = ReplaceAll(town, from, to);
  if (town != before && !dice.OneIn(3)) return;
  if (const std::size_t bracket = town.find(" ("); bracket != std::string::npos) {
    town = dice.OneIn(2) ? town.substr(0, bracket) : ReplaceAll(ReplaceAll(town, "(", "/ "), ")", "");
  } else if (town != before) {
    town = before.substr(0, before.find(' '));
  } else {
    constexpr auto kParts =
        std::to_array<std::string_view>({" OT Nord", "-Altstadt", " OT Heide", ", OT Mühlberg"});
    town += dice.Pick(kParts);
  }
}

void RespellName(Address& address, Dice& dice) {
  if (address.first_name.empty()) {
    constexpr auto kForms = std::to_array<std::string_view>(
        {" GmbH & Co. KG", " UG (haftungsbeschränkt)", " GmbH", " OHG", " AG", " e. K.", " KG"});
    for (const std::string_view form : kForms) {
      if (!address.name.ends_with(form)) continue;
      const std::string core = address.name.substr(0, address.name.size() - form.size());
      address.name = dice.OneIn(2)              ? core
                     : form == " GmbH & Co. KG" ? core + " GmbH u. Co KG"
                                                : core + "," + std::string(form);
      break;
    }
    if (dice.OneIn(3)) address.name = "Fa. " + address.name;
    return;
  }
  switch (dice.Roll(4)) {
    case 0: address.first_name = "Dr. " + address.first_name; break;
    case 1: address.first_name = ReplaceAll(address.first_name, "-", " "); break;
    case 2: address.name = kestrel::UpperCase(address.name); break;
    default: address.first_name = (dice.OneIn(2) ? "Herr " : "Frau ") + address.first_name;
  }
}

}  // namespace

void WriteInAnotherWay(Address& address, Dice& dice) {
  switch (dice.Roll(8)) {
    case 0:
    case 1:
    case 2: RespellStreet(address, dice); break;
    case 3: RespellTown(address.town, dice); break;
    case 4:
      for (std::string* text : {&address.name, &address.first_name, &address.street, &address.town}) {
        Transcribe(*text, true);
      }
      break;
    case 5: Transcribe(dice.OneIn(2) ? address.name : address.street, false); break;
    case 6: RespellName(address, dice); break;
    default: address.postcode = (dice.OneIn(2) ? "D-" : "D ") + address.postcode;
  }
}

bool Damage(Address& address, Dice& dice) {
  const std::uint32_t field = dice.Roll(100);
  if (field < 22) return DamageWord(address.name, dice);
  if (field < 40) {
    if (address.first_name.empty()) return DamageWord(address.name, dice);
    if (dice.OneIn(8)) {
      address.first_name.erase(kestrel::Left(address.first_name, 1).size());
      address.first_name += dice.OneIn(2) ? "." : "";
      return true;
    }
    return DamageWord(address.first_name, dice);
  }
  if (field < 60) return DamageWord(address.street, dice);
  if (field < 68) return DamageDigits(address.number, dice);
  if (field < 78) return DamageDigits(address.postcode, dice);
  if (field < 88) return DamageWord(address.town, dice);
  if (field < 93) {
    if (address.first_name.empty()) return false;
    std::swap(address.name, address.first_name);
    return true;
  }
  std::string* const missing[] = {&address.first_name, &address.street, &address.number, &address.postcode,
                                  &address.town};
  std::string& value = *missing[dice.Roll(5)];
  if (value.empty()) return false;
  value.clear();
  return true;
}
