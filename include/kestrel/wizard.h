// The wizard: three pages, one after another, over one session.
//
//   step 1 --Weiter--> step 2 --Weiter--> step 3 --Fertigstellen--> confirmation, run window --> end
//          <--Zurück--        <--Zurück--                           (with a comfort: result page --> end)
//
// Pages are modeless: showing one returns at once. There is one shared instance of each; showing a page that
// has been closed makes it anew, so that it loads again. A host makes one Wizard and hands it to ImportMan:
//
//   kestrel::QtUserInterface ui;
//   kestrel::ComponentRegistry components;
//   kestrel::SystemClock clock;
//   kestrel::Wizard wizard;
//   kestrel::ImportMan man({ui, components, clock}, &wizard);
//   man.SetConnection(connection);
//   man.SetApplication(2);
//   man.ShowDialog();
//
// Used by the thread of the QApplication, which is there before the wizard and goes after it. Raises nothing.
#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <memory>

#include "kestrel/export.h"
#include "kestrel/import_man.h"
#include "kestrel/wizard_comforts.h"
#include "kestrel/wizard_host.h"

namespace kestrel {

class frmResult;
class frmStep1;
class frmStep2;
class frmStep3;
class frmTransTbl;
class ImportJob;

// The pages, as a host makes them.
class KESTREL_EXPORT Wizard final : public QObject, public WizardPages {
  Q_OBJECT
 public:
  // Windows of the wizard stay above `host_window`, where one is given.
  explicit Wizard(QWidget* host_window = nullptr, WizardComforts comforts = {}, WizardHost host = {});
  // Ends an import that is still open as cancelling does. Not while a dialog of a page waits for its answer.
  ~Wizard() override;

  // Closes what is left of an earlier showing without further ado, its working copy included, then shows a new
  // step 1 page. While a dialog of a page waits for its answer (the run window too) it is brought to the front
  // instead.
  void ShowStep1(std::shared_ptr<Session> session) override;

  // Ends an import that is under way as cancelling does, without a question. False while a dialog of a page waits for its
  // answer (the run window too): the page is in the middle of its work, so nothing ends, and the dialog is brought to
  // the front.
  bool Abandon();

  // Whether an import is being prepared or runs. A result page that has nothing more to import is none.
  bool HasOpenImport() const;

  // --- For the pages ---

  // Shows that page, the one before it having closed.
  void ShowStep1();
  void ShowStep2();
  void ShowStep3();
  // Runs the import in a window above the page; then shows the result page, where it is wanted.
  void RunImport(QWidget& page);
  const WizardComforts& comforts() const { return comforts_; }
  const WizardHost& host() const { return host_; }
  // What the comforts change about the look of a page or dialog. Before it is shown.
  void Dress(QWidget& window) const;
  // The shared value editor.
  frmTransTbl& ValueEditor();
  // The page that is shown, or null.
  QWidget* CurrentPage() const;

 signals:
  // A run has ended, and the result page is there.
  void RunEnded();
  // After the last page has closed, in whatever way; a host refreshes its lists then.
  void Ended();

 protected:
  // Sees the pages close. Pages 1 and 2 that are closed by their close box end the import as "Abbrechen" does;
  // page 3 keeps its working copy then.
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  template <class Page>
  void ShowPage(std::unique_ptr<Page>& slot);
  // The dialog that a page waits for, or null.
  QWidget* OpenDialog() const;
  // Whether there is one, which is brought to the front then.
  bool WaitsForDialog() const;
  void Drop();
  // The last page has closed: the session is released, and the host told.
  void EndSession();
  void DropPages();

  QPointer<QWidget> host_window_;
  WizardComforts comforts_;
  WizardHost host_;
  std::shared_ptr<Session> session_;  // while a page is open
  std::unique_ptr<ImportJob> job_;    // of that session
  std::unique_ptr<frmStep1> step1_;
  std::unique_ptr<frmStep2> step2_;
  std::unique_ptr<frmStep3> step3_;
  std::unique_ptr<frmResult> result_;
  std::unique_ptr<frmTransTbl> value_editor_;
};

}  // namespace kestrel
