// generate_labelled_addresses N [SEED] [DUPLICATES] [one|two] > FILE: N made-up German addresses and a header line, of
// which DUPLICATES per cent (10) repeat an earlier one, written down in another way. The column Kennung names who is
// meant: equal for an address and its repetitions. "two" puts a person's surname into Bez1 and the first name into Bez2,
// "one" (the usual) both into Bez1.
//
// UTF-8, CR LF, ";" between values. Names and towns are as frequent as public lists tell (address_tables.h). Of five
// addresses one is a company's, some of them with branches; a third of the people live with somebody of the same
// surname, among them father and son of one first name ("sen.", "jun."), and twins. These are no repetitions, and neither
// are namesakes. Of a hundred repetitions two have moved within their town. Errors: address_errors.h.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "address_errors.h"
#include "address_tables.h"

namespace {

// Draws by weight.
template <class List>
class Urn {
 public:
  explicit Urn(const List& list) : list_(list) {
    for (const auto& entry : list) ends_.push_back(total() + entry.weight);
  }
  const auto& Draw(Dice& dice) const {
    const std::uint32_t at = dice.Roll(total());
    return list_[static_cast<std::size_t>(std::upper_bound(ends_.begin(), ends_.end(), at) - ends_.begin())];
  }

 private:
  std::uint32_t total() const { return ends_.empty() ? 0 : ends_.back(); }
  const List& list_;
  std::vector<std::uint32_t> ends_;
};

std::string Digits(std::uint32_t number, std::size_t width) {
  std::string digits = std::to_string(number);
  return digits.insert(0, width - std::min(width, digits.size()), '0');
}

class People {
 public:
  explicit People(std::uint64_t seed) : dice_(seed) {}

  // One address that nobody has yet, or somebody of the household of the last.
  Address Next() {
    if (same_company_ > 0) {
      --same_company_;
      Settle(last_);
      return last_;
    }
    if (same_household_ > 0 && !last_.first_name.empty()) {
      --same_household_;
      Relative();
      return last_;
    }
    last_ = {};
    if (dice_.OneIn(5)) {
      Found();
    } else {
      last_.name = Surname();
      last_.first_name = FirstName();
      household_ = {last_.first_name};
      if (dice_.OneIn(4)) same_household_ = 1 + dice_.Roll(2);
    }
    Settle(last_);
    return last_;
  }

  // The same address, written down by somebody else.
  Address Again(Address address) {
    if (dice_.OneIn(50)) Move(address);
    if (dice_.OneIn(2)) WriteInAnotherWay(address, dice_);
    const std::uint32_t chance = dice_.Roll(100);
    int errors = chance < 55 ? 1 : chance < 85 ? 2 : chance < 95 ? 3 : 0;
    for (int tries = 0; errors > 0 && tries < 20; ++tries) errors -= Damage(address, dice_) ? 1 : 0;
    if (address.first_name.empty() && dice_.OneIn(4)) address.contact = Contact();
    return address;
  }

 private:
  std::string Surname() {
    // A third of the people have one of the hundred commonest names or so.
    if (dice_.OneIn(3)) return std::string(surnames_.Draw(dice_).text);
    const std::string name = std::string(dice_.Pick(kNameBeginnings)).append(dice_.Pick(kNameEndings));
    return dice_.OneIn(25) ? name + "-" + std::string(surnames_.Draw(dice_).text) : name;
  }
  std::string FirstName() {
    is_woman_ = dice_.OneIn(2);
    return std::string((is_woman_ ? women_ : men_).Draw(dice_).text);
  }
  void Relative() {
    if (!is_woman_ && last_.first_name.find(' ') == std::string::npos && dice_.OneIn(12)) {
      last_.first_name += dice_.OneIn(2) ? " jun." : " sen.";
      return;
    }
    do {
      last_.first_name = FirstName();
    } while (std::ranges::find(household_, last_.first_name) != household_.end());
    household_.push_back(last_.first_name);
  }
  std::string Contact() {
    if (dice_.OneIn(3)) return std::string(dice_.Pick(kDepartments));
    const std::string first_name = FirstName();
    return "z. Hd. " + first_name + " " + Surname();
  }
  void Found() {
    const std::string trade(dice_.Pick(kTrades));
    const std::string name = Surname();
    const std::string form(dice_.Pick(kLegalForms));
    switch (dice_.Roll(3)) {
      case 0: last_.name = trade + " " + name + " " + form; break;
      case 1: last_.name = name + " " + trade + " " + form; break;
      default: last_.name = name + (dice_.OneIn(2) ? " & Söhne " : " ") + trade + " " + form;
    }
    if (dice_.OneIn(2)) last_.contact = Contact();
    if (dice_.OneIn(6)) same_company_ = 1 + dice_.Roll(3);
  }

  // A town and its postcode are one place; each place has some streets of its own.
  void Settle(Address& address) {
    const Town& town = towns_.Draw(dice_);
    std::uint32_t code =
        town.first_code + (town.last_code - town.first_code) / town.codes * dice_.Roll(town.codes);
    address.town = town.name;
    if (!dice_.OneIn(3)) {
      // In the country: six postcodes in ten of Germany's are those of villages.
      code = (town.first_code / 1000 * 1000) + 200 + dice_.Roll(60) * 13;
      Dice village(code);
      address.town = std::string(village.Pick(kVillageBeginnings)).append(village.Pick(kVillageEndings));
    }
    address.postcode = Digits(code, 5);
    Move(address);
  }
  // To another street of the place.
  void Move(Address& address) {
    Dice streets(std::uint64_t{1000} * static_cast<std::uint64_t>(std::atoi(address.postcode.c_str())) +
                 dice_.Roll(90));
    streets.Roll(2);
    address.street = streets.OneIn(3)
                         ? std::string(streets.Pick(kCommonStreets))
                         : std::string(streets.Pick(kStreetBeginnings)).append(streets.Pick(kStreetEndings));
    address.number = std::to_string(1 + dice_.Roll(1 + dice_.Roll(120)));
    if (dice_.OneIn(10)) address.number += static_cast<char>('a' + dice_.Roll(4));
  }

  const Urn<decltype(kSurnames)> surnames_{kSurnames};
  const Urn<decltype(kWomen)> women_{kWomen};
  const Urn<decltype(kMen)> men_{kMen};
  const Urn<decltype(kTowns)> towns_{kTowns};
  Dice dice_;
  Address last_;
  std::vector<std::string> household_;  // first names
  bool is_woman_ = false;
  std::uint32_t same_household_ = 0;
  std::uint32_t same_company_ = 0;
};

void Write(std::uint64_t who, const Address& address, bool two) {
  const std::string number = (address.number.empty() ? "" : " ") + address.number;
  const bool person = !address.first_name.empty();
  const std::string name = two || !person ? address.name : address.first_name + " " + address.name;
  const std::string& second = two && person ? address.first_name : address.contact;
  std::printf("%llu;%s;%s;;%s%s;%s;%s\r\n", static_cast<unsigned long long>(who), name.c_str(), second.c_str(),
              address.street.c_str(), number.c_str(), address.postcode.c_str(), address.town.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const auto argument = [&](int index, const char* fallback) { return argc > index ? argv[index] : fallback; };
  const std::uint64_t count = std::strtoull(argument(1, "0"), nullptr, 10);
  const std::uint64_t seed = std::strtoull(argument(2, "1"), nullptr, 10);
  const auto duplicates = static_cast<std::uint32_t>(std::strtoul(argument(3, "10"), nullptr, 10));
  const bool two = std::string_view(argument(4, "one")) == "two";
  if (count == 0 || duplicates > 90) {
    std::fputs("usage: generate_labelled_addresses N [SEED] [DUPLICATES per cent, up to 90] [one|two]\n",
               stderr);
    return 2;
  }
  People people(seed);
  Dice dice(seed + 1);
  std::puts("Kennung;Bez1;Bez2;Bez3;Strasse;PLZ;Ort\r");
  // What is repeated is one of the last so many.
  std::vector<Address> kept;
  std::vector<std::uint64_t> who;
  for (std::uint64_t i = 0; i < count; ++i) {
    if (!kept.empty() && dice.Percent(duplicates)) {
      const std::size_t which = dice.Roll(static_cast<std::uint32_t>(kept.size()));
      Write(who[which], people.Again(kept[which]), two);
      continue;
    }
    kept.push_back(people.Next());
    who.push_back(i + 1);
    Write(who.back(), kept.back(), two);
  }
  return 0;
}
