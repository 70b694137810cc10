// Step 1: choose a saved import specification or a template.
#pragma once

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <vector>

#include "spec/specification.h"
#include "wizard/event_guard.h"
#include "wizard/page_parts.h"

namespace kestrel {

class ImportJob;
class Wizard;

class frmStep1 final : public QWidget {
  Q_OBJECT
 public:
  // Both outlive the page. The page loads at once: SpecFolder, the list, SchemaChanged off.
  frmStep1(ImportJob& job, Wizard& wizard);

 protected:
  bool event(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void BeginWithTemplates();
  // A folder that cannot be read is told, and the list is empty.
  void FillList();
  bool SelectFirstByKey(const QEvent* event);
  // Calls `chosen` whenever the option is chosen, in whatever way.
  void OnChoice(QRadioButton* option, void (frmStep1::*chosen)());
  void optSchema_Click();
  void optVorlage_Click();
  void cmdNext_Click();
  // Step 2 takes it, whatever is chosen here.
  void TakeDroppedFile(const QString& path);
  // Says which file is going to be imported.
  void TellFile();
  void cmdCancel_Click();
  void mnuDelete_Click();
  // With the comforts: what is done with the specification that is selected.
  void AddManagement(QLayout& above_list, ButtonRow& buttons);
  void EnableManagement();
  void Rename();
  void Duplicate();
  void Delete();
  void Search();
  void SelectPath(const std::string& path);
  void ShowPopup(const QPoint& position);
  // The file of the selected entry, or an empty text.
  std::string SelectedPath() const;
  // Its name; there is one.
  std::string SelectedName() const;

  ImportJob& job_;
  Session& session_;
  Wizard& wizard_;
  EventGuard guard_;
  PageHeader* header_;
  QRadioButton* optSchema_;
  QRadioButton* optVorlage_;
  QListWidget* lstVorlage_;
  QPushButton* cmdPrev_;
  QPushButton* cmdNext_;
  QPushButton* cmdCancel_;
  QMenu* mnuPopup_;
  QLineEdit* txtSearch_ = nullptr;  // null without the comfort
  QPushButton* cmdRename_ = nullptr;
  QPushButton* cmdDuplicate_ = nullptr;
  QPushButton* cmdDelete_ = nullptr;
  std::vector<std::string> paths_;  // indexed like the list
  bool told_of_limit_ = false;
  bool told_of_unreadable_ = false;
};

}  // namespace kestrel
