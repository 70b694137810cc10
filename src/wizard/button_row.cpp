#include "wizard/button_row.h"

#include <QMenu>
#include <QToolButton>
#include <algorithm>

#include "wizard/page_parts.h"

namespace kestrel {

int CaptionButton::OwnWidth() const {
  return QPushButton::sizeHint().width() + 2 * fontMetrics().averageCharWidth();
}

QSize CaptionButton::sizeHint() const {
  int width = OwnWidth();
  if (const auto* row = qobject_cast<const ButtonRow*>(parentWidget())) {
    for (const auto* other : row->findChildren<CaptionButton*>()) width = std::max(width, other->OwnWidth());
  }
  return {width, QPushButton::sizeHint().height()};
}

ButtonRow::ButtonRow(QWidget* parent) : QWidget(parent), left_(new QHBoxLayout), right_(new QHBoxLayout) {
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->addLayout(left_, 1);
  row->addLayout(right_);
  left_->setAlignment(Qt::AlignLeft);
}

QPushButton* ButtonRow::AddLeft(const char* object_name, const QString& caption, const QString& tool_tip,
                                char key) {
  auto* button = SetUpButton(new CaptionButton(this), object_name, caption, tool_tip, key);
  left_->addWidget(button);
  return button;
}

QPushButton* ButtonRow::AddRight(const char* object_name, const QString& caption, const QString& tool_tip,
                                 char key) {
  auto* button = SetUpButton(new CaptionButton(this), object_name, caption, tool_tip, key);
  right_->addWidget(button);
  return button;
}

QPushButton* ButtonRow::AddDefault(const char* object_name, const QString& caption, const QString& tool_tip,
                                   char key) {
  QPushButton* button = AddRight(object_name, caption, tool_tip, key);
  button->setDefault(true);
  return button;
}

QPushButton* ButtonRow::AddOptions() {
  return AddLeft("cmdOptions", "Einstellungen", "Einstellungen anzeigen", 'E');
}

QPushButton* ButtonRow::AddSave() { return AddLeft("cmdSave", "Speichern", "Einstellungen speichern", 'S'); }

QPushButton* ButtonRow::AddPrev(const QString& tool_tip) {
  return AddRight("cmdPrev", "Zurück", tool_tip, 'Z');
}

QPushButton* ButtonRow::AddCancel(const QString& tool_tip) {
  right_->addSpacing(10);
  return AddRight("cmdCancel", "Abbrechen", tool_tip, 'A');
}

QAction* ButtonRow::AddMenuEntry(const char* button_name, const QString& accessible_name,
                                 const char* entry_name, const QString& caption, const QKeySequence& shortcut) {
  auto* button = new QToolButton(this);
  button->setObjectName(QString::fromUtf8(button_name));
  button->setAccessibleName(accessible_name);
  button->setToolTip(caption);
  button->setArrowType(Qt::DownArrow);
  button->setPopupMode(QToolButton::InstantPopup);
  button->setFocusPolicy(Qt::StrongFocus);
  button->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Expanding);
  auto* menu = new QMenu(button);
  QAction* entry = menu->addAction(caption);
  entry->setObjectName(QString::fromUtf8(entry_name));
  entry->setShortcut(shortcut);
  // The shortcut works while the menu is closed, too.
  window()->addAction(entry);
  button->setMenu(menu);
  left_->addWidget(button);
  return entry;
}

void ButtonRow::AddNotice(QWidget* notice) { left_->addWidget(notice, 1); }

}  // namespace kestrel
