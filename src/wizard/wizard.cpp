#include "kestrel/wizard.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QApplication>
#include <QEvent>
#include <utility>

#include "kestrel/import_job.h"
#include "kestrel/qt_user_interface.h"
#include "wizard/frmImport.h"
#include "wizard/frmResult.h"
#include "wizard/frmStep1.h"
#include "wizard/frmStep2.h"
#include "wizard/frmStep3.h"
#include "wizard/frmTransTbl.h"
#include "wizard/help.h"
#include "wizard/page_parts.h"
#include "wizard/window_frame.h"

namespace kestrel {

namespace {

// A page is a plain widget, which a screen reader would take for a mere part of a window. Qt owns the answer.
QAccessibleInterface* PageAsWindow(const QString& class_name, QObject* object) {
  auto* page = qobject_cast<QWidget*>(object);
  if (page == nullptr || !(class_name.startsWith("kestrel::frmStep") || class_name == "kestrel::frmResult")) {
    return nullptr;
  }
  return new QAccessibleWidget(page, QAccessible::Window);
}

}  // namespace

// Shows the page that `slot` keeps; one that has been closed is made anew, so that it loads again.
template <class Page>
void Wizard::ShowPage(std::unique_ptr<Page>& slot) {
  if (slot == nullptr || !slot->isVisible()) {
    const QWidget* before = CurrentPage();
    slot.reset();
    slot = std::make_unique<Page>(*job_, *this);
    slot->installEventFilter(this);
    Dress(*slot);
    if (before != nullptr) TakePlaceOf(*before, slot.get());
    StayAbove(slot.get(), host_window_);
  }
  slot->show();
  slot->raise();
  slot->activateWindow();
}

Wizard::Wizard(QWidget* host_window, WizardComforts comforts, WizardHost host)
    : host_window_(host_window), comforts_(comforts), host_(std::move(host)) {
  QAccessible::installFactory(PageAsWindow);
}
Wizard::~Wizard() { Drop(); }

void Wizard::DropPages() {
  // A page hides while it is destroyed; that is not the end of an import, and the others may be gone by then.
  for (QObject* page :
       std::initializer_list<QObject*>{step1_.get(), step2_.get(), step3_.get(), result_.get()}) {
    if (page != nullptr) page->removeEventFilter(this);
  }
  step1_.reset();
  step2_.reset();
  step3_.reset();
  result_.reset();
  value_editor_.reset();
  job_.reset();
}

QWidget* Wizard::OpenDialog() const {
  if (CurrentPage() == nullptr) return nullptr;
  const auto is_ours = [this](const QWidget* dialog) {
    // A message box may come up without an owner.
    const QWidget* owner = dialog;
    while (owner->parentWidget() != nullptr) owner = owner->parentWidget();
    return owner == dialog || owner == CurrentPage();
  };
  QWidget* const active = QApplication::activeModalWidget();
  if (active == nullptr || is_ours(active)) return active;
  // One of the host's may stand above it.
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (window->isVisible() && window->isModal() && is_ours(window)) return window;
  }
  return nullptr;
}

bool Wizard::WaitsForDialog() const {
  QWidget* const dialog = OpenDialog();
  if (dialog == nullptr) return false;
  dialog->raise();
  dialog->activateWindow();
  return true;
}

void Wizard::Drop() {
  if (HasOpenImport()) job_->Cancel();
  DropPages();
}

bool Wizard::Abandon() {
  if (WaitsForDialog()) return false;
  Drop();
  return true;
}

void Wizard::ShowStep1(std::shared_ptr<Session> session) {
  if (WaitsForDialog()) return;
  SpeakGerman();
  Drop();
  session_ = std::move(session);
  job_ = std::make_unique<ImportJob>(*session_);
  ShowStep1();
}

void Wizard::EndSession() {
  // A host may have opened the wizard again meanwhile; a dialog may still be on its way out of a page.
  if (CurrentPage() == nullptr && QApplication::activeModalWidget() == nullptr) {
    DropPages();
    session_.reset();
  }
  emit Ended();
}

void Wizard::ShowStep1() { ShowPage(step1_); }
void Wizard::ShowStep2() { ShowPage(step2_); }
void Wizard::ShowStep3() { ShowPage(step3_); }

void Wizard::RunImport(QWidget& page) {
  frmImport window(*job_, &page, comforts_);
  Dress(window);
  window.exec();
  if (!window.HasFinished()) {
    // What has broken off cannot be gone on with.
    job_->Cancel();
    if (result_ != nullptr) result_->close();
    return;
  }
  if (!comforts_.result_page) return;
  ShowPage(result_);
  result_->ShowRun(window.Remarks());
  emit RunEnded();
}

bool Wizard::HasOpenImport() const {
  const QWidget* page = CurrentPage();
  return page != nullptr && (page != result_.get() || result_->CanImport());
}

frmTransTbl& Wizard::ValueEditor() {
  if (value_editor_ == nullptr) {
    value_editor_ = std::make_unique<frmTransTbl>(*session_, comforts_.checked_translations);
    Dress(*value_editor_);
  }
  return *value_editor_;
}

void Wizard::Dress(QWidget& window) const {
  if (comforts_.help_pages) AddHelpPage(window, session_->platform.ui);
  if (comforts_.tool_tips) AddToolTips(window);
  if (comforts_.visible_access_keys) ShowAccessKeys(window);
}

bool Wizard::eventFilter(QObject* watched, QEvent* event) {
  // Behind a run nothing is open any more, and the name of its working copy is perhaps another program's.
  if (event->type() == QEvent::Close && watched == CurrentPage() && watched != step3_.get() &&
      HasOpenImport()) {
    job_->Cancel();
  }
  // Told from the message loop: the page is still in the middle of closing. A page that only makes room for
  // the next one has shown that one before.
  if (event->type() == QEvent::Hide && !event->spontaneous() && CurrentPage() == nullptr) {
    QMetaObject::invokeMethod(this, &Wizard::EndSession, Qt::QueuedConnection);
  }
  return QObject::eventFilter(watched, event);
}

QWidget* Wizard::CurrentPage() const {
  if (result_ != nullptr && result_->isVisible()) return result_.get();
  if (step3_ != nullptr && step3_->isVisible()) return step3_.get();
  if (step2_ != nullptr && step2_->isVisible()) return step2_.get();
  if (step1_ != nullptr && step1_->isVisible()) return step1_.get();
  return nullptr;
}

}  // namespace kestrel
