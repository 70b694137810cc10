#include "keys/address_comparison.h"

#include <gmock/gmock.h>

#include <bit>
#include <cstdint>
#include <random>
#include <string>

#include "keys/address_parts.h"
#include "keys/text_similarity.h"

namespace kestrel::host {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct Side {
  std::string name;
  std::string street = "Tulpenhof 5";
  std::string postcode = "50667";
  std::string town = "Köln";
  std::string name2 = "";
};

Comparison Compare(const Side& a, const Side& b, SameAddressPairs seen = {}) {
  const auto text = [](const Side& side) {
    return side.postcode + "|" + side.town + "|" + side.street + "||" + side.name + "|" + side.name2 + "|||";
  };
  const std::string text_a = text(a), text_b = text(b);
  const AddressParts parts_a(text_a), parts_b(text_b);
  const double there = CompareAddresses(parts_a, parts_b, seen).Percent();
  // Whichever was stored first.
  SameAddressPairs again;
  EXPECT_EQ(CompareAddresses(parts_b, parts_a, again).Percent() >= 50, there >= 50)
      << text_a << " / " << text_b;
  SameAddressPairs fresh;
  return CompareAddresses(parts_a, parts_b, fresh);
}

bool AreSame(const Side& a, const Side& b) { return Compare(a, b).Percent() >= 50; }

TEST(TextSimilarity, CountsEditsWithExchangedNeighboursAsOne) {
  EXPECT_EQ(EditDistance("MEYER", "MEYER"), 0U);
  EXPECT_EQ(EditDistance("MEYER", "MEYRE"), 1U);
  EXPECT_EQ(EditDistance("MEYER", "MEIER"), 1U);
  EXPECT_EQ(EditDistance("MEYER", "MEYERS"), 1U);
  EXPECT_EQ(EditDistance("", "ABC"), 3U);
  EXPECT_EQ(EditDistance("CA", "ABC"), 3U);
}

TEST(TextSimilarity, IsThatOfThePublishedExamples) {
  EXPECT_NEAR(JaroWinkler("MARTHA", "MARHTA"), 0.961, 0.001);
  EXPECT_NEAR(JaroWinkler("DWAYNE", "DUANE"), 0.840, 0.001);
  EXPECT_NEAR(JaroWinkler("DIXON", "DICKSONX"), 0.813, 0.001);
  EXPECT_EQ(JaroWinkler("", ""), 1);
  EXPECT_EQ(JaroWinkler("A", ""), 0);
  EXPECT_EQ(JaroWinkler("ABC", "XYZ"), 0);
}

// Of few letters, so that many are near each other.
std::string AnyWord(std::mt19937& random) {
  std::string word(random() % 8, 'A');
  for (char& letter : word) letter = static_cast<char>('A' + random() % 3);
  return word;
}

TEST(TextSimilarity, OneEditApartIsADistanceOfOne) {
  std::mt19937 random(20261123);
  int apart = 0;
  for (int i = 0; i < 50000; ++i) {
    const std::string end(random() % 70, 'X');
    const std::string a = AnyWord(random) + end, b = AnyWord(random) + end;
    ASSERT_EQ(IsOneEditApart(a, b), EditDistance(a, b) == 1) << a << " / " << b;
    apart += IsOneEditApart(a, b) ? 1 : 0;
  }
  EXPECT_GT(apart, 500);
}

TEST(TextSimilarity, LettersAreCounted) {
  std::mt19937 random(20261123);
  for (int i = 0; i < 10000; ++i) {
    const auto letters = static_cast<std::uint32_t>(random() & random());
    ASSERT_EQ(CountOf(letters), static_cast<std::size_t>(std::popcount(letters))) << letters;
  }
  EXPECT_EQ(CountOf(0xFFFFFFFFU), 32U);
}

TEST(AddressComparison, AddressesOfWhichNothingDiffersAreTheSameByAHundredPerCent) {
  EXPECT_EQ(Compare({"Stefan Müller"}, {"Stefan Müller"}).Percent(), 100);
  EXPECT_EQ(Compare({"Müller", "", "", "Köln"}, {"Müller", "", "", "Köln"}).Percent(), 100);
  EXPECT_LT(Compare({"Stefan Müller"}, {"Stephan Müller"}).Percent(), 100);
}

TEST(AddressComparison, OtherWaysOfWritingAreTheSameAddress) {
  const Side address{"Stefan Müller", "Hauptstraße 5a"};
  EXPECT_TRUE(AreSame(address, {"Herr Dr. Stephan Mueller", "Haupt-Str. 5 A", "D-50667", "KOELN"}));
  EXPECT_TRUE(AreSame(address, {"Müller", "Hauptstr. 5a", "50667", "Köln-Altstadt", "Stefan"}));
  EXPECT_TRUE(AreSame({"Anna Berg", "Ring 7", "61348", "Bad Homburg v. d. Höhe"},
                      {"Anna Berg", "Ring 7", "61348", "Bad Homburg vor der Höhe OT Kirdorf"}));
}

TEST(AddressComparison, AnErrorInOnePartIsForgiven) {
  const Side address{"Anna Ruckweiler"};
  EXPECT_TRUE(AreSame(address, {"Anna Ruckwieler"}));
  EXPECT_TRUE(AreSame(address, {"Anna Ruckweiler", "Tulpnehof 5"}));
  EXPECT_TRUE(AreSame(address, {"Anna Ruckweiler", "Tulpenhof 8"}));
  EXPECT_TRUE(AreSame(address, {"Anna Ruckweiler", "Tulpenhof 5", "50676"}));
  EXPECT_TRUE(AreSame(address, {"Anna Ruckweiler", "Tulpenhof 5", "50667", "Kön"}));
  EXPECT_TRUE(AreSame(address, {"A. Ruckweiler"}));
}

TEST(AddressComparison, WhatIsMissingIsNoDifference) {
  const Side address{"Anna Ruckweiler"};
  EXPECT_TRUE(AreSame(address, {"Ruckweiler"}));
  EXPECT_TRUE(AreSame(address, {"Anna Ruckweiler", ""}));
  EXPECT_TRUE(AreSame(address, {"Anna Ruckweiler", "Tulpenhof 5", ""}));
  EXPECT_TRUE(AreSame(address, {"Anna Ruckweiler", "Tulpenhof 5", "50667", ""}));
}

TEST(AddressComparison, WhereNothingDiffersLittleIsEnough) {
  EXPECT_TRUE(AreSame({"Meier", "", "50667", ""}, {"MEIER", "", "50667", ""}));
  EXPECT_FALSE(AreSame({"Meier", "", "50667", ""}, {"Meier", "", "50676", ""}));
}

TEST(AddressComparison, PeopleOfOneHouseholdAreNotTheSame) {
  EXPECT_FALSE(AreSame({"Anna Ruckweiler"}, {"Peter Ruckweiler"}));
  EXPECT_FALSE(AreSame({"Ruckweiler", "Tulpenhof 5", "50667", "Köln", "Anna"},
                       {"Ruckweiler", "Tulpenhof 5", "50667", "Köln", "Peter"}));
  EXPECT_FALSE(AreSame({"Andreas Ruckweiler"}, {"Andrea Ruckweiler"}));
  EXPECT_FALSE(AreSame({"Martin Ruckweiler"}, {"Marvin Ruckweiler"}));
  EXPECT_FALSE(AreSame({"Xenon Ruckweiler"}, {"Borwin Ruckweiler"}));
}

TEST(AddressComparison, FatherAndSonOfOneNameAreTwo) {
  EXPECT_FALSE(AreSame({"Karl Ruckweiler sen."}, {"Karl Ruckweiler jun."}));
  EXPECT_FALSE(AreSame({"Karl Ruckweiler"}, {"Karl Ruckweiler jun."}));
  EXPECT_TRUE(AreSame({"Karl Ruckweiler jun."}, {"Ruckweiler, Karl, jun."}));
}

TEST(AddressComparison, NamesakesInOnePlaceAreTwo) {
  EXPECT_FALSE(AreSame({"Thomas Müller"}, {"Thomas Müller", "Am Anger 17"}));
  EXPECT_FALSE(AreSame({"Thomas Müller"}, {"Thomas Müller", "Tulpenhof 5", "80331", "München"}));
}

TEST(AddressComparison, TheSameNameAtAnotherHouseOfThePlaceIsANamesakeEvenWhereItIsRare) {
  EXPECT_FALSE(AreSame({"Anna Ruckweiler"}, {"Anna Ruckweiler", "Am Anger 17"}));
}

TEST(AddressComparison, WordsRunTogetherWithAnErrorAreTheSameName) {
  EXPECT_TRUE(AreSame({"Ruckweiler Fleischerei GmbH"}, {"RuckweilerFleischere GmbH"}));
  EXPECT_FALSE(AreSame({"Ruckweiler Optik Filiale 2"}, {"Ruckweiler Optik Filiale"}));
}

TEST(AddressComparison, ADigitInAWordIsATypingErrorButANumberTellsTwoApart) {
  EXPECT_TRUE(AreSame({"Sabine Ruckweiler"}, {"5abine Ruckweiler"}));
  EXPECT_FALSE(AreSame({"Ruckweiler Optik GmbH"}, {"Ruckweiler Optik GmbH 2"}));
}

TEST(AddressComparison, AShortNameWithALetterMissingIsForgiven) {
  EXPECT_TRUE(AreSame({"Ute Ruckweiler"}, {"te Ruckweiler"}));
  EXPECT_FALSE(AreSame({"Ute Ruckweiler"}, {"Uwe Ruckweiler"}));
}

TEST(AddressComparison, SisterCompaniesAtOneAddressAreTwo) {
  EXPECT_FALSE(AreSame({"Ruckweiler Metallbau GmbH & Co. KG"}, {"Ruckweiler Metallbau Verwaltungs GmbH"}));
  EXPECT_FALSE(AreSame({"Ruckweiler Metallbau GmbH & Co. KG"},
                       {"Ruckweiler Metallbau", "Tulpenhof 5", "50667", "Köln", "Verwaltungs GmbH"}));
  EXPECT_TRUE(AreSame({"Ruckweiler Metallbau Verwaltungs GmbH"}, {"Ruckweiler Metallbau Verwaltungs-GmbH"}));
}

TEST(AddressComparison, NeighboursAreTwo) { EXPECT_FALSE(AreSame({"Anna Ruckweiler"}, {"Otto Lindenau"})); }

TEST(AddressComparison, ACompanyIsTheSameWithAndWithoutItsLegalFormAndWhoIsInCharge) {
  EXPECT_TRUE(AreSame({"Ruckweiler Metallbau GmbH & Co. KG", "Ring 1", "50667", "Köln", "z. Hd. Anna Alt"},
                      {"Fa. Metallbau Ruckweiler", "Ring 1", "50667", "Köln", "Einkauf"}));
}

TEST(AddressComparison, AnotherBranchAnotherCompanyAndItsOwnerAreNotTheSame) {
  const Side company{"Ruckweiler Metallbau GmbH", "Tulpenhof 1"};
  EXPECT_FALSE(AreSame(company, {"Ruckweiler Metallbau GmbH", "Am Anger 30", "80331", "München"}));
  EXPECT_FALSE(AreSame(company, {"Ruckweiler Metallbau GmbH", "Am Anger 30"}));
  EXPECT_FALSE(AreSame(company, {"Ruckweiler Elektro GmbH", "Tulpenhof 1"}));
  EXPECT_FALSE(AreSame(company, {"Anna Ruckweiler", "Tulpenhof 1"}));
  EXPECT_FALSE(AreSame({"Ruckweiler Optik GmbH Filiale 1"}, {"Ruckweiler Optik GmbH Filiale 2"}));
}

TEST(AddressComparison, BranchesOfOneCompanyAreToldApartByWhatStandsBehindTheWord) {
  EXPECT_FALSE(AreSame({"Ruckweiler Optik GmbH Filiale Mitte"}, {"Ruckweiler Optik GmbH Filiale West"}));
  EXPECT_TRUE(AreSame({"Ruckweiler Optik GmbH Filiale Mitte"}, {"Fa. Ruckweiler Optik Filiale Mitte"}));
}

TEST(AddressComparison, FirstNamesThatLookAlikeAreTwoPeople) {
  EXPECT_FALSE(AreSame({"Andrea Ruckweiler"}, {"Andrzej Ruckweiler"}));
}

TEST(AddressComparison, ABlankWithinANameMakesItNoOther) {
  EXPECT_TRUE(AreSame({"Al Lik Ella"}, {"Allik Ella"}));
  EXPECT_TRUE(AreSame({"Al Lik", "Tulpenhof 5", "50667", "Köln", "Ella"},
                      {"Allik", "Tulpenhof 5", "50667", "Köln", "Ella"}));
}

TEST(AddressComparison, OtherNamesAtOneAddressAreErrorsWhereTheDataHaveNoHouseholds) {
  const std::string a = "50667|Köln|Tulpenhof 5||Xenon Ruckweiler||||",
                    b = "50667|Köln|Tulpenhof 5||Borwin Ruckweiler||||";
  const AddressParts first(a), second(b);
  SameAddressPairs no_households{.same_names = 500};
  EXPECT_GE(CompareAddresses(first, second, no_households).Percent(), 50);
  EXPECT_EQ(no_households.one_name_other, SameAddressPairs().one_name_other + 1);
  SameAddressPairs households{.same_names = 500, .one_name_other = 5000};
  EXPECT_LT(CompareAddresses(first, second, households).Percent(), 50);
  // So is another name beside an address with an error.
  const std::string c = "50667|Köln|Tulpenhof 7||Anna Ruckweiler||||";
  SameAddressPairs errors{.same_names = 500};
  const double bits_with_errors = CompareAddresses(first, AddressParts(c), errors).bits;
  EXPECT_GT(bits_with_errors, CompareAddresses(first, AddressParts(c), households).bits);
  // Two first names that are known are two people, whatever the data say.
  const std::string anna = "50667|Köln|Tulpenhof 5||Anna Ruckweiler||||",
                    peter = "50667|Köln|Tulpenhof 5||Peter Ruckweiler||||";
  EXPECT_LT(CompareAddresses(AddressParts(anna), AddressParts(peter), no_households).Percent(), 50);
}

// Addresses of few parts, so that pairs share some of them and differ by an error in others.
std::string AnyAddress(std::mt19937& random) {
  const auto pick = [&random](std::initializer_list<const char*> texts) {
    std::string text = std::data(texts)[random() % texts.size()];
    if (random() % 6 == 0 && text.size() > 3)
      text[random() % text.size()] = static_cast<char>('a' + random() % 26);
    return text;
  };
  const std::string street =
      pick({"Tulpenhof", "Am Anger", "Hauptstr.", "Hauptweg", "Kolpingweg", "Au", "Auerbichlstk", ""});
  const std::string number = pick({"5", "51", "7 a", "7", "18", ""});
  return pick({"50667", "50676", "80331", ""}) + "|" + pick({"Köln", "Koln", "München", "Bad Berka", ""}) +
         "|" + street + " " + number + "||" +
         pick({"Anna", "Otto", "Mai", "Meyer", "Maier", "A.", "Karl Heinz", ""}) + " " +
         pick({"Ruckweiler", "Lindenau", "Meier", "Ruckweiler GmbH", "Ruck Weiler", "Berg jun.", ""}) + "|" +
         pick({"", "", "Anna", "Filiale 2"}) + "|||";
}

TEST(AddressComparison, TheHighestScoreIsTheScoreWhereThereIsHope) {
  std::mt19937 random(20261122);
  SameAddressPairs seen;
  SameAddressPairs seen_again;
  int hopeless = 0;
  for (int i = 0; i < 60000; ++i) {
    const std::string a = AnyAddress(random), b = AnyAddress(random);
    const AddressParts parts_a(a), parts_b(b);
    const double percent = CompareAddresses(parts_a, parts_b, seen).Percent();
    const double highest = HighestPercent(parts_a, parts_b, seen_again);
    ASSERT_GE(highest, percent) << a << " / " << b;
    if (highest != percent) {
      ++hopeless;
      ASSERT_LT(highest, 0.1) << a << " / " << b;
    }
  }
  EXPECT_GT(hopeless, 2000);
  EXPECT_EQ(seen.same_names, seen_again.same_names);
  EXPECT_EQ(seen.one_name_other, seen_again.one_name_other);
  EXPECT_EQ(seen.all_names_other, seen_again.all_names_other);
}

TEST(AddressComparison, CompaniesOfOtherLegalFormsAtOneAddressAreTwo) {
  const char* const forms[] = {"Ruckweiler Metallbau GmbH",
                               "Ruckweiler Metallbau AG",
                               "Ruckweiler Metallbau e. K.",
                               "Ruckweiler Metallbau OHG",
                               "Ruckweiler Metallbau GmbH & Co. KG",
                               "Ruckweiler Metallbau e. V.",
                               "Ruckweiler Metallbau UG (haftungsbeschränkt)"};
  for (const char* one : forms) {
    for (const char* other : forms) EXPECT_EQ(AreSame({one}, {other}), one == other) << one << ", " << other;
    EXPECT_TRUE(AreSame({one}, {"Ruckweiler Metallbau"})) << one << " without its form";
  }
  EXPECT_FALSE(AreSame({"Ruckweiler GmbH"}, {"Ruckweiler AG"})) << "of which nothing else differs";
  EXPECT_FALSE(AreSame({"Ruckweiler GmbH"}, {"Rukweiler AG"}));
}

TEST(AddressComparison, SpellingsOfALegalFormAreOne) {
  const Side company{"Ruckweiler Metallbau GmbH & Co. KG"};
  for (const char* same :
       {"Ruckweiler Metallbau GmbH u. Co KG", "Ruckweiler Metallbau Ges.mbH & Cie. KG",
        "Ruckweiler Metallbau KG", "Ruckweiler Metallbau mbH & Co. KG", "Ruckweiler Metallbau GmbH & Co.",
        "Ruckweiler Metallbau GmbH & Co. K", "Ruckweiler Metallbau GmbH & Co.e KG"}) {
    EXPECT_TRUE(AreSame(company, {same})) << same;
  }
  EXPECT_TRUE(AreSame({"Ruckweiler Metallbau e. K."}, {"Ruckweiler Metallbau eK"}));
  EXPECT_TRUE(AreSame({"Ruckweiler Metallbau e.V."}, {"Ruckweiler Metallbau EV"}));
  EXPECT_TRUE(AreSame({"Ruckweiler Metallbau GmbH"}, {"Ruckweiler Metallbau Gesellschaft mbH"}));
}

TEST(AddressComparison, TheReasonTellsThatTheLegalFormIsAnother) {
  const char* const other = "andere Rechtsform";
  EXPECT_THAT(Compare({"Ruckweiler AG"}, {"Ruckweiler GmbH"}).reason,
              HasSubstr("gleicher Name, andere Rechtsform"));
  EXPECT_THAT(Compare({"Ruckweiler KG"}, {"Ruckweiler GmbH & Co. KG"}).reason, HasSubstr(other));
  for (const char* same : {"Ruckweiler mbH", "Ruckweiler GesmbH", "Ruckweiler", "Fa. Ruckweiler GmbH"}) {
    EXPECT_THAT(Compare({"Ruckweiler GmbH"}, {same}).reason, Not(HasSubstr(other))) << same;
  }
  EXPECT_THAT(Compare({"Ruckweiler GmbH & Co. KG"}, {"Ruckweiler GmbH & Cie. KG"}).reason,
              Not(HasSubstr(other)));
}

TEST(AddressComparison, TheReasonTellsWhatIsAlikeAndWhatIsNot) {
  EXPECT_EQ(Compare({"Anna Berg"}, {"Berg, Anna"}).reason,
            "gleicher Name, gleiche PLZ, gleiche Straße, gleiche Hausnummer");
  EXPECT_EQ(
      Compare({"Anna Ruckweiler"}, {"A. Ruckweiler", "Tulpnehof 5", "50676"}).reason,
      "gleicher Name, Vorname abgekürzt, PLZ ähnlich, gleicher Ort, Straße ähnlich 0,98, gleiche Hausnummer");
  EXPECT_THAT(Compare({"Anna Ruckweiler"}, {"Anna Ruckwieler", "", "50667"}).reason, HasSubstr("Straße fehlt"));
  EXPECT_THAT(Compare({"Anna Ruckweiler"}, {"Peter Ruckweiler"}).reason, HasSubstr("ein weiterer anders"));
}

}  // namespace
}  // namespace kestrel::host
