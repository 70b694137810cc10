// Step 2: choose and describe the data source.
//
// States: loading (from creation until the first activation has filled the page) -> ready. While loading, edits
// set no flag of the session. What the controls hold and what it means stands in sources/source_page.h;
// the page moves values and keeps the order of events:
//   first activation   types filled, entry 0; import class created; page filled; loading ends
//   waiting            for a server or a large file, in another thread, for what it is, its tables, columns or records:
//                      the page is alive, but only Abbrechen and the close box can be used; what was to follow
//                      the connection follows when its result is there, and never where the page was closed
//                      meanwhile. A file that answers at once is waited for without that
//   focus on a list    connects for its kind (silently) and fills it, once until an input changes
//   the preview        reads by itself, in another thread, whatever the page holds; it changes nothing of the session
//   an edit            clears its kind's list-loaded flag; sets SourceSettingsChanged and SchemaChanged unless
//                      loading
#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>
#include <QTimer>
#include <chrono>
#include <functional>
#include <future>
#include <optional>

#include "sources/source_page.h"
#include "wizard/event_guard.h"
#include "wizard/page_parts.h"
#include "wizard/source_preview.h"

namespace kestrel {

class ImportJob;
struct DetectedSource;
struct OpenedRecords;
class Wizard;

class frmStep2 final : public QWidget {
  Q_OBJECT
 public:
  // Both outlive the page.
  frmStep2(ImportJob& job, Wizard& wizard);

 protected:
  bool event(QEvent* event) override;
  void showEvent(QShowEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  // Most files have answered by then, and nobody sees a wait.
  static constexpr std::chrono::milliseconds kAtOnce{100};

  // --- Controls (frmStep2_controls.cpp) ---
  void BuildControls();
  QWidget* BuildTextFrame();
  QWidget* BuildSqlFrame();
  QWidget* BuildAccessFrame();
  QWidget* BuildExcelFrame();
  QWidget* BuildDBaseFrame();
  void ConnectEvents();

  // --- Page and session ---
  void FirstActivation();
  void EndLoading();
  bool CreateObject();
  // Goes on with `then` when the page is filled.
  void FillFromSession(std::function<void()> then);
  void ShowSession(std::function<void()> then);
  bool IsListed(const SourceKind* kind) const;
  SourcePage Values() const;
  void SetValues(const SourcePage& page);
  bool StoreValues();
  void SelectTable(QComboBox* list);

  // --- Connecting ---
  // Connects for a kind of source and fills its list; a kind without a list does nothing. Then goes on with
  // `then` when the source has answered or has been given up.
  void Connect(const SourceKind* kind, std::function<void()> then);
  void FillTables(QComboBox& list, const ConnectResult& result);
  // Has a source asked in another thread, by what raises nothing and touches no session, and goes on with `then` when
  // it has answered or has been given up; before it returns where a file answers at once.
  void WaitFor(std::function<void()> work, std::function<void()> then);
  // The same, whatever kind is chosen; `at_once` is how long the page stands still before it shows that it waits.
  void WaitFor(std::function<void()> work, std::function<void()> then, std::chrono::milliseconds at_once);
  void LookForAnswer();
  void SetWaiting(bool waiting);
  // The kind that has been chosen; null for none.
  const SourceKind* ChosenKind() const;
  // The kind that a frame's inputs are meant for: the chosen one, or the first that the frame is for.
  const SourceKind* KindIn(SourceFrame frame) const;
  // Where the tables of a kind are chosen; null for a kind without, and for none.
  QComboBox* ListOf(const SourceKind* kind) const;

  // --- A source that does not answer, with the comfort failed_connections (frmStep2_silent.cpp) ---
  // Whether the session's source is to be connected to before it can be asked anything.
  bool LacksConnection() const;
  void ShowWhyNot(const QString& reason);
  // Whether the error is one that ends the attempt, and has been shown.
  bool GivesUp(const std::optional<RuntimeError>& error);
  void OfferToGoOnWithout();

  // --- Which file it is (frmStep2_file.cpp) ---
  void BrowseFile(QLineEdit* target, SourceFrame frame);
  void BrowseFolder();
  void txtFilename_Leave();
  // Whether the page takes the file.
  bool TakeDroppedFile(const QString& path);
  // The box that a file's path or folder goes into, by the frame that is shown; null for none.
  void PutIntoBox(const QString& path);
  // Makes a file that has not been looked at the source, read as its content tells.
  void TakeFile(const QString& path);
  void TakeFile(const QString& path, const DetectedSource& found);
  // Has the file looked at in another thread, as WaitFor does, and goes on with what it is.
  void LookAt(const std::string& file, std::function<void(DetectedSource)> then);
  void RecogniseTypedFile();
  // What the host has handed in; then goes on.
  void TakeHandedInFile(std::function<void()> then);
  void TakeHandedInFile(const std::string& file, DetectedSource found);
  // What was recognised, or why the file cannot be read here.
  std::string Told(const DetectedSource& found) const;
  void ShowRecognised(const std::string& text);

  // --- The first records (frmStep2_preview.cpp) ---
  // Has the preview follow what the page holds, once the event at hand is done with.
  void PreviewSoon();
  void UpdatePreview();

  // --- Events ---
  void Edited();
  void cboDatenquelleTyp_Click();
  void chkSichereDatei_Click();
  static bool IsEntering(const QEvent* event);
  void cmdVorschau_Click();
  void ShowPreview();
  // Null: opened by the preview itself.
  void ShowPreview(const OpenedRecords* records);
  void cmdOptions_Click();
  void cmdSave_Click();
  void mnuSaveAs_Click();
  void cmdPrev_Click();
  void cmdNext_Click();
  // Tells what has become of the source's columns; whether to go on.
  bool ConfirmDrift();
  void GoOn();
  void GoOnAtOnce();
  void cmdCancel_Click();
  void ShowMessage(const std::string& text, const std::string& title);

  ImportJob& job_;
  Session& session_;
  Wizard& wizard_;
  EventGuard guard_;
  bool loading_ = true;
  bool activated_ = false;
  bool has_options_ = true;
  ListLoadedFlags loaded_;
  // The file whose settings the page shows: that of the specification, or the one that was looked at last.
  std::string known_file_;
  // Runs out when the focus has left txtFilename and arrived elsewhere.
  QTimer leave_;

  // What is waited for; what its thread delivers after the page has gone is dropped.
  std::future<void> answer_;
  std::function<void()> after_answer_;
  QTimer look_for_answer_;
  bool waiting_ = false;
  QPointer<QWidget> focus_before_waiting_;

  PageHeader* header_;
  QComboBox* cboDatenquelleTyp_;
  QStackedWidget* frames_;
  QGroupBox* fraFile_;
  QGroupBox* fraSQL_;
  QGroupBox* fraAccess_;
  QGroupBox* fraExcel_;
  QGroupBox* fradBase_;
  // By SourceFrame; null for fraFile.
  std::array<QComboBox*, kSourceFrames> table_lists_ = {};

  PathEdit* txtFilename_;
  QPushButton* cmdFilename_;
  QRadioButton* optTab_;
  QRadioButton* optSemikolon_;
  QRadioButton* optKomma_;
  QRadioButton* optAnders_;
  QLineEdit* txtAnders_;
  QLineEdit* txtTexterkenner_;
  QCheckBox* chkZeileFeldname_;
  QRadioButton* optAnsi_;
  QRadioButton* optAscii_;
  QCheckBox* chkSichereDatei_;
  QLabel* lblSicherungspfad_;
  PathEdit* txtSicherungspfad_;
  QCheckBox* chkDateilöschen_;

  QLineEdit* txtSQLServer_;
  QLineEdit* txtSQLUID_;
  QLineEdit* txtSQLKennwort_;
  QLineEdit* txtSQLDB_;
  QComboBox* cboSQLTable_;

  PathEdit* txtAccessDB_;
  QPushButton* cmdAccessDB_;
  QLineEdit* txtAccessBenutzer_;
  QLineEdit* txtAccessKennwort_;
  QComboBox* cboAccessTable_;

  PathEdit* txtExcelFile_;
  QPushButton* cmdExcelFile_;
  QComboBox* cboExcelSheet_;

  PathEdit* txtdBaseFile_;
  QPushButton* cmddBaseFile_;
  QComboBox* cbodBaseTable_;

  SourcePreview* preview_ = nullptr;  // with the comfort live_preview
  QTimer update_preview_;
  // With what was connected last, and with what that succeeded.
  SourceInputs connecting_with_;
  std::optional<SourceInputs> answered_;
  QString why_not_;  // the source could not be asked, when that was tried last
  QLabel* lblErkannt_;
  QLabel* lblStatus_;
  QPushButton* cmdVorschau_;
  QPushButton* cmdOptions_;
  QPushButton* cmdSave_;
  QPushButton* cmdPrev_;
  QPushButton* cmdNext_;
  QPushButton* cmdCancel_;
};

}  // namespace kestrel
