#include "platform/dialogs/muted_user_interface.h"

#include <gtest/gtest.h>

#include "platform/dialogs/recording_user_interface.h"

namespace kestrel {
namespace {

TEST(MutedUserInterface, ShowsBoxesButWhileMuted) {
  RecordingUserInterface shown;
  MutedUserInterface ui(shown);
  shown.answers = {Answer::kYes};
  EXPECT_EQ(ui.MessageBox("eins", "", Icon::kQuestion, Buttons::kYesNo), Answer::kYes);
  {
    const MutedUserInterface::Mute outer(ui);
    { const MutedUserInterface::Mute inner(ui); }
    EXPECT_EQ(ui.MessageBox("zwei", "", Icon::kQuestion, Buttons::kYesNo), Answer::kNo);
    EXPECT_EQ(ui.MessageBox("drei", "", Icon::kNone, Buttons::kOk), Answer::kOk);
  }
  ui.MessageBox("vier", "", Icon::kNone, Buttons::kOk);
  ASSERT_EQ(shown.boxes.size(), 2u);
  EXPECT_EQ(shown.boxes[0].text, "eins");
  EXPECT_EQ(shown.boxes[1].text, "vier");
}

TEST(MutedUserInterface, AsksOnInAnyCase) {
  RecordingUserInterface shown;
  MutedUserInterface ui(shown);
  const MutedUserInterface::Mute mute(ui);
  shown.replies = {"Name", "/a", "/b"};
  EXPECT_EQ(ui.InputBox("Wie?", ""), "Name");
  EXPECT_EQ(ui.ChooseFile("Datei", "*", ""), "/a");
  EXPECT_EQ(ui.ChooseFolder("Ordner", ""), "/b");
  ui.Yield();
  EXPECT_EQ(shown.yields, 1);
}

}  // namespace
}  // namespace kestrel
