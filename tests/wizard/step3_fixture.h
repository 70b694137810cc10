// Step 3 as a person drives it.
#pragma once

#include <QLabel>
#include <QTableView>
#include <string>

#include "wizard/wizard_fixture.h"

namespace kestrel::testing {

class Step3Fixture : public WizardFixture {
 protected:
  using WizardFixture::WizardFixture;

  QTableView& List() const { return Find<QTableView>("TDBImpList"); }
  void ClickLine(int row) {
    const QRect cell = List().visualRect(List().model()->index(row, 0));
    QTest::mouseClick(List().viewport(), Qt::LeftButton, Qt::NoModifier, cell.center());
    Spin();
  }
  std::string Text(const char* label) const { return FromQt(Find<QLabel>(label).text()); }
  // Empty where no status line is shown.
  std::string Status() const { return Find<QLabel>("lblStatus").isVisible() ? Text("lblStatus") : ""; }
};

}  // namespace kestrel::testing
