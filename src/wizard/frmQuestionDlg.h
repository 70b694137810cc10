// The confirmation: test the data source or import. With its comfort it tells what is imported and what becomes of the
// source; records are counted in another thread meanwhile.
#pragma once

#include <QDialog>
#include <QLabel>
#include <QRadioButton>
#include <QTimer>
#include <cstdint>
#include <future>
#include <optional>

#include "component/session.h"

namespace kestrel {

class frmQuestionDlg final : public QDialog {
  Q_OBJECT
 public:
  // `told` is the session whose source is told, which outlives the dialog; null: nothing is told. `harmless_test` says
  // what a test does to the source.
  explicit frmQuestionDlg(QWidget* parent, const Session* told = nullptr, bool harmless_test = false);

  // What cmdOK stored; false until it has been pressed, so also when the dialog was closed by its frame.
  bool Testmode() const { return test_mode_; }

 protected:
  // Without the comfort there is nothing to cancel: Escape must not start an import.
  void keyPressEvent(QKeyEvent* event) override;
  // cmdOK.
  void accept() override;

 private:
  QWidget* BuildSource(const Session& session, bool harmless_test);
  void LookForCount();

  bool is_telling_;
  QLabel* lblRecords_ = nullptr;
  std::future<std::optional<std::int64_t>> count_;
  QTimer look_for_count_;
  QRadioButton* optTestMode_;
  QRadioButton* optImport_;
  bool test_mode_ = false;
};

}  // namespace kestrel
