// The "?" of each window and the tool tips, where they are wanted.
#include "wizard/help.h"

#include <QAbstractItemView>
#include <QAction>
#include <QComboBox>
#include <QDesktopServices>
#include <QHeaderView>
#include <QLineEdit>
#include <QTextBrowser>
#include <QToolButton>

#include "platform/base/file.h"
#include "support/project_paths.h"
#include "wizard/frmQuestionDlg.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using testing::FindIn;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// Stands in for the desktop that shows a page.
class Browser final {
 public:
  Browser() { QDesktopServices::setUrlHandler("file", &pages_, "setSource"); }
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;
  ~Browser() { QDesktopServices::unsetUrlHandler("file"); }

  // The page that it was given since the last question.
  std::string Shown() {
    const std::string page = FromQt(pages_.source().fileName());
    pages_.setSource(QUrl());
    return page;
  }

 private:
  QTextBrowser pages_;
};

class HelpTest : public testing::WizardFixture {
 protected:
  explicit HelpTest(WizardComforts comforts = {.help_pages = true, .tool_tips = true})
      : WizardFixture(comforts) {
    setenv("KESTREL_GUIDE", testing::InSourceTree("docs/bedienung").c_str(), 1);
  }
  ~HelpTest() override { unsetenv("KESTREL_GUIDE"); }

  void OpenPage(int step) {
    const std::string content = TextSpecification(WriteSource(), "[FieldAssignments]\nName=FIELD:Name\n");
    if (step == 1) OpenStep1();
    if (step == 2) OpenStep2(content);
    if (step == 3) OpenStep3(content);
  }
};

TEST_F(HelpTest, TheButtonAndF1OfEachPageOpenItsPageOfTheGuide) {
  Browser browser;
  for (const int step : {1, 2, 3}) {
    OpenPage(step);
    const std::string page = "schritt" + std::to_string(step) + ".html";
    Click("cmdHelp");
    EXPECT_EQ(browser.Shown(), page);
    QAction& action = FindIn<QAction>(Page(), "mnuHelp");
    EXPECT_EQ(action.shortcut(), QKeySequence(Qt::Key_F1));
    action.trigger();
    EXPECT_EQ(browser.Shown(), page);
  }
  EXPECT_THAT(ui.boxes, IsEmpty());
}

TEST_F(HelpTest, EveryWindowHasAPageInTheGuide) {
  for (const char* window : {"frmStep1", "frmStep2", "frmStep3", "frmPrev", "frmDrift", "frmTransTbl",
                             "frmQuestionDlg", "frmImport", "frmResult"}) {
    const QString page = HelpPageOf(window);
    EXPECT_FALSE(page.isEmpty()) << window;
    EXPECT_TRUE(FileExists(testing::InSourceTree("docs/bedienung/" + FromQt(page)))) << window;
  }
}

TEST_F(HelpTest, AGuideThatIsNotInstalledIsToldWithAWayOut) {
  setenv("KESTREL_GUIDE", "/gibt/es/nicht", 1);
  OpenPage(1);
  Click("cmdHelp");
  ASSERT_EQ(ui.boxes.size(), 1u);
  EXPECT_THAT(ui.boxes[0].text, HasSubstr("ist nicht installiert: ''/gibt/es/nicht/schritt1.html''"));
}

TEST_F(HelpTest, ADialogHasItsButtonBesideTheOthers) {
  frmQuestionDlg question(nullptr);
  wizard.ShowStep1(SharedSession());
  wizard.Dress(question);
  Browser browser;
  FindIn<QToolButton>(question, "cmdHelp").click();
  EXPECT_EQ(browser.Shown(), "start.html");
}

TEST_F(HelpTest, ControlsThatAreNotPlainSayWhatTheyAreFor) {
  OpenPage(2);
  for (const char* control :
       {"cboDatenquelleTyp", "txtTexterkenner", "chkZeileFeldname", "optAnsi", "cboSQLTable"}) {
    EXPECT_FALSE(Find<QWidget>(control).toolTip().isEmpty()) << control;
  }
  OpenPage(3);
  for (const char* control : {"TDBImpList", "optKeineZuweisung", "chkUebersetzen", "cboDatumsFormat"}) {
    EXPECT_FALSE(Find<QWidget>(control).toolTip().isEmpty()) << control;
  }
  EXPECT_EQ(Find<QWidget>("cmdOK").toolTip().toStdString(), "Importvorgang starten") << "told ones stay";
}

// All windows that a person fills something in, or looks something up.
class HelpOfAllInputs : public HelpTest {
 protected:
  HelpOfAllInputs()
      : HelpTest({.managed_specifications = true,
                  .help_pages = true,
                  .tool_tips = true,
                  .offers_excel = true,
                  .live_preview = true,
                  .sample_values = true,
                  .assignment_by_name = true,
                  .field_search = true,
                  .result_tab = true,
                  .proposed_date_formats = true}) {}
};

TEST_F(HelpOfAllInputs, EachSaysWhatItIsFor) {
  for (const int step : {1, 2, 3}) {
    OpenPage(step);
    for (const QWidget* control : Page().findChildren<QWidget*>()) {
      const bool is_input = qobject_cast<const QLineEdit*>(control) != nullptr ||
                            qobject_cast<const QComboBox*>(control) != nullptr ||
                            qobject_cast<const QAbstractItemView*>(control) != nullptr;
      // Parts of others have no names, or Qt's own.
      const bool is_part = control->objectName().isEmpty() || control->objectName().startsWith("qt_");
      if (!is_input || is_part || qobject_cast<const QHeaderView*>(control) != nullptr) continue;
      EXPECT_FALSE(control->toolTip().isEmpty()) << step << " " << FromQt(control->objectName());
    }
  }
}

class WithoutHelp : public HelpTest {
 protected:
  WithoutHelp() : HelpTest(WizardComforts{}) {}
};

TEST_F(WithoutHelp, ThereIsNoButtonNoKeyAndNoToolTipButThoseThatAreTold) {
  for (const int step : {1, 2, 3}) {
    OpenPage(step);
    EXPECT_EQ(Page().findChild<QWidget*>("cmdHelp"), nullptr);
    EXPECT_EQ(Page().findChild<QAction*>("mnuHelp"), nullptr);
  }
  EXPECT_EQ(Find<QWidget>("chkUebersetzen").toolTip().toStdString(), "");
}

}  // namespace
}  // namespace kestrel
