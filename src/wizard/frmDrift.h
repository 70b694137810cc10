// What has become of the source's columns since the specification was saved, told between step 2 and step 3.
#pragma once

#include <QDialog>
#include <QListWidget>

#include "kestrel/finding.h"

namespace kestrel {

class frmDrift final : public QDialog {
  Q_OBJECT
 public:
  // `drift` is that of ImportJob::ColumnDrift, and not empty.
  frmDrift(const Findings& drift, QWidget* parent);

  // The findings whose replacements the person has ticked; at first none is.
  Findings Ticked() const;

 private:
  Findings drift_;  // as the list shows them
  QListWidget* lstDrift_;
};

}  // namespace kestrel
