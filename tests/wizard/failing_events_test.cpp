// Everything that a page can be asked to do fails once: it is told, the page stays or goes in order, and no
// exception reaches the message loop, where it would end the host's program. The controls are found, not
// listed, so that a new one is asked too.
#include <sys/stat.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAction>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QListWidget>
#include <filesystem>

#include "support/without_privileges.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::Contains;
using ::testing::IsEmpty;
using testing::Spin;

// Cannot ask anything; what is only told is kept.
class FailingUserInterface final : public UserInterface {
 public:
  Answer MessageBox(std::string_view text, std::string_view, Icon, Buttons buttons) override {
    if (buttons == Buttons::kYesNo && fails) Fail();
    told.emplace_back(text);
    return buttons == Buttons::kYesNo ? Answer::kNo : Answer::kOk;
  }
  std::optional<std::string> InputBox(std::string_view, std::string_view) override { Fail(); }
  std::optional<std::string> ChooseFile(std::string_view, std::string_view, const std::string&) override {
    Fail();
  }
  std::optional<std::string> ChooseFolder(std::string_view, const std::string&) override { Fail(); }
  void Yield() override {}

  bool fails = false;
  std::vector<std::string> told;

 private:
  [[noreturn]] static void Fail() { throw RuntimeError(ErrorNumber::kAutomation, "Das Fenster fehlt"); }
};

class FailingEvents : public testing::WizardFixture {
 protected:
  FailingEvents() {
    // Dialogs that a page opens are closed at once.
    QObject::connect(&closer_, &QTimer::timeout, [] {
      if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) dialog->done(0);
    });
    closer_.start(1);
  }

  // Opens the page of that number in a session of its own, in which then everything fails.
  void Open(int step) {
    wizard_.reset();
    failing_ui_ = FailingUserInterface();
    failing_ = std::make_shared<Session>(Platform{failing_ui_, components, clock});
    failing_->AppMode = 2;
    std::filesystem::remove_all(folder.File("Import"));
    std::filesystem::create_directory(folder.File("Import"));
    WriteSpecification("Test.IMP", TextSpecification(WriteSource()));
    UseFields({{"Name", true}, {"Ort"}, {"Datum", false, true}});
    wizard_ = std::make_unique<Wizard>();
    wizard_->ShowStep1(failing_);
    Spin();
    for (int at = 1; at < step; ++at) {
      if (at == 1) Control<QListWidget>("lstVorlage")->setCurrentRow(0);
      Control<QAbstractButton>("cmdNext")->click();
      Spin();
    }
    ASSERT_NE(wizard_->CurrentPage(), nullptr);
    ASSERT_EQ(wizard_->CurrentPage()->objectName(), QString("frmStep%1").arg(step));
    failing_->SchemaChanged = true;
    failing_->SourceSettingsChanged = true;
    failing_ui_.fails = true;
    for (const char* member : {"HasConfig", "ShowConfig", "GetFields", "GetNewRecord", "BeforeImport",
                               "SpecificationFile", "ErrorCode", "Connection", "PersonalNr", "Application"}) {
      import_class->Raises(member, RuntimeError(ErrorNumber::kAutomation, "Das Ziel fehlt"));
    }
    // Where the specifications lay, nothing can be listed, read or written any more.
    std::filesystem::remove_all(folder.File("Import"));
    folder.Write("Import", "");
    std::filesystem::remove(folder.File("quelle.txt"));
  }

  template <class Type>
  Type* Control(const QString& name) const {
    QWidget* page = wizard_->CurrentPage();
    return page == nullptr ? nullptr : page->findChild<Type*>(name);
  }

  static void Poke(QObject* object) {
    if (auto* action = qobject_cast<QAction*>(object)) action->trigger();
    auto* control = qobject_cast<QWidget*>(object);
    if (control == nullptr) return;
    control->setFocus(Qt::TabFocusReason);
    Spin();
    if (auto* edit = qobject_cast<QLineEdit*>(control)) {
      edit->setText("/gibt/es/nicht");
      emit edit->textEdited(edit->text());
    } else if (auto* list = qobject_cast<QComboBox*>(control)) {
      for (int entry = 0; entry < list->count(); ++entry) {
        list->setCurrentIndex(entry);
        emit list->activated(entry);
      }
    } else if (auto* view = qobject_cast<QAbstractItemView*>(control)) {
      emit view->customContextMenuRequested(QPoint());
      for (int row = 0; row < view->model()->rowCount(); ++row) {
        view->setCurrentIndex(view->model()->index(row, 0));
        emit view->doubleClicked(view->currentIndex());
        QTest::keyClick(view, Qt::Key_Space);
      }
    } else if (auto* button = qobject_cast<QAbstractButton*>(control)) {
      button->click();
    }
    Spin();
    // Leaving the control is an event, too.
    if (QWidget* focused = QApplication::focusWidget()) focused->clearFocus();
    Spin();
  }

  // Names of what can be used on the page.
  std::vector<QString> Controls() const {
    std::vector<QString> names;
    const QWidget* page = wizard_->CurrentPage();
    for (const QObject* object : page->findChildren<QObject*>()) {
      const bool usable = object->inherits("QAbstractButton") || object->inherits("QLineEdit") ||
                          object->inherits("QComboBox") || object->inherits("QAbstractItemView") ||
                          object->inherits("QAction");
      if (usable && !object->objectName().isEmpty() && !object->objectName().startsWith("qt_")) {
        names.push_back(object->objectName());
      }
    }
    return names;
  }

  void PokeEverything(int step) {
    Open(step);
    const std::vector<QString> names = Controls();
    EXPECT_GE(names.size(), 6u);
    for (const QString& name : names) {
      Open(step);
      try {
        Poke(Control<QObject>(name));
      } catch (const std::exception& error) {
        ADD_FAILURE() << name.toStdString() << " let out: " << error.what();
      }
    }
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Escape}) {
      Open(step);
      EXPECT_NO_THROW(QTest::keyClick(wizard_->CurrentPage(), key));
    }
    Open(step);
    EXPECT_NO_THROW(wizard_->CurrentPage()->close());
  }

  QTimer closer_;
  FailingUserInterface failing_ui_;
  std::shared_ptr<Session> failing_;
  std::unique_ptr<Wizard> wizard_;
};

TEST_F(FailingEvents, OfStep1StayInIt) { PokeEverything(1); }
TEST_F(FailingEvents, OfStep2StayInIt) { PokeEverything(2); }
TEST_F(FailingEvents, OfStep3StayInIt) { PokeEverything(3); }

TEST_F(FailingEvents, AQuestionThatCannotBeAskedIsTold) {
  Open(1);
  Control<QAction>("mnuDelete")->trigger();
  EXPECT_THAT(failing_ui_.told, Contains("Fehler: Das Fenster fehlt"));
  Open(2);
  Control<QAbstractButton>("cmdFilename")->click();
  EXPECT_THAT(failing_ui_.told, Contains("Fehler: Das Fenster fehlt"));
}

TEST_F(FailingEvents, AFailingStepOfStep3StandsInItsStatusLine) {
  Open(3);
  Control<QAbstractButton>("cmdOptions")->click();
  EXPECT_EQ(FromQt(Control<QLabel>("lblStatus")->text()), "Das Ziel fehlt");
  EXPECT_THAT(failing_ui_.told, IsEmpty());
}

TEST_F(FailingEvents, ASpecificationFolderThatCannotBeReadIsToldAndTheListIsEmpty) {
  WriteSpecification("Test.IMP", TextSpecification(WriteSource()));
  ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(session.SpecFolder.c_str(), 0), 0);
  const std::string told = "Fehler: Zugriff verweigert: " + session.SpecFolder;
  {
    const testing::WithoutPrivileges nobody;
    OpenStep1();
    EXPECT_EQ(Find<QListWidget>("lstVorlage").count(), 0);
    EXPECT_EQ(ui.boxes, std::vector<Box>{Plain(told)});
    Find<QAbstractButton>("optVorlage").click();
    EXPECT_EQ(ui.boxes.size(), 2u);
  }
  ASSERT_EQ(::chmod(session.SpecFolder.c_str(), 0755), 0);
  Find<QAbstractButton>("optSchema").click();
  EXPECT_EQ(Find<QListWidget>("lstVorlage").count(), 1) << "readable again";
}

}  // namespace
}  // namespace kestrel
