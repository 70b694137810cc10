// Long reading: seen once it lasts, ended by its button.
#include "wizard/reading_dialog.h"

#include <QPushButton>

#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

TEST(ReadingDialogTest, ComesUpOnceTheReadingLastsAndItsButtonEndsIt) {
  ReadingDialog reading("Es wird gelesen.", nullptr);
  EXPECT_TRUE(reading.GoOn());
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr) << "what is over at once is not shown";
  while (QApplication::activeModalWidget() == nullptr) ASSERT_TRUE(reading.GoOn());
  auto& dialog = *QApplication::activeModalWidget();
  EXPECT_EQ(dialog.objectName(), "readingDialog");
  EXPECT_TRUE(reading.GoOn());
  dialog.findChild<QPushButton*>()->click();
  EXPECT_TRUE(QTest::qWaitFor([&] { return !reading.GoOn(); }));
}

TEST(ReadingDialogTest, GoesWithTheReading) {
  {
    ReadingDialog reading("Es wird gelesen.", nullptr);
    while (QApplication::activeModalWidget() == nullptr) ASSERT_TRUE(reading.GoOn());
  }
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

}  // namespace
}  // namespace kestrel
