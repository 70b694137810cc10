// What imports have left in a log, as a list of rows of which one is chosen.
#pragma once

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QTableView>
#include <cstdint>
#include <functional>
#include <vector>

#include "app/query_model.h"
#include "kestrel/recordset.h"
#include "wizard/event_guard.h"

namespace kestrel::host {

struct LogColumn {
  const char* name;  // of the record set
  const char* heading;
  ColumnKind kind = ColumnKind::kText;
  enum class Room { kAsNeeded, kNarrow /* long names that nobody reads to the end */, kAllThatIsLeft, kHidden };
  Room room = Room::kAsNeeded;
};

class LogList final : public QWidget {
  Q_OBJECT
 public:
  // The rows of all imports or of the last one only, at most `limit`. They have the columns told, and Zeile, the
  // row's key. May raise.
  using Reader = std::function<RecordsetPtr(bool only_last, std::int64_t limit)>;

  // `columns` stand behind date, user, import and record. `title` names the table for a screen reader. Empty until
  // Refresh.
  LogList(const char* title, const std::vector<LogColumn>& columns, Reader read, QWidget* parent);

  // Reads again; the row that was chosen stays so where it is still there. Where it has gone none is chosen, and the
  // arrow key goes on with the one that followed it. What goes wrong stands below the list.
  void Refresh();
  // In the line above the list.
  void AddChoice(QCheckBox* choice);

  // Whether a row is chosen; its text in a column, empty without a row.
  bool HasChosen() const;
  QString Chosen(const char* column) const;

 signals:
  // Another row, or none; or the list was read again.
  void ChoiceChanged();

 private:
  void ReadRows();
  // `row` is where it stood.
  void Choose(const QString& key, int row);
  void FitToRows();

  Reader read_;
  std::vector<LogColumn> columns_;  // the key is the last
  EventGuard guard_;
  QHBoxLayout* choices_;
  QueryModel* model_;
  QCheckBox* only_last_;
  QTableView* table_;
  QLabel* count_;
};

}  // namespace kestrel::host
