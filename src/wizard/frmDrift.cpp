#include "wizard/frmDrift.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "wizard/button_row.h"
#include "wizard/page_parts.h"
#include "wizard/qt_text.h"
#include "wizard/window_frame.h"

namespace kestrel {

frmDrift::frmDrift(const Findings& drift, QWidget* parent) : QDialog(parent) {
  // What fields read comes first.
  for (const Severity severity : {Severity::kError, Severity::kWarning, Severity::kNote}) {
    for (const Finding& finding : drift) {
      if (finding.severity == severity) drift_.Add(finding);
    }
  }
  setObjectName("frmDrift");
  setWindowTitle("KESTREL Import");
  lstDrift_ = new QListWidget(this);
  lstDrift_->setObjectName("lstDrift");
  lstDrift_->setWordWrap(true);
  lstDrift_->setResizeMode(QListView::Adjust);
  lstDrift_->setSpacing(2);
  // On the colour of lists an empty box would not be seen on a dark desktop.
  lstDrift_->viewport()->setBackgroundRole(QPalette::Window);
  QLabel* label = MakeLabel(
      "Die Datenquelle hat andere Spalten als beim Speichern der Einstellungen:", lstDrift_, "lblDrift");
  label->setWordWrap(true);
  auto* hint = new QLabel("Angekreuzte neue Namen werden in die Zuordnung übernommen.", this);
  hint->setObjectName("lblHint");
  hint->setWordWrap(true);
  bool can_replace = false;
  for (const Finding& finding : drift_) {
    auto* item = new QListWidgetItem(ToQt(finding.Message()), lstDrift_);
    if (finding.replacement.empty()) continue;
    item->setCheckState(Qt::Unchecked);
    can_replace = true;
  }
  hint->setVisible(can_replace);
  lstDrift_->setCurrentRow(0);
  auto* buttons = new ButtonRow(this);
  QPushButton* prev = buttons->AddPrev("Zurück zur Datenquelle");
  QPushButton* next = buttons->AddDefault("cmdNext", "Weiter", "Weiter zu Schritt 3", 'W');

  auto* body = new QVBoxLayout;
  body->setSpacing(10);
  body->addWidget(label);
  body->addWidget(lstDrift_, 1);
  body->addWidget(hint);
  LayOutPage(this, nullptr, body, buttons);
  resize(520, 320);
  GiveIcon(this);
  RememberSize(this, "drift");
  connect(prev, &QPushButton::clicked, this, &QDialog::reject);
  connect(next, &QPushButton::clicked, this, &QDialog::accept);
}

Findings frmDrift::Ticked() const {
  Findings ticked;
  for (std::size_t i = 0; i < drift_.size(); ++i) {
    if (lstDrift_->item(static_cast<int>(i))->checkState() == Qt::Checked) ticked.Add(drift_[i]);
  }
  return ticked;
}

}  // namespace kestrel
