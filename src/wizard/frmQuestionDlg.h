// The confirmation: test the data source or import.
#pragma once

#include <QDialog>
#include <QRadioButton>

namespace kestrel {

class frmQuestionDlg final : public QDialog {
  Q_OBJECT
 public:
  explicit frmQuestionDlg(QWidget* parent);

  // What cmdOK stored; false until it has been pressed, so also when the dialog was closed by its frame.
  bool Testmode() const { return test_mode_; }

 protected:
  // There is nothing to cancel: Escape must not start an import.
  void keyPressEvent(QKeyEvent* event) override;
  // cmdOK.
  void accept() override;

 private:
  QRadioButton* optTestMode_;
  QRadioButton* optImport_;
  bool test_mode_ = false;
};

}  // namespace kestrel
