#include "duplicates/known_spellings.h"

#include <gmock/gmock.h>

#include "duplicates/duplicate_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Found = std::pair<std::string, int>;

std::vector<Found> FindAll(const KnownSpellings& spellings, const KnownSpellings::Keys& keys) {
  std::vector<Found> found;
  spellings.Visit(keys, [&](const Spelling& spelling, int key) { found.emplace_back(spelling.key_text, key); });
  return found;
}

TEST(KnownSpellings, AreFoundOnceByTheFirstKeyThatTheyHave) {
  KnownSpellings spellings;
  EXPECT_TRUE(spellings.empty());
  spellings.Add({"a", "b", "c"}, {"first", 1, "7"});
  spellings.Add({"x", "b", ""}, {"second", 1, "7"});
  EXPECT_THAT(FindAll(spellings, {"a", "b", "c"}), ElementsAre(Found("first", 1), Found("second", 2)));
  EXPECT_THAT(FindAll(spellings, {"", "", "c"}), ElementsAre(Found("first", 3)));
  EXPECT_THAT(FindAll(spellings, {"b", "a", ""}), IsEmpty());
}

TEST(KnownSpellings, BeyondTheirMemoryAreNotRemembered) {
  KnownSpellings spellings(1000);
  for (int i = 0; i < 100; ++i) spellings.Add({"a", "", ""}, {"text " + std::to_string(i), 1, "7"});
  const std::vector<Found> found = FindAll(spellings, {"a", "", ""});
  EXPECT_EQ(found.front().first, "text 0");
  EXPECT_LT(found.size(), 6U);
  EXPECT_GT(found.size(), 1U);
}

// A key component that has ConfirmSpelling, asked about records of which each is known by its town.
class SpellingsTest : public testing::DuplicateFixture {
 protected:
  SpellingsTest() {
    components.Register(kKeyComponent, [this] {
      auto keys = std::make_shared<testing::RecordingObject>("keys", journal);
      keys->Method("BuildDoubletKey", [this](std::span<Argument>) { return Value(key); });
      keys->Method("Confirm", [this](std::span<Argument>) { return Value(confirmed); });
      if (has_member) {
        keys->Method("ConfirmSpelling", [this](std::span<Argument> arguments) {
          asked.push_back(arguments[0].Get().ToText() + " wie " + arguments[1].Get().ToText());
          arguments[2].Set(Value("gleicher Name"));
          return Value(like_spelling);
        });
        if (failure) keys->Raises("ConfirmSpelling", *failure);
      }
      return keys;
    });
    Index(1, "7", "K");
  }

  bool Check(const std::string& town, double score) {
    confirmed = score;
    match.Clear();
    return duplicates.CheckDoublett(*Record({{"Ort", town}, {"KundenNummer", "4711"}}), &match);
  }

  bool has_member = true;
  std::string key = "K";
  double confirmed = 0;
  double like_spelling = 80;
  std::optional<RuntimeError> failure;
  std::vector<std::string> asked;
  DuplicateMatch match;
};

TEST_F(SpellingsTest, ARecordLikeOneThatWasHeldBackRepeatsTheSameAddress) {
  EXPECT_TRUE(Check("Köln", 60));
  EXPECT_THAT(asked, IsEmpty());
  EXPECT_TRUE(Check("Koeln", 20));
  EXPECT_THAT(asked, ElementsAre("|Koeln||||||| wie |Köln|||||||"));
  EXPECT_EQ(match.reference, "7");
  EXPECT_EQ(match.address_type, 1);
  EXPECT_EQ(match.key, 1);
  EXPECT_EQ(match.score, 80);
  EXPECT_EQ(match.reason, "wie ein zurückgehaltener Datensatz zuvor: gleicher Name");
}

TEST_F(SpellingsTest, OfOneThatWasLikeASpellingAreLearntToo) {
  EXPECT_TRUE(Check("Köln", 60));
  EXPECT_TRUE(Check("Koeln", 20));
  asked.clear();
  EXPECT_TRUE(Check("Cöln", 20));
  EXPECT_THAT(asked, ElementsAre("|Cöln||||||| wie |Köln|||||||", "|Cöln||||||| wie |Koeln|||||||"));
}

TEST_F(SpellingsTest, BelowTheThresholdDecideNothing) {
  EXPECT_TRUE(Check("Köln", 60));
  like_spelling = 49.9;
  EXPECT_FALSE(Check("Koeln", 20));
  EXPECT_EQ(match.reference, "");
}

TEST_F(SpellingsTest, WithOtherKeysAreNotAskedAbout) {
  EXPECT_TRUE(Check("Köln", 60));
  key = "L";
  EXPECT_FALSE(Check("Koeln", 20));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(SpellingsTest, OfAnExactRepetitionAreNotLearnt) {
  EXPECT_TRUE(Check("Köln", 100));
  EXPECT_FALSE(Check("Koeln", 20));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(SpellingsTest, OfRecordsThatAreImportedAreNotLearnt) {
  EXPECT_FALSE(Check("Köln", 20));
  EXPECT_FALSE(Check("Koeln", 20));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(SpellingsTest, OfTheAddressThatTheRecordMayOverwriteArePassedOver) {
  EXPECT_TRUE(Check("Köln", 60));
  connection->database().Execute("UPDATE Adressindex SET Referenz = '4711'");
  EXPECT_TRUE(Check("Cöln", 60));
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nKundenUeberschreiben=1\n");
  EXPECT_TRUE(Check("Koeln", 20));
  EXPECT_THAT(asked, ElementsAre("|Koeln||||||| wie |Köln|||||||"));
}

TEST_F(SpellingsTest, AreForgottenWithTheImport) {
  EXPECT_TRUE(Check("Köln", 60));
  duplicates.Forget();
  EXPECT_FALSE(Check("Koeln", 20));
}

TEST_F(SpellingsTest, ThatCannotBeComparedAreShownAndTheRecordImported) {
  failure = RuntimeError(4711, "kaputt");
  EXPECT_TRUE(Check("Köln", 60));
  EXPECT_FALSE(Check("Koeln", 20));
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion isDoublet: kaputt")));
}

TEST_F(SpellingsTest, AreNotLearntForAComponentWithoutTheMember) {
  has_member = false;
  EXPECT_TRUE(Check("Köln", 60));
  EXPECT_FALSE(Check("Koeln", 20));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(SpellingsTest, AreLearntAlsoWhereNobodyWantsTheMatch) {
  confirmed = 60;
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({{"Ort", "Köln"}})));
  confirmed = 20;
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({{"Ort", "Koeln"}})));
}

}  // namespace
}  // namespace kestrel
