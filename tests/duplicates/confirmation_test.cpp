#include "duplicates/confirmation.h"

#include <gmock/gmock.h>

#include "duplicates/duplicate_fixture.h"

namespace kestrel {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

// A host whose key component has Confirm: scores by reference, 0 for others.
class ConfirmationTest : public testing::DuplicateFixture {
 protected:
  ConfirmationTest() {
    build_key = [](const std::string&, const std::string&) { return "K"; };
    components.Register(kKeyComponent, [this] {
      ++objects_made;
      auto keys = std::make_shared<testing::RecordingObject>("keys", journal);
      keys->Method("BuildDoubletKey", [](std::span<Argument>) { return Value("K"); });
      keys->Method("Confirm", [this](std::span<Argument> arguments) {
        asked.push_back(arguments[2].Get().ToText() + "/" + arguments[3].Get().ToText());
        connections.push_back(arguments[0].Get().ToObject());
        key_texts.push_back(arguments[1].Get().ToText());
        const auto score = scores.find(arguments[3].Get().ToText());
        if (score == scores.end()) return Value(0);
        arguments[4].Set(Value("wie " + score->first));
        return Value(score->second);
      });
      if (failure) keys->Raises("Confirm", *failure);
      return keys;
    });
  }

  bool Check() { return duplicates.CheckDoublett(*Record({{"PLZ", "50667"}, {"Ort", "Köln"}}), &match); }

  std::map<std::string, double> scores;
  std::optional<RuntimeError> failure;
  std::vector<std::string> asked;
  std::vector<ObjectPtr> connections;
  std::vector<std::string> key_texts;
  int objects_made = 0;
  DuplicateMatch match;
};

TEST_F(ConfirmationTest, IsAskedOfEachAddressFoundAndTellsTheOneWithTheHighestScore) {
  Index(1, "7", "K");
  Index(1, "8", "x", "K");
  Index(1, "9", "x", "x", "K");
  Index(1, "10", "other");
  scores = {{"7", 91}, {"8", 99.5}, {"9", 99.5}};
  EXPECT_TRUE(Check());
  EXPECT_THAT(asked, ElementsAre("1/7", "1/8", "1/9"));
  EXPECT_THAT(connections, ::testing::Each(session.HostConnection));
  EXPECT_THAT(key_texts, ::testing::Each("50667|Köln|||||||"));
  EXPECT_EQ(match.reference, "8");
  EXPECT_EQ(match.key, 2);
  EXPECT_EQ(match.score, 99.5);
  EXPECT_EQ(match.reason, "wie 8");
}

TEST_F(ConfirmationTest, OfManyAddressesThoseWithMostKeysAreAskedAbout) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nDublettenKey2=1\nDublettenKey3=1\n");
  for (int i = 0; i < 300; ++i) Index(1, std::to_string(i), "K", "x", "x");
  Index(1, "the same", "K", "K", "K");
  scores = {{"the same", 100}};
  EXPECT_TRUE(Check());
  EXPECT_EQ(match.reference, "the same");
  EXPECT_EQ(asked.size(), 100U);
  EXPECT_EQ(asked.front(), "1/the same");
}

TEST_F(ConfirmationTest, WhatStaysBelowTheThresholdIsNoDuplicate) {
  Index(1, "7", "K");
  scores = {{"7", 49.9}};
  EXPECT_FALSE(Check());
  EXPECT_EQ(match.reference, "");
  scores = {{"7", 50}};
  EXPECT_TRUE(Check());
}

TEST_F(ConfirmationTest, TheThresholdIsTheHostsWhereTheSpecificationNamesNone) {
  Index(1, "7", "K");
  scores = {{"7", 40}};
  EXPECT_FALSE(Check());
  host_settings["DublettenSchwelle"] = "39,5";
  EXPECT_TRUE(Check());
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nDublettenSchwelle=41\n");
  EXPECT_FALSE(Check());
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nDublettenSchwelle=0\n");
  scores.clear();
  EXPECT_TRUE(Check());
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(ConfirmationTest, AThresholdThatIsNoneIsToldOnceWithItsPlaceAndTurnsTheCheckNotOff) {
  Index(1, "7", "K");
  scores = {{"7", 60}};
  for (const char* bad : {"viel", "101", "-1"}) {
    ui.boxes.clear();
    UseSettings(
        "DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nDublettenSchwelle=" + std::string(bad) + "\n");
    EXPECT_TRUE(Check());
    EXPECT_TRUE(Check());
    EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion LoadDublettSettings: Die Schwelle '" +
                                               std::string(bad) +
                                               "' (DublettenSchwelle in CfgSettings) ist keine Zahl von 0 bis "
                                               "100 und wird übergangen.")));
  }
  host_settings["DublettenSchwelle"] = "61";
  EXPECT_FALSE(Check());
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\n");
  host_settings["DublettenSchwelle"] = "hoch";
  ui.boxes.clear();
  EXPECT_TRUE(Check());
  EXPECT_TRUE(Check());
  ASSERT_THAT(ui.boxes, SizeIs(1));
  EXPECT_THAT(ui.boxes[0].text, HasSubstr("'hoch' (DublettenSchwelle in den Einstellungen zu Adressindex)"));
}

TEST_F(ConfirmationTest, WithoutACandidateNothingIsAskedNorIsTheThreshold) {
  EXPECT_FALSE(Check());
  EXPECT_THAT(asked, IsEmpty());
  EXPECT_THAT(CallLines(), Not(Contains(HasSubstr("DublettenSchwelle"))));
}

TEST_F(ConfirmationTest, TheComponentOfTheFirstRecordIsAskedAndNoOtherMadeForIt) {
  Index(1, "7", "K");
  for (int i = 0; i < 3; ++i) Check();
  EXPECT_EQ(objects_made, 3);
  EXPECT_THAT(asked, SizeIs(3));
}

TEST_F(ConfirmationTest, AHundredCandidatesARecordAreAskedAboutAtMost) {
  for (int i = 0; i < 150; ++i) Index(1, std::to_string(1000 + i), "K");
  scores = {{"1099", 95}, {"1149", 100}};
  EXPECT_TRUE(Check());
  EXPECT_THAT(asked, SizeIs(Confirmation::kMostCandidates));
  EXPECT_EQ(match.reference, "1099");
}

TEST_F(ConfirmationTest, AnAddressWithoutATypeIsNoCandidateAndOneWithoutANumberIs) {
  connection->database().Execute(
      "INSERT INTO Adressindex VALUES (NULL, '7', 'K', '', ''), (1, NULL, 'K', '', '')");
  scores = {{"7", 100}, {"", 60}};
  EXPECT_TRUE(Check());
  EXPECT_THAT(asked, ElementsAre("1/"));
  EXPECT_EQ(match.reason, "wie ");
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(ConfirmationTest, AFailureIsShownAndTheRecordImported) {
  Index(1, "7", "K");
  failure = RuntimeError(4711, "kaputt");
  EXPECT_FALSE(Check());
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion isDoublet: kaputt")));
}

// Beside Confirm the component tells the highest score that is possible.
class HighestScoreTest : public testing::DuplicateFixture {
 protected:
  HighestScoreTest() {
    build_key = [](const std::string& code, const std::string&) { return "K" + code; };
    components.Register(kKeyComponent, [this] {
      auto keys = std::make_shared<testing::RecordingObject>("keys", journal);
      keys->Method("BuildDoubletKey",
                   [](std::span<Argument> arguments) { return Value("K" + arguments[0].Get().ToText()); });
      keys->Method("Confirm", [this](std::span<Argument>) {
        ++asked;
        return Value(score);
      });
      keys->Method("HighestScore", [this](std::span<Argument> arguments) {
        told = {arguments[1].Get().ToText(), arguments[2].Get().ToText(), arguments[3].Get().ToText(),
                arguments[4].Get().ToText()};
        return Value(highest);
      });
      if (failure) keys->Raises("HighestScore", *failure);
      return keys;
    });
    Index(1, "7", "KA1");
  }

  bool Check() {
    connection->statements.clear();
    asked = 0;
    return duplicates.CheckDoublett(*Record({{"PLZ", "50667"}, {"Ort", "Köln"}}));
  }

  double highest = 0;
  double score = 0;
  int asked = 0;
  std::vector<std::string> told;
  std::optional<RuntimeError> failure;
};

TEST_F(HighestScoreTest, BelowTheThresholdSparesTheLookUp) {
  highest = 49.9;
  EXPECT_FALSE(Check());
  EXPECT_THAT(connection->statements, IsEmpty());
  highest = score = 50;
  EXPECT_TRUE(Check());
  EXPECT_THAT(connection->statements, SizeIs(1));
  EXPECT_EQ(asked, 1);
}

TEST_F(HighestScoreTest, DecidesNothingByItself) {
  highest = 100;
  EXPECT_FALSE(Check());
  EXPECT_EQ(asked, 1);
}

TEST_F(HighestScoreTest, OfNoAddressSparesTheLookUpWhateverTheThreshold) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nDublettenSchwelle=0\n");
  EXPECT_TRUE(Check());
  highest = -1;
  EXPECT_FALSE(Check());
  EXPECT_THAT(connection->statements, IsEmpty());
}

TEST_F(HighestScoreTest, IsToldTheKeysInUse) {
  UseSettings("DublettenPruefen=1\nAddresstypeCode=1\nDublettenKey1=1\nDublettenKey3=1\n");
  Check();
  EXPECT_THAT(told, ElementsAre("50667|Köln|||||||", "KA1", "", "KA3"));
}

TEST_F(HighestScoreTest, ThatCannotBeToldIsShownAndTheRecordImported) {
  failure = RuntimeError(4711, "kaputt");
  EXPECT_FALSE(Check());
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion isDoublet: kaputt")));
}

class NoConfirmationTest : public testing::DuplicateFixture {};

TEST_F(NoConfirmationTest, AComponentWithoutTheMemberLeavesTheDecisionToTheKeys) {
  build_key = [](const std::string&, const std::string&) { return "K"; };
  Index(1, "7", "K");
  Index(1, "8", "K");
  DuplicateMatch match;
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({}), &match));
  EXPECT_EQ(match.reference, "7");
  EXPECT_EQ(match.reason, "");
  EXPECT_THAT(CallLines(), Not(Contains(HasSubstr("DublettenSchwelle"))));
  EXPECT_THAT(CallLines(), Not(Contains(HasSubstr("Confirm"))));
}

}  // namespace
}  // namespace kestrel
