// Step 3: assign every destination field a source column, a constant or nothing.
//
// Two positions must not be confused:
//   the current row    of the assignment list, where a store goes
//   the selected line  of TDBImpList, which the panel shows
// Selecting a line runs in a fixed order: store the panel into the current row; show the selected line; make it
// the current row. So while a line is shown, the current row is still the one before, and the date format box
// is enabled by that row.
//
// A step that fails inside an event is skipped and the event goes on; its reason stands in the status line.
#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTableView>
#include <QVBoxLayout>

#include "mapping/field_assignment.h"
#include "mapping/name_assignment.h"
#include "wizard/assignment_list_model.h"
#include "wizard/event_guard.h"
#include "wizard/page_parts.h"

namespace kestrel {

class FieldListTools;
class FieldSamples;
class ImportJob;
class ResultTab;
class SourceSampling;
class Wizard;

class frmStep3 final : public QWidget {
  Q_OBJECT
 public:
  // Both outlive the page. The page loads at once.
  frmStep3(ImportJob& job, Wizard& wizard);
  ~frmStep3() override { DropList(); }

 protected:
  void closeEvent(QCloseEvent* event) override;
  bool event(QEvent* event) override;
  // Leaving and clicking into the controls of the panel.
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void BuildControls();
  void BuildPanel();
  void ConnectEvents();

  // --- Loading ---
  void Load();
  void FillImportFieldList();
  void LayOutList();

  // --- The panel ---
  AssignmentPanel PanelValues() const;
  void ShowCurrentAssignment();
  void StoreCurrentRow();
  void MakeSelectedLineCurrent();
  void EnableDateFormatByCurrentRow();
  // The list ends with the page: what follows must not save it with other settings.
  void DropList();
  // The row of the list that is selected, which the panel shows: also where a search hides it. -1 without rows.
  int SelectedLine() const;
  int LineOf(const QModelIndex& index) const;

  // --- Comforts (frmStep3_comforts.cpp) ---
  QVBoxLayout* LayOutBody();
  void AddProposal(QBoxLayout* format);
  void ConnectComforts();
  void LoadSample();
  // Stores the panel into the selected line where it says something else.
  void StoreChangedPanel();
  void NamePanel();
  void SearchFields(const QString& text);
  void GoToList();
  void cmdNachNamen_Click();
  void cmdRueckgaengig_Click();
  void cmdFormatVorschlag_Click();
  // What the sample shows is made anew when the event is over.
  void ShowSampleLater();
  void ShowSample();
  void ShowValues();
  void ShowProposal();
  void ShowResult();
  // The column of the sample that the panel names.
  std::optional<std::size_t> SampledColumn() const;
  // The rows of the list as they are with what stands in the panel, or `only` the selected one.
  enum class Extent { kAll, kSelected };
  std::shared_ptr<MemoryRecordset> AssignmentsWithPanel(Extent extent) const;

  // --- Events ---
  void TDBImpList_Select();
  void LeaveStoringControl();
  void cmdKonstanterWert_Click();
  void cmdUebersetzen_Click();
  void cmdOptions_Click();
  void cmdSave_Click();
  void mnuSaveAs_Click();
  void cmdPrev_Click();
  void cmdOK_Click();
  void cmdCancel_Click();
  void LeaveByEscape();
  // Whether the page was left; asked where there are changes.
  bool Leave(bool asks);

  bool FilterEvent(QObject* watched, QEvent* event);
  // Shows the failure of a step in the status line.
  void Tell(const RuntimeError& error);
  // The line stays until the person does something else.
  void ShowStatus(const QString& text);
  std::string CurrentText(AssignmentColumn column) const;

  ImportJob& job_;
  Session& session_;
  Wizard& wizard_;
  EventGuard guard_;
  std::shared_ptr<MemoryRecordset> list_;  // session_.AssignmentList while the page is open
  bool selecting_ = false;                 // the selection changes without a person's doing
  int line_before_press_ = -1;             // the selected line when the mouse button went down
  int panel_line_ = -1;                    // the line that the panel shows
  NameAssignment by_name_;                 // what "Rückgängig" takes back
  bool shows_sample_later_ = false;

  AssignmentListModel* model_;
  ShownFieldsModel* shown_fields_ = nullptr;  // between model and list, where it is needed
  PageHeader* header_;
  QTableView* TDBImpList_;
  QGroupBox* Frame1_;
  QRadioButton* optKeineZuweisung_;
  QRadioButton* optImportFeld_;
  QRadioButton* optKonstanterWert_;
  QComboBox* cboImportFeld_;
  QLineEdit* txtKonstanterWert_;
  QPushButton* cmdKonstanterWert_;
  QCheckBox* chkUebersetzen_;
  QPushButton* cmdUebersetzen_;
  QLabel* lblFormat_;
  QComboBox* cboDatumsFormat_;
  QLabel* lblStatus_;
  QPushButton* cmdOptions_;
  QPushButton* cmdSave_;
  QPushButton* cmdPrev_;
  QPushButton* cmdOK_;
  QPushButton* cmdCancel_;

  // Null without their comforts.
  QTabWidget* tabs_ = nullptr;
  FieldListTools* tools_ = nullptr;
  FieldSamples* samples_ = nullptr;
  ResultTab* result_ = nullptr;
  QPushButton* cmdFormatVorschlag_ = nullptr;
  QLabel* lblFormatHinweis_ = nullptr;
  SourceSampling* sampling_ = nullptr;
};

}  // namespace kestrel
