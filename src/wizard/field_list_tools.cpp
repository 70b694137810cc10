#include "wizard/field_list_tools.h"

#include <QHBoxLayout>
#include <QKeyEvent>

#include "wizard/button_row.h"
#include "wizard/page_parts.h"

namespace kestrel {

FieldListTools::FieldListTools(bool searches, bool assigns, QWidget* parent) : QWidget(parent) {
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  if (searches) {
    txtSuche = new QLineEdit(this);
    txtSuche->setObjectName("txtSuche");
    txtSuche->setPlaceholderText("Feld suchen");
    txtSuche->setAccessibleName("Feld suchen");
    txtSuche->setToolTip("Zeigt nur Felder mit diesem Text im Namen (Strg+F); Esc zeigt wieder alle");
    txtSuche->setClearButtonEnabled(true);
    txtSuche->installEventFilter(this);
    row->addWidget(txtSuche, 1);
  } else {
    row->addStretch(1);
  }
  if (!assigns) return;
  cmdNachNamen = SetUpButton(new CaptionButton(this), "cmdNachNamen", "Nach Namen zuordnen",
                             "Felder ohne Zuordnung den Spalten mit passendem Namen zuordnen", 'N');
  cmdRueckgaengig = SetUpButton(new CaptionButton(this), "cmdRueckgaengig", "Rückgängig",
                                "Die Zuordnung nach Namen zurücknehmen", 'R');
  cmdRueckgaengig->setEnabled(false);
  row->addWidget(cmdNachNamen);
  row->addWidget(cmdRueckgaengig);
}

bool FieldListTools::eventFilter(QObject* watched, QEvent* event) {
  if (watched != txtSuche || event->type() != QEvent::KeyPress) return QWidget::eventFilter(watched, event);
  switch (static_cast<QKeyEvent*>(event)->key()) {
    case Qt::Key_Escape:
      if (txtSuche->text().isEmpty()) return false;
      txtSuche->clear();
      return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Down: emit GoToList(); return true;
    default: return false;
  }
}

}  // namespace kestrel
