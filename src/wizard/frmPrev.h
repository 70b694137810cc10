// The preview: the source as the import will read it.
#pragma once

#include <QDialog>
#include <QPlainTextEdit>
#include <QTableView>
#include <optional>
#include <string>
#include <vector>

#include "kestrel/connection.h"
#include "kestrel/recordset.h"
#include "kestrel/runtime_error.h"
#include "wizard/recordset_model.h"

namespace kestrel {

class ImportJob;

// What a source was opened with apart from the job.
struct OpenedRecords {
  RecordsetPtr records;
  std::int64_t count = 0;
  std::vector<std::string> columns;   // and an empty element
  std::optional<RuntimeError> error;  // the first
};
// Runs the query and asks for the columns of the table. Raises nothing; from whatever thread.
OpenedRecords OpenRecords(Connection& connection, const std::string& sql, const std::string& table);

class frmPrev final : public QDialog {
  Q_OBJECT
 public:
  // Opens the source, unless that is done, and fills the window. The job outlives it.
  frmPrev(ImportJob& job, QWidget* parent, const OpenedRecords* opened = nullptr);

 private:
  void ShowAsGrid(const RecordsetPtr& source, const std::vector<std::string>& columns);
  // One column usually means a wrong delimiter: the raw lines are easier to judge as text.
  void ShowAsText(const RecordsetPtr& source);

  void Tell(const RuntimeError& error);

  ImportJob& job_;
  QTableView* TDBList1_;
  QPlainTextEdit* txtPrev_;
  RecordsetModel model_;
};

}  // namespace kestrel
