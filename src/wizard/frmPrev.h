// The preview: the source as the import will read it.
#pragma once

#include <QDialog>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTableView>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/recordset.h"
#include "kestrel/runtime_error.h"
#include "sources/source_reader.h"
#include "wizard/recordset_model.h"
#include "wizard/row_reader.h"

namespace kestrel {

class ImportJob;

// What a source was opened with apart from the job.
struct OpenedRecords {
  std::shared_ptr<RowReader> rows;    // null where it could not be opened
  std::optional<RuntimeError> error;  // why, or why the first rows are not all there
  AskedColumns columns;
};
// From whatever thread. Raises nothing.
OpenedRecords OpenRecords(const std::function<RecordsetPtr()>& open, const std::function<AskedColumns()>& ask);

class frmPrev final : public QDialog {
  Q_OBJECT
 public:
  // Opens the source, unless that is done, and fills the window. The job outlives it.
  frmPrev(ImportJob& job, QWidget* parent, const OpenedRecords* opened = nullptr);

 private:
  void ShowFromJob();
  void ShowOpened(const OpenedRecords& opened);
  void ShowCount(std::int64_t records, bool is_text);
  void ShowAsGrid(QAbstractItemModel* model);
  // One column usually means a wrong delimiter: the raw lines are easier to judge as text.
  void ShowAsText(const QString& lines);

  void Tell(const RuntimeError& error);

  ImportJob& job_;
  QTableView* TDBList1_;
  QPlainTextEdit* txtPrev_;
  QLabel* lblCount_;
  RecordsetModel model_;
};

}  // namespace kestrel
