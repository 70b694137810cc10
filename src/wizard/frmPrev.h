// The preview: the source as the import will read it.
#pragma once

#include <QDialog>
#include <QPlainTextEdit>
#include <QTableView>

#include "kestrel/recordset.h"
#include "wizard/recordset_model.h"

namespace kestrel {

class ImportJob;

class frmPrev final : public QDialog {
  Q_OBJECT
 public:
  // Opens the source and fills the window. The job outlives it.
  frmPrev(ImportJob& job, QWidget* parent);

 private:
  void ShowAsGrid(const RecordsetPtr& source);
  // One column usually means a wrong delimiter: the raw lines are easier to judge as text.
  void ShowAsText(const RecordsetPtr& source);

  ImportJob& job_;
  QTableView* TDBList1_;
  QPlainTextEdit* txtPrev_;
  RecordsetModel model_;
};

}  // namespace kestrel
