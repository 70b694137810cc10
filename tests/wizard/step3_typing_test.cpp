// Step 3: what is typed right behind a click, as fast as a person is at most. All comforts are on.
#include <QComboBox>
#include <QLineEdit>

#include "app/host_comforts.h"
#include "wizard/step3_fixture.h"

namespace kestrel {
namespace {

using testing::Spin;

// Whether the message loop runs between two events.
class Step3Typing : public testing::Step3Fixture, public ::testing::WithParamInterface<bool> {
 protected:
  Step3Typing() : Step3Fixture(host::kHostComforts) {}

  void OnMessageLoop() const {
    if (GetParam()) Spin();
  }
  void PressLine(int row) const {
    const QRect cell = List().visualRect(List().model()->index(row, 0));
    QTest::mouseClick(List().viewport(), Qt::LeftButton, Qt::NoModifier, cell.center());
    OnMessageLoop();
  }
  void ClickInto(QWidget& control) const {
    QTest::mouseClick(&control, Qt::LeftButton, Qt::NoModifier, control.rect().center());
    OnMessageLoop();
  }
  // To whoever has the keyboard.
  void TypeAtOnce(const char* text) const {
    for (; *text != '\0'; ++text) {
      QTest::keyClick(QApplication::focusWidget(), *text);
      OnMessageLoop();
    }
  }
  QLineEdit& Constant() const { return Find<QLineEdit>("txtKonstanterWert"); }
  QLineEdit& ImportField() const { return *Find<QComboBox>("cboImportFeld").lineEdit(); }
};

TEST_P(Step3Typing, LosesNoCharacterBehindAClick) {
  OpenStep3(TextSpecification(WriteSource(), "[FieldAssignments]\nName=FIELD:Name\n"));
  PressLine(1);
  ClickInto(Constant());
  TypeAtOnce("Bonn am Rhein");
  EXPECT_EQ(Constant().text(), "Bonn am Rhein");
  PressLine(2);
  ClickInto(ImportField());
  TypeAtOnce("Datum");
  EXPECT_EQ(ImportField().text(), "Datum");
  // From one field into the other, of the same line.
  ClickInto(Constant());
  TypeAtOnce("01.02.2024");
  EXPECT_EQ(Constant().text(), "01.02.2024");
  auto& search = Find<QLineEdit>("txtSuche");
  ClickInto(search);
  TypeAtOnce("Ort");
  EXPECT_EQ(search.text(), "Ort");
  search.clear();
  Spin();
  PressLine(0);
  EXPECT_EQ(FromQt(List().model()->index(1, 1).data().toString()), "\"Bonn am Rhein\"");
  EXPECT_EQ(FromQt(List().model()->index(2, 1).data().toString()), "\"01.02.2024\"");
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutTheMessageLoop, Step3Typing, ::testing::Bool());

}  // namespace
}  // namespace kestrel
