// The recording object stands in for components in many tests, so it is tested itself.
#include "support/recording_object.h"

#include <gmock/gmock.h>

#include "support/expect_error.h"

namespace kestrel::testing {
namespace {

using ::testing::ElementsAre;

TEST(RecordingObject, NotesEveryCallWithItsArgumentsInOrder) {
  auto object = std::make_shared<RecordingObject>();
  object->Method("Store").Let("Application").Set("Connection").Get("ErrorCode", 7);

  Value text("old");
  CallMethod(object, "store", 1, kMissing, kNull, 2.5, ByRef(text));
  LetProperty(object, "Application", 2);
  SetProperty(object, "Connection", nullptr);
  EXPECT_EQ(GetProperty(object, "ErrorCode").ToInteger(), 7);

  EXPECT_THAT(object->Lines(), ElementsAre(R"(Call Store(1, Missing, Null, 2,5, ByRef "old"))",
                                           "Let Application 2", "Set Connection Nothing", "Get ErrorCode"));
}

TEST(RecordingObject, SetsTheCallersVariableThroughAReference) {
  auto object = std::make_shared<RecordingObject>();
  object->Method("BeforeImport", [](std::span<Argument> arguments) {
    arguments[0].Set(true);
    return Value();
  });
  Value cancel(false);
  CallMethod(object, "BeforeImport", ByRef(cancel));
  EXPECT_TRUE(cancel.ToBool());
  EXPECT_THAT(object->Lines(), ElementsAre("Call BeforeImport(ByRef False)"));
}

TEST(RecordingObject, LacksWhatItWasNotTold) {
  auto object = std::make_shared<RecordingObject>();
  object->Let("Application");
  EXPECT_ERROR(CallMethod(object, "ShowConfig"), ErrorNumber::kMemberNotFound);
  EXPECT_ERROR(GetProperty(object, "Application"), ErrorNumber::kMemberNotFound) << "it can only be assigned";
  EXPECT_TRUE(object->calls().empty());
}

TEST(RecordingObject, RaisesWhatItWasToldAfterNotingTheCall) {
  auto object = std::make_shared<RecordingObject>();
  object->Let("PersonalNr").Raises("PersonalNr", RuntimeError(1234, "gesperrt"));
  try {
    LetProperty(object, "PersonalNr", "4711");
    FAIL() << "nothing was raised";
  } catch (const RuntimeError& error) {
    EXPECT_EQ(error.Number(), 1234);
    EXPECT_EQ(error.Description(), "gesperrt");
  }
  EXPECT_EQ(object->CountOf("PersonalNr"), 1u);
}

TEST(RecordingObject, SharesAJournalWithOthers) {
  auto journal = std::make_shared<CallJournal>();
  auto first = std::make_shared<RecordingObject>("a", journal);
  auto second = std::make_shared<RecordingObject>("b", journal);
  first->Method("Go");
  second->Returns("Go", "done");
  CallMethod(second, "Go");
  CallMethod(first, "Go");
  EXPECT_THAT(first->Lines(), ElementsAre("Call b.Go()", "Call a.Go()"));
}

}  // namespace
}  // namespace kestrel::testing
