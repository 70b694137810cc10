// One frame for all pages: its place, its size, its icon, and the window it stands above.
#include <QListWidget>
#include <QScreen>
#include <QSettings>

#include "kestrel/qt_user_interface.h"
#include "wizard/frmImport.h"
#include "wizard/frmQuestionDlg.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using testing::Spin;

class WindowFrameTest : public testing::WizardFixture {
 protected:
  WindowFrameTest() { QSettings("KESTREL", "Import").clear(); }
};

TEST_F(WindowFrameTest, APageOpensWhereTheLastOneStoodAndAsLarge) {
  OpenStep2(TextSpecification(WriteSource()));
  const QPoint place(31, 23);
  const QSize size(735, 671);
  Page().move(place);
  Page().resize(size);
  Spin();
  Click("cmdNext");
  ASSERT_EQ(PageName(), "frmStep3");
  EXPECT_EQ(Page().pos(), place);
  EXPECT_EQ(Page().size(), size);
  Page().move(47, 29);
  Spin();
  Click("cmdPrev");
  ASSERT_EQ(PageName(), "frmStep2");
  EXPECT_EQ(Page().pos(), QPoint(47, 29));
  EXPECT_EQ(Page().size(), size);
}

TEST_F(WindowFrameTest, APageBehindAMaximizedOneIsMaximizedAndTheSizeBeforeIsKept) {
  OpenStep1();
  const QSize before = Page().size();
  WriteSpecification("Test.IMP", TextSpecification(WriteSource()));
  Page().close();
  OpenStep1();
  Page().showMaximized();
  Spin();
  Find<QListWidget>("lstVorlage").setCurrentRow(0);
  Click("cmdNext");
  ASSERT_EQ(PageName(), "frmStep2");
  EXPECT_TRUE(Page().isMaximized());
  Click("cmdCancel");
  OpenStep1();
  EXPECT_FALSE(Page().isMaximized());
  EXPECT_EQ(Page().size(), before);
}

TEST_F(WindowFrameTest, ASizeOfALargerScreenIsCutToTheWorkAreaOfThisOneFrameIncluded) {
  QSettings("KESTREL", "Import").setValue("window/page", QSize(5000, 4000));
  OpenStep1();
  const QRect room = Page().screen()->availableGeometry();
  EXPECT_LE(Page().width(), room.width());
  EXPECT_LT(Page().height(), room.height()) << "a title bar has room above";
}

TEST_F(WindowFrameTest, AWindowThatStandsOffTheScreenIsMovedOntoIt) {
  OpenStep2(TextSpecification(WriteSource()));
  Page().move(700, -300);
  Spin();
  Click("cmdNext");
  const QRect room = Page().screen()->availableGeometry();
  EXPECT_TRUE(QTest::qWaitFor([&] { return room.contains(Page().geometry()); }))
      << Page().x() << " " << Page().y() << " " << Page().width() << " " << Page().height();
}

TEST_F(WindowFrameTest, AllPagesFitOnAScreenOfFullHdAtTwiceTheSize) {
  constexpr int kTitleBar = 30;
  constexpr QSize kWorkArea(960, 540 - kTitleBar);
  OpenStep3(TextSpecification(WriteSource()));
  EXPECT_EQ(Page().minimumSizeHint().boundedTo(kWorkArea), Page().minimumSizeHint())
      << Page().minimumSizeHint().width() << " x " << Page().minimumSizeHint().height();
  Click("cmdPrev");
  EXPECT_EQ(Page().minimumSizeHint().boundedTo(kWorkArea), Page().minimumSizeHint())
      << Page().minimumSizeHint().width() << " x " << Page().minimumSizeHint().height();
  Click("cmdPrev");
  EXPECT_EQ(Page().minimumSizeHint().boundedTo(kWorkArea), Page().minimumSizeHint());
}

TEST_F(WindowFrameTest, EveryWindowHasTheIcon) {
  OpenStep1();
  EXPECT_FALSE(Page().windowIcon().isNull());
  Page().close();
  OpenStep3(TextSpecification(WriteSource()));
  EXPECT_FALSE(Page().windowIcon().isNull());
  EXPECT_FALSE(frmQuestionDlg(nullptr).windowIcon().isNull());
  ImportJob job(session);
  EXPECT_FALSE(frmImport(job, nullptr).windowIcon().isNull());
  Page().close();
  QtUserInterface screen;
  for (const char* name : {"messageBox", "inputBox"}) {
    modals.Then(name, [](QWidget& dialog) {
      EXPECT_FALSE(dialog.windowIcon().isNull()) << FromQt(dialog.objectName());
      dialog.close();
    });
  }
  screen.MessageBox("x", "", Icon::kNone, Buttons::kOk);
  screen.InputBox("x", "");
}

TEST_F(WindowFrameTest, AboveTheHostsWindowPagesAreOfATypeThatWindowManagersKeepThere) {
  QWidget host;
  host.show();
  Wizard over_host(&host);
  over_host.ShowStep1(SharedSession());
  EXPECT_EQ(over_host.CurrentPage()->windowType(), Qt::Dialog);
  EXPECT_EQ(over_host.CurrentPage()->parentWidget(), nullptr) << "the host's window would delete it";
  over_host.CurrentPage()->close();
  OpenStep1();
  EXPECT_EQ(Page().windowType(), Qt::Window) << "without a window of the host it stands alone";
}

}  // namespace
}  // namespace kestrel
