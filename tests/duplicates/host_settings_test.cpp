// Settings of the host that need not be asked for again, as its component tells that none has changed.
#include "duplicates/host_settings.h"

#include <gmock/gmock.h>

#include <random>

#include "duplicates/duplicate_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class HostSettingsTest : public testing::DuplicateFixture {
 protected:
  // From now on the component tells `generation`.
  void TellGeneration() {
    components.Register(kSettingsComponent, [this] {
      auto settings = std::make_shared<testing::RecordingObject>("settings", journal);
      settings->Method("Init")
          .Method(
              "GetSetting",
              [this](std::span<Argument> arguments) {
                const auto setting = host_settings.find(arguments[1].Get().ToText());
                arguments[2].Set(setting == host_settings.end() ? arguments[5].Get() : Value(setting->second));
                return Value();
              })
          .Get("Generation", [this](std::span<Argument>) {
            if (error) throw RuntimeError(*error);
            return Value(generation);
          });
      settings_objects.push_back(settings);
      return settings;
    });
  }
  // The calls of the settings component since the last time.
  std::vector<std::string> Calls() {
    std::vector<std::string> calls;
    for (const testing::RecordedCall& call : *journal) {
      if (call.object != "settings") continue;
      calls.push_back(call.name == "GetSetting" ? call.arguments[1].ToText() : call.name);
    }
    journal->clear();
    return calls;
  }

  int generation = 1;
  std::optional<RuntimeError> error;
};

TEST_F(HostSettingsTest, OfAGenerationEachIsAskedForOnce) {
  TellGeneration();
  Index(1, "4711", "A1/50667||||||||");
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({{"PLZ", "50667"}})));
  EXPECT_THAT(Calls(), ElementsAre("Init", "Generation", "Doubletindex", "Generation", "AlgorithmCode1",
                                   "AlgorithmCode2", "AlgorithmCode3"));
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({{"PLZ", "50668"}})));
  EXPECT_THAT(Calls(), ElementsAre("Generation", "Generation"));
  EXPECT_THAT(settings_objects, SizeIs(1));
}

TEST_F(HostSettingsTest, AnotherGenerationIsAskedForAnew) {
  TellGeneration();
  Index(1, "4711", "B/50667||||||||");
  EXPECT_FALSE(duplicates.CheckDoublett(*Record({{"PLZ", "50667"}})));
  host_settings["AlgorithmCode1"] = "B";
  generation = 2;
  Calls();
  EXPECT_TRUE(duplicates.CheckDoublett(*Record({{"PLZ", "50667"}})));
  EXPECT_THAT(Calls(), ElementsAre("Generation", "Init", "Generation", "Doubletindex", "Generation",
                                   "AlgorithmCode1", "AlgorithmCode2", "AlgorithmCode3"));
  EXPECT_THAT(settings_objects, SizeIs(2));
}

TEST_F(HostSettingsTest, AnotherConnectionIsAskedForAnew) {
  TellGeneration();
  EXPECT_TRUE(duplicates.isDoublettIndex());
  session.HostConnection = std::make_shared<testing::RecordingObject>();
  EXPECT_TRUE(duplicates.isDoublettIndex());
  EXPECT_THAT(Calls(), ElementsAre("Init", "Generation", "Doubletindex", "Init", "Generation", "Doubletindex"));
}

TEST_F(HostSettingsTest, AGenerationThatCannotBeToldFailsTheQuestionAndNoMore) {
  TellGeneration();
  EXPECT_TRUE(duplicates.isDoublettIndex());
  error = RuntimeError(4711, "kaputt");
  EXPECT_FALSE(duplicates.isDoublettIndex());
  EXPECT_THAT(ui.boxes, ElementsAre(PlainBox("Fehler in Funktion isDoublettIndex: kaputt")));
  error.reset();
  Calls();
  EXPECT_TRUE(duplicates.isDoublettIndex());
  EXPECT_THAT(Calls(), ElementsAre("Init", "Generation", "Doubletindex"));
}

TEST_F(HostSettingsTest, NothingIsKeptBeyondTheImport) {
  TellGeneration();
  EXPECT_TRUE(duplicates.isDoublettIndex());
  std::weak_ptr<Object> component = settings_objects.back();
  settings_objects.clear();
  EXPECT_FALSE(component.expired());
  duplicates.Forget();
  EXPECT_TRUE(component.expired());
}

// Settings and addresses change between the records.
TEST_F(HostSettingsTest, DecisionsAreThoseOfAComponentThatIsAskedEachTime) {
  const auto decide = [this] {
    host_settings = {
        {"Doubletindex", "1"}, {"AlgorithmCode1", "A0"}, {"AlgorithmCode2", "A1"}, {"AlgorithmCode3", "A2"}};
    std::mt19937 random(1);
    std::string decisions;
    for (int i = 0; i < 500; ++i) {
      if (random() % 8 == 0) {
        if (random() % 2 == 0) host_settings["Doubletindex"] = std::to_string(random() % 2);
        host_settings["AlgorithmCode" + std::to_string(1 + random() % 3)] = "A" + std::to_string(random() % 9);
        ++generation;
      }
      const std::string postcode = std::to_string(50000 + random() % 40);
      DuplicateMatch match;
      decisions += duplicates.CheckDoublett(*Record({{"PLZ", postcode}}), &match)
                       ? match.reference + "/" + std::to_string(match.key) + " "
                       : "- ";
    }
    return decisions;
  };
  for (int code = 0; code < 6; ++code) {
    for (int postcode = code; postcode < 40; postcode += 7) {
      Index(1, std::to_string(100 * code + postcode),
            "A" + std::to_string(code) + "/" + std::to_string(50000 + postcode) + "||||||||");
    }
  }
  const std::string asked = decide();
  const std::size_t times_asked = Calls().size();
  duplicates.Forget();
  TellGeneration();
  EXPECT_EQ(decide(), asked);
  EXPECT_LT(Calls().size(), times_asked);
  EXPECT_THAT(asked, ::testing::HasSubstr("/1 "));
  EXPECT_THAT(ui.boxes, IsEmpty());
}

}  // namespace
}  // namespace kestrel
